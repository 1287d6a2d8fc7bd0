"""Filters in the order in which they correct a frame."""

from __future__ import annotations

import numbers
import os
from collections.abc import Iterator, Mapping

import numpy as np

from . import _ombrel
from .calibration import Calibration
from .masks import Mask
from .scan import Scan


class Chain(_ombrel.Filters):
    """Filters that correct frames one after the other.

    ``chain(x)`` corrects one frame, ``chain.map(scan)`` the frames of a scan in order, and
    :func:`ombrel.run` a scan into a file. All give the same bits. Threads may use a chain at once: each has filter
    instances of its own. A filter that carries state from frame to frame (Beam-hardening with zero pixels as bad)
    has one instance for ``chain(x)``, whose results then depend on the order of the calls.

    Parameters
    ----------
    *filters : Calibration or str
        Filters with their settings, or names of filters that need none.
    mask : Mask, array of bool or int, optional
        True, or not 0, for pixels of the detector that are bad, of shape (height, width). Without it,
        :meth:`map` and :func:`ombrel.run` use the mask of the scan, and ``chain(x)`` none.
    params : dict, optional
        Values of parameters, such as ``{"AdaptiveFF:Search": 0}``.
    marks : {"auto", "none", "top", "negative"}
        Values that mark pixels of single frames, which are filled before the chain.
    keep_nan : bool
        Whether marked pixels are NaN in the results.

    Raises
    ------
    ValueError, TypeError
        An argument is wrong.

    Examples
    --------
    >>> scan = ombrel.open("data/frames.h5")
    >>> chain = ombrel.Chain(ombrel.flat_field("data/flats.h5"), "Binning 2x2")
    >>> y = chain(scan[0])
    >>> y.shape, y.dtype
    ((48, 64), dtype('float64'))
    >>> chain(scan[1], out=y) is y
    True
    >>> len(list(chain.map(scan, jobs=2)))
    6
    """

    def __init__(self, *filters, mask=None, params: Mapping | None = None, marks: str = "auto",
                 keep_nan: bool = False):
        if not filters:
            raise ValueError("filters is empty: give calibrations or names of filters")
        if marks not in ("auto", "none", "top", "negative"):
            raise ValueError(f"marks is {marks!r}, not 'auto', 'none', 'top' or 'negative'")
        if params is not None and not isinstance(params, Mapping):
            raise TypeError(f"params is {type(params).__name__}, not a dict such as {{'AdaptiveFF:Search': 0}}")
        known = _ombrel.filters()
        for number, each in enumerate(filters):
            if not isinstance(each, (str, Calibration)):
                raise TypeError(f"filters[{number}] is {type(each).__name__}, not a Calibration or a name")
            if isinstance(each, str) and each not in known:
                raise ValueError(f"filters[{number}] is {each!r}; known filters: {', '.join(known)}")
        self.filters = filters
        self.mask = np.asarray(mask) if isinstance(mask, Mask) else mask
        self.params = dict(params or {})
        self.marks = marks
        self.keep_nan = keep_nan
        super().__init__(links_of(filters), texts_of(self.params), self.mask, marks, keep_nan)

    def __reduce_ex__(self, protocol):
        """A chain is pickled by its settings; the process that receives it loads them."""
        return _restore, (self.filters, self.mask, self.params, self.marks, self.keep_nan)

    def __repr__(self) -> str:
        return f"<Chain: {', '.join(name for name, _ in links_of(self.filters))}>"

    def map(self, scan: Scan, jobs: int | None = None, *, time: float | None = None) -> Iterator[np.ndarray]:
        """The corrected frames of a scan, in order.

        Frames are read and corrected ahead by threads of their own, a few at a time: memory stays constant. The
        mask and the times are those of the scan.

        Parameters
        ----------
        scan : Scan
            The frames.
        jobs : int, optional
            Frames that are corrected at once; by default one for each processor.
        time : float, optional
            Acquisition time of every frame in seconds, in place of those of the files.

        Returns
        -------
        iterator of numpy.ndarray
            float64 frames of shape (height, width).

        Raises
        ------
        FrameError
            From the iterator, for a frame that cannot be read or that a filter refuses. ``next`` continues after it.
        """
        check_scan(scan)
        check_jobs(jobs)
        check_time(time)
        return self.frames(scan.stack, scan.begin, scan.end, jobs, time)

    def dask(self, scan: Scan, frames: int = 1):
        """The corrected frames of a scan as a dask array.

        Parameters
        ----------
        scan : Scan
            The frames. Workers open its files by their absolute paths.
        frames : int
            Frames of a chunk.

        Returns
        -------
        dask.array.Array
            float64 of shape (frames, height, width).

        Examples
        --------
        >>> chain = ombrel.Chain("Binning 2x2")
        >>> lazy = chain.dask(ombrel.open("data/frames.h5"), frames=2)
        >>> lazy.chunks[0], bool((lazy[3].compute() == chain(ombrel.open("data/frames.h5")[3])).all())
        ((2, 2, 2), True)
        """
        from .clusters import lazy_frames
        return lazy_frames(self, scan, frames)


def links_of(filters) -> list[tuple[str, str]]:
    """Names of filters and their settings files."""
    return [(each, "") if isinstance(each, str) else (each.filter, each.path) for each in filters]


def texts_of(params: Mapping) -> list[str]:
    """Parameters as FILTER:PARAM=VALUE."""
    return [f"{name}={str(value).lower() if isinstance(value, bool) else value}" for name, value in params.items()]


def _restore(filters, mask, params, marks, keep_nan) -> Chain:
    return Chain(*filters, mask=mask, params=params, marks=marks, keep_nan=keep_nan)


def check_scan(scan) -> None:
    if not isinstance(scan, Scan):
        raise TypeError(f"scan is {type(scan).__name__}, not a Scan; open its files by ombrel.open")
    if len(scan) == 0:
        raise ValueError("scan holds no frames")


def check_jobs(jobs) -> None:
    if jobs is not None and (not isinstance(jobs, int) or jobs < 1):
        raise ValueError(f"jobs is {jobs!r}, not a whole number above 0")


def check_time(time) -> None:
    if time is not None and not isinstance(time, numbers.Real):
        raise TypeError(f"time is {time!r}, not a number of seconds")


def filters() -> list[str]:
    """The names of the plug-in's filters.

    Examples
    --------
    >>> ombrel.filters()
    ['Flat-Field', 'Beam-hardening', 'Binning 2x2', 'AdaptiveFF']
    """
    return _ombrel.filters()
