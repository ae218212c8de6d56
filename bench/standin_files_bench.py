"""Stand-in DWSIM file figures: load and save of the largest shared sample and of a generated
1,000-object flowsheet. Prints numbers; asserts nothing.

    .venv/bin/python bench/standin_files_bench.py

Runs in a fresh interpreter (Mono starts once per process). The first load or save of each
kind includes JIT compilation and is printed on its own; the others are medians of 5.
"""
import os
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
FOLDER = ROOT / "standin" / "out" / "dwsim"
SAMPLES = next((d for d in (Path("/work/shared/dwsim/samples"), ROOT.parent / "shared" / "dwsim" / "samples")
                if d.is_dir()), None)

CODE = r"""
import os, statistics, sys, tempfile, time
import pythonnet
pythonnet.load("mono")
import clr
sys.path.append(FOLDER)
for n in ("DWSIM.Automation", "DWSIM.Interfaces", "DWSIM.GlobalSettings", "DWSIM.SharedClasses",
          "DWSIM.Thermodynamics", "DWSIM.UnitOperations", "DWSIM.Inspector", "DWSIM.MathOps", "System.Buffers"):
    clr.AddReference(os.path.join(FOLDER, n + ".dll"))
import System
System.Console.SetOut(System.IO.TextWriter.Null)
from DWSIM.Automation import Automation3
from DWSIM.Interfaces.Enums.GraphicObjects import ObjectType
import DWSIM.UnitOperations
U = DWSIM.UnitOperations.UnitOperations
a = Automation3()
tmp = tempfile.mkdtemp()

def timed(fn, n=5):
    t = time.perf_counter(); fn(); first = time.perf_counter() - t
    runs = []
    for _ in range(n):
        t = time.perf_counter(); fn(); runs.append(time.perf_counter() - t)
    return first * 1000, statistics.median(runs) * 1000

def figures(label, fs, source=None):
    print(f"{label}: {len(fs.SimulationObjects)} objects, {len(fs.SelectedCompounds)} compounds")
    if source:
        first, med = timed(lambda: a.LoadFlowsheet(source))
        print(f"  load {os.path.basename(source):38s} first {first:8.1f} ms   median {med:8.1f} ms   ({os.path.getsize(source) / 1024:.0f} kB)")
    for ext in (".dwxmz", ".dwxml"):
        path = os.path.join(tmp, label.replace(" ", "_") + ext)
        first, med = timed(lambda: a.SaveFlowsheet(fs, path, True))
        print(f"  save {ext:38s} first {first:8.1f} ms   median {med:8.1f} ms   ({os.path.getsize(path) / 1024:.0f} kB)")
        first, med = timed(lambda: a.LoadFlowsheet(path))
        print(f"  load {ext + ' (stand-in written)':38s} first {first:8.1f} ms   median {med:8.1f} ms")

if SAMPLE:
    t = time.perf_counter()
    sample = a.LoadFlowsheet(SAMPLE)
    print(f"(first load of the process, JIT included: {1000 * (time.perf_counter() - t):.0f} ms)")
    figures("largest sample", sample, SAMPLE)

# 1,000 objects: a feed, then 333 units each followed by a stream and an energy stream where
# the unit takes one, cycling through the nine unit classes.
fs = a.CreateFlowsheet()
for c in ("Water", "Ethanol", "Methanol"):
    fs.AddCompound(c)
fs.CreateAndAddPropertyPackage("NRTL")
kinds = ["Heater", "Cooler", "Valve", "Pump", "Compressor", "Mixer", "Splitter", "ComponentSeparator", "Vessel"]
energy_in = {"Heater": 1, "Pump": 1, "Compressor": 1, "Vessel": 6}
t = time.perf_counter()
last = fs.AddObject(ObjectType.MaterialStream, 0, 0, "S0")
last.__implementation__.SetOverallComposition(System.Array[System.Double]([0.5, 0.3, 0.2]))
i = 0
while len(fs.SimulationObjects) < 1000:
    kind = kinds[i % len(kinds)]
    unit = fs.AddObject(getattr(ObjectType, kind), 40 * i, 0, f"U{i}")
    fs.ConnectObjects(last.GraphicObject, unit.GraphicObject, -1, -1)
    if kind in energy_in and len(fs.SimulationObjects) < 998:
        q = fs.AddObject(ObjectType.EnergyStream, 40 * i, 40, f"Q{i}")
        fs.ConnectObjects(q.GraphicObject, unit.GraphicObject, -1, energy_in[kind])
    nxt = fs.AddObject(ObjectType.MaterialStream, 40 * i + 20, 0, f"S{i + 1}")
    fs.ConnectObjects(unit.GraphicObject, nxt.GraphicObject, 1 if kind == "Vessel" else -1, -1)
    last = nxt
    i += 1
print(f"(built the generated flowsheet in {1000 * (time.perf_counter() - t):.0f} ms)")
figures("generated flowsheet", fs)
"""


def main():
    if not (FOLDER / "DWSIM.Automation.dll").exists():
        sys.exit(f"stand-in not built: run standin/build.sh ({FOLDER} is missing)")
    sample = ""
    if SAMPLES is not None:
        sample = str(max(SAMPLES.glob("*.dwxmz"), key=lambda p: p.stat().st_size))
    else:
        print("shared samples not found: only the generated flowsheet is measured")
    prelude = f"FOLDER = {str(FOLDER)!r}\nSAMPLE = {sample!r}\n"
    done = subprocess.run([sys.executable, "-c", prelude + CODE], env={**os.environ, "PYTHONWARNINGS": "ignore"})
    sys.exit(done.returncode)


if __name__ == "__main__":
    main()
