"""Which names of the package are shown: all can be imported, but a list of thousands helps nobody."""

from __future__ import annotations

import re
from typing import Any

# Shown by what they are for, not by name: constants are members of enumerations, and of the families of vectors,
# regions, matrices and arrays those are shown that images use.
_HIDDEN = re.compile(
    r"_.*|annotations|SHARED_PTR_DISOWN|cvar|SwigPyIterator|\w+Iterator|NotImplemented|\w+CapabilitySet|"
    r"Vector[234X](?!d$|u64$)\w+|Vector[234]u64|Region[234]u64|Matrix[34]f|ArrayX\w+|TransformMatrix\dFactory|"
    r"Readonly\w+Propert\w+|\w+Extension|VariantDataValueFactory|MetadataNodeFactory|MetadataNodeHelper|"
    r"AccessCapabilities|DataTypeInterpretation|PrimitiveTypeId|ReadonlyMetadataNode|"
    r"(MultiImage|ParallelAccess|RandomAccess|StreamAccess)Capability|"
    r"UidGenerator|(?!ImageView)\w+Provider|Extension|Writer|NumpyInterop|Version\w+|View|CommonAncestorStatus|ZARNIK_\w+"
)


def shown_names(names: dict[str, Any]) -> list[str]:
    """Return the names that a person uses, of those of the package."""
    families = {name for name, value in names.items() if isinstance(value, type)}
    return sorted(
        name
        for name, value in names.items()
        if not _HIDDEN.fullmatch(name)
        and (name in families or name.partition("_")[0] not in families)
        and not _is_module(value)
    )


def _is_module(value: Any) -> bool:
    return type(value).__name__ == "module"
