"""Verdicts on flat fields."""

from __future__ import annotations

from collections.abc import Mapping

import numpy as np

from . import _ombrel
from .scan import Scan, paths_of

_verdicts = np.dtype([("set", "U64"), ("file", "O"), ("frame", "i8"), ("level", "f8"), ("relative_level", "f8"),
                      ("zeros", "i8"), ("saturated", "i8"), ("not_finite", "i8"), ("structure", "f8"),
                      ("verdict", "U16"), ("reason", "O")])


class Inspection:
    """Verdicts on the frames of one or more sets.

    Attributes
    ----------
    frames : numpy.ndarray
        A row for each frame: ``set``, ``file``, ``frame``, ``level`` (counts a pixel), ``relative_level`` (level
        over the median level), ``zeros``, ``saturated`` and ``not_finite`` (pixels), ``structure`` (sigma, NaN if
        not judged), ``verdict`` ("good", "dark", "level", "structure" ...) and ``reason``.
    unjudged : dict of str to str
        Why structure was not judged, by the name of the set.
    """

    def __init__(self, reports: list[dict]):
        rows = [_row(report["name"], row) for report in reports for row in report["rows"]]
        self.frames = np.array(rows, _verdicts)
        self.unjudged = {report["name"]: report["unjudged"] for report in reports if report["unjudged"]}

    @property
    def good(self) -> np.ndarray:
        """Whether each frame is good."""
        return self.frames["verdict"] == "good"

    def __repr__(self) -> str:
        return f"<Inspection: {int(self.good.sum())} of {len(self.frames)} frames are good>"


def _row(name: str, row: Mapping) -> tuple:
    def number(key):
        value = row.get(key)
        return np.nan if value is None else value

    return (name, row["file"], row["frame"], number("level"), number("relative_level"), row.get("zeros", 0),
            row.get("saturated", 0), row.get("not_finite", 0), number("structure"), row["verdict"],
            row.get("reason", ""))


def frames_of(argument: str, value) -> tuple[list[str], str, tuple | None]:
    """Files, the frames of them that are wanted, and the size of the frames."""
    paths = paths_of(argument, value)
    if not isinstance(value, Scan):
        return paths, "", None
    whole = len(value) == len(value.stack)
    if len(value) == 0:
        raise ValueError(f"{argument} holds no frames")
    return paths, "" if whole else f"{value.begin}-{value.end - 1}", value.shape[1:]


def limits_of(given: dict) -> dict:
    known = {"keep_all", "exclude", "dark_limit", "level_limit", "structure_limit", "saturated_limit", "saturation"}
    for name in given:
        if name not in known:
            raise TypeError(f"unexpected argument {name!r}; limits are {', '.join(sorted(known))}")
    return given


def inspect(flats, **limits) -> Inspection:
    """Judge flat fields: level, structure, saturation, repeats. Dark fields in the files are judged, too.

    Parameters
    ----------
    flats : Scan, path or list of paths
        If a file marks its frames, its flat fields are judged.
    **limits
        ``dark_limit`` (10), ``level_limit`` (20) and ``saturated_limit`` (1) in percent, ``structure_limit`` in
        sigma, ``saturation`` in counts; ``exclude`` such as "3,7-9".

    Returns
    -------
    Inspection

    Examples
    --------
    >>> ombrel.inspect("data/flats.h5")
    <Inspection: 8 of 8 frames are good>
    """
    paths, only, _ = frames_of("flats", flats)
    return Inspection(_ombrel.inspect(paths, {"only": only, **limits_of(limits)}))
