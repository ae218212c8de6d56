"""DWSIM through the real pythonnet, for scenarios that run in a child process.

Importing this module starts nothing, so tests import its constants too; the first use
of `a`, `ObjectType`, `U` or `System` (``from sheet import U``) starts Mono, references
the assemblies of the DWSIM folder in the module's own order, and makes one silenced
Automation3. `Sheet` wraps a flowsheet with the few operations that the scenarios repeat.
"""
import os
import sys
from functools import cache
from types import SimpleNamespace

from child import DWSIM

FOLDER = str(DWSIM)
PROBE = os.path.join(os.path.dirname(FOLDER.rstrip("/")), "probe", "Probe.dll")

# Unit classes: namespace of the .NET class, graphic ObjectType, id prefix, default tag.
_UO = "DWSIM.UnitOperations.UnitOperations"
CLASSES = {"MaterialStream": ("DWSIM.Thermodynamics.Streams", "MaterialStream", "MAT-", "1"),
           "EnergyStream": ("DWSIM.UnitOperations.Streams", "EnergyStream", "EN-", "E1"),
           "Mixer": (_UO, "NodeIn", "MIST-", "MIX-1"), "Splitter": (_UO, "NodeOut", "DIV-", "SPL-1"),
           "ComponentSeparator": (_UO, "ComponentSeparator", "CS-", "CS-1"), "Heater": (_UO, "Heater", "AQ-", "HT-1"),
           "Cooler": (_UO, "Cooler", "RESF-", "CL-1"), "Vessel": (_UO, "Vessel", "SEP-", "V-1"),
           "Pump": (_UO, "Pump", "BB-", "PUMP-1"), "Compressor": (_UO, "Compressor", "COMP-", "C-1"),
           "Valve": (_UO, "Valve", "VALV-", "VALVE-1"),
           "Recycle": ("DWSIM.UnitOperations.SpecialOps", "OT_Recycle", "REC-", "R-1")}


@cache
def runtime():
    """Mono with DWSIM's assemblies referenced; the System namespace."""
    if not os.path.exists(os.path.join(FOLDER, "DWSIM.Automation.dll")):
        raise FileNotFoundError(f"stand-in not built: {FOLDER} is missing; run standin/build.sh first")
    import pythonnet
    pythonnet.load("mono")
    import clr
    from kelvane.flowgate import DLLS
    sys.path.append(FOLDER)
    for name in DLLS:
        clr.AddReference(os.path.join(FOLDER, name + ".dll"))
    import System
    return System


@cache
def dwsim():
    System = runtime()
    old = System.Console.Out
    System.Console.SetOut(System.IO.TextWriter.Null)
    from DWSIM.Automation import Automation3
    a = Automation3()
    System.Console.SetOut(old)
    from DWSIM.Interfaces.Enums.GraphicObjects import ObjectType
    import DWSIM.UnitOperations
    return SimpleNamespace(a=a, ObjectType=ObjectType, U=DWSIM.UnitOperations.UnitOperations, System=System)


def __getattr__(name):
    if name in ("a", "ObjectType", "U", "System"):
        return getattr(dwsim(), name)
    raise AttributeError(name)


def raises(fn):
    """[exception class, first line of its text], or None when `fn` returns."""
    try:
        fn()
    except Exception as e:
        return [type(e).__name__, str(e).splitlines()[0] if str(e) else ""]
    return None


def doubles(values):
    System = runtime()
    return System.Array[System.Double]([float(v) for v in values])


class Sheet:
    """A flowsheet of the automation instance and what scenarios do with it."""

    def __init__(self, fs=None):
        self.fs = fs if fs is not None else dwsim().a.CreateFlowsheet()

    def setup(self, package, *compounds):
        for c in compounds:
            self.fs.AddCompound(c)
        return self.fs.CreateAndAddPropertyPackage(package)

    def add(self, kind, tag="", x=0, y=0):
        return self.fs.AddObject(getattr(dwsim().ObjectType, kind), x, y, tag)

    def streams(self, *tags):
        return [self.add("MaterialStream", t) for t in tags]

    def connect(self, src, dst, i=-1, j=-1):
        self.fs.ConnectObjects(src.GraphicObject, dst.GraphicObject, i, j)

    def chain(self, *objs):
        for x, y in zip(objs, objs[1:]):
            self.connect(x, y)

    @staticmethod
    def feed(obj, T, P, F, z):
        m = obj.__implementation__
        m.SetTemperature(float(T))
        m.SetPressure(float(P))
        m.SetMolarFlow(float(F))
        m.SetOverallComposition(doubles(z))

    @staticmethod
    def configure(obj, **members):
        impl = obj.GetAsObject()
        for k, v in members.items():
            setattr(impl, k, v)
        return impl

    def solve(self, fs=None):
        return [e.Message for e in dwsim().a.CalculateFlowsheet4(self.fs if fs is None else fs)]


def flows(obj):
    m = obj.__implementation__
    return [x * m.GetMolarFlow() for x in m.GetOverallComposition()]


def state(obj):
    m = obj.__implementation__
    return dict(T=m.GetTemperature(), P=m.GetPressure(), F=m.GetMolarFlow(), z=list(m.GetOverallComposition()),
                vf=m.Phases[2].Properties.molarfraction, h=m.Phases[0].Properties.enthalpy, calculated=m.Calculated)
