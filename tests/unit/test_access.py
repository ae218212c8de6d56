"""Finding DWSIM, and the one automation instance of a process (against fake .NET modules)."""
import os
import sys
import types

import pytest

from pyrun import check_python

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


# Fake pythonnet, clr, System and DWSIM modules for the automation tests. Each
# scenario runs in its own process, because the automation state is for life.
FAKES = r'''
import os, sys, types, threading
calls = []
class Writer:
    def __init__(self, name): self.name = name
class Console:
    Out = Writer("console")
    @classmethod
    def SetOut(cls, w):
        calls.append(("SetOut", w.name)); cls.Out = w
System = types.ModuleType("System")
System.Console = Console
System.IO = types.SimpleNamespace(TextWriter=types.SimpleNamespace(Null=Writer("null")))
pythonnet = types.ModuleType("pythonnet")
LOAD_ERROR = None
def load(name):
    calls.append(("load", name))
    if LOAD_ERROR: raise LOAD_ERROR
pythonnet.load = load
clr = types.ModuleType("clr")
REFERENCE_ERROR = None
def AddReference(x):
    calls.append(("AddReference", x))
    if REFERENCE_ERROR: raise REFERENCE_ERROR
clr.AddReference = AddReference
CTOR_ERROR = None
class Automation3:
    def __init__(self):
        calls.append(("Automation3", Console.Out.name))
        if CTOR_ERROR: raise CTOR_ERROR
auto = types.ModuleType("DWSIM.Automation"); auto.Automation3 = Automation3
enums = types.ModuleType("DWSIM.Interfaces.Enums.GraphicObjects"); enums.ObjectType = "OT"
units = types.ModuleType("DWSIM.UnitOperations"); units.UnitOperations = "U"
for name, mod in [("System", System), ("pythonnet", pythonnet), ("clr", clr),
                  ("DWSIM", types.ModuleType("DWSIM")), ("DWSIM.Automation", auto),
                  ("DWSIM.Interfaces.Enums.GraphicObjects", enums), ("DWSIM.UnitOperations", units)]:
    sys.modules[name] = mod
import kelvane.flowgate as f
'''


def run_automation(body, folder, **env):
    return check_python(FAKES + body, env={"KELVANE_DWSIM": folder, **env})


def test_first_load_in_order_and_once(tmp_path):
    where = install(tmp_path / "dwsim")
    for name in ("DWSIM.Automation", "DWSIM.Interfaces", "DWSIM.Thermodynamics"):
        (tmp_path / "dwsim" / f"{name}.dll").write_bytes(b"")
    out = run_automation("""
a, m = f.automation()
print(calls)
print(list(m), m["ObjectType"], m["U"], m["System"] is System, m["clr"] is clr)
again = f.automation()
print(again[0] is a, again[1] is m, sys.path.count(os.environ["KELVANE_DWSIM"]), f._LOCK.locked())
""", where)
    lines = out.splitlines()
    calls = eval(lines[0])
    refs = [c[1] for c in calls if c[0] == "AddReference"]
    assert calls[0] == ("load", "mono")
    assert refs == [os.path.join(where, n + ".dll") if n in ("DWSIM.Automation", "DWSIM.Interfaces",
                                                            "DWSIM.Thermodynamics") else n
                    for n in ("DWSIM.Automation", "DWSIM.Interfaces", "DWSIM.GlobalSettings",
                              "DWSIM.SharedClasses", "DWSIM.Thermodynamics", "DWSIM.UnitOperations",
                              "DWSIM.Inspector", "DWSIM.MathOps", "System.Buffers")]
    # silenced for the construction only, then the old writer is back
    assert calls[-3:] == [("SetOut", "null"), ("Automation3", "null"), ("SetOut", "console")]
    assert lines[1] == "['ObjectType', 'U', 'System', 'clr'] OT U True True"
    assert lines[2] == "True True 1 False"


def test_second_call_reads_only_the_state(tmp_path):
    out = run_automation("""
first = f.automation()
os.environ["KELVANE_DWSIM"] = "/nowhere"  # a lookup now would find nothing and raise
n = len(calls)
print(f.automation() == first, len(calls) == n)
""", install(tmp_path))
    assert out.split() == ["True", "True"]


def test_no_installation_raises_and_frees_the_lock(tmp_path):
    out = run_automation("""
for _ in range(2):
    try:
        f.automation()
    except RuntimeError as e:
        print(e, f._LOCK.locked())
print(calls, f._STATE)
""", str(tmp_path), PATH=os.environ["PATH"])
    assert out.splitlines() == [
        "DWSIM is not installed (Settings > Simulators: its folder) False"] * 2 + ["[] {}"]


@pytest.mark.parametrize("setup, expected", [
    # a runtime that is already loaded is no error
    ("LOAD_ERROR = RuntimeError('already loaded')", "loaded"),
    ("LOAD_ERROR = OSError('no mono')", "OSError: no mono"),
    ("REFERENCE_ERROR = FileNotFoundError('DWSIM.Automation')", "FileNotFoundError: DWSIM.Automation"),
    ("CTOR_ERROR = ValueError('no database')", "ValueError: no database"),
])
def test_failures_leave_no_state_and_a_free_lock(tmp_path, setup, expected):
    out = run_automation(setup + """
try:
    f.automation()
    print("loaded")
except Exception as e:
    print(f"{type(e).__name__}: {e}")
print(sorted(f._STATE), f._LOCK.locked(), Console.Out.name)
LOAD_ERROR = REFERENCE_ERROR = CTOR_ERROR = None
a, m = f.automation()
print(sorted(f._STATE), sys.path.count(os.environ["KELVANE_DWSIM"]))
""", install(tmp_path))
    first, after, retry = out.splitlines()
    assert first == expected
    assert after == ("['a', 'm'] False console" if expected == "loaded" else "[] False console")
    assert retry == "['a', 'm'] 1"


def test_concurrent_first_calls_make_one_instance(tmp_path):
    out = run_automation("""
import time
made = []
original = Automation3.__init__
def slow(self):
    made.append(self); time.sleep(0.2); original(self)
Automation3.__init__ = slow
results = []
threads = [threading.Thread(target=lambda: results.append(f.automation()[0])) for _ in range(4)]
for t in threads: t.start()
for t in threads: t.join()
print(len(made), len({id(r) for r in results}))
""", install(tmp_path))
    assert out.split() == ["1", "1"]
