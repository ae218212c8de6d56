"""The walk over the blocks: units, their connections, energy streams and specifications."""
import sys

import numpy as np
import pytest

from dwsim_fakes import (AUXILIARY, CompressorMode, HeaterMode, PumpMode, SeparationSpec, ValveMode, block,
                         dwsim, feed, flowsheet, host)  # noqa: F401  (fixtures)

THREE = ["WATER", "ETHANOL", "METHANOL"]


def build(flowgate, dwsim, blocks, ports, feeds=None, **more):
    feeds = {"F": feed(P=2e5)} if feeds is None else feeds
    sim, obj, notes = flowgate.build(flowsheet(feeds=feeds, blocks=blocks, ports=ports, **more), dwsim.a, dwsim.m)
    return sim, obj, notes


def units(sim):
    return [(c[1], c[2]) for c in sim.calls if c[0] == "AddObject" and c[1] != "MaterialStream"]


# kind, spec, ports -> added units, links (from, port, to, port) as DWSIM made them
@pytest.mark.parametrize("kind, spec, ports, added, links", [
    ("MIXER", {}, (["F", "A", "C"], ["O"]), [("NodeIn", "B")],
     [("F", 0, "B", 0), ("A", 0, "B", 1), ("C", 0, "B", 2), ("B", 0, "O", 0)]),
    ("FSPLIT", {"frac": [0.3]}, (["F"], ["O", "P"]), [("NodeOut", "B")],
     [("F", 0, "B", 0), ("B", 0, "O", 0), ("B", 1, "P", 0)]),
    ("SEP", {"split": {0: {0: 0.9}}}, (["F"], ["O", "P"]), [("ComponentSeparator", "B"), ("EnergyStream", "Q-B")],
     [("F", 0, "B", 0), ("B", 0, "O", 0), ("B", 1, "P", 0), ("B", "E", "Q-B", 0)]),
    ("HEATER", {"T": 350}, (["F"], ["O"]), [("Heater", "B"), ("EnergyStream", "Q-B")],
     [("F", 0, "B", 0), ("B", 0, "O", 0), ("Q-B", 0, "B", 1)]),
    ("PUMP", {"P": 5e5}, (["F"], ["O"]), [("Pump", "B"), ("EnergyStream", "Q-B")],
     [("F", 0, "B", 0), ("B", 0, "O", 0), ("Q-B", 0, "B", 1)]),
    ("COMPR", {"ratio": 3}, (["F"], ["O"]), [("Compressor", "B"), ("EnergyStream", "Q-B")],
     [("F", 0, "B", 0), ("B", 0, "O", 0), ("Q-B", 0, "B", 1)]),
    ("VALVE", {"dP": 1e5}, (["F"], ["O"]), [("Valve", "B")], [("F", 0, "B", 0), ("B", 0, "O", 0)]),
    ("FLASH2", {"T": 300}, (["F"], ["V", "L"]),
     [("Heater", "B-H"), ("Vessel", "B"), ("EnergyStream", "Q-B")],
     [("F", 0, "B-H", 0), ("B-H", 0, "B-F", 0), ("B-F", 0, "B", 0), ("Q-B", 0, "B-H", 1),
      ("B", 0, "V", 0), ("B", 1, "L", 0)]),
])
def test_units_and_connections(flowgate, dwsim, kind, spec, ports, added, links):
    sim, obj, notes = build(flowgate, dwsim, {"B": block(kind, **spec)}, {"B": ports})
    assert units(sim) == added and sim.links == links and notes == []
    assert obj["B"] is sim.objects["B"]
    assert ("B-H" in obj) == (kind == "FLASH2") and "B-F" not in obj and "Q-B" not in obj


def test_flash_inlets_all_go_to_the_heater(flowgate, dwsim):
    # DWSIM's heater has one material inlet: what it makes of port 1 is its own affair
    with pytest.raises(RuntimeError, match="cannot be done"):
        build(flowgate, dwsim, {"B": block("FLASH2")}, {"B": (["F", "A"], ["V", "L"])})
    assert dwsim.a.sheets[0].calls[-1] == ("ConnectObjects", "A", "B-H", -1, 1)


def test_flash_places_and_specification(flowgate, dwsim):
    sim, obj, _ = build(flowgate, dwsim, {"B": block("FLASH2", duty=-5000, dP=3e4)}, {"B": (["F"], ["V", "L"])},
                        positions={"B": (500, 100)})
    assert [sim.places[t] for t in ("B-H", "B-F", "B", "Q-B")] == [(460, 100), (480, 100), (500, 100), (500, 100)]
    h = obj["B-H"]
    assert (h.CalcMode, h.DeltaQ, h.DeltaP) == (HeaterMode.HeatAdded, -5.0, 3e4)
    sim, _, _ = build(flowgate, dwsim, {"B": block("FLASH2")}, {"B": (["F"], ["V", "L"])})
    assert sim.places["B-H"] == (-40, 100)


@pytest.mark.parametrize("spec, pout, mode, value, drop", [
    ({"T": 0.0, "vfrac": 1.0, "duty": 9.0}, 1.5e5, HeaterMode.OutletTemperature, ("OutletTemperature", 0.0), 5e4),
    ({"vfrac": 0.0, "duty": 9.0}, 2e5, HeaterMode.OutletVaporFraction, ("OutletVaporFraction", 0.0), 0.0),
    ({"T": None, "duty": 5000}, 2.5e5, HeaterMode.HeatAdded, ("DeltaQ", 5.0), 0.0),   # no negative drop
    ({"duty": None}, None, HeaterMode.HeatAdded, ("DeltaQ", 0.0), 0.0),
    ({}, 1e5, HeaterMode.HeatAdded, ("DeltaQ", 0.0), 1e5),
])
def test_heater_modes(flowgate, spec, pout, mode, value, drop):
    from dwsim_fakes import U, Unit
    h = Unit("Heater", "H")
    assert flowgate._heater(U, h, spec, 2e5, pout) is None
    assert (h.CalcMode, getattr(h, value[0]), h.DeltaP) == (mode, value[1], drop)
    assert type(h.DeltaP) is float


def test_heater_with_two_inlets(flowgate, dwsim):
    feeds = {"F": feed(P=2e5), "G": feed(P=1.2e5)}
    sim, obj, notes = build(flowgate, dwsim, {"H": block("HEATER", P=1e5)}, {"H": (["F", "G"], ["O"])}, feeds)
    assert notes == ["H: inlets after the first one are left out (mix them before)"]
    assert [l for l in sim.links if l[2] == "H"] == [("F", 0, "H", 0), ("Q-H", 0, "H", 1)]
    assert obj["H"].DeltaP == 2e4              # from the lower of both inlets


def test_port_numbers_and_atmosphere(flowgate, dwsim):
    sim, _, _ = build(flowgate, dwsim, {"S": block("FSPLIT", frac=[0.5])}, {"S": (["F"], [None, "O"])})
    assert sim.links == [("F", 0, "S", 0), ("S", 1, "O", 0)]   # the host's port number stands
    # no inlet pressure known: pin is one atmosphere
    _, obj, _ = build(flowgate, dwsim, {"H": block("HEATER")}, {"H": (["X"], ["F"])}, feeds={"F": feed(P=5e4)})
    assert obj["H"].DeltaP == 101325.0 - 5e4


@pytest.mark.parametrize("kind, spec, members, mode", [
    ("PUMP", {"efficiency": 0.75}, {"Pout": 3e5, "Efficiency": 75.0}, PumpMode.OutletPressure),
    ("PUMP", {"efficiency": 0}, {"Pout": 3e5, "Efficiency": 75.0}, PumpMode.OutletPressure),
    ("COMPR", {"efficiency": 0.6}, {"POut": 3e5, "AdiabaticEfficiency": 60.0}, CompressorMode.OutletPressure),
    ("COMPR", {"efficiency": None}, {"POut": 3e5, "AdiabaticEfficiency": 75.0}, CompressorMode.OutletPressure),
    ("VALVE", {"efficiency": "not read"}, {"OutletPressure": 3e5}, ValveMode.OutletPressure),
])
def test_outlet_pressure_units(flowgate, dwsim, kind, spec, members, mode):
    _, obj, _ = build(flowgate, dwsim, {"U": block(kind, P=3e5, **spec)}, {"U": (["F"], ["O"])})
    o = obj["U"]
    assert o.CalcMode == mode and {k: getattr(o, k) for k in members} == members


@pytest.mark.parametrize("kind, energy", [("PUMP", True), ("COMPR", True), ("VALVE", False)])
def test_outlet_pressure_is_required(flowgate, dwsim, kind, energy):
    with pytest.raises(TypeError, match="float"):
        build(flowgate, dwsim, {"U": block(kind)}, {"U": (["X"], ["O"])})   # no pressure known for O
    sim = dwsim.a.sheets[0]
    assert sim.objects["U"].CalcMode.name == "OutletPressure" and ("Q-U" in sim.objects) == energy


@pytest.mark.parametrize("frac, ratios", [
    ([0.3], [0.3, 0.7, 0.0]), ([], [1.0, 0.0, 0.0]), ((np.float32(0.5),), [0.5, 0.5, 0.0]),
    ([0.2, 0.2, 0.2], [0.2, 0.2, 0.2, pytest.approx(0.4)]), ([0.8, 0.7], [0.8, 0.7, pytest.approx(-0.5)]),
])
def test_splitter_ratios(flowgate, dwsim, frac, ratios):
    _, obj, _ = build(flowgate, dwsim, {"S": block("FSPLIT", frac=frac)}, {"S": (["F"], ["A", "B"])})
    assert obj["S"].Ratios == ratios


@pytest.mark.parametrize("split, percent", [
    ({0: {0: 0.9}}, [90.0, 0.0, 0.0]),
    ({"0": {"0": 0.9, 2: "0.5"}}, [90.0, 0.0, 50.0]),
    ({0: {}, "0": {0: 0.9}}, [0.0, 0.0, 0.0]),        # the integer key wins, even when empty
    ({0: None, "0": {0: 0.9}}, [0.0, 0.0, 0.0]),
    ({1: {0: 0.9}}, [0.0, 0.0, 0.0]),                 # only outlet 0 is read
])
def test_separator_specs(flowgate, dwsim, split, percent):
    _, obj, notes = build(flowgate, dwsim, {"S": block("SEP", split=split)}, {"S": (["F"], ["A", "B"])},
                          components=THREE)
    specs = obj["S"].ComponentSepSpecs
    assert specs.Keys == ["Water", "Ethanol", "Methanol"]
    assert [(s.ComponentID, s.SepSpec, s.SpecValue, s.SpecUnit) for s in specs.Values] == [
        (n, SeparationSpec.PercentInletMolarFlow, p, "%") for n, p in zip(specs.Keys, percent)]
    assert obj["S"].SpecifiedStreamIndex == 0 and notes == []


def test_separator_outlets_note(flowgate, dwsim):
    with pytest.raises(IndexError):   # DWSIM's separator has two outlet ports
        build(flowgate, dwsim, {"S": block("SEP", split={})}, {"S": (["F"], ["A", "B", "C"])})
    sim, _, notes = build(flowgate, dwsim, {"S": block("SEP", split={})}, {"S": (["F"], ["A"])})
    assert notes == ["S: SEP with 1 outlets (DWSIM: two)"] and ("S", "E", "Q-S", 0) in sim.links


def test_separator_classes_are_imported_only_for_a_separator(flowgate, dwsim, monkeypatch):
    monkeypatch.delitem(sys.modules, AUXILIARY)
    build(flowgate, dwsim, {"H": block("HEATER")}, {"H": (["F"], ["O"])})
    with pytest.raises(ImportError):
        build(flowgate, dwsim, {"S": block("SEP", split={})}, {"S": (["F"], ["A", "B"])})


def test_untranslated_blocks_and_places(flowgate, dwsim):
    blocks = {"C1": block("RADFRAC", P=1e5), "V": block("VALVE", P=1e5), "X": block(7), "H": block("HEATER"),
              "M": block("MIXER")}
    ports = {"C1": (["F"], ["D", "W"]), "V": (["D"], ["E"]), "X": ([], []), "H": (["E"], ["G"]),
             "M": (["G"], ["K"])}
    sim, obj, notes = build(flowgate, dwsim, blocks, ports, positions={"M": (7, 8)})
    assert notes == ["not exported (no DWSIM block here): C1 (RADFRAC), X (7)"]
    assert "C1" not in obj and "X" not in obj
    assert [sim.places[t] for t in ("V", "H", "Q-H", "M")] == [(100, 100), (300, 100), (0, 100), (7, 8)]


def test_no_blocks(flowgate, dwsim):
    _, obj, notes = build(flowgate, dwsim, {}, {}, feeds={"F": feed(), "G": feed()})
    assert list(obj) == ["F", "G"] and notes == []


@pytest.mark.parametrize("kind, spec, ports, error", [
    ("MIXER", {}, (["F"], []), IndexError),
    ("MIXER", {}, (["F"], [None]), KeyError),
    ("MIXER", {}, (["F", ""], ["O"]), KeyError),
    ("FLASH2", {}, (["F"], ["V"]), IndexError),
    ("FLASH2", {}, (["F"], ["V", None]), KeyError),
    ("HEATER", {}, ([None, "F"], ["O"]), KeyError),
    ("FSPLIT", {}, (["F"], ["O", "P"]), KeyError),
    ("SEP", {}, (["F"], ["O", "P"]), KeyError),
    ("SEP", {"split": {0: {"x": 0.5}}}, (["F"], ["O", "P"]), ValueError),
    ("HEATER", {"T": "hot"}, (["F"], ["O"]), ValueError),
])
def test_faulty_blocks_raise(flowgate, dwsim, kind, spec, ports, error):
    with pytest.raises(error):
        build(flowgate, dwsim, {"B": block(kind, **spec)}, {"B": ports})
