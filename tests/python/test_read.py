"""vxtrace.open against `vxtrace dump`, vxtrace.read_can against the candump export, and bad
input."""
import io
import re
import subprocess
import warnings

import numpy as np
import pytest
import vxtrace

from conftest import CLI, run_cli


def shown(record):
    """The record's text as the tool prints it: control characters escaped."""
    return re.sub(r"[\x00-\x1f\x7f]", lambda m: "\\x%02x" % ord(m.group()), str(record))


def sources(path):
    """The same trace as a path, a file object, a pipe, bytes and a file object without a
    descriptor (read by a feeding thread)."""
    data = path.read_bytes()
    pipe = subprocess.Popen(["cat", str(path)], stdout=subprocess.PIPE)
    yield str(path)
    with open(path, "rb") as f:
        yield f
    yield pipe.stdout
    pipe.wait()
    yield data
    yield io.BytesIO(data)


def test_open_decodes_diagnostic_records_on_request(traces):
    dump = run_cli("dump", "--register-diag", traces["diag"]).decode().splitlines()
    assert any("KWP" in line for line in dump)
    assert [shown(r) for r in vxtrace.open(traces["diag"], diag=True)] == dump


@pytest.mark.parametrize("name", ["plain", "lz4"])
def test_open_matches_dump_line_for_line(traces, name):
    dump = run_cli("dump", traces[name]).decode().splitlines()
    for source in sources(traces[name]):
        records = list(vxtrace.open(source))
        assert [shown(r) for r in records] == dump
    # The frame of a top-level record is its stored bytes after the marker.
    first = records[0]
    assert bytes(first) == traces[name].read_bytes()[2:2 + len(bytes(first))]
    can = next(r for r in records if r.kind == "MSGID_CAN_EXT" and r.fd)
    lengths = [0, 1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 20, 24, 32, 48, 64]
    assert can.channel.startswith("CAN #") and lengths[can.dlc] == len(can.data)
    assert not hasattr(next(r for r in records if r.kind == "MSGID_TIME"), "can_id")
    assert len(list(vxtrace.open(traces[name], expand=False))) <= len(dump)


def candump_frames(path):
    """(time_us, channel, can_id, extended, fd, brs, esi, tx, data) of the candump export."""
    rows = []
    for line in run_cli("convert", path, "--to", "candump", "-o", "-").decode().splitlines():
        stamp, chan, frame, direction = line.split()
        ident, _, payload = frame.partition("#")
        fd = payload.startswith("#")
        flags = int(payload[1], 16) if fd else 0
        payload = payload[2:] if fd else payload
        ext = len(ident) == 8
        if ext and int(ident, 16) & 0x20000000:
            continue  # error frame: compared by count below
        sec, frac = stamp[1:-1].split(".")
        rows.append((int(sec) * 1000000 + int(frac), int(chan[3:]), int(ident, 16), ext, fd,
                     bool(flags & 1), bool(flags & 2), direction == "T", bytes.fromhex(payload)))
    return rows


@pytest.mark.parametrize("name", ["plain", "lz4"])
def test_read_can_matches_candump_export_frame_for_frame(traces, name):
    f = vxtrace.read_can(traces[name])
    # A file takes the path without record objects, a stream the validating reader: the same.
    slow = vxtrace.read_can(io.BytesIO(traces[name].read_bytes()))
    assert all(np.array_equal(getattr(slow, c), getattr(f, c)) for c in vxtrace._COLUMNS)
    proxy = np.array([r.kind == "MSGID_CAN_PROXY" for r in vxtrace.open(traces[name])
                      if r.is_can])
    assert len(proxy) == len(f) and len(f) > 1000
    ours = [(int(t), int(c), int(i), bool(e), bool(d), bool(b), bool(s), bool(x),
             bytes(data[:n])) for t, c, i, e, d, b, s, x, data, n in zip(
        f.time_us, f.channel, f.can_id, f.extended, f.fd, f.brs, f.esi, f.tx, f.data, f.length)]
    keep = ~f.error  # proxy records go out as the CAN frames they carry
    assert [row for row, k in zip(ours, keep) if k] == candump_frames(traces[name])
    assert f.fd.any() and f.extended.any() and f.error.any() and proxy.any()
    assert (f.data[np.arange(64) >= f.length[:, None]] == 0).all()
    df = f.to_pandas()
    assert list(df.columns[:3]) == ["time_us", "channel", "can_id"]
    assert df.data[0] == bytes(f.data[0, :f.length[0]])
    # Filters: identifiers (value or value/mask), channels by number or label, [start, end).
    ident = next(int(i) for i in f.can_id[~f.error & ~f.extended]
                 if i not in set(f.can_id[f.extended].tolist()))
    for kw, expect in [
        (dict(can_ids=[ident]), f.can_id == ident),
        (dict(can_ids=[(ident & ~0xF, 0x7F0)]),
         ((f.can_id & 0x7F0) == (ident & 0x7F0)) & ~f.extended & ~f.error),
        (dict(channels=["CAN #2"]), f.channel == 1),
        (dict(channels=["can1", "CAN1", 2]), f.channel <= 2),
        (dict(start=int(f.time_us[100]), end=int(f.time_us[200])),
         (f.time_us >= f.time_us[100]) & (f.time_us < f.time_us[200])),
        (dict(can_ids=[]), f.can_id < 0),
    ]:
        got = vxtrace.read_can(traces[name], **kw)
        assert np.array_equal(got.time_us, f.time_us[expect]), kw


@pytest.mark.parametrize("layout", ["mixed", "clean_then_garbage"])
def test_read_can_on_threads_equals_one_reader(traces, tmp_path, layout):
    """Parts cut through garbage, containers and time running backwards (each copy starts
    before the last ended), some read straight from their bytes and some record by record,
    give what one thread and the stream reader give. Clean parts first write their frames in
    place (with rows left over where a counted CAN record gives no frame), the parts from the
    garbage on gather theirs."""
    if layout == "mixed":
        copy = traces["lz4"].read_bytes() + traces["plain"].read_bytes()
        data = b"".join(copy + (b"\x13" * 77 if i in (3, 29) else b"") for i in range(40))
    else:
        # A transmit request is a CAN record without a bus frame: a row counted, none taken.
        request = bytearray(vxtrace._vxtrace._encode_can(1, 0, 0x12, False, False, False, False,
                                                         False, True, b"\x01"))
        request[17] = 3
        copy = bytes(request) + traces["plain"].read_bytes()
        data = b"".join(copy + (b"\x13" * 77 if i in (40, 70) else b"") for i in range(80))
    path = tmp_path / "big.vxt"
    path.write_bytes(data)
    assert len(data) > 9 << 20
    runs = []
    # Every channel selects every frame, through the path that decodes each record for the
    # filter.
    for source, threads, channels in [(path, 1, None), (path, 4, None), (path, None, None),
                                      (data, 3, None), (path, 4, list(range(256)))]:
        problems = []
        runs.append((vxtrace.read_can(source, threads=threads, channels=channels,
                                      on_problem=problems.append), problems))
    one, one_problems = runs[0]
    assert len(one) > 100000 and [p.kind for p in one_problems] == ["skipped"] * 2
    for frames, problems in runs[1:]:
        assert problems == one_problems
        for c in vxtrace._COLUMNS:
            assert np.array_equal(getattr(frames, c), getattr(one, c)), c
    for bad in (0, 257, 2.0, True):
        with pytest.raises(ValueError, match="threads"):
            vxtrace.read_can(path, threads=bad)


def test_bad_input_raises_or_warns(tmp_path, traces):
    with pytest.raises(FileNotFoundError):
        vxtrace.read_can(tmp_path / "missing.vxt")
    text = tmp_path / "text.vxt"
    text.write_bytes(b"no trace here, only text\n" * 400)
    for call in (vxtrace.read_can, lambda s: list(vxtrace.open(s))):
        with pytest.raises(vxtrace.FormatError, match="not a trace"), warnings.catch_warnings():
            warnings.simplefilter("ignore")
            call(text)
    data = traces["plain"].read_bytes()
    cut = tmp_path / "cut.vxt"
    cut.write_bytes(data[:len(data) - 7])
    records = list(vxtrace.open(data))
    with pytest.warns(vxtrace.TraceWarning, match="truncated frame at end of input"):
        assert len(vxtrace.read_can(cut)) == sum(r.is_can for r in records[:-1])
    problems = []
    at = records[50].offset
    garbage = data[:at] + b"\x13" * 50 + data[at:]
    records = list(vxtrace.open(garbage, on_problem=problems.append))
    assert [p.kind for p in problems] == ["skipped"] and problems[0].length >= 50
    assert len(records) == len(list(vxtrace.open(data))) and problems[0].offset == at
    with pytest.raises(TypeError):
        vxtrace.read_can(12)
    for kw in (dict(channels=[256]), dict(start=5, end=4)):
        with pytest.raises(ValueError):
            vxtrace.read_can(data, **kw)


@pytest.mark.parametrize("fmt", ["jsonl", "asc"])
def test_export_writes_what_convert_writes(traces, tmp_path, fmt):
    ours, theirs = tmp_path / f"py.{fmt}", tmp_path / f"cli.{fmt}"
    counts = vxtrace.export(traces["lz4"], ours, fmt)
    subprocess.run([CLI, "convert", traces["lz4"], "--to", fmt, "-o", theirs, "--quiet"],
                   check=True)
    assert ours.read_bytes() == theirs.read_bytes() and counts["written"] > 1000
    with pytest.raises(ValueError):
        vxtrace.export(traces["lz4"], tmp_path / "x", "xls")
    assert not (tmp_path / "x").exists()
