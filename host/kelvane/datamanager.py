"""Opening host models: a model mapping (or its JSON file) as a Flowsheet.

The model mapping, keys in this order:
  "name": text
  "property": {"method": ..., "components": {component id: databank alias or ""},
               optional "nrtl", "kij", "elec"}
  "feeds": {stream: {"T": K, "P": Pa, "flows": {component id: kmol/s}, optional "vfrac"}}
  "blocks": {unit: {"kind": ..., "in": [streams], "out": [streams], spec keys...}}
  optional "layout": {"blocks": {unit: [x, y]}, "streams": {stream: [x, y]}}
  optional "reactions": {name: {"type": ..., ...}}
Malformed models raise ValueError naming the offending item.
"""
import json
import math
from collections.abc import Mapping

import numpy as np

from .diagnostics import log
from .model import Block, Feed, Flowsheet, Package

TOP_KEYS = ("name", "property", "feeds", "blocks", "layout", "reactions")
NUMBER_SPECS = ("P", "ratio", "dP", "T", "vfrac", "duty", "efficiency")
# Bounds of the specifications that only make sense in a range: (low, high, low open?)
SPEC_RANGES = {
    "P": (0.0, math.inf, True),
    "T": (0.0, math.inf, True),
    "ratio": (0.0, math.inf, True),
    "vfrac": (0.0, 1.0, False),
    "efficiency": (0.0, 1.0, True),
}


def flowsheet_from_dict(model):
    """The host flowsheet of a model mapping (see the module docstring)."""
    if not isinstance(model, Mapping):
        raise ValueError(f"model: expected a mapping, got {type(model).__name__}")
    unknown = [k for k in model if k not in TOP_KEYS]
    if unknown:
        log.warning("model: ignoring unknown keys %s", ", ".join(map(repr, unknown)))

    name = _need(model, "name", "model")
    if not isinstance(name, str):
        raise ValueError(f"model: 'name' must be text, got {type(name).__name__}")
    pp = _package(_mapping(_need(model, "property", "model"), "property"))
    index = {c: i for i, c in enumerate(pp.components)}

    feeds = {}
    for tag, entry in _mapping(_need(model, "feeds", "model"), "feeds").items():
        _tag(tag, "feeds")
        feeds[tag] = _feed(_mapping(entry, f"feed {tag!r}"), tag, index)

    blocks, ports = {}, {}
    for tag, entry in _mapping(_need(model, "blocks", "model"), "blocks").items():
        _tag(tag, "blocks")
        blocks[tag], ports[tag] = _block(_mapping(entry, f"block {tag!r}"), tag, index)
    _check_streams(feeds, ports)

    positions = _layout(model.get("layout"), blocks, _stream_names(feeds, ports))
    reactions = _reactions(model.get("reactions"))
    meta = {"name": name, "aliases": dict(pp.aliases)}
    return Flowsheet(pp=pp, feeds=feeds, blocks=blocks, ports=ports, meta=meta,
                     positions=positions, reactions=reactions)


def load_flowsheet(path):
    """The flowsheet of a JSON model file. OSError if it cannot be read,
    ValueError if it is not JSON or not a valid model."""
    with open(path, encoding="utf-8") as f:
        try:
            model = json.load(f)
        except json.JSONDecodeError as e:
            raise ValueError(f"{path}: not valid JSON ({e.msg} at line {e.lineno} "
                             f"column {e.colno})") from None
    return flowsheet_from_dict(model)


# -- parts of the model ---------------------------------------------------------------------

def _package(prop):
    method = _need(prop, "method", "property")
    if not isinstance(method, str) or not method:
        raise ValueError(f"property: 'method' must be non-empty text, got {method!r}")
    comps = _mapping(_need(prop, "components", "property"), "property: components")
    if not comps:
        raise ValueError("property: components: at least one component is needed")
    aliases = {}
    for cid, alias in comps.items():
        _tag(cid, "property: components")
        if alias is None:
            alias = ""
        if not isinstance(alias, str):
            raise ValueError(f"property: components: alias of {cid!r} must be text, "
                             f"got {type(alias).__name__}")
        if alias and alias != cid:
            aliases[cid] = alias
    components = list(comps)
    n = len(components)
    nrtl = prop.get("nrtl")
    if nrtl is not None:
        nrtl = _array(nrtl, "property: nrtl", lambda s: s == (6, n, n), f"six {n}x{n} matrices")
    kij = prop.get("kij")
    if kij is not None:
        kij = _array(kij, "property: kij", lambda s: len(s) == 3 and s[0] >= 1 and s[1:] == (n, n),
                     f"a list of {n}x{n} matrices")
    return Package(components=components, method=method.upper(), elec=prop.get("elec"),
                   nrtl=nrtl, kij=kij, aliases=aliases)


def _feed(entry, tag, index):
    where = f"feed {tag!r}"
    P = _number(_need(entry, "P", where), f"{where}: P")
    if P <= 0:
        raise ValueError(f"{where}: P must be positive (Pa), got {P!r}")
    T = entry.get("T")
    vfrac = entry.get("vfrac")
    if T is not None:
        T = _number(T, f"{where}: T")
        if T <= 0:
            raise ValueError(f"{where}: T must be positive (K), got {T!r}")
    if vfrac is not None:
        vfrac = _in_range(_number(vfrac, f"{where}: vfrac"), 0.0, 1.0, False, f"{where}: vfrac")
    if T is None and vfrac is None:
        raise ValueError(f"{where}: needs 'T' (or 'vfrac')")
    flows = np.zeros(len(index))
    for cid, value in _mapping(_need(entry, "flows", where), f"{where}: flows").items():
        if cid not in index:
            raise ValueError(f"{where}: flows: unknown component {cid!r} "
                             f"(components: {', '.join(index)})")
        value = _number(value, f"{where}: flows: {cid}")
        if value < 0:
            raise ValueError(f"{where}: flows: {cid} is negative ({value!r})")
        flows[index[cid]] = value
    return Feed(T=T, P=P, flows=flows, vfrac=vfrac)


def _block(entry, tag, index):
    where = f"block {tag!r}"
    kind = _need(entry, "kind", where)
    if not isinstance(kind, str) or not kind.strip():
        raise ValueError(f"{where}: 'kind' must be non-empty text, got {kind!r}")
    ins = _port_list(entry.get("in", []), f"{where}: in")
    outs = _port_list(entry.get("out", []), f"{where}: out")
    spec = {k: v for k, v in entry.items() if k not in ("kind", "in", "out")}
    for key in NUMBER_SPECS:
        if spec.get(key) is not None:
            spec[key] = _number(spec[key], f"{where}: {key}")
            if key in SPEC_RANGES:
                _in_range(spec[key], *SPEC_RANGES[key], f"{where}: {key}")
    if spec.get("frac") is not None:
        spec["frac"] = _fractions(spec["frac"], outs, where)
    if spec.get("split") is not None:
        spec["split"] = _split(spec["split"], index, where)
    return Block(kind=kind.strip().upper(), spec=spec), (ins, outs)


def _fractions(frac, outs, where):
    if not isinstance(frac, list):
        raise ValueError(f"{where}: frac must be a list of fractions, got {type(frac).__name__}")
    frac = [_in_range(_number(f, f"{where}: frac[{i}]"), 0.0, 1.0, False, f"{where}: frac[{i}]")
            for i, f in enumerate(frac)]
    if sum(frac) > 1.0 + 1e-9:
        raise ValueError(f"{where}: frac adds up to {sum(frac):g}, more than 1")
    if outs and len(frac) >= len(outs):
        raise ValueError(f"{where}: frac gives {len(frac)} fractions for {len(outs)} outlets; "
                         "the last outlet takes the rest and has none")
    return frac


def _split(split, index, where):
    """{outlet: {component: fraction}} with integer outlets and component
    indices; JSON brings the keys as text, components by id or index."""
    split = _mapping(split, f"{where}: split")
    out = {}
    for port, fractions in split.items():
        p = _int_key(port, f"{where}: split: outlet {port!r}")
        rows = {}
        for comp, value in _mapping(fractions, f"{where}: split[{port!r}]").items():
            if comp in index:
                i = index[comp]
            else:
                i = _int_key(comp, f"{where}: split[{port!r}]: unknown component {comp!r}")
                if i >= len(index):
                    raise ValueError(f"{where}: split[{port!r}]: component index {i} out of range")
            label = f"{where}: split[{port!r}][{comp!r}]"
            rows[i] = _in_range(_number(value, label), 0.0, 1.0, False, label)
        out[p] = rows
    return out


def _check_streams(feeds, ports):
    """Each stream has one source (a feed or one block outlet) and at most one
    destination; names of streams and units are distinct (DWSIM tags)."""
    source = {tag: "a feed" for tag in feeds}
    destination = {}
    for block, (ins, outs) in ports.items():
        for s in outs:
            if not s:
                continue
            if s in source:
                raise ValueError(f"stream {s!r}: leaves block {block!r} but is already "
                                 f"{source[s]}")
            source[s] = f"an outlet of block {block!r}"
        for s in ins:
            if not s:
                continue
            if s in destination:
                raise ValueError(f"stream {s!r}: enters both {destination[s]!r} and {block!r}")
            destination[s] = block
    for s, block in destination.items():
        if s not in source:
            raise ValueError(f"stream {s!r}: enters block {block!r} but is neither a feed "
                             "nor the outlet of a block")
    for s in source:
        if s in ports:
            raise ValueError(f"stream {s!r}: a unit has the same name")


def _stream_names(feeds, ports):
    names = set(feeds)
    for ins, outs in ports.values():
        names.update(s for s in ins + outs if s)
    return names


def _layout(layout, blocks, streams):
    if layout is None:
        return {}
    layout = _mapping(layout, "layout")
    positions = {}
    for group, known in (("blocks", blocks), ("streams", streams)):
        for tag, xy in _mapping(layout.get(group, {}), f"layout: {group}").items():
            if tag not in known:
                raise ValueError(f"layout: {group}: {tag!r} is not in the flowsheet")
            if not isinstance(xy, (list, tuple)) or len(xy) != 2:
                raise ValueError(f"layout: {group}: {tag!r} must be [x, y], got {xy!r}")
            positions[tag] = tuple(_number(v, f"layout: {group}: {tag!r}") for v in xy)
    return positions


def _reactions(reactions):
    if reactions is None:
        return {}
    reactions = _mapping(reactions, "reactions")
    for tag, entry in reactions.items():
        entry = _mapping(entry, f"reaction {tag!r}")
        if "type" in entry and not isinstance(entry["type"], str):
            raise ValueError(f"reaction {tag!r}: 'type' must be text")
    return {tag: dict(entry) for tag, entry in reactions.items()}


# -- small checks ---------------------------------------------------------------------------

def _need(mapping, key, where):
    try:
        return mapping[key]
    except KeyError:
        raise ValueError(f"{where}: missing key {key!r}") from None


def _mapping(value, where):
    if not isinstance(value, Mapping):
        raise ValueError(f"{where}: expected a mapping, got {type(value).__name__}")
    return value


def _tag(tag, where):
    if not isinstance(tag, str) or not tag:
        raise ValueError(f"{where}: names must be non-empty text, got {tag!r}")


def _number(value, where):
    # bool is an int to Python, but true/false in a model is a mistake
    if isinstance(value, bool) or not isinstance(value, (int, float, np.integer, np.floating)):
        raise ValueError(f"{where}: expected a number, got {value!r}")
    value = float(value)
    if not math.isfinite(value):
        raise ValueError(f"{where}: expected a finite number, got {value!r}")
    return value


def _in_range(value, low, high, low_open, where):
    if value > high or value < low or (low_open and value == low):
        bound = f"({low:g}, {high:g}]" if low_open else f"[{low:g}, {high:g}]"
        raise ValueError(f"{where}: {value:g} is outside {bound}")
    return value


def _int_key(key, where):
    if isinstance(key, bool):
        raise ValueError(where)
    if isinstance(key, (int, np.integer)) and key >= 0:
        return int(key)
    if isinstance(key, str) and key.isdigit():
        return int(key)
    raise ValueError(where)


def _port_list(value, where):
    if not isinstance(value, list):
        raise ValueError(f"{where}: expected a list of stream names, got {type(value).__name__}")
    for s in value:
        if s is not None and not isinstance(s, str):
            raise ValueError(f"{where}: stream names must be text or null, got {s!r}")
    return list(value)


def _array(value, where, shape_ok, expected):
    try:
        arr = np.array(value, dtype=float)
    except (TypeError, ValueError):
        raise ValueError(f"{where}: expected {expected} of numbers") from None
    if not shape_ok(arr.shape):
        raise ValueError(f"{where}: expected {expected}, got shape {arr.shape}")
    if not np.all(np.isfinite(arr)):
        raise ValueError(f"{where}: numbers must be finite")
    return arr
