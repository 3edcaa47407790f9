"""Formats texts, lists of numbers and tables for output."""

from __future__ import annotations

import csv
import io
import re
from collections.abc import Iterable, Iterator

_ESCAPES = re.compile(r"(?:\\x[0-9a-f]{2})+|\\\\")


def escaped(text: object) -> str:
    """A text that is safe on a terminal: control characters and bytes that
    are not UTF-8 become \\xHH, as in wcsp-check."""
    return "".join(
        (
            c
            if c.isprintable()
            else "".join(
                f"\\x{byte:02x}"
                for byte in c.encode("utf-8", _surrogates(ord(c)))
            )
        )
        for c in str(text)
    )


def _surrogates(code: int) -> str:
    return "surrogateescape" if 0xDC80 <= code <= 0xDCFF else "surrogatepass"


def readable(text: str, is_exact: bool = False) -> str:
    """A text of wcsp-check without its escapes, if its bytes are UTF-8;
    control characters stay escaped unless `is_exact`."""

    def unescaped(match: re.Match[str]) -> str:
        if match[0] == "\\\\":
            return "\\"
        try:
            plain = bytes.fromhex(match[0].replace("\\x", "")).decode()
        except UnicodeDecodeError:
            return match[0]
        return plain if is_exact or plain.isprintable() else match[0]

    return _ESCAPES.sub(unescaped, text)


def spans(numbers: Iterable[int], between: str = ",") -> str:
    """ "1-8,12" for a set of numbers."""
    parts: list[list[int]] = []
    for number in sorted(set(numbers)):
        if parts and parts[-1][1] == number - 1:
            parts[-1][1] = number
        else:
            parts.append([number, number])
    return between.join(str(a) if a == b else f"{a}-{b}" for a, b in parts)


def csv_text(
    rows: Iterable[Iterable[object]], is_safe: bool = False
) -> Iterator[str]:
    """Rows as CSV, in pieces. If `safe`, an apostrophe precedes each text
    that a spreadsheet would read as a formula."""

    def safe(cell: object) -> object:
        is_formula = isinstance(cell, str) and cell.startswith(tuple("=+-@"))
        return f"'{cell}" if is_formula else cell

    out = io.StringIO()
    writer = csv.writer(out, lineterminator="\n")
    for row in rows:
        writer.writerow(map(safe, row) if is_safe else row)
        if out.tell() > 1 << 16:
            yield out.getvalue()
            out.seek(0)
            out.truncate()
    yield out.getvalue()
