"""Shapes of the automation surface as pythonnet sees them."""
import pytest

from standin_support import CLASSES, PROBE, run

# material inputs, energy input after them, outputs, energy connector active
PORTS = {"MaterialStream": (1, 0, 1, False), "EnergyStream": (1, 0, 1, False), "Mixer": (6, 0, 1, False),
         "Splitter": (1, 0, 3, False), "ComponentSeparator": (1, 0, 2, True), "Heater": (1, 1, 1, True),
         "Cooler": (1, 1, 1, True), "Vessel": (6, 1, 3, False), "Pump": (1, 1, 1, False),
         "Compressor": (1, 1, 1, False), "Valve": (1, 0, 1, False)}
MODES = ("Heater", "Cooler", "Pump", "Compressor", "Valve")
DEFAULTS = {  # None is an unset nullable; "absent" a member the class does not have
    ("Heater", "CalcMode"): "HeatAdded", ("Heater", "DeltaQ"): None, ("Heater", "Eficiencia"): 100.0,
    ("Pump", "Pout"): 0.0, ("Compressor", "DeltaQ"): 0.0, ("Vessel", "OverrideT"): False,
    ("Vessel", "PressureCalculation"): "Minimum", ("Vessel", "DeltaP"): "absent",
    ("ComponentSeparator", "DeltaQ"): "absent", ("Splitter", "Ratios"): "System.Collections.ArrayList",
}
NOT_ALLOWED = ["Exception", "This connection is not allowed."]
CANNOT = ["Exception", "The requested connection between the given objects cannot be done."]


@pytest.fixture(scope="module")
def made():
    return run(f"""
from DWSIM.Interfaces.Enums.GraphicObjects import ConType
fs.AddCompound("Water")
pp = fs.CreateAndAddPropertyPackage("Peng-Robinson (PR)")
out = dict(fs=[type(fs).__name__, fs.__implementation__.GetType().Name], pp=[type(pp).__name__, hasattr(pp, "ComponentName"),
           pp.__implementation__.ComponentName, pp.Tag, pp.UniqueID, list(fs.PropertyPackages.Keys),
           bool(pp.__implementation__.AreModelParametersDirty)], unknown=raises(lambda: add("OT_Recycle")), objects={{}})
objs = {{}}
for t in {list(CLASSES)!r}:
    o = add(t)
    g, objs[t] = o.GraphicObject, o.GetAsObject()
    d = out["objects"][t] = dict(
        seen=[type(o).__name__, hasattr(o, "CalcMode"), objs[t].GetType().FullName, g.__implementation__.GetType().FullName,
              str(g.ObjectType), o.Name.split("-")[0] + "-", g.Tag, fs.SimulationObjects.ContainsKey(o.Name), type(g.X).__name__],
        calcmode=[hasattr(objs[t], "CalcMode"), hasattr(o.__implementation__, "CalcMode")],
        ports=[[str(c.Type) for c in g.InputConnectors], g.OutputConnectors.Count, g.EnergyConnector.Active])
    if "Stream" not in t:
        d["landed"] = []
        for _ in range(sum(1 for c in g.InputConnectors if str(c.Type) == "ConIn")):
            connect(add("MaterialStream"), o)
            d["landed"].append(max(i for i, c in enumerate(g.InputConnectors) if c.IsAttached))
        d["energy"] = raises(lambda: connect(add("EnergyStream"), o)) or \\
            [i for i, c in enumerate(g.InputConnectors) if c.IsAttached and str(c.Type) == "ConEn"]
        d["outs"] = []
        for _ in range(g.OutputConnectors.Count):
            s = add("MaterialStream")
            connect(o, s)
            d["outs"].append(s.GraphicObject.InputConnectors[0].AttachedConnector.AttachedFromConnectorIndex)
show = lambda v: v if v is None or isinstance(v, (bool, float)) else str(v)
out["defaults"] = [show(getattr(objs[t], m, "absent")) for t, m in {list(DEFAULTS)!r}]
out["more"] = [[float(x) for x in objs["Splitter"].Ratios], list(objs["Cooler"].GetCalculationModes()),
               objs["ComponentSeparator"].ComponentSepSpecs.GetType().Name]
# crossings: enums, nullable, System.Array, unit strings
h, m = objs["Heater"], add("MaterialStream").__implementation__
out["int_to_enum"] = raises(lambda: setattr(h, "CalcMode", 1))
h.CalcMode = U.Heater.CalculationMode.OutletTemperature
m.SetOverallComposition(System.Array[System.Double]([1.0]))
out.update(mode=str(h.CalcMode), comp=list(m.GetOverallComposition()), vf=m.Phases[2].Properties.molarfraction,
           ints=[int(U.Cooler.CalculationMode.EnergyStream), int(U.Heater.CalculationMode.EnergyStream)] +
                [int(getattr(ObjectType, n)) for n in ("Mixer", "Splitter", "ComponentSeparator", "Dummy")] +
                [int(getattr(ConType, n)) for n in ("ConIn", "ConOut", "ConEn", "ConSp")],
           list_rejected=raises(lambda: m.SetOverallComposition([1.0])),
           wrong_length=raises(lambda: m.SetOverallComposition(System.Array[System.Double]([0.5, 0.5]))),
           strings=[m.SetTemperature("25 C") and m.GetTemperature(), m.SetPressure("2 bar") and m.GetPressure()])
# the same crossings on a minimal assembly of their own
clr.AddReference({PROBE!r})
from Probe import Factory, Color
t = Factory().Make(); c = t.__implementation__
out["probe"] = [type(t).__name__, hasattr(t, "Paint"), type(c).__name__, type(t.GetAsObject()).__name__, c.Maybe,
                raises(lambda: setattr(c, "Paint", 5))[0], raises(lambda: c.Sum([1.0, 2.0]))[0]]
c.Paint, c.Maybe = Color.Blue, 2.5
report(out | dict(probe=out["probe"] + [str(c.Paint), int(c.Paint), c.Maybe, c.Sum(System.Array[System.Double]([1.0, 2.0, 3.5]))]))
""")


@pytest.mark.parametrize("t", list(CLASSES))
def test_created_objects_and_their_ports(made, t):
    d = made["objects"][t]
    space, objtype, prefix, tag = CLASSES[t]
    graphic = f"DWSIM.Drawing.SkiaSharp.GraphicObjects.Shapes.{t}Graphic"
    assert d["seen"] == ["ISimulationObject", False, f"{space}.{t}", graphic, objtype, prefix, tag, True, "float"]
    assert d["calcmode"] == [t in MODES] * 2
    n, energy, outs, active = PORTS[t]
    assert d["ports"] == [["ConIn"] * n + ["ConEn"] * energy, outs, active]
    if "Stream" not in t:   # -1 takes the first free port of the right kind
        assert d["landed"] == list(range(n)) and d["outs"] == list(range(outs))
        assert d["energy"] == ([n] if energy else NOT_ALLOWED)


def test_interfaces_defaults_and_crossings(made):
    iface, has_name, name, tag, uid, keys, dirty = made["pp"]
    assert made["fs"] == ["IFlowsheet", "Flowsheet2"] and made["unknown"][0] == "NotSupportedException"
    assert (iface, has_name, name, tag, keys, uid[:3], dirty) == ("IPropertyPackage", False, *["Peng-Robinson (PR)"] * 2,
                                                                  [uid], "PP-", True)
    assert dict(zip(DEFAULTS, made["defaults"])) == DEFAULTS
    assert made["more"] == [[1.0, 0.0, 0.0], ["HeatRemoved", "OutletTemperature", "OutletVaporFraction",
                                              "TemperatureChange", "EnergyStream"], "Dictionary`2"]
    assert made["int_to_enum"][0] == made["list_rejected"][0] == "TypeError"
    assert made["mode"] == "OutletTemperature" and made["comp"] == [1.0] and made["vf"] is None
    assert made["ints"] == [4, 2, 68, 69, 36, 71, -1, 1, 0, 2]
    assert made["wrong_length"][0] == "ArgumentException"
    assert made["strings"] == [pytest.approx(298.15), pytest.approx(2e5)]
    assert made["probe"] == ["IThing", False, "Thing", "Thing", None, "TypeError", "TypeError", "Blue", 5, 2.5, 6.5]


def test_dotnet_exceptions_reach_python():
    r = run("""
out = dict(unknown_compound=raises(lambda: fs.AddCompound("1,2-Dichloroethane")))
fs.AddCompound("1,2-dichloroethane")
out["duplicate_compound"] = raises(lambda: fs.AddCompound("1,2-dichloroethane"))
out["unknown_package"] = raises(lambda: fs.CreateAndAddPropertyPackage("Steam Tables (IAPWS-IF97)"))
s1, s2, e1 = add("MaterialStream", "S1"), add("MaterialStream", "S1"), add("EnergyStream")
h, p, mx, c, cs = add("Heater"), add("Pump"), add("Mixer"), add("Cooler"), add("ComponentSeparator")
out["tags"] = [s1.GraphicObject.Tag, s2.GraphicObject.Tag] + [add("MaterialStream", "F-09").GraphicObject.Tag for _ in "12"]
add("Valve", "Feed valve")
out["duplicate_plain_tag"] = raises(lambda: add("Valve", "Feed valve"))
out["rules"] = [raises(lambda: connect(x, y)) for x, y in ((s1, s2), (s1, e1), (h, p), (p, e1), (e1, mx))]
out["port_out_of_range"] = raises(lambda: connect(s1, h, -1, 5))
connect(s1, h, -1, 0)
out["occupied"] = [raises(lambda: connect(s2, h, -1, 0)), h.GraphicObject.InputConnectors[0].AttachedConnector.AttachedFrom.Tag,
                   s2.GraphicObject.OutputConnectors[0].IsAttached, raises(lambda: connect(h, s1))]
e2, e3, e4, e5 = (add("EnergyStream") for _ in range(4))
connect(h, e2, 7, 9)     # both indices ignored: the energy connector is used
con = e2.GraphicObject.InputConnectors[0].AttachedConnector
out["energy"] = [con.AttachedFromConnectorIndex, con.AttachedFromEnergy, raises(lambda: connect(h, e3))]
connect(c, e4); connect(cs, e5)
out["energy_attached"] = [x.GraphicObject.EnergyConnector.IsAttached for x in (h, c, cs)]
report(out)
""")
    assert r["unknown_compound"][0] == r["unknown_package"][0] == "KeyNotFoundException"
    assert r["duplicate_compound"][0] == "ArgumentException"
    assert r["tags"] == ["S1", "S2", "F-09", "F-10"]
    assert r["duplicate_plain_tag"][0] == "ArgumentException" and "Feed valve" in r["duplicate_plain_tag"][1]
    assert r["rules"] == [NOT_ALLOWED] * 5 and r["port_out_of_range"][0] == "ArgumentOutOfRangeException"
    assert r["occupied"] == [CANNOT, "S1", False, NOT_ALLOWED]
    assert r["energy"] == [-1, True, CANNOT] and r["energy_attached"] == [True] * 3


def test_compounds_and_parameter_tables():
    r = run("""
ac = a.AvailableCompounds
out = dict(count=[ac.Count, fs.AvailableCompounds.Count] + list(ac.Keys)[:3], cas=[ac[n].CAS_Number for n in ("N-butane", "n-Butane")],
           packages=sorted(a.AvailablePropertyPackages.Keys))
early = add("MaterialStream")
fs.AddCompound("Ethanol"); fs.AddCompound("Water")
out["selected"] = [list(fs.SelectedCompounds.Keys), len(early.__implementation__.GetOverallComposition()),
                   list(add("MaterialStream").__implementation__.GetOverallComposition())]
n1, n2 = (fs.CreateAndAddPropertyPackage("NRTL").__implementation__ for _ in "12")
ip = n1.m_uni.InteractionParameters
pair = ip["Ethanol"]["Water"]
out["nrtl"] = [str(pair.ID1), str(pair.ID2), pair.A12, pair.A21, pair.alpha12, pair.B12, type(ip).__name__]
c = pair.Clone(); c.A12 = 1000.0
pair.A12 = 1.0
out["independent"] = [n2.m_uni.InteractionParameters["Ethanol"]["Water"].A12, c.A12]
kij = fs.CreateAndAddPropertyPackage("Peng-Robinson (PR)").__implementation__.m_pr.InteractionParameters["Methane"]["Carbon dioxide"]
srk = fs.CreateAndAddPropertyPackage("Soave-Redlich-Kwong (SRK)").__implementation__.m_pr.InteractionParameters
out["pr"] = [type(kij).__name__, kij.kij, kij.ID1, type(srk["Methane"]["Nitrogen"]).__name__]
report(out)
""")
    assert r["count"] == [774, 774, "Air", "Argon", "Bromine"] and r["cas"] == ["106-97-8", "106-97-8"]
    assert r["packages"] == sorted(["Raoult's Law", "NRTL", "Wilson", "UNIQUAC", "Peng-Robinson (PR)",
                                    "Soave-Redlich-Kwong (SRK)"])
    assert r["selected"] == [["Ethanol", "Water"], 0, [0.5, 0.5]]
    assert r["nrtl"] == ["Ethanol", "Water", -57.9601, 1241.7396, 0.2937, 0.0,
                         "Dictionary[String,Dictionary[String,NRTL_IPData]]"]
    assert r["independent"] == [-57.9601, 1000.0] and r["pr"] == ["PR_IPData", 0.0919, -1, "PR_IPData"]
