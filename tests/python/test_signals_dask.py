"""DBC decoding of a multiplexed message and an extended identifier, and dask over five files on
a local cluster of two worker processes."""
import numpy as np
import pandas as pd
import pytest
import vxtrace
import vxtrace.dask
import vxtrace.signals

from conftest import run_cli

T0 = 1_700_000_000  # seconds; a plausible time for a trace
DBC = """VERSION ""
BS_:
BU_: ECU
BO_ 256 Mux: 8 ECU
 SG_ Page M : 0|8@1+ (1,0) [0|255] "" ECU
 SG_ Speed m1 : 8|16@1+ (0.5,0) [0|1000] "km/h" ECU
 SG_ Temp m2 : 8|8@1- (1,-40) [-40|200] "degC" ECU
 SG_ Flags : 63|4@0+ (1,0) [0|15] "" ECU
BO_ 2566844693 Ext: 2 ECU
 SG_ Level : 7|12@0+ (0.25,0) [0|1000] "%" ECU
"""


def test_signals_decode_multiplexed_and_extended(tmp_path):
    dbc = tmp_path / "test.dbc"
    dbc.write_text(DBC)
    log = tmp_path / "in.vxt"
    import can
    with can.Logger(str(log)) as logger:
        for t, ident, ext, data in [(1.0, 0x100, False, "01d0070000000050"),
                                    (2.0, 0x100, False, "02f6000000000000"),
                                    (3.0, 0x18FEF115, True, "c350"), (4.0, 0x7FF, False, "00")]:
            logger(can.Message(timestamp=T0 + t, arbitration_id=ident, is_extended_id=ext,
                               data=bytes.fromhex(data), channel=1))
    got = vxtrace.signals.decode(vxtrace.read_can(log.read_bytes()), dbc)
    rows = sorted(zip(got.time_us - T0 * 10**6, got.message, got.signal, got.value, got.unit))
    assert rows == [(1000000, "Mux", "Flags", 5.0, ""), (1000000, "Mux", "Page", 1.0, ""),
                    (1000000, "Mux", "Speed", 1000.0, "km/h"), (2000000, "Mux", "Flags", 0.0, ""),
                    (2000000, "Mux", "Page", 2.0, ""), (2000000, "Mux", "Temp", -50.0, "degC"),
                    (3000000, "Ext", "Level", 781.25, "%")]
    assert got.unknown == {(0x7FF, False): 1} and set(got.channel) == {1}


def test_dask_on_local_cluster_equals_reading_files_one_by_one(tmp_path):
    distributed = pytest.importorskip("distributed")
    # Five consecutive pieces of one recording, cut at record boundaries.
    whole = tmp_path / "whole.bin"
    run_cli("gen", "--records", 7500, "--seed", 10, whole)
    data = whole.read_bytes()
    cuts = [r.offset for r in vxtrace.open(data)][::1500] + [len(data)]
    paths = [tmp_path / f"part-{i}.vxt" for i in range(5)]
    for i, p in enumerate(paths):
        p.write_bytes(data[cuts[i]:cuts[i + 1]])
    expect = pd.concat([vxtrace.read_can(p, channels=[0]).to_pandas() for p in paths],
                       ignore_index=True)
    with distributed.LocalCluster(n_workers=2, threads_per_worker=1, processes=True,
                                  dashboard_address=None) as cluster, \
            distributed.Client(cluster):
        ddf = vxtrace.dask.read_can(str(tmp_path / "part-*.vxt"), channels=["can0"])
        assert ddf.npartitions == 5 and not ddf.known_divisions
        got = ddf.compute().reset_index(drop=True)
        assert got.equals(expect)
        timed = vxtrace.dask.read_can(paths, start_times="probe", channels=[0], threads=2)
        assert timed.known_divisions
        with pytest.raises(ValueError, match="threads"):
            vxtrace.dask.read_can(paths, threads=0)
    assert len(timed.compute(scheduler="sync")) == len(expect)
