"""Scans corrected into a file, as by the program `ombrel run`."""

from __future__ import annotations

import filecmp
import operator
import os
import sys
import time as clock
from collections.abc import Callable, Sequence

import numpy as np

from . import _ombrel
from .calibration import Calibration
from .chain import Chain, check_jobs, check_scan, check_time
from .masks import Mask
from .scan import Scan, dark_of, path_of


class Result:
    """What a run wrote.

    Attributes
    ----------
    output : str
        The file. ``ombrel.open(r.output)`` opens its frames.
    frames : numpy.ndarray
        A row for each frame: ``frame``, ``failed``, ``input_hash``, ``output_hash``, ``marked``, figures of the
        pixels before and after (``input_mean``, ``input_spread``, ``input_zeros``, ``input_not_finite`` and
        ``output_...``), ``seconds`` in the chain, the choice of AdaptiveFF (``v``, ``t``, ``e``, ``quality``; else
        NaN), the ``level`` by which the frame was divided (NaN for counts), and ``not_positive``, its pixels without
        an attenuation.
    failures : dict of int to str
        Why frames failed. They are NaN in the output.
    """

    def __init__(self, output: str, frames: np.ndarray, failures: dict[int, str]):
        self.output = output
        self.frames = frames
        self.failures = failures

    def __repr__(self) -> str:
        return f"<Result: {len(self.frames)} frames, {len(self.failures)} failed: {self.output}>"


def run(chain: Chain, scan: Scan, output, *, resume: bool = False, force: bool = False, jobs: int | None = None,
        output_type: str = "f32", quantity: str = "counts", level_region: Sequence[int] | None = None, dark="auto",
        time: float | None = None,
        progress: bool | Callable[[int, int], object] = False, client=None, part_frames: int | None = None) -> Result:
    """Correct the frames of a scan into a file.

    The mask and the times are those of the scan. What exists in memory only, an unsaved calibration or a mask, is
    saved next to the output, so that the output's record refers to files that last.

    Parameters
    ----------
    chain : Chain
        The filters.
    scan : Scan
        The frames.
    output : str or path
        A file that ends in .h5, .hdf5, .nxs, .tif or .tiff.
    resume, force : bool
        Resume an incomplete output; replace one that exists. Otherwise an existing file is refused.
    jobs : int, optional
        Frames that are corrected at once; by default one for each processor.
    output_type : {"f32", "f64"}
        Pixels of the output.
    quantity : {"counts", "transmission", "attenuation"}
        What the output holds: counts as of the last filter, counts over those of the open beam, or the negative
        natural logarithm of that.
    level_region : (x, y, width, height), optional
        An open area of every frame, whose mean the frame is divided by in place of the level of the flat fields.
    dark : {"auto", "none"}, path or Scan
        What is subtracted from each frame before the chain: the dark that the calibrations carry, nothing, or the
        mean of the dark fields of a file.
    time : float, optional
        Acquisition time of every frame in seconds, in place of those of the files.
    progress : bool or callable
        Show the progress on standard error, or call ``progress(done, total)``.
    client : distributed.Client, optional
        Let the workers of a Dask cluster write parts, which are merged at the end. All see the files under the
        same paths.
    part_frames : int, optional
        Frames of a part, with a client; by default four parts for each thread of a worker.

    Returns
    -------
    Result

    Raises
    ------
    FrameError
        All frames failed; there is no output.
    Error
        The output cannot be written. Frames stored so far are valid, and ``resume=True`` continues after them.
    KeyboardInterrupt
        After Ctrl-C, with the same effect.

    Examples
    --------
    >>> r = ombrel.run(ombrel.Chain("Binning 2x2"), ombrel.open("data/frames.h5"), "binned.h5", force=True)
    >>> r.frames["frame"].tolist(), r.failures
    ([0, 1, 2, 3, 4, 5], {})
    >>> ombrel.open(r.output).shape
    (6, 48, 64)
    """
    check_call(chain, scan, output_type, resume, force)
    region = region_text(quantity, level_region)
    check_jobs(jobs)
    check_time(time)
    output = os.path.abspath(path_of("output", output))
    if not output.endswith((".h5", ".hdf5", ".nxs", ".tif", ".tiff")):
        raise ValueError(f"output {output}: the name must end in .h5, .hdf5, .nxs, .tif or .tiff")
    show = shower(progress)
    if client is not None and not hasattr(client, "nthreads"):
        raise TypeError(f"client is {type(client).__name__}, not a distributed.Client")
    if client is None and part_frames is not None:
        raise ValueError("part_frames is given without client")
    if os.path.exists(output) and not (resume or force):
        raise ValueError(f"output {output} exists; give resume=True or force=True")
    chain, mask = durable(chain, output, resume)
    options = {"output_type": output_type, "quantity": quantity, "level_region": region,
               "dark": dark_of(dark), "mask": mask, "time": time, "jobs": jobs}
    if client is not None:
        from .clusters import run_parts
        return run_parts(client, (chain, scan, output), options, resume=resume, part_frames=part_frames,
                         progress=show)
    return run_range(chain, scan, output, {**options, "resume": resume, "force": force}, show)


def check_call(chain, scan, output_type, resume, force) -> None:
    if not isinstance(chain, Chain):
        raise TypeError(f"chain is {type(chain).__name__}, not a Chain")
    check_scan(scan)
    if scan.role != "sample":
        raise ValueError(f"scan holds {scan.role} fields; run corrects the frames of the sample")
    if output_type not in ("f32", "f64"):
        raise ValueError(f"output_type is {output_type!r}, not 'f32' or 'f64'")
    if resume and force:
        raise ValueError("resume and force exclude each other")


def region_text(quantity, region) -> str:
    if quantity not in ("counts", "transmission", "attenuation"):
        raise ValueError(f"quantity is {quantity!r}, not 'counts', 'transmission' or 'attenuation'")
    if region is None:
        return ""
    if isinstance(region, str) or len(region) != 4:
        raise ValueError(f"level_region is {region!r}, not (x, y, width, height)")
    return ",".join(str(operator.index(number)) for number in region)


def run_range(chain: Chain, scan: Scan, output: str, options: dict, progress) -> Result:
    frames, failures = _ombrel.run(chain, scan.paths, output,
                                   {**options, "frames": f"{scan.begin}:{scan.end}", "progress": progress})
    return Result(output, frames, failures)


def durable(chain: Chain, output: str, resume: bool) -> tuple[Chain, str]:
    """A chain whose settings are files, and the source of its mask."""
    stem = os.path.splitext(output)[0]
    filters = []
    for number, each in enumerate(chain.filters):
        if isinstance(each, Calibration) and not each.is_saved:
            path = f"{stem}.{number + 1}.{each.filter}.xml"
            if resume and os.path.exists(path) and not filecmp.cmp(path, each.path, shallow=False):
                raise ValueError(f"chain: {each.filter} differs from {path}, by which {output} was begun; load that "
                                 "file, or give force=True")
            each = Calibration(each.filter, each.path, each.inspection, each._shape, each.folder).save(path)
        filters.append(each)
    mask = "auto"
    if chain.mask is not None:
        mask = f"{stem}.mask.h5"
        faults = np.asarray(chain.mask)
        Mask(faults.astype(np.uint32) << 8 if faults.dtype == bool else faults).save(mask)
    return Chain(*filters, params=chain.params, marks=chain.marks, keep_nan=chain.keep_nan), mask


class _Line:
    """A line on standard error that the next one overwrites."""

    def __init__(self):
        self.start = clock.monotonic()
        self.first = None

    def __call__(self, done: int, total: int) -> None:
        if self.first is None:
            self.first = done
        elapsed = clock.monotonic() - self.start
        rate = (done - self.first) / elapsed if elapsed > 0 else 0.0
        end = "\n" if done == total else ""
        print(f"\r{done} of {total} frames, {rate:.0f} frames/s ", end=end, file=sys.stderr, flush=True)


def shower(progress):
    if not (progress is None or isinstance(progress, bool) or callable(progress)):
        raise TypeError(f"progress is {progress!r}, not True, False or a function of (done, total)")
    return _Line() if progress is True else progress or None
