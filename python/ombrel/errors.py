"""What goes wrong while files are read or frames are corrected."""

from __future__ import annotations


class Error(RuntimeError):
    """A file, a setting or the machine does not allow what was asked for."""


class FrameError(Error):
    """A frame was not corrected.

    Attributes
    ----------
    reason : str
        Why, in one line: the text of the filter or of the reader.
    index : int or None
        The frame's number, counted from 0 through all files of the scan; None for an array.
    """

    def __init__(self, reason: str, index: int | None = None):
        super().__init__(reason if index is None else f"frame {index}: {reason}")
        self.reason = reason
        self.index = index

    def __reduce__(self):
        return FrameError, (self.reason, self.index)
