"""The main job through the command line, against the stand-in DWSIM: the demo
flowsheet solved and saved, exported, and the export imported back."""
import json

import pytest

from child import ROOT, spawn

DEMO = ROOT / "host" / "examples" / "demo.json"


def kelvane(*args):
    """`python -m kelvane args...` against the DWSIM folder of the tests."""
    return spawn("child:run_module", "kelvane", *map(str, args), timeout=300)


@pytest.fixture(scope="module")
def files(tmp_path_factory):
    out = tmp_path_factory.mktemp("demo")
    solved = kelvane("solve", DEMO, "--save", out / "solved.dwxmz")
    exported = kelvane("export", DEMO, out / "demo.dwxmz")
    return out, solved, exported


def rows(table):
    """Stream rows of the printed table: {name: [T, T C, P bar, F kmol/h, F mol/s, vfrac]}."""
    lines = table.splitlines()
    start = next(i for i, line in enumerate(lines) if line.startswith("---")) + 1
    result = {}
    for line in lines[start:]:
        if not line.strip():
            break
        cells = line.split()
        result[cells[0]] = [float(c) for c in cells[1:7]]
    return result


def test_demo_solves_with_closed_balance(files):
    _, solved, _ = files
    assert solved.returncode == 0, solved.stderr
    assert "DWSIM errors" not in solved.stdout
    streams = rows(solved.stdout)
    # a drop of 3.5 bar across the flash's heater, inside the recycle loop
    assert streams["S3"][2] == pytest.approx(5.0) and streams["VAPOUR"][2] == pytest.approx(1.5)
    products = sum(streams[s][4] for s in ("VAP-HP", "MEOH-CUT", "WATER-CUT"))
    assert products == pytest.approx(streams["FEED"][4], rel=1e-6)
    assert streams["RECYCLE"][4] > 0


def test_export_and_import_round_trip(files):
    out, _, exported = files
    assert exported.returncode == 0, exported.stderr
    assert (out / "demo.dwxmz").stat().st_size > 0
    imported = kelvane("import", out / "demo.dwxmz", "-o", out / "model.json")
    assert imported.returncode == 0, imported.stderr
    model = json.loads((out / "model.json").read_text())
    demo = json.loads(DEMO.read_text())
    assert set(model["blocks"]) == set(demo["blocks"])
    assert {b: model["blocks"][b]["kind"] for b in model["blocks"]} == \
           {b: demo["blocks"][b]["kind"] for b in demo["blocks"]}
    assert model["blocks"]["FLASH"]["in"] == ["S3"] and model["blocks"]["FLASH"]["out"] == ["VAPOUR", "LIQUID"]
    assert list(model["feeds"]) == ["FEED"]
    assert model["property"]["method"] == "NRTL"
    assert model["blocks"]["PUMP"]["P"] == pytest.approx(5e5)
    assert model["layout"]["blocks"]["FLASH"] == [480.0, 200.0]


def test_user_mistakes_give_one_line(tmp_path):
    bad = tmp_path / "bad.json"
    bad.write_text(json.dumps({"name": "x", "property": {"method": "NRTL", "components": {"DCP": "1,2-DICHLOROPROPANE"}},
                               "feeds": {}, "blocks": {}}))
    for args, words in ((("solve", tmp_path / "missing.json"), "missing.json"),
                        (("solve", bad), "DWSIM has no compound for DCP (1,2-DICHLOROPROPANE)")):
        done = kelvane(*args)
        assert done.returncode == 2 and words in done.stderr
        assert done.stderr.count("\n") == 1 and done.stderr.startswith("kelvane: error: ")
        assert "Traceback" not in done.stderr
