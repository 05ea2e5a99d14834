"""Many traces as one dask DataFrame of CAN frames, one partition per file.

    import vxtrace.dask
    ddf = vxtrace.dask.read_can("logs/*.vxt", channels=["CAN #1"])
    ddf.groupby("can_id").size().compute()

The same call runs on a dask.distributed cluster: create a Client with the scheduler's address
first; the workers read the files themselves, so the paths must be valid where they run.
"""

import glob as _glob
import os as _os

import numpy as _np
import pandas as _pd

import vxtrace as _vx

_DTYPES = {"time_us": "int64", "channel": "uint8", "can_id": "uint32", "extended": "bool",
           "fd": "bool", "brs": "bool", "esi": "bool", "remote": "bool", "error": "bool",
           "tx": "bool", "dlc": "uint8", "length": "uint8", "data": "object"}


def _meta():
    return _pd.DataFrame({name: _pd.Series(dtype=t) for name, t in _DTYPES.items()})


def _paths(paths_or_glob):
    if isinstance(paths_or_glob, (str, _os.PathLike)):
        text = _os.fspath(paths_or_glob)
        paths = sorted(_glob.glob(text)) if _glob.has_magic(text) else [text]
    else:
        paths = [_os.fspath(p) for p in paths_or_glob]
    if not paths:
        raise FileNotFoundError(f"no trace matches {paths_or_glob!r}")
    return paths


class _ReadFile:
    """One partition: a file's frames, sorted by time when the partitions are divided by time.
    A top-level class, so that it pickles for the workers."""

    def __init__(self, filters, threads, next_starts=None):
        self.filters = filters
        self.threads = threads
        self.next_starts = next_starts

    def __call__(self, path, index):
        df = _vx.read_can(path, threads=self.threads, **self.filters).to_pandas()
        if self.next_starts is None:
            return df
        df = df.sort_values("time_us", kind="stable", ignore_index=True)
        limit = self.next_starts[index]
        if len(df) and limit is not None and df["time_us"].iloc[-1] >= limit:
            raise ValueError(f"{path}: its frames reach into the next file's time range; "
                             "read without start_times")
        return df.set_index("time_us", drop=False).rename_axis(None)


def first_time(path, **filters):
    """The time stamp (microseconds) of the first frame of a trace that the filters select,
    or None; reads no further than that frame."""
    for frames in _vx.iter_can(path, batch=1, **filters):
        return int(frames.time_us[0])
    return None


def read_can(paths_or_glob, *, start_times=None, threads=1, **filters):
    """The CAN frames of many traces as a dask DataFrame with the columns of
    CanFrames.to_pandas(), one partition per file, built with dask.dataframe.from_map.

    paths_or_glob: a glob pattern, a path, or a list of paths.
    filters: as for vxtrace.read_can (can_ids, channels, start, end).
    threads: threads reading each file, as for vxtrace.read_can; one by default, as dask
      already reads the files in parallel (None: one per core, for a few large files).
    start_times: the time (microseconds) at which each file starts, when known, or "probe" to
      read each file's first frame on the client. Then the files are taken in time order, the
      frames are indexed and sorted by time_us, and the divisions are set, so that selections
      by time touch only the files that hold them. The files must not overlap in time
      (consecutive files of one recording); a partition that does raises ValueError. Without
      start_times nothing is read on the client and the divisions are unknown.
    """
    import dask.dataframe as dd

    paths = _paths(paths_or_glob)
    threads = _vx._threads(threads)
    meta = _meta()
    if start_times is None:
        return dd.from_map(_ReadFile(filters, threads), paths, list(range(len(paths))), meta=meta,
                           label="vxtrace-read-can", enforce_metadata=False)
    if isinstance(start_times, str):
        if start_times != "probe":
            raise ValueError("start_times: a list of times or 'probe'")
        start_times = [first_time(p, **filters) for p in paths]
    starts = [None if t is None else int(t) for t in start_times]
    if len(starts) != len(paths):
        raise ValueError(f"start_times: {len(starts)} times for {len(paths)} files")
    # Files without a frame hold nothing for any division; leave them out.
    pairs = sorted((t, p) for t, p in zip(starts, paths) if t is not None)
    if not pairs:
        return dd.from_map(_ReadFile(filters, threads), paths[:1], [0], meta=meta,
                           label="vxtrace-read-can", enforce_metadata=False)
    starts = [t for t, _ in pairs]
    paths = [p for _, p in pairs]
    if len(set(starts)) != len(starts):
        raise ValueError("start_times: two files start at the same time")
    next_starts = starts[1:] + [None]
    divisions = starts + [_np.iinfo(_np.int64).max]
    meta = meta.set_index("time_us", drop=False).rename_axis(None)
    return dd.from_map(_ReadFile(filters, threads, next_starts), paths, list(range(len(paths))),
                       meta=meta, divisions=divisions, label="vxtrace-read-can",
                       enforce_metadata=False)
