"""Helpers for the stand-in tests.

Mono starts once per process and cannot be restarted, so every scenario runs as a Python
snippet in its own interpreter. The snippet gets the names the bridge itself uses (`a` an
Automation3, `ObjectType`, `U` = DWSIM.UnitOperations.UnitOperations, `System`), a fresh
flowsheet `fs` with the helpers below, and reports back by printing one JSON line.
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
              "DWSIM.Thermodynamics", "DWSIM.UnitOperations", "DWSIM.Inspector", "DWSIM.MathOps", "System.Buffers")

PRELUDE = """
import json, os, sys
import pythonnet
pythonnet.load("mono")
import clr
sys.path.append({folder!r})
for _name in {refs!r}:
    clr.AddReference(os.path.join({folder!r}, _name + ".dll"))
import System

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

AUTOMATION = """
_old = System.Console.Out
System.Console.SetOut(System.IO.TextWriter.Null)
from DWSIM.Automation import Automation3
a = Automation3()
System.Console.SetOut(_old)
from DWSIM.Interfaces.Enums.GraphicObjects import ObjectType
import DWSIM.UnitOperations
U = DWSIM.UnitOperations.UnitOperations
fs = a.CreateFlowsheet()
def add(t, tag="", x=0, y=0):
    return fs.AddObject(getattr(ObjectType, t), x, y, tag)
def connect(src, dst, i=-1, j=-1):
    fs.ConnectObjects(src.GraphicObject, dst.GraphicObject, i, j)
def feed(obj, T, P, F, z):
    m = obj.__implementation__
    m.SetTemperature(float(T)); m.SetPressure(float(P)); m.SetMolarFlow(float(F))
    m.SetOverallComposition(System.Array[System.Double]([float(v) for v in z]))
def flows(obj):
    m = obj.__implementation__
    return [x * m.GetMolarFlow() for x in m.GetOverallComposition()]
def state(obj):
    m = obj.__implementation__
    return dict(T=m.GetTemperature(), P=m.GetPressure(), F=m.GetMolarFlow(), z=list(m.GetOverallComposition()),
                vf=m.Phases[2].Properties.molarfraction, h=m.Phases[0].Properties.enthalpy, calculated=m.Calculated)
def setup(package, *compounds):
    for c in compounds:
        fs.AddCompound(c)
    return fs.CreateAndAddPropertyPackage(package)
def streams(*tags):
    return [add("MaterialStream", t) for t in tags]
def chain(*objs):
    for x, y in zip(objs, objs[1:]):
        connect(x, y)
def configure(obj, **members):
    impl = obj.GetAsObject()
    for k, v in members.items():
        setattr(impl, k, v)
    return impl
def solve(f=None):
    return [e.Message for e in a.CalculateFlowsheet4(fs if f is None else f)]
"""

# Unit classes: namespace of the .NET class, graphic ObjectType, id prefix, default tag.
_UO = "DWSIM.UnitOperations.UnitOperations"
CLASSES = {"MaterialStream": ("DWSIM.Thermodynamics.Streams", "MaterialStream", "MAT-", "1"),
           "EnergyStream": ("DWSIM.UnitOperations.Streams", "EnergyStream", "EN-", "E1"),
           "Mixer": (_UO, "NodeIn", "MIST-", "MIX-1"), "Splitter": (_UO, "NodeOut", "DIV-", "SPL-1"),
           "ComponentSeparator": (_UO, "ComponentSeparator", "CS-", "CS-1"), "Heater": (_UO, "Heater", "AQ-", "HT-1"),
           "Cooler": (_UO, "Cooler", "RESF-", "CL-1"), "Vessel": (_UO, "Vessel", "SEP-", "V-1"),
           "Pump": (_UO, "Pump", "BB-", "PUMP-1"), "Compressor": (_UO, "Compressor", "COMP-", "C-1"),
           "Valve": (_UO, "Valve", "VALV-", "VALVE-1")}


def run_raw(snippet, automation=True, timeout=120):
    if not os.path.exists(os.path.join(FOLDER, "DWSIM.Automation.dll")):
        pytest.fail(f"stand-in not built: {FOLDER} is missing; run standin/build.sh first")
    code = PRELUDE.format(folder=FOLDER, refs=REFERENCES) + (AUTOMATION if automation else "")
    return subprocess.run([PYTHON, "-c", code + textwrap.dedent(snippet)], capture_output=True, text=True,
                          timeout=timeout, env={**os.environ, "PYTHONWARNINGS": "ignore"})


def run(snippet, automation=True, timeout=120):
    """Runs `snippet` after the prelude; returns the value it passed to report()."""
    proc = run_raw(snippet, automation, timeout)
    if proc.returncode != 0:
        pytest.fail(f"snippet failed (exit {proc.returncode}):\n{proc.stderr[-4000:]}\n{proc.stdout[-2000:]}")
    results = [line[7:] for line in proc.stdout.splitlines() if line.startswith("RESULT ")]
    if len(results) != 1:
        pytest.fail(f"expected one RESULT line, got {len(results)}:\n{proc.stdout[-2000:]}")
    return json.loads(results[0])


PHASE_PROPS = ["temperature", "pressure", "molarflow", "massflow", "molarfraction", "massfraction", "enthalpy",
               "molecularWeight"]
# Everything the module reads back from a flowsheet, as JSON. Ports are listed in port order
# with both ends' indices, so a connection rebuilt on one side only or on the wrong port shows.
SNAPSHOT = r'''
import math
UNIT_MEMBERS = {
    "Mixer": ["PressureCalculation"],
    "Splitter": ["OperationMode", "StreamFlowSpec", "Stream2FlowSpec"],
    "ComponentSeparator": ["SpecifiedStreamIndex", "EnergyImb"],
    "Heater": ["CalcMode", "OutletTemperature", "OutletVaporFraction", "DeltaQ", "DeltaP", "DeltaT", "Eficiencia"],
    "Vessel": ["OverrideT", "OverrideP", "FlashTemperature", "FlashPressure", "DeltaQ", "PressureCalculation"],
    "Pump": ["CalcMode", "Pout", "DeltaP", "DeltaQ", "DeltaT", "Eficiencia", "NPSH"],
    "Compressor": ["CalcMode", "ProcessPath", "POut", "DeltaP", "DeltaQ", "DeltaT", "PressureRatio",
                   "AdiabaticEfficiency", "PolytropicEfficiency", "OutletTemperature"],
    "Valve": ["CalcMode", "OutletPressure", "DeltaP", "DeltaQ", "DeltaT"],
    "EnergyStream": ["EnergyFlow"],
    "MaterialStream": ["SpecType", "DefinedFlow", "AtEquilibrium"],
}
UNIT_MEMBERS["Cooler"] = UNIT_MEMBERS["Heater"]
PHASE_PROPS = @PHASE_PROPS@

def val(v):
    if v is None or isinstance(v, (bool, str)):
        return v
    if isinstance(v, (int, float)):
        return float(v) if math.isfinite(v) else repr(float(v))
    return str(v)

def port(cp, far):
    if not cp.IsAttached:
        return None
    c = cp.AttachedConnector
    end = c.AttachedFrom if far == "from" else c.AttachedTo
    return [end.Name, c.AttachedFromConnectorIndex, c.AttachedToConnectorIndex, str(cp.Type),
            c.AttachedFromEnergy, c.AttachedToEnergy]

def pairs(table, selected):
    return sorted([k1, k2, table[k1][k2]] for k1 in table.Keys if k1 in selected
                  for k2 in table[k1].Keys if k2 in selected)

def snapshot(fs):
    selected = list(fs.SelectedCompounds.Keys)
    out = {"compounds": [[c.Name, c.CAS_Number] for c in fs.SelectedCompounds.Values], "packages": [], "objects": []}
    for p in fs.PropertyPackages.Values:
        c = p.GetAsObject()
        entry = [p.UniqueID, c.GetType().Name, c.ComponentName, p.Tag]
        if c.GetType().Name == "NRTLPropertyPackage":
            entry.append([[a, b, [d.A12, d.A21, d.B12, d.B21, d.C12, d.C21, d.alpha12, str(d.ID1), str(d.ID2)]]
                          for a, b, d in pairs(c.m_uni.InteractionParameters, selected)])
        if hasattr(c, "m_pr"):
            entry.append([[a, b, d.kij] for a, b, d in pairs(c.m_pr.InteractionParameters, selected)])
        out["packages"].append(entry)
    for o in fs.SimulationObjects.Values:
        c, g, pp = o.GetAsObject(), o.GraphicObject, o.PropertyPackage
        cls = c.GetType().Name
        d = {"id": o.Name, "class": cls, "tag": g.Tag, "xy": [g.X, g.Y], "size": [g.Width, g.Height],
             "objecttype": str(g.ObjectType), "pp": pp.UniqueID if pp is not None else None,
             "in": [port(cp, "from") for cp in g.InputConnectors], "out": [port(cp, "to") for cp in g.OutputConnectors],
             "energy": port(g.EnergyConnector, "to"), "members": {m: val(getattr(c, m)) for m in UNIT_MEMBERS.get(cls, [])}}
        if cls == "MaterialStream":
            d["state"] = [c.GetTemperature(), c.GetPressure(), c.GetMolarFlow(),
                          [val(x) for x in c.GetOverallComposition()], val(c.Phases[2].Properties.molarfraction)]
            d["phases"] = {str(k): [[val(getattr(ph.Properties, n)) for n in PHASE_PROPS],
                                    [[n, val(x.MoleFraction), val(x.MassFraction), val(x.MolarFlow), val(x.MassFlow)]
                                     for n, x in ((n, ph.Compounds[n]) for n in ph.Compounds.Keys)]]
                           for k, ph in ((k, c.Phases[k]) for k in c.Phases.Keys)}
        if cls == "Splitter":
            d["ratios"] = [float(r) for r in c.Ratios]
        if cls == "ComponentSeparator":
            d["specs"] = {k: [s.ComponentID, str(s.SepSpec), s.SpecValue, s.SpecUnit]
                          for k, s in ((k, c.ComponentSepSpecs[k]) for k in c.ComponentSepSpecs.Keys)}
        out["objects"].append(d)
    return out
'''.replace("@PHASE_PROPS@", repr(PHASE_PROPS))
