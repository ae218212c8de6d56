"""The module's own road into .NET, unchanged, against the DWSIM folder of the
tests (the stand-in unless KELVANE_DWSIM names another): discovery, one load per
process, and the console silenced for Automation3 only. The .NET crossings
themselves are tested in tests/standin, the translation in test_export_road."""
from child import DWSIM, result, spawn


def test_loads_once_and_keeps_later_console_output():
    done = spawn("road_scenarios:loads_once")
    r = result(done)
    assert r["available"] and r["same"] and r["lock_free"] and r["folder_on_path"] == 1
    assert r["keys"] == ["ObjectType", "U", "System", "clr"]
    lines = done.stdout.splitlines()
    assert "after the load" in lines
    # what Automation3 writes while it is built never reaches stdout
    assert not any("automation: loaded" in line for line in lines)


def test_a_folder_named_relative_to_the_working_directory_loads():
    r = result(spawn("road_scenarios:loads_from_relative_folder", cwd=DWSIM.parent,
                     env={"KELVANE_DWSIM": DWSIM.name}))
    assert r["folder"] == DWSIM.name and r["on_path"] and r["sheet"]
