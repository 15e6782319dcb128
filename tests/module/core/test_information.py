"""Version, logging, identifiers and errors."""

import _zarnik
from support.expect import null_reference, prints
from zarnik import _classes


def test_logger_is_initialised_once_by_whatever_comes_first():
    # Whatever the first call is, the first level stays; a process of its own for each.
    for calls, level in (
        ("Logger_init(LogLevel_LOG_TRACE); Logger_init(LogLevel_LOG_OFF)", 6),
        ("Logger_log_level(); Logger_init(LogLevel_LOG_OFF)", 3),
        ("Logger_init(True)", 1),
        ("Logger_init(99)", 6),
        ("Logger_init(-99)", 0),
    ):
        prints(f"{level}\n", f"from _zarnik import *\n{calls}\nprint(Logger_log_level())")


def test_versions_agree():
    loaded = _zarnik.Versioning_version()
    assert type(loaded) is _classes.VersionInfo
    assert loaded.thisown
    assert f"{loaded.major}.{loaded.minor}.{loaded.patch}" == _zarnik.Versioning_version_string()
    assert _zarnik.Versioning_version_string() == _zarnik.cvar.ZARNIK_VERSION_STRING == "1.11.0"
    constant = _zarnik.cvar.ZARNIK_VERSION
    assert (constant.major, constant.minor, constant.patch) == (1, 11, 0)


def test_compatibility_is_of_the_major_and_at_least_the_minor_version():
    check = _zarnik.Versioning_check_compatibility
    assert check() is True
    deleted = _zarnik.new_VersionInfo()
    _zarnik.delete_VersionInfo(deleted)
    null_reference(check, 1, "zarnik::VersionInfo const &", deleted)
    for wanted in ((1, 11, 0), (1, 0, 99), (1, 11, 99), (1, 12, 0), (2, 0, 0), (0, 11, 0)):
        record = _classes.VersionInfo()
        record.major, record.minor, record.patch = wanted
        assert check(record) is (wanted < (1, 12) and wanted[0] == 1)


def test_identifiers_are_random():
    identifiers = {_zarnik.UidGenerator_generate() for _ in range(2000)}
    assert len(identifiers) == 2000
    assert all(type(uid) is int and 0 < uid < 2**64 for uid in identifiers)
    # Every bit takes both values.
    assert sum(1 << bit for bit in range(64) if len({uid >> bit & 1 for uid in identifiers}) == 2) == 2**64 - 1


def test_copying_an_error_leaves_it_as_it_was():
    error = _zarnik.new_InvalidArgument("message")
    copy = _zarnik.new_Error(error)
    assert (error.own(), copy.own()) == (True, True)
    assert _zarnik.Error___str__(error) == _zarnik.Error___str__(copy) == "message"
    null_reference(_zarnik.new_Error, 1, "std::string const &", None)
