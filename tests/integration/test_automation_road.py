"""The module's own road into .NET, unchanged, against the DWSIM folder of the
tests (the stand-in unless KELVANE_DWSIM names another): discovery, one load per
process, and the console silenced for Automation3 only. The .NET crossings
themselves are tested in tests/standin, the translation in test_export_road."""
import json

from pyrun import DWSIM, check_python


def run(code):
    return check_python("import json, sys\nimport kelvane.flowgate as f\n" + code,
                        env={"KELVANE_DWSIM": str(DWSIM)})


def result(out):
    return json.loads(next(line for line in out.splitlines() if line.startswith("RESULT "))[7:])


def test_loads_once_and_keeps_later_console_output():
    out = run("""
available = f.available()
a, m = f.automation()
again = f.automation()
System = m["System"]
System.Console.WriteLine("after the load")
System.Console.Out.Flush()
print("RESULT " + json.dumps({
    "available": available,
    "same": again[0] is a and again[1] is m,
    "keys": list(m),
    "folder_on_path": sys.path.count(f.folder()),
    "version": str(a.GetVersion()),
    "lock_free": not f._LOCK.locked(),
}))
""")
    r = result(out)
    assert r["available"] and r["same"] and r["lock_free"] and r["folder_on_path"] == 1
    assert r["keys"] == ["ObjectType", "U", "System", "clr"]
    assert "after the load" in out.splitlines()
    # what Automation3 writes while it is built never reaches stdout
    assert not any("automation: loaded" in line for line in out.splitlines())
