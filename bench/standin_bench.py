"""Stand-in DWSIM figures through pythonnet on Mono. Prints numbers; asserts nothing.

    .venv/bin/python bench/standin_bench.py [--before GIT-REF]

Each part runs in a fresh interpreter because Mono starts once per process. With
--before, the stand-in of that commit is built in a temporary folder and the cost of
AddObject/ConnectObjects is measured on both builds, interleaved, side by side.
"""
import argparse
import json
import os
import statistics
import subprocess
import sys
import tempfile
import textwrap

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
FOLDER = os.path.join(ROOT, "standin", "out", "dwsim")
REFS = ("DWSIM.Automation", "DWSIM.Interfaces", "DWSIM.GlobalSettings", "DWSIM.SharedClasses",
        "DWSIM.Thermodynamics", "DWSIM.UnitOperations", "DWSIM.Inspector", "DWSIM.MathOps", "System.Buffers")

STARTUP = """
import os, sys, time
t0 = time.perf_counter()
import pythonnet
pythonnet.load("mono")
import clr
t1 = time.perf_counter()
sys.path.append(FOLDER)
for n in {REFS!r}:
    p = os.path.join(FOLDER, n + ".dll")
    clr.AddReference(p if os.path.exists(p) else n)
t2 = time.perf_counter()
import System
old = System.Console.Out
System.Console.SetOut(System.IO.TextWriter.Null)
from DWSIM.Automation import Automation3
a = Automation3()
System.Console.SetOut(old)
from DWSIM.Interfaces.Enums.GraphicObjects import ObjectType
import DWSIM.UnitOperations
U = DWSIM.UnitOperations.UnitOperations
t3 = time.perf_counter()
""".replace("{REFS!r}", repr(REFS))

PARTS = {
    "startup": """
print(f"pythonnet.load('mono')          {1000*(t1-t0):8.1f} ms")
print(f"nine AddReference calls         {1000*(t2-t1):8.1f} ms")
print(f"Automation3() incl. imports     {1000*(t3-t2):8.1f} ms")
print(f"total                           {1000*(t3-t0):8.1f} ms")
""",
    "boundary": """
fs = a.CreateFlowsheet()
fs.AddCompound("Water")
fs.CreateAndAddPropertyPackage("Raoult's Law")
h = fs.AddObject(ObjectType.Heater, 0, 0, "").GetAsObject()
m = fs.AddObject(ObjectType.MaterialStream, 0, 0, "").GetAsObject()
def rate(fn, n=20000):
    t = time.perf_counter()
    for _ in range(n):
        fn()
    return n / (time.perf_counter() - t)
print(f"property read  (heater.OutletTemperature) {rate(lambda: h.OutletTemperature):10.0f} /s")
print(f"property set   (heater.OutletTemperature) {rate(lambda: setattr(h, 'OutletTemperature', 350.0)):10.0f} /s")
print(f"method call    (stream.GetTemperature())  {rate(lambda: m.GetTemperature()):10.0f} /s")
print(f"method call    (stream.SetPressure(x))    {rate(lambda: m.SetPressure(2e5)):10.0f} /s")
print(f"interface read (GraphicObject.Tag)        {rate(lambda: h.GraphicObject.Tag):10.0f} /s")
print(f"enum set       (heater.CalcMode)          {rate(lambda: setattr(h, 'CalcMode', U.Heater.CalculationMode.OutletTemperature)):10.0f} /s")
""",
    "solve200": """
# 40 trains of feed -> mixer -> heater (to a vapour fraction) -> vessel; the vessel's liquid is
# pumped and split, and half of it goes back to the mixer through a Recycle block:
# 200 units, 40 recycles
fs = a.CreateFlowsheet()
for c in ("Water", "Ethanol", "Methanol"):
    fs.AddCompound(c)
fs.CreateAndAddPropertyPackage("Peng-Robinson (PR)")
t_build = time.perf_counter()
def add(t):
    return fs.AddObject(getattr(ObjectType, t), 0, 0, "")
def link(x, y):
    fs.ConnectObjects(x.GraphicObject, y.GraphicObject, -1, -1)
recycles, feeds, products = [], [], []
for i in range(40):
    s = [add("MaterialStream") for _ in range(9)]
    mx, h, d, p, sp, r = add("Mixer"), add("Heater"), add("Vessel"), add("Pump"), add("Splitter"), add("OT_Recycle")
    link(s[0], mx); link(mx, s[1]); link(s[1], h); link(h, s[2]); link(s[2], d); link(d, s[3]); link(d, s[4])
    link(s[4], p); link(p, s[5]); link(s[5], sp); link(sp, s[6]); link(sp, s[7]); link(s[7], r); link(r, s[8]); link(s[8], mx)
    recycles.append(r.GetAsObject()); feeds.append(s[0]); products += [s[3], s[6]]
    f = s[0].__implementation__
    f.SetTemperature(300.0); f.SetPressure(300000.0); f.SetMolarFlow(10.0 + i)
    f.SetOverallComposition(System.Array[System.Double]([0.6, 0.3, 0.1]))
    hi = h.GetAsObject(); hi.CalcMode = U.Heater.CalculationMode.OutletVaporFraction; hi.OutletVaporFraction = 0.3 + i * 0.005
    pi = p.GetAsObject(); pi.CalcMode = U.Pump.CalculationMode.OutletPressure; pi.Pout = 400000.0
    sp.GetAsObject().Ratios[0] = 0.5
t_solve = time.perf_counter()
errs = a.CalculateFlowsheet4(fs)
t_end = time.perf_counter()
passes = max(r.IterationsTaken for r in recycles) + 1
errs2 = a.CalculateFlowsheet4(fs)
t_end2 = time.perf_counter()
fed = sum(m.__implementation__.GetMolarFlow() for m in feeds)
left = sum(m.__implementation__.GetMolarFlow() for m in products)
print(f"objects: {fs.SimulationObjects.Count} (200 units, 40 recycles), package Peng-Robinson (PR), errors: "
      f"{errs.Count} {[e.Message for e in errs][:1]}, converged {sum(r.Converged for r in recycles)}/40, "
      f"passes {passes}")
print(f"feed {fed:.6f} mol/s, products {left:.6f} mol/s (default tolerances: 0.01 kg/s per recycle)")
print(f"build through pythonnet          {1000*(t_solve-t_build):8.1f} ms")
print(f"CalculateFlowsheet4 (first)      {1000*(t_end-t_solve):8.1f} ms")
print(f"CalculateFlowsheet4 (second)     {1000*(t_end2-t_end):8.1f} ms (starts converged: one pass)")
""",
    "recycle": """
# a mixer/heater/splitter loop carrying 90 % back through a Recycle block: successive substitution
fs = a.CreateFlowsheet()
fs.AddCompound("Water"); fs.AddCompound("Methanol")
fs.CreateAndAddPropertyPackage("Raoult's Law")
def add(t):
    return fs.AddObject(getattr(ObjectType, t), 0, 0, "")
def link(x, y):
    fs.ConnectObjects(x.GraphicObject, y.GraphicObject, -1, -1)
f, m, hs, prod, ret, back = (add("MaterialStream") for _ in range(6))
mx, h, sp, r = add("Mixer"), add("Heater"), add("Splitter"), add("OT_Recycle")
link(f, mx); link(mx, m); link(m, h); link(h, hs); link(hs, sp); link(sp, prod); link(sp, ret); link(ret, r); link(r, back); link(back, mx)
fi = f.__implementation__; fi.SetTemperature(300.0); fi.SetPressure(2e5); fi.SetMolarFlow(5.0)
fi.SetOverallComposition(System.Array[System.Double]([0.5, 0.5]))
hi = h.GetAsObject(); hi.CalcMode = U.Heater.CalculationMode.OutletTemperature; hi.OutletTemperature = 320.0
sp.GetAsObject().Ratios[0] = 0.1
ri = r.GetAsObject(); ri.MaximumIterations = 1000
for label, tol in (("default tolerances", 0.01), ("VazaoMassica 1e-9 kg/s", 1e-9)):
    ri.ConvergenceParameters.VazaoMassica = tol
    t = time.perf_counter()
    errs = a.CalculateFlowsheet4(fs)
    print(f"recycle (90 % returned), {label:24s} {1000*(time.perf_counter()-t):8.1f} ms, errors {errs.Count}, "
          f"passes {ri.IterationsTaken + 1}, loop flow {m.__implementation__.GetMolarFlow():.6f} mol/s (exact 50)")
""",
}

# Marginal cost of AddObject and ConnectObjects (through pythonnet, with given tags, as the
# module builds) once the flowsheet holds 100, 1,000 and 5,000 objects: the median of 100
# calls each, timed one by one so that a garbage collection does not land on one size only.
SIZES = (100, 1000, 5000)
BUILD_COST = """
import statistics
fs = a.CreateFlowsheet()
fs.AddCompound("Water")
fs.CreateAndAddPropertyPackage("Raoult's Law")
n, out, last = 0, {}, None
def grow(k):
    global n, last
    adds, links = [], []
    for _ in range(k // 2):
        t0 = time.perf_counter()
        s = fs.AddObject(ObjectType.MaterialStream, 0, 0, f"S{n}")
        t1 = time.perf_counter()
        h = fs.AddObject(ObjectType.Heater, 0, 0, f"H{n}")
        t2 = time.perf_counter()
        fs.ConnectObjects(s.GraphicObject, h.GraphicObject, -1, -1)
        t3 = time.perf_counter()
        if last is not None:
            fs.ConnectObjects(last.GraphicObject, s.GraphicObject, -1, -1)
        t4 = time.perf_counter()
        adds += [t1 - t0, t2 - t1]
        links += [t3 - t2] + ([t4 - t3] if last is not None else [])
        last = h
        n += 2
    return adds, links
for size in SIZES:
    grow(size - n)
    adds, links = grow(100)
    out[size] = (1e6 * statistics.median(adds), 1e6 * statistics.median(links))
print("COST", json.dumps(out))
"""


def build_before(ref, where):
    """The stand-in of commit `ref`, built in `where`; its DWSIM folder."""
    root = subprocess.run(["git", "-C", ROOT, "rev-parse", "--show-toplevel"], capture_output=True, text=True, check=True).stdout.strip()
    archive = subprocess.run(["git", "-C", root, "archive", ref, "standin"], capture_output=True, check=True).stdout
    subprocess.run(["tar", "-x", "-C", where], input=archive, check=True)
    subprocess.run(["bash", os.path.join(where, "standin", "build.sh")], capture_output=True, check=True)
    return os.path.join(where, "standin", "out", "dwsim")


def run(python, folder, body):
    code = f"FOLDER = {folder!r}\nimport json\nSIZES = {SIZES!r}\n" + STARTUP + textwrap.dedent(body)
    return subprocess.run([python, "-c", code], capture_output=True, text=True,
                          env={**os.environ, "PYTHONWARNINGS": "ignore"})


def build_cost(python, before, repeats=3):
    """Interleaved runs on both builds; medians per size and the after/before ratios."""
    builds = {"before": before, "after": FOLDER}
    got = {k: [] for k in builds}
    for _ in range(repeats):
        for label, folder in builds.items():
            proc = run(python, folder, BUILD_COST)
            line = [x for x in proc.stdout.splitlines() if x.startswith("COST ")]
            if proc.returncode != 0 or not line:
                sys.stdout.write(proc.stderr[-3000:])
                return
            got[label].append({int(k): v for k, v in json.loads(line[0][5:]).items()})
    print(f"{'objects':>8} | {'AddObject us/call (median)':>28} | {'ConnectObjects us/call (median)':>31}")
    print(f"{'':>8} | {'before':>8} {'after':>8} {'ratio':>8} | {'':3}{'before':>8} {'after':>8} {'ratio':>8}")
    for size in SIZES:
        med = {k: [statistics.median(r[size][i] for r in got[k]) for i in (0, 1)] for k in builds}
        cells = [f"{med['before'][i]:8.1f} {med['after'][i]:8.1f} {med['after'][i] / med['before'][i]:8.2f}" for i in (0, 1)]
        print(f"{size:>8} | {cells[0]} | {'':3}{cells[1]}")
    for k in builds:
        for i, what in enumerate(("AddObject", "ConnectObjects")):
            first, last = (statistics.median(r[s][i] for r in got[k]) for s in (SIZES[0], SIZES[-1]))
            print(f"{k}: {what} at {SIZES[-1]} objects costs {last / first:.2f}x what it costs at {SIZES[0]}")


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--before", metavar="GIT-REF", help="also build this commit's stand-in and compare build costs")
    args = ap.parse_args()
    if not os.path.isdir(FOLDER):
        sys.exit(f"{FOLDER} missing: run standin/build.sh first")
    python = os.path.join(ROOT, ".venv", "bin", "python")
    python = python if os.path.exists(python) else sys.executable
    for name, body in PARTS.items():
        print(f"--- {name}")
        proc = run(python, FOLDER, body)
        sys.stdout.write(proc.stdout)
        if proc.returncode != 0:
            sys.stdout.write(proc.stderr[-3000:])
    if args.before:
        print(f"--- AddObject/ConnectObjects cost, {args.before} (before) against this tree (after), medians of 3 interleaved runs")
        with tempfile.TemporaryDirectory() as tmp:
            build_cost(python, build_before(args.before, tmp))


if __name__ == "__main__":
    main()
