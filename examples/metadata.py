"""Calibration and metadata of an image."""

import numpy

import zarnik

image = zarnik.from_numpy(numpy.zeros((3, 64, 64), numpy.uint8), axes="ZYX")
image.spacing = 0.5, 0.5, 2.0  # along X, Y, Z
image.unit = "um"
image.interpretation = zarnik.ImageInterpretation.LABEL
print(image)

image.metadata = {
    "microscope": {"objective": "40x", "aperture": 0.95, "exposures": [10, 20, 40]},
    "serial": 2**40,
}
print(image.metadata)
print("aperture:", image.metadata["microscope/aperture"].value().to_python())

# Each change through the image attaches a changed copy of the tree; a clone can be changed at leisure, and attached.
image.metadata["microscope/objective"] = "63x"
changed = image.metadata.clone()
changed["stained"] = False
changed.update({"channels": [{"name": "DAPI"}, {"name": "GFP"}]})
image.metadata = changed
print(image.metadata.to_dict())

properties = zarnik.ImageProperties(
    calibration=zarnik.SpatialCalibrationProperty(spacing=(1, 1, 1), unit="mm"),
    image_info=zarnik.ImageInfoProperty(dtype=numpy.uint8, bit_depth=7),  # the axes stay as they are
)
image.properties = properties
print(image.properties.calibration(), image.axes)

# The matrix of a scan, in the convention of NIfTI; a voxel's place in it, and the way back.
image.set_affine([[-2, 0, 0, 90], [0, 2, 0, -126], [0, 0, 3, -72]], convention="RAS")
print("element (1, 2, 0) lies at", image.index_to_world((1, 2, 0)), image.unit)
