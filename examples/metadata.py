"""Calibration and metadata of an image."""

import numpy

import zarnik

image = zarnik.from_numpy(numpy.zeros((3, 64, 64), numpy.uint8), axes="ZYX")
image.set_spatial_spacing([0.5, 0.5, 2.0])  # along X, Y, Z
image.set_spatial_unit("um")
image.set_image_interpretation(zarnik.ImageInterpretation.LABEL)
print(image)

image.metadata = {
    "microscope": {"objective": "40x", "aperture": 0.95, "exposures": [10, 20, 40]},
    "serial": 2**40,
}
print(image.metadata)
print("aperture:", image.metadata["microscope/aperture"].value().to_python())

# What an image shows of its metadata is read-only: a clone of it can be changed and attached.
changed = image.metadata.clone()
changed["microscope/objective"] = "63x"
image.metadata = changed
print(image.metadata.to_dict())

properties = zarnik.ImageProperties(
    calibration=zarnik.SpatialCalibrationProperty(spacing=(1, 1, 1), unit="mm"),
    image_info=zarnik.ImageInfoProperty(axes="ZYX", dtype=numpy.uint8, bit_depth=7),
)
image.properties = properties
print(image.properties.calibration())
