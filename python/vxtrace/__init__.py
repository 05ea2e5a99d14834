"""Trace records and CAN frames of vxtrace files.

    import vxtrace
    for record in vxtrace.open("x.vxt"):          # every record, as `vxtrace dump` shows it
        print(record)
    frames = vxtrace.read_can("x.vxt", channels=["CAN #1"])   # numpy columns
    df = frames.to_pandas()

Problems met while reading (garbage skipped, undecodable frames, a truncated end, the
decoders' own diagnostics) become `TraceWarning`s, or calls of the `on_problem` callback when
one is given. Input in which no record is found raises `FormatError`.
"""

import datetime as _datetime
import warnings as _warnings
from typing import NamedTuple as _NamedTuple

import numpy as _np

from . import _vxtrace
from ._vxtrace import Record

__all__ = ["open", "read_can", "export", "export_formats", "CanFrames", "Record", "Problem", "TraceWarning", "FormatError"]

__version__ = "0.1.0"


class FormatError(ValueError):
    """The input is not a trace: no record was found in it."""


class TraceWarning(UserWarning):
    """Something in the input could not be read; the text says what and at which offset."""


class Problem(_NamedTuple):
    kind: str  # "skipped", "undecodable", "truncated", or a diagnostic level ("error", ...)
    offset: int  # stream offset of the lost bytes or of the record the line belongs to
    length: int  # bytes lost; 0 for diagnostic lines
    text: str


_vxtrace._set_format_error(FormatError)


def _reporter(on_problem, name):
    def report(problems, dropped):
        for p in problems:
            problem = Problem(*p)
            if on_problem is not None:
                on_problem(problem)
            else:
                _warnings.warn(f"{name}: {problem.text}", TraceWarning, stacklevel=3)
        if dropped:
            text = f"{dropped} more problems not reported"
            if on_problem is not None:
                on_problem(Problem("dropped", 0, 0, text))
            else:
                _warnings.warn(f"{name}: {text}", TraceWarning, stacklevel=3)

    return report


def _name(source):
    if isinstance(source, (bytes, bytearray, memoryview)):
        return "<bytes>"
    return str(getattr(source, "name", source))


def open(source, *, invalid=False, diag=False, expand=True, on_problem=None):
    """Iterates the records of a trace: a path, a binary file object (pipes too) or bytes.

    invalid: undecodable frames come back as MSGID_INVALID records instead of being reported.
    diag: KWP2000 and UDS records are decoded (identifiers 26 to 29).
    expand: container records are followed by the records inside them.
    on_problem: called with a Problem for each loss or diagnostic; otherwise TraceWarning.
    """
    return _vxtrace._RecordReader(source, invalid, diag, expand,
                                  _reporter(on_problem, _name(source)))


export_formats = _vxtrace.export_formats


def export(source, path, to, *, diag=False, on_problem=None):
    """Writes every record of a trace to path in one of export_formats() ("asc", "blf", "jsonl",
    "csv", "candump", "pcapng"), through the library's exporters, the same as `vxtrace convert`.
    The file appears only when all went well. Returns {"written": n, "left_out": {reason: n}}.
    """
    import os

    return _vxtrace._export(source, os.fspath(path), to, diag, _reporter(on_problem, _name(source)))


_COLUMNS = ("time_us", "channel", "can_id", "extended", "fd", "brs", "esi", "remote", "error",
            "tx", "dlc", "length", "data")


class CanFrames:
    """CAN frames as numpy columns: time_us (int64, microseconds since the epoch, UTC), channel
    (uint8, counted from 0), can_id (uint32), extended/fd/brs/esi/remote/error/tx (bool),
    dlc/length (uint8) and data (uint8, n x 64, zero beyond length)."""

    def __init__(self, columns):
        for name in _COLUMNS:
            setattr(self, name, columns[name])

    def __len__(self):
        return len(self.time_us)

    def __repr__(self):
        return f"<vxtrace.CanFrames {len(self)} frames>"

    def __getitem__(self, index):
        """A row selection (slice, boolean mask or index array) as a new CanFrames."""
        if isinstance(index, (int, _np.integer)):
            index = slice(index, index + 1 if index != -1 else None)
        return CanFrames({name: getattr(self, name)[index] for name in _COLUMNS})

    @classmethod
    def concat(cls, parts):
        parts = list(parts)
        if not parts:
            return cls(_empty_columns())
        return cls({name: _np.concatenate([getattr(p, name) for p in parts]) for name in _COLUMNS})

    def to_pandas(self):
        """A DataFrame with one row per frame; data holds each frame's bytes."""
        import pandas as pd

        columns = {name: getattr(self, name) for name in _COLUMNS[:-1]}
        data = self.data
        columns["data"] = [data[i, :n].tobytes() for i, n in enumerate(self.length)]
        return pd.DataFrame(columns)


def _empty_columns():
    dtypes = dict(time_us=_np.int64, channel=_np.uint8, can_id=_np.uint32, dlc=_np.uint8,
                  length=_np.uint8)
    cols = {name: _np.zeros(0, dtype=dtypes.get(name, bool)) for name in _COLUMNS[:-1]}
    cols["data"] = _np.zeros((0, 64), dtype=_np.uint8)
    return cols


_EPOCH = _datetime.datetime(1970, 1, 1, tzinfo=_datetime.timezone.utc)


def _time_us(value, what):
    """Microseconds since the epoch from an int, a datetime (naive: UTC), a numpy datetime64,
    a pandas Timestamp or an ISO text ("2024-05-01 12:00:00.5", UTC unless it has an offset)."""
    if value is None:
        return None
    if isinstance(value, (int, _np.integer)) and not isinstance(value, bool):
        if value < 0:
            raise ValueError(f"{what}: a negative time ({value})")
        return int(value)
    if isinstance(value, str):
        value = _datetime.datetime.fromisoformat(value)
    if isinstance(value, _np.datetime64):
        return _time_us(int(value.astype("datetime64[us]").astype(_np.int64)), what)
    if isinstance(value, _datetime.datetime):
        if value.tzinfo is None:
            value = value.replace(tzinfo=_datetime.timezone.utc)
        delta = value - _EPOCH
        return _time_us((delta.days * 86400 + delta.seconds) * 1000000 + delta.microseconds, what)
    raise TypeError(f"{what}: expected microseconds, a datetime or an ISO time, not {value!r}")


def _filter_args(can_ids, channels, start, end):
    """The io layer's filter texts: identifiers as "0x..." (ID/MASK for pairs), channel numbers
    as candump names ("can0" is the first); None when an empty selection selects nothing."""
    if isinstance(can_ids, (int, _np.integer, tuple)):
        can_ids = [can_ids]
    if isinstance(channels, (int, _np.integer, str)):
        channels = [channels]
    if (can_ids is not None and len(can_ids) == 0) or (channels is not None and len(channels) == 0):
        return None
    ids = []
    for value in can_ids or ():
        pair = value if isinstance(value, tuple) else (value,)
        if not all(isinstance(v, (int, _np.integer)) and 0 <= v <= 0x1FFFFFFF for v in pair):
            raise ValueError(f"CAN identifier {value!r} out of range")
        # Eight digits keep an identifier beyond 11 bits extended in every filter syntax.
        ids.append("/".join(("0x%X" if v <= 0x7FF else "0x%08X") % v for v in pair))
    chans = []
    for value in channels or ():
        if isinstance(value, (int, _np.integer)) and not isinstance(value, bool):
            if not 0 <= value <= 255:
                raise ValueError(f"CAN channel {value!r} out of range")
            value = f"can{value}"
        chans.append(str(value))
    return ids, chans, _time_us(start, "start"), _time_us(end, "end")


def iter_can(source, *, batch=65536, on_problem=None, can_ids=None, channels=None, start=None,
             end=None):
    """The CAN frames of a trace as CanFrames of about batch frames each, in constant memory."""
    args = _filter_args(can_ids, channels, start, end)
    if args is None:
        return
    reader = _vxtrace._CanReader(source, *args)
    report = _reporter(on_problem, _name(source))
    while True:
        columns, problems, dropped, ended = reader.read(batch)
        report(problems, dropped)
        if len(columns["time_us"]):
            yield CanFrames(columns)
        if ended:
            return


def _threads(threads):
    """A threads argument checked; None is one per core."""
    if threads is None:
        return _vxtrace._default_threads()
    if isinstance(threads, bool) or not isinstance(threads, (int, _np.integer)) or \
            not 1 <= threads <= 256:
        raise ValueError(f"threads: {threads!r} is not a number from 1 to 256")
    return int(threads)


def read_can(source, *, can_ids=None, channels=None, start=None, end=None, threads=None,
             on_problem=None):
    """Every CAN, CAN FD, extended CAN and proxy frame of a trace, containers included, as
    CanFrames. source is a path, a binary file object or bytes.

    can_ids: identifiers, or (value, mask) pairs; one wider than 11 bits selects extended
    frames only.
    channels: zero-based numbers or labels ("CAN #1", "CAN1", "can0" all name the first).
    start, end: the time range [start, end) (microseconds, datetime, or ISO text in UTC).
    threads: threads reading a file given by its path (default: one per core); bytes, pipes
    and file objects are read by one.
    """
    threads = _threads(threads)
    args = _filter_args(can_ids, channels, start, end)
    if args is None:
        return CanFrames(_empty_columns())
    if isinstance(source, str) or hasattr(source, "__fspath__"):
        columns, problems, dropped, _ = _vxtrace._read_can_in_parts(source, *args, threads)
    else:
        columns, problems, dropped, _ = _vxtrace._CanReader(source, *args).read(-1)
    _reporter(on_problem, _name(source))(problems, dropped)
    return CanFrames(columns)
