"""The one set of stand-ins for pythonnet, clr, System, DWSIM and the host's modules in the
unit tests, strict where pythonnet and DWSIM are (facts in the shared DWSIM notes):

- enums are their own types, with DWSIM's values; str() gives the member's name and no
  int stands in for a member;
- only Python floats cross into a Double (None too into a nullable one), never numpy
  scalars, ints or text; SetOverallComposition takes a System.Array only;
- AddObject, CreateAndAddPropertyPackage and the values of SimulationObjects and
  PropertyPackages are interface views: unit members only through GetAsObject() or
  __implementation__;
- units have DWSIM's ports, members and defaults, and no other member can be set;
- ConnectObjects follows DWSIM's rules and raises its .NET exceptions;
- a .NET Dictionary does not iterate as keys.

`install()` puts pythonnet, clr, System and the DWSIM namespaces into sys.modules, for the
tests of the first load, which run in a child process (access_scenarios)."""
import copy
import enum
import math
import re
import sys
import types
from types import SimpleNamespace as NS

import pytest


# ---- what pythonnet makes of .NET values ------------------------------------------------

class NetEnum(enum.Enum):
    """A .NET enum as pythonnet 3 gives it: str() is the member's name, int() its value."""

    def __str__(self):
        return self.name

    def __int__(self):
        return self.value


def net_enum(name, members):
    """`members`: names, 0-based in order, or "Name=value" items."""
    values = {}
    for i, m in enumerate(members.split()):
        key, _, value = m.partition("=")
        values[key] = int(value) if value else i
    return NetEnum(name, values)


class NetException(Exception):
    """System.Exception as pythonnet raises it; str() is the Message."""


class ArgumentException(NetException):
    pass


class ArgumentOutOfRangeException(ArgumentException):
    pass


class KeyNotFoundException(NetException):
    pass


class NullReferenceException(NetException):
    pass


class FileNotFoundException(NetException):
    pass


def real(value):
    """pythonnet converts Python floats, not numpy scalars, ints or text."""
    if type(value) is not float:
        raise TypeError(f"no .NET Double from {type(value).__name__}")
    return value


def nullable(value):
    return None if value is None else real(value)


class Keyed:
    """A .NET Dictionary: Keys, Values, Count, ContainsKey, Add, Clear, lookup; no iteration."""

    def __init__(self, items=()):
        self.items = dict(items)

    Keys = property(lambda self: list(self.items))
    Values = property(lambda self: list(self.items.values()))
    Count = property(lambda self: len(self.items))
    ContainsKey = property(lambda self: self.items.__contains__)
    Clear = property(lambda self: self.items.clear)

    def __getitem__(self, key):
        if key not in self.items:
            raise KeyNotFoundException(f"The given key '{key}' was not present in the dictionary.")
        return self.items[key]

    def Add(self, key, value):
        if key in self.items:
            raise ArgumentException(f"An item with the same key has already been added. Key: {key}")
        self.items[key] = value

    def __iter__(self):
        raise TypeError("a .NET Dictionary iterates as key/value pairs: use Keys or Values")


class NetList(list):
    """A .NET List: iterates its items, counts with Count."""
    Count = property(len)


class ArrayList(NetList):
    """System.Collections.ArrayList of boxed Doubles (Splitter.Ratios)."""
    Clear = list.clear

    def Add(self, value):
        self.append(real(value))


class DoubleArray(tuple):
    """System.Double[]"""


class View:
    """A value whose declared type is an interface: only the interface's members show;
    `__implementation__` (and GetAsObject where DWSIM has it) give the object behind it."""

    def __init__(self, target, members):
        self.__dict__.update(__implementation__=target, members=members)

    def __getattr__(self, name):
        if name not in self.members:
            raise AttributeError(f"'{self.members[0]}' object has no attribute '{name}'")
        return getattr(self.__implementation__, name)

    def GetAsObject(self):
        return self.__implementation__


ISimulationObject = ("ISimulationObject", "Name", "GraphicObject", "PropertyPackage", "Calculated")
IPropertyPackage = ("IPropertyPackage", "UniqueID", "Tag", "Clone")


# ---- DWSIM's enums, with their values ---------------------------------------------------

ObjectType = net_enum("ObjectType", """NodeIn NodeOut NodeEn Pump Tank Vessel MaterialStream EnergyStream
    Compressor Expander TPVessel Cooler Heater Pipe Valve Nenhum GO_Table GO_Text GO_Image GO_FloatingTable
    OT_Adjust OT_Spec OT_Recycle RCT_Conversion RCT_Equilibrium RCT_Gibbs RCT_CSTR RCT_PFR HeatExchanger
    ShortcutColumn DistillationColumn AbsorptionColumn RefluxedAbsorber ReboiledAbsorber OT_EnergyRecycle
    GO_Animation ComponentSeparator Mixer=68 Splitter=69 Dummy=71""")
ConType = net_enum("ConType", "ConIn=-1 ConOut=1 ConEn=0 ConSp=2")
HeaterMode = net_enum("CalculationMode", "HeatAdded OutletTemperature EnergyStream OutletVaporFraction "
                                         "TemperatureChange HeatAddedRemoved")
CoolerMode = net_enum("CalculationMode", "HeatRemoved OutletTemperature OutletVaporFraction TemperatureChange "
                                         "EnergyStream")
PumpMode = net_enum("CalculationMode", "Delta_P OutletPressure EnergyStream Curves Power")
CompressorMode = net_enum("CalculationMode", "OutletPressure Delta_P EnergyStream PowerRequired Head Curves "
                                             "PressureRatio")
ValveMode = net_enum("CalculationMode", "DeltaP OutletPressure Kv_Liquid Kv_Gas Kv_Steam Kv_General")
PressureBehavior = net_enum("PressureBehavior", "Average Maximum Minimum")
OpMode = net_enum("OpMode", "SplitRatios StreamMassFlowSpec StreamMoleFlowSpec")
ProcessPathType = net_enum("ProcessPathType", "Adiabatic Polytropic")
SeparationSpec = net_enum("SeparationSpec", "MassFlow MolarFlow PercentInletMassFlow PercentInletMolarFlow")


class ComponentSeparationSpec:
    def __init__(self, name, spec, value, unit):
        if not isinstance(spec, SeparationSpec) or not isinstance(name, str) or not isinstance(unit, str):
            raise TypeError("ComponentSeparationSpec(String, SeparationSpec, Double, String)")
        self.ComponentID, self.SepSpec, self.SpecValue, self.SpecUnit = name, spec, real(value), unit


AUXILIARY = "DWSIM.UnitOperations.UnitOperations.Auxiliary"
U = NS(Heater=NS(CalculationMode=HeaterMode), Cooler=NS(CalculationMode=CoolerMode),
       Pump=NS(CalculationMode=PumpMode), Compressor=NS(CalculationMode=CompressorMode),
       Valve=NS(CalculationMode=ValveMode),
       Auxiliary=NS(SeparationSpec=SeparationSpec, ComponentSeparationSpec=ComponentSeparationSpec))


# ---- units: ports, members, defaults ----------------------------------------------------

D, N, B, BYTE, INT = "Double", "Nullable", "Boolean", "Byte", "Int32"


class ConvergenceParameters:
    """A Recycle's tolerances (a .NET struct; DWSIM's defaults, SI units)."""

    def __init__(self):
        self.Temperatura, self.Pressao, self.VazaoMassica = 0.1, 0.1, 0.01
_HEATER = dict(OutletTemperature=(N, 298.15), OutletVaporFraction=(N, None), DeltaQ=(N, None), DeltaP=(N, None),
               DeltaT=(N, None), Eficiencia=(N, 100.0))
# class: ObjectType, input ports (I material, E energy), outputs, whether the unit's energy
# connector sends energy out to an energy stream, members (type, default)
CLASSES = {
    "MaterialStream": ("MaterialStream", "I", 1, False, {}),
    "EnergyStream": ("EnergyStream", "I", 1, False, dict(EnergyFlow=(N, None))),
    "Mixer": ("NodeIn", "IIIIII", 1, False, dict(PressureCalculation=(PressureBehavior, "Minimum"))),
    "Splitter": ("NodeOut", "I", 3, False, dict(OperationMode=(OpMode, "SplitRatios"), StreamFlowSpec=(D, 0.0),
                                                Stream2FlowSpec=(D, 0.0))),
    "ComponentSeparator": ("ComponentSeparator", "I", 2, True, dict(SpecifiedStreamIndex=(BYTE, 0),
                                                                    EnergyImb=(D, 0.0))),
    "Heater": ("Heater", "IE", 1, True, dict(CalcMode=(HeaterMode, "HeatAdded"), **_HEATER)),
    "Cooler": ("Cooler", "IE", 1, True, dict(CalcMode=(CoolerMode, "HeatRemoved"), **_HEATER)),
    "Vessel": ("Vessel", "IIIIIIE", 3, False, dict(
        OverrideT=(B, False), OverrideP=(B, False), FlashTemperature=(D, 298.15), FlashPressure=(D, 101325.0),
        DeltaQ=(N, None), PressureCalculation=(PressureBehavior, "Minimum"))),
    "Pump": ("Pump", "IE", 1, False, dict(CalcMode=(PumpMode, "Delta_P"), Pout=(D, 0.0), DeltaP=(N, None),
                                          DeltaQ=(N, None), DeltaT=(N, None), Eficiencia=(N, 75.0), NPSH=(N, None))),
    "Compressor": ("Compressor", "IE", 1, False, dict(
        CalcMode=(CompressorMode, "OutletPressure"), ProcessPath=(ProcessPathType, "Adiabatic"),
        POut=(D, 101325.0), AdiabaticEfficiency=(D, 75.0), PolytropicEfficiency=(D, 75.0), DeltaP=(D, 0.0),
        DeltaQ=(D, 0.0), DeltaT=(D, 0.0), PressureRatio=(D, math.nan), OutletTemperature=(D, 0.0))),
    "Valve": ("Valve", "I", 1, False, dict(CalcMode=(ValveMode, "DeltaP"), OutletPressure=(N, 101325.0),
                                           DeltaP=(N, None), DeltaQ=(N, None), DeltaT=(N, None))),
    "Recycle": ("OT_Recycle", "I", 1, False, dict(ConvergenceParameters=(ConvergenceParameters, None),
                                                  MaximumIterations=(INT, 50))),
}
# Members that stand for another one (Pump.Efficiency is a Double view of Eficiencia).
PROXIES = {("Pump", "Efficiency"): "Eficiencia"}
BY_TYPE = {row[0]: cls for cls, row in CLASSES.items()}
BY_TYPE.update(Mixer="Mixer", Splitter="Splitter")
# Units that may send energy to an energy stream through their energy connector.
ENERGY_OUT = {"Heater", "Cooler", "ComponentSeparator"}


def convert(kind, value):
    if kind == D:
        return real(value)
    if kind == N:
        return nullable(value)
    if kind == B:
        if type(value) is not bool:
            raise TypeError(f"no .NET Boolean from {type(value).__name__}")
        return value
    if kind == INT:
        if type(value) is not int or not -2**31 <= value < 2**31:
            raise TypeError(f"no .NET Int32 from {value!r}")
        return value
    if kind == BYTE:
        if type(value) is not int or not 0 <= value < 256:
            raise TypeError(f"no .NET Byte from {value!r}")
        return value
    if not isinstance(value, kind):
        raise TypeError(f"{value!r} is no {kind.__name__}")
    return value


class Point:
    """IConnectionPoint. `IsAttached` is what DWSIM sets; a test may set it alone to make a
    point that claims a connection it does not have."""

    def __init__(self, kind):
        self.Type, self.Active = kind, True
        self.IsAttached, self.AttachedConnector = False, None


class Graphic:
    """IGraphicObject of a simulation object."""

    def __init__(self, cls, name, tag):
        objtype, ins, outs, self.energy_out, _ = CLASSES[cls]
        self.Name, self.Tag, self.X, self.Y, self.cls = name, tag, 0.0, 0.0, cls
        self.ObjectType = getattr(ObjectType, objtype)
        self.InputConnectors = NetList(Point(ConType.ConEn if t == "E" else ConType.ConIn) for t in ins)
        self.OutputConnectors = NetList(Point(ConType.ConOut) for _ in range(outs))
        self.EnergyConnector = Point(ConType.ConEn)
        self.EnergyConnector.Active = self.energy_out


def default(kind, value):
    """A member's first value: an enum's member by name, a struct made anew for each object."""
    if isinstance(kind, type) and issubclass(kind, NetEnum):
        return getattr(kind, value)
    return kind() if isinstance(kind, type) else value


class SimulationObject:
    """What GetAsObject() gives: the concrete DWSIM object of class `cls`."""

    def __init__(self, cls, tag, name=None):
        members = CLASSES[cls][4]
        defaults = {m: default(t, d) for m, (t, d) in members.items()}
        self.__dict__.update(defaults, cls=cls, Name=name or tag, GraphicObject=Graphic(cls, name or tag, tag),
                             Calculated=False, PropertyPackage=None)
        if cls == "Splitter":
            self.__dict__["Ratios"] = ArrayList([1.0, 0.0, 0.0])
        if cls == "ComponentSeparator":
            self.__dict__["ComponentSepSpecs"] = Keyed()

    def GetType(self):
        return NS(Name=self.cls)

    def __getattr__(self, name):
        if (self.cls, name) in PROXIES:
            value = self.__dict__[PROXIES[self.cls, name]]
            return 0.0 if value is None else value
        raise AttributeError(f"{self.cls} has no member {name}")

    def __setattr__(self, name, value):
        if (self.cls, name) in PROXIES:
            name, kind = PROXIES[self.cls, name], D
        elif name == "ComponentSepSpecs" and self.cls == "ComponentSeparator":
            kind = Keyed
        elif name in CLASSES[self.cls][4]:
            kind = CLASSES[self.cls][4][name][0]
        else:
            raise AttributeError(f"{self.cls} has no member {name} that can be set")
        self.__dict__[name] = convert(kind, value)


def Unit(cls, tag):
    """A unit of class `cls`, made outside a flowsheet."""
    return SimulationObject(cls, tag)


class MaterialStream(SimulationObject):
    """Holds what is set in `set`; the Get* members answer from `state`, which a solve
    (or a test playing one) writes."""

    def __init__(self, tag, name=None):
        super().__init__("MaterialStream", tag, name)
        self.__dict__.update(set={}, state=dict(T=298.15, P=101325.0, F=0.0, x=(), vf=None))

    def __setattr__(self, name, value):   # a test may replace a Get* member
        object.__setattr__(self, name, value)

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


# ---- property packages ------------------------------------------------------------------

class Record:
    """An interaction-parameter record: typed fields, Clone()."""
    FIELDS = {}

    def __init__(self, **values):
        self.__dict__.update(self.FIELDS)
        for k, v in values.items():
            setattr(self, k, v)

    def __setattr__(self, name, value):
        if name not in self.FIELDS or type(value) is not type(self.FIELDS[name]):
            raise TypeError(f"no field {name} of type {type(value).__name__}")
        self.__dict__[name] = value

    def Clone(self):
        return copy.copy(self)


class NrtlRecord(Record):
    """NRTL_IPData: ID1, ID2 are Object (text here)."""
    FIELDS = dict(ID1="", ID2="", A12=0.0, A21=0.0, B12=0.0, B21=0.0, C12=0.0, C21=0.0, alpha12=0.0, comment="")


class PrRecord(Record):
    """PR_IPData, also SRK's."""
    FIELDS = dict(ID1=-1, ID2=-1, Name1="", Name2="", kij=0.0, comment="")


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


def package(name, **more):
    return NS(ComponentName=name, Tag=name, UniqueID="", AreModelParametersDirty=True, **more)


def nrtl_package(pairs=None):
    return package("NRTL", m_uni=NS(InteractionParameters=table(pairs or {})))


def cubic_package(pairs=None, name="Peng-Robinson (PR)"):
    return package(name, m_pr=NS(InteractionParameters=table(pairs or {})))


PACKAGES = {n: (lambda n=n: package(n)) for n in ("Raoult's Law", "Wilson", "UNIQUAC", "Lee-Kesler-Plöcker")}
PACKAGES.update({"NRTL": nrtl_package, "Peng-Robinson (PR)": cubic_package,
                 "Soave-Redlich-Kwong (SRK)": lambda: cubic_package(name="Soave-Redlich-Kwong (SRK)")})
COMPOUNDS = {"Water": "7732-18-5", "Ethanol": " 64-17-5 ", "Methanol": "67-56-1",
             "N-butane": "106-97-8", "n-Butane": "106-97-8", "Methane": "74-82-8"}
MOLAR_WEIGHTS = {"Water": 18.015, "Ethanol": 46.069, "Methanol": 32.042, "N-butane": 58.123, "n-Butane": 58.123,
                 "Methane": 16.043}  # g/mol


# ---- the flowsheet and the automation object --------------------------------------------

NOT_ALLOWED = "This connection is not allowed."
CANNOT = "The requested connection between the given objects cannot be done."


class Flowsheet:
    """IFlowsheet. For the tests it records `calls`, `links` (from tag, port, to tag, port;
    "E" for a unit's energy connector), the concrete `objects` and their `places` by tag,
    and the concrete `package` made last."""

    def __init__(self, compounds):
        self.AvailableCompounds = compounds
        self.SelectedCompounds, self.PropertyPackages, self.SimulationObjects = Keyed(), Keyed(), Keyed()
        self.calls, self.links, self.objects, self.places, self.package = [], [], {}, {}, None

    def AddCompound(self, name):
        self.calls.append(("AddCompound", name))
        compound = self.AvailableCompounds[name]
        self.SelectedCompounds.Add(name, compound)
        return compound

    def CreateAndAddPropertyPackage(self, name):
        self.calls.append(("CreateAndAddPropertyPackage", name))
        if name not in PACKAGES:
            raise KeyNotFoundException(f"The given key '{name}' was not present in the dictionary.")
        self.package = PACKAGES[name]()
        self.package.UniqueID = f"PP-{self.PropertyPackages.Count + 1}"
        view = View(self.package, IPropertyPackage)
        self.PropertyPackages.Add(self.package.UniqueID, view)
        return view

    def AddObject(self, t, x, y, tag):
        if not isinstance(t, ObjectType) or type(x) is not int or type(y) is not int or type(tag) is not str:
            raise TypeError(f"AddObject(ObjectType, Int32, Int32, String), not ({t!r}, {x!r}, {y!r}, {tag!r})")
        if t.name not in BY_TYPE:
            raise NullReferenceException("Object reference not set to an instance of an object")
        self.calls.append(("AddObject", t.name, tag))
        while tag in self.objects:
            if not re.search(r"\d", tag):
                raise AssertionError(f"DWSIM loops for ever on a second tag {tag!r} without digits")
            tag = re.sub(r"\d+", lambda m: str(int(m.group()) + 1).zfill(len(m.group())), tag)
        cls, name = BY_TYPE[t.name], f"{t.name}-{len(self.objects) + 1}"
        o = MaterialStream(tag, name) if cls == "MaterialStream" else SimulationObject(cls, tag, name)
        o.GraphicObject.X, o.GraphicObject.Y = float(x), float(y)
        self.objects[tag], self.places[tag] = o, (x, y)
        view = View(o, ISimulationObject)
        self.SimulationObjects.Add(name, view)
        return view

    def ConnectObjects(self, g_from, g_to, i, j):
        if not (isinstance(g_from, Graphic) and isinstance(g_to, Graphic)) or {type(i), type(j)} != {int}:
            raise TypeError("ConnectObjects(IGraphicObject, IGraphicObject, Int32, Int32)")
        self.calls.append(("ConnectObjects", g_from.Tag, g_to.Tag, i, j))
        streams = ("MaterialStream", "EnergyStream")
        fed_back = any(c is not None and c.AttachedFrom is g_to
                       for c in (p.AttachedConnector for p in g_from.InputConnectors))
        if (g_from.cls in streams) == (g_to.cls in streams) or fed_back:
            raise NetException(NOT_ALLOWED)
        if g_to.cls == "EnergyStream":     # unit -> energy stream: the unit's energy connector, indices ignored
            if g_from.cls not in ENERGY_OUT:
                raise NetException(NOT_ALLOWED)
            if g_from.EnergyConnector.IsAttached:
                raise NetException(CANNOT)
            self.attach(g_from, "E", g_to, 0)
            return
        want = ConType.ConEn if g_from.cls == "EnergyStream" else ConType.ConIn
        j = self._port(g_to.InputConnectors, j, lambda p: p.Type == want, energy=want == ConType.ConEn)
        i = self._port(g_from.OutputConnectors, i, lambda p: True)
        self.attach(g_from, i, g_to, j)

    @staticmethod
    def _port(ports, k, fits, energy=False):
        if k == -1:
            k = next((n for n, p in enumerate(ports) if fits(p) and not p.IsAttached), None)
            if k is None:
                raise NetException(NOT_ALLOWED if energy else CANNOT)
            return k
        if not 0 <= k < len(ports):
            raise ArgumentOutOfRangeException("Index was out of range. Must be non-negative and less than the "
                                              "size of the collection. (Parameter 'index')")
        if ports[k].IsAttached or not fits(ports[k]):
            raise NetException(CANNOT)
        return k

    def attach(self, g_from, i, g_to, j):
        """A connection as DWSIM stores it, with no rule checked: what ConnectObjects makes,
        and what a loaded file may hold."""
        energy = i == "E"
        c = NS(AttachedFrom=g_from, AttachedTo=g_to, AttachedFromConnectorIndex=-1 if energy else i,
               AttachedToConnectorIndex=j, AttachedFromEnergy=energy, AttachedToEnergy=g_to.cls == "EnergyStream")
        for point in (g_from.EnergyConnector if energy else g_from.OutputConnectors[i], g_to.InputConnectors[j]):
            point.IsAttached, point.AttachedConnector = True, c
        self.links.append((g_from.Tag, i, g_to.Tag, j))


class Automation:
    """Automation3; `solver(sim)` plays DWSIM's solve and gives what CalculateFlowsheet4
    returns; `files` holds what LoadFlowsheet opens, by path."""

    def __init__(self, compounds=COMPOUNDS):
        self.AvailableCompounds = Keyed((n, NS(Name=n, CAS_Number=c, Molar_Weight=MOLAR_WEIGHTS.get(n, 100.0)))
                                        for n, c in compounds.items())
        self.solver = lambda sim: []
        self.calls, self.sheets, self.files = [], [], {}

    def CreateFlowsheet(self):
        self.sheets.append(Flowsheet(self.AvailableCompounds))
        return self.sheets[-1]

    def CalculateFlowsheet4(self, sim):
        self.calls.append(("CalculateFlowsheet4", sim))
        return self.solver(sim)

    def SaveFlowsheet(self, sim, path, compressed):
        """DWSIM chooses the form by the extension and writes nothing, silently, for any other."""
        self.calls.append(("SaveFlowsheet", sim, path, compressed))
        if path.lower().endswith((".dwxmz", ".dwxml")):
            with open(path, "wb") as f:
                f.write(b"saved " + repr(sim).encode())

    def LoadFlowsheet(self, path):
        self.calls.append(("LoadFlowsheet", path))
        if path not in self.files:
            raise FileNotFoundException(f"Could not find file '{path}'.")
        return self.files[path]


# ---- the .NET runtime: pythonnet, clr, System -------------------------------------------

class Writer:
    """A System.IO.TextWriter, known by its name."""

    def __init__(self, name):
        self.name = name


# What the runtime was asked, in order; `fail` maps a step ("load", "AddReference",
# "Automation3") to the exception it raises.
RUNTIME = NS(calls=[], fail={})


def _step(name, *args):
    RUNTIME.calls.append([name, *args])
    if name in RUNTIME.fail:
        raise RUNTIME.fail[name]


class Console:
    Out = Writer("console")

    @classmethod
    def SetOut(cls, writer):
        if not isinstance(writer, Writer):
            raise TypeError("SetOut takes a System.IO.TextWriter")
        _step("SetOut", writer.name)
        cls.Out = writer


class Automation3(Automation):
    """The automation object as DWSIM.Automation holds it: its construction is recorded
    with the console writer of that moment."""

    def __init__(self):
        _step("Automation3", Console.Out.name)
        super().__init__()


class _Array:
    def __getitem__(self, t):
        assert t is System.Double
        return lambda values: DoubleArray(real(v) for v in values)


def module(name, **attrs):
    m = types.ModuleType(name)
    m.__dict__.update(attrs)
    return m


System = module("System", Array=_Array(), Double=object(), Console=Console,
                IO=NS(TextWriter=NS(Null=Writer("null"))))


def install():
    """pythonnet, clr, System and the DWSIM namespaces as modules of this process."""
    for m in (module("pythonnet", load=lambda name: _step("load", name)),
              module("clr", AddReference=lambda x: _step("AddReference", x)), System, module("DWSIM"),
              module("DWSIM.Automation", Automation3=Automation3),
              module("DWSIM.Interfaces.Enums.GraphicObjects", ObjectType=ObjectType, ConType=ConType),
              module("DWSIM.UnitOperations", UnitOperations=U),
              module(AUXILIARY, SeparationSpec=SeparationSpec, ComponentSeparationSpec=ComponentSeparationSpec)):
        sys.modules[m.__name__] = m


# ---- the host's side --------------------------------------------------------------------

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


def feed(T=300.0, P=1e5, flows=(0.001, 0.003), **more):
    return NS(T=T, P=P, flows=list(flows), **more)


def block(kind, **spec):
    return NS(kind=kind, spec=spec)


def flowsheet(feeds=None, blocks=None, ports=None, components=("WATER", "ETHANOL"), method="IDEAL", pp=(), **more):
    more.setdefault("meta", {})
    return NS(pp=NS(components=list(components), method=method, **dict(pp)), feeds=feeds or {}, blocks=blocks or {},
              ports=ports or {}, **more)
