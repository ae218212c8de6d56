"""The two ends of the export road: solve_dwsim (solve, save, read the
streams and blocks back, log at the very end) and export (save unsolved, one
line in the log, the notes back)."""
from types import SimpleNamespace as NS

import numpy as np
import os
from pathlib import Path

import pytest

from dwsim_fakes import block, dwsim, feed, flowsheet, host  # noqa: F401  (fixtures)


def solved(states, duties=None, errors=()):
    """A solve that gives streams their states (T, P, F mol/s, x, vf) and units their DeltaQ."""
    def solve(sim):
        for tag, (T, P, F, x, vf) in states.items():
            sim.objects[tag].state = dict(T=T, P=P, F=F, x=x, vf=vf)
        for tag, q in (duties or {}).items():
            sim.objects[tag].__dict__["DeltaQ"] = q
        return [NS(Message=m) for m in errors]
    return solve


def fs_of(**more):
    return flowsheet(feeds={"f": feed(), "lone": feed()},
                     blocks={"H": block("HEATER", T=350), "P": block("PUMP", P=3e5), "FL": block("FLASH2", T=300),
                             "M": block("MIXER"), "C": block("RADFRAC")},
                     ports={"H": (["f"], ["a"]), "P": (["a"], ["b"]), "FL": (["b"], ["V", "L"]), "M": (["L"], ["m"]),
                            "C": (["m"], ["", "D"])}, **more)


NO_D = ("nothing feeds D (no feed, no exported block): DWSIM holds a placeholder state there, no result; "
        "left out of the results: streams D")


def test_results(flowgate, dwsim, host):
    # the host's flash gives H only at 350 K: a flash that fails or gives no H is no enthalpy
    host.flash = lambda pp, x, P, T: 1 / 0 if T > 350 else {"H": 1000.0 * T} if T == 350 else {"h": 1.0}
    dwsim.a.solver = solved({
        "f": (300.0, 1e5, 4.0, [0.25, 0.75], None), "a": (np.float64(350.0), 1e5, 4.0, [0.25, 0.75], 1.0),
        "b": (351.0, 3e5, 4.0, [0.25, 0.75], 0.0), "V": (300, 3e5, 0.0, [0.5, 0.5], None),
        "L": (300.0, 3e5, -1.0, [0.25, 0.75, 0.9], None), "m": (300.0, 3e5, 4.0, [0.25], None),
        "D": (np.float64(300.0), 3e5, 4, [0.25, 0.75], 0.5)}, {"H": 12.5, "P": 0.25, "FL-H": 0.0, "FL": 99.0},
        errors=["H: bad"])
    fs = fs_of()
    streams = (r := flowgate.solve_dwsim(fs))["streams"]
    assert list(r) == ["streams", "blocks", "errors", "notes"] and r["errors"] == ["H: bad"]
    # upper-cased; not the lone feed, nor D, which only the column not exported would make
    assert sorted(streams) == ["A", "B", "F", "L", "M", "V"]
    assert list(streams["A"].items()) == [("T", 350.0), ("P", 1e5), ("F", 0.004),
                                          ("x", {"WATER": 0.25, "ETHANOL": 0.75}), ("VFRAC", 1.0), ("H", 350000.0)]
    assert (streams["F"]["VFRAC"], streams["L"]["x"], streams["M"]["x"]) == (0.0, streams["A"]["x"], {"WATER": 0.25})
    assert [n for n, s in streams.items() if s["H"] is not None] == ["A"]
    assert all(type(v) is float for s in streams.values() for k, v in s.items() if k not in ("x", "H"))
    assert r["blocks"] == {"H": {"duty": 12500.0}, "P": {"power": 250.0}, "FL": {"duty": 0.0}}
    assert r["notes"] == ["not exported (no DWSIM block here): C (RADFRAC)", NO_D]
    # no flow (V, L): no flash; a's numpy temperature reaches flash as a float
    [(pp, x, P, T)] = [c for c in host.flashes if c[2:] == (1e5, 350.0)]
    assert (pp, x.tolist(), type(x), type(T), len(host.flashes)) == (fs.pp, [0.25, 0.75], np.ndarray, float, 4)


def test_errors_then_notes_in_the_log(flowgate, dwsim, host):
    def solve(sim):
        sim.objects["Out"].GetMolarFlow = lambda: "n/a"
        sim.objects["f"].state["x"] = None
        return [NS(Message="first"), NS(Message=RuntimeError("second"))]
    dwsim.a.solver = solve
    r = flowgate.solve_dwsim(flowsheet(feeds={"f": feed(T=None, vfrac=1.0)}, blocks={"V": block("VALVE", P=1.0)},
                                       ports={"V": (["f"], ["Out"])}, method="X"))
    # the solve's errors, then the streams that could not be read, in no set order
    assert r["errors"][:2] == ["first", "second"] and sorted(r["errors"][2:]) == [
        "Out: could not convert string to float: 'n/a'", "f: 'NoneType' object is not iterable"]
    assert r["streams"] == {}
    assert host.log.lines == [("error", "DWSIM: %s", e) for e in r["errors"]] + [
        ("warning", "DWSIM: %s", n) for n in ["property method X: NRTL of DWSIM",
                                               "feed f: vapor fraction given, its temperature is solved by Kelvane"]]


def saved_through_a_part_file(calls, target):
    """One save, to a file beside the target with its extension, moved into place."""
    (name, _, path, compressed), = [c for c in calls if c[0] == "SaveFlowsheet"]
    assert (os.path.dirname(path), os.path.splitext(path)[1], compressed) == (str(target.parent), target.suffix, True)
    assert target.exists() and not os.path.exists(path) and os.listdir(target.parent) == [target.name]


@pytest.mark.parametrize("save", [None, "", 0, "out.dwxmz", Path("OUT.DWXML")])
def test_save_after_the_solve(flowgate, dwsim, host, tmp_path, monkeypatch, save):
    monkeypatch.chdir(tmp_path)
    dwsim.a.solver = lambda sim: None           # nothing reported is no error
    r = flowgate.solve_dwsim(fs_of(), {"ignored": 1}, save)
    assert dwsim.a.calls[0] == ("CalculateFlowsheet4", dwsim.a.sheets[0])
    if save:
        saved_through_a_part_file(dwsim.a.calls, tmp_path / save)
    else:
        assert len(dwsim.a.calls) == 1
    assert r["errors"] == [] and r == flowgate.solve_dwsim(fs_of(), aliases="x", save=None)


def test_export_saves_unsolved_and_returns_the_notes(flowgate, dwsim, host, tmp_path):
    target = tmp_path / "model.dwxmz"
    assert flowgate.export(fs_of(), target) == ["not exported (no DWSIM block here): C (RADFRAC)", NO_D]
    sim = dwsim.a.sheets[0]
    assert [c[0] for c in dwsim.a.calls] == ["SaveFlowsheet"]   # nothing solved
    saved_through_a_part_file(dwsim.a.calls, target)
    assert sim.objects["P"].Pout == 3e5
    assert host.log.lines == [("info", "DWSIM model written to %s", str(target))]


@pytest.mark.parametrize("name, error", [("model", ValueError), ("model.txt", ValueError), ("model.xml", ValueError),
                                         ("folder.dwxmz", IsADirectoryError), ("no/such/m.dwxmz", FileNotFoundError),
                                         (b"model.dwxmz", TypeError)])
def test_a_target_dwsim_would_not_write_is_refused(flowgate, dwsim, host, tmp_path, name, error):
    (tmp_path / "folder.dwxmz").mkdir()
    target = name if isinstance(name, bytes) else str(tmp_path / name)
    with pytest.raises(error):
        flowgate.export(fs_of(), target)
    with pytest.raises(error):
        flowgate.solve_dwsim(fs_of(), save=target)
    assert dwsim.a.sheets == [] and host.log.lines == []   # refused before anything is built


@pytest.mark.parametrize("call, where, error", [
    ("solve_dwsim", "solve", ZeroDivisionError), ("solve_dwsim", "phases", TypeError),
    ("export", "save", ZeroDivisionError), ("export", "compound", ValueError),
])
def test_failures_pass_and_log_nothing(flowgate, dwsim, host, tmp_path, monkeypatch, call, where, error):
    def solve(sim):
        if where == "phases":   # Phases can't be read: not guarded
            sim.objects["a"].__class__ = type("Broken", (type(sim.objects["a"]),), {"Phases": None})
        return 1 / 0 if where == "solve" else [NS(Message="m")]
    dwsim.a.solver = solve
    if where == "save":
        dwsim.a.SaveFlowsheet = lambda *args: 1 / 0
    monkeypatch.chdir(tmp_path)
    fs = fs_of(components=["WATER", "XENON" if where == "compound" else "ETHANOL"])
    with pytest.raises(error):
        flowgate.solve_dwsim(fs, save="x.dwxmz") if call == "solve_dwsim" else flowgate.export(fs, "x.dwxmz")
    # the solved flowsheet is saved before its streams are read
    assert host.log.lines == [] and os.listdir(tmp_path) == (["x.dwxmz"] if where == "phases" else [])


@pytest.mark.parametrize("failure", ["raises", "writes nothing"])
def test_a_failed_save_leaves_the_old_file_and_the_solve_its_results(flowgate, dwsim, host, tmp_path, failure):
    target = tmp_path / "x.dwxmz"
    target.write_bytes(b"the good file")
    dwsim.a.SaveFlowsheet = (lambda *args: 1 / 0) if failure == "raises" else (lambda sim, path, c: open(path, "wb").close())
    with pytest.raises(ZeroDivisionError if failure == "raises" else OSError):
        flowgate.export(fs_of(), target)
    r = flowgate.solve_dwsim(fs_of(), save=target)
    assert target.read_bytes() == b"the good file" and os.listdir(tmp_path) == ["x.dwxmz"]
    assert r["streams"] and r["errors"][-1].startswith(f"the solved flowsheet was not saved to {target}: ")
    assert ("error", "DWSIM: %s", r["errors"][-1]) in host.log.lines
