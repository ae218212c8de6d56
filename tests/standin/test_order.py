"""DWSIM's calculation order, its Recycle block and its tag rules in the stand-in."""
import zipfile
from xml.etree import ElementTree as ET

import pytest

from child import SHARED, call

INFINITE = ("Infinite loop detected while obtaining flowsheet object calculation order. "
            "Please insert recycle blocks where needed.")
LIMIT = "Recycle reached the maximum number of iterations without converging."
NOT_ALLOWED = ["Exception", "This connection is not allowed."]
SAMPLE = SHARED / "dwsim" / "samples" / "propane-refrigeration-cycle.dwxmz"


def test_order_is_deepest_level_first_and_skips_what_no_end_point_reaches():
    r = call("order_scenarios:branched_order")
    # End points P1, P3 and the cooler's duty Q; F1 sits one level above H because the
    # mixer reaches it directly, so it comes after H although it is a feed.
    assert r["errors"] == []
    assert r["order"] == ["F2", "H", "F1", "S2", "M", "S3", "SP", "P2", "CL", "P1", "P3", "Q"]
    assert r["unreached"] == [False, False]


@pytest.mark.parametrize("n, refused", [(3, False), (14, True)])
def test_walk_counts_entries_not_objects(n, refused):
    # 14 diamonds give 2^14 paths back from the end: DWSIM's walk keeps every duplicate.
    r = call("order_scenarios:diamonds", n)
    assert r["errors"] == ([INFINITE] if refused else [])
    assert r["end"]["calculated"] is not refused


@pytest.mark.parametrize("smoothing", [1.0, 0.5])
def test_recycle_closes_the_loop(smoothing):
    r = call("order_scenarios:ring", True, True, smoothing, 500)
    rec = r["recycle"]
    assert r["errors"] == [] and rec["converged"] and rec["count"] == 1
    # feed and tear stream first (the mixer's inlets), end points last; one pass per recycle call
    assert r["order"] == ["FEED", "BACK", "MIX-1", "MIXED", "HT-1", "HOT", "SPL-1", "RETURN", "PRODUCT", "R-1"]
    assert r["passes"] == rec["taken"] + 1
    # 25 % leaves, 75 % goes round: the loop carries feed / 0.25; balances close
    assert r["mixed"]["F"] == pytest.approx(20.0, rel=1e-9)
    assert r["flows"][1] == pytest.approx(r["flows"][0], rel=1e-9)
    assert rec["back"]["T"] == pytest.approx(320.0) and 314 < r["mixed"]["T"] < 316
    assert rec["values"]["MassFlow"] == pytest.approx(rec["back"]["F"] * sum(
        z * mw for z, mw in zip(rec["back"]["z"], (32.042, 18.015))) / 1000, rel=1e-3)
    assert rec["taken"] > (60 if smoothing < 1 else 30)    # damping slows the substitution


def test_default_tolerances_stop_early():
    # 0.01 kg/s on the summed component mass flows: DWSIM's default, loose for this loop
    r = call("order_scenarios:ring", True)
    assert r["errors"] == [] and r["recycle"]["converged"] and r["recycle"]["errors"]["MassFlow"] <= 0.01
    assert 20.0 < r["mixed"]["F"] < 23.0


@pytest.mark.parametrize("args, passes", [((True, False, 1.0, 4), 5), ((True, False, 1.0, 50, 0.0), 51)])
def test_recycle_iteration_limit(args, passes):
    # four allowed iterations on a slow loop; a loop that keeps all its flow never settles
    r = call("order_scenarios:ring", *args)
    assert r["errors"] == ["R-1: " + LIMIT] and r["passes"] == passes
    assert r["recycle"]["count"] == 0 and not r["recycle"]["converged"]


def test_first_pass_starts_from_the_tear_streams_defaults():
    r = call("order_scenarios:first_pass_from_defaults")
    assert r["errors"] == ["R-1: " + LIMIT]
    errors, count, converged = r["recycle"]
    tear = r["tear_before"]
    assert [tear["T"], tear["P"], tear["z"], tear["calculated"]] == [298.15, 101325, [0.5, 0.5], False]
    # errors against 1 kg/s of an equimolar mix at 298.15 K, taken before the copy
    wdef = [0.5 * mw / sum(0.5 * m for m in r["mw"]) for mw in r["mw"]]
    win = [f * mw / 1000 for f, mw in zip(r["inlet"][0], r["mw"])]
    assert errors["Temperature"] == pytest.approx(320 - 298.15) and errors["Pressure"] == pytest.approx(0, abs=1e-9)
    assert errors["MassFlow"] == pytest.approx(sum(abs(a - b) for a, b in zip(win, wdef)), rel=1e-9)
    # the copy was made: the tear stream holds the inlet's T, P and flows, not yet flashed
    back_flows, back = r["back"]
    assert back_flows == pytest.approx(r["inlet"][0], rel=1e-12) and back["T"] == r["inlet"][1]["T"]
    assert count == 0 and not converged


def test_recycle_connections_and_unmodelled_acceleration():
    r = call("order_scenarios:recycle_misuse")
    assert r["no_outlet"] == ["R-1: No material stream connected to the outlet of recycling."]
    assert r["no_inlet"] == ["R-1: Check the connections of the object."]
    assert len(r["broyden"]) == 1 and r["broyden"][0].startswith("R-1: ") and "not modelled" in r["broyden"][0]
    assert r["energy"] == [NOT_ALLOWED, NOT_ALLOWED]


def test_tags_are_made_unique_as_dwsim_does():
    r = call("order_scenarios:tags")
    assert r["given"] == ["R-1", "R-2", "S-09", "S-10", "S-99", "S-100", "MIX-1-A2", "MIX-2-A3", "r-1", "R-3", "007", "008"]
    # default tags count the objects of the class, then go through the same check
    assert r["recycles"] == ["R-4", "R-5", "R-6"] and r["mixers"] == ["MIX-1", "MIX-2", "M", "MIX-4"]
    assert r["streams"] == ["13", "14"]
    refused = ["ArgumentException", "The tag 'FEED' is already in use and has no digits to increment: "
               "DWSIM would hang here; choose a unique tag."]
    assert r["no_digit"][0] is None and r["no_digit"][1] == refused and r["no_digit"][2][0] == "ArgumentException"
    assert r["overflow"][:2] == [None, None] and r["overflow"][2][0] == "OverflowException"
    assert r["renamed"] == ["T1", "U2"]
    assert r["loaded"][:2] == ["S-101", "R-7"] and r["loaded"][2] == refused


def test_recycle_defaults_and_file_round_trip(tmp_path):
    path = tmp_path / "rec.dwxmz"
    r = call("order_scenarios:recycle_defaults_and_file", str(path))
    assert r["made"] == ["DWSIM.UnitOperations.SpecialOps.Recycle", "REC", "OT_Recycle", "RecycleGraphic",
                         ["ConIn"], ["ConOut"], False]
    keys = ["Enthalpy", "MassFlow", "Pressure", "Temperature"]
    assert r["defaults"] == [50, 0, 0, False, "None", 1.0, False, False, keys, keys]
    assert r["tolerances"] == [0.1, 0.1, 0.01, 0.01, 1, 0.01, 0.001] and r["wegstein"] == [4, 0, -20, 2]
    assert r["loaded"] == ["DWSIM.UnitOperations.SpecialOps.Recycle", True, "OT_Recycle", 7, 0.5, True, "Wegstein", 3, True,
                           1e-5, 0.1, -5.0, 4, 1.5, "IN", "OUT"]
    with zipfile.ZipFile(path) as z:
        root = ET.fromstring(z.read(z.namelist()[0]))
    obj = next(o for o in root.find("SimulationObjects") if o.findtext("Type").endswith("Recycle"))
    assert obj.findtext("ConvergenceParameters/Type") == "DWSIM.UnitOperations.SpecialOps.Helpers.Recycle.ConvergenceParameters"
    assert obj.find("WegPars").attrib == {"AccelDelay": "2", "AccelFreq": "4", "Qmax": "0", "Qmin": "-5"}
    assert {i.get("Key"): i.get("Value") for i in obj.find("Errors")}["Temperature"] == "1.5"
    graphic = next(g for g in root.find("GraphicObjects") if g.findtext("Tag") == "LOOP-1")
    assert graphic.findtext("ObjectType") == "OT_Recycle" and graphic.findtext("Type").endswith("Shapes.RecycleGraphic")


@pytest.mark.skipif(not SAMPLE.is_file(), reason="shared DWSIM samples not available")
def test_real_sample_recycle_loop_solves_after_load():
    r = call("order_scenarios:sample_loop", str(SAMPLE))
    assert r["before"] == [True, 1, True] and r["ends"] == ["5 evaporator out", "1 suction"]
    assert r["errors"] == []
    # the compressor's energy inlet is walked too; the tear stream leads, the recycle closes
    assert r["order"] == ["1 suction", "W comp", "C-1", "2 discharge", "CD-1", "3 liquid", "V-1", "4 flashed", "EV-1",
                          "5 evaporator out", "REC-1"]
    converged, count, taken, errors = r["after"]
    assert converged and count == 1 and abs(errors["Temperature"]) <= 0.1 and errors["MassFlow"] <= 0.01
    mass = list(r["mass"].values())
    assert mass == pytest.approx([mass[0]] * 5, rel=1e-9) and mass[0] == pytest.approx(2.0, rel=1e-6)
    s = r["streams"]
    assert [s["1 suction"]["P"], s["2 discharge"]["P"], s["4 flashed"]["P"]] == [245000, 1250000, 245000]
    assert s["3 liquid"]["T"] == pytest.approx(305) and s["5 evaporator out"]["T"] == pytest.approx(253)
