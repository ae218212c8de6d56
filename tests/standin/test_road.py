"""The pythonnet-on-Mono crossings and loading the bridge depends on."""
import os

from standin_support import FOLDER, PROBE, run, run_raw


def test_probe_assembly_crossings():
    """The crossings the stand-in relies on, shown on a minimal assembly of their own."""
    assert os.path.exists(PROBE), f"{PROBE} is missing; run standin/build.sh first"
    r = run(f"""
clr.AddReference({PROBE!r})
from Probe import Factory, Color
t = Factory().Make()
c = t.__implementation__
out = [type(t).__name__, hasattr(t, "Paint"), type(c).__name__, type(t.GetAsObject()).__name__, c.Maybe,
       raises(lambda: setattr(c, "Paint", 5))[0], raises(lambda: c.Sum([1.0, 2.0]))[0]]
c.Paint, c.Maybe = Color.Blue, 2.5
report(out + [str(c.Paint), int(c.Paint), c.Maybe, c.Sum(System.Array[System.Double]([1.0, 2.0, 3.5]))])
""", automation=False)
    assert r == ["IThing", False, "Thing", "Thing", None, "TypeError", "TypeError", "Blue", 5, 2.5, 6.5]


def test_assemblies_resolve_from_the_folder():
    """Referenced ones load by path; Drawing.SkiaSharp/FlowsheetBase only as dependencies."""
    r = run("""
import System.Buffers
h = add("Heater")
asm = lambda o: o.GetType().Assembly
out = {k: [asm(o).GetName().Name, os.path.dirname(asm(o).Location)] for k, o in
       (("graphic", h.GraphicObject.__implementation__), ("flowsheet", fs.__implementation__), ("unit", h.GetAsObject()))}
out["base"] = fs.__implementation__.GetType().BaseType.Assembly.GetName().Name
loaded = {x.GetName().Name: x.Location for x in System.AppDomain.CurrentDomain.GetAssemblies() if not x.IsDynamic}
out["facade"] = os.path.dirname(loaded.get("System.Buffers", ""))
out["buffers"] = System.Buffers.ArrayPool[System.Byte].Shared.Rent(4).Length >= 4
report(out)
""")
    names = {"graphic": "DWSIM.Drawing.SkiaSharp", "flowsheet": "DWSIM.Automation", "unit": "DWSIM.UnitOperations"}
    assert {k: r[k][0] for k in names} == names and r["base"] == "DWSIM.FlowsheetBase" and r["buffers"]
    for folder in [r[k][1] for k in names] + [r["facade"]]:
        assert folder and os.path.samefile(folder, FOLDER)


def test_console_silenced_during_construction_only():
    """Automation3 writes to the .NET console while it starts; the bridge silences exactly that."""
    proc = run_raw("""
from DWSIM.Automation import Automation3
Automation3()
old = System.Console.Out
System.Console.SetOut(System.IO.TextWriter.Null)
Automation3()
System.Console.WriteLine("swallowed")
System.Console.SetOut(old)
System.Console.WriteLine("after restore")
System.Console.Out.Flush()
""", automation=False)
    assert proc.returncode == 0, proc.stderr
    lines = proc.stdout.splitlines()
    assert sum("DWSIM stand-in automation: loaded 774 compounds" in line for line in lines) == 1, lines
    assert "after restore" in lines and "swallowed" not in proc.stdout
