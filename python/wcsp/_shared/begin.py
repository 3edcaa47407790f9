"""Each tool imports this module first. Its first line blocks SIGINT. An
interrupt before run_tool() then ends the tool without a traceback."""

import signal

signal.signal(signal.SIGINT, signal.SIG_DFL)
signal.pthread_sigmask(signal.SIG_UNBLOCK, {signal.SIGINT})
