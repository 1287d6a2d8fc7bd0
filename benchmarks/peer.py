#!/usr/bin/python3
"""The peer of the whole-program benchmark: the same arithmetic by numpy and h5py, frame by frame.

    peer.py flat-field INPUT OUTPUT COEFFICIENTS.npy    frames * coefficients, as f32
    peer.py binning INPUT OUTPUT                        sums of 2 x 2 pixels, each in four pixels, as f32
    peer.py frames INPUT OUTPUT N                       the first frames, without flat fields
    peer.py coefficients FLATS COEFFICIENTS.npy         mean level over the mean flat
"""

import sys

import h5py
import numpy as np


def coefficients(path, output):
    with h5py.File(path) as file:
        flats = file["/exchange/data_white"]
        total = np.zeros(flats.shape[1:])
        for frame in flats:
            total += frame
    total[total == 0] = 1
    np.save(output, np.mean(total) / total)


def copy_frames(path, output, count):
    with h5py.File(path) as file, h5py.File(output, "w") as out:
        out["/exchange/data"] = file["/exchange/data"][:count]


def binned(frame):
    wide = frame.astype(np.float64)
    sums = wide[0::2, 0::2] + wide[0::2, 1::2] + wide[1::2, 0::2] + wide[1::2, 1::2]
    return np.repeat(np.repeat(sums.astype(np.float32), 2, axis=0), 2, axis=1)


def correct(path, output, work):
    with h5py.File(path) as file, h5py.File(output, "w") as out:
        frames = file["/exchange/data"]
        corrected = out.create_dataset("/exchange/data", frames.shape, np.float32, chunks=(1, *frames.shape[1:]))
        for index in range(len(frames)):
            corrected[index] = work(frames[index])


def main(kind, path, output, *rest):
    if kind == "coefficients":
        coefficients(path, output)
    elif kind == "frames":
        copy_frames(path, output, int(rest[0]))
    elif kind == "flat-field":
        factors = np.load(rest[0])
        correct(path, output, lambda frame: (frame * factors).astype(np.float32))
    elif kind == "binning":
        correct(path, output, binned)
    else:
        sys.exit(f"peer.py: unknown kind {kind}")


main(*sys.argv[1:])
