"""The two ends of the export road: solve_dwsim (solve, save, read the
streams and blocks back, log at the very end) and export (save unsolved, one
line in the log, the notes back)."""
from types import SimpleNamespace as NS

import numpy as np
import pytest

from dwsim_fakes import block, dwsim, feed, flowsheet, host  # noqa: F401  (fixtures)


BLOCKS = {"H": block("HEATER", T=350), "P": block("PUMP", P=3e5), "FL": block("FLASH2", T=300),
          "M": block("MIXER"), "C": block("RADFRAC")}
PORTS = {"H": (["f"], ["a"]), "P": (["a"], ["b"]), "FL": (["b"], ["V", "L"]), "M": (["L"], ["m"]),
         "C": (["m"], ["", "D"])}


def solved(states, duties=None, errors=()):
    """A solve that gives streams their states (T, P, F mol/s, x, vf) and units their DeltaQ."""
    def solve(sim):
        for tag, (T, P, F, x, vf) in states.items():
            sim.objects[tag].state = dict(T=T, P=P, F=F, x=x, vf=vf)
        for tag, q in (duties or {}).items():
            sim.objects[tag].__dict__["DeltaQ"] = q
        return [NS(Message=m) for m in errors] if errors is not None else None
    return solve


def fs_of(**more):
    return flowsheet(feeds={"f": feed(), "lone": feed()}, blocks=BLOCKS, ports=PORTS, **more)


STATES = {"f": (300.0, 1e5, 4.0, [0.25, 0.75], None), "a": (350.0, 1e5, 4.0, [0.25, 0.75], 1.0),
          "b": (351.0, 3e5, 4.0, [0.25, 0.75], 0.0), "V": (300, 3e5, 0.0, [0.5, 0.5], None),
          "L": (300.0, 3e5, -1.0, [0.25, 0.75, 0.9], None), "m": (300.0, 3e5, 4.0, [0.25], None),
          "D": (np.float64(300.0), 3e5, 4, [0.25, 0.75], 0.5)}


def test_results(flowgate, dwsim, host):
    dwsim.a.solver = solved(STATES, {"H": 12.5, "P": 0.25, "FL-H": -3.0, "FL": 99.0}, errors=["H: bad"])
    fs = fs_of()
    r = flowgate.solve_dwsim(fs)
    assert list(r) == ["streams", "blocks", "errors", "notes"]
    assert list(r["streams"]) == ["D", "L", "V", "A", "B", "F", "M"]     # host names sorted; not the lone feed
    assert r["streams"]["A"] == {"T": 350.0, "P": 1e5, "F": 0.004, "x": {"WATER": 0.25, "ETHANOL": 0.75},
                                 "VFRAC": 1.0, "H": 350000.0}
    assert list(r["streams"]["A"]) == ["T", "P", "F", "x", "VFRAC", "H"]
    assert r["streams"]["F"]["VFRAC"] == 0.0 and r["streams"]["B"]["VFRAC"] == 0.0
    assert r["streams"]["L"]["x"] == {"WATER": 0.25, "ETHANOL": 0.75}    # the shorter list decides
    assert r["streams"]["M"]["x"] == {"WATER": 0.25}
    assert [r["streams"][n]["H"] for n in ("V", "L")] == [None, None]    # no flow: no flash
    assert all(type(v) is float for s in r["streams"].values() for k, v in s.items() if k not in ("x", "H"))
    assert r["blocks"] == {"H": {"duty": 12500.0}, "P": {"power": 250.0}, "FL": {"duty": -3000.0}}
    assert r["errors"] == ["H: bad"] and r["notes"] == ["not exported (no DWSIM block here): C (RADFRAC)"]

    pp, x, P, T = host.flashes[0]
    assert pp is fs.pp
    assert isinstance(x, np.ndarray) and x.tolist() == [0.25, 0.75]      # stream D comes first
    assert (P, T) == (3e5, 300.0) and type(T) is float
    assert len(host.flashes) == 5


def test_flash_failures_give_no_enthalpy(flowgate, dwsim, host):
    def flash(pp, x, P, T):
        if T > 340:
            raise ValueError("no such state")
        return {"h": 1.0} if T > 320 else {"H": "anything"}
    host.flash = flash
    states = {"f": (300.0, 1e5, 4.0, [0.25, 0.75], None), "a": (350.0, 1e5, 4.0, [0.25, 0.75], None),
              "b": (330.0, 1e5, 4.0, [0.25, 0.75], None)}
    dwsim.a.solver = solved(states)
    r = flowgate.solve_dwsim(flowsheet(feeds={"f": feed()}, blocks={"H": block("HEATER"), "V": block("VALVE", P=1)},
                                       ports={"H": (["f"], ["a"]), "V": (["a"], ["b"])}))
    assert {n: s["H"] for n, s in r["streams"].items()} == {"A": None, "B": None, "F": "anything"}
    assert r["errors"] == [] and [line[0] for line in host.log.lines] == []


def test_errors_then_notes_in_the_log(flowgate, dwsim, host):
    def solve(sim):
        sim.objects["Out"].GetMolarFlow = lambda: "n/a"
        sim.objects["f"].state["x"] = None
        return [NS(Message="first"), NS(Message=RuntimeError("second"))]
    dwsim.a.solver = solve
    fs = flowsheet(feeds={"f": feed(T=None, vfrac=1.0)}, blocks={"V": block("VALVE", P=1.0)},
                   ports={"V": (["f"], ["Out"])}, method="X")
    r = flowgate.solve_dwsim(fs)
    assert r["errors"] == ["first", "second", "Out: could not convert string to float: 'n/a'",
                           "f: 'NoneType' object is not iterable"]
    assert r["streams"] == {}
    assert host.log.lines == [("error", "DWSIM: %s", e) for e in r["errors"]] + [
        ("warning", "DWSIM: %s", n) for n in ["property method X: NRTL of DWSIM",
                                               "feed f: vapor fraction given, its temperature is solved by Kelvane"]]


@pytest.mark.parametrize("returned", [None, []])
def test_nothing_reported_is_no_error(flowgate, dwsim, host, returned):
    dwsim.a.solver = lambda sim: returned
    assert flowgate.solve_dwsim(fs_of())["errors"] == []


@pytest.mark.parametrize("save, saved", [(None, False), ("", False), (0, False), ("out.dwxmz", True)])
def test_save_after_the_solve(flowgate, dwsim, host, save, saved):
    r = flowgate.solve_dwsim(fs_of(), {"ignored": 1}, save)
    calls = [c[0] for c in dwsim.a.calls]
    assert calls == ["CalculateFlowsheet4"] + (["SaveFlowsheet"] if saved else [])
    if saved:
        assert dwsim.a.calls[1][1:] == (dwsim.a.sheets[0], "out.dwxmz", True)
    assert r == flowgate.solve_dwsim(fs_of(), aliases="x", save=None)


def test_duty_of_zero_and_of_none(flowgate, dwsim, host):
    dwsim.a.solver = solved({}, {"H": None, "P": 0.0})
    r = flowgate.solve_dwsim(fs_of())
    assert r["blocks"] == {"P": {"power": 0.0}}
    assert r["streams"]["A"]["H"] is None          # DWSIM's default stream: no flow


def test_names_that_differ_in_case_share_a_record(flowgate, dwsim, host):
    dwsim.a.solver = solved({"s": (300.0, 1e5, 1.0, [1.0, 0.0], None), "S": (400.0, 1e5, 1.0, [1.0, 0.0], None)})
    r = flowgate.solve_dwsim(flowsheet(blocks={"v": block("X"), "V": block("Y")},
                                       ports={"v": (["s"], []), "V": (["S"], [])}))
    assert list(r["streams"]) == ["S"] and r["streams"]["S"]["T"] in (300.0, 400.0)


@pytest.mark.parametrize("where, error", [("solve", RuntimeError), ("phases", TypeError), ("save", OSError)])
def test_uncaught_failures_log_nothing(flowgate, dwsim, host, where, error):
    def fail(*args):
        raise error(where)

    def solve(sim):
        if where == "solve":
            fail()
        if where == "phases":   # Phases can't be read: not guarded
            sim.objects["a"].__class__ = type("Broken", (type(sim.objects["a"]),), {"Phases": None})
        return [NS(Message="m")]
    dwsim.a.solver = solve
    if where == "save":
        dwsim.a.SaveFlowsheet = fail
    with pytest.raises(error):
        flowgate.solve_dwsim(fs_of(), save="x.dwxmz")
    assert host.log.lines == []


def export_fs():
    return flowsheet(feeds={"F": feed()}, blocks={"C": block("RADFRAC"), "V": block("VALVE", P=5e4)},
                     ports={"C": (["F"], ["D"]), "V": (["D"], ["O"])}, method="X")


def test_export_saves_unsolved_and_returns_the_notes(flowgate, dwsim, host):
    notes = flowgate.export(export_fs(), "some/where/model")       # no extension added
    assert notes == ["property method X: NRTL of DWSIM", "not exported (no DWSIM block here): C (RADFRAC)"]
    sim = dwsim.a.sheets[0]
    assert dwsim.a.calls == [("SaveFlowsheet", sim, "some/where/model", True)]   # nothing solved
    assert sim.objects["V"].OutletPressure == 5e4
    assert host.log.lines == [("info", "DWSIM model written to %s", "some/where/model")]


@pytest.mark.parametrize("fault", ["save", "compound"])
def test_export_logs_nothing_on_failure(flowgate, dwsim, host, fault):
    fs = export_fs()
    if fault == "save":
        def refuse(*args):
            raise PermissionError("read-only")
        dwsim.a.SaveFlowsheet = refuse
    else:
        fs.pp.components.append("XENON")
    with pytest.raises((PermissionError, ValueError)):
        flowgate.export(fs, "model.dwxmz")
    assert host.log.lines == []
