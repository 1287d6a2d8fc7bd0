"""The scoreboard: what corrections leave, on simulated data with fixed seeds and on real data sets.

    main.py OMBREL [--data FOLDER] [--quick]
"""

import argparse
import json
import pathlib
import subprocess
import sys
import tempfile
import time

import h5py
import numpy as np

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
import peers  # noqa: E402

SEEDS = [101, 202, 303]


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("ombrel", type=pathlib.Path)
    parser.add_argument("--data", type=pathlib.Path, help="folder with tooth.h5 and k11-18014.nxs")
    parser.add_argument("--quick", action="store_true", help="one seed, 128 x 128")
    options = parser.parse_args()
    ombrel = Ombrel(options.ombrel.resolve())
    seeds, size = (SEEDS[:1], 128) if options.quick else (SEEDS, 256)
    print("| task | method | mean | worst | frames/s |\n| --- | --- | --- | --- | --- |")
    for task in drift, coverage, thickness, count_rate, bad_pixels:
        with tempfile.TemporaryDirectory(prefix="ombrel-score-") as folder:
            report(task, [task(ombrel, pathlib.Path(folder) / str(seed), seed, size) for seed in seeds])
    if options.data:
        for name in "tooth.h5", "k11-18014.nxs":
            with tempfile.TemporaryDirectory(prefix="ombrel-score-") as folder:
                report(real_set, [real_set(ombrel, pathlib.Path(folder), options.data / name)], name)


def report(task, results, name=""):
    """A row a method: means over the seeds, the worst of all frames."""
    for method in results[0]:
        errors = np.concatenate([np.atleast_1d(result[method][0]) for result in results])
        speeds = [result[method][1] for result in results if result[method][1]]
        speed = f"{np.mean(speeds):.0f}" if speeds else ""
        print(f"| {task.__doc__.splitlines()[0].rstrip('.')}{': ' + name if name else ''} | {method} | {errors.mean():.4g} | "
              f"{errors.max():.4g} | {speed} |", flush=True)


class Ombrel:
    """Runs commands of ours; raises if one fails."""

    def __init__(self, program):
        self.program = program

    def __call__(self, *words):
        start = time.monotonic()
        done = subprocess.run([self.program, *map(str, words)], capture_output=True, text=True)
        if done.returncode:
            raise SystemExit(f"score: {' '.join(map(str, words))}: {done.stderr}")
        return time.monotonic() - start

    def corrected(self, chain, frames, output, *words):
        """The corrected frames, and frames a second of the whole run on one processor."""
        seconds = self("run", "-q", "-j", 1, "-f", chain, frames, "-o", output, "--force", *words)
        pixels = read(output)
        return pixels, len(pixels) / seconds


def read(path, dataset="exchange/data"):
    with h5py.File(path) as file:
        return file[dataset][()].astype(float)


def timed(correct, frames, *words):
    start = time.monotonic()
    corrected = correct(frames, *words)
    return corrected, len(frames) / (time.monotonic() - start)


def residuals(corrected, raw, area):
    """The spread of each frame in the open area, in multiples of that of its photons alone."""
    return np.array([peers.relative_spread(frame, area) * np.sqrt(counts[area].mean())
                     for frame, counts in zip(corrected, raw)])


def drift(ombrel, folder, seed, size):
    """Residual structure of drifting frames, in photon noise."""
    ombrel("simulate", "-q", "--seed", seed, "--size", f"{size}x{size}", "--wedge-steps", 0, "--frames", 1, folder)
    bad = bad_of(folder)
    raw, area = read(folder / "drifting.h5"), (read(folder / "open-area.h5")[0] > 0) & ~bad
    flats = grid_flats(folder)
    cleaned = filled(raw, bad)
    flats = filled(flats, bad)
    result = {}

    def add(method, corrected, speed):
        result[method] = residuals(corrected, raw, area), speed

    add("best fixed flat field, open area known", *timed(peers.fixed_flat, cleaned, flats, area))
    add("nearest flat field", *timed(peers.nearest_flat, cleaned, flats))
    add("eigen flat fields", *timed(peers.eigen_flats, cleaned, flats))
    add("eigen flat fields, open area known", *timed(peers.eigen_flats, cleaned, flats, area))
    for method, refine in {"AdaptiveFF": [], "AdaptiveFF, --refine auto": ["--refine", "auto"]}.items():
        ombrel("calibrate", "adaptive", "--grid", folder / "grid.csv", "--normalise", *refine, "-o", folder / "a.xml", "--force")
        add(method, *ombrel.corrected(f"AdaptiveFF={folder}/a.xml", folder / "drifting.h5", folder / "out.h5"))
    return result


def grid_flats(folder):
    places = [line.split(",")[3] for line in (folder / "grid.csv").read_text().split()[1:]]
    return np.array([read(folder / place.split("::")[0], place.split("::")[1]).mean(axis=0) for place in places])


def bad_of(folder):
    """The pixels that the set's mask of the device takes out, dead, or hot in the simulation's own words."""
    facts = json.loads((folder / "simulation.json").read_text())
    bad = np.zeros(facts["width"] * facts["height"], bool)
    bad[facts["deadPixels"] + facts["hotPixels"]] = True
    return bad.reshape(facts["height"], facts["width"])


def filled(frames, bad):
    frames = frames.copy()
    good = ~bad
    for frame in frames:
        for y, x in zip(*np.nonzero(bad)):
            part = np.s_[max(y - 1, 0):y + 2, max(x - 1, 0):x + 2]
            frame[y, x] = frame[part][good[part]].mean()
    return frames


def coverage(ombrel, folder, seed, size):
    """Share of good pixels within sigma of the truth, %."""
    folder.mkdir(parents=True)
    random = np.random.default_rng(seed)
    beam = 5000 * random.normal(1, 0.03, (size, size))
    transmission = np.linspace(0.2, 1, size)[:, None] * np.ones((size, size))
    flats, frames = random.poisson(beam, (20, size, size)), random.poisson(beam * transmission, (10, size, size))
    with h5py.File(folder / "set.h5", "w") as file:
        file["exchange/data_white"], file["exchange/data"] = flats.astype("u2"), frames.astype("u2")
    ombrel("calibrate", "flat-field", folder / "set.h5", "-o", folder / "f.xml")
    ours, speed = ombrel.corrected(f"Flat-Field={folder}/f.xml", folder / "set.h5", folder / "out.h5", "--sigma")
    distance = np.abs(ours - transmission * np.median(flats.mean(axis=0))) / read(folder / "out.h5", "exchange/data_sigma")
    return {f"Flat-Field --sigma, within {n} sigma (normal: {normal})": (np.mean(distance <= n, axis=(1, 2)) * 100, speed)
            for n, normal in ((1, 68.27), (2, 95.45))}


def thickness(ombrel, folder, seed, size):
    """Error of thickness, mm, bias and pixel spread."""
    ombrel("simulate", "-q", "--seed", seed, "--size", f"{size}x{size}", "--grid-steps", 0, "--frames", 1, folder)
    masks = {round(0.3 * step, 1): folder / f"wedge-{round(0.3 * step, 1):g}mm.h5" for step in range(10)}
    ombrel("calibrate", "beam-hardening", *(f"--mask={mm:g}={path}" for mm, path in masks.items()), "-o", folder / "b.xml")
    truth, good = read(folder / "wedge-thickness.h5")[0], ~bad_of(folder)
    raw = read(folder / "wedge-sample.h5")
    flat = read(masks[0]).mean(axis=0)
    level = flat[good].mean()
    evened = raw / np.maximum(flat, 1) * level
    tables = [read(path).mean(axis=0)[good] / np.maximum(flat, 1)[good] * level for path in masks.values()]
    ours, speed = ombrel.corrected(f"Beam-hardening={folder}/b.xml", folder / "wedge-sample.h5", folder / "out.h5")
    single, peer_speed = timed(lambda frames: peers.single_table(tables, list(masks), frames), evened)

    def error(maps):
        return np.array([np.sqrt(np.mean((each - truth)[good] ** 2)) for each in maps])

    return {"flat field, then one table for all pixels": (error(single), peer_speed), "Beam-hardening": (error(ours), speed)}


def count_rate(ombrel, folder, seed, size):
    """Spread of pixels after dead-time correction, %."""
    ombrel("simulate", "-q", "--seed", seed, "--size", f"{size}x{size}", "--grid-steps", 0, "--wedge-steps", 0, "--frames", 1,
           "--dead-time", 100, folder)
    fluxes = [1.8, 2, 2.2, 2.4, 2.6, 2.8]
    levels = {flux: folder / f"count-rate-{flux:g}.h5" for flux in fluxes}
    ombrel("calibrate", "count-rate", *(f"--flux={flux:g}={path}" for flux, path in levels.items()), "-o", folder / "r.xml")
    frames = folder / "count-rate-frames.h5"
    good = ~bad_of(folder)
    ours, speed = ombrel.corrected(f"Beam-hardening={folder}/r.xml", frames, folder / "out.h5")
    flat = read(levels[1.8]).mean(axis=0)
    evened = read(frames) / np.maximum(flat, 1) * flat[good].mean()
    tables = [read(path).mean(axis=0)[good] / np.maximum(flat, 1)[good] * flat[good].mean() for path in levels.values()]
    single, peer_speed = timed(lambda raw: peers.single_table(tables, fluxes, raw), evened)

    def spread(maps):  # of the mean of the ten frames of one flux, in which photon noise is small
        groups = maps.reshape(-1, 10, *maps.shape[1:]).mean(axis=1)
        return np.array([100 * peers.relative_spread(each, good) for each in groups])

    return {"flat field, then one table for all pixels": (spread(single), peer_speed), "count rate by Beam-hardening": (spread(ours), speed)}


def bad_pixels(ombrel, folder, seed, size):
    """Error at bad pixels, in photon noise."""
    ombrel("simulate", "-q", "--seed", seed, "--size", f"{size}x{size}", "--grid-steps", 0, "--wedge-steps", 0, "--frames", 20, folder)
    ombrel("calibrate", "flat-field", folder / "frames.h5", "--bad", "ff", "-o", folder / "f.xml")
    ours, speed = ombrel.corrected(f"Flat-Field={folder}/f.xml", folder / "frames.h5", folder / "out.h5")
    bad = bad_of(folder)
    raw, flats = read(folder / "frames.h5"), read(folder / "frames.h5", "exchange/data_white")
    flat = flats.mean(axis=0)
    evened = raw / np.maximum(flat, 1) * np.median(flat)
    median, peer_speed = timed(peers.median_of_neighbours, evened, bad)
    # The truth at a bad pixel is unknown; its good neighbours' plane is, within the noise of one frame.
    truth = filled(evened, bad)

    def error(frames):
        noise = np.sqrt(np.maximum(truth[:, bad], 1))
        return np.sqrt(np.mean(((frames - truth)[:, bad] / noise) ** 2, axis=1))

    return {"median of 3 x 3 pixels": (error(median), peer_speed), "Flat-Field": (error(ours), speed)}


def real_set(ombrel, folder, path):
    """Spread of a flat field corrected by the others, in the noise between them."""
    darks, flats = real_fields(path)
    dark = darks.mean(axis=0) if len(darks) else np.zeros(flats.shape[1:])
    errors = {"nearest flat field": [], "eigen flat fields": [], "mean flat field": [], "Flat-Field": []}
    for left_out in range(len(flats)):
        others = np.delete(flats, left_out, axis=0)
        frame = flats[left_out:left_out + 1]
        mean = others.mean(axis=0) - dark
        good = (mean > 0.2 * np.median(mean)) & (others.std(axis=0) > 0)
        levelled = (others - dark)[:, good] / mean[good]
        levelled /= levelled.mean(axis=1, keepdims=True)
        expected = np.sqrt(np.mean(levelled.var(axis=0, ddof=1)) * (1 + 1 / len(others)))

        def add(method, corrected):
            errors[method].append(peers.relative_spread(corrected[0], good) / expected)

        add("nearest flat field", peers.nearest_flat(frame - dark, others - dark))
        add("eigen flat fields", peers.eigen_flats(frame - dark, others - dark))
        add("mean flat field", (frame - dark) / np.maximum(mean, 1))
        with h5py.File(folder / "set.h5", "w") as file:
            file["exchange/data"], file["exchange/data_white"] = frame, others
            if len(darks):
                file["exchange/data_dark"] = darks
        ombrel("calibrate", "flat-field", folder / "set.h5", "--keep-all", "-o", folder / "f.xml", "--force")
        add("Flat-Field", ombrel.corrected(f"Flat-Field={folder}/f.xml", folder / "set.h5", folder / "out.h5")[0])
    return {method: (np.array(values), None) for method, values in errors.items()}


def real_fields(path):
    """The darks and flat fields of a scan in the Data Exchange layout or with an `image_key`."""
    with h5py.File(path) as file:
        if "exchange" in file:
            return file["exchange/data_dark"][()].astype(float), file["exchange/data_white"][()].astype(float)
        detector = file["entry/instrument/imaging"]
        key = detector["image_key"][()]
        data = detector["data"]
        return tuple(data[np.flatnonzero(key == kind)].astype(float) for kind in (2, 1))


main()
