"""Loading the bridge depends on: assemblies from the folder, a console silenced while it starts."""
import os

from standin_support import FOLDER, run, run_raw


def test_assemblies_resolve_from_the_folder():
    """Referenced ones load by path; Drawing.SkiaSharp/FlowsheetBase only as dependencies."""
    r = run("""
import System.Buffers
h, asm = add("Heater"), lambda o: o.GetType().Assembly
out = {k: [asm(o).GetName().Name, os.path.dirname(asm(o).Location)] for k, o in
       (("graphic", h.GraphicObject.__implementation__), ("flowsheet", fs.__implementation__), ("unit", h.GetAsObject()))}
loaded = {x.GetName().Name: x.Location for x in System.AppDomain.CurrentDomain.GetAssemblies() if not x.IsDynamic}
out.update(base=fs.__implementation__.GetType().BaseType.Assembly.GetName().Name, facade=os.path.dirname(
    loaded.get("System.Buffers", "")), buffers=System.Buffers.ArrayPool[System.Byte].Shared.Rent(4).Length >= 4)
report(out)
""")
    names = {"graphic": "DWSIM.Drawing.SkiaSharp", "flowsheet": "DWSIM.Automation", "unit": "DWSIM.UnitOperations"}
    assert {k: r[k][0] for k in names} == names and r["base"] == "DWSIM.FlowsheetBase" and r["buffers"]
    for folder in [r[k][1] for k in names] + [r["facade"]]:
        assert folder and os.path.samefile(folder, FOLDER)


def test_console_silenced_during_construction_only():
    """The prelude builds Automation3 with the console silenced, as the bridge does; a second one speaks."""
    proc = run_raw("""
Automation3()
System.Console.WriteLine("after restore"); System.Console.Out.Flush()
""")
    assert proc.returncode == 0, proc.stderr
    lines = proc.stdout.splitlines()
    assert sum("DWSIM stand-in automation: loaded 774 compounds" in line for line in lines) == 1, lines
    assert "after restore" in lines
