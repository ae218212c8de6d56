"""The walk over the blocks: units, their connections, energy streams and specifications."""
import sys

import numpy as np
import pytest

from dwsim_fakes import (AUXILIARY, ArgumentOutOfRangeException, CompressorMode, HeaterMode, NetException, PumpMode,
                         SeparationSpec, U, Unit, ValveMode, block, dwsim, feed, flowsheet, host)  # noqa: F401


PHANTOM = ("nothing feeds %s (no feed, no exported block): DWSIM holds a placeholder state there, no result; "
           "left out of the results: %s")


def build(dwsim, blocks, ports, feeds=None, **more):
    return dwsim.build(flowsheet(feeds=feeds or {"F": feed(P=2e5)}, blocks=blocks, ports=ports, **more))


def one(dwsim, kind, ins=("F",), outs=("O",), **spec):
    """One block whose inlets are all feeds."""
    feeds = {s: feed(P=2e5) for s in ins if s} or None
    return build(dwsim, {"B": block(kind, **spec)}, {"B": (list(ins), list(outs))}, feeds=feeds)


# kind, spec, ports -> added units, links (from, port, to, port) as DWSIM made them
@pytest.mark.parametrize("kind, spec, ports, added, links", [
    ("MIXER", {}, (["F", "A", "C"], ["O"]), [("NodeIn", "B")],
     [("F", 0, "B", 0), ("A", 0, "B", 1), ("C", 0, "B", 2), ("B", 0, "O", 0)]),
    ("FSPLIT", {"frac": [0.3]}, (["F"], [None, "P"]), [("NodeOut", "B")],   # the host's port number stands
     [("F", 0, "B", 0), ("B", 1, "P", 0)]),
    ("SEP", {"split": {0: {0: 0.9}}}, (["F"], ["O", "P"]), [("ComponentSeparator", "B"), ("EnergyStream", "Q-B")],
     [("F", 0, "B", 0), ("B", 0, "O", 0), ("B", 1, "P", 0), ("B", "E", "Q-B", 0)]),
    *((kind, spec, (["F"], ["O"]), [(unit, "B"), ("EnergyStream", "Q-B")],
       [("F", 0, "B", 0), ("B", 0, "O", 0), ("Q-B", 0, "B", 1)])
      for kind, spec, unit in [("HEATER", {"T": 350}, "Heater"), ("PUMP", {"P": 5e5}, "Pump"),
                               ("COMPR", {"ratio": 3}, "Compressor")]),
    ("VALVE", {"dP": 1e5}, (["F"], ["O"]), [("Valve", "B")], [("F", 0, "B", 0), ("B", 0, "O", 0)]),
    ("FLASH2", {"T": 300}, (["F"], ["V", "L"]), [("Heater", "B-H"), ("Vessel", "B"), ("EnergyStream", "Q-B")],
     [("F", 0, "B-H", 0), ("B-H", 0, "B-F", 0), ("B-F", 0, "B", 0), ("Q-B", 0, "B-H", 1),
      ("B", 0, "V", 0), ("B", 1, "L", 0)]),
])
def test_units_and_connections(dwsim, kind, spec, ports, added, links):
    sim, obj, notes = one(dwsim, kind, *ports, **spec)
    assert [c[1:] for c in sim.calls if c[0] == "AddObject" and c[1] != "MaterialStream"] == added
    assert sim.links == links and notes == [] and obj["B"] is sim.objects["B"]
    assert ("B-H" in obj) == (kind == "FLASH2") and "B-F" not in obj and "Q-B" not in obj


def test_flash(dwsim):
    sim, obj, _ = build(dwsim, {"B": block("FLASH2", duty=-5000, dP=3e4)}, {"B": (["F"], ["V", "L"])},
                        positions={"B": (500, 100)})
    assert [sim.places[t] for t in ("B-H", "B-F", "B", "Q-B")] == [(460, 100), (480, 100), (500, 100), (500, 100)]
    assert (obj["B-H"].CalcMode, obj["B-H"].DeltaQ, obj["B-H"].DeltaP) == (HeaterMode.HeatAdded, -5.0, 3e4)
    assert one(dwsim, "FLASH2", outs=["V", "L"])[0].places["B-H"] == (-40, 100)
    # DWSIM's heater has one material inlet: several feeds are mixed in front of it
    sim, obj, notes = one(dwsim, "FLASH2", ["F", "A", "C"], ["V", "L"])
    assert [c[1:] for c in sim.calls if c[0] == "AddObject"][-6:] == [
        ("Heater", "B-H"), ("MaterialStream", "B-F"), ("Vessel", "B"), ("NodeIn", "B-M"), ("MaterialStream", "B-M-OUT"),
        ("EnergyStream", "Q-B")]
    assert sim.links[:5] == [("F", 0, "B-M", 0), ("A", 0, "B-M", 1), ("C", 0, "B-M", 2), ("B-M", 0, "B-M-OUT", 0),
                             ("B-M-OUT", 0, "B-H", 0)]
    assert notes == [] and "B-M" not in obj


@pytest.mark.parametrize("spec, pout, mode, value, drop", [
    ({"T": 0.0, "vfrac": 1.0, "duty": 9.0}, 1.5e5, HeaterMode.OutletTemperature, ("OutletTemperature", 0.0), 5e4),
    ({"vfrac": 0.0, "duty": 9.0}, 2e5, HeaterMode.OutletVaporFraction, ("OutletVaporFraction", 0.0), 0.0),
    ({"T": None, "duty": 5000}, 2.5e5, HeaterMode.HeatAdded, ("DeltaQ", 5.0), 0.0),   # no negative drop
    ({"duty": None}, None, HeaterMode.HeatAdded, ("DeltaQ", 0.0), 0.0),
    ({}, 1e5, HeaterMode.HeatAdded, ("DeltaQ", 0.0), 1e5),
])
def test_heater_modes(flowgate, spec, pout, mode, value, drop):
    h = Unit("Heater", "H")
    assert flowgate._heater(U, h, spec, 2e5, pout) is None
    assert (h.CalcMode, getattr(h, value[0]), h.DeltaP) == (mode, value[1], drop)


def test_heater_inlets_and_atmosphere(dwsim):
    sim, obj, notes = build(dwsim, {"H": block("HEATER", P=1e5)}, {"H": (["F", "G"], ["O"])},
                            {"F": feed(P=2e5), "G": feed(P=1.2e5)})
    assert notes == ["H: inlets after the first one are left out (mix them before)"]
    assert [l for l in sim.links if l[2] == "H"] == [("F", 0, "H", 0), ("Q-H", 0, "H", 1)]
    assert obj["H"].DeltaP == 2e4              # from the lower of both inlets
    # no inlet pressure known: pin is one atmosphere
    assert build(dwsim, {"B": block("HEATER")}, {"B": (["X"], ["F"])}, {"F": feed(P=5e4)})[1]["B"].DeltaP == 101325.0 - 5e4


@pytest.mark.parametrize("kind, spec, members, mode", [
    ("PUMP", {"efficiency": 0.75}, {"Pout": 3e5, "Efficiency": 75.0}, PumpMode.OutletPressure),
    ("PUMP", {"efficiency": 0}, {"Pout": 3e5, "Efficiency": 75.0}, PumpMode.OutletPressure),
    ("COMPR", {"efficiency": 0.6}, {"POut": 3e5, "AdiabaticEfficiency": 60.0}, CompressorMode.OutletPressure),
    ("VALVE", {"efficiency": "not read"}, {"OutletPressure": 3e5}, ValveMode.OutletPressure),
])
def test_outlet_pressure_units(dwsim, kind, spec, members, mode):
    o = one(dwsim, kind, P=3e5, **spec)[1]["B"]
    assert o.CalcMode == mode and {k: getattr(o, k) for k in members} == members
    with pytest.raises(TypeError, match="float") as e:   # no pressure known for O: no default
        build(dwsim, {"B": block(kind)}, {"B": (["X"], ["O"])})
    assert e.value.__notes__ == [f"while translating block 'B' ({kind}): the pressure of its outlet is unknown, "
                                 "as no feed reaches it"]
    sim = dwsim.a.sheets[-1]
    assert sim.objects["B"].CalcMode == mode and ("Q-B" in sim.objects) == (kind != "VALVE")


@pytest.mark.parametrize("frac, ratios", [
    ([0.3], [0.3, 0.7, 0.0]), ([], [1.0, 0.0, 0.0]), ((np.float32(0.5),), [0.5, 0.5, 0.0]),
    ([0.2, 0.2, 0.2], [0.2, 0.2, 0.2, pytest.approx(0.4)]), ([0.8, 0.7], [0.8, 0.7, pytest.approx(-0.5)]),
])
def test_splitter_ratios(dwsim, frac, ratios):
    assert one(dwsim, "FSPLIT", outs=["A", "C"], frac=frac)[1]["B"].Ratios == ratios


@pytest.mark.parametrize("split, percent", [
    ({0: {0: 0.9}}, [90.0, 0.0, 0.0]),
    ({"0": {"0": 0.9, 2: "0.5"}}, [90.0, 0.0, 50.0]),
    ({0: {}, "0": {0: 0.9}}, [0.0, 0.0, 0.0]),        # the integer key wins, even when empty
    ({0: None, "0": {0: 0.9}}, [0.0, 0.0, 0.0]),
    ({1: {0: 0.9}}, [0.0, 0.0, 0.0]),                 # only outlet 0 is read
])
def test_separator_specs(dwsim, split, percent):
    _, obj, notes = build(dwsim, {"S": block("SEP", split=split)}, {"S": (["F"], ["A", "B"])},
                          components=["WATER", "ETHANOL", "METHANOL"])
    s = obj["S"].ComponentSepSpecs
    assert [(k, v.ComponentID, v.SepSpec, v.SpecValue, v.SpecUnit) for k, v in zip(s.Keys, s.Values)] == [
        (n, n, SeparationSpec.PercentInletMolarFlow, p, "%") for n, p in zip(["Water", "Ethanol", "Methanol"], percent)]
    assert obj["S"].SpecifiedStreamIndex == 0 and notes == []


def test_separator_outlets_and_import(dwsim, monkeypatch):
    # DWSIM's separator has two outlet ports: a third is named and left open, not tried
    sim, _, notes = one(dwsim, "SEP", outs=["A", "C", "D"], split={})
    assert notes == ["B: SEP with 3 outlets (DWSIM: two)", PHANTOM % ("D", "streams D")]
    assert not [l for l in sim.links if l[2] == "D"]
    sim, _, notes = one(dwsim, "SEP", outs=["A"], split={})
    assert notes == ["B: SEP with 1 outlets (DWSIM: two)"] and ("B", "E", "Q-B", 0) in sim.links
    monkeypatch.delitem(sys.modules, AUXILIARY)   # its classes are imported only for a separator
    one(dwsim, "HEATER")
    with pytest.raises(ImportError):
        one(dwsim, "SEP", outs=["A", "C"], split={})


def test_untranslated_blocks_and_places(dwsim):
    sim, obj, notes = build(dwsim, {"C1": block("RADFRAC", P=1e5), "V": block("VALVE", P=1e5), "X": block(7), "H": block("HEATER"),
                                    "M": block("MIXER")}, {"C1": (["F"], ["D", "W"]), "V": (["D"], ["E"]), "X": ([], []),
                                    "H": (["E"], ["G"]), "M": (["G"], ["K"])}, positions={"M": (7, 8)})
    # what the column would make feeds nothing real downstream: named, and left out of the results
    assert notes == ["not exported (no DWSIM block here): C1 (RADFRAC), X (7)",
                     PHANTOM % ("D, W", "streams D, E, G, K, W; blocks H, M, V")] and not {"C1", "X"} & set(obj)
    assert [sim.places[t] for t in ("V", "H", "Q-H", "M")] == [(100, 100), (300, 100), (0, 100), (7, 8)]


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
def test_faulty_blocks_raise(dwsim, kind, spec, ports, error):
    with pytest.raises(error):
        one(dwsim, kind, *ports, **spec)


@pytest.mark.parametrize("ports, what", [
    ({"B\ud800": (["F"], ["O"])}, "block 'B\\ud800'"),
    ({"B": (["F"], ["O\udcff"])}, "stream 'O\\udcff'"),
])
def test_names_dotnet_cannot_hold_are_refused_before_anything_is_added(dwsim, ports, what):
    blocks = {name: block("HEATER") for name in ports}
    with pytest.raises(ValueError, match="lone surrogate") as e:
        build(dwsim, blocks, ports)
    assert str(e.value).startswith(what) and dwsim.a.sheets[-1].calls[-1][0] != "AddObject"


@pytest.mark.parametrize("outs", [[], [""], [None]])
def test_a_unit_whose_outlets_are_all_open_gets_a_product_stream(dwsim, outs):
    # DWSIM calculates only what leads to a stream: without one the unit would keep its placeholder state
    sim, obj, notes = one(dwsim, "HEATER", outs=outs, T=350)
    assert ("B", 0, "B-OUT", 0) in sim.links and "B-OUT" not in obj
    assert notes == ["B: no outlet stream; in DWSIM its product goes to the stream B-OUT (DWSIM calculates only what "
                     "leads to a stream), which is not in the results"]


def test_what_no_feed_reaches_is_left_out(dwsim):
    # a loop that no feed enters, and a block without inlet, hold no result however DWSIM fills them
    _, _, notes = build(dwsim, {"H": block("HEATER", T=350), "M": block("MIXER"), "C": block("HEATER", T=320),
                                "N": block("MIXER")},
                        {"H": (["F"], ["G"]), "M": (["R"], ["A"]), "C": (["A"], ["R"]), "N": ([], ["Z"])})
    assert notes == ["no feed reaches A, R, Z (a loop that no feed enters, or a block without inlet): DWSIM holds a "
                     "placeholder state there, no result; left out of the results: streams A, R, Z; blocks C, M, N"]
