"""The integer constants, their order in the module's dictionary, and the read-only variables."""

import _zarnik
from support.expect import fails
from zarnik import _classes


def family(name, **values):
    return [(f"{name}_{member}", value) for member, value in values.items()]


def numbered(name, members, start=0):
    return [(f"{name}_{member}", number) for number, member in enumerate(members.split(), start)]


def data_type_ids():
    scalars = [(f"{name}{bits}", kind, bits) for kind, name in ((1, "UINT"), (2, "INT")) for bits in (8, 16, 32, 64)]
    scalars += [("FLOAT", 3, 32), ("DOUBLE", 3, 64)]
    # Vectors follow the order of the element suffixes: u8, i8, u16, ...
    in_suffix_order = [scalars[i] for i in (0, 4, 1, 5, 2, 6, 3, 7, 8, 9)]
    rows = [("UNKNOWN", 0), *((name, primitive << 16 | 1 << 8 | bits) for name, primitive, bits in scalars)]
    rows += [(f"UTF{bits}_STRING", 4 << 16 | 1 << 8 | bits) for bits in (8, 16, 32)]
    for count in (2, 3, 4):
        for name, primitive, bits in in_suffix_order:
            rows.append((f"VEC{count}_{name}", primitive << 16 | count << 8 | bits))
    shapes = [("COMPLEX", 1, 2), ("MATRIX2", 2, 4), ("MATRIX3", 2, 9), ("MATRIX4", 2, 16)]
    shapes += [("SYM_MATRIX2", 3, 3), ("SYM_MATRIX3", 3, 6)]
    for name, interpretation, count in shapes:
        for kind, bits in (("FLOAT", 32), ("DOUBLE", 64)):
            rows.append((f"{name}_{kind}", interpretation << 32 | 3 << 16 | count << 8 | bits))
    return [(f"DataTypeId_{name}", value) for name, value in rows]


CONSTANTS = [
    ("SHARED_PTR_DISOWN", 0),
    *numbered("LogLevel", "LOG_OFF LOG_CRITICAL LOG_ERR LOG_WARNING LOG_INFO LOG_DEBUG LOG_TRACE"),
    ("cvar", None),
    *numbered("PrimitiveTypeId", "UNKNOWN UNSIGNED_INTEGER SIGNED_INTEGER FLOATING_POINT UNICODE_STRING"),
    *numbered("DataTypeInterpretation", "RAW COMPLEX SQUARE_MATRIX SYMMETRIC_MATRIX"),
    *data_type_ids(),
    *numbered("MemoryLayout", "UNKNOWN C FORTRAN"),
    *numbered("ImageDimension", "COLUMN ROW SLICE CHANNEL SEQUENCE"),
    *numbered("ImageInterpretation", "UNKNOWN GRAYSCALE LABEL BINARY"),
    *family("ImageInterpretation", CIE_XYZ=17, CIE_XYZ_CHROMATICITY=18, CIE_UVW=20, CIE_LUV=21, CIE_LAB=22),
    *family("ImageInterpretation", RGB=33, RGB_CHROMATICITY=34, SRGB=35, YUV=49, YCC=50, YIQ=51, YDD=52),
    *family("ImageInterpretation", HSL=65, HSV=66, CMYK=81, MULTISPECTRAL=255),
    *numbered("AccessCapabilities", "READ_ONLY WRITE_ONLY READ_WRITE", 1),
    *family("StreamAccessCapability", READ=1, WRITE=2, SEEK=4, MEMORY_ACCESS=8, READ_WRITE=3, READ_SEEK=5),
    *family("StreamAccessCapability", WRITE_SEEK=6),
    *numbered("SeekOrigin", "BEGIN CURRENT END", 1),
    *family("RandomAccessCapability", READ=1, WRITE=2, RESIZE=4, MEMORY_ACCESS=8, READ_WRITE=3, WRITE_RESIZE=6),
    *family("TilingInfoExtension", EXTENSION_ID=1, INVALID_TILE_INDEX=2**64 - 1),
    *family("ParallelAccessCapability", THREAD_SAFE=1, PARALLEL_TILE_READ=2, PARALLEL_TILE_WRITE=4),
    *family("ParallelAccessCapability", PARALLEL_READ=8, PARALLEL_WRITE=16),
    ("ParallelAccessExtension_EXTENSION_ID", 2),
    *numbered("ViewDataOrigin", "UNKNOWN CPU_MEMORY DRIVE GPU_MEMORY NETWORK GENERATED COMPOSITE"),
    ("ViewOriginExtension_EXTENSION_ID", 3),
    ("ColumnUnitExtension_EXTENSION_ID", 4),
    *family("ImageCapability", READ=1, WRITE=2, RESHAPE=4, MEMORY_ACCESS=8, READ_WRITE=3),
    *family("MultiImageCapability", READ=1, WRITE=2, READ_WRITE=3),
    *family("DataFrameCapability", READ=1, WRITE=2, RESHAPE=4),
    *numbered("CommonAncestorStatus", "SHARE_NO_ANCESTOR SHARE_ANCESTOR UNDETERMINED"),
]
IMAGE_TYPES = "UNKNOWN IMAGE VOLUME MULTISPECTRAL_IMAGE MULTISPECTRAL_VOLUME IMAGE_SEQUENCE VOLUME_SEQUENCE"
IMAGE_TYPES += " MULTISPECTRAL_IMAGE_SEQUENCE MULTISPECTRAL_VOLUME_SEQUENCE"
VARIABLES = ["ZARNIK_VERSION", "ZARNIK_VERSION_STRING", "UidGenerator_UNDEFINED_UID"]
VARIABLES += [f"ImageTypeId_{name}" for name in IMAGE_TYPES.split()]


def test_values_and_order_of_the_constants():
    """Functions come first, cvar after the log levels."""
    entries = [(name, value) for name, value in vars(_zarnik).items() if not name.startswith("__")]
    functions = [entry for entry in entries if callable(entry[1])]
    assert entries[: len(functions)] == functions
    constants = [(name, None if name == "cvar" else value) for name, value in entries[len(functions) :]]
    assert constants == CONSTANTS
    assert {type(value) for name, value in constants if name != "cvar"} == {int}
    assert len(data_type_ids()) == len(set(dict(data_type_ids()).values())) == 56
    # A few written out, as users find them in files.
    ids = _zarnik.DataTypeId_VEC3_UINT16, _zarnik.DataTypeId_SYM_MATRIX3_DOUBLE, _zarnik.DataTypeId_COMPLEX_FLOAT
    assert ids == (0x10310, 0x300030640, 0x100030220)


def test_the_link_object():
    for name in VARIABLES:
        fails(AttributeError, f"Variable {name} is read-only.", setattr, _zarnik.cvar, name, 1)
    assert type(_zarnik.cvar).__name__ == "swigvarlink"
    assert repr(_zarnik.cvar) == "<Swig global variables>"
    # Its text lists the variables, the last one first.
    assert str(_zarnik.cvar) == f"({', '.join(reversed(VARIABLES))})"
    fails(AttributeError, "Unknown C global variable 'ZARNIK'", getattr, _zarnik.cvar, "ZARNIK")


def test_records_behind_variables_are_lent():
    for name in VARIABLES[:1] + VARIABLES[3:]:
        addresses = set()
        for _ in range(3):
            record = getattr(_zarnik.cvar, name)
            assert type(record) is (_classes.ImageType if "Type" in name else _classes.VersionInfo)
            assert record.thisown is False
            addresses.add(int(record.this))
            del record
        assert len(addresses) == 1
