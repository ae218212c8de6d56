"""Stand-in DWSIM figures through pythonnet on Mono. Prints numbers; asserts nothing.

    .venv/bin/python bench/standin_bench.py

Each part runs in a fresh interpreter because Mono starts once per process.
"""
import os
import subprocess
import sys
import textwrap

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
FOLDER = os.path.join(ROOT, "standin", "out", "dwsim")
REFS = ("DWSIM.Automation", "DWSIM.Interfaces", "DWSIM.GlobalSettings", "DWSIM.SharedClasses",
        "DWSIM.Thermodynamics", "DWSIM.UnitOperations", "DWSIM.Inspector", "DWSIM.MathOps", "System.Buffers")

STARTUP = f"""
import os, sys, time
t0 = time.perf_counter()
import pythonnet
pythonnet.load("mono")
import clr
t1 = time.perf_counter()
sys.path.append({FOLDER!r})
for n in {REFS!r}:
    p = os.path.join({FOLDER!r}, n + ".dll")
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
"""

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
# 50 parallel trains of feed -> pump -> heater -> valve -> vessel: 200 units, 300 streams
fs = a.CreateFlowsheet()
for c in ("Water", "Ethanol", "Methanol"):
    fs.AddCompound(c)
fs.CreateAndAddPropertyPackage("NRTL")
t_build = time.perf_counter()
def add(t):
    return fs.AddObject(getattr(ObjectType, t), 0, 0, "")
def link(x, y):
    fs.ConnectObjects(x.GraphicObject, y.GraphicObject, -1, -1)
for i in range(50):
    s = [add("MaterialStream") for _ in range(6)]
    p, h, v, d = add("Pump"), add("Heater"), add("Valve"), add("Vessel")
    link(s[0], p); link(p, s[1]); link(s[1], h); link(h, s[2]); link(s[2], v); link(v, s[3])
    link(s[3], d); link(d, s[4]); link(d, s[5])
    f = s[0].__implementation__
    f.SetTemperature(300.0); f.SetPressure(101325.0); f.SetMolarFlow(10.0 + i)
    f.SetOverallComposition(System.Array[System.Double]([0.6, 0.3, 0.1]))
    pi = p.GetAsObject(); pi.CalcMode = U.Pump.CalculationMode.OutletPressure; pi.Pout = 500000.0
    hi = h.GetAsObject(); hi.CalcMode = U.Heater.CalculationMode.OutletTemperature; hi.OutletTemperature = 380.0 + i * 0.5
    vi = v.GetAsObject(); vi.CalcMode = U.Valve.CalculationMode.OutletPressure; vi.OutletPressure = 101325.0
t_solve = time.perf_counter()
errs = a.CalculateFlowsheet4(fs)
t_end = time.perf_counter()
errs2 = a.CalculateFlowsheet4(fs)
t_end2 = time.perf_counter()
streams = [o.GetAsObject() for o in fs.SimulationObjects.Values if o.GetAsObject().GetType().Name == "MaterialStream"]
done = sum(1 for m in streams if m.Calculated)
fed = sum(m.GetMolarFlow() for m in streams if not m.GraphicObject.InputConnectors[0].IsAttached)
left = sum(m.GetMolarFlow() for m in streams if not m.GraphicObject.OutputConnectors[0].IsAttached)
print(f"objects: {fs.SimulationObjects.Count} (200 units), errors: {errs.Count}, "
      f"streams calculated: {done}/{len(streams)}, feed {fed:.6f} mol/s, products {left:.6f} mol/s")
print(f"build through pythonnet          {1000*(t_solve-t_build):8.1f} ms")
print(f"CalculateFlowsheet4 (first)      {1000*(t_end-t_solve):8.1f} ms")
print(f"CalculateFlowsheet4 (second)     {1000*(t_end2-t_end):8.1f} ms")
""",
    "recycle": """
# a mixer/heater/splitter loop carrying 90 % back: successive substitution
fs = a.CreateFlowsheet()
fs.AddCompound("Water"); fs.AddCompound("Methanol")
fs.CreateAndAddPropertyPackage("Raoult's Law")
def add(t):
    return fs.AddObject(getattr(ObjectType, t), 0, 0, "")
def link(x, y):
    fs.ConnectObjects(x.GraphicObject, y.GraphicObject, -1, -1)
f, m, hs, prod, rec = (add("MaterialStream") for _ in range(5))
mx, h, sp = add("Mixer"), add("Heater"), add("Splitter")
link(f, mx); link(mx, m); link(m, h); link(h, hs); link(hs, sp); link(sp, prod); link(sp, rec); link(rec, mx)
fi = f.__implementation__; fi.SetTemperature(300.0); fi.SetPressure(2e5); fi.SetMolarFlow(5.0)
fi.SetOverallComposition(System.Array[System.Double]([0.5, 0.5]))
hi = h.GetAsObject(); hi.CalcMode = U.Heater.CalculationMode.OutletTemperature; hi.OutletTemperature = 320.0
sp.GetAsObject().Ratios[0] = 0.1
t = time.perf_counter()
errs = a.CalculateFlowsheet4(fs)
print(f"recycle (90 % returned) solve    {1000*(time.perf_counter()-t):8.1f} ms, errors {errs.Count}, loop flow {m.__implementation__.GetMolarFlow():.6f} mol/s (exact 50)")
""",
}


def main():
    if not os.path.isdir(FOLDER):
        sys.exit(f"{FOLDER} missing: run standin/build.sh first")
    python = os.path.join(ROOT, ".venv", "bin", "python")
    for name, body in PARTS.items():
        print(f"--- {name}")
        proc = subprocess.run([python if os.path.exists(python) else sys.executable, "-c",
                               STARTUP + textwrap.dedent(body)],
                              capture_output=True, text=True, env={**os.environ, "PYTHONWARNINGS": "ignore"})
        sys.stdout.write(proc.stdout)
        if proc.returncode != 0:
            sys.stdout.write(proc.stderr[-3000:])


if __name__ == "__main__":
    main()
