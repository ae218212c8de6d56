"""Helpers for the stand-in tests.

Mono starts once per process and cannot be restarted, so every scenario runs as a Python
snippet in its own interpreter. The snippet gets the names the bridge itself uses
(Automation3 instance `a`, `ObjectType`, `U` = DWSIM.UnitOperations.UnitOperations, `System`)
and reports back by printing one JSON line prefixed with RESULT.
"""
import json
import os
import subprocess
import sys
import textwrap

import pytest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
FOLDER = os.path.join(ROOT, "standin", "out", "dwsim")
PROBE = os.path.join(ROOT, "standin", "out", "probe", "Probe.dll")
PYTHON = os.path.join(ROOT, ".venv", "bin", "python")
if not os.path.exists(PYTHON):
    PYTHON = sys.executable

REFERENCES = ("DWSIM.Automation", "DWSIM.Interfaces", "DWSIM.GlobalSettings", "DWSIM.SharedClasses",
              "DWSIM.Thermodynamics", "DWSIM.UnitOperations", "DWSIM.Inspector", "DWSIM.MathOps",
              "System.Buffers")

PRELUDE = """
import json, os, sys
import pythonnet
pythonnet.load("mono")
import clr
FOLDER = {folder!r}
sys.path.append(FOLDER)
for _name in {refs!r}:
    _path = os.path.join(FOLDER, _name + ".dll")
    clr.AddReference(_path if os.path.exists(_path) else _name)
import System
if {load_automation!r}:
    _old = System.Console.Out
    System.Console.SetOut(System.IO.TextWriter.Null)
    from DWSIM.Automation import Automation3
    a = Automation3()
    System.Console.SetOut(_old)
    from DWSIM.Interfaces.Enums.GraphicObjects import ObjectType
    import DWSIM.UnitOperations
    U = DWSIM.UnitOperations.UnitOperations

def report(value):
    sys.stdout.write("RESULT " + json.dumps(value) + "\\n")
    sys.stdout.flush()

def raises(fn):
    try:
        fn()
    except Exception as e:
        return [type(e).__name__, str(e).splitlines()[0] if str(e) else ""]
    return None
"""


def require_built():
    if not os.path.exists(os.path.join(FOLDER, "DWSIM.Automation.dll")):
        pytest.fail(f"stand-in not built: {FOLDER} is missing; run standin/build.sh first")


def run_raw(code, timeout=120):
    require_built()
    proc = subprocess.run([PYTHON, "-c", code], capture_output=True, text=True, timeout=timeout,
                          env={**os.environ, "PYTHONWARNINGS": "ignore"})
    return proc


def run(snippet, load_automation=True, timeout=120):
    """Runs `snippet` after the standard prelude; returns the value it passed to report()."""
    code = PRELUDE.format(folder=FOLDER, refs=REFERENCES, load_automation=load_automation)
    code += textwrap.dedent(snippet)
    proc = run_raw(code, timeout)
    if proc.returncode != 0:
        pytest.fail(f"snippet failed (exit {proc.returncode}):\n{proc.stderr[-4000:]}\n{proc.stdout[-2000:]}")
    results = [line[7:] for line in proc.stdout.splitlines() if line.startswith("RESULT ")]
    if len(results) != 1:
        pytest.fail(f"expected one RESULT line, got {len(results)}:\n{proc.stdout[-2000:]}")
    return json.loads(results[0])


# Builds the flowsheets most scenarios need: `add(type, tag)` and `connect(a, b, i, j)`.
FLOWSHEET_HELPERS = """
fs = a.CreateFlowsheet()
def add(t, tag=""):
    return fs.AddObject(getattr(ObjectType, t), 0, 0, tag)
def connect(src, dst, i=-1, j=-1):
    fs.ConnectObjects(src.GraphicObject, dst.GraphicObject, i, j)
def feed(obj, T, P, F, z):
    m = obj.__implementation__
    m.SetTemperature(float(T)); m.SetPressure(float(P)); m.SetMolarFlow(float(F))
    m.SetOverallComposition(System.Array[System.Double]([float(v) for v in z]))
    return m
def flows(obj):
    m = obj.__implementation__
    return [x * m.GetMolarFlow() for x in m.GetOverallComposition()]
def state(obj):
    m = obj.__implementation__
    return dict(T=m.GetTemperature(), P=m.GetPressure(), F=m.GetMolarFlow(),
                z=list(m.GetOverallComposition()), vf=m.Phases[2].Properties.molarfraction,
                h=m.Phases[0].Properties.enthalpy, calculated=m.Calculated)
def solve():
    return [e.Message for e in a.CalculateFlowsheet4(fs)]
"""
