"""Faults of a detector's pixels."""

from __future__ import annotations

import os
import tempfile

import numpy as np

from . import _ombrel
from .inspection import frames_of
from .scan import Scan, paths_of


class Mask:
    """Faults of a detector's pixels.

    Attributes
    ----------
    faults : numpy.ndarray
        uint32 of shape (height, width): 0 for a good pixel, else bits of ``pixel_mask`` in NeXus.
    """

    def __init__(self, faults: np.ndarray):
        self.faults = faults

    def __array__(self, dtype=None) -> np.ndarray:
        return np.asarray(self.faults, dtype)

    @property
    def bad(self) -> np.ndarray:
        """Whether a pixel has any fault."""
        return self.faults != 0

    @property
    def counts(self) -> dict[str, int]:
        """Pixels by their faults, such as {"dead": 3}."""
        values, counts = np.unique(self.faults[self.faults != 0], return_counts=True)
        return {_ombrel.fault_text(int(value)): int(count) for value, count in zip(values, counts)}

    def save(self, path) -> Mask:
        """Write the mask: .h5, .hdf5 or .nxs with all reasons, .tif with 0 for bad pixels, or .txt with a list."""
        _ombrel.write_mask(os.fspath(path), self.faults)
        return self


def bad_pixels(flats, darks=None, *, mask: str = "auto", false_discoveries: float = 0.001,
               deviation: float = 6.0) -> Mask:
    """A mask of bad pixels with reasons, from repeated frames of the open beam.

    Parameters
    ----------
    flats : Scan, path or list of paths
        Best 20 frames or more.
    darks : Scan, path or list of paths, optional
        Frames without beam, which show hot pixels.
    mask : str
        Faults that are known before: "auto" for those next to the frames, "none", or a file.
    false_discoveries : float
        Expected part of good pixels among those found to be noisy.
    deviation : float
        Robust standard deviations from the neighbourhood from which a response is bad.

    Returns
    -------
    Mask

    Examples
    --------
    >>> ombrel.bad_pixels("data/flats.h5").faults.shape
    (48, 64)
    """
    if not 0 < false_discoveries < 1:
        raise ValueError(f"false_discoveries is {false_discoveries}, not above 0 and below 1")
    if not deviation > 0:
        raise ValueError(f"deviation is {deviation}, not above 0")
    paths, only, shape = frames_of("flats", flats)
    if only:
        raise ValueError("flats is a part of a scan; give all frames of its files")
    dark_paths = [] if darks is None else paths_of("darks", darks)
    with tempfile.TemporaryDirectory(prefix="ombrel-") as folder:
        path = os.path.join(folder, "mask.h5")
        _ombrel.bad_pixels(paths, dark_paths, {"output": path, "mask": mask, "deviation": float(deviation),
                                               "false_discoveries": float(false_discoveries)})
        height, width = shape or Scan(paths, "flat").shape[1:]
        return Mask(_ombrel.read_mask(path, width, height))
