"""The rule by which two pictures of the screen count as different slides, on its own feet.

Written with numpy alone, so that the checker does not ask the code that it checks: a picture is
reduced to 640 columns and smoothed, and each 50 x 50 tile is compared by mean structural
similarity (Wang et al. 2004: Gaussian window 11 x 11, sigma 1.5, K1 0.01, K2 0.03, range 255).
"""
import numpy

TILE, LIMIT = 50, 0.95


def reduced(picture):
    """A uint8 array of rows x columns x 3, as the comparison sees it."""
    rows, columns = picture.shape[:2]
    if columns > 640:
        picture = bilinear(picture, int(640 / (columns / rows)), 640)
    padded = numpy.pad(picture.astype(float), ((1, 1), (1, 1), (0, 0)), mode="reflect")
    total = sum(padded[y:y + picture.shape[0], x:x + picture.shape[1]]
                for y in range(3) for x in range(3))
    return numpy.rint(total / 9)


def bilinear(picture, rows, columns):
    def positions(new, old):
        at = numpy.clip((numpy.arange(new) + 0.5) * old / new - 0.5, 0, old - 1)
        low = numpy.floor(at).astype(int)
        return low, numpy.minimum(low + 1, old - 1), at - low
    top, bottom, down = positions(rows, picture.shape[0])
    left, right, across = positions(columns, picture.shape[1])
    down, across = down[:, None, None], across[None, :, None]
    mixed = [picture[y][:, left] * (1 - across) + picture[y][:, right] * across
             for y in (top, bottom)]
    return numpy.rint(mixed[0] * (1 - down) + mixed[1] * down)


def gaussian(tile):
    weights = numpy.exp(-numpy.arange(-5, 6) ** 2 / (2 * 1.5 ** 2))
    weights /= weights.sum()
    for axis in (0, 1):
        before, length = tile, tile.shape[axis]
        mirrored = numpy.abs(numpy.arange(-5, length + 5))
        while mirrored.max() >= length and length > 1:
            mirrored = numpy.abs(length - 1 - numpy.abs(length - 1 - mirrored))
        tile = sum(weight * before.take(mirrored[shift:shift + length] if length > 1 else [0], axis)
                   for shift, weight in enumerate(weights))
    return tile


def tile_similarity(first, second):
    c1, c2 = (0.01 * 255) ** 2, (0.03 * 255) ** 2
    mean1, mean2 = gaussian(first), gaussian(second)
    variance1 = gaussian(first * first) - mean1 ** 2
    variance2 = gaussian(second * second) - mean2 ** 2
    shared = gaussian(first * second) - mean1 * mean2
    ssim = ((2 * mean1 * mean2 + c1) * (2 * shared + c2)
            / ((mean1 ** 2 + mean2 ** 2 + c1) * (variance1 + variance2 + c2)))
    return ssim.mean(axis=(0, 1)).min()


def similarity(first, second):
    """The worst tile of two reduced pictures: 1 when they are equal, a new slide below LIMIT."""
    if first.shape != second.shape:
        return -1.0
    worst = 1.0
    for x in range(0, first.shape[1], TILE):
        for y in range(0, first.shape[0], TILE):
            tiles = [picture[y:y + TILE, x:x + TILE] for picture in (first, second)]
            if not numpy.array_equal(*tiles):
                worst = min(worst, tile_similarity(*tiles))
                if worst < LIMIT - 0.1:
                    return worst
    return worst
