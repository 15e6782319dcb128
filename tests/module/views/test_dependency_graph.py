"""Common ancestors of views, and writers, through the flat functions."""

import _zarnik
from support.expect import bad_argument, fails, null_reference, refused
from support.shared_types import StringWriter
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


def test_writing_in_phases():
    writer = StringWriter()
    assert (_zarnik.Writer_name(writer), _zarnik.Writer_version(writer)) == ("string", "2.0")
    set_option, value = _zarnik.Writer_set_option, _zarnik.VariantDataValueFactory_create("!")
    null_reference(set_option, 2, "std::string const &", writer, None, value)
    bad_argument(TypeError, set_option, 2, "std::string const &", writer, b"end", value)
    bad_argument(TypeError, set_option, 3, "std::shared_ptr< zarnik::VariantDataValue >", writer, "end", "!")
    refused("^no such option: colour$", set_option, writer, "colour", value)
    refused('^there is no value for the option "end"$', set_option, writer, "end", None)
    assert set_option(writer, "end", value) is None
    refused("out of order: the writing has not begun$", _zarnik.Writer_write_data, writer)
    assert _zarnik.Writer_write_init(writer) is None
    refused("^data is missing, 0 of 2 blocks are written$", _zarnik.Writer_write_finish, writer)
    _zarnik.Writer_write_data(writer)
    _zarnik.Writer_write_finish(writer)
    assert writer.written() == "<01!"
    assert _zarnik.Writer_to_string(writer) == "Writer(string 2.0, finished)"
    at_once = StringWriter()
    _zarnik.Writer_write_all(at_once)
    assert at_once.written() == "<01>"
