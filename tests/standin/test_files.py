"""DWSIM's file format in the stand-in: round trip of a flowsheet with every unit class, the
form of what is written (container, XML text, numbers, connectors), and the save rules."""
import math
import random
import re
import zipfile
from decimal import Decimal
from xml.etree import ElementTree as ET

import numpy as np
import pytest

from conftest import run

# Everything the module reads back from a flowsheet, as JSON. Ports are listed in port order
# with both ends' indices, so a connection rebuilt on one side only or on the wrong port shows.
SNAPSHOT = r'''
import math
UNIT_MEMBERS = {
    "Mixer": ["PressureCalculation"],
    "Splitter": ["OperationMode", "StreamFlowSpec", "Stream2FlowSpec"],
    "ComponentSeparator": ["SpecifiedStreamIndex", "EnergyImb"],
    "Heater": ["CalcMode", "OutletTemperature", "OutletVaporFraction", "DeltaQ", "DeltaP", "DeltaT", "Eficiencia"],
    "Cooler": ["CalcMode", "OutletTemperature", "OutletVaporFraction", "DeltaQ", "DeltaP", "DeltaT", "Eficiencia"],
    "Vessel": ["OverrideT", "OverrideP", "FlashTemperature", "FlashPressure", "DeltaQ", "PressureCalculation"],
    "Pump": ["CalcMode", "Pout", "DeltaP", "DeltaQ", "DeltaT", "Eficiencia", "NPSH"],
    "Compressor": ["CalcMode", "ProcessPath", "POut", "DeltaP", "DeltaQ", "DeltaT", "PressureRatio",
                   "AdiabaticEfficiency", "PolytropicEfficiency", "OutletTemperature"],
    "Valve": ["CalcMode", "OutletPressure", "DeltaP", "DeltaQ", "DeltaT"],
    "EnergyStream": ["EnergyFlow"],
    "MaterialStream": ["SpecType", "DefinedFlow", "AtEquilibrium"],
}
PHASE_PROPS = ["temperature", "pressure", "molarflow", "massflow", "molarfraction", "massfraction",
               "enthalpy", "molecularWeight"]

def val(v):
    if v is None or isinstance(v, (bool, str)):
        return v
    if isinstance(v, (int, float)):
        v = float(v)
        return v if math.isfinite(v) else repr(v)
    return str(v)

def port_in(cp):
    if not cp.IsAttached:
        return None
    c = cp.AttachedConnector
    return [c.AttachedFrom.Name, c.AttachedFromConnectorIndex, c.AttachedToConnectorIndex, str(cp.Type),
            c.AttachedFromEnergy, c.AttachedToEnergy]

def port_out(cp):
    if not cp.IsAttached:
        return None
    c = cp.AttachedConnector
    return [c.AttachedTo.Name, c.AttachedFromConnectorIndex, c.AttachedToConnectorIndex, str(cp.Type)]

def pairs(table, selected):
    return sorted([k1, k2, d] for k1 in table.Keys if k1 in selected
                  for k2, d in ((k, table[k1][k]) for k in table[k1].Keys) if k2 in selected)

def snapshot(fs):
    selected = [c for c in fs.SelectedCompounds.Keys]
    out = {"compounds": [[c.Name, c.CAS_Number] for c in fs.SelectedCompounds.Values],
           "packages": [], "objects": []}
    for p in fs.PropertyPackages.Values:
        c = p.GetAsObject()
        entry = [p.UniqueID, c.GetType().Name, c.ComponentName, p.Tag]
        if hasattr(c, "m_uni") and hasattr(c.m_uni.InteractionParameters, "Keys") and c.GetType().Name == "NRTLPropertyPackage":
            entry.append([[a, b, [d.A12, d.A21, d.B12, d.B21, d.C12, d.C21, d.alpha12, str(d.ID1), str(d.ID2)]]
                          for a, b, d in pairs(c.m_uni.InteractionParameters, selected)])
        if hasattr(c, "m_pr"):
            entry.append([[a, b, d.kij] for a, b, d in pairs(c.m_pr.InteractionParameters, selected)])
        out["packages"].append(entry)
    for o in fs.SimulationObjects.Values:
        c = o.GetAsObject()
        g = o.GraphicObject
        cls = c.GetType().Name
        pp = o.PropertyPackage
        d = {"id": o.Name, "class": cls, "tag": g.Tag, "xy": [g.X, g.Y], "size": [g.Width, g.Height],
             "objecttype": str(g.ObjectType), "pp": pp.UniqueID if pp is not None else None,
             "in": [port_in(cp) for cp in g.InputConnectors],
             "out": [port_out(cp) for cp in g.OutputConnectors],
             "energy": port_out(g.EnergyConnector),
             "members": {m: val(getattr(c, m)) for m in UNIT_MEMBERS.get(cls, [])}}
        if cls == "MaterialStream":
            d["state"] = [c.GetTemperature(), c.GetPressure(), c.GetMolarFlow(),
                          [val(x) for x in c.GetOverallComposition()], val(c.Phases[2].Properties.molarfraction)]
            d["phases"] = {str(k): [[val(getattr(c.Phases[k].Properties, n)) for n in PHASE_PROPS],
                                    [[n, val(x.MoleFraction), val(x.MassFraction), val(x.MolarFlow), val(x.MassFlow)]
                                     for n, x in ((n, c.Phases[k].Compounds[n]) for n in c.Phases[k].Compounds.Keys)]]
                           for k in c.Phases.Keys}
        if cls == "Splitter":
            d["ratios"] = [float(r) for r in c.Ratios]
        if cls == "ComponentSeparator":
            d["specs"] = {k: [s.ComponentID, str(s.SepSpec), s.SpecValue, s.SpecUnit]
                          for k, s in ((k, c.ComponentSepSpecs[k]) for k in c.ComponentSepSpecs.Keys)}
        out["objects"].append(d)
    return out
'''

# Every unit class; an energy stream on each unit that has one; the feed enters the mixer on
# port 2 with ports 0 and 1 open; the splitter's second outlet goes back to the mixer (port 4).
PLANT = r'''
import DWSIM.Thermodynamics.PropertyPackages.Auxiliary as AUX
fs = a.CreateFlowsheet()
for name in ("Water", "Ethanol", "Methanol"):
    fs.AddCompound(name)
nrtl = fs.CreateAndAddPropertyPackage("NRTL")
pr = fs.CreateAndAddPropertyPackage("Peng-Robinson (PR)")
def add(t, tag, x, y):
    return fs.AddObject(getattr(ObjectType, t), x, y, tag)
def connect(s, d, i=-1, j=-1):
    fs.ConnectObjects(s.GraphicObject, d.GraphicObject, i, j)
feed = add("MaterialStream", "feed", 10, 20); mix = add("Mixer", "MIX-1", 60, 20)
s1 = add("MaterialStream", "s1", 100, 20); ht = add("Heater", "HT-1", 140, 20)
q1 = add("EnergyStream", "Q heater", 140, 80); s2 = add("MaterialStream", "s2", 180, 20)
cl = add("Cooler", "CL-1", 220, 20); q2 = add("EnergyStream", "Q cooler", 220, 80)
s3 = add("MaterialStream", "s3", 260, 20); v = add("Vessel", "V-1", 300, 20)
q3 = add("EnergyStream", "Q vessel", 300, 80); vap = add("MaterialStream", "vapour", 340, 0)
liq = add("MaterialStream", "liquid", 340, 40); pu = add("Pump", "PUMP-1", 380, 40)
q4 = add("EnergyStream", "W pump", 380, 100); s4 = add("MaterialStream", "s4", 420, 40)
sp = add("Splitter", "SPL-1", 460, 40); rec = add("MaterialStream", "recycle", 460, 120)
s5 = add("MaterialStream", "s5", 500, 40); cs = add("ComponentSeparator", "CS-1", 540, 40)
q5 = add("EnergyStream", "Q separator", 540, 100); top = add("MaterialStream", "top", 580, 20)
bot = add("MaterialStream", "bottom", 580, 60); co = add("Compressor", "C-1", 380, -10)
q6 = add("EnergyStream", "W compressor", 380, -60); s6 = add("MaterialStream", "s6", 420, -10)
va = add("Valve", "VALVE-1", 460, -10); s7 = add("MaterialStream", "s7", 500, -10)
connect(feed, mix, -1, 2); connect(mix, s1); connect(s1, ht); connect(q1, ht); connect(ht, s2)
connect(s2, cl); connect(cl, s3); connect(cl, q2); connect(s3, v); connect(q3, v)
connect(v, vap, 0, -1); connect(v, liq, 1, -1); connect(liq, pu); connect(q4, pu); connect(pu, s4)
connect(s4, sp); connect(sp, s5, 0, -1); connect(sp, rec, 1, -1); connect(rec, mix, -1, 4)
connect(s5, cs); connect(cs, top, 0, -1); connect(cs, bot, 1, -1); connect(cs, q5)
connect(vap, co); connect(q6, co); connect(co, s6); connect(s6, va); connect(va, s7)
f = feed.__implementation__
f.SetTemperature(300.0); f.SetPressure(200000.0); f.SetMolarFlow(10.0)
f.SetOverallComposition(System.Array[System.Double]([0.6, 0.3, 0.1]))
h = ht.GetAsObject(); h.CalcMode = U.Heater.CalculationMode.OutletTemperature
h.OutletTemperature = 370.0; h.DeltaP = 5000.0; h.Eficiencia = 95.0
c = cl.GetAsObject(); c.CalcMode = U.Cooler.CalculationMode.OutletTemperature; c.OutletTemperature = 355.0
vv = v.GetAsObject(); vv.OverrideP = True; vv.FlashPressure = 150000.0
p = pu.GetAsObject(); p.CalcMode = U.Pump.CalculationMode.OutletPressure; p.Pout = 400000.0; p.Eficiencia = 70.0
s = sp.GetAsObject(); s.Ratios[0] = 0.7; s.Ratios[1] = 0.3
k = cs.GetAsObject()
for comp, pct in (("Water", 10.0), ("Ethanol", 90.0), ("Methanol", 50.0)):
    k.ComponentSepSpecs[comp] = U.Auxiliary.ComponentSeparationSpec(comp, U.Auxiliary.SeparationSpec.PercentInletMolarFlow, pct, "%")
k.SpecifiedStreamIndex = 1
cc = co.GetAsObject(); cc.POut = 300000.0; cc.AdiabaticEfficiency = 72.0
vl = va.GetAsObject(); vl.CalcMode = U.Valve.CalculationMode.OutletPressure; vl.OutletPressure = 120000.0
co.PropertyPackage = pr
n = nrtl.__implementation__.m_uni.InteractionParameters["Ethanol"]["Water"]
n.A12 = -61.25; n.B21 = 0.125
kij = pr.__implementation__.m_pr.InteractionParameters
kij["Water"] = System.Collections.Generic.Dictionary[System.String, AUX.PR_IPData]()
kij["Water"]["Methanol"] = AUX.PR_IPData()
kij["Water"]["Methanol"].kij = -0.0778
'''


@pytest.fixture(scope="module")
def round_trip(tmp_path_factory):
    d = tmp_path_factory.mktemp("rt")
    return run(PLANT + SNAPSHOT + f"""
errors = [e.Message for e in a.CalculateFlowsheet4(fs)]
before = snapshot(fs)
out = dict(errors=errors, before=before, after={{}}, solved_again={{}}, warnings={{}})
for ext in (".dwxmz", ".dwxml"):
    path = os.path.join({str(d)!r}, "plant" + ext)
    a.SaveFlowsheet(fs, path, ext == ".dwxml")
    back = a.LoadFlowsheet(path)
    out["after"][ext] = snapshot(back)
    from DWSIM.FlowsheetBase.Files import FlowsheetFile
    out["warnings"][ext] = list(FlowsheetFile.LoadWarnings(back))
    out["solved_again"][ext] = [[e.Message for e in a.CalculateFlowsheet4(back)], snapshot(back)]
report(out)
""")


def by_tag(snap):
    return {o["tag"]: o for o in snap["objects"]}


def test_plant_is_what_the_round_trip_claims_to_cover(round_trip):
    """Guards the round trip against passing on a trivial flowsheet."""
    snap = round_trip["before"]
    assert round_trip["errors"] == []
    classes = {o["class"] for o in snap["objects"]}
    assert classes == {"MaterialStream", "EnergyStream", "Mixer", "Splitter", "ComponentSeparator", "Heater",
                       "Cooler", "Vessel", "Pump", "Compressor", "Valve"}
    o = by_tag(snap)
    ids = {t: x["id"] for t, x in o.items()}
    assert o["MIX-1"]["in"][0] is None and o["MIX-1"]["in"][1] is None
    assert o["MIX-1"]["in"][2][0] == ids["feed"] and o["MIX-1"]["in"][4][0] == ids["recycle"]
    assert o["CL-1"]["energy"][0] == ids["Q cooler"] and o["CS-1"]["energy"][0] == ids["Q separator"]
    for unit, port, stream in (("HT-1", 1, "Q heater"), ("V-1", 6, "Q vessel"), ("PUMP-1", 1, "W pump"),
                               ("C-1", 1, "W compressor")):
        assert o[unit]["in"][port][0] == ids[stream] and o[unit]["in"][port][3] == "ConEn"
    assert 0 < o["vapour"]["state"][4] <= 1 and o["recycle"]["state"][2] > 0
    nrtl, pr = snap["packages"]
    assert o["C-1"]["pp"] == pr[0] and o["HT-1"]["pp"] == nrtl[0] and pr[4] == [["Water", "Methanol", -0.0778]]
    assert [p for p in nrtl[4] if p[:2] == ["Ethanol", "Water"]][0][2][:4] == [-61.25, 1241.7396, 0, 0.125]


@pytest.mark.parametrize("ext", [".dwxmz", ".dwxml"])
def test_round_trip_answers_identically(round_trip, ext):
    before, after = round_trip["before"], round_trip["after"][ext]
    assert after["compounds"] == before["compounds"] == [["Water", "7732-18-5"], ["Ethanol", "64-17-5"],
                                                          ["Methanol", "67-56-1"]]
    assert after["packages"] == before["packages"]
    assert [o["id"] for o in after["objects"]] == [o["id"] for o in before["objects"]]
    for b, x in zip(before["objects"], after["objects"]):
        assert x == b, b["tag"]
    assert round_trip["warnings"][ext] == []


def test_loaded_flowsheet_solves_to_the_same_streams(round_trip):
    errors, snap = round_trip["solved_again"][".dwxmz"]
    assert errors == []
    before = by_tag(round_trip["before"])
    for tag, o in by_tag(snap).items():
        if o["class"] == "MaterialStream":
            T, P, F, z, vf = o["state"]
            T0, P0, F0, z0, vf0 = before[tag]["state"]
            assert T == pytest.approx(T0, rel=1e-6) and P == pytest.approx(P0, rel=1e-9)
            assert F == pytest.approx(F0, rel=1e-6, abs=1e-9) and z == pytest.approx(z0, abs=1e-7)


# ---- what is written ----------------------------------------------------------------------

SECTIONS = ["GeneralInfo", "SimulationObjects", "Settings", "DynamicProperties", "GraphicObjects",
            "PropertyPackages", "Compounds", "ReactionSets", "Reactions", "StoredSolutions",
            "OptimizationCases", "SensitivityAnalysis", "ScriptItems", "ChartItems", "ParticleSizeDistributions"]

CLASS_TYPES = {  # tag: SimulationObject/Type, GraphicObject/Type suffix, ObjectType
    "MIX-1": ("DWSIM.UnitOperations.UnitOperations.Mixer", "MixerGraphic", "NodeIn"),
    "SPL-1": ("DWSIM.UnitOperations.UnitOperations.Splitter", "SplitterGraphic", "NodeOut"),
    "CS-1": ("DWSIM.UnitOperations.UnitOperations.ComponentSeparator", "ComponentSeparatorGraphic", "ComponentSeparator"),
    "HT-1": ("DWSIM.UnitOperations.UnitOperations.Heater", "HeaterGraphic", "Heater"),
    "CL-1": ("DWSIM.UnitOperations.UnitOperations.Cooler", "CoolerGraphic", "Cooler"),
    "V-1": ("DWSIM.UnitOperations.UnitOperations.Vessel", "VesselGraphic", "Vessel"),
    "PUMP-1": ("DWSIM.UnitOperations.UnitOperations.Pump", "PumpGraphic", "Pump"),
    "C-1": ("DWSIM.UnitOperations.UnitOperations.Compressor", "CompressorGraphic", "Compressor"),
    "VALVE-1": ("DWSIM.UnitOperations.UnitOperations.Valve", "ValveGraphic", "Valve"),
    "feed": ("DWSIM.Thermodynamics.Streams.MaterialStream", "MaterialStreamGraphic", "MaterialStream"),
    "W pump": ("DWSIM.UnitOperations.Streams.EnergyStream", "EnergyStreamGraphic", "EnergyStream"),
}


@pytest.fixture(scope="module")
def written(tmp_path_factory):
    d = tmp_path_factory.mktemp("written")
    out = run(PLANT + f"""
a.CalculateFlowsheet4(fs)
got = {{}}
for name, compressed in (("plant.dwxmz", False), ("plant.dwxml", True), ("Plant.DWXMZ", True),
                         ("plant.txt", True), ("plant", True)):
    got[name] = raises(lambda: a.SaveFlowsheet(fs, os.path.join({str(d)!r}, name), compressed))
got["mobile"] = raises(lambda: a.SaveFlowsheet(fs, os.path.join({str(d)!r}, "plant.xml"), True))
got["no folder"] = raises(lambda: a.SaveFlowsheet(fs, os.path.join({str(d)!r}, "missing", "x.dwxmz"), True))
got["not a flowsheet"] = raises(lambda: a.SaveFlowsheet(None, os.path.join({str(d)!r}, "y.dwxmz"), True))
report(got)
""")
    return d, out


def test_extension_decides_the_form(written):
    d, raised = written
    assert raised["plant.dwxmz"] is None and raised["plant.dwxml"] is None and raised["Plant.DWXMZ"] is None
    assert zipfile.is_zipfile(d / "plant.dwxmz") and zipfile.is_zipfile(d / "Plant.DWXMZ")
    assert (d / "plant.dwxml").read_bytes().startswith(b"\xef\xbb\xbf<?xml")
    # Unknown extensions write nothing and raise nothing, as in DWSIM; the mobile form is refused.
    assert raised["plant.txt"] is None and raised["plant"] is None
    assert not (d / "plant.txt").exists() and not (d / "plant").exists() and not (d / "plant.xml").exists()
    assert raised["mobile"][0] == "NotSupportedException" and ".xml" in raised["mobile"][1]
    assert raised["no folder"][0] == "DirectoryNotFoundException"
    assert raised["not a flowsheet"] is not None


def test_zip_container_as_dwsim_writes_it(written):
    d, _ = written
    with zipfile.ZipFile(d / "plant.dwxmz") as z:
        infos = z.infolist()
        assert len(infos) == 1
        info = infos[0]
        assert re.fullmatch(r"[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[0-9a-f]{4}-[0-9a-f]{12}\.xml", info.filename)
        assert info.compress_type == zipfile.ZIP_DEFLATED and info.flag_bits == 0x0800
        assert (info.create_version, info.extract_version, info.external_attr) == (51, 20, 0)
        data = z.read(info)
    raw = (d / "plant.dwxmz").read_bytes()
    # Sizes and CRC in the local header itself (no data descriptor).
    crc, packed, size = int.from_bytes(raw[14:18], "little"), int.from_bytes(raw[18:22], "little"), int.from_bytes(raw[22:26], "little")
    assert (crc, packed, size) == (info.CRC, info.compress_size, info.file_size)
    plain = (d / "plant.dwxml").read_bytes()
    strip = lambda b: re.sub(rb"<SavedOn>[^<]*</SavedOn>", b"", b)
    assert strip(data) == strip(plain)


def test_xml_text_and_sections(written):
    d, _ = written
    raw = (d / "plant.dwxml").read_bytes()
    assert raw.startswith(b'\xef\xbb\xbf<?xml version="1.0" encoding="utf-8"?>\r\n<DWSIM_Simulation_Data>\r\n')
    assert b"\n" not in raw.replace(b"\r\n", b"") and raw.endswith(b"</DWSIM_Simulation_Data>")
    assert b"\r\n  <GeneralInfo>\r\n    <SavedOn>" in raw and b"<Reactions />" in raw and b"<ErrorMessage>" not in raw
    root = ET.fromstring(raw)
    assert [e.tag for e in root] == SECTIONS
    info = root.find("GeneralInfo")
    assert [e.tag for e in info] == ["SavedOn", "SavedFromClassicUI"] and info.find("SavedFromClassicUI").text == "false"
    assert re.fullmatch(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{7}[+-]\d\d:\d\d", info.find("SavedOn").text)
    sets = root.find("ReactionSets/ReactionSet")
    assert sets.find("ID").text == "DefaultSet" and sets.find("Name").text == "Default Set"


def test_objects_are_written_with_dwsim_types_and_members(written):
    d, _ = written
    root = ET.parse(d / "plant.dwxml").getroot()
    graphics = {g.find("Name").text: g for g in root.find("GraphicObjects")}
    objects = {graphics[o.find("Name").text].find("Tag").text: o for o in root.find("SimulationObjects")}
    assert len(objects) == len(graphics) == 28
    for tag, (otype, gtype, objtype) in CLASS_TYPES.items():
        o = objects[tag]
        g = graphics[o.find("Name").text]
        assert o[0].tag == "Type" and o.find("Type").text == otype
        assert g.find("Type").text == "DWSIM.Drawing.SkiaSharp.GraphicObjects.Shapes." + gtype
        assert g.find("ObjectType").text == objtype and g.find("X") is not None and g.find("Y") is not None
    pkg_ids = {p.find("ComponentName").text: p.find("ID").text for p in root.find("PropertyPackages")}
    assert objects["C-1"].find("PropertyPackage").text == pkg_ids["Peng-Robinson (PR)"]
    assert objects["C-1"].find("POut").text == "300000" and objects["PUMP-1"].find("Pout").text == "400000"
    assert objects["HT-1"].find("CalcMode").text == "OutletTemperature" and objects["HT-1"].find("DeltaP").text == "5000"
    assert objects["V-1"].find("OverrideP").text == "true" and objects["VALVE-1"].find("CalcMode").text == "OutletPressure"
    # The solve recomputed the last ratio as 1 - 0.7.
    assert [r.text for r in objects["SPL-1"].find("SplitRatios")] == ["0.7", "0.30000000000000004", "0"]
    specs = {s.get("ID"): s.attrib for s in objects["CS-1"].find("SeparationSpecs")}
    assert specs["Ethanol"] == {"ID": "Ethanol", "CompID": "Ethanol", "SepSpec": "PercentInletMolarFlow",
                                "SpecUnit": "%", "SpecValue": "90"}
    assert objects["CS-1"].find("SpecifiedStreamIndex").text == "1"
    # Streams: eight phases, every compound in the flowsheet's order in each.
    phases = objects["feed"].find("Phases")
    assert [p.find("ID").text for p in phases] == [str(i) for i in range(8)]
    for p in phases:
        assert [c.find("Name").text for c in p.find("Compounds")] == ["Water", "Ethanol", "Methanol"]
    mixture = phases[0].find("Properties")
    assert mixture.find("temperature").text == "300" and mixture.find("pressure").text == "200000"
    assert [float(c.find("MoleFraction").text) for c in phases[0].find("Compounds")] == pytest.approx([0.6, 0.3, 0.1])
    assert objects["vapour"].find("Phases")[2].find("Properties/molarfraction").text == "1"
    # Compounds with CAS numbers; packages with their parameters, only for selected compounds.
    assert [(c.find("Name").text, c.find("CAS_Number").text) for c in root.find("Compounds")] == [
        ("Water", "7732-18-5"), ("Ethanol", "64-17-5"), ("Methanol", "67-56-1")]
    packages = {p.find("ComponentName").text: p for p in root.find("PropertyPackages")}
    nrtl = packages["NRTL"]
    assert nrtl.find("Type").text == "DWSIM.Thermodynamics.PropertyPackages.NRTLPropertyPackage"
    assert nrtl.find("InteractionParameters_PR") is not None
    records = {(r.get("Compound1"), r.get("Compound2")): r.attrib for r in nrtl.find("InteractionParameters_NRTL")}
    assert set(records) == {("Ethanol", "Water"), ("Methanol", "Water")}
    assert records[("Ethanol", "Water")]["A12"] == "-61.25" and records[("Ethanol", "Water")]["alpha12"] == "0.2937"
    pr = packages["Peng-Robinson (PR)"]
    assert [r.attrib for r in pr.find("InteractionParameters")] == [
        {"Compound1": "Water", "Compound2": "Methanol", "Value": "-0.0778"}]


def test_connectors_on_both_ends_in_dwsim_attributes(written):
    d, _ = written
    root = ET.parse(d / "plant.dwxml").getroot()
    g = {x.find("Tag").text: x for x in root.find("GraphicObjects")}
    gid = {t: x.find("Name").text for t, x in g.items()}
    mixer_in = g["MIX-1"].find("InputConnectors")
    assert [c.get("IsAttached") for c in mixer_in] == ["false", "false", "true", "false", "true", "false"]
    assert mixer_in[2].attrib == {"IsAttached": "true", "ConnType": "ConIn", "AttachedFromObjID": gid["feed"],
                                  "AttachedFromConnIndex": "0", "AttachedFromEnergyConn": "False"}
    assert g["feed"].find("OutputConnectors")[0].attrib == {
        "IsAttached": "true", "ConnType": "ConOut", "AttachedToObjID": gid["MIX-1"], "AttachedToConnIndex": "2",
        "AttachedToEnergyConn": "False"}
    assert g["C-1"].find("InputConnectors")[1].attrib == {
        "IsAttached": "true", "ConnType": "ConEn", "AttachedFromObjID": gid["W compressor"],
        "AttachedFromConnIndex": "0", "AttachedFromEnergyConn": "True"}
    assert g["W compressor"].find("OutputConnectors")[0].get("AttachedToConnIndex") == "1"
    assert g["V-1"].find("OutputConnectors")[1].get("AttachedToObjID") == gid["liquid"]
    # A unit's energy connector: the list element carries the source as well (DWSIM's quirk).
    ec = g["CL-1"].find("EnergyConnector")
    assert ec.attrib == {"AttachedFromObjID": gid["CL-1"], "AttachedFromConnIndex": "-1", "AttachedFromEnergyConn": "False"}
    assert [c.attrib for c in ec] == [{"IsAttached": "true", "AttachedToObjID": gid["Q cooler"],
                                       "AttachedToConnIndex": "0", "AttachedToEnergyConn": "True"}]
    assert g["Q cooler"].find("InputConnectors")[0].attrib == {
        "IsAttached": "true", "ConnType": "ConIn", "AttachedFromObjID": gid["CL-1"], "AttachedFromConnIndex": "-1",
        "AttachedFromEnergyConn": "False"}
    assert [c.attrib for c in g["HT-1"].find("EnergyConnector")] == [{"IsAttached": "false"}]


# ---- numbers ------------------------------------------------------------------------------

def dotnet_r(x):
    """The text .NET Core writes for a double: shortest round-trip digits, E from 1e15 and
    below 1e-4. Python's repr gives the shortest digits independently of the code under test."""
    if math.isnan(x):
        return "NaN"
    if math.isinf(x):
        return "Infinity" if x > 0 else "-Infinity"
    if x == 0:
        return "-0" if math.copysign(1, x) < 0 else "0"
    sign, digits, exp = Decimal(repr(x)).as_tuple()
    e = exp + len(digits) - 1
    digits = "".join(map(str, digits)).rstrip("0") or "0"
    s = "-" if sign else ""
    if e < -4 or e >= 15:
        return f"{s}{digits[0]}{'.' + digits[1:] if len(digits) > 1 else ''}E{'-' if e < 0 else '+'}{abs(e):02d}"
    if e < 0:
        return f"{s}0.{'0' * (-e - 1)}{digits}"
    if len(digits) <= e + 1:
        return s + digits + "0" * (e + 1 - len(digits))
    return f"{s}{digits[:e + 1]}.{digits[e + 1:]}"


NUMBERS = [101325.0, 0.75, 2.5500223507477415e-05, -5.1716e-06, 1e15, 999999999999999.9, 1e16, 1e-4,
           9.999999999999999e-05, 1 / 3, 0.1 + 0.2, 5.1020408163265305, 1e-300, 5e-324, 1.7976931348623157e308,
           -0.0, 0.0, 123456789012345.67, float("nan"), float("inf"), float("-inf"), 298.15, 253.00000002761973]


def test_numbers_are_shortest_round_trip_invariant(tmp_path):
    rng = random.Random(7)
    values = NUMBERS + [rng.choice((-1, 1)) * 10 ** rng.uniform(-30, 30) for _ in range(400)] + \
        [rng.random() for _ in range(100)]
    positions = [176.71428, 654.5, 0.1, 1e-5, 123456.79]
    path = tmp_path / "numbers.dwxml"
    back = run(f"""
fs = a.CreateFlowsheet()
r = fs.AddObject(ObjectType.Splitter, 0, 0, "SPL-1").GetAsObject().Ratios
r.Clear()
for v in {[repr(v) for v in values]!r}:
    r.Add(float(v))
for i, xy in enumerate({positions!r}):
    g = fs.AddObject(ObjectType.MaterialStream, 0, 0, "m" + str(i)).GraphicObject
    g.X = xy; g.Y = -xy
a.SaveFlowsheet(fs, {str(path)!r}, False)
back = a.LoadFlowsheet({str(path)!r})
report([repr(float(x)) for x in back.GetFlowsheetSimulationObject("SPL-1").GetAsObject().Ratios])
""")
    assert back == [repr(v) for v in values]
    root = ET.parse(path).getroot()
    graphics = {g.find("Tag").text: g for g in root.find("GraphicObjects")}
    split = [o for o in root.find("SimulationObjects") if o.find("Type").text.endswith("Splitter")][0]
    texts = [e.text for e in split.find("SplitRatios")]
    assert texts == [dotnet_r(v) for v in values]
    assert split.find("Ratios").text == ",".join(texts)
    for i, xy in enumerate(positions):
        assert graphics[f"m{i}"].find("X").text == str(np.float32(xy)).replace("e", "E")
        assert graphics[f"m{i}"].find("Y").text == str(np.float32(-xy)).replace("e", "E")
