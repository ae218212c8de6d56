"""Odd host flowsheets for the property tests: how they are drawn, made and judged.

A case is a JSON description, so that a failing one can be printed, stored and run again;
`make` turns it into the host's objects. Plain JSON values stand for themselves (Python's
json also carries NaN and Infinity), a few tagged objects for what JSON cannot say:

    {"$ns": {attr: value}}           an object with these attributes and no others
    {"$map": [[key, value], ...]}    a dict whose keys are not all text
    {"$tuple": [...]}                a tuple
    {"$np": dtype, "v": value}       a numpy scalar
    {"$arr": value, "dtype": dtype}  a numpy array
    {"$int": "digits"}               an int no double holds
    {"$refuses": "float"}            an object whose float() raises

`flowsheets()` draws tidy topologies (a stream has one source and at most one
destination; loops, self-loops and open ports included) and wild ones (any stream at
any port, a stream fed twice, ports that are no pairs), with values from the ranges of
a real flowsheet mixed with odd ones, and names that clash with each other or with the
helper tags of the export. `sound_streams` and `balance_faults` judge a solve's results
against the flowsheet's own graph; `judge_exception` judges what was raised instead.

The batch that runs these through the stand-in DWSIM is `host_batch`, in a child process.
"""
import json
import math
import numbers
import os
import re
from types import SimpleNamespace as NS

import numpy as np
from hypothesis import strategies as st

KINDS = ("MIXER", "FSPLIT", "SEP", "HEATER", "FLASH2", "PUMP", "COMPR", "VALVE")
OTHER_KINDS = ("RADFRAC", "HEATX", "mixer", "", " HEATER")
COMPONENTS = ("WATER", "METHANOL", "ETHANOL", "BENZENE", "TOLUENE", "PROPANE")
ODD_COMPONENTS = ("", "UNOBTAINIUM", "water", "\ud800", 7, None)
METHODS = ("IDEAL", "NRTL", "WILSON", "UNIQUAC", "PENG-ROB", "RK-SOAVE")
ODD_METHODS = ("", "STEAM-TA", "ideal", 3, None)
# Names that clash with another name or with a tag the export makes for a helper
# (Recycle, its inlet, a flash's heater and mixer, an energy stream, a chain's stage),
# names .NET cannot hold, and names that are not text.
ODD_NAMES = ("", None, 0, "\ud800", "s0", "S0", "B0", "REC-S0", "S0-IN", "B0-H", "B0-F", "Q-B0", "B0-M",
             "B0-2", "REC-S0-IN", "a b", "x" * 300, "\u00fcn\u00efcode", "\U0001f525", "NoDigits")


class Refuses:
    """A value whose float() raises, as a broken host object would."""

    def __float__(self):
        raise ArithmeticError("this value refuses to be a number")

    def __repr__(self):
        return "Refuses()"


# ---- descriptions into host objects -------------------------------------------------------

def make(d):
    """The host object that the description `d` stands for."""
    if isinstance(d, list):
        return [make(x) for x in d]
    if not isinstance(d, dict):
        return d
    if "$ns" in d:
        return NS(**{k: make(v) for k, v in d["$ns"].items()})
    if "$map" in d:
        return {make_key(k): make(v) for k, v in d["$map"]}
    if "$tuple" in d:
        return tuple(make(x) for x in d["$tuple"])
    if "$np" in d:
        return np.dtype(d["$np"]).type(d["v"])
    if "$arr" in d:
        return np.array(d["$arr"], dtype=d.get("dtype", "float64"))
    if "$int" in d:
        return int(d["$int"])
    if "$refuses" in d:
        return Refuses()
    return {k: make(v) for k, v in d.items()}


def host_flowsheet(desc):
    """The host flowsheet of a case: an object with the description's parts as attributes."""
    return NS(**{part: make(v) for part, v in desc.items()})


def make_key(k):
    k = make(k)
    return tuple(k) if isinstance(k, list) else k     # a list key would be unhashable before the module sees it


def dumps(desc):
    """One line of JSON; lone surrogates and NaN survive (ASCII escapes, NaN tokens)."""
    return json.dumps(desc, ensure_ascii=True, allow_nan=True)


# ---- values ---------------------------------------------------------------------------------

RANGES = dict(T=st.floats(250.0, 600.0), P=st.floats(2e4, 2e6), flow=st.floats(0.0, 0.05),
              frac=st.floats(0.0, 1.0), efficiency=st.floats(0.3, 1.0), dP=st.floats(-2e5, 2e5),
              ratio=st.floats(0.2, 5.0), duty=st.floats(-5e5, 5e5), vfrac=st.floats(0.0, 1.0))

SPECIAL = st.sampled_from([math.nan, math.inf, -math.inf, 0.0, -0.0, -1.0, 1e308, 5e-324, 0, True, "1e5", "high",
                           "nan", "", None, [], {}, [1.0], {"$int": "1" + "0" * 400}, {"$refuses": "float"}])


def odd(valid):
    """Something in the place of a number that a real flowsheet would not hold there, or
    the number in another type."""
    return st.one_of(SPECIAL, valid.map(lambda x: -x - 1.0), valid.map(str),
                     valid.map(lambda x: {"$np": "float32", "v": x}), valid.map(lambda x: {"$np": "int64", "v": int(x)}),
                     valid.map(lambda x: {"$arr": [x]}), valid.map(lambda x: {"$arr": [x, x]}))


def weighted(usual, rare, n, scale=1):
    """`rare` about once in n * scale + 1 draws, else `usual`; never at scale 0 (hypothesis'
    one_of favours its last branches, so weights need a draw of their own)."""
    if scale == 0:
        return usual
    return st.integers(0, n * scale).flatmap(lambda i: rare if i == n * scale else usual)


def value(name, oddness=4, scale=1):
    """A value of the range `name`, odd about once in `oddness * scale + 1` draws."""
    return weighted(RANGES[name], odd(RANGES[name]), oddness, scale)


def sometimes(strategy, odd_values, oddness=6, scale=1):
    return weighted(strategy, st.sampled_from(odd_values), oddness, scale)


# ---- specifications by kind -----------------------------------------------------------------

SPEC_KEYS = {"MIXER": ("P", "dP"), "HEATER": ("T", "vfrac", "duty", "dP", "P"),
             "FLASH2": ("T", "P", "vfrac", "duty", "dP"), "PUMP": ("P", "dP", "ratio", "efficiency"),
             "COMPR": ("P", "dP", "ratio", "efficiency"), "VALVE": ("P", "dP", "ratio"), "FSPLIT": ("dP",),
             "SEP": ("dP",)}


def chance(n, scale=1):
    """True about once in n * scale + 1 draws; never at scale 0."""
    return weighted(st.just(False), st.just(True), n, scale)


@st.composite
def spec(draw, kind, n_outs, n_comps, scale=1):
    keys = SPEC_KEYS.get(kind, ("P", "T", "dP")) if isinstance(kind, str) else ("P", "T", "dP")
    sp = draw(st.fixed_dictionaries({}, optional={k: value(k, scale=scale) for k in keys}))
    if kind == "FSPLIT" or draw(chance(20, scale)):
        n = max(n_outs - 1 + draw(weighted(st.just(0), st.sampled_from([-1, 1]), 4, scale)), 0)
        frac = draw(st.lists(value("frac", 8, scale), min_size=n, max_size=n))
        sp["frac"] = draw(sometimes(st.just(frac), [None, "0.5", {"$tuple": frac}, {"$arr": [0.2, 0.3]}, [2.0], [-0.5]],
                                    scale=scale))
    if kind == "SEP" or draw(chance(20, scale)):
        rows = draw(st.lists(st.tuples(st.integers(0, n_comps - 1 + draw(chance(4, scale))), value("frac", 8, scale)),
                             max_size=n_comps + 1))
        zero = {"$map": [[i, f] for i, f in rows]}
        sp["split"] = draw(sometimes(st.just({"$map": [[0, zero]]}),
                                     [{"$map": [["0", zero]]}, {"$map": [[1, zero]]}, {}, None, [zero], "all",
                                      {"$map": [[0, {"$map": [["x", 0.5]]}]]}, {"$map": [[0, {"$map": [[-1, 0.5]]}]]}],
                                     scale=scale))
    if draw(chance(10, scale)):    # a key of another kind, or one the module does not read
        sp[draw(st.sampled_from(["T", "P", "ratio", "efficiency", "color", "ins"]))] = draw(value("T", 1))
    return draw(sometimes(st.just(sp), [None, [], "T=300", {"$ns": {}}, {"$map": [[None, 1.0], [1, 2.0]]}], 12, scale))


# ---- topologies -----------------------------------------------------------------------------

INLETS = {"MIXER": (1, 8), "FLASH2": (0, 3), "FSPLIT": (1, 2), "SEP": (1, 2)}
OUTLETS = {"MIXER": (1, 1), "FSPLIT": (1, 5), "SEP": (1, 3), "FLASH2": (1, 3)}


def kind_strategy(scale=1):
    return weighted(st.sampled_from(KINDS), st.sampled_from(OTHER_KINDS + (None, 3, {"$np": "str_", "v": "PUMP"})),
                    8, scale)


def port_count(draw, bounds, scale):
    lo, hi = bounds
    return draw(st.integers(lo, hi + draw(chance(8, scale))))


@st.composite
def tidy_topology(draw, scale=1):
    """Blocks with their kinds; each outlet a fresh stream, each inlet a new feed or an
    outlet that nothing takes yet, of any block (loops, a block's own outlet)."""
    n = draw(st.integers(0, 6))
    kinds = [draw(kind_strategy(scale)) for _ in range(n)]
    outs = {}
    k = 0
    for i, kind in enumerate(kinds):
        m = port_count(draw, OUTLETS.get(kind, (1, 1)) if isinstance(kind, str) else (1, 2), scale)
        outs[f"B{i}"] = [f"S{k + j}" for j in range(m)]
        k += m
    free = [s for b in outs for s in outs[b]]
    feeds, ins = [], {}
    for i, kind in enumerate(kinds):
        ins[f"B{i}"] = []
        for _ in range(port_count(draw, INLETS.get(kind, (1, 1)) if isinstance(kind, str) else (0, 2), scale)):
            pick = draw(st.sampled_from(["feed", "feed"] + free)) if free else "feed"
            if pick == "feed":
                pick = f"F{len(feeds)}"
                feeds.append(pick)
            else:
                free.remove(pick)
            ins[f"B{i}"].append(pick)
    if draw(chance(6)):
        feeds.append("LONE")    # a feed that enters nothing
    return kinds, ins, outs, feeds


@st.composite
def wild_topology(draw, scale=1):
    """Any stream of a small pool at any port, open ports (None, "") among them."""
    n = draw(st.integers(0, 6))
    pool = [f"S{i}" for i in range(draw(st.integers(1, 8)))]
    name = weighted(st.sampled_from(pool), st.sampled_from([None, ""]), 8)
    kinds = [draw(kind_strategy(scale)) for _ in range(n)]
    ins = {f"B{i}": draw(st.lists(name, max_size=4)) for i in range(n)}
    outs = {f"B{i}": draw(st.lists(name, max_size=4)) for i in range(n)}
    feeds = draw(st.lists(st.sampled_from(pool + ["LONE"]), unique=True, max_size=4))
    return kinds, ins, outs, feeds


def rename(value, names):
    if isinstance(value, list):
        return [rename(v, names) for v in value]
    return names.get(value, value) if isinstance(value, str) else value


# ---- whole flowsheets -----------------------------------------------------------------------

@st.composite
def feed(draw, n_comps, scale=1):
    flows = draw(st.lists(value("flow", 10, scale), min_size=n_comps, max_size=n_comps))
    if flows and not draw(chance(10)):
        flows[0] = draw(st.floats(1e-4, 0.05))      # most feeds carry flow
    flows = draw(sometimes(st.just(flows), [[], [0.01] * (n_comps + 1), {"$arr": [0.01] * n_comps},
                                            {"$tuple": [0.01] * n_comps}, "0.01", None, [0.0] * n_comps,
                                            {"$arr": [0.01] * n_comps, "dtype": "float32"}], 10, scale))
    attrs = {"T": draw(weighted(value("T", scale=scale), st.none(), 5)), "P": draw(value("P", scale=scale)),
             "flows": flows}
    if draw(chance(5)):
        attrs["vfrac"] = draw(value("vfrac", scale=scale))
    if draw(chance(20, scale)):
        attrs.pop(draw(st.sampled_from(sorted(attrs))))
    return draw(sometimes(st.just({"$ns": attrs}), [None, 5, {"$ns": {}}], 20, scale))


@st.composite
def package(draw, scale=1):
    comps = draw(st.lists(st.sampled_from(COMPONENTS), min_size=1, max_size=3, unique=True))
    if draw(chance(8, scale)):
        comps.append(draw(st.sampled_from(ODD_COMPONENTS + COMPONENTS)))
    n = len(comps)
    attrs = {"components": draw(sometimes(st.just(comps), [[], "WATER", None, {"$tuple": comps}], 15, scale)),
             "method": draw(weighted(st.sampled_from(METHODS), st.sampled_from(ODD_METHODS), 8, scale))}
    matrix = lambda *shape: st.lists(st.floats(-2000, 2000), min_size=math.prod(shape), max_size=math.prod(shape)).map(
        lambda v: {"$arr": np.array(v).reshape(shape).tolist()})
    if draw(chance(3)):
        attrs["nrtl"] = draw(weighted(matrix(6, n, n), st.one_of(
            matrix(5, n, n), matrix(6, n + 1, n + 1), st.sampled_from([None, [], "nrtl", {"$arr": [[math.nan]]}])),
            3, scale))
    if draw(chance(3)):
        attrs["kij"] = draw(weighted(st.one_of(matrix(1, n, n), matrix(2, n, n)), st.one_of(
            matrix(n, n), st.sampled_from([None, [[0.1]], {"$arr": math.nan}])), 3, scale))
    if draw(chance(12)):
        attrs["elec"] = draw(st.sampled_from([None, 0, {"pairs": []}]))
    return {"$ns": attrs}


@st.composite
def flowsheets(draw):
    """A host flowsheet description: pp, feeds, blocks, ports, meta, and sometimes
    positions and reactions. A third of them hold no odd value (scale 0), the others odd
    values seldom (scale 4) or often (scale 1)."""
    scale = draw(st.sampled_from([0, 4, 1]))
    pp = draw(package(scale))
    comps = pp["$ns"]["components"]
    n_comps = len(comps) if isinstance(comps, list) and comps else 2
    kinds, ins, outs, feed_names = draw(weighted(tidy_topology(scale), wild_topology(scale), 2))
    blocks, ports = [], []
    for i, kind in enumerate(kinds):
        b = f"B{i}"
        sp = draw(spec(kind, len(outs[b]), n_comps, scale))
        blocks.append([b, draw(sometimes(st.just({"$ns": {"kind": kind, "spec": sp}}),
                                         [None, {"$ns": {"kind": kind}}, {"$ns": {"spec": sp}}], 30, scale))])
        pair = [ins[b], outs[b]]
        ports.append([b, draw(sometimes(st.sampled_from([pair, {"$tuple": pair}]),
                                        [[ins[b]], [ins[b], outs[b], []], "AB", None, {"$ns": {}},
                                         [" ".join(x for x in ins[b] if x), outs[b]], [{"$tuple": ins[b]}, 5]], 30, scale))])
    if blocks and draw(chance(15, scale)):
        ports.pop(draw(st.integers(0, len(ports) - 1)))      # a block without ports
    if draw(chance(15, scale)):
        ports.append(["GHOST", [["S0"], ["S99"]]])           # ports of no block
    feeds = [[f, draw(feed(n_comps, scale))] for f in feed_names]
    desc = {"pp": pp, "feeds": {"$map": feeds}, "blocks": {"$map": blocks}, "ports": {"$map": ports},
            "meta": draw(sometimes(st.just({}), [None, [], {"name": 5}, {"aliases": None}, {"aliases": {"WATER": "METHANOL"}},
                                                 {"aliases": {"WATER": "H2O"}}, {"aliases": "WATER"}], 6, scale))}
    if draw(chance(8)):
        names = [b for b, _ in blocks] + [s for side in (ins, outs) for v in side.values() for s in v if s]
        desc["positions"] = {"$map": [[n, draw(weighted(
            st.tuples(st.integers(-10**4, 10**4), st.integers(-10**4, 10**4)).map(list),
            st.sampled_from([None, [math.nan, 0.0], [1e300, 0.0], [1.5, -2.5], [1], "xy"]), 2, scale))]
            for n in draw(st.lists(st.sampled_from(names), unique=True, max_size=4))] if names else []}
    if draw(chance(10)):
        desc["reactions"] = draw(weighted(st.sampled_from([{}, {"R1": {"type": "CHEMISTRY"}}, {"R1": {"type": "EQUIL"}}]),
                                          st.sampled_from([None, {"R1": {"type": 5}}, {"R1": None}, []]), 1, scale))
    # a few names replaced everywhere: clashes, helper tags, names .NET cannot hold
    if draw(chance(3, scale)):
        present = sorted({s for side in (ins, outs) for v in side.values() for s in v if s}
                         | {b for b, _ in blocks} | set(feed_names))
        if present:
            swaps = draw(st.dictionaries(st.sampled_from(present), st.sampled_from(ODD_NAMES + tuple(present)),
                                         max_size=2))
            desc = swap_names(desc, swaps)
    return desc


def swap_names(desc, swaps):
    """The description with the names in `swaps` replaced, as keys and at ports."""
    def at_ports(pair):
        if isinstance(pair, list):
            return [rename(side, swaps) if isinstance(side, list) else side for side in pair]
        if isinstance(pair, dict) and "$tuple" in pair:
            return {"$tuple": at_ports(pair["$tuple"])}
        return pair
    out = dict(desc)
    for key in ("feeds", "blocks", "positions"):
        if isinstance(desc.get(key), dict) and "$map" in desc[key]:
            out[key] = {"$map": [[swaps.get(k, k) if isinstance(k, str) else k, v] for k, v in desc[key]["$map"]]}
    out["ports"] = {"$map": [[swaps.get(k, k) if isinstance(k, str) else k, at_ports(v)]
                             for k, v in desc["ports"]["$map"]]}
    return out


# ---- the oracle: which streams a result may name, and whether balances close -----------------

# Outlets a unit offers the block (a chain of Splitters takes every outlet); the kinds
# whose unit takes its first inlet only (the others mix every inlet, through a chain).
OFFERED = {"MIXER": 1, "FSPLIT": None, "SEP": 2, "HEATER": 1, "FLASH2": 2, "PUMP": 1, "COMPR": 1, "VALVE": 1}
FIRST_INLET_ONLY = {"FSPLIT", "SEP", "HEATER", "PUMP", "COMPR", "VALVE"}


def exported_blocks(fs):
    """[(name, kind, inlets the unit takes, outlets it feeds)] of the blocks that are
    exported, as the host flowsheet has them."""
    found = []
    for name, block in fs.blocks.items():
        kind = block.kind
        try:
            kind = kind if isinstance(kind, str) else str(kind) if isinstance(kind, np.str_) else None
        except Exception:
            kind = None
        if kind not in OFFERED:
            continue
        ins, outs = fs.ports[name]
        ins, outs = list(ins), list(outs)
        taken = ins[:1] if kind in FIRST_INLET_ONLY else ins
        offered = outs if OFFERED[kind] is None else outs[:OFFERED[kind]]
        found.append((name, kind, [s for s in taken if s], [s for s in offered if s]))
    return found


def downstream(blocks, streams):
    """`streams` and every stream that blocks make from them, through and through."""
    found = set(streams)
    grew = True
    while grew:
        grew = False
        for _, _, ins, outs in blocks:
            if any(s in found for s in ins) and not set(outs) <= found:
                found |= set(outs)
                grew = True
    return found


def sound_streams(fs):
    """The streams that may carry a result: reached from a feed through exported blocks,
    and not downstream of a stream that nothing reaches (whose placeholder state DWSIM
    would mix in)."""
    blocks = exported_blocks(fs)
    reached = downstream(blocks, fs.feeds)
    poisoned = downstream(blocks, {s for _, _, ins, _ in blocks for s in ins if s not in reached})
    return reached - poisoned


def phantom_faults(fs, results):
    """Streams in the results that no feed reaches through exported blocks."""
    sound = sound_streams(fs)
    keys = {}
    for names in (fs.feeds, *(pair[i] for pair in fs.ports.values() for i in (0, 1))):
        for n in names:
            if n:
                keys.setdefault(n.upper() if isinstance(n, str) else n, set()).add(n)
    faults = []
    for key, record in results["streams"].items():
        names = keys.get(key)
        if names is None:
            faults.append(f"stream {key!r} is in the results but not in the flowsheet")
        elif not names & sound:
            faults.append(f"stream {key!r} is in the results (F={record.get('F')!r}) but no feed reaches it "
                          f"through exported blocks: {why_unreached(fs, names)}")
    return faults


def why_unreached(fs, names):
    """How the streams `names` come to be out of the feeds' reach: below a loop that no
    feed enters, below a block that has no inlet, or below a stream that nothing makes."""
    blocks = exported_blocks(fs)

    def above(streams):
        found, frontier, inletless = set(), set(streams), False
        while frontier:
            s = frontier.pop()
            for _, _, ins, outs in blocks:
                if s in outs:
                    inletless = inletless or not ins
                    frontier |= set(ins) - found
                    found |= set(ins)
        return found, inletless

    upstream, inletless = above(names)
    if any(s in above([s])[0] for s in upstream | set(names)):
        return "below a loop that no feed enters"
    if inletless:
        return "below a block without inlet"
    return "below a stream that nothing makes"


def balance_faults(fs, results, rel=1e-5):
    """The component balances of the exported blocks whose streams are all in the results,
    to within `rel` of all feeds' flow; for results that DWSIM reported no error for."""
    comps = [c.upper() for c in fs.pp.components]
    total = sum(max(float(np.sum(f.flows)), 0.0) for f in fs.feeds.values())
    tol = rel * total + 1e-12
    streams = results["streams"]
    faults, checked = [], 0
    sound = sound_streams(fs)
    for name, kind, ins, outs in exported_blocks(fs):
        keys = [s.upper() for s in ins + outs]
        if not ins or not outs or any(k not in streams for k in keys) or not set(ins + outs) <= sound:
            continue
        checked += 1
        for c in comps:
            flow = lambda s: streams[s.upper()]["F"] * streams[s.upper()]["x"].get(c, 0.0)
            gap = sum(flow(s) for s in ins) - sum(flow(s) for s in outs)
            if not abs(gap) <= tol:
                faults.append(f"block {name!r} ({kind}): {c} in - out = {gap!r} kmol/s (tolerance {tol:.3g})")
    return faults, checked


def checkable(fs):
    """Whether the oracle can read the flowsheet as the host would: distinct text names
    whose upper case keys are distinct too, and feed flows that are finite numbers."""
    try:
        comps = list(fs.pp.components)
        if len({c.upper() for c in comps}) != len(comps):
            return False
        names = [n for pair in fs.ports.values() for side in pair for n in side if n] + list(fs.feeds)
        if not all(isinstance(n, str) for n in names) or len({n.upper() for n in set(names)}) != len(set(names)):
            return False
        return all(np.all(np.isfinite(np.asarray(f.flows, dtype=float))) for f in fs.feeds.values())
    except Exception:
        return False


# ---- what was raised ----------------------------------------------------------------------------

# Words that tell the user where an error is, when no name of the flowsheet appears.
PLACES = tuple(w + end for w in ("feed", "block", "stream", "component", "compound", "method", "package", "port",
                                  "inlet", "outlet", "path", "file", "reaction") for end in ("", "s")) + (
    "flows", "pp", "spec", ".dwxmz", ".dwxml", "DWSIM")


def flowsheet_names(fs):
    """The text names of a flowsheet's feeds, blocks and ports, as far as they can be read."""
    names = set()
    for part in ("feeds", "blocks", "ports"):
        try:
            names |= {n for n in getattr(fs, part) if isinstance(n, str) and n}
        except Exception:
            pass
    return names


def judge_exception(e, names=(), words=PLACES, placed=True):
    """Why an exception is no acceptable answer, or None: it must be an Exception (not a
    SystemError, which is the C API's own fault) with a message, and, where `placed`, its
    message or notes must say where: one of `names` or of `words`."""
    if not isinstance(e, Exception):
        return f"{type(e).__name__} is no Exception"
    if isinstance(e, SystemError):
        return f"SystemError: {e}"
    text = " ".join([str(e)] + [str(n) for n in getattr(e, "__notes__", [])])
    if not str(e).strip() and not getattr(e, "__notes__", None):
        return f"{type(e).__name__} without a message"
    said = lambda word: re.search(r"(?<![\w-])" + re.escape(word) + r"(?![\w-])", text)
    if not placed or any(said(n) for n in names) or any(said(w) for w in words):
        return None
    return f"{type(e).__name__} that names no place: {text[:300]!r}"


# ---- _pressures ---------------------------------------------------------------------------------

def pressure_faults(fs, P):
    """What is wrong with the pressures `P` of `fs`: each key a feed or a named outlet of a
    block at the ports, each value a number (numpy's too) or the feed's own value."""
    if type(P) is not dict:
        return [f"a {type(P).__name__}, not a dict"]
    outlets = set()
    for pair in fs.ports.values():
        try:        # the sweep reads the outlets of a block only once an inlet has a pressure
            outlets |= {s for s in list(pair)[1] if s}
        except (TypeError, IndexError):
            pass
    faults = []
    for name, p in P.items():
        own = name in fs.feeds and p is getattr(fs.feeds[name], "P", None)
        if name not in outlets and not own:
            faults.append(f"{name!r}: {p!r} is neither the feed's own pressure nor an outlet's")
        elif not own and not isinstance(p, (numbers.Real, np.generic, np.ndarray)):
            # Python's arithmetic on the host's values: a numpy feed pressure gives numpy outlets
            faults.append(f"{name!r}: {p!r} ({type(p).__name__}) is no number")
    return faults


def pressures_case(fg, desc):
    """One case through _pressures: ("result", None) or (exception type, why it is wrong or
    None); a fault of the result raises AssertionError."""
    fs = host_flowsheet(desc)
    try:
        P = fg._pressures(fs)
    except Exception as e:
        return type(e).__name__, judge_exception(e, placed=False)
    faults = pressure_faults(fs, P)
    assert not faults, "; ".join(faults)
    return "result", None


# ---- build, solve_dwsim and export, in a child process -----------------------------------------

RESULT_KEYS = {"streams", "blocks", "errors", "notes"}
STREAM_KEYS = {"T", "P", "F", "x", "VFRAC", "H"}


def result_faults(fs, r):
    """What is wrong with the results `r` of solve_dwsim: their shape, a stream that no feed
    reaches, and, where DWSIM reported no error, a balance that does not close. Also the
    number of balances checked."""
    if type(r) is not dict or set(r) != RESULT_KEYS:
        return [f"results of the wrong shape: {type(r).__name__} {sorted(r) if isinstance(r, dict) else ''}"], 0
    faults = [f"{part} is no list of text" for part in ("errors", "notes")
              if type(r[part]) is not list or not all(isinstance(x, str) for x in r[part])]
    for key, s in r["streams"].items():
        if type(s) is not dict or set(s) != STREAM_KEYS or not all(type(s[k]) is float for k in ("T", "P", "F", "VFRAC")):
            faults.append(f"stream {key!r}: a record of the wrong shape {s!r}")
    for key, b in r["blocks"].items():
        if type(b) is not dict or len(b) != 1 or not all(type(v) is float for v in b.values()):
            faults.append(f"block {key!r}: a record of the wrong shape {b!r}")
    if faults or not checkable(fs):
        return faults, 0
    faults += phantom_faults(fs, r)
    if r["errors"]:
        return faults, 0
    more, checked = balance_faults(fs, r)
    return faults + more, checked


def host_case(fg, desc, path):
    """One case through build, solve_dwsim and export, and its exported file through
    import_model: {step: "result" or the exception's type}, and what the checks found
    ("faults"), how many balances were checked and whether DWSIM solved without error."""
    fs = host_flowsheet(desc)
    out, faults = {"balances": 0, "clean": False}, []

    def attempt(step, call):
        try:
            value = call()
        except Exception as e:
            out[step] = type(e).__name__
            why = judge_exception(e, flowsheet_names(fs))
            if why:
                faults.append(f"{step}: {why}")
            return None
        out[step] = "result"
        return value

    built = attempt("build", lambda: fg.build(fs))
    if built is not None and (type(built) is not tuple or len(built) != 3 or type(built[2]) is not list):
        faults.append(f"build: {type(built).__name__} is no (sim, objects, notes)")
    r = attempt("solve", lambda: fg.solve_dwsim(fs))
    if r is not None:
        more, out["balances"] = result_faults(fs, r)
        faults += more
        out["clean"] = not r.get("errors")
    if os.path.exists(path):
        os.remove(path)
    notes = attempt("export", lambda: fg.export(fs, path))
    if notes is not None:
        if type(notes) is not list or not os.path.exists(path):
            faults.append(f"export: returned {notes!r}, wrote {os.path.exists(path)}")
        else:
            back = attempt("import", lambda: fg.import_model(path))
            if back is not None and (type(back) is not tuple or len(back) != 2 or type(back[0]) is not dict):
                faults.append(f"import of the exported file: {type(back).__name__} is no (model, notes)")
    out["faults"] = faults
    return out


def signature(fault):
    """A fault with its names and numbers blanked: faults of one kind share it."""
    return re.sub(r"'[^']*'|\"[^\"]*\"|-?\d[\d.e+-]*", "_", fault)[:200]


def run_batch(strategy, case, examples, seed, timeout, folder, derandomize):
    """Runs `case(desc)` on `examples` descriptions drawn from `strategy`, each under a
    time bound of `timeout` seconds: the description goes to folder/case.json first, and a
    case that overruns ends the process (faulthandler's watchdog needs no GIL, so a loop
    in C++ or .NET ends too). The first case whose checks fail is shrunk by hypothesis;
    the summary holds the smallest one found."""
    import faulthandler

    from hypothesis import HealthCheck, given, settings
    from hypothesis import seed as fixed_seed

    summary = {"cases": 0, "outcomes": {}, "clean": 0, "balances": 0, "findings": {}, "seed": seed}
    case_file = os.path.join(folder, "case.json")

    @settings(max_examples=examples, derandomize=derandomize, database=None, deadline=None, print_blob=False,
              suppress_health_check=list(HealthCheck))
    @given(strategy)
    def check(desc):
        with open(case_file, "w", encoding="ascii") as f:
            f.write(dumps(desc))
        faulthandler.dump_traceback_later(timeout, exit=True)
        try:
            out = case(desc)
        finally:
            faulthandler.cancel_dump_traceback_later()
        summary["cases"] += 1
        for step, what in out.items():
            if step in ("faults", "balances", "clean"):
                continue
            counts = summary["outcomes"].setdefault(step, {})
            counts[what] = counts.get(what, 0) + 1
        summary["clean"] += bool(out.get("clean"))
        summary["balances"] += out.get("balances", 0)
        for fault in out["faults"]:
            key = signature(fault)
            text = dumps(desc)
            seen = summary["findings"].get(key)
            if seen is None or len(text) < len(seen["case"]):
                summary["findings"][key] = {"fault": fault, "case": text, "count": (seen or {}).get("count", 0)}
            summary["findings"][key]["count"] += 1

    if not derandomize:
        check = fixed_seed(seed)(check)
    check()
    return summary


def host_batch(examples, seed, timeout, folder, derandomize=False):
    """`examples` odd flowsheets through the stand-in DWSIM (see `run_batch`)."""
    import kelvane.flowgate as fg
    path = os.path.join(folder, "case.dwxmz")
    return run_batch(flowsheets(), lambda desc: host_case(fg, desc, path), examples, seed, timeout, folder, derandomize)


def pressures_batch(examples, seed, timeout, folder, derandomize=False):
    """`examples` odd flowsheets through _pressures (see `run_batch`)."""
    import kelvane.flowgate as fg

    def case(desc):
        what, why = pressures_case(fg, desc)
        return {"pressures": what, "faults": [why] if why else []}
    return run_batch(flowsheets(), case, examples, seed, timeout, folder, derandomize)


def replay(kind, case_json, folder):
    """A stored case run once more, outside hypothesis: what `host_case` or
    `pressures_case` gives."""
    import kelvane.flowgate as fg
    desc = json.loads(case_json)
    if kind == "pressures":
        return list(pressures_case(fg, desc))
    return host_case(fg, desc, os.path.join(folder, "case.dwxmz"))


def batch_outcome(done, folder):
    """The summary of a finished batch; a batch whose child died or overran its time bound
    gives {"died": exit code, "stderr": its end, "case": the case it was on}."""
    lines = [line[7:] for line in done.stdout.splitlines() if line.startswith("RESULT ")]
    if done.returncode == 0 and len(lines) == 1:
        return json.loads(lines[0])
    case_file = os.path.join(folder, "case.json")
    case = open(case_file, encoding="ascii").read() if os.path.exists(case_file) else None
    return {"died": done.returncode, "stderr": done.stderr[-3000:], "case": case}


def describe(feeds=(), blocks=(), ports=(), components=("WATER",), method="IDEAL", **parts):
    """A case written by hand: feeds {name: attributes}, blocks {name: (kind, spec)}, ports
    {name: (ins, outs)}; `parts` replace any part of the description."""
    desc = {"pp": {"$ns": {"components": list(components), "method": method}},
            "feeds": {"$map": [[n, {"$ns": dict(f)}] for n, f in dict(feeds).items()]},
            "blocks": {"$map": [[n, {"$ns": {"kind": k, "spec": dict(sp)}}] for n, (k, sp) in dict(blocks).items()]},
            "ports": {"$map": [[n, [list(i), list(o)]] for n, (i, o) in dict(ports).items()]}, "meta": {}}
    desc.update(parts)
    return desc


def replay_each(kind, cases, folder):
    """{id: what `replay` gives} for the stored cases {id: case JSON}, in one process."""
    return {key: replay(kind, case, folder) for key, case in cases.items()}
