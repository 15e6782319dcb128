"""The integer constants, their order in the module's dictionary, and the read-only variables."""

import _zarnik
from support.expect import fails
from zarnik import _classes, _enumerations

# The families in their order; those of SINGLE are constants of their own. The values are those of the package's
# enumerations, where they are written out.
ORDER = """
SHARED_PTR_DISOWN LogLevel cvar PrimitiveTypeId DataTypeInterpretation DataTypeId MemoryLayout ImageDimension
ImageInterpretation AccessCapabilities StreamAccessCapability SeekOrigin RandomAccessCapability
TilingInfoExtension_EXTENSION_ID TilingInfoExtension_INVALID_TILE_INDEX ParallelAccessCapability
ParallelAccessExtension_EXTENSION_ID ViewDataOrigin ViewOriginExtension_EXTENSION_ID ColumnUnitExtension_EXTENSION_ID
ImageCapability MultiImageCapability DataFrameCapability CommonAncestorStatus
"""
SINGLE = {
    "SHARED_PTR_DISOWN": 0,
    "cvar": _zarnik.cvar,
    "TilingInfoExtension_EXTENSION_ID": 1,
    "TilingInfoExtension_INVALID_TILE_INDEX": 2**64 - 1,
    "ParallelAccessExtension_EXTENSION_ID": 2,
    "ViewOriginExtension_EXTENSION_ID": 3,
    "ColumnUnitExtension_EXTENSION_ID": 4,
}
IMAGE_TYPES = "UNKNOWN IMAGE VOLUME MULTISPECTRAL_IMAGE MULTISPECTRAL_VOLUME IMAGE_SEQUENCE VOLUME_SEQUENCE"
IMAGE_TYPES += " MULTISPECTRAL_IMAGE_SEQUENCE MULTISPECTRAL_VOLUME_SEQUENCE"
VARIABLES = ["ZARNIK_VERSION", "ZARNIK_VERSION_STRING", "UidGenerator_UNDEFINED_UID"]
VARIABLES += [f"ImageTypeId_{name}" for name in IMAGE_TYPES.split()]


def members(family):
    names = list(getattr(_enumerations, family).__members__)
    # The module has the vectors by the width of their components, those without a sign first.
    if family == "DataTypeId":
        first, last = names.index("VEC2_UINT8"), names.index("COMPLEX_FLOAT")
        width = {name: int("".join(filter(str.isdigit, name[5:])) or 99) for name in names[first:last]}
        names[first:last] = sorted(width, key=lambda name: (name[:4], width[name]))
    return [(f"{family}_{name}", getattr(_enumerations, family)[name]) for name in names]


def test_values_and_order_of_the_constants():
    """Functions come first, cvar after the log levels."""
    entries = [(name, value) for name, value in vars(_zarnik).items() if not name.startswith("__")]
    functions = [entry for entry in entries if callable(entry[1])]
    assert entries[: len(functions)] == functions
    constants = entries[len(functions) :]
    assert constants == [
        e for name in ORDER.split() for e in ([(name, SINGLE[name])] if name in SINGLE else members(name))
    ]
    assert {type(value) for name, value in constants if name != "cvar"} == {int}
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
        records = [getattr(_zarnik.cvar, name) for _ in range(3)]
        assert {type(record) for record in records} == {_classes.ImageType if "Type" in name else _classes.VersionInfo}
        assert not any(record.thisown for record in records)
        assert len({int(record.this) for record in records}) == 1
