"""Shapes of the automation surface as pythonnet sees them."""
import pytest

from conftest import FLOWSHEET_HELPERS, run

TYPES = ["MaterialStream", "EnergyStream", "Mixer", "Splitter", "ComponentSeparator", "Heater",
         "Cooler", "Vessel", "Pump", "Compressor", "Valve"]


@pytest.fixture(scope="module")
def typing():
    return run(FLOWSHEET_HELPERS + """
fs.AddCompound("Water")
pp = fs.CreateAndAddPropertyPackage("Peng-Robinson (PR)")
out = dict(fs_iface=type(fs).__name__, fs_concrete=fs.__implementation__.GetType().Name,
           pp_iface=type(pp).__name__, pp_has_name=hasattr(pp, "ComponentName"),
           pp_name=pp.__implementation__.ComponentName, pp_tag=pp.Tag,
           pp_keys=[k for k in fs.PropertyPackages.Keys], pp_uid=pp.UniqueID,
           dirty=bool(pp.__implementation__.AreModelParametersDirty), names={})
for t in %r:
    o = add(t)
    impl = o.GetAsObject()
    out["names"][t] = [type(o).__name__, hasattr(o, "CalcMode"), impl.GetType().Name,
                       o.GraphicObject.__implementation__.GetType().Name, str(o.GraphicObject.ObjectType),
                       o.Name.split("-")[0] + "-", o.GraphicObject.Tag, hasattr(impl, "CalcMode"),
                       hasattr(o.__implementation__, "CalcMode"), fs.SimulationObjects.ContainsKey(o.Name)]
h = fs.GetFlowsheetSimulationObject("HT-1").__implementation__
out["heater_defaults"] = [str(h.CalcMode), h.OutletTemperature, h.DeltaQ, h.DeltaP, h.Eficiencia]
c = fs.GetFlowsheetSimulationObject("CL-1").__implementation__
out["cooler_modes"] = [str(m) for m in c.GetCalculationModes()]
p = fs.GetFlowsheetSimulationObject("PUMP-1").__implementation__
out["pump_defaults"] = [str(p.CalcMode), p.Pout, p.DeltaP, p.Eficiencia]
k = fs.GetFlowsheetSimulationObject("C-1").__implementation__
out["compressor_defaults"] = [str(k.CalcMode), k.POut, k.AdiabaticEfficiency, k.DeltaQ, type(k.DeltaQ).__name__]
v = fs.GetFlowsheetSimulationObject("V-1").__implementation__
out["vessel_defaults"] = [v.OverrideT, v.FlashTemperature, v.FlashPressure, v.DeltaQ, str(v.PressureCalculation),
                          hasattr(v, "DeltaP")]
s = fs.GetFlowsheetSimulationObject("SPL-1").__implementation__
out["ratios"] = [s.Ratios.GetType().Name, [float(x) for x in s.Ratios]]
cs = fs.GetFlowsheetSimulationObject("CS-1").__implementation__
out["cs"] = [cs.SpecifiedStreamIndex.GetType().Name if hasattr(cs.SpecifiedStreamIndex, "GetType") else type(cs.SpecifiedStreamIndex).__name__,
             cs.ComponentSepSpecs.GetType().Name, hasattr(cs, "DeltaQ")]
out["unknown_type"] = raises(lambda: add("OT_Recycle"))
report(out)
""" % (TYPES,))


def test_interfaces_hide_concrete_members(typing):
    assert typing["fs_iface"] == "IFlowsheet" and typing["fs_concrete"] == "Flowsheet2"
    assert typing["pp_iface"] == "IPropertyPackage" and not typing["pp_has_name"]
    assert typing["pp_name"] == typing["pp_tag"] == "Peng-Robinson (PR)"
    assert typing["pp_keys"] == [typing["pp_uid"]] and typing["pp_uid"].startswith("PP-")
    assert typing["dirty"] is True
    assert typing["unknown_type"][0] == "NotSupportedException"


EXPECTED = {  # concrete class, graphic class, graphic ObjectType, id prefix, default tag
    "MaterialStream": ("MaterialStream", "MaterialStreamGraphic", "MaterialStream", "MAT-", "1"),
    "EnergyStream": ("EnergyStream", "EnergyStreamGraphic", "EnergyStream", "EN-", "E1"),
    "Mixer": ("Mixer", "MixerGraphic", "NodeIn", "MIST-", "MIX-1"),
    "Splitter": ("Splitter", "SplitterGraphic", "NodeOut", "DIV-", "SPL-1"),
    "ComponentSeparator": ("ComponentSeparator", "ComponentSeparatorGraphic", "ComponentSeparator", "CS-", "CS-1"),
    "Heater": ("Heater", "HeaterGraphic", "Heater", "AQ-", "HT-1"),
    "Cooler": ("Cooler", "CoolerGraphic", "Cooler", "RESF-", "CL-1"),
    "Vessel": ("Vessel", "VesselGraphic", "Vessel", "SEP-", "V-1"),
    "Pump": ("Pump", "PumpGraphic", "Pump", "BB-", "PUMP-1"),
    "Compressor": ("Compressor", "CompressorGraphic", "Compressor", "COMP-", "C-1"),
    "Valve": ("Valve", "ValveGraphic", "Valve", "VALV-", "VALVE-1"),
}


@pytest.mark.parametrize("t", TYPES)
def test_created_objects(typing, t):
    iface, iface_calcmode, cls, gcls, gtype, prefix, tag, impl_calcmode, impl2_calcmode, keyed = typing["names"][t]
    assert iface == "ISimulationObject" and not iface_calcmode
    assert (cls, gcls, gtype, prefix, tag) == EXPECTED[t]
    assert impl_calcmode == impl2_calcmode == (t in ("Heater", "Cooler", "Pump", "Compressor", "Valve"))
    assert keyed


def test_unit_defaults(typing):
    assert typing["heater_defaults"] == ["HeatAdded", 298.15, None, None, 100.0]
    assert typing["cooler_modes"] == ["HeatRemoved", "OutletTemperature", "OutletVaporFraction",
                                      "TemperatureChange", "EnergyStream"]
    assert typing["pump_defaults"] == ["Delta_P", 0.0, None, 75.0]
    assert typing["compressor_defaults"] == ["OutletPressure", 101325.0, 75.0, 0.0, "float"]
    assert typing["vessel_defaults"] == [False, 298.15, 101325.0, None, "Minimum", False]
    assert typing["ratios"] == ["ArrayList", [1.0, 0.0, 0.0]]
    assert typing["cs"][1].startswith("Dictionary") and typing["cs"][2] is False


def test_enums_and_arrays():
    r = run(FLOWSHEET_HELPERS + """
for c in ("Water", "Methanol", "Benzene"):
    fs.AddCompound(c)
h = add("Heater").GetAsObject()
out = dict(int_rejected=raises(lambda: setattr(h, "CalcMode", 1)))
h.CalcMode = U.Heater.CalculationMode.OutletTemperature
out["mode"] = str(h.CalcMode)
out["cooler_values"] = [int(U.Cooler.CalculationMode.EnergyStream), int(U.Heater.CalculationMode.EnergyStream)]
out["objtype"] = [int(ObjectType.Mixer), int(ObjectType.Splitter), int(ObjectType.ComponentSeparator), int(ObjectType.Dummy)]
from DWSIM.Interfaces.Enums.GraphicObjects import ConType
out["contype"] = [int(ConType.ConIn), int(ConType.ConOut), int(ConType.ConEn), int(ConType.ConSp)]
m = add("MaterialStream").__implementation__
m.SetOverallComposition(System.Array[System.Double]([0.2, 0.3, 0.5]))
comp = m.GetOverallComposition()
out["roundtrip"] = [type(comp).__name__, list(comp)]
out["list_rejected"] = raises(lambda: m.SetOverallComposition([0.2, 0.3, 0.5]))
out["wrong_length"] = raises(lambda: m.SetOverallComposition(System.Array[System.Double]([1.0])))
out["string_overloads"] = [m.SetTemperature("25 C") and m.GetTemperature(), m.SetPressure("2 bar") and m.GetPressure()]
out["vf_before"] = m.Phases[2].Properties.molarfraction
report(out)
""")
    assert r["int_rejected"][0] == "TypeError"
    assert r["mode"] == "OutletTemperature"
    assert r["cooler_values"] == [4, 2]
    assert r["objtype"] == [68, 69, 36, 71]
    assert r["contype"] == [-1, 1, 0, 2]
    assert r["roundtrip"][1] == [0.2, 0.3, 0.5]
    assert r["list_rejected"][0] == "TypeError"
    assert r["wrong_length"][0] == "ArgumentException"
    assert r["string_overloads"] == [pytest.approx(298.15), pytest.approx(2e5)]
    assert r["vf_before"] is None


def test_dotnet_exceptions_reach_python():
    r = run(FLOWSHEET_HELPERS + """
out = {}
out["unknown_compound"] = raises(lambda: fs.AddCompound("1,2-Dichloroethane"))
fs.AddCompound("1,2-dichloroethane")
out["duplicate_compound"] = raises(lambda: fs.AddCompound("1,2-dichloroethane"))
out["unknown_package"] = raises(lambda: fs.CreateAndAddPropertyPackage("Steam Tables (IAPWS-IF97)"))
s1, s2, e1 = add("MaterialStream", "S1"), add("MaterialStream", "S1"), add("EnergyStream")
h, p, mx, v = add("Heater"), add("Pump"), add("Mixer"), add("Vessel")
out["tags"] = [s1.GraphicObject.Tag, s2.GraphicObject.Tag, add("MaterialStream", "F-09").GraphicObject.Tag,
               add("MaterialStream", "F-09").GraphicObject.Tag]
add("Valve", "Feed valve")
out["duplicate_plain_tag"] = raises(lambda: add("Valve", "Feed valve"))
out["stream_to_stream"] = raises(lambda: connect(s1, s2))
out["material_to_energy"] = raises(lambda: connect(s1, e1))
out["unit_to_unit"] = raises(lambda: connect(h, p))
out["pump_to_energy"] = raises(lambda: connect(p, e1))
out["energy_to_mixer"] = raises(lambda: connect(e1, mx))
out["port_out_of_range"] = raises(lambda: connect(s1, h, -1, 5))
connect(s1, h, -1, 0)
out["occupied"] = raises(lambda: connect(s2, h, -1, 0))
out["occupied_flags"] = [h.GraphicObject.InputConnectors[0].AttachedConnector.AttachedFrom.Tag,
                         s2.GraphicObject.OutputConnectors[0].IsAttached]
out["loop_back"] = raises(lambda: connect(h, s1))
report(out)
""")
    assert r["unknown_compound"][0] == "KeyNotFoundException"
    assert r["duplicate_compound"][0] == "ArgumentException"
    assert r["unknown_package"][0] == "KeyNotFoundException"
    assert r["tags"] == ["S1", "S2", "F-09", "F-10"]
    assert r["duplicate_plain_tag"][0] == "ArgumentException" and "Feed valve" in r["duplicate_plain_tag"][1]
    for key in ("stream_to_stream", "material_to_energy", "unit_to_unit", "pump_to_energy", "energy_to_mixer", "loop_back"):
        assert r[key] == ["Exception", "This connection is not allowed."], key
    assert r["port_out_of_range"][0] == "ArgumentOutOfRangeException"
    assert r["occupied"] == ["Exception", "The requested connection between the given objects cannot be done."]
    assert r["occupied_flags"] == ["S1", False]


# ports: (inputs as ConType names, output count, energy connector active,
#         landing input index of a material stream / of an energy stream, output indices filled by -1)
PORTS = {
    "MaterialStream": (["ConIn"], 1, False, None, None, [0]),
    "EnergyStream": (["ConIn"], 1, False, None, None, None),
    "Mixer": (["ConIn"] * 6, 1, False, [0, 1, 2, 3, 4, 5], None, [0]),
    "Splitter": (["ConIn"], 3, False, [0], None, [0, 1, 2]),
    "ComponentSeparator": (["ConIn"], 2, True, [0], None, [0, 1]),
    "Heater": (["ConIn", "ConEn"], 1, True, [0], 1, [0]),
    "Cooler": (["ConIn", "ConEn"], 1, True, [0], 1, [0]),
    "Vessel": (["ConIn"] * 6 + ["ConEn"], 3, False, [0, 1, 2, 3, 4, 5], 6, [0, 1, 2]),
    "Pump": (["ConIn", "ConEn"], 1, False, [0], 1, [0]),
    "Compressor": (["ConIn", "ConEn"], 1, False, [0], 1, [0]),
    "Valve": (["ConIn"], 1, False, [0], None, [0]),
}


@pytest.fixture(scope="module")
def ports():
    return run(FLOWSHEET_HELPERS + """
out = {}
for t in %r:
    o = add(t)
    g = o.GraphicObject
    d = dict(inputs=[str(c.Type) for c in g.InputConnectors], outputs=g.OutputConnectors.Count,
             energy=g.EnergyConnector.Active, xy=[type(g.X).__name__, g.X, g.Y])
    if t not in ("MaterialStream", "EnergyStream"):
        landed = []
        for _ in range(sum(1 for c in g.InputConnectors if str(c.Type) == "ConIn")):
            connect(add("MaterialStream"), o)
            landed.append([i for i, c in enumerate(g.InputConnectors) if c.IsAttached][-1])
        d["landed"] = landed
        e = add("EnergyStream")
        try:
            connect(e, o)
            d["energy_landed"] = [i for i, c in enumerate(g.InputConnectors) if c.IsAttached and str(c.Type) == "ConEn"][0]
        except Exception:
            d["energy_landed"] = None
        outs = []
        for _ in range(g.OutputConnectors.Count):
            s = add("MaterialStream")
            connect(o, s)
            c = s.GraphicObject.InputConnectors[0].AttachedConnector
            outs.append(c.AttachedFromConnectorIndex)
        d["outs"] = outs
    elif t == "MaterialStream":
        d["landed"], d["energy_landed"], d["outs"] = None, None, [0]
    else:
        d["landed"] = d["energy_landed"] = d["outs"] = None
    out[t] = d
report(out)
""" % (TYPES,))


@pytest.mark.parametrize("t", TYPES)
def test_port_geometry(ports, t):
    inputs, n_out, energy, landed, energy_landed, outs = PORTS[t]
    d = ports[t]
    assert d["inputs"] == inputs
    assert d["outputs"] == n_out
    assert d["energy"] == energy
    assert d["landed"] == landed
    assert d["energy_landed"] == energy_landed
    assert d["outs"] == outs
    assert d["xy"][0] == "float"


def test_energy_connector_rules():
    r = run(FLOWSHEET_HELPERS + """
h, c, cs = add("Heater"), add("Cooler"), add("ComponentSeparator")
e1, e2, e3, e4 = (add("EnergyStream") for _ in range(4))
out = {}
connect(h, e1, 7, 9)     # both indices ignored: the energy connector is used
con = e1.GraphicObject.InputConnectors[0].AttachedConnector
out["heater"] = [con.AttachedFromConnectorIndex, h.GraphicObject.EnergyConnector.IsAttached, con.AttachedFromEnergy]
out["second"] = raises(lambda: connect(h, e2))
connect(c, e3)
connect(cs, e4)
out["others"] = [c.GraphicObject.EnergyConnector.IsAttached, cs.GraphicObject.EnergyConnector.IsAttached]
report(out)
""")
    assert r["heater"] == [-1, True, True]
    assert r["second"] == ["Exception", "The requested connection between the given objects cannot be done."]
    assert r["others"] == [True, True]


def test_compounds_and_parameter_tables():
    r = run(FLOWSHEET_HELPERS + """
ac = a.AvailableCompounds
names = list(ac.Keys)
out = dict(count=ac.Count, first=names[:3], same=fs.AvailableCompounds.Count,
           cas=[ac["N-butane"].CAS_Number, ac["n-Butane"].CAS_Number, ac["Helium-4"].CAS_Number],
           mw=ac["Water"].Molar_Weight, packages=sorted(a.AvailablePropertyPackages.Keys))
early = add("MaterialStream")
fs.AddCompound("Ethanol"); fs.AddCompound("Water")
late = add("MaterialStream")
out["selected"] = list(fs.SelectedCompounds.Keys)
out["early_late"] = [len(early.__implementation__.GetOverallComposition()), list(late.__implementation__.GetOverallComposition())]
n1 = fs.CreateAndAddPropertyPackage("NRTL").__implementation__
n2 = fs.CreateAndAddPropertyPackage("NRTL").__implementation__
ip = n1.m_uni.InteractionParameters
pair = ip["Ethanol"]["Water"] if ip.ContainsKey("Ethanol") else ip["Water"]["Ethanol"]
out["nrtl"] = [str(pair.ID1), str(pair.ID2), pair.A12, pair.A21, pair.alpha12, pair.B12, type(ip).__name__]
c = pair.Clone(); c.A12 = 1000.0
pair.A12 = 1.0
out["independent"] = [n2.m_uni.InteractionParameters["Ethanol"]["Water"].A12, c.A12]
pr = fs.CreateAndAddPropertyPackage("Peng-Robinson (PR)").__implementation__
kij = pr.m_pr.InteractionParameters["Methane"]["Carbon dioxide"]
out["pr"] = [type(kij).__name__, kij.kij, kij.ID1]
srk = fs.CreateAndAddPropertyPackage("Soave-Redlich-Kwong (SRK)").__implementation__
out["srk"] = type(srk.m_pr.InteractionParameters["Methane"]["Nitrogen"]).__name__
w = fs.CreateAndAddPropertyPackage("Wilson").__implementation__
out["wilson"] = [w.GetType().FullName, w.WilsonM.BIPs.Count]
out["ppkeys"] = len(list(fs.PropertyPackages.Keys))
report(out)
""")
    assert r["count"] == r["same"] == 774
    assert r["first"] == ["Air", "Argon", "Bromine"]
    assert r["cas"] == ["106-97-8", "106-97-8", "7440-59-7"]
    assert r["mw"] == pytest.approx(18.015)
    assert r["packages"] == sorted(["Raoult's Law", "NRTL", "Wilson", "UNIQUAC", "Peng-Robinson (PR)",
                                    "Soave-Redlich-Kwong (SRK)"])
    assert r["selected"] == ["Ethanol", "Water"]
    assert r["early_late"] == [0, [0.5, 0.5]]
    assert r["nrtl"] == ["Ethanol", "Water", -57.9601, 1241.7396, 0.2937, 0.0, "Dictionary[String,Dictionary[String,NRTL_IPData]]"]
    assert r["independent"] == [-57.9601, 1000.0]
    assert r["pr"] == ["PR_IPData", 0.0919, -1]
    assert r["srk"] == "PR_IPData"
    assert r["wilson"] == ["DWSIM.Thermodynamics.WilsonPropertyPackage", 0]
    assert r["ppkeys"] == 5
