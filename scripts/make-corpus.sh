#!/usr/bin/env bash
# Regenerates the fuzz seed corpora under tests/fuzz/corpus/ from `vxtrace gen` traces.
#
#   scripts/make-corpus.sh [PATH_TO_VXTRACE]
#
# fuzz_decode: single frames, a few of each record kind the generator writes, plus hand-made
# edge frames (short, unknown identifier, rejected CAN bodies). Each file is the selector byte
# 0xFF (decode the frame as it is) followed by the frame from its size field on.
# fuzz_stream: slices of V1 and V2 traces, with and without sync markers, some with garbage and
# padding between the frames or cut off inside a frame, each behind the three control bytes
# the target reads (mode, buffer, chunk sizes).
# The output is deterministic: the same generator gives the same files.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)

tool=${1:-}
if [ -z "$tool" ]; then
  for candidate in "$root"/build/*/tools/vxtrace/vxtrace; do
    [ -x "$candidate" ] && tool=$candidate && break
  done
fi
if [ -z "$tool" ] || [ ! -x "$tool" ]; then
  echo "make-corpus: no vxtrace tool found; build it or pass its path" >&2
  exit 1
fi

tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
"$tool" gen "$tmp/a.vxt" --records 3000 --seed 1 >/dev/null
"$tool" gen "$tmp/b.vxt" --records 400 --seed 7 >/dev/null
"$tool" gen "$tmp/c.vxt" --records 400 --seed 3 --v2 >/dev/null

python3 - "$tmp" "$root/tests/fuzz/corpus" <<'PY'
import os, shutil, struct, sys

tmp, out = sys.argv[1], sys.argv[2]

def frames_v1(data):
    """Frames (from the size field on) of a sync-marked trace."""
    pos, res = 0, []
    while pos + 4 <= len(data):
        assert data[pos:pos + 2] == b"\x55\xaa", "generator wrote no sync marker at %d" % pos
        size = struct.unpack(">H", data[pos + 2:pos + 4])[0]
        res.append(data[pos + 2:pos + 4 + size])
        pos += 4 + size
    return res

def msgid(frame):
    return struct.unpack(">H", frame[2:4])[0] if len(frame) >= 4 else None

def reset(d):
    shutil.rmtree(d, ignore_errors=True)
    os.makedirs(d)

a = open(os.path.join(tmp, "a.vxt"), "rb").read()
b = open(os.path.join(tmp, "b.vxt"), "rb").read()
c = open(os.path.join(tmp, "c.vxt"), "rb").read()
frames = frames_v1(a)

# ---- fuzz_decode ----------------------------------------------------------------------------
d = os.path.join(out, "fuzz_decode")
reset(d)
seen = {}
for f in frames:
    # Up to four per identifier, and different body shapes first (CAN: frame kind, length).
    key = (msgid(f), f[15] if len(f) > 15 else None, len(f))
    ident = msgid(f)
    if key in seen or sum(1 for k in seen if k[0] == ident) >= 4:
        continue
    seen[key] = f
for n, (key, f) in enumerate(sorted(seen.items(), key=lambda kv: (kv[0][0], kv[0][2], kv[0][1] or 0))):
    with open(os.path.join(d, "gen-%04x-%02d" % (key[0], n)), "wb") as fh:
        fh.write(b"\xff" + f)

def header(ident, size, ts=0x0006141A2B3C4D5E):
    return struct.pack(">HHHQ", size, ident, 0, ts)

def frame(ident, body):
    return header(ident, 12 + len(body)) + body

edges = {
    "empty": b"",
    "three-bytes": b"\x00\x0c\x12",
    "unknown-id": frame(15, b""),
    "size-only": b"\x00\x0c\x00\x01",
    "can-short-body": frame(1, b"\x00\x00"),
    "can-length-255": frame(1, b"\x00\x00\x00\xff\x01\x23" + bytes(range(16))),
    "can-error-with-length": frame(1, b"\x02\x01\x03\x08"),
    "can-frame-byte-9": frame(1, b"\x00\x09\x00\x02\x01\x23\xaa\xbb"),
    "canext-bit29": frame(11, b"\x00\x00\x00\x01\x20\x00\x00\x00\x11"),
    "canext-reserved-state": frame(11, b"\x00\x00\x10\x00\x00\x00\x01\x23"),
    "canext-frame-7": frame(11, b"\x00\x07\x00\x00\x00\x00\x01\x23"),
    "canext-fd-64": frame(11, b"\x01\x00\xc0\x40\xc0\x01\x23\x45" + bytes(range(64))),
    "canext-ack-error": frame(11, b"\x00\x01\x03\x02\x80\x00\x01\x23\xde\xad"),
    "canext-stuff-error": frame(11, b"\x00\x01\x01\x00"),
    "canext-length-200-short": frame(11, b"\x00\x00\x00\xc8\x00\x00\x07\xff\x01"),
    "string-empty": frame(138, b""),
}
for name, f in edges.items():
    with open(os.path.join(d, "edge-" + name), "wb") as fh:
        fh.write(b"\xff" + f)

# ---- fuzz_stream ----------------------------------------------------------------------------
d = os.path.join(out, "fuzz_stream")
reset(d)

def v1(fs, sync=True):
    return b"".join((b"\x55\xaa" if sync else b"") + f for f in fs)

def take(fs, limit):
    res, total = [], 0
    for f in fs:
        if total + len(f) + 2 > limit:
            break
        res.append(f)
        total += len(f) + 2
    return res

fb = frames_v1(b)
head = take(frames, 6000)
small = take(fb, 2500)
garbled = []
for i, f in enumerate(small[:40]):
    garbled.append(b"\x55\xaa" + f)
    if i % 7 == 3:
        garbled.append(b"\x13\x37\x55")  # garbage, a lone half marker among it
    if i % 5 == 1:
        garbled.append(b"\x00" * 9)  # padding
unknown = [frame(15, b"\x01\x02"), frame(1, b"\x00\x00\x00\x02\x01\x23\xaa\xbb")]

seeds = {
    # mode, buffer, chunks
    "v1-sync-default": (bytes([0x00, 0x00, 0x08]), v1(head)),
    "v1-sync-tiny-buffer": (bytes([0x08, 0x30, 0x03]), v1(small[:30])),
    "v1-sync-garbage": (bytes([0x0C, 0x00, 0x05]), b"".join(garbled)),
    "v1-sync-cut-off": (bytes([0x00, 0x00, 0x0B]), v1(small)[: len(v1(small)) - 7]),
    "v1-sync-undecodable": (bytes([0x08, 0x00, 0x02]), v1(unknown + small[:10])),
    "v1-sync-invalid-handling": (bytes([0x28, 0x02, 0x04]), v1(unknown + small[:10])),
    "v1-nosync": (bytes([0x01, 0x00, 0x06]), v1(small, sync=False)),
    "v1-cut-only-large-buffer": (bytes([0x40, 0x01, 0x0F]), v1(head)),
    "v1-debug": (bytes([0x14, 0x40, 0x02]), v1(small[:12])),
    "v2-sync": (bytes([0x02, 0x00, 0x07]), c[:4000]),
    "v2-nosync": (bytes([0x03, 0x00, 0x05]), c[:3000].replace(b"Z", b"")),
    "v2-garbage": (bytes([0x02, 0x20, 0x03]), b"\x01\x02" + c[:1500] + b"\x00Z\x00"),
    "v1-file": (bytes([0x80, 0x00, 0x00]), v1(head)),
    "v2-file-cut-only": (bytes([0xC2, 0x00, 0x00]), c[:2000]),
}
for name, (ctl, body) in seeds.items():
    with open(os.path.join(d, name), "wb") as fh:
        fh.write(ctl + body)
PY
du -sh "$root/tests/fuzz/corpus"/* | sed 's/^/make-corpus: /'
