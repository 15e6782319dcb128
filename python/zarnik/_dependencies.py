"""Which views were made from which."""

from __future__ import annotations

from typing import Any

import zarnik._classes as _classes
from zarnik._calls import flat as _zarnik
from zarnik._enumerations import CommonAncestorStatus
from zarnik._extension import extends


@extends(_classes.DependencyGraph)
class _DependencyGraph:
    @staticmethod
    def has_common_ancestor(first: Any, second: Any) -> CommonAncestorStatus:
        """Tell whether two views derive from a common ancestor, so that writing into one may change the other.

        :return: `UNDETERMINED` if no common ancestor is found, but an ancestor does not tell what it was made from.
        """
        return CommonAncestorStatus(_zarnik.DependencyGraph__has_common_ancestor(first, second))
