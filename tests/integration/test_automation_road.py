"""The module's own road into .NET, unchanged, against the DWSIM folder of the
tests (the stand-in unless KELVANE_DWSIM names another): discovery, one load per
process, the console silenced for Automation3 only, and the .NET values the
translation relies on. Every scenario runs in a process of its own."""
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


def test_values_across_the_boundary():
    r = result(run("""
a, m = f.automation()
OT, U, System = m["ObjectType"], m["U"], m["System"]
sim = a.CreateFlowsheet()
sim.AddCompound("Water"); sim.AddCompound("Ethanol")
added = sim.AddObject(OT.Heater, 0, 0, "H1")
h = added.GetAsObject()
s = sim.AddObject(OT.MaterialStream, 0, 0, "S1").GetAsObject()
s.SetOverallComposition(System.Array[System.Double]([0.25, 0.75]))
h.CalcMode = U.Heater.CalculationMode.OutletTemperature
try:
    h.CalcMode = 1
    int_refused = False
except TypeError:
    int_refused = True
try:
    sim.AddCompound("No such compound")
    dotnet_error = None
except Exception as e:
    dotnet_error = type(e).__name__
pkg = sim.CreateAndAddPropertyPackage("NRTL")
print("RESULT " + json.dumps({
    "interface_hides_members": not hasattr(added, "CalcMode"),
    "implementation": added.__implementation__.GetType().Name,
    "package_needs_implementation": not hasattr(pkg, "ComponentName") and
                                    pkg.__implementation__.ComponentName == "NRTL",
    "composition": [float(v) for v in s.GetOverallComposition()],
    "mode": str(h.CalcMode),
    "int_refused": int_refused,
    "unsolved_duty": h.DeltaQ,
    "dotnet_error": dotnet_error,
}))
"""))
    assert r == {"interface_hides_members": True, "implementation": "Heater",
                 "package_needs_implementation": True, "composition": [0.25, 0.75],
                 "mode": "OutletTemperature", "int_refused": True, "unsolved_duty": None,
                 "dotnet_error": "KeyNotFoundException"}


def test_build_blocks_solve_a_small_flowsheet():
    # feed -> pump -> heater (hot) -> valve, through build and the automation state
    r = result(run("""
from types import SimpleNamespace as NS
a, m = f.automation()
fs = NS(pp=NS(components=["WATER", "ETHANOL"], method="IDEAL"), meta={},
        feeds={"F": NS(T=300.0, P=1e5, flows=[0.009, 0.001])},
        blocks={"P": NS(kind="PUMP", spec={"P": 6e5, "efficiency": 0.6}),
                "H": NS(kind="HEATER", spec={"T": 350.0}),
                "V": NS(kind="VALVE", spec={"P": 2e5})},
        ports={"P": (["F"], ["S1"]), "H": (["S1"], ["S2"]), "V": (["S2"], ["OUT"])})
sim, obj, notes = f.build(fs, a, m)
errors = [str(e.Message) for e in a.CalculateFlowsheet4(sim)]
flows = {n: [obj[n].GetMolarFlow() * x for x in obj[n].GetOverallComposition()] for n in ("F", "OUT")}
print("RESULT " + json.dumps({"errors": errors, "notes": notes, "flows": flows,
    "pump_kW": obj["P"].DeltaQ, "heater_kW": obj["H"].DeltaQ, "P_out": obj["OUT"].GetPressure()}))
"""))
    assert r["errors"] == [] and r["notes"] == []
    for fin, fout in zip(r["flows"]["F"], r["flows"]["OUT"]):
        assert abs(fin - fout) <= 1e-9 * abs(fin)
    assert r["pump_kW"] > 0 and r["heater_kW"] > 0 and r["P_out"] == 2e5
