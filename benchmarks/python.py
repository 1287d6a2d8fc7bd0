"""Ratios of the Python package, measured interleaved in one process.

PYTHONPATH=build/PRESET/python /usr/bin/python3 benchmarks/python.py PATH/ombrel

- call: chain(x) against the same frames through the same chain in C++, without the interpreter, and against NumPy and
  SciPy
- map: chain.map with two jobs against the same threads without the interpreter, which are a run's without its output,
  and against `ombrel bench` with two jobs, which writes an output, too
"""

import collections
import json
import os
import subprocess
import sys
import tempfile
import time

import numpy as np
import ombrel
from scipy import ndimage

ROUNDS = 15
NEIGHBOURS = np.ones((3, 3))


def peer(x, coefficients, good):
    """The product, with bad pixels filled by the mean of their good neighbours."""
    y = x * coefficients
    sums = ndimage.convolve(np.where(good, y, 0), NEIGHBOURS, mode="constant")
    counts = ndimage.convolve(good.astype(float), NEIGHBOURS, mode="constant")
    y[~good] = (sums / np.maximum(counts, 1))[~good]
    return y


def seconds(work, frames):
    start = time.perf_counter()
    for frame in frames:
        work(frame)
    return (time.perf_counter() - start) / len(frames)


def call_ratios(chain, scan, ff):
    frames = [scan[i] for i in range(len(scan))]
    good = ~ff.bad
    out = np.empty(scan.shape[1:])
    times = {"C++": [], "call": [], "out": [], "numpy": []}
    chain(frames[0])
    for _ in range(ROUNDS):
        times["C++"].append(chain.seconds(frames) / len(frames))
        times["call"].append(seconds(chain, frames))
        times["out"].append(seconds(lambda x: chain(x, out=out), frames))
        times["numpy"].append(seconds(lambda x: peer(x, ff.coefficients, good), frames[:20]))
    medians = {name: np.median(values) for name, values in times.items()}
    for name, value in medians.items():
        print(f"{name:8} {1e6 * value:9.1f} us a frame")
    print(f"chain(x) over C++: {medians['call'] / medians['C++']:.2f}")
    print(f"chain(x, out=y) over C++: {medians['out'] / medians['C++']:.2f}")
    print(f"numpy over chain(x): {medians['numpy'] / medians['call']:.2f}")


def map_ratio(program, chain, scan):
    rates = {"map": [], "C++": [], "program": []}

    def rate_of(work):
        start = time.perf_counter()
        work(chain.map(scan, jobs=2))
        return len(scan) / (time.perf_counter() - start)

    for _ in range(ROUNDS):
        rates["map"].append(rate_of(lambda frames: collections.deque(frames, maxlen=0)))
        rates["C++"].append(rate_of(lambda frames: frames.drain()))
        done = subprocess.run([program, "bench", "-f", "Flat-Field=ff.xml", scan.paths[0], "-j", "2", "--rounds", "1",
                               "--json"], capture_output=True, text=True, check=True)
        rates["program"].append(json.loads(done.stdout)["frames_per_second"])
    medians = {name: np.median(values) for name, values in rates.items()}
    for name, value in medians.items():
        print(f"{name:8} {value:9.0f} frames/s with two jobs")
    print(f"map over C++: {medians['map'] / medians['C++']:.2f}")
    print(f"map over the program with its output: {medians['map'] / medians['program']:.2f}")


def main(program):
    program = os.path.abspath(program)
    with tempfile.TemporaryDirectory(dir="/dev/shm" if os.path.isdir("/dev/shm") else None) as folder:
        os.chdir(folder)
        subprocess.run([program, "simulate", "data", "--frames", "400", "--grid-steps", "0", "--wedge-steps", "0",
                        "--quiet"], check=True)
        scan = ombrel.open("data/frames.h5")
        ff = ombrel.flat_field(scan.flats, bad="ff").save("ff.xml")
        chain = ombrel.Chain(ff)
        print(f"{chain} on {len(scan)} frames of {scan.shape[2]} x {scan.shape[1]} {scan.dtype}")
        call_ratios(chain, scan[:100], ff)
        map_ratio(program, chain, scan)


main(*sys.argv[1:])
