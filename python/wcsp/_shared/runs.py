"""Reads the folder of runs that wcsp-many keeps.

SEED.run is the record of a run, written last. It names the files of the run
with their digests, so that a file that was lost or changed shows.
"""

from __future__ import annotations

import hashlib
import json
from pathlib import Path
from typing import Any

from .search import penalty_of

Record = dict[str, Any]

_Kinds = dict[str, type | tuple[type, ...]]
_NEEDED: _Kinds = {"seed": int, "status": int, "host": str, "ended by": str}
_OTHERS: _Kinds = {
    "hard": int,
    "soft": int,
    "cpu": (int, float),
    "time to best": (int, float),
    "files": dict,
    "made for": str,
}


def digest(data: bytes) -> str:
    return hashlib.sha256(data).hexdigest()


def read_json(path: Path) -> dict[str, Any]:
    """The JSON object in a file; ValueError for any other content."""
    try:
        value = json.loads(path.read_bytes())
    except (ValueError, RecursionError):
        raise ValueError("is not JSON") from None
    if not isinstance(value, dict):
        raise ValueError("is not a JSON object")
    return value


def read_record(path: Path) -> Record:
    """The record in a file; ValueError with a reason if it is not valid."""
    record = read_json(path)
    for name, kind in (_NEEDED | _OTHERS).items():
        if name not in record:
            if name in _NEEDED:
                raise ValueError(f"has no '{name}'")
        elif not isinstance(record[name], kind) or isinstance(
            record[name], bool
        ):
            raise ValueError(f"has a wrong '{name}'")
    if ("hard" in record) != ("soft" in record):
        raise ValueError("has only one part of the penalty")
    if str(record["seed"]) != path.stem:
        raise ValueError(f"is the record of seed {record['seed']}")
    return record


def damage(folder: Path, record: Record, with_logs: bool = True) -> str:
    """What has changed in the files of a run since it was saved, or ""."""
    name = f"{record['seed']}.report"
    try:
        for name, kept in record.get("files", {}).items():
            if not with_logs and not name.endswith(".report"):
                continue
            if digest((folder / Path(name).name).read_bytes()) != kept:
                return f"{name} has changed"
        if "hard" in record and "files" not in record:
            penalty = record["hard"], record["soft"]
            if penalty_of((folder / name).read_bytes()) != penalty:
                return f"{name} has another penalty than its record"
    except FileNotFoundError:
        return f"{name} is lost"
    except OSError as error:
        return f"{name}: {error.strerror}"
    return ""


def read_runs(
    folder: Path, with_logs: bool = True, names: str = "*.run"
) -> tuple[dict[int, Record], dict[int, str]]:
    """The intact runs, and the reasons why others are damaged, by seed."""
    records: dict[int, Record] = {}
    others: dict[int, str] = {}
    for path in sorted(folder.glob(names)):
        if not (path.stem.isascii() and path.stem.isdigit()):
            continue
        seed = int(path.stem)
        try:
            record = read_record(path)
            reason = damage(folder, record, with_logs)
        except ValueError as error:
            reason = f"{path.name} {error}"
        except OSError as error:
            reason = f"{path.name}: {error.strerror}"
        if reason:
            others[seed] = reason
        else:
            records[seed] = record
    return records, others
