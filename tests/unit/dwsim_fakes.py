"""Plain Python stand-ins for what the export road touches: DWSIM's automation
objects, the .NET modules System and ...Auxiliary, and the host's modules.

They are strict where pythonnet and DWSIM are: enum members must be members
of the right enumeration, numbers crossing to .NET must be Python floats or
ints, compositions must be .NET arrays, ports follow DWSIM's connection rule,
and a member a unit does not have can't be set."""
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
U = NS(Heater=NS(CalculationMode=HeaterMode), Pump=NS(CalculationMode=PumpMode),
       Compressor=NS(CalculationMode=CompressorMode), Valve=NS(CalculationMode=ValveMode))


def real(value):
    """pythonnet converts Python floats, not numpy scalars or text."""
    if type(value) is not float:
        raise TypeError(f"no .NET Double from {type(value).__name__}")
    return value


class Keyed:
    """A .NET Dictionary: Keys, Values, ContainsKey, Add, Clear and item lookup."""

    def __init__(self, items=()):
        self.items = dict(items)
        self.key_reads = 0

    @property
    def Keys(self):
        self.key_reads += 1
        return list(self.items)

    @property
    def Values(self):
        return list(self.items.values())

    def ContainsKey(self, key):
        return key in self.items

    def Add(self, key, value):
        if key in self.items:
            raise ValueError(f"An item with the same key has already been added: {key}")
        self.items[key] = value

    def Clear(self):
        self.items.clear()

    def __getitem__(self, key):
        return self.items[key]

    def __iter__(self):
        raise TypeError("a .NET Dictionary iterates as key/value pairs: use Keys or Values")


class ArrayList(list):
    def Clear(self):
        self.clear()

    def Add(self, value):
        self.append(real(value))


class DoubleArray(tuple):
    pass


class Connectors(list):
    @property
    def Count(self):
        return len(self)


# Input port kinds (I: material, E: energy), number of outputs, and whether
# the unit has an energy connector of its own (used by unit -> energy stream).
PORTS = {
    "MaterialStream": ("I", 1, False), "EnergyStream": ("I", 1, False),
    "NodeIn": ("IIIIII", 1, False), "NodeOut": ("I", 3, False),
    "ComponentSeparator": ("I", 2, True), "Heater": ("IE", 1, True),
    "Vessel": ("IIIIIIE", 3, False), "Pump": ("IE", 1, False),
    "Compressor": ("IE", 1, False), "Valve": ("I", 1, False),
}

# Members of each unit and DWSIM's defaults; nothing else can be set.
MEMBERS = {
    "Heater": dict(CalcMode=HeaterMode.HeatAdded, OutletTemperature=298.15, OutletVaporFraction=None,
                   DeltaQ=None, DeltaP=None),
    "Vessel": dict(DeltaQ=None, OverrideT=False, OverrideP=False),
    "Pump": dict(CalcMode=PumpMode.Delta_P, Pout=0.0, Efficiency=75.0, DeltaQ=None),
    "Compressor": dict(CalcMode=CompressorMode.OutletPressure, POut=101325.0, AdiabaticEfficiency=75.0,
                       DeltaQ=0.0),
    "Valve": dict(CalcMode=ValveMode.DeltaP, OutletPressure=101325.0, DeltaQ=None),
    "NodeIn": {}, "NodeOut": {}, "ComponentSeparator": dict(SpecifiedStreamIndex=0), "EnergyStream": {},
}
MODES = {"Heater": HeaterMode, "Pump": PumpMode, "Compressor": CompressorMode, "Valve": ValveMode}


class Graphic:
    def __init__(self, tag, kind):
        ins, outs, self.energy = PORTS[kind]
        self.Tag, self.kind = tag, kind
        self.InputConnectors = Connectors(NS(IsAttached=False, type=t) for t in ins)
        self.OutputConnectors = Connectors(NS(IsAttached=False) for _ in range(outs))
        self.EnergyConnector = NS(IsAttached=False)


class Unit:
    def __init__(self, kind, tag):
        object.__setattr__(self, "GraphicObject", Graphic(tag, kind))
        object.__setattr__(self, "kind", kind)
        self.__dict__.update(MEMBERS[kind])
        if kind == "NodeOut":
            self.__dict__["Ratios"] = ArrayList([1.0, 0.0, 0.0])
        if kind == "ComponentSeparator":
            self.__dict__["ComponentSepSpecs"] = Keyed()

    def __setattr__(self, name, value):
        if name not in MEMBERS[self.kind]:
            raise AttributeError(f"{self.kind} has no member {name}")
        if name == "CalcMode" and not isinstance(value, MODES[self.kind]):
            raise TypeError(f"{value!r} is no {self.kind}.CalculationMode")
        if name not in ("CalcMode", "SpecifiedStreamIndex", "OverrideT", "OverrideP"):
            real(value)
        self.__dict__[name] = value


class MaterialStream:
    """Holds what is set; a solve writes `state` for the Get* members."""

    def __init__(self, tag):
        self.GraphicObject = Graphic(tag, "MaterialStream")
        self.kind = "MaterialStream"
        self.set = {}
        self.state = dict(T=298.15, P=101325.0, F=0.0, x=(), vf=None)

    def SetTemperature(self, t):
        self.set["T"] = real(t)

    def SetPressure(self, p):
        self.set["P"] = real(p)

    def SetMolarFlow(self, f):
        self.set["F"] = real(f)

    def SetOverallComposition(self, x):
        if not isinstance(x, DoubleArray):
            raise TypeError("SetOverallComposition takes a System.Array")
        self.set["x"] = x

    def GetTemperature(self):
        return self.state["T"]

    def GetPressure(self):
        return self.state["P"]

    def GetMolarFlow(self):
        return self.state["F"]

    def GetOverallComposition(self):
        return list(self.state["x"])

    @property
    def Phases(self):
        return {2: NS(Properties=NS(molarfraction=self.state["vf"]))}


class Flowsheet:
    """Records every call; `links` holds (from tag, port, to tag, port) as DWSIM resolves them."""

    def __init__(self, compounds, packages):
        self.AvailableCompounds = compounds
        self.packages = packages
        self.calls, self.compounds, self.links = [], [], []
        self.objects, self.places = {}, {}

    def AddCompound(self, name):
        self.calls.append(("AddCompound", name))
        if name in self.compounds:
            raise ValueError(f"duplicate compound {name}")
        self.AvailableCompounds[name]
        self.compounds.append(name)

    def CreateAndAddPropertyPackage(self, name):
        self.calls.append(("CreateAndAddPropertyPackage", name))
        self.package = self.packages[name]()
        return NS(__implementation__=self.package)

    def AddObject(self, t, x, y, tag):
        if not isinstance(t, ObjectType) or type(x) is not int or type(y) is not int:
            raise TypeError(f"AddObject({t!r}, {x!r}, {y!r}, {tag!r})")
        self.calls.append(("AddObject", t.name, tag))
        kind = t.name
        o = MaterialStream(tag) if kind == "MaterialStream" else Unit(kind, tag)
        self.objects[tag], self.places[tag] = o, (x, y)
        return NS(GetAsObject=lambda: o)

    def ConnectObjects(self, g_from, g_to, i, j):
        if not (isinstance(g_from, Graphic) and isinstance(g_to, Graphic)):
            raise TypeError("ConnectObjects takes graphic objects")
        if type(i) is not int or type(j) is not int:
            raise TypeError("port numbers are integers")
        self.calls.append(("ConnectObjects", g_from.Tag, g_to.Tag, i, j))
        streams = ("MaterialStream", "EnergyStream")
        if g_to.kind == "EnergyStream":
            if not g_from.energy:
                raise RuntimeError("This connection is not allowed.")
            out, point = "E", g_from.EnergyConnector
            j = 0
        else:
            if (g_from.kind in streams) == (g_to.kind in streams):
                raise RuntimeError("This connection is not allowed.")
            want = "E" if g_from.kind == "EnergyStream" else "I"
            j = self._port(g_to.InputConnectors, j, lambda p: p.type == want)
            i = self._port(g_from.OutputConnectors, i, lambda p: True)
            out, point = i, g_from.OutputConnectors[i]
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
    FIELDS = ("ID1", "ID2", "A12", "A21", "B12", "B21", "C12", "C21", "alpha12", "comment")

    def __init__(self, **values):
        self.__dict__.update(dict.fromkeys(self.FIELDS, 0.0), comment="")
        self.__dict__.update(values)

    def __setattr__(self, name, value):
        if name not in self.FIELDS:
            raise AttributeError(name)
        if name.startswith("ID"):
            assert type(value) is str
        elif name != "comment":
            real(value)
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


PACKAGES = {
    "Raoult's Law": lambda: NS(ComponentName="Raoult's Law"),
    "NRTL": nrtl_package,
    "Wilson": lambda: NS(ComponentName="Wilson"),
    "UNIQUAC": lambda: NS(ComponentName="UNIQUAC"),
    "Peng-Robinson (PR)": cubic_package,
    "Soave-Redlich-Kwong (SRK)": lambda: cubic_package(name="Soave-Redlich-Kwong (SRK)"),
}

COMPOUNDS = {"Water": "7732-18-5", "Ethanol": " 64-17-5 ", "Methanol": "67-56-1",
             "N-butane": "106-97-8", "n-Butane": "106-97-8", "Methane": "74-82-8"}


class Automation:
    """Automation3: flowsheets over one compound database. `solver(sim)` plays
    DWSIM's solve and gives what CalculateFlowsheet4 returns."""

    def __init__(self, compounds=COMPOUNDS):
        self.compounds = Keyed((n, NS(CAS_Number=c)) for n, c in compounds.items())
        self.solver = lambda sim: []
        self.calls, self.sheets = [], []

    def CreateFlowsheet(self):
        sim = Flowsheet(self.compounds, PACKAGES)
        self.sheets.append(sim)
        return sim

    def CalculateFlowsheet4(self, sim):
        self.calls.append(("CalculateFlowsheet4", sim))
        return self.solver(sim)

    def SaveFlowsheet(self, sim, path, compressed):
        self.calls.append(("SaveFlowsheet", sim, path, compressed))


def double_array_of(values):
    return DoubleArray(real(v) for v in values)


class _Array:
    def __getitem__(self, t):
        assert t is System.Double
        return double_array_of


System = types.ModuleType("System")
System.Array, System.Double = _Array(), object()
AUXILIARY = "DWSIM.UnitOperations.UnitOperations.Auxiliary"


class ComponentSeparationSpec:
    def __init__(self, name, spec, value, unit):
        assert isinstance(spec, SeparationSpec)
        self.ComponentID, self.SepSpec, self.SpecValue, self.SpecUnit = name, spec, real(value), unit


class Log:
    """kelvane.diagnostics.log: records (level, format, *args)."""

    def __init__(self):
        self.lines = []

    def __getattr__(self, level):
        if level not in ("info", "warning", "error"):
            raise AttributeError(level)
        return lambda fmt, *args: self.lines.append((level, fmt, *args))


DATABANK = [
    {"alias": "WATER", "cas": "7732-18-5", "name": "water"},
    {"alias": "ETHANOL", "cas": "64-17-5", "name": "ethanol"},
    {"alias": "METHANOL", "cas": "67-56-1", "name": "methanol"},
]


@pytest.fixture
def host(monkeypatch, flowgate):
    """Fake kelvane.components and kelvane.thermodynamic, a recording log and
    a fresh CAS index. `host.databank` is what databank_index() returns;
    `host.flash` plays the host's flash."""
    box = NS(databank=[dict(e) for e in DATABANK], flashes=[], log=Log())
    box.flash = lambda pp, x, P, T: {"H": 1000.0 * T}

    def flash(pp, x, P, *, T):
        box.flashes.append((pp, x, P, T))
        return box.flash(pp, x, P, T)

    components = types.ModuleType("kelvane.components")
    components.databank_index = lambda: box.databank
    thermodynamic = types.ModuleType("kelvane.thermodynamic")
    thermodynamic.flash = flash
    monkeypatch.setitem(sys.modules, "kelvane.components", components)
    monkeypatch.setitem(sys.modules, "kelvane.thermodynamic", thermodynamic)
    monkeypatch.setattr(flowgate, "log", box.log)
    state = flowgate._STATE
    saved = dict(state)
    state.pop("cas", None)
    yield box
    state.clear()
    state.update(saved)


@pytest.fixture
def dwsim(monkeypatch, host, flowgate):
    """The automation state of the process as fakes: (a, m), also in _STATE."""
    auxiliary = types.ModuleType(AUXILIARY)
    auxiliary.ComponentSeparationSpec, auxiliary.SeparationSpec = ComponentSeparationSpec, SeparationSpec
    monkeypatch.setitem(sys.modules, "System", System)
    monkeypatch.setitem(sys.modules, AUXILIARY, auxiliary)
    a = Automation()
    m = {"ObjectType": ObjectType, "U": U, "System": System, "clr": None}
    flowgate._STATE.update(a=a, m=m)
    return NS(a=a, m=m)


# The host side.

def feed(T=300.0, P=1e5, flows=(0.001, 0.003), **more):
    return NS(T=T, P=P, flows=list(flows), **more)


def block(kind, **spec):
    return NS(kind=kind, spec=spec)


def flowsheet(feeds=None, blocks=None, ports=None, components=("WATER", "ETHANOL"), method="IDEAL",
              meta=None, **more):
    pp = NS(components=list(components), method=method)
    return NS(pp=pp, feeds=feeds or {}, blocks=blocks or {}, ports=ports or {},
              meta={} if meta is None else meta, **more)
