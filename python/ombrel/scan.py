"""Frames in files."""

from __future__ import annotations

import operator
import os
from collections.abc import Iterator, Sequence

import numpy as np

from . import _ombrel


def paths_of(argument: str, value) -> list[str]:
    """The files that an argument names: a path or several; a scan is refused unless all its frames are meant."""
    if isinstance(value, Scan):
        return value.paths
    if isinstance(value, (str, os.PathLike)):
        return [os.fspath(value)]
    if isinstance(value, Sequence) and len(value) == 0:
        raise ValueError(f"{argument} is empty: give a scan, a path or a list of paths")
    if isinstance(value, Sequence) and value and all(isinstance(path, (str, os.PathLike)) for path in value):
        return [os.fspath(path) for path in value]
    raise TypeError(f"{argument} is {type(value).__name__}: give a scan, a path or a list of paths")


def path_of(argument: str, value) -> str:
    """The path that an argument names."""
    if not isinstance(value, (str, os.PathLike)):
        raise TypeError(f"{argument} is {type(value).__name__}, not a path")
    return os.fspath(value)


def dark_of(value) -> str:
    """The dark fields that an argument `dark` names: "auto", "none" or a file, which workers elsewhere find, too."""
    if isinstance(value, Scan):
        if len(value.paths) != 1 or len(value) != len(value.stack):
            raise ValueError("dark is a part of a scan, or of several files; give all dark fields of one file")
        value = value.paths[0]
    if isinstance(value, (str, os.PathLike)):
        text = os.fspath(value)
        return text if text in ("auto", "none") else os.path.abspath(text)
    raise TypeError(f"dark is {type(value).__name__}: give 'auto', 'none', a path or a scan")


class Scan:
    """Frames of one size in one or more files, counted from 0 through all of them.

    Made by :func:`ombrel.open`. ``len(scan)`` and ``scan[i]`` are the frames that :func:`ombrel.run` corrects: in
    a file that marks its frames, those of the sample. ``scan[a:b]`` is a scan of these frames alone; nothing is
    read. ``numpy.asarray(scan)`` reads all frames.

    Parameters
    ----------
    paths : list of str
        Frame files, folders of them, or patterns; of an HDF5 file one dataset by ``FILE::/path/of/dataset``.
    role : {"sample", "flat", "dark"}
        Which of the frames.

    Examples
    --------
    >>> scan = ombrel.open("data/frames.h5")
    >>> scan.shape, scan.dtype
    ((6, 48, 64), dtype('uint16'))
    >>> scan[2:5].shape
    (3, 48, 64)
    """

    ndim = 3

    def __init__(self, paths: Sequence[str], role: str = "sample", begin: int = 0, end: int | None = None):
        self.paths = list(paths)
        self.role = role
        self.stack = _ombrel.Stack(self.paths, role)
        self.begin = begin
        self.end = len(self.stack) if end is None else end

    def __reduce__(self):
        paths = [os.path.abspath(path) for path in self.paths]
        return Scan, (paths, self.role, self.begin, self.end)

    def __repr__(self) -> str:
        return f"<Scan of {len(self)} frames of {self.shape[2]} x {self.shape[1]} {self.dtype}: {', '.join(self.paths)}>"

    def __len__(self) -> int:
        return self.end - self.begin

    @property
    def shape(self) -> tuple[int, int, int]:
        """Frames, height and width."""
        return len(self), self.stack.height, self.stack.width

    @property
    def dtype(self) -> np.dtype:
        """Type of the pixels of the first frame."""
        return self.stack.dtype(self.begin)

    def __getitem__(self, index):
        """One frame as an array of shape (height, width), or a part of the scan.

        Raises
        ------
        IndexError
            There is no such frame.
        Error
            The frame cannot be read.
        """
        if isinstance(index, slice):
            return self._part(index)
        return self.stack.read(self._place(index))

    def __iter__(self) -> Iterator[np.ndarray]:
        return (self[index] for index in range(len(self)))

    def __array__(self, dtype=None) -> np.ndarray:
        frames = np.empty(self.shape, self.dtype if dtype is None else dtype)
        for index, frame in enumerate(self):
            frames[index] = frame
        return frames

    def time(self, index: int) -> float:
        """Acquisition time of a frame in seconds; 0 if the file does not have it."""
        return self.stack.time(self._place(index))

    @property
    def flats(self) -> Scan | None:
        """The flat fields in the same files; None if the files mark none."""
        return self._others("flat")

    @property
    def darks(self) -> Scan | None:
        """The dark fields in the same files; None if the files mark none."""
        return self._others("dark")

    @property
    def mask(self) -> np.ndarray | None:
        """The mask that a detector stored next to the frames, of shape (height, width); None without one.

        Integers of 32 bits, 0 for a good pixel; the bits are those of ``pixel_mask`` in NeXus.
        """
        return self.stack.mask()

    def _others(self, role: str) -> Scan | None:
        return Scan(self.paths, role) if self.stack.count(role) else None

    def _place(self, index) -> int:
        number = operator.index(index)
        if not -len(self) <= number < len(self):
            raise IndexError(f"index {number} is outside of a scan of {len(self)} frames")
        return self.begin + number % len(self)

    def _part(self, index: slice) -> Scan:
        begin, end, step = index.indices(len(self))
        if step != 1:
            raise ValueError(f"scan[{index.start}:{index.stop}:{index.step}]: a part of a scan has the step 1")
        part = Scan.__new__(Scan)
        part.paths, part.role, part.stack = self.paths, self.role, self.stack
        part.begin, part.end = self.begin + begin, self.begin + max(begin, end)
        return part


def open(paths) -> Scan:
    """Open files of frames: TIFF, HDF5, EDF or CBF, recognised by their content.

    Parameters
    ----------
    paths : str, path or list of them
        Frame files, folders of them, or patterns. ``FILE::/path/of/dataset`` names a dataset of an HDF5 file.

    Returns
    -------
    Scan

    Raises
    ------
    Error
        A file cannot be read, or frames differ in size.

    Examples
    --------
    >>> scan = ombrel.open("data/frames.h5")
    >>> len(scan), scan[0].shape
    (6, (48, 64))
    """
    return Scan(paths_of("paths", paths))
