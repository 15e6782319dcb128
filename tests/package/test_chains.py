"""Random chains of lazy images, against an array that tells of each element which one of the source it is."""

import os

import numpy
import pytest
from numpy.testing import assert_allclose, assert_array_equal

import zarnik
from support.expect import raises
from support.shared_types import TiledView
from support.sources import TILE, source_of
from zarnik import ImageCapability
from zarnik import ImageViewFactory as Factory

DTYPES = [numpy.dtype(name) for name in ("u1", "i2", "u2", "f4", "f8")]
SOURCES = ("memory", "strided", "read-only", "disk", "accessor", "array", "tiled")
SEED = int(os.environ.get("ZARNIK_TEST_SEED", 20261122))


def converted(values, dtype):
    if dtype.kind == "f":
        return values.astype(dtype).astype("f8")
    return numpy.clip(numpy.rint(values), numpy.iinfo(dtype).min, numpy.iinfo(dtype).max)


class Chain:
    """Adapters over a random source; `cells` are the places of the elements in `values`, its elements one by one."""

    def __init__(self, random, kind, length=8, may_convert=True):
        self.random, self.may_convert = random, may_convert
        rank, has_pixels = random.integers(1, 6), kind != "array" and random.random() < 0.5
        axes = "TZYXC" if rank == 5 else "TZYX"[-rank:]
        shape = [0 if random.random() < 0.03 else random.integers(1, 5 if rank > 3 else 8) for _ in axes]
        if has_pixels and "C" not in axes:
            axes, shape = axes + "C", [*shape, random.integers(2, 5)]
        else:
            has_pixels = False
        self.values = random.integers(0, 200, shape).astype(random.choice(DTYPES))
        self.source = self.image = source_of(kind, self.values, axes, has_pixels)
        if kind == "memory":
            self.source.spacing, self.source.origin = (0.5, -2, 1.5), (1, -2, 3)
            self.source.directions = (0.6, 0.8, 0), (-0.8, 0.6, 0)
        self.source_rank = rank
        self.cells = numpy.arange(self.values.size).reshape(shape)
        self.has_pixels, self.conversions = has_pixels, []
        self.is_written = self.source.support(ImageCapability.WRITE)
        for _ in range(random.integers(1, length + 1)):
            self.extend()

    def extend(self):
        """Adds an adapter that the image allows."""
        random, image, axes = self.random, self.image, self.image.axes
        moving = axes[:-1] if self.has_pixels else axes
        has_channels = axes.endswith("C") and len(axes) > 1 and self.cells.shape[-1] > 0
        step = random.integers(0, 7 + 2 * self.may_convert)
        if step < 2:
            keys = [self.key(extent) for extent in self.cells.shape[: len(moving)]]
            every = int(random.choice([1, 1, 2, -1, -3]))
            keys[random.integers(len(keys))] = slice(None, None, every)
            self.image, self.cells = image.crop(*keys), self.cells[tuple(keys)]
        elif step == 2:
            axis = random.integers(len(moving))
            self.image, self.cells = image.flip(moving[axis]), numpy.flip(self.cells, axis)
        elif step == 3:
            count, self.is_written = int(random.integers(1, 4)), False
            steps = tuple(slice(None, None, count if letter in "XYZ" else 1) for letter in axes)
            self.image, self.cells = image.subsample(count), self.cells[steps]
        elif step == 4:
            order = random.permutation(len(moving))
            self.image = image.transpose("".join(moving[axis] for axis in order))
            self.cells = self.cells.transpose(*order, *range(len(moving), len(axes)))
        elif step == 5 and has_channels:
            channel = int(random.integers(self.cells.shape[-1]))
            self.image, self.cells, self.has_pixels = image.channel(channel), self.cells[..., channel], False
        elif step == 6 and has_channels:
            change = Factory.disassemble_channels if self.has_pixels else Factory.assemble_channels
            # One component alone makes no axis of components.
            if self.cells.shape[-1] > 1:
                self.image, self.has_pixels = change(image), not self.has_pixels
        elif step > 6:
            before, dtype = image.dtype, random.choice(DTYPES)
            scale, offset = 1, 0
            if step == 7:
                self.image = image.astype(dtype)
            else:
                # Powers of two, which are exact in both directions.
                scale, offset = random.choice([-1, 1]) * 2.0 ** random.integers(-2, 3), int(random.integers(16))
                self.image = image.rescale((0, 64), (offset, offset + 64 * scale), dtype)
            self.conversions.append((before, dtype, scale, offset))

    def key(self, extent):
        first, last = sorted(self.random.integers(0, extent + 1, 2))
        return int(first) if first < extent and self.random.random() < 0.2 else slice(first, last) if last else slice(0)

    def expected(self):
        found = self.values.ravel()[self.cells].astype("f8")
        for _, after, scale, offset in self.conversions:
            found = converted(found * scale + offset, after)
        return found

    def stored(self, values):
        """What becomes of elements that are written."""
        values = values.astype("f8")
        for before, _, scale, offset in reversed(self.conversions):
            values = converted((values - offset) / scale, before)
        return values

    def part(self):
        """A key of whole pixels, which is all that can be written through conversions."""
        moving = self.cells.shape[: self.cells.ndim - self.has_pixels]
        return tuple(slice(*sorted(self.random.integers(0, extent + 1, 2))) for extent in moving)


def chains(kind, count, **options):
    for seed in range(count):
        chain = Chain(numpy.random.default_rng([SEED, seed]), kind, **options)
        assert chain.image.shape == chain.cells.shape, (seed, chain.image)
        yield seed, chain


@pytest.mark.parametrize("kind", SOURCES)
def test_chains_read_and_write_what_numpy_does(kind):
    for seed, chain in chains(kind, 250):
        image, part = chain.image, chain.part()
        expected = chain.expected()
        assert_array_equal(image.to_numpy(), expected, f"{seed} {image}")
        assert_array_equal(image[part], expected[part], f"{seed} {image}")
        if expected.size:
            index = tuple(chain.random.integers(0, expected.shape))
            assert_array_equal(image[index], expected[index], f"{seed} {image}")
        assert image.support(ImageCapability.WRITE) is chain.is_written
        written = chain.random.integers(0, 100, expected[part].shape)
        if chain.is_written:
            image[part] = written
            numpy.put(chain.values, chain.cells[part], chain.stored(written))
            assert_array_equal(chain.source.to_numpy(), chain.values, f"{seed} {image}")
        elif written.size:
            raises(zarnik.NotImplemented, "", image.__setitem__, part, written)


@pytest.mark.parametrize("kind", SOURCES)
def test_chains_over_memory_are_shared(kind):
    shared = 0
    for seed, chain in chains(kind, 100, may_convert=False):
        if chain.image.support(ImageCapability.MEMORY_ACCESS) and chain.cells.size:
            shared += 1
            array = chain.image.to_numpy(copy=False)
            chain.source[...] = changed = chain.random.integers(0, 100, chain.values.shape)
            assert_array_equal(array, changed.ravel()[chain.cells], f"{seed} {chain.image}")
    assert (shared > 10) == (kind in ("memory", "strided"))


def test_elements_stay_where_they_are_in_space():
    def world(image, index):
        places = dict(zip(image.axes, index))
        return image.index_to_world([places.get(letter, 0) for letter in "XYZ"])

    for seed, chain in chains("memory", 500):
        if chain.cells.size and chain.source.axes in "ZYX":  # others may become axes of space
            index = chain.random.integers(0, chain.cells.shape)
            of_source = numpy.unravel_index(chain.cells[tuple(index)], chain.values.shape)
            expected = world(chain.source, of_source)
            assert_allclose(world(chain.image, index), expected, atol=1e-9, err_msg=f"{seed} {chain.image}")


def test_reading_asks_the_source_for_no_more_than_it_needs():
    for seed, chain in chains("tiled", 300):
        before, part = TiledView.touched(), chain.part()
        chain.image[part]
        needed = numpy.array(numpy.unravel_index(chain.cells[part].ravel(), chain.values.shape))[: chain.source_rank]
        box = numpy.prod(numpy.ptp(needed, axis=1) + 1) if needed.size else 0
        # Of components that are an axis with steps, each is read on its own.
        times = chain.values.shape[-1] if chain.values.ndim > chain.source_rank else 1
        assert TiledView.touched() - before <= box * times, (seed, chain.image)


def test_tiles_are_the_parts_of_the_sources_tiles():
    for seed, chain in chains("tiled", 300):
        tiling, image = chain.image.tiling_info(), chain.image
        letters = [letter for letter in "XYZCT" if letter in image.axes[: image.ndim - chain.has_pixels]]
        of_source, covered = [], 0
        for tile in range(tiling.tile_count()):
            region = tiling.tile_region(tile)
            sizes = dict(zip(letters, region.get_size()))
            assert all(size <= most for size, most in zip(region.get_size(), tiling.max_tile_size()))
            places = {
                letter: slice(first, first + sizes[letter]) for letter, first in zip(letters, region.get_origin())
            }
            key = tuple(places.get(letter, slice(None)) for letter in image.axes)
            assert_array_equal(tiling.read_tile(tile), image[key], f"{seed} {image}")
            # Pixels may be assembled of several tiles: their first components are of one.
            cells = chain.cells[key][..., 0] if chain.has_pixels else chain.cells[key]
            index = numpy.unravel_index(cells.ravel(), chain.values.shape)[: chain.source_rank]
            (place,) = set(zip(*(numpy.array(index) // TILE).tolist()))
            of_source.append(place)
            covered += chain.cells[key].size
        # All elements once, and no tile of the source in two of the view's.
        assert covered == chain.cells.size
        assert len(set(of_source)) == len(of_source) == tiling.tiling_grid().indexer().element_count()
        raises(zarnik.Error, "", tiling.tile_region, tiling.tile_count())
