"""Several flowsheets through the command line and the stand-in DWSIM, in two
worker processes: reports in input order, the failing one reported, the others
solved as they are alone."""
import json
import re

import pytest

from child import ROOT, spawn

DEMO = ROOT / "host" / "examples" / "demo.json"


def kelvane(*args):
    # This worktree's host package, whatever the venv's path file points at.
    return spawn("child:run_module", "kelvane", *map(str, args), env={"PYTHONPATH": str(ROOT / "host")},
                 timeout=300)


def feed_row(report):
    """T [K], P [bar], F [kmol/h] of the FEED row of a printed stream table."""
    cells = next(line.split() for line in report.splitlines() if line.startswith("FEED "))
    return [float(cells[1]), float(cells[3]), float(cells[4])]


def test_a_failing_file_among_good_ones(tmp_path):
    demo = json.loads(DEMO.read_text())
    water = demo["feeds"]["FEED"]["flows"]["H2O"]
    methanol = {"first": 0.012, "second": 0.020, "third": 0.006}   # kmol/s, a feed of its own each
    files = {}
    for name, meoh in methanol.items():
        demo["feeds"]["FEED"]["flows"]["MEOH"] = meoh
        files[name] = tmp_path / f"{name}.json"
        files[name].write_text(json.dumps(demo))
    files["bad"] = tmp_path / "bad.json"
    files["bad"].write_text(json.dumps({"name": "x", "feeds": {}, "blocks": {},
                                        "property": {"method": "NRTL", "components": {"DCP": "1,2-DICHLOROPROPANE"}}}))
    order = ["first", "bad", "second", "third"]
    (tmp_path / "out").mkdir()
    done = kelvane("solve", *(files[n] for n in order), "--jobs", "2", "--save", tmp_path / "out")
    alone = kelvane("solve", files["second"], "--save", tmp_path / "second.dwxmz")

    assert done.returncode == 2, done.stderr
    parts = re.split(r"^==> (.*) <==\n", done.stdout, flags=re.M)
    assert parts[1::2] == [str(files[n]) for n in order]
    reports = dict(zip(order, parts[2::2]))
    assert reports["bad"].strip() == "kelvane: error: DWSIM has no compound for DCP (1,2-DICHLOROPROPANE)"
    for name in ("first", "second", "third"):
        assert "DWSIM errors" not in reports[name]
        assert feed_row(reports[name]) == [298.15, pytest.approx(1.2), pytest.approx(3600 * (water + methanol[name]))]
        assert (tmp_path / "out" / f"{name}.dwxmz").stat().st_size > 0
    assert not (tmp_path / "out" / "bad.dwxmz").exists()
    # a report in the batch is the report of the file alone
    assert reports["second"].strip() == alone.stdout.strip().replace(str(tmp_path / "second.dwxmz"),
                                                                      str(tmp_path / "out" / "second.dwxmz"))
    assert done.stderr.strip().splitlines()[-1] == f"kelvane: error: 1 of 4 flowsheets failed: {files['bad']}"
