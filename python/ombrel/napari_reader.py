"""Frames of all supported files as layers of napari."""

from __future__ import annotations

from .errors import Error
from .scan import Scan, open


def get_reader(path):
    """The reader of a path or a list of paths; None if the files hold no frames."""
    paths = path if isinstance(path, list) else [path]
    try:
        open(paths)
    except Error:
        return None
    return read


def read(path):
    """Layers of a path or a list of paths: the frames, and the mask next to them. Frames are read as they are shown."""
    paths = path if isinstance(path, list) else [path]
    scan = open(paths)
    layers = [(lazy(scan), {"name": "frames"}, "image")]
    if scan.mask is not None:
        layers.append((scan.mask.astype("uint32"), {"name": "mask"}, "labels"))
    return layers


def lazy(scan: Scan):
    import dask.array

    return dask.array.from_array(scan, chunks=(1, *scan.shape[1:]), name=False, asarray=False,
                                 getitem=_frames)


def _frames(scan: Scan, index, *_, **__):
    import numpy as np

    frames, rows, columns = index
    return np.asarray(scan[frames])[:, rows, columns]
