"""The module against plain Python doing the same work, side by side in one run.

Run: /work/main/.venv/bin/python bench/against_python.py [--quick] [--full]
     (KELVANE_DWSIM defaults to standin/out/dwsim; build it first with bash standin/build.sh)

Host-side rows call the module's function and its plain Python transcription in
bench/plain.py on the same inputs and the same fakes (tests/unit/dwsim_fakes.py, and
light .NET-like tables for the parameters). .NET rows run in a child process on the
stand-in DWSIM: the module's `build` is recorded through proxies, the recorded member
accesses are written out as one straight-line Python function, and the two are timed on
the real objects. Before any timing each row checks that both sides give equal results.

With bench/out/baseline-828d5e4.json (written by `bash bench/baseline.sh`, which builds
the first release's module and records its `build` on the same flowsheets) each size
gets a second .NET row: today's module against the replay of the first release's calls,
timed in the same rounds. That replay must run on today's stand-in and make the
flowsheet that the old module made; it is not today's flowsheet (no Recycle blocks, for
one), so the row times the old calls and is not a like-for-like result.

Timing: the sides take turns within each round (module first in even rounds, Python
first in odd ones; with three sides the first place moves on by one a round), each
sample is a batch of calls with the collector off, and a row shows min / median / max
per call of each side and the median over rounds of the ratio module/Python of that
round (below 1: the module is faster). Rows marked [mapping] feed
the module the inputs of its general lane (non-dict mappings, dict subclasses, numpy
scalars) instead of exact dicts and floats.

The host's flash is a one-line fake on both sides, so the solve rows time the reading of
results, not thermodynamics.
"""
import argparse
import gc
import json
import os
import statistics
import subprocess
import sys
import time
from collections import Counter, OrderedDict
from pathlib import Path
from types import MappingProxyType
from types import SimpleNamespace as NS

import numpy as np

ROOT = Path(__file__).resolve().parent.parent
sys.path[:0] = [str(ROOT / "bench"), str(ROOT / "tests"), str(ROOT / "tests" / "unit"), str(ROOT / "tests" / "standin")]
os.environ.setdefault("KELVANE_DWSIM", str(ROOT / "standin" / "out" / "dwsim"))

import plain  # noqa: E402
from build_calls import plant  # noqa: E402
from kelvane import flowgate  # noqa: E402


def _fingerprint():
    """The first hex digits of the module file's SHA-1, read right after the import: the
    module may be reinstalled while the benchmark runs, and each process says which one
    it timed."""
    import hashlib
    with open(flowgate.__file__, "rb") as f:
        return hashlib.sha1(f.read()).hexdigest()[:12]


MODULE = _fingerprint()


# ---- timing -------------------------------------------------------------------------------

def batch(fn, repeat, prepare=None):
    """A sample: seconds per call of `fn` over `repeat` calls, each on what `prepare()`
    gives (made outside the timed span)."""
    def sample():
        gc.collect()
        gc.disable()
        try:
            if prepare is None:
                t = time.perf_counter()
                for _ in range(repeat):
                    fn()
                return ((time.perf_counter() - t) / repeat,)
            spent = 0.0
            for _ in range(repeat):
                args = prepare()
                t = time.perf_counter()
                fn(*args)
                spent += time.perf_counter() - t
            return (spent / repeat,)
        finally:
            gc.enable()
    return sample


def rotate(sides, rounds):
    """Samples of each side, the one that goes first moving on by one each round."""
    samples = [[] for _ in sides]
    for r in range(rounds):
        for k in range(len(sides)):
            i = (r + k) % len(sides)
            samples[i].append(sides[i]())
    return samples


def interleave(module, python, rounds):
    """Samples of both sides, alternating which one goes first."""
    mod, py = rotate([module, python], rounds)
    return mod, py


def summary(label, mod, py, metric=0, note=""):
    m = [s[metric] for s in mod]
    p = [s[metric] for s in py]
    ratio = statistics.median(a / b for a, b in zip(m, p))
    return dict(label=label, module=[min(m), statistics.median(m), max(m)],
                python=[min(p), statistics.median(p), max(p)], ratio=ratio, rounds=len(m), note=note)


def unit_of(seconds):
    for scale, name in ((1.0, "s"), (1e-3, "ms"), (1e-6, "us")):
        if seconds >= scale:
            return scale, name
    return 1e-9, "ns"


def show(rows, heading):
    print(f"\n{heading}")
    width = max(len(r["label"]) for r in rows)
    print(f"{'':{width}}  {'module min / median / max':>27}  {'Python min / median / max':>27}  "
          f"{'mod/py':>6}  rounds  note")
    for r in rows:
        scale, name = unit_of(r["python"][1])
        cells = ["{:>27}".format(" / ".join(f"{v / scale:.3g}" for v in side) + f" {name}")
                 for side in (r["module"], r["python"])]
        print(f"{r['label']:{width}}  {cells[0]}  {cells[1]}  {r['ratio']:6.2f}  {r['rounds']:6d}  {r['note']}")
    sys.stdout.flush()


def progress(text):
    print(f"  .. {text}", file=sys.stderr, flush=True)


# ---- inputs -------------------------------------------------------------------------------

def chain(n, against_flow, mapping=False):
    """n valves in a row, each dropping 1 kPa; listed against the flow one block settles
    per sweep. With `mapping`: dict subclasses, read-only mapping specs, numpy pressures."""
    names = [f"B{i}" for i in range(n)]
    order = names[::-1] if against_flow else names
    if mapping:
        return NS(feeds=OrderedDict(S0=NS(P=np.float64(1e7))),
                  blocks=OrderedDict((b, NS(kind="VALVE", spec=MappingProxyType({"dP": np.float64(1e3)})))
                                     for b in order),
                  ports=OrderedDict((b, ([f"S{b[1:]}"], [f"S{int(b[1:]) + 1}"])) for b in order))
    return NS(feeds={"S0": NS(P=1e7)}, blocks={b: NS(kind="VALVE", spec={"dP": 1e3}) for b in order},
              ports={b: ([f"S{b[1:]}"], [f"S{int(b[1:]) + 1}"]) for b in order})


# The DWSIM compound database of the fakes, and the host's databank of any size: the
# first 2,000 synthetic entries share their CAS numbers with DWSIM, the rest do not.
DWSIM_DB = {"Water": "7732-18-5", "Methanol": "67-56-1", "Ethanol": " 64-17-5 ", "Benzene": "71-43-2",
            "Toluene": "108-88-3", **{f"Compound {i:04d}": f"{200000 + i}-00-0" for i in range(2000)}}
REAL = [{"alias": "WATER", "cas": "7732-18-5", "name": "water"},
        {"alias": "METHANOL", "cas": "67-56-1", "name": "methanol"},
        {"alias": "ETHANOL", "cas": "64-17-5", "name": "ethanol"},
        {"alias": "BENZENE", "cas": "", "name": "benzene"},          # no CAS number: by name
        {"alias": "TOLUENE", "cas": "999-99-9", "name": "Toluene"}]  # one DWSIM lacks: by name


def databank(size):
    synthetic = [{"alias": f"X{i:06d}", "cas": f"{200000 + i}-00-0" if i < 2000 else f"{900000 + i}-11-1",
                  "name": f"compound {i:04d}"} for i in range(size - len(REAL))]
    return REAL + synthetic


NAMED = ["WATER", "METHANOL", "ETHANOL", "BENZENE", "TOLUENE", "W2", "X000010", "X000500", "X001999",
         "COMPOUND 0007"]  # W2 is aliased to WATER; the last has no entry and is its own name


# ---- the host and DWSIM as fakes ----------------------------------------------------------

class Quiet:
    """The host's log, silent."""

    def warning(self, *args):
        pass

    info = error = warning


class Recorded:
    """The host's log, kept."""

    def __init__(self):
        self.lines = []

    def warning(self, *args):
        self.lines.append(("warning", *args))

    def error(self, *args):
        self.lines.append(("error", *args))

    def info(self, *args):
        self.lines.append(("info", *args))


HOST = NS(databank=REAL)


def quick_flash(pp, x, P, *, T):
    return {"T": T, "P": P, "H": 1000.0 * T + float(x[0])}


def install_fakes():
    import dwsim_fakes as fk
    sys.modules["System"] = fk.System
    sys.modules[fk.AUXILIARY] = fk.module(fk.AUXILIARY, SeparationSpec=fk.SeparationSpec,
                                          ComponentSeparationSpec=fk.ComponentSeparationSpec)
    sys.modules["kelvane.components"] = fk.module("kelvane.components", databank_index=lambda: HOST.databank)
    sys.modules["kelvane.thermodynamic"] = fk.module("kelvane.thermodynamic", flash=quick_flash)
    flowgate.log = Quiet()
    a = fk.Automation(DWSIM_DB)
    for c in a.AvailableCompounds.Values:  # molar masses of the synthetic compounds, which the Recycles' tolerances read
        c.Molar_Weight = 18.0 + len(c.Name)
    m = {"ObjectType": fk.ObjectType, "U": fk.U}
    flowgate._STATE.pop("cas", None)
    plain.STATE.clear()
    flowgate._STATE.update(a=a, m=m)
    return fk, a, m


def settle(fk, sim):
    """What a solve leaves: every stream with a state, every unit that has one a duty."""
    for o in sim.objects.values():
        if o.cls == "MaterialStream":
            s = o.set
            o.state.update(T=s.get("T", 320.0), P=s.get("P", 1.5e5), F=s.get("F", 10.0),
                           x=tuple(s.get("x", (0.5, 0.3, 0.2))), vf=0.25)
        elif "DeltaQ" in fk.CLASSES[o.cls][4]:
            o.DeltaQ = 12.5


# ---- .NET-like tables for the binary parameters -------------------------------------------

class Table:
    """A .NET Dictionary as the module sees it: Keys, ContainsKey, Add, item lookup."""
    __slots__ = ("d",)

    def __init__(self):
        self.d = {}

    @property
    def Keys(self):
        return self.d.keys()

    def ContainsKey(self, key):
        return key in self.d

    def Add(self, key, value):
        if key in self.d:
            raise KeyError(f"An item with the same key has already been added. Key: {key}")
        self.d[key] = value

    def __getitem__(self, key):
        return self.d[key]


class Inner(Table):
    __slots__ = ()


class NrtlRecord:
    def __init__(self):
        self.ID1 = self.ID2 = ""
        self.A12 = self.A21 = self.B12 = self.B21 = self.C12 = self.C21 = 0.0
        self.alpha12 = 0.3

    def Clone(self):
        c = NrtlRecord()
        c.__dict__.update(self.__dict__)
        return c


class PrRecord:
    def __init__(self):
        self.ID1 = self.ID2 = -1
        self.Name1 = self.Name2 = ""
        self.kij = 0.0


def dwsim_tables(n, method):
    """A package whose table holds the pairs of n compounds one way, the other, both or
    not at all, as DWSIM's tables do."""
    ip = Table()

    def put(a, b, record):
        if not ip.ContainsKey(a):
            ip.Add(a, Inner())
        ip[a].Add(b, record)

    record = NrtlRecord if method == "NRTL" else PrRecord
    names = [f"Compound {i:04d}" for i in range(n)]
    for i in range(n):
        for j in range(i + 1, n):
            way = (7 * i + 3 * j) % 5  # 0: none, 1 and 4: forward, 2: reversed, 3: both
            if way in (1, 3, 4):
                put(names[i], names[j], record())
            if way in (2, 3):
                put(names[j], names[i], record())
    if method == "NRTL":
        return NS(m_uni=NS(InteractionParameters=ip), AreModelParametersDirty=False)
    return NS(m_pr=NS(InteractionParameters=ip), AreModelParametersDirty=False)


def host_package(n, mapping=False):
    rng = np.random.default_rng(n)
    comps = [f"C{i}" for i in range(n)]
    nrtl = rng.uniform(-2.0, 2.0, (6, n, n))
    kij = rng.uniform(-0.05, 0.05, (2, n, n))
    for i in range(n):
        for j in range(n):
            if (i + j) % 4 == 0:        # pairs the host has nothing for
                nrtl[[0, 1, 5], i, j] = nrtl[[0, 1, 5], j, i] = 0.0
                kij[:, i, j] = 0.0
            if (i + 2 * j) % 10:        # most pairs lack the terms DWSIM cannot hold
                nrtl[[3, 4], i, j] = 0.0
                kij[1, i, j] = 0.0
    names = {c: f"Compound {i:04d}" for i, c in enumerate(comps)}
    if mapping:
        return NS(components=tuple(comps), nrtl=nrtl, kij=kij), MappingProxyType(names)
    return NS(components=comps, nrtl=nrtl, kij=kij), names


def table_dump(pp_dw):
    ip = (pp_dw.m_uni if hasattr(pp_dw, "m_uni") else pp_dw.m_pr).InteractionParameters
    return pp_dw.AreModelParametersDirty, {(k1, k2): (type(ip[k1]).__name__, vars(ip[k1][k2]))
                                           for k1 in ip.Keys for k2 in ip[k1].Keys}


# ---- host-side rows -----------------------------------------------------------------------

def rounds_for(quick, n):
    return 3 if quick else n


def pressures_rows(quick, full):
    rows = []
    for n, against, mapping in [(10, False, False), (10, True, False), (100, False, False), (100, True, False),
                                (1000, False, False), (1000, True, False), (1000, True, True),
                                (10000, False, False), (10000, True, False)]:
        if quick and n == 10000 and against:
            continue  # some 70 s even for one call of each side
        fs = chain(n, against, mapping)
        got, want = flowgate._pressures(fs), plain.pressures(fs)
        assert got == want and list(got) == list(want), f"_pressures differs at {n}"
        assert got[f"S{n}"] == 1e7 - n * 1e3 or (n == 10000 and against), "the chain did not settle"
        sweeps = (n + 1) if against else 2
        label = f"_pressures {n:>6,} {'against' if against else 'in order'}{' [mapping]' if mapping else ''}"
        if n == 10000 and against:
            # 30,003 sweeps (the limit) of 10,000 blocks would not settle either: both sides
            # get one call only, unless --full asks for three rounds.
            rounds, repeat = (3 if full else 1), 1
            note = f"{3 * (n + 1)} sweeps (limit), capped to {rounds} round(s)"
        else:
            work = n * sweeps
            repeat = max(1, 200_000 // work)
            rounds, note = rounds_for(quick, 9 if work < 1e6 else 5), f"{sweeps} sweeps"
        progress(label)
        mod, py = interleave(batch(lambda: flowgate._pressures(fs), repeat),
                             batch(lambda: plain.pressures(fs), repeat), rounds)
        rows.append(summary(label, mod, py, note=note))
    return rows


def compound_rows(quick, a):
    rows = []
    sim = a.CreateFlowsheet()
    aliases = {"W2": "WATER"}
    for size, mapping in ((20_000, False), (100_000, False), (20_000, True)):
        if mapping:
            HOST.databank = [MappingProxyType(e) for e in databank(size)]
            fs = NS(pp=NS(components=tuple(NAMED)), meta=MappingProxyType({"aliases": MappingProxyType(aliases)}))
        else:
            HOST.databank = databank(size)
            fs = NS(pp=NS(components=list(NAMED)), meta={"aliases": aliases})
        got, want = flowgate.compound_names(fs, sim), plain.compound_names(fs, sim)
        assert got == want and list(got) == list(want), "compound_names differs"
        assert got["BENZENE"] == "Benzene" and got["W2"] == "Water" and got["COMPOUND 0007"] == "Compound 0007"
        lacking = NS(pp=NS(components=NAMED + ["NOPE", "X900000"]), meta={})
        errors = []
        for f in (flowgate.compound_names, plain.compound_names):
            try:
                f(lacking, sim)
            except ValueError as e:
                errors.append(str(e))
        assert len(errors) == 2 and errors[0] == errors[1], errors
        label = f"compound_names {size:>7,} entries{' [mapping]' if mapping else ''}"
        progress(label)
        repeat = max(1, 2_000_000 // size)
        mod, py = interleave(batch(lambda: flowgate.compound_names(fs, sim), repeat),
                             batch(lambda: plain.compound_names(fs, sim), repeat), rounds_for(quick, 9))
        rows.append(summary(label, mod, py, note=f"{len(NAMED)} components, CAS index cached"))
    HOST.databank = REAL
    return rows


def parameter_rows(quick):
    rows = []
    for method, n, mapping in [("NRTL", 10, False), ("NRTL", 30, False), ("NRTL", 100, False), ("NRTL", 30, True),
                               ("PENG-ROB", 10, False), ("PENG-ROB", 30, False), ("PENG-ROB", 100, False)]:
        pp, names = host_package(n, mapping)
        logs = []
        dumps = []
        for side in ("module", "python"):
            log = Recorded()
            pp_dw = dwsim_tables(n, method)
            if side == "module":
                flowgate.log = log
                flowgate._set_parameters(pp_dw, pp, names, method)
                flowgate.log = Quiet()
            else:
                plain.set_parameters(pp_dw, pp, names, method, log)
            logs.append(log.lines)
            dumps.append(table_dump(pp_dw))
        assert dumps[0] == dumps[1], f"_set_parameters {method} {n}: the tables differ"
        assert logs[0] == logs[1], f"_set_parameters {method} {n}: the warnings differ"
        made = len(dumps[0][1]) - len(table_dump(dwsim_tables(n, method))[1])
        label = f"_set_parameters {method:8} {n:>3} comps{' [mapping]' if mapping else ''}"
        progress(label)
        repeat = max(1, 3000 // (n * n))
        quiet = Quiet()
        mod, py = interleave(
            batch(lambda t: flowgate._set_parameters(t, pp, names, method), repeat, lambda: (dwsim_tables(n, method),)),
            batch(lambda t: plain.set_parameters(t, pp, names, method, quiet), repeat,
                  lambda: (dwsim_tables(n, method),)),
            rounds_for(quick, 9))
        rows.append(summary(label, mod, py, note=f"{n * (n - 1) // 2} pairs, {made} records made, "
                                                f"{len(logs[0])} warnings"))
    return rows


def import_rows(quick, fk, a, m):
    rows = []
    for n in (10, 100, 1000):
        sim, _, _ = flowgate.build(plant(n), a, m)
        settle(fk, sim)
        path = f"/tmp/bench-import-{n}.dwxmz"
        a.files[path] = sim
        got, want = flowgate.import_model(path), plain.import_model(path, a)
        assert got == want, f"import_model differs at {n}"
        model = got[0]
        assert len(model["blocks"]) == n, (len(model["blocks"]), n)
        label = f"import_model {n:>5,} blocks"
        progress(label)
        repeat = max(1, 200 // n)
        mod, py = interleave(batch(lambda: flowgate.import_model(path), repeat),
                             batch(lambda: plain.import_model(path, a), repeat),
                             rounds_for(quick, 7 if n < 1000 else 5))
        rows.append(summary(label, mod, py, note=f"{sim.SimulationObjects.Count} DWSIM objects"))
    return rows


def solve_rows(quick, fk, a, m):
    rows = []
    stamp = [0.0]

    def solver(sim):
        settle(fk, sim)
        stamp[0] = time.perf_counter()
        return [NS(Message="REC-R0: not converged after 500 passes")]

    a.solver = solver
    quiet = Quiet()

    def module_call(fs):
        def sample():
            gc.collect()
            gc.disable()
            try:
                t = time.perf_counter()
                flowgate.solve_dwsim(fs)
                end = time.perf_counter()
                return end - stamp[0], end - t
            finally:
                gc.enable()
        return sample

    def python_call(fs):
        def sample():
            gc.collect()
            gc.disable()
            try:
                t = time.perf_counter()
                plain.solve_dwsim(fs, a, m, flowgate.build, quick_flash, quiet)
                end = time.perf_counter()
                return end - stamp[0], end - t
            finally:
                gc.enable()
        return sample

    for n in (10, 100, 1000):
        fs = plant(n)
        got = flowgate.solve_dwsim(fs)
        want = plain.solve_dwsim(fs, a, m, flowgate.build, quick_flash, quiet)
        assert got == want, f"solve_dwsim differs at {n}"
        assert len(got["streams"]) > n and got["errors"], "no results read"
        label = f"solve_dwsim {n:>5,} blocks"
        progress(label)
        mod, py = interleave(module_call(fs), python_call(fs), rounds_for(quick, 9 if n < 1000 else 5))
        rows.append(summary(label + ": assembly", mod, py, metric=0,
                            note=f"{len(got['streams'])} streams, {len(got['blocks'])} duties read"))
        rows.append(summary(label + ": whole call", mod, py, metric=1, note="the module's build in both"))
    return rows


def host_part(quick, full):
    fk, a, m = install_fakes()
    rows = []
    rows += pressures_rows(quick, full)
    rows += compound_rows(quick, a)
    rows += parameter_rows(quick)
    rows += import_rows(quick, fk, a, m)
    rows += solve_rows(quick, fk, a, m)
    return rows


# ---- .NET rows (in a child process: one Mono runtime per process) -------------------------

BASELINE = ROOT / "bench" / "out" / "baseline-828d5e4.json"


def classes(flowsheet):
    return Counter(o["class"] for o in flowsheet["objects"])


def unlike(today, then):
    """What today's flowsheet has more or less of than the one of the old calls."""
    a, b = classes(today), classes(then)
    diff = [f"{a[k] - b[k]:+d} {k}" for k in sorted(a.keys() | b.keys()) if a[k] != b[k]]
    return f"{sum(b.values())} objects against today's {sum(a.values())}" + (f" ({', '.join(diff)})" if diff else "")


def net_part(quick, baseline=None):
    """Today's build against the replay of its own calls and, with `baseline` (written by
    bench/baseline.sh), against the replay of the calls that an earlier release made on the
    same flowsheet; the sides of a size take turns in the same rounds."""
    import replay
    from build_calls import SIZES, describe, net_sheet, record_build, roots as net_roots
    from snapshot import snapshot

    a, m, roots = net_roots(flowgate)  # starts Mono
    values = list(roots.values())
    then = None
    if baseline is not None:
        with open(baseline) as f:
            then = json.load(f)
        assert then["roots"] == list(roots), (then["roots"], list(roots))
    rows = []
    for n in SIZES:
        fs = net_sheet(n)
        flowgate.build(fs, a, m)  # the CAS index is made here, once per process
        ops, run = record_build(flowgate, fs, roots)
        sim, _, notes = flowgate.build(fs, a, m)
        assert not any("not transferred" in note for note in notes), notes
        made = replay.normal(snapshot(sim))
        assert replay.normal(snapshot(run(*values))) == made, f"build and its replay give other flowsheets at {n}"
        counts = replay.crossings(ops)
        sides = [batch(lambda: flowgate.build(fs, a, m), 1), batch(lambda: run(*values), 1)]
        old = then["sizes"].get(str(n), {}) if then else {}
        if "ops" in old:
            old_run = replay.compile_ops(old["ops"], list(roots))
            old_counts = replay.crossings(old["ops"])
            assert old_counts == old["crossings"]
            # The old calls run without error on today's stand-in and make here what the old
            # module made in its own process.
            got = json.loads(json.dumps(replay.normal(snapshot(old_run(*values)))))
            assert got == old["flowsheet"], f"the replay of {then['rev']} makes another flowsheet at {n}"
            sides.append(batch(lambda: old_run(*values), 1))
        elif "error" in old:
            progress(f"{n} blocks: no row for {then['rev']}, whose build failed: {old['error']}")
        label = f"build {n:>5,} blocks (.NET)"
        progress(label)
        samples = rotate(sides, rounds_for(quick, {10: 15, 100: 9, 1000: 5}[n]))
        rows.append(summary(label, samples[0], samples[1], note=f"replay of today's calls: {describe(counts)}"))
        if len(samples) > 2:
            rows.append(summary(
                f"{label} vs {then['rev']}", samples[0], samples[2],
                note=f"replay of {then['rev']}'s calls: {describe(old_counts)}, today's "
                     f"{counts['total']}; a timing of the old calls, not a like-for-like result: "
                     f"{unlike(made, old['flowsheet'])}"))
    return rows


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--quick", action="store_true",
                        help="three rounds a row, without 10,000 blocks against the flow")
    parser.add_argument("--full", action="store_true", help="three rounds of 10,000 blocks against the flow too")
    parser.add_argument("--part", choices=("all", "host", "net"), default="all")
    parser.add_argument("--baseline", type=Path, default=None,
                        help="the calls of an earlier release, written by bench/baseline.sh, replayed in an extra "
                             f".NET row per size (default: {BASELINE.relative_to(ROOT)} when it exists)")
    parser.add_argument("--no-baseline", action="store_true", help="no rows for an earlier release")
    parser.add_argument("--json", action="store_true", help=argparse.SUPPRESS)
    args = parser.parse_args()
    baseline = args.baseline
    if args.no_baseline:
        baseline = None
    elif baseline is None and BASELINE.exists():
        baseline = BASELINE
    elif baseline is not None and not baseline.exists():
        parser.error(f"no baseline at {baseline}: bash bench/baseline.sh writes it")
    heading = ".NET paths on the stand-in DWSIM: the module's build against a straight-line replay of its calls"
    if baseline is not None:
        with open(baseline) as f:
            then = json.load(f)
        heading += (f"\n(rows 'vs {then['rev']}': the Python side replays the calls of the build of {then['rev']}, "
                    f"module sha1 {then['module']['sha1'][:12]}..., recorded by bench/baseline.sh)")
        del then
    if args.part == "net":
        rows = net_part(args.quick, baseline)
        if args.json:
            print("ROWS " + json.dumps({"module": MODULE, "rows": rows}))
        else:
            print(f"module: {flowgate.__file__} (sha1 {MODULE}...)")
            show(rows, heading)
        return
    print(f"module: {flowgate.__file__} (sha1 {MODULE}...)")
    if args.part in ("all", "host"):
        show(host_part(args.quick, args.full), "Host-side work on fakes (same inputs on both sides)")
    if args.part == "all":
        cmd = [sys.executable, __file__, "--part", "net", "--json"] + (["--quick"] if args.quick else [])
        cmd += ["--baseline", str(baseline)] if baseline is not None else ["--no-baseline"]
        done = subprocess.run(cmd, stdout=subprocess.PIPE, text=True)
        lines = [line[5:] for line in done.stdout.splitlines() if line.startswith("ROWS ")]
        if done.returncode != 0 or not lines:
            sys.exit(f"the .NET part failed (exit {done.returncode})")
        net = json.loads(lines[0])
        if net["module"] != MODULE:
            heading += f"\n(another module: sha1 {net['module']}..., reinstalled while this ran)"
        show(net["rows"], heading)
        if _fingerprint() != MODULE:
            print(f"\nThe module file changed while this ran (now sha1 {_fingerprint()}...): rerun for one set.")


if __name__ == "__main__":
    main()
