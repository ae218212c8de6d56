"""Finding DWSIM, and the one automation instance of a process (against fake .NET modules)."""
import os
import sys
import types

import pytest

from child import call

MARKER = "DWSIM.Automation.dll"


def install(folder):
    folder.mkdir(parents=True, exist_ok=True)
    (folder / MARKER).write_bytes(b"")
    return str(folder)


@pytest.fixture
def settings(monkeypatch):
    """A fake PySide6.QtCore whose QSettings answers "dwsim/path" with `value`."""
    box = {"value": ""}

    class QSettings:
        def __init__(self, organisation, application):
            assert (organisation, application) == ("Kelvane", "Kelvane")

        def value(self, key, default):
            assert key == "dwsim/path"
            if isinstance(box["value"], Exception):
                raise box["value"]
            return box["value"] if box["value"] is not None else default

    qtcore = types.ModuleType("PySide6.QtCore")
    qtcore.QSettings = QSettings
    pyside = types.ModuleType("PySide6")
    pyside.QtCore = qtcore
    monkeypatch.setitem(sys.modules, "PySide6", pyside)
    monkeypatch.setitem(sys.modules, "PySide6.QtCore", qtcore)
    return box


@pytest.fixture
def no_platform_folders(monkeypatch):
    """Hides real folders of this machine from the platform list."""
    real = os.path.exists
    monkeypatch.setattr(os.path, "exists",
                        lambda p: real(p) and not str(p).startswith(("/usr", "/opt", os.path.expanduser("~"))))


def test_search_order(flowgate, tmp_path, monkeypatch, settings, no_platform_folders):
    env_dir, set_dir = install(tmp_path / "env"), install(tmp_path / "setting")
    monkeypatch.setenv("KELVANE_DWSIM", env_dir)
    settings["value"] = set_dir
    assert flowgate.folder() == env_dir                   # the variable first
    monkeypatch.setenv("KELVANE_DWSIM", str(tmp_path))    # a folder without the file loses its turn
    assert flowgate.folder() == set_dir
    monkeypatch.setenv("KELVANE_DWSIM", "")
    assert flowgate.folder() == set_dir
    settings["value"] = None                               # a false value is skipped
    assert flowgate.folder() is None
    settings["value"] = RuntimeError("settings broken")    # any failure leaves the source out
    monkeypatch.setenv("KELVANE_DWSIM", env_dir)
    assert flowgate.folder() == env_dir


def test_candidates_come_back_as_given(flowgate, tmp_path, monkeypatch, settings, no_platform_folders):
    install(tmp_path / "d")
    monkeypatch.chdir(tmp_path)
    for given in ("d", "d/", str(tmp_path / "d") + "/"):
        monkeypatch.setenv("KELVANE_DWSIM", given)
        assert flowgate.folder() == given
    monkeypatch.delenv("KELVANE_DWSIM")
    settings["value"] = tmp_path / "d"                     # not a string: made one with str()
    assert flowgate.folder() == str(tmp_path / "d")
    (tmp_path / "e" / MARKER).mkdir(parents=True)          # only existence counts
    monkeypatch.setenv("KELVANE_DWSIM", str(tmp_path / "e"))
    assert flowgate.folder() == str(tmp_path / "e")


def test_platform_folders(flowgate, monkeypatch):
    monkeypatch.delenv("KELVANE_DWSIM", raising=False)
    monkeypatch.setitem(sys.modules, "PySide6", None)      # not importable
    tried = []
    monkeypatch.setattr(os.path, "exists", lambda p: tried.append(p) and False)
    assert flowgate.folder() is None
    assert tried == [os.path.join(p, MARKER) for p in (
        "/usr/local/lib/dwsim", "/usr/lib/dwsim", os.path.expanduser("~/.local/share/dwsim"), "/opt/dwsim")]

    tried.clear()
    monkeypatch.setattr(sys, "platform", "win32")
    monkeypatch.delenv("LOCALAPPDATA", raising=False)
    assert flowgate.folder() is None
    assert tried == [os.path.join("DWSIM", MARKER), os.path.join("C:\\Program Files\\DWSIM", MARKER)]


def test_available(flowgate, tmp_path, monkeypatch, no_platform_folders):
    monkeypatch.setitem(sys.modules, "PySide6", None)
    monkeypatch.setenv("KELVANE_DWSIM", str(tmp_path))
    monkeypatch.setitem(sys.modules, "pythonnet", types.ModuleType("pythonnet"))
    assert flowgate.available() is False                   # pythonnet there, no folder
    install(tmp_path)
    assert flowgate.available() is True
    monkeypatch.setitem(sys.modules, "pythonnet", None)    # folder there, no pythonnet
    assert flowgate.available() is False


# The first load runs against the fake runtime of dwsim_fakes, each case in a process of
# its own, because the automation state is for life (access_scenarios).

def test_first_load_in_order_and_once(flowgate, tmp_path):
    where = install(tmp_path / "dwsim")
    present = ("DWSIM.Automation", "DWSIM.Interfaces", "DWSIM.Thermodynamics")
    for name in present[1:]:
        (tmp_path / "dwsim" / f"{name}.dll").write_bytes(b"")
    r = call("access_scenarios:first_load", env={"KELVANE_DWSIM": where})
    # by full path what the folder holds, by name the rest; silenced for the construction
    # only, then the old writer is back
    assert r["calls"] == [["load", "mono"]] + [
        ["AddReference", os.path.join(where, n + ".dll") if n in present else n] for n in flowgate.DLLS] + [
        ["SetOut", "null"], ["Automation3", "null"], ["SetOut", "console"]]
    assert r["keys"] == ["ObjectType", "U", "System", "clr"] and r["modules"] == [True] * 5
    assert r["again"] == [True, True] and r["on_path"] == 1 and not r["locked"]


def test_second_call_reads_only_the_state(tmp_path):
    assert call("access_scenarios:second_call_reads_only_the_state", env={"KELVANE_DWSIM": install(tmp_path)}) == [
        True, True]


def test_no_installation_raises_and_frees_the_lock(tmp_path):
    r = call("access_scenarios:without_installation", env={"KELVANE_DWSIM": str(tmp_path)})
    assert r == dict(raised=[["RuntimeError", "DWSIM is not installed (Settings > Simulators: its folder)", False]] * 2,
                     calls=[], state=[])


@pytest.mark.parametrize("step, error, message, expected", [
    ("load", "RuntimeError", "already loaded", "loaded"),     # a runtime that is already loaded is no error
    ("load", "OSError", "no mono", "OSError: no mono"),
    ("AddReference", "FileNotFoundError", "DWSIM.Automation", "FileNotFoundError: DWSIM.Automation"),
    ("Automation3", "ValueError", "no database", "ValueError: no database"),
])
def test_failures_leave_no_state_and_a_free_lock(tmp_path, step, error, message, expected):
    r = call("access_scenarios:failure_then_retry", step, error, message, env={"KELVANE_DWSIM": install(tmp_path)})
    assert r["first"] == expected
    assert r["after"] == [["a", "m"] if expected == "loaded" else [], False, "console"]
    assert r["retry"] == [["a", "m"], 1]


def test_concurrent_first_calls_make_one_instance(tmp_path):
    assert call("access_scenarios:concurrent_first_calls", 4, env={"KELVANE_DWSIM": install(tmp_path)}) == [1, 1, 4]
