"""Flowsheet files through the stand-in, in a child process: the plant of every unit class
saved and loaded back, numbers written and read, damaged files, and DWSIM's own samples.
The tests (test_files*.py) read what was written with zipfile and ElementTree."""
import os

import sheet
from sheet import Sheet, U, raises
from snapshot import snapshot

# name, class, tag; placed 40 apart in x, staggered in y
PARTS = [("fd", "MaterialStream", "feed"), ("mix", "Mixer", "MIX-1"), ("s1", "MaterialStream", "s1"),
         ("ht", "Heater", "HT-1"), ("q1", "EnergyStream", "Q heater"), ("s2", "MaterialStream", "s2"),
         ("cl", "Cooler", "CL-1"), ("q2", "EnergyStream", "Q cooler"), ("s3", "MaterialStream", "s3"),
         ("v", "Vessel", "V-1"), ("q3", "EnergyStream", "Q vessel"), ("vap", "MaterialStream", "vapour"),
         ("liq", "MaterialStream", "liquid"), ("pu", "Pump", "PUMP-1"), ("q4", "EnergyStream", "W pump"),
         ("s4", "MaterialStream", "s4"), ("sp", "Splitter", "SPL-1"), ("rin", "MaterialStream", "recycle in"),
         ("rc", "OT_Recycle", "REC-1"), ("rec", "MaterialStream", "recycle"),
         ("s5", "MaterialStream", "s5"), ("cs", "ComponentSeparator", "CS-1"), ("q5", "EnergyStream", "Q separator"),
         ("top", "MaterialStream", "top"), ("bot", "MaterialStream", "bottom"), ("co", "Compressor", "C-1"),
         ("q6", "EnergyStream", "W compressor"), ("s6", "MaterialStream", "s6"), ("va", "Valve", "VALVE-1"),
         ("s7", "MaterialStream", "s7")]


def plant():
    """Every unit class; an energy stream on each unit that has one; the feed enters the
    mixer on port 2 with ports 0 and 1 open; the splitter's second outlet goes back to the
    mixer (port 4) through a Recycle; the compressor on a package of its own; edited NRTL and kij values."""
    import DWSIM.Thermodynamics.PropertyPackages.Auxiliary as AUX
    s = Sheet()
    nrtl = s.setup("NRTL", "Water", "Ethanol", "Methanol")
    pr = s.fs.CreateAndAddPropertyPackage("Peng-Robinson (PR)")
    o = {name: s.add(t, tag, 40 * i, 30 * (i % 3) - 10) for i, (name, t, tag) in enumerate(PARTS)}
    s.connect(o["fd"], o["mix"], -1, 2)
    s.chain(o["mix"], o["s1"], o["ht"], o["s2"], o["cl"], o["s3"], o["v"])
    s.connect(o["v"], o["vap"], 0)
    s.connect(o["v"], o["liq"], 1)
    s.chain(o["liq"], o["pu"], o["s4"], o["sp"])
    s.connect(o["sp"], o["s5"], 0)
    s.connect(o["sp"], o["rin"], 1)
    s.chain(o["rin"], o["rc"], o["rec"])
    s.connect(o["rec"], o["mix"], -1, 4)
    s.chain(o["s5"], o["cs"], o["top"])
    s.connect(o["cs"], o["bot"], 1)
    s.chain(o["vap"], o["co"], o["s6"], o["va"], o["s7"])
    for x, y in (("q1", "ht"), ("cl", "q2"), ("q3", "v"), ("q4", "pu"), ("cs", "q5"), ("q6", "co")):
        s.connect(o[x], o[y])
    s.feed(o["fd"], 300, 200000, 10, [0.6, 0.3, 0.1])
    s.configure(o["ht"], CalcMode=U.Heater.CalculationMode.OutletTemperature, OutletTemperature=370.0,
                DeltaP=5000.0, Eficiencia=95.0)
    s.configure(o["cl"], CalcMode=U.Cooler.CalculationMode.OutletTemperature, OutletTemperature=355.0)
    s.configure(o["v"], OverrideP=True, FlashPressure=150000.0)
    s.configure(o["pu"], CalcMode=U.Pump.CalculationMode.OutletPressure, Pout=400000.0, Eficiencia=70.0)
    s.configure(o["co"], POut=300000.0, AdiabaticEfficiency=72.0)
    s.configure(o["va"], CalcMode=U.Valve.CalculationMode.OutletPressure, OutletPressure=120000.0)
    # a loop solved to DWSIM's default tolerance ends where its start leaves it
    rc = s.configure(o["rc"], MaximumIterations=500)
    rc.ConvergenceParameters.VazaoMassica = 1e-10
    rc.ConvergenceParameters.Temperatura = 1e-6
    ratios = o["sp"].GetAsObject().Ratios
    ratios[0], ratios[1] = 0.7, 0.3
    k = s.configure(o["cs"], SpecifiedStreamIndex=1)
    for comp, pct in (("Water", 10.0), ("Ethanol", 90.0), ("Methanol", 50.0)):
        k.ComponentSepSpecs[comp] = U.Auxiliary.ComponentSeparationSpec(
            comp, U.Auxiliary.SeparationSpec.PercentInletMolarFlow, pct, "%")
    o["co"].PropertyPackage = pr
    n = nrtl.__implementation__.m_uni.InteractionParameters["Ethanol"]["Water"]
    n.A12, n.B21 = -61.25, 0.125
    kij = pr.__implementation__.m_pr.InteractionParameters
    System = sheet.dwsim().System
    kij["Water"] = System.Collections.Generic.Dictionary[System.String, AUX.PR_IPData]()
    kij["Water"]["Methanol"] = AUX.PR_IPData()
    kij["Water"]["Methanol"].kij = -0.05    # DWSIM holds only [Methanol][Water], -0.0778
    return s


def round_trip(folder, cases):
    """The plant solved and snapshot, saved under each (file name, compressed) of `cases`
    (compressed None: no flowsheet given), and the two DWSIM forms loaded back: their
    snapshot, load warnings, solve errors and snapshot after the solve."""
    from DWSIM.FlowsheetBase.Files import FlowsheetFile
    s = plant()
    a = sheet.dwsim().a
    out = dict(errors=s.solve(), before=snapshot(s.fs), after={})
    out["saved"] = {n: raises(lambda: a.SaveFlowsheet(s.fs if c is not None else None, os.path.join(folder, n), bool(c)))
                    for n, c in cases}
    for ext in (".dwxmz", ".dwxml"):
        back = a.LoadFlowsheet(os.path.join(folder, "plant" + ext))
        out["after"][ext] = [snapshot(back), list(FlowsheetFile.LoadWarnings(back)), s.solve(back), snapshot(back)]
    return out


def numbers(path, values, positions):
    """Splitter ratios (`values` as repr text) and positions (x, -x) saved as XML to `path`;
    the ratios as they load back, as repr text."""
    s = Sheet()
    r = s.add("Splitter", "SPL-1").GetAsObject().Ratios
    r.Clear()
    for v in values:
        r.Add(float(v))
    for i, xy in enumerate(positions):
        g = s.add("MaterialStream", "m" + str(i)).GraphicObject
        g.X, g.Y = xy, -xy
    a = sheet.dwsim().a
    a.SaveFlowsheet(s.fs, path, False)
    return [repr(float(x)) for x in a.LoadFlowsheet(path).GetFlowsheetSimulationObject("SPL-1").GetAsObject().Ratios]


def write_good(folder):
    """A small heater flowsheet saved as good.dwxml and good.dwxmz; {tag: id}."""
    s = Sheet()
    s.setup("Peng-Robinson (PR)", "Water", "Ethanol")
    fd, ht = s.add("MaterialStream", "feed"), s.add("Heater", "HT-1", 50)
    out, q = s.add("MaterialStream", "product", 100), s.add("EnergyStream", "Q", 50, 50)
    s.chain(fd, ht, out)
    s.connect(q, ht)
    fd.__implementation__.SetMolarFlow(2.0)
    s.configure(ht, CalcMode=U.Heater.CalculationMode.OutletTemperature, OutletTemperature=350.0)
    for ext in ("dwxml", "dwxmz"):
        sheet.dwsim().a.SaveFlowsheet(s.fs, os.path.join(folder, "good." + ext), True)
    return {o.GraphicObject.Tag: o.Name for o in s.fs.SimulationObjects.Values}


def _outcome(f):
    from DWSIM.FlowsheetBase.Files import FlowsheetFile
    objs = {o.GraphicObject.Tag: o.GetAsObject() for o in f.SimulationObjects.Values}
    h, fd = objs["HT-1"], objs["feed"]
    return ["load", {t: o.GetType().Name for t, o in objs.items()}, " | ".join(FlowsheetFile.LoadWarnings(f)),
            dict(calcmode=str(getattr(h, "CalcMode", None)), feed_to_heater=fd.GraphicObject.OutputConnectors[0].IsAttached,
                 heater_inputs=[cp.IsAttached for cp in h.GraphicObject.InputConnectors],
                 T=fd.Phases[0].Properties.temperature, F=fd.Phases[0].Properties.molarflow)]


def load_each(folder, names):
    """{name: ["load", classes by tag, warnings, what the heater and feed show] or
    ["error", exception class, first line]} for each file of `folder`; "after": the object
    count of good.dwxmz loaded after all of them."""
    a = sheet.dwsim().a
    out = {}
    for name in names:
        err = raises(lambda: out.update({name: _outcome(a.LoadFlowsheet(os.path.join(folder, name)))}))
        if err:
            out[name] = ["error", *err]
    out["after"] = len(a.LoadFlowsheet(os.path.join(folder, "good.dwxmz")).SimulationObjects)
    return out


def samples(folder, names, again):
    """Each sample file of `folder` loaded, snapshot, saved to `again` and loaded back."""
    from DWSIM.FlowsheetBase.Files import FlowsheetFile
    a = sheet.dwsim().a
    out = {}
    for name in names:
        f = a.LoadFlowsheet(os.path.join(folder, name))
        first = snapshot(f)
        path = os.path.join(again, name)
        a.SaveFlowsheet(f, path, True)
        out[name] = dict(first=first, again=snapshot(a.LoadFlowsheet(path)), resaved=path,
                         warnings=list(FlowsheetFile.LoadWarnings(f)), solve=[e.Message for e in a.CalculateFlowsheet4(f)])
    return out
