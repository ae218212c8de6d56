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

from child import call
from sheet import CLASSES


@pytest.fixture(scope="module")
def round_trip(tmp_path_factory):
    """The plant of file_scenarios (every unit class) solved, saved under each name below, and the two
    DWSIM forms loaded back."""
    d = tmp_path_factory.mktemp("rt")
    cases = [("plant.dwxmz", False), ("plant.dwxml", True), ("Plant.DWXMZ", True), ("plant.txt", True), ("plant", True),
             ("plant.xml", True), ("missing/x.dwxmz", True), ("y.dwxmz", None)]
    return dict(dir=d, **call("file_scenarios:round_trip", str(d), cases))


def by_tag(snap):
    return {o["tag"]: o for o in snap["objects"]}


def test_plant_is_what_the_round_trip_claims_to_cover(round_trip):
    """Guards the round trip against passing on a trivial flowsheet."""
    snap = round_trip["before"]
    o = by_tag(snap)
    tag_of = {x["id"]: t for t, x in o.items()}
    wired = lambda unit, side: [tag_of[p[0]] if p else None for p in o[unit][side]]
    assert round_trip["errors"] == [] and {x["class"] for x in o.values()} == set(CLASSES)
    assert snap["compounds"] == [["Water", "7732-18-5"], ["Ethanol", "64-17-5"], ["Methanol", "67-56-1"]]
    assert wired("MIX-1", "in") == [None, None, "feed", None, "recycle", None]
    assert [wired(u, "in")[-1] for u in ("HT-1", "V-1", "PUMP-1", "C-1")] == ["Q heater", "Q vessel", "W pump", "W compressor"]
    assert o["V-1"]["in"][6][3] == "ConEn" and tag_of[o["CL-1"]["energy"][0]] == "Q cooler"
    assert tag_of[o["CS-1"]["energy"][0]] == "Q separator"
    assert 0 < o["vapour"]["state"][4] <= 1 and o["recycle"]["state"][2] > 0
    nrtl, pr = snap["packages"]
    assert o["C-1"]["pp"] == pr[0] and o["HT-1"]["pp"] == nrtl[0] and pr[4] == [["Methanol", "Water", -0.0778], ["Water", "Methanol", -0.05]]
    assert [p for p in nrtl[4] if p[:2] == ["Ethanol", "Water"]][0][2][:4] == [-61.25, 1241.7396, 0, 0.125]


@pytest.mark.parametrize("ext", [".dwxmz", ".dwxml"])
def test_round_trip_answers_identically_and_solves_alike(round_trip, ext):
    before = round_trip["before"]
    after, warnings, errors, solved = round_trip["after"][ext]
    assert (after["compounds"], after["packages"]) == (before["compounds"], before["packages"])
    assert [o["id"] for o in after["objects"]] == [o["id"] for o in before["objects"]]
    for b, x in zip(before["objects"], after["objects"]):
        assert x == b, b["tag"]
    assert warnings == [] and errors == []
    flat = lambda state: state[:3] + state[3]
    old = by_tag(before)
    for tag, o in by_tag(solved).items():
        if o["class"] == "MaterialStream":
            assert flat(o["state"]) == pytest.approx(flat(old[tag]["state"]), rel=1e-6, abs=1e-7), tag


# ---- what is written ----------------------------------------------------------------------

SECTIONS = ["GeneralInfo", "SimulationObjects", "Settings", "DynamicProperties", "GraphicObjects",
            "PropertyPackages", "Compounds", "ReactionSets", "Reactions", "StoredSolutions",
            "OptimizationCases", "SensitivityAnalysis", "ScriptItems", "ChartItems", "ParticleSizeDistributions"]


@pytest.fixture(scope="module")
def written(round_trip):
    root = ET.parse(round_trip["dir"] / "plant.dwxml").getroot()
    return round_trip["dir"], round_trip["saved"], root, {g.find("Tag").text: g for g in root.find("GraphicObjects")}


def test_extension_decides_the_form(written):
    d, raised, _, _ = written
    assert [raised[n] for n in ("plant.dwxmz", "plant.dwxml", "Plant.DWXMZ", "plant.txt", "plant")] == [None] * 5
    assert zipfile.is_zipfile(d / "plant.dwxmz") and zipfile.is_zipfile(d / "Plant.DWXMZ")
    assert (d / "plant.dwxml").read_bytes().startswith(b"\xef\xbb\xbf<?xml")
    # Unknown extensions write nothing and raise nothing, as in DWSIM; the mobile form is refused.
    assert not any((d / n).exists() for n in ("plant.txt", "plant", "plant.xml", "y.dwxmz"))
    assert raised["plant.xml"][0] == "NotSupportedException" and ".xml" in raised["plant.xml"][1]
    assert raised["missing/x.dwxmz"][0] == "DirectoryNotFoundException" and raised["y.dwxmz"] is not None


def test_zip_container_as_dwsim_writes_it(written):
    d = written[0]
    with zipfile.ZipFile(d / "plant.dwxmz") as z:
        [info] = z.infolist()
        data = z.read(info)
    assert re.fullmatch(r"[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[0-9a-f]{4}-[0-9a-f]{12}\.xml", info.filename)
    assert (info.compress_type, info.flag_bits) == (zipfile.ZIP_DEFLATED, 0x0800)
    assert (info.create_version, info.extract_version, info.external_attr) == (51, 20, 0)
    raw = (d / "plant.dwxmz").read_bytes()
    # Sizes and CRC in the local header itself (no data descriptor).
    assert [int.from_bytes(raw[i:i + 4], "little") for i in (14, 18, 22)] == [info.CRC, info.compress_size, info.file_size]
    strip = lambda b: re.sub(rb"<SavedOn>[^<]*</SavedOn>", b"", b)
    assert strip(data) == strip((d / "plant.dwxml").read_bytes())


def test_xml_text_and_sections(written):
    d, _, root, _ = written
    raw = (d / "plant.dwxml").read_bytes()
    assert raw.startswith(b'\xef\xbb\xbf<?xml version="1.0" encoding="utf-8"?>\r\n<DWSIM_Simulation_Data>\r\n')
    assert b"\n" not in raw.replace(b"\r\n", b"") and raw.endswith(b"</DWSIM_Simulation_Data>")
    assert b"\r\n  <GeneralInfo>\r\n    <SavedOn>" in raw and b"<Reactions />" in raw and b"<ErrorMessage>" not in raw
    assert [e.tag for e in root] == SECTIONS
    info = root.find("GeneralInfo")
    assert [e.tag for e in info] == ["SavedOn", "SavedFromClassicUI"] and info.find("SavedFromClassicUI").text == "false"
    assert re.fullmatch(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{7}[+-]\d\d:\d\d", info.find("SavedOn").text)
    sets = root.find("ReactionSets/ReactionSet")
    assert (sets.find("ID").text, sets.find("Name").text) == ("DefaultSet", "Default Set")


def test_objects_are_written_with_dwsim_types_and_members(written, round_trip):
    _, _, root, graphics = written
    tags = {g.findtext("Name"): t for t, g in graphics.items()}
    objects = {tags[o.findtext("Name")]: o for o in root.find("SimulationObjects")}
    kinds = {t: o.findtext("Type").rsplit(".", 1) for t, o in objects.items()}
    assert {t: k[1] for t, k in kinds.items()} == {o["tag"]: o["class"] for o in round_trip["before"]["objects"]}
    for tag, (space, cls) in kinds.items():
        assert (objects[tag][0].tag, space, graphics[tag].findtext("ObjectType"), graphics[tag].findtext("Type")) == (
            "Type", CLASSES[cls][0], CLASSES[cls][1], f"DWSIM.Drawing.SkiaSharp.GraphicObjects.Shapes.{cls}Graphic")
    packages = {p.findtext("ComponentName"): p for p in root.find("PropertyPackages")}
    members = {("C-1", "PropertyPackage"): packages["Peng-Robinson (PR)"].findtext("ID"), ("C-1", "POut"): "300000",
               ("PUMP-1", "Pout"): "400000", ("HT-1", "CalcMode"): "OutletTemperature", ("HT-1", "DeltaP"): "5000",
               ("V-1", "OverrideP"): "true", ("VALVE-1", "CalcMode"): "OutletPressure", ("CS-1", "SpecifiedStreamIndex"): "1",
               ("feed", "Phases/Phase/Properties/temperature"): "300", ("feed", "Phases/Phase/Properties/pressure"): "200000",
               ("vapour", "Phases/Phase[3]/Properties/molarfraction"): "1"}
    assert {k: objects[k[0]].findtext(k[1]) for k in members} == members
    # The solve recomputed the last ratio as 1 - 0.7.
    assert [r.text for r in objects["SPL-1"].find("SplitRatios")] == ["0.7", "0.30000000000000004", "0"]
    assert objects["CS-1"].find("SeparationSpecs/SeparationSpec[2]").attrib == {
        "ID": "Ethanol", "CompID": "Ethanol", "SepSpec": "PercentInletMolarFlow", "SpecUnit": "%", "SpecValue": "90"}
    # Streams: eight phases, every compound in the flowsheet's order in each.
    phases = objects["feed"].find("Phases")
    assert [p.findtext("ID") for p in phases] == [str(i) for i in range(8)]
    assert {tuple(c.findtext("Name") for c in p.find("Compounds")) for p in phases} == {("Water", "Ethanol", "Methanol")}
    assert [float(c.findtext("MoleFraction")) for c in phases[0].find("Compounds")] == pytest.approx([0.6, 0.3, 0.1])
    # Packages with their parameters, only for selected compounds.
    nrtl = packages["NRTL"]
    assert nrtl.findtext("Type") == "DWSIM.Thermodynamics.PropertyPackages.NRTLPropertyPackage"
    records = {(r.get("Compound1"), r.get("Compound2")): r.attrib for r in nrtl.find("InteractionParameters_NRTL")}
    assert set(records) == {("Ethanol", "Water"), ("Methanol", "Water"), ("Methanol", "Ethanol")}
    assert nrtl.find("InteractionParameters_PR") is not None
    assert (records[("Ethanol", "Water")]["A12"], records[("Ethanol", "Water")]["alpha12"]) == ("-61.25", "0.2937")
    assert sorted(list(r.attrib.values()) for r in packages["Peng-Robinson (PR)"].find("InteractionParameters")) == [
        ["Methanol", "Water", "-0.0778"], ["Water", "Methanol", "-0.05"]]


def test_connectors_on_both_ends_in_dwsim_attributes(written):
    g = written[3]
    gid = {t: x.findtext("Name") for t, x in g.items()}
    on = lambda **kw: {"IsAttached": "true", **{k: gid.get(v, v) for k, v in kw.items()}}
    fed = lambda src, index, energy: on(ConnType="ConEn" if energy == "True" else "ConIn", AttachedFromObjID=src,
                                        AttachedFromConnIndex=index, AttachedFromEnergyConn=energy)
    port = lambda tag, side, i: g[tag].find(side)[i].attrib
    assert [c.get("IsAttached") for c in g["MIX-1"].find("InputConnectors")] == ["false", "false", "true", "false", "true", "false"]
    assert port("MIX-1", "InputConnectors", 2) == fed("feed", "0", "False")
    assert port("C-1", "InputConnectors", 1) == fed("W compressor", "0", "True")
    # The energy stream a unit feeds records index -1 and no energy flag, as DWSIM writes it.
    assert port("Q cooler", "InputConnectors", 0) == fed("CL-1", "-1", "False")
    assert port("feed", "OutputConnectors", 0) == on(ConnType="ConOut", AttachedToObjID="MIX-1", AttachedToConnIndex="2",
                                                     AttachedToEnergyConn="False")
    assert port("W compressor", "OutputConnectors", 0)["AttachedToConnIndex"] == "1"
    assert port("V-1", "OutputConnectors", 1)["AttachedToObjID"] == gid["liquid"]
    # A unit's energy connector: the list element carries the source as well (DWSIM's quirk).
    assert g["CL-1"].find("EnergyConnector").attrib == {
        "AttachedFromObjID": gid["CL-1"], "AttachedFromConnIndex": "-1", "AttachedFromEnergyConn": "False"}
    assert port("CL-1", "EnergyConnector", 0) == on(AttachedToObjID="Q cooler", AttachedToConnIndex="0",
                                                    AttachedToEnergyConn="True")
    assert [c.attrib for c in g["HT-1"].find("EnergyConnector")] == [{"IsAttached": "false"}]


# ---- numbers ------------------------------------------------------------------------------

def dotnet_r(x):
    """The text .NET Core writes for a double: shortest round-trip digits, E from 1e15 and
    below 1e-4. Python's repr gives the shortest digits independently of the code under test."""
    if not math.isfinite(x):
        return "NaN" if math.isnan(x) else "Infinity" if x > 0 else "-Infinity"
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
    back = call("file_scenarios:numbers", str(path), [repr(v) for v in values], positions)
    assert back == [repr(v) for v in values]
    root = ET.parse(path).getroot()
    graphics = {g.find("Tag").text: g for g in root.find("GraphicObjects")}
    split = [o for o in root.find("SimulationObjects") if o.find("Type").text.endswith("Splitter")][0]
    texts = [e.text for e in split.find("SplitRatios")]
    assert texts == [dotnet_r(v) for v in values] and split.find("Ratios").text == ",".join(texts)
    for i, xy in enumerate(positions):
        for axis, v in (("X", xy), ("Y", -xy)):
            assert graphics[f"m{i}"].find(axis).text == str(np.float32(v)).replace("e", "E")
