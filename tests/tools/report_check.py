#!/usr/bin/python3
"""`vxtrace report` on a generated trace with garbage spliced in and one gap: the page holds no
external reference, its figures equal those of `vxtrace stats --json` and `vxtrace info --json`,
and headless Chromium renders every chart and a screenshot that is not blank. Exit 77 when Chromium is missing (outside CI).
"""
import json
import os
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import zlib

CLI = sys.argv[1]
TMP = tempfile.mkdtemp()
CHROME = shutil.which("chromium-headless-shell") or shutil.which("chromium")


def frames(data):
    """(start, end) of each sync-marked frame of a clean V1 trace."""
    pos = 0
    while pos < len(data):
        assert data[pos:pos + 2] == b"\x55\xaa", "no marker at %d" % pos
        (size,) = struct.unpack_from(">H", data, pos + 2)
        yield pos, pos + 4 + size
        pos += 4 + size


def png_pixels(path):
    """Rows of RGB(A) bytes of an 8-bit PNG, unfiltered."""
    data = open(path, "rb").read()
    assert data[:8] == b"\x89PNG\r\n\x1a\n"
    pos, idat, width, height, channels = 8, b"", 0, 0, 0
    while pos < len(data):
        (length,) = struct.unpack_from(">I", data, pos)
        kind, body = data[pos + 4:pos + 8], data[pos + 8:pos + 8 + length]
        if kind == b"IHDR":
            width, height, depth, colour = struct.unpack_from(">IIBB", body)
            assert depth == 8 and colour in (2, 6), (depth, colour)
            channels = 3 if colour == 2 else 4
        elif kind == b"IDAT":
            idat += body
        pos += 12 + length
    raw, stride, rows, prev = zlib.decompress(idat), width * channels, [], bytearray(width * channels)
    for y in range(height):
        kind, line = raw[y * (stride + 1)], bytearray(raw[y * (stride + 1) + 1:(y + 1) * (stride + 1)])
        for i in range(stride):
            a = line[i - channels] if i >= channels else 0
            b, c = prev[i], prev[i - channels] if i >= channels else 0
            if kind == 1: line[i] = (line[i] + a) & 255
            elif kind == 2: line[i] = (line[i] + b) & 255
            elif kind == 3: line[i] = (line[i] + (a + b) // 2) & 255
            elif kind == 4:
                p = a + b - c
                pa, pb, pc = abs(p - a), abs(p - b), abs(p - c)
                line[i] = (line[i] + (a if pa <= pb and pa <= pc else b if pb <= pc else c)) & 255
        rows.append(bytes(line))
        prev = line
    return width, height, channels, rows


def compare(trace, page, status, check):
    """The report's figures against those of stats and info on one trace; the page and stats'
    JSON."""
    r = subprocess.run([CLI, "report", trace, "-o", page], capture_output=True, text=True)
    check(r.returncode == status, "report exit %d: %s" % (r.returncode, r.stderr))
    tool = lambda verb: json.loads(subprocess.run([CLI, verb, trace, "--json"],
                                                  capture_output=True, text=True).stdout)
    stats, info = tool("stats"), tool("info")[0]
    html = open(page, encoding="utf-8").read()
    key = dict(re.findall(r'data-key="(\w+)">([^<]*)<', html))
    info_figures = dict(info["losses"], records=info["records"], gaps=info["anomalies"]["gaps"],
                        contained_records=info["containers"]["records"],
                        first_time=info["earliest"], last_time=info["latest"])
    for name in ("records", "contained_records", "first_time", "last_time", "garbage_bytes",
                 "garbage_runs", "truncated_bytes", "undecodable_frames", "gaps"):
        figures = (key.get(name), str(stats.get(name, info_figures[name])), str(info_figures[name]))
        check(len(set(figures)) == 1, "%s: %s in the report, %s in stats, %s in info"
              % ((name,) + figures))
    kinds = {k: int(n) for k, n in re.findall(r'data-kind="([^"]+)" data-count="(\d+)"', html)}
    check(kinds == stats["by_id"], "kinds differ from stats: %s" % kinds)
    channels = {k: int(n) for k, n in re.findall(r'data-channel="([^"]+)">(\d+)<', html)}
    check(channels == stats["by_channel"], "channels differ from stats: %s" % channels)
    return html, stats


def main():
    failures = []
    check = lambda ok, what: ok or failures.append(what)
    trace, page = os.path.join(TMP, "in.vxt"), os.path.join(TMP, "report.html")
    subprocess.run([CLI, "gen", trace, "--records", "20000", "--seed", "7"], check=True)
    data = open(trace, "rb").read()
    spans = list(frames(data))
    # Garbage after every 3000th frame, and every record of the second half five minutes later.
    out = bytearray()
    for i, (start, end) in enumerate(spans):
        frame = bytearray(data[start:end])
        if i >= len(spans) // 2:
            (ts,) = struct.unpack_from(">Q", frame, 8)
            struct.pack_into(">Q", frame, 8, ts + 300 * 10**6)
        out += frame
        if i % 3000 == 1500:
            out += bytes((i * 7 + k) % 50 + 1 for k in range(37))
    open(trace, "wb").write(out)

    for bins in ("9", "1001", "x"):
        r = subprocess.run([CLI, "report", trace, "-o", page, "--bins", bins], capture_output=True)
        check(r.returncode == 2 and not os.path.exists(page), "--bins %s accepted" % bins)
    # Records inside containers count by their own kind and channel, as in stats.
    boxed = os.path.join(TMP, "boxed.vxt")
    subprocess.run([CLI, "gen", boxed, "--records", "5000", "--containers"], check=True)
    compare(boxed, os.path.join(TMP, "boxed.html"), 0, check)

    html, stats = compare(trace, page, 1, check)

    # Nothing fetched from anywhere.
    check("http" not in html.lower(), "a URL in the page")
    check(not re.search(r"<script|@import|(src|href)\s*=\s*[\"']?[^\"' >]*//", html, re.I),
          "a script, an import or an external src/href")
    check(not re.search(r"url\((?!#|data:)", html), "a url() that is not a fragment or data:")

    check(stats["garbage_runs"] == 7, "spliced 7 runs, stats saw %d" % stats["garbage_runs"])
    check(re.search(r'data-key="gaps">1<', html), "not one gap")
    # 0x0C9 on CAN #1 is sent every 10 ms; the gap is no period.
    period = re.search(r"<td>0x0C9</td>.*?<td class=\"n\">([\d.]+) ms</td>", html)
    check(period and 9.8 < float(period.group(1)) < 10.2, "period of 0x0C9: %s"
          % (period and period.group(1)))

    if CHROME is None:
        if os.environ.get("CI"):
            failures.append("no chromium-headless-shell in CI")
        else:
            print("chromium-headless-shell is not installed: browser part skipped")
            return failures, 77
    else:
        flags = [CHROME, "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic",
                 "--no-first-run", "--disable-background-networking", "--disable-component-update",
                 "--disable-sync", "--user-data-dir=" + os.path.join(TMP, "profile"),
                 "--window-size=1000,1400"]
        url = "file://" + page
        dom = subprocess.run(flags + ["--dump-dom", url], capture_output=True, text=True,
                             timeout=120).stdout
        check("<h1>" in dom, "the page did not render")
        for chart, mark in (("load", " L"), ("frames", "<path"), ("events", "<rect"),
                            ("kinds", "<rect")):
            m = re.search(r'<svg id="chart-%s".*?</svg>' % chart, dom, re.S)
            check(m and m.group(0).count(mark) >= 2, "chart %s missing or empty" % chart)
        shot = os.path.join(TMP, "shot.png")
        subprocess.run(flags + ["--screenshot=" + shot, url], capture_output=True, timeout=120)
        if not os.path.exists(shot):
            failures.append("no screenshot")
        else:
            width, height, channels, rows = png_pixels(shot)
            colours, inked = set(), 0
            for row in rows[::4]:
                for x in range(0, width * channels, channels * 4):
                    pixel = row[x:x + 3]
                    colours.add(pixel)
                    inked += pixel != b"\xff\xff\xff"
            sampled = (len(rows[::4])) * len(range(0, width * channels, channels * 4))
            check(inked > sampled // 50 and len(colours) > 20,
                  "blank screenshot: %d of %d pixels inked, %d colours" % (inked, sampled, len(colours)))
    return failures, 0


if __name__ == "__main__":
    failures, status = main()
    shutil.rmtree(TMP, ignore_errors=True)
    for f in failures:
        print("FAIL:", f)
    sys.exit(1 if failures else status)
