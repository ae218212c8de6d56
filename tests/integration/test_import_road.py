"""The import road through the stand-in: every shared DWSIM sample opens in the host
and solves, and a model taken round export and import comes back as it went."""
import zipfile
from xml.etree import ElementTree as ET

import pytest

from child import SHARED, call

SAMPLES = sorted((SHARED / "dwsim" / "samples").glob("*.dwxmz")) if SHARED.exists() else []
needs_samples = pytest.mark.skipif(not SAMPLES, reason="the shared DWSIM samples are not beside the repository")


def stored_streams(path):
    """{tag: (T, P, F mol/s, [mole fractions])} of the material streams as DWSIM stored them."""
    with zipfile.ZipFile(path) as z:
        root = ET.fromstring(z.read(next(n for n in z.namelist() if n.endswith(".xml"))))
    tags = {g.findtext("Name"): g.findtext("Tag") for g in root.find("GraphicObjects")}
    found = {}
    for o in root.find("SimulationObjects"):
        if not o.findtext("Type", "").endswith("Streams.MaterialStream"):
            continue
        phase = next(p for p in o.iter("Phase") if p.findtext("ID") == "0")
        # a phase holds two elements of each of these names: the first a type name
        props = next(p for p in phase.findall("Properties") if len(p))
        compounds = next(c for c in phase.findall("Compounds") if len(c))
        number = lambda name: float(props.findtext(name) or 0.0)
        fractions = [float(c.findtext("MoleFraction") or 0.0) for c in compounds]
        found[tags[o.findtext("Name")]] = (number("temperature"), number("pressure"), number("molarflow"), fractions)
    return found


def component_flows(results, stream):
    s = results["streams"][stream.upper()]
    return {c: s["F"] * x for c, x in s["x"].items()}


def closes(results, block):
    """The component balance of one host block from the solved streams."""
    total = {}
    for sign, side in ((1, "in"), (-1, "out")):
        for s in block[side]:
            for c, f in component_flows(results, s).items():
                total[c] = total.get(c, 0.0) + sign * f
    scale = sum(f for s in block["in"] for f in component_flows(results, s).values())
    return all(abs(v) <= 1e-6 * scale + 1e-12 for v in total.values())


@needs_samples
@pytest.mark.parametrize("path", SAMPLES, ids=lambda p: p.stem)
def test_every_sample_opens_in_the_host_and_solves(path):
    r = call("import_scenarios:open_and_solve", str(path), timeout=300)
    model, results = r["model"], r["results"]
    assert results["errors"] == []
    for name, block in model["blocks"].items():
        assert closes(results, block), name
    # the feeds are what DWSIM stored: those with nothing on their inlet, and those a
    # unit without a host block makes
    stored = stored_streams(path)
    order = list(model["property"]["components"])
    for tag, feed in model["feeds"].items():
        T, P, F, x = stored[tag]
        assert (feed["T"], feed["P"]) == pytest.approx((T, P))
        flows = [feed["flows"].get(c, 0.0) for c in order]
        assert flows == pytest.approx([F * xi / 1000.0 for xi in x[:len(order)]], rel=1e-12, abs=1e-15)


@needs_samples
def test_what_the_samples_simplify_is_named():
    by_name = {p.stem: p for p in SAMPLES}
    propane = call("import_scenarios:open_and_solve", str(by_name["propane-refrigeration-cycle"]))
    # a closed refrigerant loop has no feed: it opens at its Recycle, from the stored state
    assert propane["notes"] == ["REC-1: no feed reaches its loop; 1 suction becomes one, with the state DWSIM stored"]
    assert set(propane["model"]["feeds"]) == {"1 suction"}
    assert [b["kind"] for b in propane["model"]["blocks"].values()] == ["COMPR", "HEATER", "VALVE", "HEATER"]
    ammonia = call("import_scenarios:open_and_solve", str(by_name["ammonia-synthesis-single-pass"]))
    assert ammonia["notes"] == ["R-1 (Reactor_Equilibrium): no Kelvane block; feeds with the state DWSIM stored: "
                                "converter out; left out, without flow: converter liquid"]
    assert set(ammonia["model"]["feeds"]) == {"makeup gas", "converter out"}


def strip_layout(model):
    return {k: v for k, v in model.items() if k != "layout"}


def difference(a, b, where="model"):
    """Where two models differ beyond the rounding of flows through DWSIM's mol/s
    (mappings compared by key, lists in order), or None."""
    if isinstance(a, dict) and isinstance(b, dict):
        if set(a) != set(b):
            return f"{where}: keys {sorted(set(a) ^ set(b))}"
        return next((d for k in a if (d := difference(a[k], b[k], f"{where}[{k!r}]"))), None)
    if isinstance(a, list) and isinstance(b, list):
        if len(a) != len(b):
            return f"{where}: {a!r} != {b!r}"
        return next((d for i, (x, y) in enumerate(zip(a, b)) if (d := difference(x, y, f"{where}[{i}]"))), None)
    if isinstance(a, float) and isinstance(b, (int, float)) and b == pytest.approx(a, rel=1e-9, abs=1e-15):
        return None
    return None if a == b else f"{where}: {a!r} != {b!r}"


# Every translated kind, a loop through a mixer, a flash with two feeds, a splitter
# with four outlets and a mixer with seven inlets (both beyond one DWSIM unit).
FEED = {"T": 300.0, "P": 300000.0, "flows": {"WATER": 0.02, "METHANOL": 0.01}}
HOST = {
    "name": "TRIP",
    "property": {"method": "NRTL", "components": {"WATER": "WATER", "METHANOL": "METHANOL"}},
    "feeds": {"F1": FEED, "F2": {**FEED, "T": 320.0}, **{f"G{i}": FEED for i in range(5)}},
    "blocks": {
        "MX": {"kind": "MIXER", "in": ["F1", "R"], "out": ["S1"]},
        "P1": {"kind": "PUMP", "in": ["S1"], "out": ["S2"], "P": 500000.0, "efficiency": 0.7},
        "H1": {"kind": "HEATER", "in": ["S2"], "out": ["S3"], "dP": 10000.0, "T": 380.0},
        "FL": {"kind": "FLASH2", "in": ["S3", "F2"], "out": ["V", "L"], "dP": 20000.0, "T": 360.0},
        "K1": {"kind": "COMPR", "in": ["V"], "out": ["V2"], "P": 600000.0, "efficiency": 0.8},
        "SP": {"kind": "FSPLIT", "in": ["L"], "out": ["L1", "L2", "L3", "L4"], "frac": [0.2, 0.3, 0.1]},
        "V1": {"kind": "VALVE", "in": ["L1"], "out": ["R"], "P": 200000.0},
        "SEP": {"kind": "SEP", "in": ["L2"], "out": ["T1", "B1"], "split": {"0": {"0": 0.9, "1": 0.1}}},
        "M7": {"kind": "MIXER", "in": ["L3", "L4", "G0", "G1", "G2", "G3", "G4"], "out": ["M7OUT"]},
        "C1": {"kind": "HEATER", "in": ["M7OUT"], "out": ["C1OUT"], "dP": 0.0, "duty": -2000.0},
    },
    "layout": {"blocks": {name: [100.0 * i, 50.0] for i, name in enumerate(
        ["MX", "P1", "H1", "FL", "K1", "SP", "V1", "SEP", "M7", "C1"])}},
}


def test_a_host_model_comes_back_from_its_dwsim_file(tmp_path):
    r = call("import_scenarios:round_trip", HOST, str(tmp_path), timeout=300)
    first, again = r["models"][1], r["models"][2]
    assert r["notes"] == [[], []]
    # blocks, their connections and specifications, the feeds, the layout: as they went
    assert difference(HOST, first) is None
    assert difference(first, again) is None


@needs_samples
@pytest.mark.parametrize("path", SAMPLES, ids=lambda p: p.stem)
def test_a_sample_imported_exported_and_imported_again_is_the_same_model(path, tmp_path):
    r = call("import_scenarios:sample_round_trip", str(path), str(tmp_path), timeout=300)
    first, again = r["models"]
    assert difference(strip_layout(first), strip_layout(again)) is None


def test_paths_as_paths_and_file_names_dotnet_cannot_hold(tmp_path):
    r = call("import_scenarios:odd_paths", str(tmp_path), HOST, timeout=300)
    names = {"plain.dwxmz": "PLAIN", b"caf\xe9.dwxmz".decode("utf-8", "surrogateescape"): "CAF\udce9"}
    for name, model_name in names.items():
        got = r[name.encode("utf-8", "surrogateescape").hex()]
        assert got["exists"] and got["name"] == model_name and got["blocks"] == list(HOST["blocks"])
    # nothing left behind: no part files, no copies
    assert r["files"] == sorted(n.encode("utf-8", "surrogateescape").hex() for n in names)


def test_a_file_dwsim_cannot_read_is_named_in_its_error(tmp_path):
    # DWSIM's own error need not name the file, and names the copy where one is read
    r = call("import_scenarios:broken_files", str(tmp_path))
    assert r and all(named is True for named in r.values()), r
