"""Loading the bridge depends on: assemblies from the folder, a console silenced while it starts."""
import os

from child import call, result, spawn
from sheet import FOLDER


def test_assemblies_resolve_from_the_folder():
    """Referenced ones load by path; Drawing.SkiaSharp/FlowsheetBase only as dependencies."""
    r = call("surface_scenarios:assemblies")
    names = {"graphic": "DWSIM.Drawing.SkiaSharp", "flowsheet": "DWSIM.Automation", "unit": "DWSIM.UnitOperations"}
    assert {k: r[k][0] for k in names} == names and r["base"] == "DWSIM.FlowsheetBase" and r["buffers"]
    for folder in [r[k][1] for k in names] + [r["facade"]]:
        assert folder and os.path.samefile(folder, FOLDER)


def test_console_silenced_during_construction_only():
    """The helper builds Automation3 with the console silenced, as the bridge does; a second one speaks."""
    done = spawn("surface_scenarios:second_automation_speaks")
    result(done)
    lines = done.stdout.splitlines()
    assert sum("DWSIM stand-in automation: loaded 774 compounds" in line for line in lines) == 1, lines
    assert "after restore" in lines
