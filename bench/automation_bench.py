"""First automation() of a process against a bare pythonnet load of the same
assemblies, each in fresh processes.

Run: KELVANE_DWSIM=standin/out/dwsim .venv/bin/python bench/automation_bench.py
Prints figures only.
"""
import os
import statistics
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
FOLDER = os.environ.get("KELVANE_DWSIM") or str(ROOT / "standin" / "out" / "dwsim")
RUNS = 7

# Each child prints the seconds of what it times; the import of the module
# (numpy included) is outside the timed span in both.
MODULE = """
import time, warnings
warnings.simplefilter("ignore")
import kelvane.flowgate as f
t = time.perf_counter(); f.automation(); first = time.perf_counter() - t
t = time.perf_counter(); f.automation(); second = time.perf_counter() - t
print(first, second)
"""

BARE = """
import os, sys, time, warnings
warnings.simplefilter("ignore")
import kelvane.flowgate as f
folder = os.environ["KELVANE_DWSIM"]
t = time.perf_counter()
import pythonnet
pythonnet.load("mono")
import clr
sys.path.append(folder)
for name in f.DLLS:
    path = os.path.join(folder, name + ".dll")
    clr.AddReference(path if os.path.exists(path) else name)
from DWSIM.Automation import Automation3
Automation3()
print(time.perf_counter() - t, 0.0)
"""


def measure(code):
    runs = []
    for _ in range(RUNS):
        out = subprocess.run([sys.executable, "-c", code], capture_output=True, text=True, check=True,
                             env={**os.environ, "KELVANE_DWSIM": FOLDER}).stdout.split()
        runs.append(tuple(float(v) for v in out[-2:]))
    return statistics.median(r[0] for r in runs), statistics.median(r[1] for r in runs)


if __name__ == "__main__":
    bare, _ = measure(BARE)
    first, second = measure(MODULE)
    print(f"bare pythonnet.load + 9 references + Automation3(): {bare * 1e3:7.1f} ms (median of {RUNS})")
    print(f"first automation() of the module:                  {first * 1e3:7.1f} ms")
    print(f"later automation() calls:                          {second * 1e6:7.1f} us")
