"""What the tools written in Python share: messages, programs, files."""

import contextlib
import os
import pathlib
import re
import shutil
import signal
import stat
import sys
import tempfile

VERSION = "@PROJECT_VERSION@"
ESCAPES = re.compile(r"(?:\\x[0-9a-f]{2})+|\\\\")


class Failure(Exception):
    """Ends the tool with one line on standard error and a status."""

    def __init__(self, message, status=2):
        super().__init__(message)
        self.status = status


def readable(text):
    """A text of wcsp-check without its escapes, where its bytes are UTF-8."""
    def unescaped(found):
        if found[0] == "\\\\":
            return "\\"
        try:
            plain = bytes.fromhex(found[0].replace("\\x", "")).decode()
        except UnicodeDecodeError:
            return found[0]
        return plain if plain.isprintable() else found[0]
    return ESCAPES.sub(unescaped, text)


def find_program(name, given=None):
    """The path of a program: the one given, one beside the tool, or of PATH."""
    beside = pathlib.Path(sys.argv[0]).resolve().parent / name
    for place in [given] if given else [beside, shutil.which(name)]:
        if place and os.path.isfile(place) and os.access(place, os.X_OK):
            return os.path.abspath(place)
    raise Failure(f"needs {name}, which is not found" + (f": {given}" if given else ""))


def write_whole(path, content):
    """Writes a file beside its place and renames it, so that nobody meets half
    of one; what is no plain file (a device, a pipe) is written as it is.
    Standard output where the path is None."""
    data = content.encode() if isinstance(content, str) else content
    if path is None:
        sys.stdout.buffer.write(data)
        sys.stdout.buffer.flush()
        return
    name, path = path, os.path.realpath(path)
    if os.path.exists(path) and not os.path.isfile(path):
        pathlib.Path(path).write_bytes(data)
        return
    try:
        handle, beside = tempfile.mkstemp(dir=os.path.dirname(path), prefix=".wcsp-")
    except OSError as error:
        raise OSError(error.errno, error.strerror, name) from None
    try:
        with os.fdopen(handle, "wb") as file:
            file.write(data)
        umask = os.umask(0)
        os.umask(umask)
        os.chmod(beside, stat.S_IMODE(os.stat(path).st_mode) if os.path.exists(path)
                 else 0o666 & ~umask)
        os.replace(beside, path)
    except BaseException as error:
        with contextlib.suppress(OSError):
            os.unlink(beside)
        if isinstance(error, OSError):
            raise OSError(error.errno, error.strerror, name) from None
        raise


def run_tool(name, main):
    """Calls main() and turns its failures into a message and a status."""
    signal.signal(signal.SIGPIPE, signal.SIG_DFL)
    try:
        sys.exit(main())
    except Failure as failure:
        print(f"{name}: {failure}", file=sys.stderr)
        sys.exit(failure.status)
    except OSError as error:
        print(f"{name}: {error.filename or 'output'}: {error.strerror}", file=sys.stderr)
        with contextlib.suppress(OSError):
            sys.stdout = None  # nothing is left to flush
        sys.exit(2)
    except MemoryError:
        print(f"{name}: out of memory", file=sys.stderr)
        sys.exit(2)
    except KeyboardInterrupt:
        sys.exit(130)
