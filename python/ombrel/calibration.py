"""Settings of filters: made from frames, loaded and saved."""

from __future__ import annotations

import json
import numbers
import os
import shutil
import tempfile
import weakref
from collections.abc import Mapping, Sequence
from pathlib import Path

import numpy as np

from . import _ombrel
from .inspection import Inspection, frames_of, limits_of
from .scan import Scan, dark_of, path_of


class Calibration:
    """A filter and its settings.

    Made by :func:`flat_field`, :func:`beam_hardening`, :func:`adaptive` or :func:`load`. Until it is saved, its
    files are in a temporary folder of its own.

    Attributes
    ----------
    filter : str
        The filter's name, such as "Flat-Field".
    path : str
        Its settings file.
    inspection : Inspection or None
        The verdicts on the frames that it was made from; None if the settings do not hold them.
    """

    def __init__(self, name: str, path: str, inspection: Inspection | None = None, shape=None, folder=None):
        self.filter = name
        self.path = os.path.abspath(path)
        self.folder = folder  # of an unsaved one; removed along with it
        self._shape = shape
        self._groups: dict | None = None
        own = self.settings.get("ombrel", {})
        self.inspection = inspection or _noted_inspection(own)

    def __repr__(self) -> str:
        return f"<Calibration of {self.filter}: {self.path if self.is_saved else 'not saved'}>"

    def __reduce__(self):
        """Saved settings are pickled as their path, others as the contents of their file."""
        if self.is_saved:
            return Calibration, (self.filter, self.path, self.inspection, self._shape)
        if self.heap:
            raise ValueError(f"{self.filter} has a file of flat fields: save it where other processes can read it")
        return _restore, (self.filter, Path(self.path).read_bytes(), self.inspection, self._shape)

    @property
    def is_saved(self) -> bool:
        return self.folder is None

    @property
    def heap(self) -> str | None:
        """The file of flat fields next to the settings; None for filters without one."""
        heap = os.path.splitext(self.path)[0] + ".bin"
        return heap if self.filter == "AdaptiveFF" and os.path.exists(heap) else None

    @property
    def settings(self) -> dict:
        """The groups of the settings file, each a dict of its values."""
        if self._groups is None:
            self._groups = _ombrel.settings(self.path)
        return self._groups

    @property
    def coefficients(self) -> np.ndarray:
        """The factors of Flat-Field as a read-only float64 array: (height, width) if the size is known, else 1-D.

        Raises
        ------
        AttributeError
            The filter has no coefficients.
        """
        blob = self.settings.get("FF", {}).get("Coeffs")
        if blob is None or self.filter != "Flat-Field":
            raise AttributeError(f"{self.filter} has no coefficients")
        values = np.frombuffer(blob)
        return values if self._shape is None else values.reshape(self._shape)

    @property
    def bad(self) -> np.ndarray:
        """Whether the filter replaces a pixel in every frame, in the shape of :attr:`coefficients`."""
        shape = self.coefficients.shape
        height, width = shape if len(shape) == 2 else (1, shape[0])
        filters = _ombrel.Filters([(self.filter, self.path)], [], None, "auto", False)
        return (filters.touched(width, height) != 0).reshape(shape)

    @property
    def level(self) -> float | None:
        """The counts a pixel to which coefficients bring the mean flat field; None if the settings do not hold it."""
        return self.settings.get("ombrel", {}).get("Level")

    def save(self, path) -> Calibration:
        """Write the settings file, and the flat fields of AdaptiveFF next to it.

        Parameters
        ----------
        path : str or path
            A name that ends in ".xml". Files that exist are replaced.

        Returns
        -------
        Calibration
            This one, which refers to the new files from now on.
        """
        new = os.path.abspath(path)
        if not new.endswith(".xml"):
            raise ValueError(f"path {path}: the name of a settings file ends in .xml")
        if self.heap:
            _copy(self.heap, os.path.splitext(new)[0] + ".bin")
        _copy(self.path, new)
        self.path, self.folder = new, None
        return self


def _copy(source: str, target: str) -> None:
    """Copy in one step: a reader meets the old file or the new one."""
    if os.path.exists(target) and os.path.samefile(source, target):
        return
    handle, new = tempfile.mkstemp(dir=os.path.dirname(target), prefix=".ombrel-")
    os.close(handle)
    try:
        shutil.copyfile(source, new)
        os.chmod(new, 0o666 & ~_umask())
        os.replace(new, target)
    except BaseException:
        os.unlink(new)
        raise


def _umask() -> int:
    mask = os.umask(0)
    os.umask(mask)
    return mask


def _noted_inspection(own: Mapping) -> Inspection | None:
    noted = own.get("Inspection")
    if not noted:
        return None
    sets = json.loads(noted)
    return Inspection([{"name": "", "unjudged": "", "rows": sets if isinstance(sets, list) else sets["frames"]}])


def _restore(name: str, contents: bytes, inspection: Inspection | None, shape) -> Calibration:
    folder, path = _new_folder(name)
    Path(path).write_bytes(contents)
    return Calibration(name, path, inspection, shape, folder)


class _Folder:
    """A temporary folder that lasts as long as this object."""

    def __init__(self):
        self.path = tempfile.mkdtemp(prefix="ombrel-")
        weakref.finalize(self, shutil.rmtree, self.path, True)


def _new_folder(name: str) -> tuple[_Folder, str]:
    folder = _Folder()
    return folder, os.path.join(folder.path, name + ".xml")


def load(filter: str, path) -> Calibration:
    """Settings of a filter from a file.

    Parameters
    ----------
    filter : str
        The filter's name, one of :func:`ombrel.filters`.
    path : str or path
        The settings file.

    Raises
    ------
    ValueError
        There is no such filter.
    Error
        The file cannot be read or holds no settings.

    Examples
    --------
    >>> ff = ombrel.flat_field("data/flats.h5").save("data/ff.xml")
    >>> ombrel.load("Flat-Field", "data/ff.xml").coefficients.shape
    (3072,)
    """
    known = _ombrel.filters()
    if filter not in known:
        raise ValueError(f"filter {filter!r} is unknown; known filters: {', '.join(known)}")
    return Calibration(filter, os.fspath(path))


def flat_field(flats, bad: str = "zero", *, interpolate: bool = True, mask: str = "auto", dark="auto",
               **limits) -> Calibration:
    """Settings of Flat-Field from frames of the open beam.

    Parameters
    ----------
    flats : Scan, path or list of paths
        If a file marks its frames, its flat fields are used.
    bad : {"zero", "ff", "none"}
        Bad pixels: those of value 0, those of an extreme coefficient, or none.
    interpolate : bool
        Whether bad pixels are filled from their neighbours.
    mask : str
        The device's mask: "auto" for the one next to the frames, "none", or a file.
    dark : {"auto", "none"}, path or Scan
        The dark fields, whose mean is subtracted from every frame and kept for the frames to correct: those that the
        files mark, none, or those of a file.
    **limits
        As those of :func:`inspect`; ``keep_all=True`` uses frames that fail.

    Returns
    -------
    Calibration
        Its ``coefficients`` have the shape (height, width), its ``level`` is in counts a pixel.

    Raises
    ------
    ValueError, TypeError
        An argument is wrong.
    Error
        The files cannot be read, or less than half of the frames are good.

    Examples
    --------
    >>> ff = ombrel.flat_field("data/flats.h5", bad="ff")
    >>> ff.coefficients.shape, ff.bad.sum()
    ((48, 64), 0)
    """
    if bad not in ("zero", "ff", "none"):
        raise ValueError(f"bad is {bad!r}, not 'zero', 'ff' or 'none'")
    paths, only, shape = frames_of("flats", flats)
    folder, path = _new_folder("Flat-Field")
    reports = _ombrel.flat_field(paths, {"output": path, "bad": bad, "interpolate": interpolate, "mask": mask,
                                         "dark": dark_of(dark), "only": only, **limits_of(limits)})
    if shape is None:
        shape = Scan(paths, "flat").shape[1:]
    return Calibration("Flat-Field", path, Inspection(reports), shape, folder)


def beam_hardening(masks: Mapping, *, time: float | None = None, interpolate: bool = True, zero_as_bad: bool = False,
                   dark="auto", **limits) -> Calibration:
    """Settings of Beam-hardening from frames through known thicknesses.

    Parameters
    ----------
    masks : dict of float to Scan, path or list of paths
        The frames through each thickness, which are summed; 0 for the open beam. Corrected frames have the unit of
        these thicknesses.
    time : float, optional
        Acquisition time of every frame in seconds, for files without it.
    zero_as_bad : bool
        Treat pixels with a result of 0 as bad, too.
    dark : {"auto", "none"}, path or Scan
        As that of :func:`flat_field`.
    **limits
        As those of :func:`inspect`.

    Examples
    --------
    >>> ombrel.beam_hardening({0: "data/flats.h5", 1: "data/frames.h5"}, time=1).filter
    'Beam-hardening'
    """
    if not isinstance(masks, Mapping) or not masks:
        raise TypeError("masks is not a dict of a thickness to its frames, such as {0: open, 0.5: half}")
    texts = []
    for thickness, frames in masks.items():
        paths, only, _ = frames_of(f"masks[{thickness}]", frames)
        if only:
            raise ValueError(f"masks[{thickness}] is a part of a scan; give all frames of its files")
        if any("," in path for path in paths):
            raise ValueError(f"masks[{thickness}]: the name of a file holds a comma")
        if not isinstance(thickness, numbers.Real):
            raise TypeError(f"masks has the key {thickness!r}, not a thickness")
        texts.append(f"{float(thickness)!r}={','.join(paths)}")
    folder, path = _new_folder("Beam-hardening")
    reports = _ombrel.beam_hardening(texts, {"output": path, "time": time, "interpolate": interpolate,
                                             "zero_as_bad": zero_as_bad, "dark": dark_of(dark),
                                             **limits_of(limits)})
    return Calibration("Beam-hardening", path, Inspection(reports), None, folder)


def adaptive(grid, *, normalise: bool = False, refine: str | None = None, time_per_frame: float | None = None,
             frame_counts: float | None = None, holes: Sequence[str] = (), settings: Mapping | None = None,
             dark="auto", **limits) -> Calibration:
    """Settings and flat fields of AdaptiveFF from a grid of flat fields.

    Parameters
    ----------
    grid : path
        A CSV table with the columns v, t, e, file and optionally page, with every grid point.
    normalise : bool
        Divide each flat field by its mean, so that frames keep their level.
    refine : str, optional
        Store a finer grid: "auto", "N" or "NxMxK" cells.
    time_per_frame : float, optional
        Milliseconds that a frame may take with a refined grid.
    frame_counts : float, optional
        Counts a pixel of the frames to correct, for ``refine="auto"``.
    holes : list of str
        Grid points "V,T,E" that are left out on purpose.
    settings : dict, optional
        Keys of the settings that are not chosen by trial.
    dark : {"auto", "none"}, path or Scan
        As that of :func:`flat_field`.
    **limits
        As those of :func:`inspect`.
    """
    for name, value in (("time_per_frame", time_per_frame), ("frame_counts", frame_counts)):
        if value is not None and (refine is None or not value > 0):
            raise ValueError(f"{name} is {value}: a number above 0, along with refine")
    folder, path = _new_folder("AdaptiveFF")
    assignments = [f"{key}={str(value).lower() if isinstance(value, bool) else value}"
                   for key, value in (settings or {}).items()]
    reports = _ombrel.adaptive(path_of("grid", grid), {"output": path, "normalise": normalise, "refine": refine,
                                                 "time_per_frame": time_per_frame, "frame_counts": frame_counts,
                                                 "holes": list(holes), "assignments": assignments,
                                                 "dark": dark_of(dark),
                                                 **limits_of(limits)})
    return Calibration("AdaptiveFF", path, Inspection(reports), None, folder)
