"""Settings of all tests."""

import signal

# What runs in the background of a shell has Ctrl-C switched off, and so have its children: the tests try it.
signal.signal(signal.SIGINT, signal.default_int_handler)
