"""The pure-compound databank: one entry per compound, keyed by its alias.

The entries live in data/databank.json and are read once per process.
"""
import json
from functools import lru_cache
from pathlib import Path

DATABANK_FILE = Path(__file__).with_name("data") / "databank.json"


@lru_cache(maxsize=None)
def _entries():
    with open(DATABANK_FILE, encoding="utf-8") as f:
        compounds = json.load(f)["compounds"]
    by_alias = {}
    for entry in compounds:
        if entry["alias"] in by_alias:
            raise ValueError(f"databank: alias {entry['alias']!r} appears twice")
        by_alias[entry["alias"]] = entry
    return by_alias


def databank_index():
    """One mapping per compound: "alias", "cas", "name" and, where known,
    "cp_ig" (ideal-gas heat capacity coefficients). Each call returns fresh
    copies, so callers may change them freely."""
    return [_copy(e) for e in _entries().values()]


def lookup(alias):
    """The databank entry of `alias` (exact, else upper case); KeyError if none."""
    entries = _entries()
    entry = entries.get(alias)
    if entry is None and isinstance(alias, str):
        entry = entries.get(alias.upper())
    if entry is None:
        raise KeyError(f"no databank entry for component alias {alias!r}")
    return _copy(entry)


def _copy(entry):
    out = dict(entry)
    if "cp_ig" in out:
        cp = dict(out["cp_ig"])
        cp["a"] = list(cp["a"])
        out["cp_ig"] = cp
    return out
