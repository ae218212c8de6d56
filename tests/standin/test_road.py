"""The pythonnet-on-Mono crossings the bridge depends on, shown on a minimal assembly."""
import os

import pytest

from conftest import PROBE, run


def test_probe_assembly_crossings():
    if not os.path.exists(PROBE):
        pytest.fail(f"{PROBE} is missing; run standin/build.sh first")
    r = run(f"""
clr.AddReference({PROBE!r})
from Probe import Factory, Color
t = Factory().Make()
c = t.__implementation__
out = dict(iface=type(t).__name__, iface_has_paint=hasattr(t, "Paint"),
           concrete=type(c).__name__, via_getasobject=type(t.GetAsObject()).__name__,
           maybe_before=c.Maybe)
out["int_to_enum"] = raises(lambda: setattr(c, "Paint", 5))
c.Paint = Color.Blue
out["paint"] = [str(c.Paint), int(c.Paint)]
c.Maybe = 2.5
out["maybe_after"] = c.Maybe
out["sum_array"] = c.Sum(System.Array[System.Double]([1.0, 2.0, 3.5]))
out["sum_list"] = raises(lambda: c.Sum([1.0, 2.0]))
report(out)
""", load_automation=False)
    assert r["iface"] == "IThing" and not r["iface_has_paint"]
    assert r["concrete"] == r["via_getasobject"] == "Thing"
    assert r["maybe_before"] is None and r["maybe_after"] == 2.5
    assert r["int_to_enum"][0] == "TypeError"
    assert r["paint"] == ["Blue", 5]
    assert r["sum_array"] == 6.5
    assert r["sum_list"] is not None and r["sum_list"][0] == "TypeError"


def test_assemblies_resolve_from_the_folder():
    """Referenced ones load by path; Drawing.SkiaSharp/FlowsheetBase only as dependencies."""
    r = run("""
fs = a.CreateFlowsheet()
h = fs.AddObject(ObjectType.Heater, 0, 0, "")
asm = lambda o: o.GetType().Assembly
out = {}
for key, obj in (("graphic", h.GraphicObject.__implementation__), ("flowsheet", fs.__implementation__),
                 ("unit", h.GetAsObject())):
    out[key] = [asm(obj).GetName().Name, os.path.dirname(asm(obj).Location)]
out["base"] = fs.__implementation__.GetType().BaseType.Assembly.GetName().Name
loaded = {x.GetName().Name: x.Location for x in System.AppDomain.CurrentDomain.GetAssemblies() if not x.IsDynamic}
out["facade"] = os.path.dirname(loaded.get("System.Buffers", ""))
import System.Buffers
out["buffers"] = str(System.Buffers.ArrayPool[System.Byte].Shared.Rent(4).Length >= 4)
report(out)
""")
    assert r["graphic"][0] == "DWSIM.Drawing.SkiaSharp"
    assert r["flowsheet"][0] == "DWSIM.Automation" and r["unit"][0] == "DWSIM.UnitOperations"
    assert r["base"] == "DWSIM.FlowsheetBase"
    for key in ("graphic", "flowsheet", "unit"):
        assert os.path.samefile(r[key][1], os.path.join(os.path.dirname(PROBE), "..", "dwsim"))
    assert r["buffers"] == "True"
    assert r["facade"] and os.path.samefile(r["facade"], r["graphic"][1])
