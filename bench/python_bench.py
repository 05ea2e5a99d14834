#!/usr/bin/python3
"""Reading the same CAN frames three ways, in one run: vxtrace.read_can (numpy columns),
can.LogReader over the vxtrace plugin (can.Message objects), and python-can's BLFReader on a BLF
file of the same frames written by its BLFWriter.

    PYTHONPATH=build/release/python /usr/bin/python3 bench/python_bench.py [frames] [repeats]
"""
import os
import random
import sys
import tempfile
import time

import can
import vxtrace

FRAMES = int(sys.argv[1]) if len(sys.argv) > 1 else 200_000
REPEATS = int(sys.argv[2]) if len(sys.argv) > 2 else 3
FD_LENGTHS = [12, 16, 20, 24, 32, 48, 64]


def messages(n, seed=1):
    """n frames on four channels, a quarter of them CAN FD, a third of all with 29-bit ids."""
    rng = random.Random(seed)
    t = 1_700_000_000.0
    for i in range(n):
        t += rng.uniform(0.00005, 0.0005)
        fd = i % 4 == 3
        ext = rng.random() < 0.33
        length = rng.choice(FD_LENGTHS) if fd else rng.randint(0, 8)
        yield can.Message(timestamp=round(t, 6), channel=rng.randint(0, 3),
                          arbitration_id=rng.getrandbits(29 if ext else 11), is_extended_id=ext,
                          is_fd=fd, bitrate_switch=fd and rng.random() < 0.5,
                          data=rng.randbytes(length), is_rx=rng.random() < 0.9)


def best(fn):
    """Fastest of REPEATS runs in CPU seconds of this process (all three readers run on one
    thread; CPU time does not count what other programs on a shared machine take), and the
    number of frames fn returned."""
    times = []
    for _ in range(REPEATS):
        start = time.process_time()
        n = fn()
        times.append(time.process_time() - start)
    return min(times), n


def main():
    with tempfile.TemporaryDirectory() as d:
        vxt, blf = os.path.join(d, "bench.vxt"), os.path.join(d, "bench.blf")
        with can.Logger(vxt) as a, can.BLFWriter(blf) as b:
            for m in messages(FRAMES):
                a(m)
                b(m)
        results = [
            ("vxtrace.read_can", best(lambda: len(vxtrace.read_can(vxt)))),
            ("can.LogReader (.vxt plugin)", best(lambda: sum(1 for _ in can.LogReader(vxt)))),
            ("can.BLFReader", best(lambda: sum(1 for _ in can.BLFReader(blf)))),
        ]
        sizes = {"vxt": os.path.getsize(vxt), "blf": os.path.getsize(blf)}
    print(f"{FRAMES} frames (25 % CAN FD), best of {REPEATS} in CPU time; files: "
          f"{sizes['vxt']} bytes .vxt, {sizes['blf']} bytes .blf")
    blf_rate = None
    for name, (seconds, n) in results:
        if n != FRAMES:
            sys.exit(f"{name} read {n} frames, not {FRAMES}")
    blf_rate = FRAMES / results[-1][1][0]
    for name, (seconds, n) in results:
        rate = n / seconds
        print(f"  {name:<30} {rate / 1e6:8.3f} M frames/s  {seconds * 1e3:9.1f} ms  "
              f"{rate / blf_rate:7.1f}x BLFReader")
    ratio = (FRAMES / results[0][1][0]) / blf_rate
    print(f"read_can / BLFReader = {ratio:.1f} ({'meets' if ratio >= 50 else 'BELOW'} 50x)")


if __name__ == "__main__":
    main()
