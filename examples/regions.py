"""Read and change parts of an image: by key, by region, one element at a time."""

import numpy

import zarnik

# A sequence of volumes: time, slice, row, column.
scan = numpy.arange(2 * 3 * 4 * 5, dtype=numpy.uint16).reshape(2, 3, 4, 5)
image = zarnik.from_numpy(scan, axes="TZYX")
print(image)

# Keys are those of the array, and read just the part that they select.
print("one row:", image[1, 0, 2].tolist())
print("every second column of all slices:", image[0, :, 0, ::2].tolist())

# Regions and indices count from the fastest axis, X, Y, Z, T, like get_shape().
assert image.get_shape() == (5, 4, 3, 2)
block = zarnik.RegionXu64(origin := (1, 1, 0, 0), size := (2, 2, 1, 1))
print("a region of", size, "at", origin, "as an array:", image.read_region(block).tolist())
print("one element:", int(image.read((4, 3, 2, 1))))

# Writing converts and broadcasts like an assignment to an array.
image[0, 0] = 7
image.write_region(block, [[100], [200]])
print(scan[0, 0])
