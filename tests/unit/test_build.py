"""build up to the blocks: compounds, package, notes, material streams and feeds."""
import sys

import numpy as np
import pytest

from dwsim_fakes import DoubleArray, block, dwsim, feed, flowsheet, host  # noqa: F401  (fixtures)

ELEC = "the electrolyte chemistry is not exported"
OWN = "property method %s: Kelvane's binary parameters are not transferred (DWSIM uses its own)"


def test_road_and_notes_in_order(flowgate, dwsim):
    sim, obj, notes = dwsim.build(flowsheet(  # nrtl is not read: the host method is no NRTL
        feeds={"F2": feed(T=None, vfrac=0.5), "F1": feed(T=None, vfrac=0.0)}, method="ELECNRTL",
        reactions={"r": {"type": "Chemistry"}}, pp=dict(elec=None, nrtl=None)))
    assert sim.calls[:3] == [("AddCompound", "Water"), ("AddCompound", "Ethanol"),
                             ("CreateAndAddPropertyPackage", "NRTL")]
    assert notes == ["property method ELECNRTL: NRTL of DWSIM", ELEC,
                     "feed F2: vapor fraction given, its temperature is solved by Kelvane",
                     "feed F1: vapor fraction given, its temperature is solved by Kelvane"]
    assert list(obj) == ["F1", "F2"] and obj["F1"].set["T"] == 298.15


@pytest.mark.parametrize("method, more, package, notes", [
    ("IDEAL", {}, "Raoult's Law", []),
    ("NRTL", {}, "NRTL", []),
    # the methods whose parameters do not go over are named; any elec but None is electrolytes
    ("WILSON", {"pp": {"elec": 0}}, "Wilson", [OWN % "WILSON", ELEC]),
    ("UNIQUAC", {"reactions": {"a": {"type": "EQUIL"}, "b": {"type": "chemistry"}}}, "UNIQUAC", [OWN % "UNIQUAC", ELEC]),
    ("PENG-ROB", {"reactions": {"a": {}, "b": {"type": None}}}, "Peng-Robinson (PR)", []),
    ("RK-SOAVE", {"reactions": None}, "Soave-Redlich-Kwong (SRK)", []),
    ("NRTL", {"components": ["WATER", "ETHANOL"]}, "NRTL",      # and no pp.nrtl
     ["binary parameters not transferred ('types.SimpleNamespace' object has no attribute 'nrtl')"]),
])
def test_package_and_its_notes(dwsim, method, more, package, notes):
    sim, _, got = dwsim.build(flowsheet(method=method, **{"components": ["WATER"], **more}))
    assert sim.package.ComponentName == package and got == notes


@pytest.mark.parametrize("positions, places", [
    ({"S2": (120.7, 99.2), "S1": None, "S3": [-5, 7]}, [(0, 100), (100, 100), (120, 99), (-5, 7)]),
    *(((p, [(0, 100), (100, 100), (200, 100), (300, 100)]) for p in (None, {}, "missing"))),
])
def test_streams_sorted_with_positions(dwsim, positions, places):
    fs = flowsheet(feeds={"LONE": feed()}, blocks={"B": block("FOO")}, ports={"B": (["S2", None, "S1"], ["", "S3"])})
    if positions != "missing":
        fs.positions = positions
    sim, obj, _ = dwsim.build(fs)
    assert [c[2] for c in sim.calls if c[0] == "AddObject"] == list(obj) == ["LONE", "S1", "S2", "S3"]
    assert sim.places == dict(zip(obj, places))
    assert obj["LONE"].set["P"] == 1e5 and obj["S1"].set == {}   # only feeds get data


@pytest.mark.parametrize("T, vfrac, kelvin, noted", [
    (350, None, 350.0, False), (0.0, 0.5, 0.0, False), (None, None, 298.15, False),
    (None, 0.0, 298.15, True), (np.float32(310.5), None, 310.5, False),
])
def test_feed_data(dwsim, T, vfrac, kelvin, noted):
    f = feed(T=T, P=np.int64(200000), flows=np.array([0.001, 0.003], dtype=np.float32),
             **({} if vfrac is None else {"vfrac": vfrac}))
    _, obj, notes = dwsim.build(flowsheet(feeds={"F": f}))
    total = float(np.sum(f.flows))
    assert obj["F"].set == {"T": kelvin, "P": 200000.0, "F": total * 1000.0, "x": DoubleArray(
        [float(np.float32(0.001)) / total, float(np.float32(0.003)) / total])}
    assert bool(notes) == noted


def test_a_missing_compound_stops_before_anything_is_added(dwsim):
    with pytest.raises(ValueError, match=r"^DWSIM has no compound for XENON \(XENON\)$"):
        dwsim.build(flowsheet(components=["WATER", "XENON"]))
    assert dwsim.a.sheets[0].calls == []


def test_automation_is_loaded_when_not_given(flowgate, dwsim):
    sim, obj, notes = flowgate.build(flowsheet(feeds={"F": feed()}))
    assert sim is dwsim.a.sheets[0] and list(obj) == ["F"] and notes == []


@pytest.mark.parametrize("change, error", [
    (lambda fs: delattr(fs, "meta"), AttributeError),
    (lambda fs: delattr(fs.pp, "method"), AttributeError),
    (lambda fs: fs.ports.update(B=(["F"], ["O"], [])), ValueError),
    (lambda fs: setattr(fs, "positions", {"F": (1,)}), IndexError),
    (lambda fs: setattr(fs, "positions", {"F": ("a", 1)}), ValueError),
    (lambda fs: setattr(fs.feeds["F"], "P", None), TypeError),
    (lambda fs: delattr(fs.feeds["F"], "flows"), AttributeError),
    (lambda fs: setattr(fs.feeds["F"], "flows", [0.0, 0.0]), ZeroDivisionError),
    (lambda fs: fs.feeds.update(G=None), AttributeError),
    (lambda fs: setattr(fs, "feeds", [("F", feed())]), AttributeError),
    (lambda fs: fs.blocks.update(X=block("MIXER")), KeyError),          # no ports
    (lambda fs: setattr(fs.blocks["B"], "spec", None), AttributeError),
    (lambda fs: setattr(fs, "pp", type("Host", (), dict(      # only an Exception becomes a note
        components=["WATER", "ETHANOL"], method="NRTL", nrtl=property(lambda self: sys.exit(3))))()), SystemExit),
])
def test_malformed_host_input_raises(dwsim, change, error):
    fs = flowsheet(feeds={"F": feed()}, blocks={"B": block("VALVE", P=5e4)}, ports={"B": (["F"], ["O"])})
    change(fs)
    with pytest.raises(error):
        dwsim.build(fs)


def test_two_components_that_are_one_dwsim_compound_are_refused(dwsim, host):
    host.databank = host.databank + [{"alias": "H2O", "cas": "7732-18-5"}]
    with pytest.raises(ValueError, match="^components 'WATER' and 'H2O' are both DWSIM's compound 'Water', "):
        dwsim.build(flowsheet(components=["WATER", "H2O"]))
    assert ("AddCompound", "Water") not in dwsim.a.sheets[-1].calls
