"""Common ancestors of views, and writers, through the flat functions."""

import _zarnik
from support.expect import bad_argument, fails
from zarnik import _classes


def test_common_ancestors():
    ask = _zarnik.DependencyGraph__has_common_ancestor
    first, second = (_zarnik.ImageViewFactory_allocate([2, 2], _zarnik.DataTypeId_UINT8) for _ in range(2))
    derived = _zarnik.ImageViewProvider_to_read_only(first)
    assert ask(first, second) == _zarnik.CommonAncestorStatus_SHARE_NO_ANCESTOR
    assert ask(first, derived) == ask(first, first) == _zarnik.CommonAncestorStatus_SHARE_ANCESTOR
    for position, arguments in ((1, (5, first)), (2, (first, "view"))):
        bad_argument(TypeError, ask, position, "std::shared_ptr< zarnik::View >", *arguments)
    fails(_classes.Error, "there is no view whose ancestors could be looked for", ask, None, first)


def test_writers_are_made_by_others():
    assert not hasattr(_zarnik, "new_Writer")
    for name in ("write_all", "write_init", "write_data", "write_finish", "name", "version", "to_string"):
        kind = "zarnik::Writer const *" if name in ("name", "version", "to_string") else "zarnik::Writer *"
        bad_argument(TypeError, getattr(_zarnik, f"Writer_{name}"), 1, kind, 5)
