"""build up to the blocks: compounds, package, notes, material streams and feeds."""
import numpy as np
import pytest

from dwsim_fakes import DoubleArray, block, dwsim, feed, flowsheet, host  # noqa: F401  (fixtures)


def build(flowgate, dwsim, fs):
    sim, obj, notes = flowgate.build(fs, dwsim.a, dwsim.m)
    return sim, obj, notes


def test_road_and_notes_in_order(flowgate, dwsim):
    fs = flowsheet(
        feeds={"F2": feed(T=None, vfrac=0.5), "F1": feed(T=None, vfrac=0.0)},
        components=["WATER", "ETHANOL"], method="ELECNRTL", reactions={"r": {"type": "Chemistry"}})
    fs.pp.elec = None
    fs.pp.nrtl = None              # not read: the host method is no NRTL
    sim, obj, notes = build(flowgate, dwsim, fs)
    assert sim.calls[:3] == [("AddCompound", "Water"), ("AddCompound", "Ethanol"),
                             ("CreateAndAddPropertyPackage", "NRTL")]
    assert notes == ["property method ELECNRTL: NRTL of DWSIM",
                     "the electrolyte chemistry is not exported",
                     "feed F2: vapor fraction given, its temperature is solved by Kelvane",
                     "feed F1: vapor fraction given, its temperature is solved by Kelvane"]
    assert list(obj) == ["F1", "F2"] and obj["F1"].set["T"] == 298.15


@pytest.mark.parametrize("method, package", [
    ("IDEAL", "Raoult's Law"), ("NRTL", "NRTL"), ("WILSON", "Wilson"), ("UNIQUAC", "UNIQUAC"),
    ("PENG-ROB", "Peng-Robinson (PR)"), ("RK-SOAVE", "Soave-Redlich-Kwong (SRK)"),
])
def test_known_methods_take_their_package_without_note(flowgate, dwsim, method, package):
    fs = flowsheet(method=method, components=["WATER"])
    sim, _, notes = build(flowgate, dwsim, fs)
    assert sim.package.ComponentName == package and notes == []


def test_parameter_failure_is_a_note(flowgate, dwsim):
    fs = flowsheet(method="NRTL")  # two components and no pp.nrtl
    _, _, notes = build(flowgate, dwsim, fs)
    assert notes == ["binary parameters not transferred ('types.SimpleNamespace' object has no attribute 'nrtl')"]

    class Stop(BaseException):
        pass

    class Host:
        components, method = ["WATER", "ETHANOL"], "NRTL"

        @property
        def nrtl(self):
            raise Stop()
    fs.pp = Host()
    with pytest.raises(Stop):      # only Exception is caught
        build(flowgate, dwsim, fs)


@pytest.mark.parametrize("more, elec, noted", [
    ({}, None, False),
    ({}, 0, True),                                 # any elec but None
    ({}, [], True),
    ({"reactions": {"a": {"type": "EQUIL"}, "b": {"type": "chemistry"}}}, None, True),
    ({"reactions": {"a": {}}}, None, False),
    ({"reactions": {"a": {"type": None}}}, None, False),
    ({"reactions": {}}, None, False),
    ({"reactions": None}, None, False),
])
def test_electrolyte_chemistry(flowgate, dwsim, more, elec, noted):
    fs = flowsheet(**more)
    if elec is not None:
        fs.pp.elec = elec
    _, _, notes = build(flowgate, dwsim, fs)
    assert notes == (["the electrolyte chemistry is not exported"] if noted else [])


def test_streams_sorted_with_positions(flowgate, dwsim):
    ports = {"B": (["S2", None, "S1"], ["", "S3"])}
    positions = {"S2": (120.7, 99.2), "S1": None, "S3": [-5, 7]}
    fs = flowsheet(feeds={"LONE": feed()}, blocks={"B": block("FOO")}, ports=ports, positions=positions)
    sim, obj, _ = build(flowgate, dwsim, fs)
    assert [c[2] for c in sim.calls if c[0] == "AddObject"] == ["LONE", "S1", "S2", "S3"]
    assert sim.places == {"LONE": (0, 100), "S1": (100, 100), "S2": (120, 99), "S3": (-5, 7)}
    assert set(obj) == {"LONE", "S1", "S2", "S3"}
    assert obj["LONE"].set["P"] == 1e5 and obj["S1"].set == {}   # only feeds get data


@pytest.mark.parametrize("positions", [None, {}, "missing"])
def test_without_positions_the_default_row(flowgate, dwsim, positions):
    fs = flowsheet(feeds={"B": feed(), "A": feed()})
    if positions != "missing":
        fs.positions = positions
    sim, _, _ = build(flowgate, dwsim, fs)
    assert sim.places == {"A": (0, 100), "B": (100, 100)}


@pytest.mark.parametrize("T, vfrac, kelvin, noted", [
    (350, None, 350.0, False), (0.0, 0.5, 0.0, False), (None, None, 298.15, False),
    (None, 0.0, 298.15, True), (np.float32(310.5), None, 310.5, False),
])
def test_feed_data(flowgate, dwsim, T, vfrac, kelvin, noted):
    f = feed(T=T, P=np.int64(200000), flows=np.array([0.001, 0.003], dtype=np.float32))
    if vfrac is not None:
        f.vfrac = vfrac
    _, obj, notes = build(flowgate, dwsim, flowsheet(feeds={"F": f}))
    got = obj["F"].set
    total = float(np.sum(f.flows))
    assert got["T"] == kelvin and got["P"] == 200000.0
    assert got["F"] == total * 1000.0
    assert got["x"] == DoubleArray([float(np.float32(0.001)) / total, float(np.float32(0.003)) / total])
    assert bool(notes) == noted


def test_zero_flow_fails_at_the_composition(flowgate, dwsim):
    fs = flowsheet(feeds={"F": feed(flows=[0.0, 0.0])})
    with pytest.raises(ZeroDivisionError, match="float division"):
        build(flowgate, dwsim, fs)
    assert dwsim.a.sheets[0].objects["F"].set == {"T": 300.0, "P": 1e5, "F": 0.0}


def test_a_missing_compound_stops_before_anything_is_added(flowgate, dwsim):
    with pytest.raises(ValueError, match=r"^DWSIM has no compound for XENON \(XENON\)$"):
        build(flowgate, dwsim, flowsheet(components=["WATER", "XENON"]))
    assert dwsim.a.sheets[0].calls == []


def test_automation_is_loaded_when_not_given(flowgate, dwsim):
    sim, obj, notes = flowgate.build(flowsheet(feeds={"F": feed()}))
    assert sim is dwsim.a.sheets[0] and list(obj) == ["F"] and notes == []
    with pytest.raises(TypeError):                       # a given without m
        flowgate.build(flowsheet(), dwsim.a)


@pytest.mark.parametrize("change, error", [
    (lambda fs: delattr(fs, "meta"), AttributeError),
    (lambda fs: delattr(fs.pp, "method"), AttributeError),
    (lambda fs: fs.ports.update(B=(["F"], ["O"], [])), ValueError),
    (lambda fs: setattr(fs, "positions", {"F": (1,)}), IndexError),
    (lambda fs: setattr(fs, "positions", {"F": ("a", 1)}), ValueError),
    (lambda fs: setattr(fs.feeds["F"], "P", None), TypeError),
    (lambda fs: delattr(fs.feeds["F"], "flows"), AttributeError),
    (lambda fs: fs.feeds.update(G=None), AttributeError),
    (lambda fs: setattr(fs, "feeds", [("F", feed())]), AttributeError),
    (lambda fs: fs.blocks.update(X=block("MIXER")), KeyError),          # no ports
    (lambda fs: setattr(fs.blocks["B"], "spec", None), AttributeError),
])
def test_malformed_host_input_raises(flowgate, dwsim, change, error):
    fs = flowsheet(feeds={"F": feed()}, blocks={"B": block("VALVE", P=5e4)}, ports={"B": (["F"], ["O"])})
    change(fs)
    with pytest.raises(error):
        build(flowgate, dwsim, fs)
