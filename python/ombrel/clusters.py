"""Chains on the workers of a Dask cluster."""

from __future__ import annotations

import os

import numpy as np

from . import _ombrel
from .batch import Result, run_range
from .chain import Chain, check_scan
from .errors import Error, FrameError
from .scan import Scan


def lazy_frames(chain: Chain, scan: Scan, frames: int):
    import dask
    import dask.array
    from dask.base import tokenize
    from dask.highlevelgraph import HighLevelGraph

    check_scan(scan)
    if not isinstance(frames, int) or frames < 1:
        raise ValueError(f"frames is {frames!r}, not a whole number above 0")
    count, height, width = scan.shape
    if chain.remembers(width, height):
        raise ValueError(f"{chain} carries state from frame to frame, so that chunks cannot be corrected by "
                         "themselves; use chain.map or ombrel.run")
    # Tasks refer to the chain and the scan by a key: a worker receives both once.
    shared = dask.delayed(_Shared(chain, scan), pure=False, traverse=False)
    name = "ombrel-" + tokenize(shared.key)
    chunks = tuple(min(frames, count - begin) for begin in range(0, count, frames))
    layer = {(name, number, 0, 0): (_block, shared.key, number * frames, size)
             for number, size in enumerate(chunks)}
    graph = HighLevelGraph.from_collections(name, layer, dependencies=[shared])
    return dask.array.Array(graph, name, (chunks, (height,), (width,)), np.float64)


class _Shared:
    def __init__(self, chain: Chain, scan: Scan):
        self.chain = chain
        self.scan = scan
        if chain.mask is None and scan.mask is not None:
            self.chain = Chain(*chain.filters, mask=scan.mask, params=chain.params, marks=chain.marks,
                               keep_nan=chain.keep_nan)


def _block(shared: _Shared, begin: int, count: int) -> np.ndarray:
    _, height, width = shared.scan.shape
    block = np.empty((count, height, width))
    for place in range(count):
        index = begin + place
        try:
            shared.chain(shared.scan[index], time=shared.scan.time(index), out=block[place])
        except FrameError as error:
            raise FrameError(error.reason, shared.scan.begin + index) from None
    return block


def run_parts(client, work, options: dict, *, resume: bool, part_frames: int | None, progress) -> Result:
    """Parts of a run as tasks of a cluster, merged at the end. A part that is begun again is resumed."""
    from distributed import as_completed

    chain, scan, output = work
    if os.path.splitext(output)[1] not in (".h5", ".hdf5", ".nxs"):
        raise ValueError(f"output {output}: parts are merged into .h5, .hdf5 or .nxs")
    parts = _parts(scan, output, _usual_frames(client, len(scan)) if part_frames is None else part_frames)
    if not resume:
        for _, path in parts:
            if os.path.exists(path):
                os.unlink(path)
    # One job for each thread of a worker, which correct different parts.
    options = {**options, "jobs": options["jobs"] or 1, "resume": True, "force": False}
    futures = client.map(_run_part, parts, chain=chain, scan=scan, options=options, pure=False, retries=2)
    done = 0
    for future in as_completed(futures):
        result = future.result()
        done += len(result.frames)
        if progress:
            progress(done, len(scan))
    results = client.gather(futures)
    if os.path.exists(output):
        os.unlink(output)
    _ombrel.merge([result.output for result in results], output)
    failures = {index: reason for result in results for index, reason in result.failures.items()}
    return Result(output, np.concatenate([result.frames for result in results]), failures)


def _usual_frames(client, frames: int) -> int:
    threads = sum(client.nthreads().values())
    if threads == 0:
        raise Error("client has no workers")
    return max(1, -(-frames // (4 * threads)))


def _parts(scan: Scan, output: str, part_frames: int) -> list[tuple[tuple[int, int], str]]:
    if not isinstance(part_frames, int) or part_frames < 1:
        raise ValueError(f"part_frames is {part_frames!r}, not a whole number above 0")
    folder = os.path.splitext(output)[0] + ".parts"
    os.makedirs(folder, exist_ok=True)
    ranges = [(begin, min(begin + part_frames, scan.end)) for begin in range(scan.begin, scan.end, part_frames)]
    return [((begin, end), os.path.join(folder, f"{begin:08}-{end:08}.h5")) for begin, end in ranges]


def _run_part(part, chain: Chain, scan: Scan, options: dict) -> Result:
    (begin, end), path = part
    return run_range(chain, scan[begin - scan.begin:end - scan.begin], path, options, None)
