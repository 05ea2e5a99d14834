"""The python-can plugin in a fresh interpreter that sees only an installed copy (cmake --install
with DESTDIR) of the package: LogReader, a Logger round trip, logconvert to ASC and the player."""
import os
import subprocess
import sys
import textwrap

import numpy as np
import pytest
import vxtrace


@pytest.fixture(scope="module")
def installed(tmp_path_factory):
    root = tmp_path_factory.mktemp("install")
    subprocess.run(["cmake", "--install", os.environ["VXTRACE_BUILD"], "--prefix", "/usr/local"],
                   env={**os.environ, "DESTDIR": str(root)}, check=True, capture_output=True)
    site = root / "usr/local/lib/python3/dist-packages"
    assert (site / "vxtrace/can_plugin.py").exists()
    return site


def run_fresh(site, code, *args):
    env = {"PATH": os.environ["PATH"], "PYTHONPATH": str(site), "TZ": "UTC"}
    done = subprocess.run([sys.executable, *args] if not code else
                          [sys.executable, "-c", textwrap.dedent(code), *args],
                          env=env, capture_output=True, text=True, cwd=site)
    assert done.returncode == 0, done.stderr
    return done


def test_log_reader_logger_and_logconvert(installed, traces, tmp_path):
    src, copy, asc = traces["lz4"], tmp_path / "copy.vxt", tmp_path / "out.asc"
    out = run_fresh(installed, """
        import sys, can, vxtrace
        assert vxtrace.__file__.startswith(sys.argv[3]), vxtrace.__file__
        n = 0
        with can.Logger(sys.argv[2]) as logger:
            for m in can.LogReader(sys.argv[1]):
                logger(m)
                n += 1
        got = list(can.LogReader(sys.argv[1]))
        m = [m for m in got if m.is_fd][0]
        print(n, sum(not m.is_rx for m in got), m.timestamp, m.channel, m.arbitration_id, m.is_extended_id, m.bitrate_switch,
              m.data.hex())
    """, src, copy, installed)
    frames = vxtrace.read_can(src)
    n, sent, stamp, chan, ident, ext, brs, data = out.stdout.split()
    assert (int(n), int(sent)) == (len(frames), frames.tx.sum())
    i = np.flatnonzero(frames.fd)[0]
    assert (float(stamp), int(chan), int(ident), ext, brs, data) == (
        frames.time_us[i] / 1e6, frames.channel[i], frames.can_id[i], str(frames.extended[i]),
        str(frames.brs[i]), bytes(frames.data[i, :frames.length[i]]).hex())
    again = vxtrace.read_can(copy)
    for col in vxtrace._COLUMNS:
        assert np.array_equal(getattr(again, col), getattr(frames, col)), col
    run_fresh(installed, None, "-m", "can.logconvert", str(src), str(asc))
    lines = asc.read_text().splitlines()
    body = [ln for ln in lines if ln[:1] == " " and ("Rx" in ln or "Tx" in ln)]
    assert len(body) == int((~frames.error).sum()) and "CANFD" in asc.read_text()
    played = run_fresh(installed, None, "-m", "can.player", "-i", "virtual", "-c", "vcan0",
                       "--ignore-timestamps", "-g", "0", "-v", str(src))
    assert played.stdout.count("Timestamp:") == len(body)
