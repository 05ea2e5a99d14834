#!/usr/bin/python3
"""`vxtrace convert` output read back by python-can (candump log) and tshark (pcapng, CAN and
Ethernet).

The reference frames are decoded here, straight from the bytes of the generated trace, so that
neither the tool nor the library is asked what they should be. Exit 77 when a reader is missing.
"""
import json
import os
import shutil
import struct
import subprocess
import sys
import tempfile

try:
    import can
except ImportError:
    can = None
TSHARK = shutil.which("tshark")
if can is None and TSHARK is None:
    print("neither python-can nor tshark is installed")
    sys.exit(77)

CLI = sys.argv[1]
ERR_NAMES = {1: "stuff", 2: "form", 3: "ack", 4: "bit1", 5: "bit0", 6: "crc", 7: "overrun"}


def trace_frames(path):
    """Every record of a sync-marked trace: a dict for CAN frames and raw Ethernet frames, None
    for other records."""
    data = open(path, "rb").read()
    pos = 0
    while pos < len(data):
        assert data[pos:pos + 2] == b"\x55\xaa", "no sync marker at %d" % pos
        (size,) = struct.unpack_from(">H", data, pos + 2)
        frame = data[pos + 2:pos + 4 + size]
        pos += 4 + size
        (msgid,) = struct.unpack_from(">H", frame, 2)
        (ts,) = struct.unpack_from(">Q", frame, 6)
        body = frame[14:]
        if msgid in (4, 8) and body[1] == 1:
            yield {"eth": True, "ts": ts, "channel": "eth%d" % body[0], "tx": msgid == 8,
                   "data": bytes(body[2:]), "kind": None}
            continue
        if msgid not in (1, 11, 0x8012):
            yield None
            continue
        # A proxy record's error frame ends after its state byte.
        channel, kind, state, length = (body + b"\0")[0:4]
        rec = {"ts": ts, "channel": "can%d" % channel, "kind": kind, "code": state & 0x0F,
               "tx": kind == 2, "ext": False, "fd": False, "brs": False, "esi": False, "id": 0,
               "data": b""}
        if msgid in (1, 0x8012) and kind != 1:
            (rec["id"],) = struct.unpack_from(">H", body, 4)
            rec["id"] &= 0x7FF if msgid == 0x8012 else 0xFFFF
            rec["data"] = bytes(body[6:6 + length])
        elif msgid == 11 and (kind != 1 or state & 0x0F == 3):
            (word,) = struct.unpack_from(">I", body, 4)
            rec["ext"] = bool(word & 0x80000000)
            rec["fd"] = bool(word & 0x40000000)
            rec["id"] = word & (0x1FFFFFFF if rec["ext"] else 0x7FF)
            rec["data"] = bytes(body[8:8 + length])
            rec["brs"] = rec["fd"] and bool(state & 0x40)
            rec["esi"] = rec["fd"] and bool(state & 0x80)
        yield rec


def check(cond, what):
    if not cond:
        raise AssertionError(what)


def main():
    tmp = tempfile.mkdtemp(prefix="vxtrace-convert-")
    try:
        trace = os.path.join(tmp, "t.vxt")
        subprocess.run([CLI, "gen", "--records", "40000", "--seed", "4", trace], check=True)
        records = list(trace_frames(trace))
        ethernet = [r for r in records if r and r["kind"] is None]
        others = sum(1 for r in records if r is None) + len(ethernet)
        tx_requests = sum(1 for r in records if r and r["kind"] == 3)
        expected = [r for r in records if r and r["kind"] in (0, 1, 2)]
        codes = {r["code"] for r in expected if r["kind"] == 1}
        check(codes == set(ERR_NAMES), "trace lacks error codes: %s" % codes)
        check(any(r["fd"] and r["brs"] for r in expected) and any(r["esi"] for r in expected)
              and any(r["ext"] and not r["fd"] for r in expected)
              and any(r["tx"] for r in expected), "trace lacks frame kinds")

        # --- candump log, read by python-can ------------------------------------------------
        log = os.path.join(tmp, "t.log")
        run = subprocess.run([CLI, "convert", trace, "--to", "candump", "-o", log, "--verbose"],
                             capture_output=True, text=True)
        check(run.returncode == 0, "convert to candump failed: %s" % run.stderr)
        check(run.stderr == "vxtrace: %s: V1 framing (55 AA markers) (detected)\n"
              "vxtrace: %s: %d frames written to candump; left out: %d not a CAN frame record, "
              "%d transmit request (not a bus frame)\n"
              % (trace, trace, len(expected), others, tx_requests), "reports: " + run.stderr)
        lines = open(log).read().splitlines()
        check(len(lines) == len(expected), "%d lines, %d frames" % (len(lines), len(expected)))
        messages = list(can.LogReader(log)) if can is not None else [None] * len(lines)
        check(len(messages) == len(expected) == len(lines),
              "%d messages, %d lines, %d frames" % (len(messages), len(lines), len(expected)))
        for rec, msg, line in zip(expected, messages, lines):
            where = "%s: %s" % (line, rec)
            check(line.startswith("(%010d.%06d) " % divmod(rec["ts"], 1000000)), "time " + where)
            check(line.endswith(" T" if rec["tx"] else " R"), "direction " + where)
            if msg is None:
                continue  # python-can missing: only the lines' own checks
            check(abs(msg.timestamp * 1e6 - rec["ts"]) < 1.0, "time stamp " + where)
            check(msg.is_rx != rec["tx"], "is_rx " + where)
            if rec["kind"] == 1 and rec["code"] == 7:
                # A controller problem, not a bus error: python-can does not know it as an
                # error frame; the line holds CAN_ERR_FLAG|CAN_ERR_CRTL and RX overflow.
                check(line.endswith(" %s 20000004#0001000000000000 R" % rec["channel"]), where)
                continue
            if rec["kind"] == 1:
                check(msg.is_error_frame, "error frame " + where)
                continue
            check(not msg.is_error_frame, where)
            check(msg.channel == rec["channel"], "channel " + where)
            check(msg.arbitration_id == rec["id"], "id " + where)
            check(msg.is_extended_id == rec["ext"], "extended " + where)
            check(msg.is_fd == rec["fd"], "fd " + where)
            check(msg.bitrate_switch == rec["brs"], "brs " + where)
            check(msg.error_state_indicator == rec["esi"], "esi " + where)
            check(bytes(msg.data) == rec["data"], "data " + where)

        # --- pcapng, read by tshark -----------------------------------------------------------
        if TSHARK is None:
            print("%d frames checked through python-can; tshark is not installed" % len(expected))
            return
        pcap = os.path.join(tmp, "t.pcapng")
        run = subprocess.run([CLI, "convert", trace, "--to", "pcapng", "-o", pcap],
                             capture_output=True, text=True)
        check(run.returncode == 0, "convert to pcapng failed: %s" % run.stderr)
        fields = ["frame.time_epoch", "frame.interface_name", "frame.p2p_dir", "can.id",
                  "can.flags.xtd", "can.flags.err", "can.len", "canfd.flags.brs",
                  "canfd.flags.esi", "data.data", "can.err.prot.type.stuff",
                  "can.err.prot.type.form", "can.err.ack", "can.err.prot.type.bit1",
                  "can.err.prot.type.bit0", "can.err.prot.location", "can.err.ctrl.rx_overflow"]
        cmd = [TSHARK, "-r", pcap, "-T", "fields", "-E", "separator=/t", "-E", "occurrence=f"]
        for f in fields:
            cmd += ["-e", f]
        run = subprocess.run(cmd, capture_output=True, text=True)
        check(run.returncode == 0, "tshark failed: %s" % run.stderr)
        rows = [dict(zip(fields, line.split("\t"))) for line in run.stdout.splitlines()]
        rows = [r for r in rows if not r["frame.interface_name"].startswith("eth")]
        check(len(rows) == len(expected), "%d packets, %d frames" % (len(rows), len(expected)))
        for rec, row in zip(expected, rows):
            where = "%s: %s" % (row, rec)
            sec, _, frac = row["frame.time_epoch"].partition(".")
            check(int(sec) * 1000000 + int(frac[:6]) == rec["ts"], "time " + where)
            check(row["frame.interface_name"] == rec["channel"], "channel " + where)
            check(row["frame.p2p_dir"] == ("0" if rec["tx"] else "1"), "direction " + where)
            if rec["kind"] == 1:
                check(row["can.flags.err"] == "1", "error flag " + where)
                flag = {1: "can.err.prot.type.stuff", 2: "can.err.prot.type.form",
                        3: "can.err.ack", 4: "can.err.prot.type.bit1",
                        5: "can.err.prot.type.bit0", 7: "can.err.ctrl.rx_overflow"}
                if rec["code"] == 6:
                    check(row["can.err.prot.location"] == "8", "CRC location " + where)
                else:
                    check(row[flag[rec["code"]]] == "1", ERR_NAMES[rec["code"]] + " " + where)
                continue
            check(row["can.flags.err"] in ("", "0"), where)
            check(int(row["can.id"]) == rec["id"], "id " + where)
            check(row["can.flags.xtd"] == ("1" if rec["ext"] else "0"), "extended " + where)
            check(int(row["can.len"]) == len(rec["data"]), "length " + where)
            check((row["canfd.flags.brs"] != "") == rec["fd"], "fd " + where)
            if rec["fd"]:
                check(row["canfd.flags.brs"] == ("1" if rec["brs"] else "0"), "brs " + where)
                check(row["canfd.flags.esi"] == ("1" if rec["esi"] else "0"), "esi " + where)
            check(bytes.fromhex(row["data.data"]) == rec["data"], "data " + where)
        # Ethernet frames: whole frames on their own interfaces, sent ones outbound.
        run = subprocess.run([TSHARK, "-r", pcap, "-Y", "eth", "-T", "json", "-x"],
                             capture_output=True, text=True)
        check(run.returncode == 0, "tshark failed: %s" % run.stderr)
        packets = [p["_source"]["layers"] for p in json.loads(run.stdout)]
        check(len(packets) == len(ethernet) > 0,
              "%d Ethernet packets, %d records" % (len(packets), len(ethernet)))
        check(any(r["tx"] for r in ethernet) and any(r["data"][12:14] == b"\x81\x00"
                                                     for r in ethernet), "trace lacks kinds")
        for rec, layers in zip(ethernet, packets):
            frame = layers["frame"]
            where = "%s: %s" % (frame.get("frame.time_epoch"), rec)
            check(frame["frame.interface_id_tree"]["frame.interface_name"] == rec["channel"],
                  "channel " + where)
            sec, _, frac = frame["frame.time_epoch"].partition(".")
            check(int(sec) * 1000000 + int(frac[:6]) == rec["ts"], "time " + where)
            check(frame.get("frame.p2p_dir") == ("0" if rec["tx"] else "1"), "direction " + where)
            check(bytes.fromhex(layers["frame_raw"][0]) == rec["data"], "bytes " + where)
            check("eth" in layers and ("arp" in layers or "udp" in layers), "layers " + where)
        print("%d CAN and %d Ethernet frames checked through python-can and tshark"
              % (len(expected), len(ethernet)))
    finally:
        shutil.rmtree(tmp)


if __name__ == "__main__":
    main()
