"""Imported before all else by a tool. Its first line blocks SIGINT; an
interrupt that comes until run_tool() catches it ends the tool without a
traceback."""

import signal

signal.signal(signal.SIGINT, signal.SIG_DFL)
signal.pthread_sigmask(signal.SIG_UNBLOCK, {signal.SIGINT})
