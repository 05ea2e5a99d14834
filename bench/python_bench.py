#!/usr/bin/python3
"""Reading the same CAN frames three ways, in one run: vxtrace.read_can (numpy columns, on every
core, on fresh pages and on one thread), can.LogReader over the vxtrace plugin (can.Message
objects), and python-can's BLFReader on a BLF file of the same frames written by its BLFWriter.

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
    """Wall and CPU seconds of the run fastest by wall time out of REPEATS, and the number of
    frames fn returned. CPU time counts every thread of this process, so a reader on several
    threads shows more CPU than wall time; on a shared machine wall time also counts waiting
    for the other programs' turns, CPU time does not."""
    runs = []
    for _ in range(REPEATS):
        wall, cpu = time.perf_counter(), time.process_time()
        n = fn()
        runs.append((time.perf_counter() - wall, time.process_time() - cpu, n))
    return min(runs)


def main():
    with tempfile.TemporaryDirectory() as d:
        vxt, blf = os.path.join(d, "bench.vxt"), os.path.join(d, "bench.blf")
        with can.Logger(vxt) as a, can.BLFWriter(blf) as b:
            for m in messages(FRAMES):
                a(m)
                b(m)
        load = os.getloadavg()[0]
        held = []

        def fresh():
            """read_can while every earlier result is still held, so that no call reuses the
            pages of a result given back: what a first call in a process costs."""
            held.append(vxtrace.read_can(vxt))
            return len(held[-1])

        results = [
            ("vxtrace.read_can", best(lambda: len(vxtrace.read_can(vxt)))),
            ("vxtrace.read_can fresh pages", best(fresh)),
            ("vxtrace.read_can threads=1", best(lambda: len(vxtrace.read_can(vxt, threads=1)))),
            ("can.LogReader (.vxt plugin)", best(lambda: sum(1 for _ in can.LogReader(vxt)))),
            ("can.BLFReader", best(lambda: sum(1 for _ in can.BLFReader(blf)))),
        ]
        sizes = {"vxt": os.path.getsize(vxt), "blf": os.path.getsize(blf)}
    print(f"{FRAMES} frames (25 % CAN FD), best of {REPEATS} by wall time; files: "
          f"{sizes['vxt']} bytes .vxt, {sizes['blf']} bytes .blf; {os.cpu_count()} cores, "
          f"load {load:.1f} before, {os.getloadavg()[0]:.1f} after")
    for name, (wall, cpu, n) in results:
        if n != FRAMES:
            sys.exit(f"{name} read {n} frames, not {FRAMES}")
    blf_wall, blf_cpu = results[-1][1][:2]
    print(f"  {'':<30} {'M frames/s':>10} {'wall ms':>9} {'CPU ms':>9} {'x BLF wall':>11} "
          f"{'x BLF CPU':>10}")
    for name, (wall, cpu, n) in results:
        print(f"  {name:<30} {n / wall / 1e6:10.3f} {wall * 1e3:9.1f} {cpu * 1e3:9.1f} "
              f"{blf_wall / wall:11.1f} {blf_cpu / cpu:10.1f}")
    ratio = blf_wall / results[0][1][0]
    print(f"read_can / BLFReader = {ratio:.1f} by wall time "
          f"({'meets' if ratio >= 50 else 'BELOW'} 50x)")


if __name__ == "__main__":
    main()
