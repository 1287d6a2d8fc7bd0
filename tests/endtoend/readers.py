"""Opens outputs of ombrel with other programs' readers: silx finds the frames by default, fabio reads them.

readers.py OMBREL PLUGIN
"""
import os
import subprocess
import sys
import tempfile

import fabio
import h5py
import numpy
import silx.io
from silx.io import nxdata

OMBREL, PLUGIN = map(os.path.abspath, sys.argv[1:])
FRAMES = numpy.arange(5 * 4 * 6, dtype="u2").reshape(5, 4, 6)
ANGLES = numpy.linspace(0, 180, 5)


def run(*arguments):
    subprocess.run([OMBREL, *arguments, "--plugin", PLUGIN, "-q"], check=True, stderr=subprocess.DEVNULL)


def pixels_of(path):
    with h5py.File(path) as file:
        return file["/exchange/data"][()]


def check_output(path, axis):
    pixels = pixels_of(path)
    assert pixels.any(), path
    with silx.io.open(path) as file:
        shown = nxdata.get_default(file)
        assert shown is not None and shown.is_valid, path
        assert not shown.issues, shown.issues
        assert shown.interpretation == "image", shown.interpretation
        assert shown.axes_dataset_names == [axis, None, None], shown.axes_dataset_names
        assert numpy.array_equal(shown.signal[()], pixels), path
        assert numpy.array_equal(shown.axes[0][()], ANGLES), path
    assert numpy.array_equal(fabio.open(path + "::/exchange/data").data, pixels[0]), path


def check_input(path):
    """A file that fabio wrote holds the same frames as the HDF5 file."""
    run("run", "-f", "Binning 2x2", path, "-o", "other.h5", "--force")
    assert numpy.array_equal(pixels_of("other.h5"), pixels_of("out.h5")), path


os.chdir(tempfile.mkdtemp())
with h5py.File("scan.h5", "w") as scan:
    scan["/exchange/data"] = FRAMES
    scan["/exchange/theta"] = ANGLES
run("run", "-f", "Binning 2x2", "scan.h5", "-o", "out.h5")
run("run", "-f", "Binning 2x2", "scan.h5", "-o", "out.nxs")
check_output("out.h5", "theta")
check_output("out.nxs", "rotation_angle")

os.mkdir("cbf")
edf = fabio.edfimage.EdfImage(data=FRAMES[0])
for i, frame in enumerate(FRAMES):
    fabio.cbfimage.CbfImage(data=frame.astype("i4")).write(f"cbf/img_{i}.cbf")
    if i > 0:
        edf.append_frame(data=frame)
edf.write("scan.edf")
edf.write("scan.edf.gz")
for path in ("cbf", "scan.edf", "scan.edf.gz"):
    check_input(path)
