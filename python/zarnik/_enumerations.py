"""The enumerations: members are ints equal to the flat constants, e.g. `ImageCapability.READ == ImageCapability_READ`.

The values are written out, so that editors and type checkers know them; the tests hold them to those of the module.
"""

from __future__ import annotations

from enum import IntEnum, IntFlag
from typing import TYPE_CHECKING, Any

import zarnik._classes as _classes

if TYPE_CHECKING:
    from zarnik._classes import ImageType

__all__ = [
    "AccessCapabilities",
    "CommonAncestorStatus",
    "DataFrameCapability",
    "DataTypeId",
    "DataTypeInterpretation",
    "ImageCapability",
    "ImageDimension",
    "ImageInterpretation",
    "LogLevel",
    "MemoryLayout",
    "MultiImageCapability",
    "ParallelAccessCapability",
    "PrimitiveTypeId",
    "RandomAccessCapability",
    "SeekOrigin",
    "StreamAccessCapability",
    "ViewDataOrigin",
]


class LogLevel(IntEnum):
    """How much the library logs."""

    LOG_OFF = 0
    LOG_CRITICAL = 1
    LOG_ERR = 2
    LOG_WARNING = 3
    LOG_INFO = 4
    LOG_DEBUG = 5
    LOG_TRACE = 6


class PrimitiveTypeId(IntEnum):
    """Kind of the components of a data type."""

    UNKNOWN = 0
    UNSIGNED_INTEGER = 1
    SIGNED_INTEGER = 2
    FLOATING_POINT = 3
    UNICODE_STRING = 4


class DataTypeInterpretation(IntEnum):
    """What the components of a data type mean together."""

    RAW = 0
    COMPLEX = 1
    SQUARE_MATRIX = 2
    SYMMETRIC_MATRIX = 3


class DataTypeId(IntEnum):
    """The named data types: bit depth, element count, primitive type and interpretation in one number."""

    UNKNOWN = 0x0
    UINT8 = 0x10108
    UINT16 = 0x10110
    UINT32 = 0x10120
    UINT64 = 0x10140
    INT8 = 0x20108
    INT16 = 0x20110
    INT32 = 0x20120
    INT64 = 0x20140
    FLOAT = 0x30120
    DOUBLE = 0x30140
    UTF8_STRING = 0x40108
    UTF16_STRING = 0x40110
    UTF32_STRING = 0x40120
    VEC2_UINT8 = 0x10208
    VEC2_UINT16 = 0x10210
    VEC2_UINT32 = 0x10220
    VEC2_UINT64 = 0x10240
    VEC2_INT8 = 0x20208
    VEC2_INT16 = 0x20210
    VEC2_INT32 = 0x20220
    VEC2_INT64 = 0x20240
    VEC2_FLOAT = 0x30220
    VEC2_DOUBLE = 0x30240
    VEC3_UINT8 = 0x10308
    VEC3_UINT16 = 0x10310
    VEC3_UINT32 = 0x10320
    VEC3_UINT64 = 0x10340
    VEC3_INT8 = 0x20308
    VEC3_INT16 = 0x20310
    VEC3_INT32 = 0x20320
    VEC3_INT64 = 0x20340
    VEC3_FLOAT = 0x30320
    VEC3_DOUBLE = 0x30340
    VEC4_UINT8 = 0x10408
    VEC4_UINT16 = 0x10410
    VEC4_UINT32 = 0x10420
    VEC4_UINT64 = 0x10440
    VEC4_INT8 = 0x20408
    VEC4_INT16 = 0x20410
    VEC4_INT32 = 0x20420
    VEC4_INT64 = 0x20440
    VEC4_FLOAT = 0x30420
    VEC4_DOUBLE = 0x30440
    COMPLEX_FLOAT = 0x100030220
    COMPLEX_DOUBLE = 0x100030240
    MATRIX2_FLOAT = 0x200030420
    MATRIX2_DOUBLE = 0x200030440
    MATRIX3_FLOAT = 0x200030920
    MATRIX3_DOUBLE = 0x200030940
    MATRIX4_FLOAT = 0x200031020
    MATRIX4_DOUBLE = 0x200031040
    SYM_MATRIX2_FLOAT = 0x300030320
    SYM_MATRIX2_DOUBLE = 0x300030340
    SYM_MATRIX3_FLOAT = 0x300030620
    SYM_MATRIX3_DOUBLE = 0x300030640


class MemoryLayout(IntEnum):
    """Which dimension runs fastest in memory: the last one (C) or the first one (FORTRAN)."""

    UNKNOWN = 0
    C = 1
    FORTRAN = 2


class ImageDimension(IntEnum):
    """The dimensions of an image, in canonical order. `COLUMN | ROW` is the `ImageType` that has both."""

    COLUMN = 0
    ROW = 1
    SLICE = 2
    CHANNEL = 3
    SEQUENCE = 4

    @property
    def letter(self) -> str:
        """The letter that stands for the dimension in strings of axes: X, Y, Z, C or T."""
        return "XYZCT"[self]

    def __or__(self, other: Any) -> Any:
        """Combine with another dimension, or an image type, into an image type."""
        if not isinstance(other, (ImageDimension, _classes.ImageType)):
            return NotImplemented
        image_type: ImageType = _classes.ImageType(other.value() if isinstance(other, _classes.ImageType) else 0)
        image_type.add(self)
        if isinstance(other, ImageDimension):
            image_type.add(other)
        return image_type

    __ror__ = __or__


class ImageInterpretation(IntEnum):
    """What the values or channels of a pixel stand for."""

    UNKNOWN = 0x0
    GRAYSCALE = 0x1
    LABEL = 0x2
    BINARY = 0x3
    CIE_XYZ = 0x11
    CIE_XYZ_CHROMATICITY = 0x12
    CIE_UVW = 0x14
    CIE_LUV = 0x15
    CIE_LAB = 0x16
    RGB = 0x21
    RGB_CHROMATICITY = 0x22
    SRGB = 0x23
    YUV = 0x31
    YCC = 0x32
    YIQ = 0x33
    YDD = 0x34
    HSL = 0x41
    HSV = 0x42
    CMYK = 0x51
    MULTISPECTRAL = 0xFF


class AccessCapabilities(IntFlag):
    """What a byte accessor is opened for."""

    READ_ONLY = 1
    WRITE_ONLY = 2
    READ_WRITE = 3


class StreamAccessCapability(IntFlag):
    """What a stream accessor can do."""

    READ = 1
    WRITE = 2
    SEEK = 4
    MEMORY_ACCESS = 8
    READ_WRITE = 3
    READ_SEEK = 5
    WRITE_SEEK = 6


class SeekOrigin(IntEnum):
    """What the offset of a seek counts from."""

    BEGIN = 1
    CURRENT = 2
    END = 3


class RandomAccessCapability(IntFlag):
    """What a random accessor can do."""

    READ = 1
    WRITE = 2
    RESIZE = 4
    MEMORY_ACCESS = 8
    READ_WRITE = 3
    WRITE_RESIZE = 6


class ParallelAccessCapability(IntFlag):
    """What threads may do with one view at the same time."""

    THREAD_SAFE = 1
    PARALLEL_TILE_READ = 2
    PARALLEL_TILE_WRITE = 4
    PARALLEL_READ = 8
    PARALLEL_WRITE = 16


class ViewDataOrigin(IntEnum):
    """Where the data of a view come from."""

    UNKNOWN = 0
    CPU_MEMORY = 1
    DRIVE = 2
    GPU_MEMORY = 3
    NETWORK = 4
    GENERATED = 5
    COMPOSITE = 6


class ImageCapability(IntFlag):
    """What an image view can do."""

    READ = 1
    WRITE = 2
    RESHAPE = 4
    MEMORY_ACCESS = 8
    READ_WRITE = 3


class MultiImageCapability(IntFlag):
    """What a multi-image view can do."""

    READ = 1
    WRITE = 2
    READ_WRITE = 3


class DataFrameCapability(IntFlag):
    """What a data frame view can do."""

    READ = 1
    WRITE = 2
    RESHAPE = 4


class CommonAncestorStatus(IntEnum):
    """Whether two views were made from a common one."""

    SHARE_NO_ANCESTOR = 0
    SHARE_ANCESTOR = 1
    UNDETERMINED = 2
