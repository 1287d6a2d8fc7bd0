"""Corrections for frames of pixel detectors.

>>> scan = ombrel.open("data/frames.h5")
>>> ff = ombrel.flat_field("data/flats.h5")
>>> chain = ombrel.Chain(ff, "Binning 2x2")
>>> chain(scan[0]).shape
(48, 64)

Lines that filters log, and messages of the library, go to ``logging.getLogger("ombrel")``.
"""

from ._ombrel import version as __version__
from .batch import Result, run
from .calibration import Calibration, adaptive, beam_hardening, flat_field, load
from .chain import Chain, filters
from .errors import Error, FrameError
from .inspection import Inspection, inspect
from .masks import Mask, bad_pixels
from .scan import Scan, open

__all__ = ["Calibration", "Chain", "Error", "FrameError", "Inspection", "Mask", "Result", "Scan", "adaptive",
           "bad_pixels", "beam_hardening", "filters", "flat_field", "inspect", "load", "open", "run", "__version__"]
