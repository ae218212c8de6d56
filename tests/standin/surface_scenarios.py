"""The automation surface as pythonnet sees it, read in a child process by test_road.py and
test_surface.py: where the assemblies come from, the shapes of created objects, defaults,
crossings of values and the exceptions that reach Python."""
import os

import sheet
from sheet import CLASSES, PROBE, Sheet, raises


def assemblies():
    """Assembly name and folder of a graphic, a flowsheet and a unit; the base class's
    assembly; where the System.Buffers facade came from and whether it works."""
    System = sheet.runtime()
    import System.Buffers
    s = Sheet()
    h = s.add("Heater")
    asm = lambda o: o.GetType().Assembly
    out = {k: [asm(o).GetName().Name, os.path.dirname(asm(o).Location)] for k, o in (
        ("graphic", h.GraphicObject.__implementation__), ("flowsheet", s.fs.__implementation__),
        ("unit", h.GetAsObject()))}
    loaded = {x.GetName().Name: x.Location for x in System.AppDomain.CurrentDomain.GetAssemblies() if not x.IsDynamic}
    out.update(base=s.fs.__implementation__.GetType().BaseType.Assembly.GetName().Name,
               facade=os.path.dirname(loaded.get("System.Buffers", "")),
               buffers=System.Buffers.ArrayPool[System.Byte].Shared.Rent(4).Length >= 4)
    return out


def second_automation_speaks():
    """The helper's Automation3 is built silenced; a second one writes to the console."""
    System = sheet.dwsim().System
    from DWSIM.Automation import Automation3
    Automation3()
    System.Console.WriteLine("after restore")
    System.Console.Out.Flush()
    return True


def made(defaults):
    """One object of each class with its ports filled the DWSIM way (-1 = first free port),
    the package's interface, defaults of members (`defaults`: [class, member] pairs) and
    the crossings of enums, nullables, arrays and unit strings, also on the probe assembly."""
    d = sheet.dwsim()
    import clr
    from DWSIM.Interfaces.Enums.GraphicObjects import ConType
    System, U, ObjectType = d.System, d.U, d.ObjectType
    s = Sheet()
    fs = s.fs
    fs.AddCompound("Water")
    pp = fs.CreateAndAddPropertyPackage("Peng-Robinson (PR)")
    out = dict(fs=[type(fs).__name__, fs.__implementation__.GetType().Name],
               pp=[type(pp).__name__, hasattr(pp, "ComponentName"), pp.__implementation__.ComponentName, pp.Tag,
                   pp.UniqueID, list(fs.PropertyPackages.Keys), bool(pp.__implementation__.AreModelParametersDirty)],
               unknown=raises(lambda: s.add("RCT_Conversion")), objects={})
    objs = {}
    for t in CLASSES:
        o = s.add(CLASSES[t][1])
        g, objs[t] = o.GraphicObject, o.GetAsObject()
        got = out["objects"][t] = dict(
            seen=[type(o).__name__, hasattr(o, "CalcMode"), objs[t].GetType().FullName,
                  g.__implementation__.GetType().FullName, str(g.ObjectType), o.Name.split("-")[0] + "-", g.Tag,
                  fs.SimulationObjects.ContainsKey(o.Name), type(g.X).__name__],
            calcmode=[hasattr(objs[t], "CalcMode"), hasattr(o.__implementation__, "CalcMode")],
            ports=[[str(c.Type) for c in g.InputConnectors], g.OutputConnectors.Count, g.EnergyConnector.Active])
        if "Stream" in t:
            continue
        got["landed"] = []
        for _ in range(sum(1 for c in g.InputConnectors if str(c.Type) == "ConIn")):
            s.connect(s.add("MaterialStream"), o)
            got["landed"].append(max(i for i, c in enumerate(g.InputConnectors) if c.IsAttached))
        got["energy"] = raises(lambda: s.connect(s.add("EnergyStream"), o)) or \
            [i for i, c in enumerate(g.InputConnectors) if c.IsAttached and str(c.Type) == "ConEn"]
        got["outs"] = []
        for _ in range(g.OutputConnectors.Count):
            m = s.add("MaterialStream")
            s.connect(o, m)
            got["outs"].append(m.GraphicObject.InputConnectors[0].AttachedConnector.AttachedFromConnectorIndex)
    show = lambda v: v if v is None or isinstance(v, (bool, float)) else str(v)
    out["defaults"] = [show(getattr(objs[t], m, "absent")) for t, m in defaults]
    out["more"] = [[float(x) for x in objs["Splitter"].Ratios], list(objs["Cooler"].GetCalculationModes()),
                   objs["ComponentSeparator"].ComponentSepSpecs.GetType().Name]
    h, m = objs["Heater"], s.add("MaterialStream").__implementation__
    out["int_to_enum"] = raises(lambda: setattr(h, "CalcMode", 1))
    h.CalcMode = U.Heater.CalculationMode.OutletTemperature
    m.SetOverallComposition(sheet.doubles([1.0]))
    out.update(mode=str(h.CalcMode), comp=list(m.GetOverallComposition()), vf=m.Phases[2].Properties.molarfraction,
               ints=[int(U.Cooler.CalculationMode.EnergyStream), int(U.Heater.CalculationMode.EnergyStream)] +
                    [int(getattr(ObjectType, n)) for n in ("Mixer", "Splitter", "ComponentSeparator", "Dummy")] +
                    [int(getattr(ConType, n)) for n in ("ConIn", "ConOut", "ConEn", "ConSp")],
               list_rejected=raises(lambda: m.SetOverallComposition([1.0])),
               wrong_length=raises(lambda: m.SetOverallComposition(sheet.doubles([0.5, 0.5]))),
               strings=[m.SetTemperature("25 C") and m.GetTemperature(), m.SetPressure("2 bar") and m.GetPressure()])
    # the same crossings on a minimal assembly of their own
    clr.AddReference(PROBE)
    from Probe import Color, Factory
    t = Factory().Make()
    c = t.__implementation__
    probe = [type(t).__name__, hasattr(t, "Paint"), type(c).__name__, type(t.GetAsObject()).__name__, c.Maybe,
             raises(lambda: setattr(c, "Paint", 5))[0], raises(lambda: c.Sum([1.0, 2.0]))[0]]
    c.Paint, c.Maybe = Color.Blue, 2.5
    out["probe"] = probe + [str(c.Paint), int(c.Paint), c.Maybe, c.Sum(sheet.doubles([1.0, 2.0, 3.5]))]
    return out


def exceptions():
    """What the flowsheet raises for unknown and duplicate names, tags and forbidden or
    occupied connections, and how the energy connector is used."""
    s = Sheet()
    fs, add, connect = s.fs, s.add, s.connect
    out = dict(unknown_compound=raises(lambda: fs.AddCompound("1,2-Dichloroethane")))
    fs.AddCompound("1,2-dichloroethane")
    out["duplicate_compound"] = raises(lambda: fs.AddCompound("1,2-dichloroethane"))
    out["unknown_package"] = raises(lambda: fs.CreateAndAddPropertyPackage("Steam Tables (IAPWS-IF97)"))
    s1, s2, e1 = add("MaterialStream", "S1"), add("MaterialStream", "S1"), add("EnergyStream")
    h, p, mx, c, cs = add("Heater"), add("Pump"), add("Mixer"), add("Cooler"), add("ComponentSeparator")
    out["tags"] = [s1.GraphicObject.Tag, s2.GraphicObject.Tag] + \
        [add("MaterialStream", "F-09").GraphicObject.Tag for _ in "12"]
    add("Valve", "Feed valve")
    out["duplicate_plain_tag"] = raises(lambda: add("Valve", "Feed valve"))
    out["rules"] = [raises(lambda: connect(x, y)) for x, y in ((s1, s2), (s1, e1), (h, p), (p, e1), (e1, mx))]
    out["port_out_of_range"] = raises(lambda: connect(s1, h, -1, 5))
    connect(s1, h, -1, 0)
    out["occupied"] = [raises(lambda: connect(s2, h, -1, 0)),
                       h.GraphicObject.InputConnectors[0].AttachedConnector.AttachedFrom.Tag,
                       s2.GraphicObject.OutputConnectors[0].IsAttached, raises(lambda: connect(h, s1))]
    e2, e3, e4, e5 = (add("EnergyStream") for _ in range(4))
    connect(h, e2, 7, 9)     # both indices ignored: the energy connector is used
    con = e2.GraphicObject.InputConnectors[0].AttachedConnector
    out["energy"] = [con.AttachedFromConnectorIndex, con.AttachedFromEnergy, raises(lambda: connect(h, e3))]
    connect(c, e4)
    connect(cs, e5)
    out["energy_attached"] = [x.GraphicObject.EnergyConnector.IsAttached for x in (h, c, cs)]
    return out


def compounds_and_tables():
    """The compound database and package list, streams made before and after compounds are
    added, and the interaction-parameter tables of fresh packages."""
    s = Sheet()
    fs, a = s.fs, sheet.dwsim().a
    ac = a.AvailableCompounds
    out = dict(count=[ac.Count, fs.AvailableCompounds.Count] + list(ac.Keys)[:3],
               cas=[ac[n].CAS_Number for n in ("N-butane", "n-Butane")], packages=sorted(a.AvailablePropertyPackages.Keys))
    early = s.add("MaterialStream")
    fs.AddCompound("Ethanol")
    fs.AddCompound("Water")
    out["selected"] = [list(fs.SelectedCompounds.Keys), len(early.__implementation__.GetOverallComposition()),
                       list(s.add("MaterialStream").__implementation__.GetOverallComposition())]
    n1, n2 = (fs.CreateAndAddPropertyPackage("NRTL").__implementation__ for _ in "12")
    ip = n1.m_uni.InteractionParameters
    pair = ip["Ethanol"]["Water"]
    out["nrtl"] = [str(pair.ID1), str(pair.ID2), pair.A12, pair.A21, pair.alpha12, pair.B12, type(ip).__name__]
    c = pair.Clone()
    c.A12 = 1000.0
    pair.A12 = 1.0
    out["independent"] = [n2.m_uni.InteractionParameters["Ethanol"]["Water"].A12, c.A12]
    pr = fs.CreateAndAddPropertyPackage("Peng-Robinson (PR)").__implementation__
    kij = pr.m_pr.InteractionParameters["Methane"]["Carbon dioxide"]
    srk = fs.CreateAndAddPropertyPackage("Soave-Redlich-Kwong (SRK)").__implementation__.m_pr.InteractionParameters
    out["pr"] = [type(kij).__name__, kij.kij, kij.ID1, type(srk["Methane"]["Ethane"]).__name__, srk["Methane"]["Ethane"].kij]
    return out
