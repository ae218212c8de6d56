"""Stand-ins for DWSIM, System, ...Auxiliary and the host's modules, strict where
pythonnet and DWSIM are: enum types, floats and arrays into .NET, ports, members."""
import copy
import enum
import sys
import types
from types import SimpleNamespace as NS

import pytest

ObjectType = enum.Enum("ObjectType", "NodeIn NodeOut Pump Vessel MaterialStream EnergyStream "
                                     "Compressor Heater Valve ComponentSeparator")
HeaterMode = enum.Enum("CalculationMode", "HeatAdded OutletTemperature EnergyStream OutletVaporFraction")
PumpMode = enum.Enum("CalculationMode", "Delta_P OutletPressure EnergyStream")
CompressorMode = enum.Enum("CalculationMode", "OutletPressure Delta_P EnergyStream")
ValveMode = enum.Enum("CalculationMode", "DeltaP OutletPressure")
SeparationSpec = enum.Enum("SeparationSpec", "MassFlow MolarFlow PercentInletMassFlow PercentInletMolarFlow")
MODES = {"Heater": HeaterMode, "Pump": PumpMode, "Compressor": CompressorMode, "Valve": ValveMode}
U = NS(**{k: NS(CalculationMode=v) for k, v in MODES.items()})


def real(value):
    """pythonnet converts Python floats, not numpy scalars or text."""
    if type(value) is not float:
        raise TypeError(f"no .NET Double from {type(value).__name__}")
    return value


class Keyed:
    """A .NET Dictionary: Keys, Values, ContainsKey, Add, Clear and lookup; no iteration."""

    def __init__(self, items=()):
        self.items = dict(items)

    Keys = property(lambda self: list(self.items))
    Values = property(lambda self: list(self.items.values()))
    ContainsKey = property(lambda self: self.items.__contains__)
    Clear = property(lambda self: self.items.clear)

    def __getitem__(self, key):
        return self.items[key]

    def Add(self, key, value):
        if key in self.items:
            raise ValueError(f"An item with the same key has already been added: {key}")
        self.items[key] = value

    def __iter__(self):
        raise TypeError("a .NET Dictionary iterates as key/value pairs: use Keys or Values")


class ArrayList(list):
    Clear = list.clear

    def Add(self, value):
        self.append(real(value))


class DoubleArray(tuple):
    pass


# Input ports (I material, E energy), outputs, whether the unit's own energy
# connector serves unit -> energy stream, and the members that can be set.
KINDS = {
    "MaterialStream": ("I", 1, False, {}), "EnergyStream": ("I", 1, False, {}),
    "NodeIn": ("IIIIII", 1, False, {}), "NodeOut": ("I", 3, False, {}),
    "ComponentSeparator": ("I", 2, True, dict(SpecifiedStreamIndex=0)),
    "Heater": ("IE", 1, True, dict(CalcMode=HeaterMode.HeatAdded, OutletTemperature=298.15,
                                   OutletVaporFraction=None, DeltaQ=None, DeltaP=None)),
    "Vessel": ("IIIIIIE", 3, False, dict(DeltaQ=None)),
    "Pump": ("IE", 1, False, dict(CalcMode=PumpMode.Delta_P, Pout=0.0, Efficiency=75.0, DeltaQ=None)),
    "Compressor": ("IE", 1, False, dict(CalcMode=CompressorMode.OutletPressure, POut=101325.0,
                                        AdiabaticEfficiency=75.0, DeltaQ=0.0)),
    "Valve": ("I", 1, False, dict(CalcMode=ValveMode.DeltaP, OutletPressure=101325.0, DeltaQ=None)),
}


class Connectors(list):
    Count = property(len)


class Graphic:
    def __init__(self, tag, kind):
        ins, outs, self.energy, _ = KINDS[kind]
        self.Tag, self.kind = tag, kind
        self.InputConnectors = Connectors(NS(IsAttached=False, type=t) for t in ins)
        self.OutputConnectors = Connectors(NS(IsAttached=False) for _ in range(outs))
        self.EnergyConnector = NS(IsAttached=False)


class Unit:
    def __init__(self, kind, tag):
        self.__dict__.update(KINDS[kind][3], GraphicObject=Graphic(tag, kind), kind=kind, **{
            "NodeOut": dict(Ratios=ArrayList([1.0, 0.0, 0.0])),
            "ComponentSeparator": dict(ComponentSepSpecs=Keyed())}.get(kind, {}))

    def __setattr__(self, name, value):
        if name not in KINDS[self.kind][3]:
            raise AttributeError(f"{self.kind} has no member {name}")
        if name == "CalcMode" and not isinstance(value, MODES[self.kind]):
            raise TypeError(f"{value!r} is no {self.kind}.CalculationMode")
        if name not in ("CalcMode", "SpecifiedStreamIndex"):
            real(value)
        self.__dict__[name] = value


class MaterialStream:
    """Holds what is set; a solve writes `state` for the Get* members."""

    def __init__(self, tag):
        self.GraphicObject, self.kind, self.set = Graphic(tag, "MaterialStream"), "MaterialStream", {}
        self.state = dict(T=298.15, P=101325.0, F=0.0, x=(), vf=None)

    def SetOverallComposition(self, x):
        if not isinstance(x, DoubleArray):
            raise TypeError("SetOverallComposition takes a System.Array")
        self.set["x"] = x

    def GetOverallComposition(self):
        return list(self.state["x"])

    Phases = property(lambda self: {2: NS(Properties=NS(molarfraction=self.state["vf"]))})


for _key, _name in (("T", "Temperature"), ("P", "Pressure"), ("F", "MolarFlow")):
    setattr(MaterialStream, "Set" + _name, lambda self, v, k=_key: self.set.__setitem__(k, real(v)))
    setattr(MaterialStream, "Get" + _name, lambda self, k=_key: self.state[k])


class Flowsheet:
    """Records every call; `links` holds (from tag, port, to tag, port) as DWSIM resolves them."""

    def __init__(self, compounds):
        self.AvailableCompounds = compounds
        self.calls, self.links, self.objects, self.places = [], [], {}, {}

    def AddCompound(self, name):
        self.calls.append(("AddCompound", name))
        self.AvailableCompounds[name]

    def CreateAndAddPropertyPackage(self, name):
        self.calls.append(("CreateAndAddPropertyPackage", name))
        self.package = PACKAGES[name]()
        return NS(__implementation__=self.package)

    def AddObject(self, t, x, y, tag):
        if not isinstance(t, ObjectType) or type(x) is not int or type(y) is not int:
            raise TypeError(f"AddObject({t!r}, {x!r}, {y!r}, {tag!r})")
        self.calls.append(("AddObject", t.name, tag))
        o = MaterialStream(tag) if t.name == "MaterialStream" else Unit(t.name, tag)
        self.objects[tag], self.places[tag] = o, (x, y)
        return NS(GetAsObject=lambda: o)

    def ConnectObjects(self, g_from, g_to, i, j):
        if not (isinstance(g_from, Graphic) and isinstance(g_to, Graphic)) or {type(i), type(j)} != {int}:
            raise TypeError("ConnectObjects takes graphic objects and port numbers")
        self.calls.append(("ConnectObjects", g_from.Tag, g_to.Tag, i, j))
        streams = ("MaterialStream", "EnergyStream")
        if g_to.kind == "EnergyStream" and g_from.energy:
            out, point, j = "E", g_from.EnergyConnector, 0
        elif g_to.kind == "EnergyStream" or (g_from.kind in streams) == (g_to.kind in streams):
            raise RuntimeError("This connection is not allowed.")
        else:
            want = "E" if g_from.kind == "EnergyStream" else "I"
            j = self._port(g_to.InputConnectors, j, lambda p: p.type == want)
            out = self._port(g_from.OutputConnectors, i, lambda p: True)
            point = g_from.OutputConnectors[out]
        point.IsAttached = g_to.InputConnectors[j].IsAttached = True
        self.links.append((g_from.Tag, out, g_to.Tag, j))

    @staticmethod
    def _port(ports, k, fits):
        if k == -1:
            k = next((n for n, p in enumerate(ports) if fits(p) and not p.IsAttached), None)
            if k is None:
                raise RuntimeError("This connection is not allowed.")
        if not 0 <= k < len(ports):
            raise IndexError("Index was out of range.")
        if ports[k].IsAttached or not fits(ports[k]):
            raise RuntimeError("The requested connection between the given objects cannot be done.")
        return k


class NrtlRecord:
    FIELDS = dict(ID1="", ID2="", A12=0.0, A21=0.0, B12=0.0, B21=0.0, C12=0.0, C21=0.0, alpha12=0.0, comment="")

    def __init__(self, **values):
        self.__dict__.update(self.FIELDS, **values)

    def __setattr__(self, name, value):
        if name not in self.FIELDS or type(value) is not type(self.FIELDS[name]):
            raise TypeError(f"no field {name} of type {type(value).__name__}")
        self.__dict__[name] = value

    def Clone(self):
        return copy.copy(self)


class InnerTable(Keyed):
    """The inner level of an interaction-parameter table: its own type."""


def table(pairs):
    """{(a, b): record} as a two-level table."""
    outer = Keyed()
    for (a, b), record in pairs.items():
        if not outer.ContainsKey(a):
            outer.Add(a, InnerTable())
        outer[a].Add(b, record)
    return outer


def nrtl_package(pairs=None):
    return NS(ComponentName="NRTL", m_uni=NS(InteractionParameters=table(pairs or {})))


def cubic_package(pairs=None, name="Peng-Robinson (PR)"):
    return NS(ComponentName=name, m_pr=NS(InteractionParameters=table(pairs or {})))


PACKAGES = {n: (lambda n=n: NS(ComponentName=n)) for n in ("Raoult's Law", "Wilson", "UNIQUAC")}
PACKAGES.update({"NRTL": nrtl_package, "Peng-Robinson (PR)": cubic_package,
                 "Soave-Redlich-Kwong (SRK)": lambda: cubic_package(name="Soave-Redlich-Kwong (SRK)")})
COMPOUNDS = {"Water": "7732-18-5", "Ethanol": " 64-17-5 ", "Methanol": "67-56-1",
             "N-butane": "106-97-8", "n-Butane": "106-97-8", "Methane": "74-82-8"}


class Automation:
    """Automation3; `solver(sim)` plays DWSIM's solve and gives what CalculateFlowsheet4 returns."""

    def __init__(self, compounds=COMPOUNDS):
        self.compounds = Keyed((n, NS(CAS_Number=c)) for n, c in compounds.items())
        self.solver = lambda sim: []
        self.calls, self.sheets = [], []

    def CreateFlowsheet(self):
        self.sheets.append(Flowsheet(self.compounds))
        return self.sheets[-1]

    def CalculateFlowsheet4(self, sim):
        self.calls.append(("CalculateFlowsheet4", sim))
        return self.solver(sim)

    def SaveFlowsheet(self, sim, path, compressed):
        self.calls.append(("SaveFlowsheet", sim, path, compressed))


class _Array:
    def __getitem__(self, t):
        assert t is System.Double
        return lambda values: DoubleArray(real(v) for v in values)


def module(name, **attrs):
    m = types.ModuleType(name)
    m.__dict__.update(attrs)
    return m


System = module("System", Array=_Array(), Double=object())
AUXILIARY = "DWSIM.UnitOperations.UnitOperations.Auxiliary"


class ComponentSeparationSpec:
    def __init__(self, name, spec, value, unit):
        assert isinstance(spec, SeparationSpec)
        self.ComponentID, self.SepSpec, self.SpecValue, self.SpecUnit = name, spec, real(value), unit


class Log:
    """kelvane.diagnostics.log: records (level, format, *args)."""

    def __init__(self):
        self.lines = []
        for level in ("info", "warning", "error"):
            setattr(self, level, lambda fmt, *args, level=level: self.lines.append((level, fmt, *args)))


@pytest.fixture
def host(monkeypatch, flowgate):
    """Fake kelvane.components and .thermodynamic (`host.databank`, `host.flash`), a log, no CAS index."""
    box = NS(databank=[{"alias": "WATER", "cas": "7732-18-5", "name": "water"},
                       {"alias": "ETHANOL", "cas": "64-17-5", "name": "ethanol"},
                       {"alias": "METHANOL", "cas": "67-56-1", "name": "methanol"}],
             flashes=[], log=Log(), flash=lambda pp, x, P, T: {"H": 1000.0 * T})

    def flash(pp, x, P, *, T):
        box.flashes.append((pp, x, P, T))
        return box.flash(pp, x, P, T)

    for name, attrs in (("components", dict(databank_index=lambda: box.databank)),
                        ("thermodynamic", dict(flash=flash))):
        monkeypatch.setitem(sys.modules, "kelvane." + name, module("kelvane." + name, **attrs))
    monkeypatch.setattr(flowgate, "log", box.log)
    saved = dict(flowgate._STATE)
    flowgate._STATE.pop("cas", None)
    yield box
    flowgate._STATE.clear()
    flowgate._STATE.update(saved)


@pytest.fixture
def dwsim(monkeypatch, host, flowgate):
    """The process's automation state as fakes, also in _STATE; `build(fs)` builds with them."""
    monkeypatch.setitem(sys.modules, "System", System)
    monkeypatch.setitem(sys.modules, AUXILIARY, module(AUXILIARY, SeparationSpec=SeparationSpec,
                                                       ComponentSeparationSpec=ComponentSeparationSpec))
    a, m = Automation(), {"ObjectType": ObjectType, "U": U}
    flowgate._STATE.update(a=a, m=m)
    return NS(a=a, m=m, build=lambda fs: flowgate.build(fs, a, m))


# The host side.

def feed(T=300.0, P=1e5, flows=(0.001, 0.003), **more):
    return NS(T=T, P=P, flows=list(flows), **more)


def block(kind, **spec):
    return NS(kind=kind, spec=spec)


def flowsheet(feeds=None, blocks=None, ports=None, components=("WATER", "ETHANOL"), method="IDEAL", pp=(), **more):
    more.setdefault("meta", {})
    return NS(pp=NS(components=list(components), method=method, **dict(pp)), feeds=feeds or {}, blocks=blocks or {},
              ports=ports or {}, **more)
