"""Published corrections, written again from their papers, as peers of ours. Frames are arrays (n, height, width) of doubles."""

import numpy as np
from scipy.ndimage import median_filter, zoom
from scipy.optimize import minimize


def fixed_flat(frames, flats, area):
    """One flat field for all frames: the one that leaves the least residual in the known area, which flatters it."""
    def residual(flat):
        return np.mean([relative_spread(frame / flat, area) for frame in frames])
    best = min(flats, key=residual)
    return frames / best


def nearest_flat(frames, flats):
    """For each frame the flat field that is most like it, by the correlation of both without their smooth parts, so that no open
    area needs to be known."""
    detail = [without_smooth(np.log(np.maximum(flat, 1))) for flat in flats]
    corrected = []
    for frame in frames:
        own = without_smooth(np.log(np.maximum(frame, 1)))
        likeness = [np.corrcoef(own.ravel(), each.ravel())[0, 1] for each in detail]
        corrected.append(frame / flats[int(np.argmax(likeness))])
    return np.array(corrected)


def without_smooth(image):
    return image - median_filter(image, 9)


def eigen_flats(frames, flats, area=None):
    """V. Van Nieuwenhove et al., Optics Express 23 (2015) 27975: the principal components of the flat fields that rise above
    noise, weighted for each frame so that the total variation of the corrected frame, at half resolution, is least. With `area`,
    the variation is taken there alone."""
    mean = flats.mean(axis=0)
    components = significant_components(flats - mean)
    part = 0.5 if min(mean.shape) >= 16 else 1
    small_mean = zoom(mean, part, order=1)
    small_components = [zoom(each, part, order=1) for each in components]
    inside = np.ones(small_mean.shape, bool) if area is None else zoom(area.astype(float), part, order=1) > 0.99

    def variation(weights, frame):
        corrected = frame / np.maximum(small_mean + sum(w * each for w, each in zip(weights, small_components)), 1)
        corrected = np.where(inside, corrected / np.mean(corrected[inside]), 1)
        return np.hypot(np.diff(corrected, axis=0)[:, :-1], np.diff(corrected, axis=1)[:-1]).mean()

    corrected = []
    for frame in frames:
        small = zoom(frame, part, order=1)
        start = [np.vdot(frame - mean * (frame.mean() / mean.mean()), each) for each in components]
        weights = minimize(variation, start, args=(small,), method="Nelder-Mead",
                           options={"maxiter": 200 * max(len(components), 1), "xatol": 1, "fatol": 1e-7}).x
        corrected.append(frame / np.maximum(mean + sum(w * each for w, each in zip(weights, components)), 1))
    return np.array(corrected)


def significant_components(deviations, trials=5):
    """By parallel analysis: those whose variance is above that of data whose pixels are shuffled."""
    rows = deviations.reshape(len(deviations), -1)
    values, vectors = np.linalg.eigh(rows @ rows.T)
    random = np.random.default_rng(0)
    shuffled = []
    for _ in range(trials):
        noise = np.array([random.permutation(row) for row in rows])
        shuffled.append(np.linalg.eigvalsh(noise @ noise.T))
    limit = np.mean(shuffled, axis=0) + 2 * np.std(shuffled, axis=0)
    chosen = [k for k in range(len(values)) if values[k] > limit[k] and values[k] > 0]
    components = [(vectors[:, k] @ rows / np.sqrt(values[k])).reshape(deviations.shape[1:]) for k in reversed(chosen)]
    return components


def single_table(levels, values, frames):
    """One table for the whole detector: the mean counts of each known level, on straight lines between their logarithms."""
    counts = np.array([level.mean() for level in levels])
    order = np.argsort(counts)
    return np.interp(np.log(np.maximum(frames, 1)), np.log(counts[order]), np.asarray(values)[order])


def median_of_neighbours(frames, bad):
    """Bad pixels get the median of 3 x 3 pixels, themselves and other bad ones included, as a despeckle filter does."""
    filled = frames.copy()
    for frame in filled:
        frame[bad] = median_filter(frame, 3)[bad]
    return filled


def relative_spread(frame, area):
    return frame[area].std() / frame[area].mean()
