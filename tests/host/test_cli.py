"""python -m kelvane: argument handling, one-line errors, exit codes and the report,
against a fake kelvane.flowgate (the real one is being written beside this)."""
import json
import os
import subprocess
import sys
import types
from pathlib import Path

import numpy as np
import pytest

from kelvane import cli
from kelvane.model import Flowsheet

DEMO = Path(__file__).resolve().parents[2] / "host" / "examples" / "demo.json"

RESULTS = {
    "streams": {
        "FEED": {"T": 300.0, "P": 101325.0, "F": 0.01, "VFRAC": 0.0, "H": -1.0,
                 "x": {"MEOH": 0.3, "H2O": 0.69, "N2": 0.0095, "AR": 0.0005}},
        "VAPOUR": {"T": None, "P": float("nan"), "F": 0.002, "VFRAC": 1.0, "x": {}},
    },
    "blocks": {"PUMP": {"power": 1234.0}, "HEATER": {"duty": -50000.0}},
    "errors": [],
    "notes": ["FLASH: exported as Heater + Vessel"],
}


class DotNetError(Exception):
    """Stands for a .NET exception type surfacing through pythonnet."""


def raising(exc):
    def fn(*args, **kwargs):
        raise exc
    return fn


@pytest.fixture
def fake(monkeypatch):
    module = types.ModuleType("kelvane.flowgate")
    module.calls = []

    def record(name, value):
        def fn(*args, **kwargs):
            module.calls.append((name, args, kwargs))
            return value
        return fn

    module.solve_dwsim = record("solve_dwsim", RESULTS)
    module.export = record("export", ["note one"])
    module.import_model = record("import_model", ({}, []))
    module.available = record("available", True)
    module.folder = lambda: "/opt/dwsim"
    module.record = record
    monkeypatch.setitem(sys.modules, "kelvane.flowgate", module)
    return module


def run(argv, capsys):
    code = cli.main([str(a) for a in argv])
    out, err = capsys.readouterr()
    return code, out, err


@pytest.fixture
def files(tmp_path):
    bad_json = tmp_path / "bad.json"
    bad_json.write_text("{not json")
    model = json.loads(DEMO.read_text())
    del model["blocks"]["PUMP"]["kind"]
    malformed = tmp_path / "malformed.json"
    malformed.write_text(json.dumps(model))
    return {"bad_json": bad_json, "malformed": malformed, "tmp": tmp_path}


@pytest.mark.parametrize("argv, failure, code, message", [
    (["solve", "{tmp}/missing.json"], None, 2, "missing.json: no such file"),
    (["solve", "{bad_json}"], None, 2, "bad.json: not valid JSON"),
    (["solve", "{malformed}"], None, 2, "block 'PUMP': missing key 'kind'"),
    (["solve", DEMO], ValueError("DWSIM has no compound for 'FOO'"), 2, "DWSIM has no compound for 'FOO'"),
    (["solve", DEMO], KeyError("no databank entry for component alias 'FOO'"), 2,
     "kelvane: error: no databank entry for component alias 'FOO'"),
    (["solve", DEMO], RuntimeError("DWSIM is not installed (Settings > Simulators: its folder)"), 2,
     "DWSIM is not installed"),
    (["solve", DEMO], NotImplementedError("solve_dwsim is not implemented yet"), 1,
     "kelvane: error: solve_dwsim is not implemented yet"),
    (["solve", DEMO], DotNetError("Object reference not set"), 1, "DWSIM failed: DotNetError"),
    (["solve", DEMO, "--save", "{tmp}/out.txt"], None, 2, "DWSIM files end in .dwxmz"),
    (["export", DEMO, "{tmp}/no/such/dir/out.dwxmz"], None, 2, "does not exist"),
    (["export", DEMO, "{tmp}/out.dwxmz"], NotImplementedError(), 1, "error: export is not implemented yet"),
    (["frobnicate"], None, 2, "invalid choice: 'frobnicate'"),
    ([], None, 2, "required: COMMAND"),
])
def test_mistakes_and_failures_are_one_line(fake, files, capsys, argv, failure, code, message):
    argv = [str(a).format(**files) for a in argv]
    if failure is not None:
        fake.solve_dwsim = fake.export = fake.import_model = raising(failure)
    got, out, err = run(argv, capsys)
    assert got == code
    assert len(err.splitlines()) == 1 and err.startswith("kelvane: error: ")
    assert message in err
    assert out == ""
    if failure is None:
        assert fake.calls == []   # refused before DWSIM is involved


def test_module_that_cannot_be_imported(monkeypatch, capsys):
    monkeypatch.setitem(sys.modules, "kelvane.flowgate", None)
    code, out, err = run(["solve", DEMO], capsys)
    assert code == 2 and "kelvane.flowgate cannot be imported" in err
    assert len(err.splitlines()) == 1


def test_solve_prints_the_report_and_passes_save(fake, tmp_path, capsys):
    target = tmp_path / "solved.dwxmz"
    code, out, err = run(["solve", DEMO, "--save", target], capsys)
    assert code == 0 and err == ""
    (name, (fs,), kwargs), = fake.calls
    assert isinstance(fs, Flowsheet) and fs.pp.components == ["MEOH", "H2O"]
    assert kwargs == {"save": str(target)}
    assert "FEED" in out and "PUMP" in out and "FLASH: exported as Heater + Vessel" in out
    assert f"Saved: {target}" in out

    fake.solve_dwsim = fake.record("solve_dwsim", dict(RESULTS, errors=["HEATER: Check the connections"]))
    code, out, _ = run(["solve", DEMO], capsys)
    assert code == 1 and "DWSIM errors:\n  - HEATER: Check the connections" in out
    assert fake.calls[-1][2] == {"save": None}


def test_export_prints_notes_and_path(fake, tmp_path, capsys):
    target = tmp_path / "demo.dwxmz"
    code, out, _ = run(["export", DEMO, target], capsys)
    assert code == 0
    assert fake.calls[0][0] == "export" and fake.calls[0][1][1] == str(target)
    assert out.splitlines() == ["Notes:", "  - note one", f"Written: {target}"]


def test_import_to_stdout_and_to_file(fake, tmp_path, capsys):
    model = json.loads(DEMO.read_text())
    model["property"]["kij"] = np.zeros((1, 2, 2))          # numpy must not break the JSON
    fake.import_model = fake.record("import_model", (model, ["RECOVERY: split by mass"]))
    source = tmp_path / "in.dwxmz"
    source.write_bytes(b"PK")

    code, out, err = run(["import", source], capsys)
    assert code == 0
    assert json.loads(out)["property"]["kij"] == [[[0.0, 0.0], [0.0, 0.0]]]
    assert "RECOVERY: split by mass" in err and "RECOVERY" not in out.split("}")[-1]

    target = tmp_path / "model.json"
    code, out, _ = run(["import", source, "-o", target], capsys)
    assert code == 0 and f"Written: {target}" in out and "split by mass" in out
    from kelvane.datamanager import load_flowsheet
    assert list(load_flowsheet(target).blocks) == list(model["blocks"])

    # a model that would not open again is still written, with a warning
    fake.import_model = fake.record("import_model", ({"name": "x"}, []))
    code, out, err = run(["import", source], capsys)
    assert code == 0 and json.loads(out) == {"name": "x"}
    assert "does not open as a flowsheet" in err and "missing key 'property'" in err


@pytest.mark.parametrize("found, code, text", [(True, 0, "available in /opt/dwsim"),
                                               (False, 1, "not found")])
def test_available(fake, capsys, found, code, text):
    fake.available = lambda: found
    got, out, _ = run(["available"], capsys)
    assert got == code and text in out


def test_stream_table_units_and_missing_values():
    lines = cli.format_streams(RESULTS["streams"]).splitlines()
    assert lines[0].split() == ["Stream", "T", "[K]", "T", "[°C]", "P", "[bar]", "F", "[kmol/h]",
                                "F", "[mol/s]", "Vfrac", "Main", "mole", "fractions"]
    feed = lines[2].split(None, 7)
    assert feed[:7] == ["FEED", "300.00", "26.85", "1.0132", "36.0000", "10.0000", "0.0000"]
    assert feed[7] == "H2O 0.690, MEOH 0.300, N2 0.009"   # largest three, largest first
    vapour = lines[3].split(None, 7)
    assert vapour == ["VAPOUR", "-", "-", "-", "7.2000", "2.0000", "1.0000", "-"]
    # numbers right-aligned: a column ends where its header ends
    end = lines[0].index("T [°C]") + len("T [°C]")
    assert lines[2].index("26.85") + len("26.85") == end
    assert lines[2].index("1.0132") + len("1.0132") == lines[0].index("P [bar]") + len("P [bar]")


def test_block_table_and_messages():
    lines = cli.format_blocks(RESULTS["blocks"]).splitlines()
    assert [l.split() for l in lines[2:]] == [["PUMP", "-", "1.234"], ["HEATER", "-50.000", "-"]]
    assert cli.format_messages("Notes", []) == ""
    assert cli.format_messages("Notes", ["a\n  b"]) == "Notes:\n  - a b"
    report = cli.format_results({"streams": {}, "blocks": {}, "errors": ["E1"]}, celsius="C")
    assert report == "No streams.\n\nDWSIM errors:\n  - E1"


def test_main_fractions_threshold_and_bad_values():
    assert cli.main_fractions({"A": 0.5, "B": 0.0009, "C": None, "D": float("nan"), "E": 0.4995}) \
        == "A 0.500, E 0.499"
    assert cli.main_fractions({}) == "-"


def test_module_entry_point(tmp_path):
    env = dict(os.environ, PYTHONPATH=str(DEMO.parents[1]))
    done = subprocess.run([sys.executable, "-m", "kelvane", "solve", str(tmp_path / "none.json")],
                          capture_output=True, text=True, env=env, timeout=60)
    assert done.returncode == 2
    assert done.stderr.strip() == f"kelvane: error: {tmp_path / 'none.json'}: no such file"
