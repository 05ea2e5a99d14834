#!/usr/bin/python3
"""`vxtrace convert` to every format, read back by the tools people open it with: python-can
(candump log, ASC, BLF), asc2log (ASC), tshark (pcapng: CAN, Ethernet, LIN, FlexRay) and
Python's json and csv modules, frame by frame against the text `vxtrace dump` prints.
Exit 77 when a reader is missing.
"""
import calendar
import collections
import csv
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
import time

try:
    import can
except ImportError:
    can = None
TSHARK, ASC2LOG = shutil.which("tshark"), shutil.which("asc2log")
if can is None or TSHARK is None or ASC2LOG is None:
    print("python-can, tshark or asc2log is not installed")
    sys.exit(77)

CLI = sys.argv[1]
ERROR_CODES = {"STUFF": 1, "FORMAT": 2, "ACK": 3, "BIT1": 4, "BIT0": 5, "CRC": 6, "OVERRUN": 7}
# The SocketCAN error frame of each error code: class and data bytes.
SOCKETCAN_ERRORS = {1: "20000088#0000040000000000", 2: "20000088#0000020000000000",
                    3: "200000A8#0000001900000000", 4: "20000088#0000100000000000",
                    5: "20000088#0000080000000000", 6: "20000088#0000000800000000",
                    7: "20000004#0001000000000000"}
LINE = re.compile(r"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d)\.(\d{6})  (CAN|LIN|FLEXRAY|ETHERNET) "
                  r"#(\d+)([AB]?) *\| (.*)$", re.S)
CAN_FRAME = re.compile(r"(?:(STANDARD|EXTENDED|FD_STD|FD_EXT) )?(Rx|Tx|TxRq) +"
                       r"(?:\[ (ESI )?(BRS )?\])?([0-9a-f]+) +(\d+)((?: [0-9a-f]{2})*) ?$")
CAN_ERROR = re.compile(r"(?:\w+ )?Error Frame \[error=(?: \\x([0-9a-f]{2})|(\w+))\]")
mismatches = 0


def check(cond, what):
    if not cond:
        raise AssertionError(what)


def reference(line):
    """A dump line's bus frame as a dict, or None for records of other kinds."""
    m = LINE.match(line)
    if not m:
        return None
    stamp, micro, bus, number, letter, body = m.groups()
    r = {"ts": calendar.timegm(time.strptime(stamp, "%Y-%m-%d %H:%M:%S")) * 10**6 + int(micro),
         "bus": bus, "ch": int(number)}
    if bus == "CAN":
        err = CAN_ERROR.match(body)
        if err:
            code = int(err.group(1), 16) if err.group(1) else ERROR_CODES[err.group(2)]
            return dict(r, error=True, code=code, tx=False, id=0, ext=False, fd=False, brs=False,
                        esi=False, data=b"")
        f = CAN_FRAME.match(body)
        check(f, "unparsed CAN line " + line)
        kind, direction, esi, brs, ident, length, data = f.groups()
        data = bytes.fromhex(data)
        check(len(data) == int(length), "length " + line)
        return dict(r, error=False, txrq=direction == "TxRq", tx=direction == "Tx",
                    id=int(ident, 16), ext=kind in ("EXTENDED", "FD_EXT"),
                    fd=kind in ("FD_STD", "FD_EXT"), brs=bool(brs), esi=bool(esi), data=data)
    if bus == "LIN":
        wake = "wakeUpPulse=" in body
        lin_id = 0 if wake else int(re.search(r"linId= *(\d+)", body).group(1))
        return dict(r, wake=wake, id=lin_id, data=bytes.fromhex(body.partition("] ")[2]))
    if bus == "FLEXRAY":
        f = re.match(r"status= (.{11}), bits=(\d+), slot=(\d+), len=(\d+), hCRC=0x(\w+), "
                     r"cycle=(\d+)(?:, payload:(.*))?", body)
        status, bits, slot, _, hcrc, cycle, payload = f.groups()
        return dict(r, frame=status == "Frame Data ", bits=int(bits), slot=int(slot),
                    hcrc=int(hcrc, 16), cycle=int(cycle), b=letter == "B",
                    data=bytes.fromhex(payload.replace(",", "") if payload else ""))
    return dict(r, tx=body.startswith("TX"), raw="[RAW]" in body,
                data=bytes.fromhex(body.partition("- ")[2]))


def convert(trace, fmt, out):
    run = subprocess.run([CLI, "convert", trace, "--to", fmt, "-o", out],
                         capture_output=True, text=True)
    check(run.returncode == 0, "convert to %s failed: %s" % (fmt, run.stderr))
    return run.stderr


def compare(name, pairs, fields):
    """Counts the pairs (expected, got) whose fields differ and shows the first three."""
    global mismatches
    n = bad_here = 0
    for rec, got in pairs:
        n += 1
        bad = [f.__name__ for f in fields if f(rec, got)]
        if bad:
            mismatches += 1
            bad_here += 1
            if bad_here <= 3:
                print("%s mismatch (%s): %s / %s" % (name, ", ".join(bad), rec, got))
    return n


def micros_of(seconds):
    return round(seconds * 1e6)


def on_first(f):
    """f applied to the first of a pair of results. An overrun is a controller problem, not a
    bus error: python-can's candump reader takes it for a frame (the line check has it)."""
    def g(r, m): return r.get("code") != 7 and f(r, m[0])
    g.__name__ = f.__name__
    return g


def python_can_checks(first_us):
    """Fields python-can's readers give, against a reference CAN frame."""
    def time_(r, m): return micros_of(m.timestamp) != r["ts"] - first_us
    # python-can's candump reader leaves an error frame's channel out (the line check has it).
    def channel(r, m): return m.channel not in (r["ch"] - 1, "can%d" % (r["ch"] - 1)) and \
        not (r["error"] and m.channel is None)
    def error(r, m): return m.is_error_frame != r["error"]
    def ident(r, m): return not r["error"] and (m.arbitration_id != r["id"] or m.is_extended_id != r["ext"])
    def flags(r, m): return not r["error"] and (m.is_fd, m.bitrate_switch, m.error_state_indicator,
                                               m.is_remote_frame) != (r["fd"], r["brs"], r["esi"], False)
    def direction(r, m): return not r["error"] and m.is_rx == r["tx"]
    def data(r, m): return not r["error"] and bytes(m.data) != r["data"]
    return [time_, channel, error, ident, flags, direction, data]


def candump_line(r, first_us):
    """A frame as candump and asc2log write it, time relative to first_us."""
    if r["error"]:
        body = SOCKETCAN_ERRORS[r["code"]]
    else:
        body = ("%08X#" if r["ext"] else "%03X#") % r["id"]
        if r["fd"]:
            body += "#%X" % (r["brs"] | r["esi"] << 1)
        body += r["data"].hex().upper()
    return "(%d.%06d) can%d %s" % (*divmod(r["ts"] - first_us, 10**6), r["ch"] - 1, body)


def main():
    tmp = tempfile.mkdtemp(prefix="vxtrace-convert-")
    counts = collections.OrderedDict()
    try:
        trace = os.path.join(tmp, "t.vxt")
        subprocess.run([CLI, "gen", "--records", "40000", "--seed", "4", trace], check=True)
        dump = subprocess.run([CLI, "dump", trace], capture_output=True, check=True).stdout
        # Lines as JSON and CSV must carry them: valid UTF-8, stray bytes as Latin-1.
        lines = [re.sub("[\udc80-\udcff]", lambda c: chr(ord(c.group()) - 0xDC00), text)
                 for text in dump.decode("utf-8", "surrogateescape").split("\n")[:-1]]
        refs = [reference(line) for line in lines]
        frames = [r for r in refs if r and r["bus"] == "CAN" and not r.get("txrq")]
        check(len({r["code"] for r in frames if r["error"]}) == 7 and
              all(any(r[k] for r in frames) for k in ("ext", "fd", "brs", "esi", "tx")),
              "the trace lacks CAN frame kinds")
        start_us = calendar.timegm(time.strptime(lines[0][:19], "%Y-%m-%d %H:%M:%S")) * 10**6 + \
            int(lines[0][20:26])
        base_us = start_us - start_us % 1000  # ASC and BLF: the start to the millisecond

        # --- candump log: python-can and the lines themselves -------------------------------
        path = os.path.join(tmp, "t.log")
        summary = convert(trace, "candump", path)
        # One line: per reason, the kinds left out and how many; with those written, all records.
        m = re.fullmatch(r"vxtrace: .*: (\d+) records written to candump; left out: (.*)\n", summary)
        check(m and int(m[1]) == len(frames) and "kind not carried by the format (MSGID_MARKER 1, "
              in m[2] and "; transmit request (not a bus frame) (MSGID_CAN_EXT " in m[2] and
              int(m[1]) + sum(map(int, re.findall(r" (\d+)[,)]", m[2]))) == len(lines),
              "summary: " + summary)
        text = open(path).read().splitlines()
        check(len(text) == len(frames), "%d lines, %d frames" % (len(text), len(frames)))

        def line(r, m): return not m[1].startswith(candump_line(r, 0) + " ") or \
            m[1][-1] != ("T" if r["tx"] else "R")
        checks = python_can_checks(0)
        counts["candump"] = compare("candump", zip(frames, zip(can.LogReader(path), text)),
                                    [on_first(f) for f in checks] + [line])

        # --- ASC: python-can and asc2log ----------------------------------------------------
        path = os.path.join(tmp, "t.asc")
        check("written to asc" in convert(trace, "asc", path), "asc summary")
        got = list(can.ASCReader(path, relative_timestamp=False))
        check(len(got) == len(frames), "ASC: %d messages, %d frames" % (len(got), len(frames)))
        counts["asc (python-can)"] = compare("asc", zip(frames, got), python_can_checks(0))
        run = subprocess.run([ASC2LOG, "-I", path], capture_output=True, text=True)
        out = run.stdout.splitlines()
        check(len(out) == len(frames), "asc2log: %d lines, %d frames" % (len(out), len(frames)))
        # asc2log takes the start from the clock when it cannot read the date: times relative.
        # It adds microseconds without a carry, so "(s.1000123)" occurs: read both parts.
        def stamp_us(text):
            sec, _, usec = text[1:].partition(")")[0].partition(".")
            return int(sec) * 10**6 + int(usec)

        zero = stamp_us(out[0]) - (frames[0]["ts"] - base_us)

        def asc2log(r, got):
            rest = got.partition(") ")[2]
            if stamp_us(got) - zero != r["ts"] - base_us:
                return True
            want = candump_line(r, base_us).partition(") ")[2]
            if r["error"]:  # asc2log knows no error classes: a bus error without details
                return rest != want[:-25] + "20000080#0000000000000000"
            return rest != want + (" T" if r["tx"] else " R")
        counts["asc (asc2log)"] = compare("asc2log", zip(frames, out), [asc2log])

        # --- BLF: python-can ----------------------------------------------------------------
        path = os.path.join(tmp, "t.blf")
        convert(trace, "blf", path)
        reader = can.BLFReader(path)
        got = list(reader)
        check(len(got) == len(frames) == reader.object_count,
              "BLF: %d messages, %d objects, %d frames" % (len(got), reader.object_count,
                                                           len(frames)))
        check((micros_of(reader.start_timestamp), micros_of(reader.stop_timestamp)) ==
              (base_us, frames[-1]["ts"] - frames[-1]["ts"] % 1000), "BLF start and end")
        check(reader.file_size == os.path.getsize(path), "BLF file size")
        counts["blf"] = compare("blf", zip(frames, got), python_can_checks(0))

        # --- pcapng: tshark's dissectors ----------------------------------------------------
        path = os.path.join(tmp, "t.pcapng")
        convert(trace, "pcapng", path)
        fields = ["frame.time_epoch", "frame.interface_name", "frame.p2p_dir", "can.id",
                  "can.flags.xtd", "can.flags.err", "can.len", "canfd.flags.brs",
                  "canfd.flags.esi", "data.data", "lin.frame_id", "lin.checksum",
                  "lin.checksum_type", "lin.message_type", "lin.event_id", "lin.errors",
                  "flexray.ch", "flexray.fid", "flexray.cc", "flexray.hcrc", "flexray.pl",
                  "flexray.nfi", "flexray.sfi", "flexray.stfi", "_ws.expert"]
        run = subprocess.run([TSHARK, "-r", path, "-T", "fields", "-E", "separator=/t", "-E",
                              "occurrence=f"] + [a for f in fields for a in ("-e", f)],
                             capture_output=True, text=True)
        check(run.returncode == 0, "tshark failed: %s" % run.stderr)
        rows = [dict(zip(fields, row.split("\t"))) for row in run.stdout.splitlines()]
        written = [r for r in refs if r and not r.get("txrq") and r.get("frame", True) and
                   r.get("raw", True)]
        check(len(rows) == len(written), "%d packets, %d frames" % (len(rows), len(written)))

        def time_(r, p): return int(p["frame.time_epoch"].replace(".", "")[:16]) != r["ts"]

        def interface(r, p):
            name = {"CAN": "can", "LIN": "lin", "ETHERNET": "eth", "FLEXRAY": "flexray"}[r["bus"]]
            number = (r["ch"] - 1) // 2 if r["bus"] == "FLEXRAY" else r["ch"] - 1
            # The generator's UDP and diagnostic LIN payloads are no valid application data.
            payload = r["bus"] == "ETHERNET" or r["bus"] == "LIN" and r["id"] >= 60
            return p["frame.interface_name"] != name + str(number) or \
                p["frame.p2p_dir"] != ("0" if r.get("tx") else "1") or \
                (p["_ws.expert"] != "" and not payload)

        def can_frame(r, p):
            if r["bus"] != "CAN":
                return False
            if r["error"]:
                return p["can.flags.err"] != "1"
            return (int(p["can.id"]), p["can.flags.xtd"], int(p["can.len"]), p["canfd.flags.brs"],
                    p["canfd.flags.esi"], bytes.fromhex(p["data.data"])) != \
                (r["id"], "1" if r["ext"] else "0", len(r["data"]), "1" if r["brs"] else
                 ("0" if r["fd"] else ""), "1" if r["esi"] else ("0" if r["fd"] else ""), r["data"])

        def lin(r, p):
            if r["bus"] != "LIN":
                return False
            if r["wake"]:
                return (p["lin.message_type"], p["lin.event_id"]) != ("3", "0xb0b00004")
            # Diagnostic frames' payload goes to the transport dissector, not to data.
            data = r["data"][:-1] if r["id"] < 60 else b""
            return (p["lin.message_type"], int(p["lin.frame_id"], 0), p["lin.checksum_type"],
                    int(p["lin.checksum"], 0), bytes.fromhex(p["data.data"] if data else "")) != \
                ("0", r["id"], "2", r["data"][-1], data)

        def flexray(r, p):
            if r["bus"] != "FLEXRAY":
                return False
            bits = r["bits"]
            return (p["flexray.ch"], int(p["flexray.fid"]), int(p["flexray.cc"]),
                    int(p["flexray.hcrc"], 0), int(p["flexray.pl"]), p["flexray.nfi"],
                    p["flexray.sfi"], p["flexray.stfi"], bytes.fromhex(p["data.data"])) != \
                ("1" if r["b"] else "0", r["slot"], r["cycle"], r["hcrc"], len(r["data"]) // 2,
                 str(bits >> 2 & 1), str(bits >> 1 & 1), str(bits & 1), r["data"])

        n = compare("pcapng", zip(written, rows), [time_, interface, can_frame, lin, flexray])
        for bus in ("CAN", "ETHERNET", "LIN", "FLEXRAY"):
            counts["pcapng " + bus] = sum(r["bus"] == bus for r in written)
        check(n == sum(counts[k] for k in counts if k.startswith("pcapng")), "pcapng count")
        # Ethernet frames: whole frames, byte for byte.
        run = subprocess.run([TSHARK, "-r", path, "-Y", "eth", "-T", "json", "-x"],
                             capture_output=True, text=True)
        raw = [p["_source"]["layers"]["frame_raw"][0] for p in json.loads(run.stdout)]
        eth = [r for r in written if r["bus"] == "ETHERNET"]
        check(len(raw) == len(eth) > 0, "%d Ethernet packets, %d frames" % (len(raw), len(eth)))
        compare("pcapng Ethernet", zip(eth, raw),
                [lambda r, p: bytes.fromhex(p) != r["data"]])

        # --- JSON Lines and CSV: every record, against its dump line ----------------------
        stats = json.loads(subprocess.run([CLI, "stats", trace, "--json"], capture_output=True,
                                          check=True).stdout)
        for fmt in ("jsonl", "csv"):
            path = os.path.join(tmp, "t." + fmt)
            summary = convert(trace, fmt, path)
            m = re.fullmatch(r"vxtrace: .*: (\d+) records written to %s\n" % fmt, summary)
            check(m and int(m[1]) == len(lines), fmt + " summary: " + summary)
            with open(path, encoding="utf-8", newline="") as f:
                if fmt == "jsonl":
                    rows = [json.loads(row) for row in f]
                else:
                    rows = [{k: v for k, v in row.items() if v != ""} for row in csv.DictReader(f)]
            check(len(rows) == len(lines), "%s: %d rows, %d records" % (fmt, len(rows), len(lines)))
            check(collections.Counter(r["kind"] for r in rows) == stats["by_id"] and
                  collections.Counter(r["channel"] for r in rows) == stats["by_channel"],
                  fmt + " kinds or channels")

            def common(pair, row):
                text, r = pair
                stamp = text[:26]
                # The record's own text; dump escapes its control characters.
                shown = re.sub("[\x00-\x1f\x7f]", lambda c: "\\x%02x" % ord(c.group()), row["text"])
                return shown != text or str(row["time_us"]) != str(
                    calendar.timegm(time.strptime(stamp[:19], "%Y-%m-%d %H:%M:%S")) * 10**6 +
                    int(stamp[20:26])) or row["time"] != stamp.replace(" ", "T") + "Z"

            def can_fields(pair, row):
                text, r = pair
                want = {}
                if r and r["bus"] == "CAN" and not r.get("txrq"):
                    want = {"channel": "CAN #%d" % r["ch"], "can_id": r["id"],
                            "extended": r["ext"], "fd": r["fd"], "brs": r["brs"],
                            "esi": r["esi"], "remote": False, "error": r["error"],
                            "dir": "tx" if r["tx"] else "rx", "data": r["data"].hex()}
                    want = {k: str(v).lower() for k, v in want.items()}
                got = {k: str(row.get(k, "")).lower() for k in want}
                return got != want or ("dlc" in row) != bool(want)
            counts[fmt] = compare(fmt, zip(zip(lines, refs), rows), [common, can_fields])
        print("compared frame by frame, 0 mismatches wanted: " +
              ", ".join("%s %d" % kv for kv in counts.items()))
        check(mismatches == 0, "%d mismatches" % mismatches)
    finally:
        shutil.rmtree(tmp)


if __name__ == "__main__":
    main()
