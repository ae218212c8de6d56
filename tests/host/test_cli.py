"""python -m kelvane: argument handling, one-line errors, exit codes and the report,
against a fake kelvane.flowgate."""
import json
import sys
import types
from pathlib import Path

import numpy as np
import pytest

from child import spawn
from kelvane import cli
from kelvane.datamanager import load_flowsheet
from kelvane.model import Flowsheet

DEMO = Path(__file__).resolve().parents[2] / "host" / "examples" / "demo.json"
RESULTS = {"streams": {"FEED": {"T": 300.0, "P": 101325.0, "F": 0.01, "VFRAC": 0.0, "H": -1.0,
                                 "x": {"MEOH": 0.3, "H2O": 0.69, "N2": 0.0095, "AR": 0.0005}},
                        "VAPOUR": {"T": None, "P": float("nan"), "F": 0.002, "VFRAC": 1.0, "x": {}}},
           "blocks": {"PUMP": {"power": 1234.0}, "HEATER": {"duty": -50000.0}},
           "errors": [], "notes": ["FLASH: exported as Heater + Vessel"]}


class DotNetError(Exception):
    """Stands for a .NET exception type surfacing through pythonnet."""


@pytest.fixture
def fake(monkeypatch):
    """kelvane.flowgate whose functions record their calls; `fake.returns[name]` is what they give."""
    module = types.ModuleType("kelvane.flowgate")
    module.calls, module.folder = [], lambda: "/opt/dwsim"
    module.returns = dict(solve_dwsim=RESULTS, export=["note one"], import_model=({}, []), available=True)

    def function(name):
        def fn(*args, **kwargs):
            module.calls.append((name, args, kwargs))
            if isinstance(module.returns[name], BaseException):
                raise module.returns[name]
            return module.returns[name]
        return fn
    for name in module.returns:
        setattr(module, name, function(name))
    monkeypatch.setitem(sys.modules, "kelvane.flowgate", module)
    return module


def run(argv, capsys):
    code = cli.main(list(argv))   # paths as they come: str or os.PathLike
    return (code, *capsys.readouterr())


@pytest.mark.parametrize("argv, failure, code, message", [
    (["solve", "{tmp}/missing.json"], None, 2, "missing.json: no such file"),
    (["solve", "{tmp}/bad.json"], None, 2, "bad.json: not valid JSON"),
    (["solve", "{tmp}/malformed.json"], None, 2, "block 'PUMP': missing key 'kind'"),
    (["solve", DEMO], ValueError("no compound for 'FOO'"), 2, "no compound for 'FOO'"),
    (["solve", DEMO], KeyError("no entry for 'FOO'"), 2, "kelvane: error: no entry for 'FOO'"),   # not quoted
    (["solve", DEMO], RuntimeError("DWSIM is not installed (its folder)"), 2, "DWSIM is not installed"),
    (["solve", DEMO], NotImplementedError("solve_dwsim: not yet"), 1, "kelvane: error: solve_dwsim: not yet"),
    (["solve", DEMO], DotNetError("Object reference not set"), 1, "DWSIM failed: DotNetError"),
    (["solve", DEMO, "--save", "{tmp}/out.txt"], None, 2, "DWSIM files end in .dwxmz"),
    (["export", DEMO, "{tmp}/no/such/dir/out.dwxmz"], None, 2, "does not exist"),
    (["frobnicate"], None, 2, "invalid choice: 'frobnicate'"),
    ([], None, 2, "required: COMMAND"),
    (["solve", DEMO], "no module", 2, "kelvane.flowgate cannot be imported"),
])
def test_mistakes_and_failures_are_one_line(fake, tmp_path, monkeypatch, capsys, argv, failure, code, message):
    (tmp_path / "bad.json").write_text("{not json")
    model = json.loads(DEMO.read_text())
    del model["blocks"]["PUMP"]["kind"]
    (tmp_path / "malformed.json").write_text(json.dumps(model))
    if failure == "no module":
        monkeypatch.setitem(sys.modules, "kelvane.flowgate", None)
    elif failure is not None:
        fake.returns.update(solve_dwsim=failure, export=failure)
    got, out, err = run([str(a).format(tmp=tmp_path) for a in argv], capsys)
    assert (got, out, len(err.splitlines())) == (code, "", 1)
    assert err.startswith("kelvane: error: ") and message in err
    assert fake.calls == [] or failure is not None   # a mistake is refused before DWSIM is involved


def test_solve_and_export_print_and_pass_their_targets(fake, tmp_path, capsys):
    target = tmp_path / "solved.dwxmz"
    code, out, err = run(["solve", DEMO, "--save", target], capsys)
    (name, (fs,), kwargs), = fake.calls
    assert (code, err, kwargs, fs.pp.components) == (0, "", {"save": str(target)}, ["MEOH", "H2O"]) and isinstance(fs, Flowsheet)
    assert all(s in out for s in ("FEED", "PUMP", "FLASH: exported as Heater + Vessel")) and out.endswith(f"Saved: {target}\n")
    fake.returns["solve_dwsim"] = dict(RESULTS, errors=["HEATER: Check the connections"])
    code, out, _ = run(["solve", DEMO], capsys)
    assert code == 1 and "DWSIM errors:\n  - HEATER: Check the connections" in out
    assert fake.calls[-1][2] == {"save": None}
    code, out, _ = run(["export", DEMO, target], capsys)
    assert code == 0 and fake.calls[-1][0] == "export" and fake.calls[-1][1][1] == str(target)
    assert out.splitlines() == ["Notes:", "  - note one", f"Written: {target}"]


def test_import_to_stdout_and_to_file(fake, tmp_path, capsys):
    model = json.loads(DEMO.read_text())
    model["property"]["kij"] = np.zeros((1, 2, 2))          # numpy must not break the JSON
    fake.returns["import_model"] = (model, ["RECOVERY: split by mass"])
    source, target = tmp_path / "in.dwxmz", tmp_path / "model.json"
    source.write_bytes(b"PK")
    (code, out, err), (code2, out2, _) = run(["import", source], capsys), run(["import", source, "-o", target], capsys)
    assert (code, code2, json.loads(out)["property"]["kij"]) == (0, 0, [[[0.0, 0.0], [0.0, 0.0]]])
    assert "RECOVERY: split by mass" in err                  # stdout stays one JSON document
    assert out2.splitlines()[-2:] == ["  - RECOVERY: split by mass", f"Written: {target}"]
    assert list(load_flowsheet(target).blocks) == list(model["blocks"])
    fake.returns["import_model"] = ({"name": "x"}, [])        # written all the same, with a warning
    code, out, err = run(["import", source], capsys)
    assert (code, json.loads(out)) == (0, {"name": "x"}) and "does not open as a flowsheet" in err and "missing key 'property'" in err


@pytest.mark.parametrize("found, code, text", [(True, 0, "available in /opt/dwsim"), (False, 1, "not found")])
def test_available(fake, capsys, found, code, text):
    fake.returns["available"] = found
    got, out, _ = run(["available"], capsys)
    assert got == code and text in out


def test_tables_and_messages():
    lines = cli.format_streams(RESULTS["streams"]).splitlines()
    assert lines[0].split() == ["Stream", "T", "[K]", "T", "[°C]", "P", "[bar]", "F", "[kmol/h]",
                                "F", "[mol/s]", "Vfrac", "Main", "mole", "fractions"]
    assert lines[2].split(None, 7) == ["FEED", "300.00", "26.85", "1.0132", "36.0000", "10.0000", "0.0000",
                                       "H2O 0.690, MEOH 0.300, N2 0.009"]   # largest three, largest first
    assert lines[3].split(None, 7) == ["VAPOUR", "-", "-", "-", "7.2000", "2.0000", "1.0000", "-"]
    for number, column in (("26.85", "T [°C]"), ("1.0132", "P [bar]")):   # numbers right-aligned
        assert lines[2].index(number) + len(number) == lines[0].index(column) + len(column)
    assert [l.split() for l in cli.format_blocks(RESULTS["blocks"]).splitlines()[2:]] == [["PUMP", "-", "1.234"],
                                                                                          ["HEATER", "-50.000", "-"]]
    assert (cli.format_messages("Notes", []), cli.format_messages("Notes", ["a\n  b"])) == ("", "Notes:\n  - a b")
    assert cli.format_results({"streams": {}, "blocks": {}, "errors": ["E1"], "notes": []}, celsius="C") == \
        "No streams.\n\nDWSIM errors:\n  - E1"
    assert (cli.main_fractions({"A": 0.5, "B": 0.0009, "C": None, "D": float("nan"), "E": 0.4995}),
            cli.main_fractions({})) == ("A 0.500, E 0.499", "-")


def test_module_entry_point(tmp_path):
    done = spawn("child:run_module", "kelvane", "solve", str(tmp_path / "none.json"),
                 env={"PYTHONPATH": str(DEMO.parents[1])}, timeout=60)
    assert (done.returncode, done.stderr.strip()) == (2, f"kelvane: error: {tmp_path / 'none.json'}: no such file")
