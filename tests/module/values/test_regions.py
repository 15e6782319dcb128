"""The four region classes, against sets of points."""

import itertools

import pytest

import _zarnik
from support.expect import fails, refused
from support.values import call, components, vector

NAMES = {"Region2u64": 2, "Region3u64": 3, "Region4u64": 4, "RegionXu64": None}
ALL = pytest.mark.parametrize("name", NAMES)
DISJOINT_COUNTS = "differ in number: 2 and 3"


def make(name, origin, size):
    return getattr(_zarnik, f"new_{name}")(origin, size)


def corners(name, region):
    of_vector = name.replace("Region", "Vector")
    return tuple(components(of_vector, call(name, f"get_{which}", region)) for which in ("origin", "size"))


def points(origin, size):
    return set(itertools.product(*(range(start, start + extent) for start, extent in zip(origin, size))))


@ALL
def test_agreement_with_sets_of_points(name):
    rank = NAMES[name] or 2
    rows = [
        ([start, 2] + [0] * (rank - 2), [width, height] + [2] * (rank - 2))
        for start in (0, 1, 3)
        for width in (0, 1, 2, 4)
        for height in (0, 3)
    ]
    for left, right in itertools.product(rows, rows):
        regions = make(name, *left), make(name, *right)
        both = points(*left) & points(*right)
        common = call(name, "intersection", *regions)
        assert points(*corners(name, common)) == both
        assert call(name, "get_is_empty", common) is (not both)
        assert call(name, "intersect", *regions) is bool(both)
        if points(*right):
            assert call(name, "contains", *regions) is (both == points(*right))
        assert call(name, "contains", regions[0], right[0]) is (tuple(right[0]) in points(*left))
        assert call(name, "get_element_count", regions[0]) == len(points(*left))
        same = left == right or (left[0] == right[0] and not points(*left) and not points(*right))
        assert call(name, "__eq__", *regions) is same
        last = components(name.replace("Region", "Vector"), call(name, "get_max", regions[0]))
        assert tuple(last) == max(points(*left), default=tuple(left[0]))
    assert call(name, "get_dimension_count", regions[0]) == rank


@ALL
def test_slices(name):
    rank = NAMES[name] or 3
    origin, size = [2, 3, 4, 5][:rank], [5, 6, 7, 8][:rank]
    region = make(name, origin, size)
    for axis in range(rank):
        expected = origin.copy(), size.copy()
        expected[0][axis] += 3
        expected[1][axis] = 1
        assert corners(name, call(name, "extract_slice_from_axis", region, axis, 3)) == expected
    slicing = getattr(_zarnik, f"{name}_extract_slice_from_axis")
    for axis, position in ((rank, 0), (0, 5), (1, 2**64 - 1)):
        refused("is out of range", slicing, region, axis, position)
    assert call(name, "to_string", region) == f"(origin {tuple(origin)}, size {tuple(size)})"


@ALL
def test_the_largest_coordinates(name):
    rank = NAMES[name] or 2
    largest = 2**64 - 1
    of_vector = name.replace("Region", "Vector")
    far = vector(of_vector, [largest] * rank)
    last = make(name, far, [1] * rank)
    assert components(of_vector, call(name, "get_max", last)) == [largest] * rank
    assert call(name, "contains", last, last) and call(name, "intersect", last, last)
    refused(f"region origin {largest} \\+ size 2 on axis 0 exceeds", make, name, far, [2] * rank)
    refused("elements of the region do not fit 64 bits", call, name, "get_element_count", make(name, [0] * rank, far))


def test_construction():
    run_time = make("RegionXu64", [1, 2, 3], [4, 5, 6])
    fixed = _zarnik.new_Region3u64(run_time)
    _zarnik.Vector3u64_set_at(_zarnik.Region3u64_get_origin(fixed), 0, 9)  # a copy is handed out
    assert corners("Region3u64", fixed) == ([1, 2, 3], [4, 5, 6])
    assert corners("Region3u64", _zarnik.new_Region3u64(fixed)) == corners("Region3u64", fixed)
    assert _zarnik.Region3u64___eq__(fixed, 5) is NotImplemented
    assert corners("Region2u64", _zarnik.new_Region2u64()) == ([0, 0], [0, 0])
    assert corners("RegionXu64", _zarnik.new_RegionXu64(2)) == ([0, 0], [0, 0])
    assert corners("RegionXu64", _zarnik.new_RegionXu64(run_time)) == corners("Region3u64", fixed)
    assert corners("RegionXu64", _zarnik.RegionXu64_from_index([3, 4])) == ([3, 4], [1, 1])
    full = _zarnik.RegionXu64_create_full_region([5, 6, 7])
    assert corners("RegionXu64", full) == ([0, 0, 0], [5, 6, 7])
    assert _zarnik.RegionXu64_get_element_count(full) == 210
    refused("a vector of 2 components cannot be made from 3", _zarnik.new_Region2u64, run_time)
    fails(ValueError, "input sequence has invalid length", make, "Region3u64", [1, 2], [1, 2, 3])
    refused(f"origin and size {DISJOINT_COUNTS}", make, "RegionXu64", [1, 2], [1, 2, 3])


def test_counts_of_dimensions_must_agree():
    two, three = _zarnik.new_RegionXu64(2), _zarnik.new_RegionXu64(3)
    for method, other in (("contains", three), ("contains", [1, 2, 3]), ("intersect", three), ("intersection", three)):
        refused(DISJOINT_COUNTS, call, "RegionXu64", method, two, other)
    assert _zarnik.RegionXu64___eq__(two, three) is False
    assert _zarnik.RegionXu64___ne__(two, three) is True
