"""The limits of accessors over HTTP."""

from __future__ import annotations

from zarnik import _direct


def http_options() -> dict[str, float]:
    """Return the limits that accessors over HTTP are opened with, by name; times in seconds, sizes in bytes.

    Reading: cache_bytes of an accessor are kept in memory, in blocks of block_bytes; gap_bytes that nobody wants are
    received to save a request; request_bytes are asked for at most by one request, parallel_requests of them at a time,
    parallel_streams over HTTP/2; readers in order get up to read_ahead_bytes more than they ask for. Many small
    parts at once are asked for in requests of ranges_per_request each, where the server takes them; 1 never does.

    Patience: redirects are followed; connect_seconds and stall_seconds of silence make a failure, and request_seconds
    even of steady trickling; answer_seconds are waited for an answer when everything is written. What passes is tried
    again up to `retries` times within retry_seconds, after back_off_seconds, doubled each time.
    """
    return _direct.http_options()


def set_http_options(**limits: float) -> None:
    """Change some of the limits that `http_options` lists, for accessors that will be opened.

    >>> import zarnik
    >>> zarnik.set_http_options(cache_bytes=64 << 20, stall_seconds=30)

    :raises InvalidArgument: if a limit is out of its range; none is changed then.
    """
    _direct.set_http_options(limits)
