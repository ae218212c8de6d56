"""The module's `build` on DWSIM as a list of recorded .NET accesses: the benchmark's
flowsheets, the roots through which a build reaches .NET, and the recording itself.

Shared by bench/against_python.py (today's module) and bench/baseline.py (an earlier
release, in a process of its own), so that both record the same flowsheets the same way.
Needs nothing of .NET to import; the functions that take roots run after pythonnet loaded.
"""
import sys
import types
from types import SimpleNamespace as NS

import numpy as np

import replay

KINDS8 = ["MIXER", "HEATER", "PUMP", "VALVE", "FSPLIT", "SEP", "FLASH2", "COMPR"]
COMPONENTS = ["WATER", "METHANOL", "ETHANOL"]
SIZES = (10, 100, 1000)
AUXILIARY = "DWSIM.UnitOperations.UnitOperations.Auxiliary"


def plant(n, method="IDEAL", nrtl=None):
    """n blocks in groups of eight kinds; in each whole group the splitter sends a share
    back to the group's mixer, a loop that the build cuts with a Recycle."""
    blocks, ports = {}, {}
    stream = "S0"
    for i in range(n):
        kind, g, name, out = KINDS8[i % 8], i // 8, f"B{i}", f"S{i + 1}"
        looped = g * 8 + 4 < n
        spec = {"MIXER": {}, "HEATER": {"T": 350.0, "dP": 1e3}, "PUMP": {"P": 5e5, "efficiency": 0.7},
                "VALVE": {"P": 2e5}, "FSPLIT": {"frac": [0.9]}, "SEP": {"split": {0: {0: 0.99, 2: 0.5}}},
                "FLASH2": {"T": 340.0}, "COMPR": {"P": 3e5, "efficiency": 0.75}}[kind]
        ins, outs = [stream], [out]
        if kind == "MIXER" and looped:
            ins = [stream, f"R{g}"]
        elif kind == "FSPLIT":
            outs = [out, f"R{g}"]
        elif kind == "SEP":
            outs = [out, f"P{i}"]
        elif kind == "FLASH2":
            outs = [f"P{i}", out]  # the liquid goes on
        blocks[name] = NS(kind=kind, spec=spec)
        ports[name] = (ins, outs)
        stream = out
    pp = NS(components=list(COMPONENTS), method=method)
    if nrtl is not None:
        pp.nrtl = nrtl
    return NS(pp=pp, meta={}, feeds={"S0": NS(T=300.0, P=2e5, flows=[0.01, 0.005, 0.002])}, blocks=blocks,
              ports=ports)


def net_sheet(n):
    """The flowsheet of the .NET rows: the plant with NRTL and binary parameters."""
    n_c = len(COMPONENTS)
    nrtl = np.zeros((6, n_c, n_c))
    nrtl[0], nrtl[1], nrtl[2] = 0.3 * (1 - np.eye(n_c)), 150.0 * (1 - np.eye(n_c)), 0.3
    return plant(n, method="NRTL", nrtl=nrtl)


def roots(flowgate):
    """(a, m, roots): the automation state of this process and every .NET object that a
    build starts from, System's and the separator's namespaces included (the module
    imports from them). Starts Mono on the first call."""
    a, m = flowgate.automation()
    import System
    aux = __import__(AUXILIARY, fromlist=["SeparationSpec"])
    return a, m, {"a": a, "ObjectType": m["ObjectType"], "U": m["U"], "Array": System.Array,
                  "Double": System.Double, "ComponentSeparationSpec": aux.ComponentSeparationSpec,
                  "SeparationSpec": aux.SeparationSpec}


def through(flowgate, fs):
    """A function of the proxies that runs build with every root seen through its proxy."""
    def run(r):
        swaps = {"System": types.ModuleType("System"), AUXILIARY: types.ModuleType(AUXILIARY)}
        swaps["System"].Array, swaps["System"].Double = r["Array"], r["Double"]
        swaps[AUXILIARY].ComponentSeparationSpec = r["ComponentSeparationSpec"]
        swaps[AUXILIARY].SeparationSpec = r["SeparationSpec"]
        saved = {k: sys.modules[k] for k in swaps}
        sys.modules.update(swaps)
        try:
            flowgate.build(fs, r["a"], {"ObjectType": r["ObjectType"], "U": r["U"]})
        finally:
            sys.modules.update(saved)
    return run


def record_build(flowgate, fs, roots):
    """The accesses of one build of `fs`, checked to be the same on a second build and to
    be exactly what their straight-line replay makes; (ops, compiled replay)."""
    ops = replay.record(through(flowgate, fs), roots)
    again = replay.record(through(flowgate, fs), roots)
    assert replay.comparable(ops) == replay.comparable(again), "build makes other calls on a second run"
    run = replay.compile_ops(ops, list(roots))
    replayed = replay.record(lambda r: run(*r.values()), roots)
    assert replay.comparable(replayed) == replay.comparable(ops), "the replay makes other calls"
    return ops, run


def describe(counts):
    return (f"{counts['total']} crossings/call ({counts['calls']} calls, {counts['reads']} reads, "
            f"{counts['writes']} writes, {counts['other']} other)")
