"""The export road against the DWSIM of KELVANE_DWSIM (the stand-in by default).

Run: KELVANE_DWSIM=standin/out/dwsim .venv/bin/python bench/export_bench.py
         [--before REF-OR-DIR [--after REF-OR-DIR] [--rounds N]]
Prints figures only:
- build of 10, 100 and 1,000 blocks with a loop in every eight, split into time
  inside .NET calls and the module's own work;
- compound_names against a databank of 20,000 entries;
- resident memory and host reference counts over 1,000 solve_dwsim calls.
With --before, the same builds are timed with the module of another commit (a
git ref, built here into a temporary folder with pip --target, or a folder
that already holds such a build) against the installed module (or --after),
each in fresh interpreters taking turns; medians of the rounds and the
after/before ratios are printed.
"""
import argparse
import json
import operator
import os
import statistics
import subprocess
import sys
import tempfile
import time
import types
from pathlib import Path
from types import SimpleNamespace as NS

ROOT = Path(__file__).resolve().parent.parent
os.environ.setdefault("KELVANE_DWSIM", str(ROOT / "standin" / "out" / "dwsim"))

import kelvane.components  # noqa: E402
from kelvane import flowgate  # noqa: E402

COMPONENTS = ["WATER", "METHANOL", "ETHANOL"]
KINDS = ["MIXER", "HEATER", "PUMP", "VALVE", "FSPLIT", "SEP", "FLASH2", "COMPR"]
SIZES = (10, 100, 1000)
REPEAT = {10: 50, 100: 10, 1000: 3}


def chain(n):
    """n blocks in a row, kinds in turn; side outlets leave as products, except
    the splitter's, which goes back to the mixer four blocks before it: a loop
    in every eight blocks (the last group closes one only if it reaches its
    splitter)."""
    blocks, ports = {}, {}
    stream, pressure = "S0", 2e5
    for i in range(n):
        kind, name, out = KINDS[i % len(KINDS)], f"B{i}", f"S{i + 1}"
        spec = {"HEATER": {"T": 350.0, "dP": 1e3}, "PUMP": {"P": pressure + 3e5, "efficiency": 0.7},
                "VALVE": {"P": pressure}, "FSPLIT": {"frac": [0.9]}, "SEP": {"split": {0: {0: 0.99}}},
                "FLASH2": {"T": 340.0}, "COMPR": {"P": pressure + 1e5, "efficiency": 0.75}, "MIXER": {}}[kind]
        outs = [out, f"P{i}"] if kind in ("FSPLIT", "SEP", "FLASH2") else [out]
        if kind == "FLASH2":
            outs = [f"P{i}", out]  # the liquid goes on
        ins = [stream]
        if kind == "MIXER" and i + 4 < n:
            ins.append(f"P{i + 4}")  # the splitter's side outlet comes back here
        blocks[name] = NS(kind=kind, spec=spec)
        ports[name] = (ins, outs)
        stream = out
    return NS(pp=NS(components=COMPONENTS, method="IDEAL"), meta={},
              feeds={"S0": NS(T=300.0, P=2e5, flows=[0.01, 0.005, 0.002])}, blocks=blocks, ports=ports)


def loops(fs):
    return sum(len(ins) > 1 for ins, _ in fs.ports.values())


# -- time inside .NET: every DWSIM object the module touches is seen through a
# proxy that adds up the time of the real member access or call. The cost of
# the timing itself is measured on a plain Python object and taken off.
NET = [0.0, 0]  # seconds, timed operations
PLAIN = (type(None), bool, int, float, str)


def wrap(v):
    return v if isinstance(v, PLAIN) or isinstance(v, Timed) else Timed(v)


def unwrap(v):
    if isinstance(v, Timed):
        return object.__getattribute__(v, "_o")
    if isinstance(v, list):
        return [unwrap(x) for x in v]
    return v


def timed(fn, *args):
    t = time.perf_counter()
    try:
        return fn(*args)
    finally:
        NET[0] += time.perf_counter() - t
        NET[1] += 1


class Timed:
    __slots__ = ("_o",)

    def __init__(self, o):
        object.__setattr__(self, "_o", o)

    def __getattr__(self, name):
        return wrap(timed(getattr, unwrap(self), name))

    def __setattr__(self, name, value):
        timed(setattr, unwrap(self), name, unwrap(value))

    def __call__(self, *args):
        return wrap(timed(unwrap(self), *[unwrap(a) for a in args]))

    def __getitem__(self, key):
        return wrap(timed(operator.getitem, unwrap(self), unwrap(key)))

    def __iter__(self):
        return iter([wrap(x) for x in timed(list, unwrap(self))])

    def __float__(self):
        return timed(float, unwrap(self))

    def __int__(self):
        return timed(int, unwrap(self))

    def __index__(self):
        return timed(int, unwrap(self))

    def __bool__(self):
        return timed(bool, unwrap(self))

    def __str__(self):
        return timed(str, unwrap(self))


def timing_cost():
    """Seconds that one timed operation adds, measured on a Python attribute."""
    plain = Timed(NS(x=1.0))
    NET[:] = [0.0, 0]
    for _ in range(100_000):
        plain.x
    return NET[0] / NET[1]


def proxied_modules(m):
    """The automation modules, and System and the separator's namespace in
    sys.modules, seen through proxies for the time of a build."""
    import System
    import DWSIM.UnitOperations.UnitOperations.Auxiliary as aux
    fake_system = types.ModuleType("System")
    fake_system.Array, fake_system.Double = Timed(System.Array), System.Double
    fake_aux = types.ModuleType(aux.__name__)
    fake_aux.ComponentSeparationSpec = Timed(aux.ComponentSeparationSpec)
    fake_aux.SeparationSpec = Timed(aux.SeparationSpec)
    swaps = {"System": fake_system, aux.__name__: fake_aux}
    return {k: Timed(v) if k in ("ObjectType", "U") else v for k, v in m.items()}, swaps


def build_split(a, m):
    cost = timing_cost()
    for n in SIZES:
        fs = chain(n)
        repeat = REPEAT[n]
        plain = []
        for _ in range(repeat):
            t = time.perf_counter()
            flowgate.build(fs, a, m)
            plain.append(time.perf_counter() - t)
        pm, swaps = proxied_modules(m)
        saved = {k: sys.modules[k] for k in swaps}
        sys.modules.update(swaps)
        net = []
        try:
            for _ in range(repeat):
                NET[:] = [0.0, 0]
                flowgate.build(fs, Timed(a), pm)
                net.append(NET[0] - NET[1] * cost)
        finally:
            sys.modules.update(saved)
        total, inside = min(plain), min(net)
        print(f"build {n:5d} blocks ({loops(fs):3d} loops): {total * 1e3:9.1f} ms total, {inside * 1e3:9.1f} ms "
              f"inside .NET, {(total - inside) * 1e3:8.1f} ms own work ({(total - inside) / total:.0%})")


def compound_names_20k(a):
    real = kelvane.components.databank_index()
    synthetic = [{"alias": f"X{i:05d}", "cas": f"{100000 + i}-00-0", "name": f"compound {i}"}
                 for i in range(20_000 - len(real))]
    big = real + synthetic
    original = kelvane.components.databank_index
    kelvane.components.databank_index = lambda: big
    try:
        sim = a.CreateFlowsheet()
        fs = NS(pp=NS(components=COMPONENTS + ["BENZENE", "TOLUENE"]), meta={"aliases": {}})
        flowgate.compound_names(fs, sim)  # the CAS index is built here, once per process
        repeat = 50
        t = time.perf_counter()
        for _ in range(repeat):
            names = flowgate.compound_names(fs, sim)
        per_call = (time.perf_counter() - t) / repeat
    finally:
        kelvane.components.databank_index = original
    print(f"compound_names, {len(big)}-entry databank, {len(names)} components: {per_call * 1e3:.2f} ms per call")


def rss_kib():
    with open("/proc/self/status") as status:
        return next(int(line.split()[1]) for line in status if line.startswith("VmRSS:"))


def solve_memory(calls=1000):
    fs = chain(8)
    host = [fs, fs.pp, fs.meta, fs.feeds, fs.blocks, fs.ports, fs.pp.components, *fs.feeds.values(),
            *fs.blocks.values(), *(b.spec for b in fs.blocks.values()), *fs.ports.values()]
    for _ in range(50):
        flowgate.solve_dwsim(fs)
    rss0, refs0 = rss_kib(), [sys.getrefcount(o) for o in host]
    t = time.perf_counter()
    for i in range(calls):
        flowgate.solve_dwsim(fs)
        if i == calls // 2 - 1:
            rss_half = rss_kib()
    elapsed = time.perf_counter() - t
    refs = [sys.getrefcount(o) for o in host]
    print(f"{calls} solve_dwsim calls (8 blocks): RSS {rss0} -> {rss_half} (half) -> {rss_kib()} KiB, "
          f"host refcount growth {sum(refs) - sum(refs0)}, {elapsed / calls * 1e3:.1f} ms per call")


# -- before and after: the builds timed in fresh interpreters, one module each


def build_times():
    """Per size, the median of its builds (s), and the module file timed; printed as one JSON line."""
    a, m = flowgate.automation()
    out = {}
    for n in SIZES:
        fs = chain(n)
        flowgate.build(fs, a, m)  # once untimed: the first build of a size pays for JIT and caches
        times = []
        for _ in range(REPEAT[n]):
            t = time.perf_counter()
            flowgate.build(fs, a, m)
            times.append(time.perf_counter() - t)
        out[n] = statistics.median(times)
    print("TIMES " + json.dumps({"module": flowgate.__file__, "times": out}))


from versions import module_site  # noqa: E402


def timed_builds(site):
    env = dict(os.environ, PYTHONWARNINGS="ignore")
    if site:
        env["PYTHONPATH"] = os.pathsep.join([site] + [p for p in [env.get("PYTHONPATH")] if p])
    proc = subprocess.run([sys.executable, __file__, "--part", "builds"], capture_output=True, text=True, env=env)
    line = [x for x in proc.stdout.splitlines() if x.startswith("TIMES ")]
    if proc.returncode != 0 or not line:
        sys.exit(f"timed builds failed:\n{proc.stderr[-3000:]}")
    got = json.loads(line[0][6:])
    return got["module"], {int(k): v for k, v in got["times"].items()}


def compare(before, after, rounds):
    sites = {"before": before, "after": after}
    got = {k: [] for k in sites}
    modules = {}
    for r in range(rounds):
        for label in (("before", "after") if r % 2 == 0 else ("after", "before")):
            modules[label], times = timed_builds(sites[label])
            got[label].append(times)
    for label in sites:
        print(f"{label}: {modules[label]}")
    print(f"{'blocks':>7} {'loops':>6} | {'before ms':>10} {'after ms':>10} {'after/before':>13}"
          f"   (medians of {rounds} interleaved runs, each the median of its builds)")
    for n in SIZES:
        med = {k: statistics.median(t[n] for t in got[k]) * 1e3 for k in sites}
        ratio = med["after"] / med["before"]
        print(f"{n:7d} {loops(chain(n)):6d} | {med['before']:10.2f} {med['after']:10.2f} {ratio:13.2f}")


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--part", choices=["builds"], help=argparse.SUPPRESS)
    ap.add_argument("--before", metavar="REF-OR-DIR", help="time the builds with this module as well")
    ap.add_argument("--after", metavar="REF-OR-DIR", help="the module to compare with (default: the installed one)")
    ap.add_argument("--rounds", type=int, default=5)
    args = ap.parse_args()
    if args.part == "builds":
        return build_times()
    a, m = flowgate.automation()
    print(f"module: {flowgate.__file__}")
    build_split(a, m)
    compound_names_20k(a)
    solve_memory()
    if args.before:
        with tempfile.TemporaryDirectory() as tmp:
            before = module_site(args.before, os.path.join(tmp, "before"))
            after = module_site(args.after, os.path.join(tmp, "after")) if args.after else None
            print(f"--- builds, {args.before} (before) against {args.after or 'the installed module'} (after)")
            compare(before, after, args.rounds)


if __name__ == "__main__":
    main()
