"""Frames of a small simulated detector, and the program that the package is compared with."""

import logging
import os
import subprocess
import tempfile
import unittest

import h5py
import numpy as np

HEIGHT, WIDTH = 48, 64
logging.getLogger("ombrel").addHandler(logging.NullHandler())
PROGRAM = os.environ["OMBREL_PROGRAM"]


def counts(seed, frames, level, dtype=np.uint16, shape=(HEIGHT, WIDTH)):
    """Photon counts behind a fixed pattern of the pixels' sensitivities."""
    pattern = np.random.default_rng(1).normal(1, 0.05, shape)
    return np.random.default_rng(seed).poisson(level * pattern, (frames, *shape)).astype(dtype)


def write(path, frames, time=None, mask=None):
    if os.path.exists(path):
        os.unlink(path)  # a scan of it may be open in this process
    with h5py.File(path, "w") as file:
        detector = file.create_group("entry/detector")
        detector.attrs["NX_class"] = "NXdetector"
        detector["data"] = frames
        if time is not None:
            detector["count_time"] = np.full(len(frames), time)
        if mask is not None:
            detector["pixel_mask"] = mask
    return path


def write_marked(path, samples, flats, darks):
    with h5py.File(path, "w") as file:
        detector = file.create_group("entry/detector")
        detector.attrs["NX_class"] = "NXdetector"
        detector["data"] = np.concatenate([darks, flats, samples])
        detector["image_key"] = [2] * len(darks) + [1] * len(flats) + [0] * len(samples)
    return path


def output_of(path):
    with h5py.File(path) as file:
        return file["/exchange/data"][...]


def program(*arguments):
    """Runs the program `ombrel`."""
    done = subprocess.run([PROGRAM, *arguments], capture_output=True, text=True)
    if done.returncode != 0:
        raise AssertionError(done.stderr)


class Case(unittest.TestCase):
    """Works in a folder of its own that holds data/frames.h5 and data/flats.h5."""

    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.before = os.getcwd()
        os.chdir(cls.folder.name)
        os.mkdir("data")
        write("data/frames.h5", counts(2, 6, 500), time=0.5)
        write("data/flats.h5", counts(3, 8, 10000), time=0.5)

    @classmethod
    def tearDownClass(cls):
        os.chdir(cls.before)
        cls.folder.cleanup()

    def assertSame(self, one, other):
        """Same bits; one NaN is as good as another."""
        np.testing.assert_array_equal(one, other)
        self.assertEqual(one.dtype, other.dtype)
