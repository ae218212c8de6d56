"""Host flowsheets through build, solve_dwsim and export on the stand-in, beside the same
flowsheets built by hand through pythonnet (tests/standin/sheet.py); run in a child process
by test_dwsim_rules.py. Importing this module starts nothing of .NET."""
import os
import zipfile
import xml.etree.ElementTree as ET
from types import SimpleNamespace as NS

import numpy as np

import kelvane.components
import kelvane.flowgate as fg
import sheet
from sheet import Sheet, flows, raises, state

feed = lambda T, P, flows: NS(T=T, P=P, flows=list(flows))  # noqa: E731
block = lambda kind, **spec: NS(kind=kind, spec=spec)  # noqa: E731


def host(components, method, feeds, blocks, ports, **pp):
    return NS(pp=NS(components=list(components), method=method, **pp), meta={}, feeds=feeds, blocks=blocks,
              ports=ports)


# ---------------------------------------------------------------------------------------------
# what a DWSIM flowsheet holds

def graph(sim):
    """{tag: class} and the material and energy links [from tag, port, to tag, port], sorted."""
    classes, links = {}, []
    for o in sim.SimulationObjects.Values:
        g = o.GraphicObject
        classes[g.Tag] = o.GetAsObject().GetType().Name
        for cp in g.OutputConnectors:
            if cp.IsAttached:
                c = cp.AttachedConnector
                links.append([g.Tag, c.AttachedFromConnectorIndex, c.AttachedTo.Tag, c.AttachedToConnectorIndex])
        if g.EnergyConnector.IsAttached:
            links.append([g.Tag, "E", g.EnergyConnector.AttachedConnector.AttachedTo.Tag, 0])
    return classes, sorted(links, key=str)


def recycles(sim):
    """[tag, inlet stream tag, outlet stream tag] of every Recycle block, sorted."""
    classes, links = graph(sim)
    found = []
    for tag, cls in classes.items():
        if cls == "Recycle":
            ins = [a for a, _, b, _ in links if b == tag]
            outs = [b for a, _, b, _ in links if a == tag]
            found.append([tag, ins, outs])
    return sorted(found)


def record(obj):
    """T, P, component flows (mol/s) of a stream of a hand-built flowsheet."""
    st = state(obj)
    return dict(T=st["T"], P=st["P"], flows=flows(obj))


def host_record(r):
    """The same of a stream in solve_dwsim's result (kmol/s there, by upper-case name)."""
    return dict(T=r["T"], P=r["P"], flows=[r["F"] * 1000.0 * x for x in r["x"].values()])


def tighten(recycle, passes=2000):
    """A hand-built Recycle that stops only at its fixed point."""
    impl = recycle.GetAsObject()
    tol = impl.ConvergenceParameters
    tol.Temperatura, tol.Pressao, tol.VazaoMassica = 1e-9, 1e-6, 1e-12
    impl.ConvergenceParameters = tol
    impl.MaximumIterations = passes


# ---------------------------------------------------------------------------------------------
# two nested loops

# Methanol/water: a feed mixed with two recycles, heated, flashed; half of the liquid goes back
# round the inner loop (M2 H1 FL SP1), 40 % of the rest is pumped back round the outer one (M1 M2
# H1 FL SP1 SP2 P1), which holds the inner one.
NESTED_PORTS = {"M1": (["F", "R2"], ["S1"]), "M2": (["S1", "R1"], ["S2"]), "H1": (["S2"], ["S3"]),
                "FL": (["S3"], ["V", "L"]), "SP1": (["L"], ["R1", "L2"]), "SP2": (["L2"], ["R2A", "OUT"]),
                "P1": (["R2A"], ["R2"])}
NESTED = dict(feed=(300.0, 1e5, [0.006, 0.004]), heater=345.0, flash=(352.0, 1e5), inner=0.5, outer=0.4,
              pump=(1.5e5, 0.7))


def nested_host(order=None):
    p = NESTED
    blocks = {"M1": block("MIXER"), "M2": block("MIXER"), "H1": block("HEATER", T=p["heater"]),
              "FL": block("FLASH2", T=p["flash"][0], P=p["flash"][1]), "SP1": block("FSPLIT", frac=[p["inner"]]),
              "SP2": block("FSPLIT", frac=[p["outer"]]), "P1": block("PUMP", P=p["pump"][0], efficiency=p["pump"][1])}
    names = order or list(blocks)
    return host(["METHANOL", "WATER"], "IDEAL", {"F": feed(*p["feed"])}, {n: blocks[n] for n in names},
                {n: NESTED_PORTS[n] for n in names})


def nested_by_hand():
    """The nested loops as a DWSIM user would draw them, each loop cut by a Recycle with tight
    tolerances on the stream that goes back to a mixer; the streams' results by host name."""
    p = NESTED
    s = Sheet()
    s.setup("Raoult's Law", "Methanol", "Water")
    names = ["F", "S1", "S2", "S3", "FL-F", "V", "L", "R1-IN", "R1", "L2", "R2A", "R2-IN", "R2", "OUT"]
    st = dict(zip(names, s.streams(*names)))
    m1, m2, h1, flh, fl, sp1, sp2, p1 = (s.add(k, t) for k, t in (
        ("NodeIn", "M1"), ("NodeIn", "M2"), ("Heater", "H1"), ("Heater", "FL-H"), ("Vessel", "FL"),
        ("NodeOut", "SP1"), ("NodeOut", "SP2"), ("Pump", "P1")))
    rec1, rec2 = s.add("OT_Recycle", "REC-R1"), s.add("OT_Recycle", "REC-R2")
    s.connect(st["F"], m1, -1, 0)
    s.connect(st["R2"], m1, -1, 1)
    s.chain(m1, st["S1"])
    s.connect(st["S1"], m2, -1, 0)
    s.connect(st["R1"], m2, -1, 1)
    s.chain(m2, st["S2"], h1, st["S3"], flh, st["FL-F"], fl)
    s.connect(fl, st["V"], 0, 0)
    s.connect(fl, st["L"], 1, 0)
    s.chain(st["L"], sp1)
    s.connect(sp1, st["R1-IN"], 0, 0)
    s.connect(sp1, st["L2"], 1, 0)
    s.chain(st["R1-IN"], rec1, st["R1"])
    s.chain(st["L2"], sp2)
    s.connect(sp2, st["R2A"], 0, 0)
    s.connect(sp2, st["OUT"], 1, 0)
    s.chain(st["R2A"], p1, st["R2-IN"], rec2, st["R2"])
    for unit, tag in ((h1, "Q-H1"), (flh, "Q-FL"), (p1, "Q-P1")):
        s.connect(s.add("EnergyStream", tag), unit)
    s.feed(st["F"], *p["feed"][:2], 1000.0 * sum(p["feed"][2]), np.array(p["feed"][2]) / sum(p["feed"][2]))
    h1i = s.configure(h1, CalcMode=sheet.U.Heater.CalculationMode.OutletTemperature, OutletTemperature=p["heater"],
                      DeltaP=0.0)
    flhi = s.configure(flh, CalcMode=sheet.U.Heater.CalculationMode.OutletTemperature, OutletTemperature=p["flash"][0],
                       DeltaP=0.0)
    p1i = s.configure(p1, CalcMode=sheet.U.Pump.CalculationMode.OutletPressure, Pout=p["pump"][0],
                      Eficiencia=100.0 * p["pump"][1])
    for sp, frac in ((sp1, p["inner"]), (sp2, p["outer"])):
        ratios = sp.GetAsObject().Ratios
        ratios.Clear()
        for r in (frac, 1.0 - frac, 0.0):
            ratios.Add(r)
    tighten(rec1)
    tighten(rec2)
    errors = s.solve()
    in_host = {n for ins, outs in NESTED_PORTS.values() for n in ins + outs}
    return dict(errors=errors, streams={n: record(st[n]) for n in names if n in in_host},
                duties={"H1": h1i.DeltaQ * 1e3, "FL": flhi.DeltaQ * 1e3, "P1": p1i.DeltaQ * 1e3})


def nested_loops():
    """solve_dwsim on the nested loops; the DWSIM flowsheet that build gives (twice, and with the
    blocks in reverse order); the same loops built by hand."""
    r = fg.solve_dwsim(nested_host())
    a, m = fg.automation()
    sims = [fg.build(nested_host(), a, m)[0] for _ in range(2)]
    reverse = fg.build(nested_host(list(reversed(list(NESTED_PORTS)))), a, m)[0]
    return dict(module=dict(streams={n: host_record(v) for n, v in r["streams"].items()},
                            duties={n: v.get("duty", v.get("power")) for n, v in r["blocks"].items()},
                            errors=r["errors"], notes=r["notes"]),
                graphs=[graph(sim) for sim in sims], recycles=recycles(sims[0]), reverse=recycles(reverse),
                hand=nested_by_hand(), ports=NESTED_PORTS, feed=NESTED["feed"][2])


# ---------------------------------------------------------------------------------------------
# the smallest loops

def _loop_results(fs, a, m):
    r = fg.solve_dwsim(fs)
    sim = fg.build(fs, a, m)[0]
    return dict(streams={n: host_record(v) for n, v in r["streams"].items()}, errors=r["errors"], notes=r["notes"],
                recycles=recycles(sim))


def small_loops(frac, vfrac):
    """Three loops of one or two blocks, each solved and built: a splitter sending `frac` back to
    a mixer through a heater; a flash whose liquid is its own second feed (a still that boils
    `vfrac` of what it holds); a mixer whose outlet is its own inlet, which has no steady state.
    Beside them, the mixer's outlet connected by hand straight back into the mixer."""
    a, m = fg.automation()
    F = [0.004, 0.006]
    two = host(["METHANOL", "WATER"], "IDEAL", {"F": feed(300.0, 1e5, F)},
               {"M": block("MIXER"), "H": block("HEATER", T=330.0), "SP": block("FSPLIT", frac=[frac])},
               {"M": (["F", "R"], ["S"]), "H": (["S"], ["S2"]), "SP": (["S2"], ["R", "P"])})
    still = host(["METHANOL", "WATER"], "IDEAL", {"F": feed(300.0, 1e5, F)},
                 {"FL": block("FLASH2", vfrac=vfrac, P=1e5)}, {"FL": (["F", "L"], ["V", "L"])})
    growing = host(["METHANOL", "WATER"], "IDEAL", {"F": feed(300.0, 1e5, F)}, {"M": block("MIXER")},
                   {"M": (["F", "R"], ["R"])})
    s = Sheet()
    s.setup("Raoult's Law", "Methanol", "Water")
    f, r = s.streams("F", "R")
    mixer = s.add("NodeIn", "M")
    s.connect(f, mixer)
    s.connect(mixer, r)
    by_hand = raises(lambda: s.connect(r, mixer))
    return dict(two=_loop_results(two, a, m), still=_loop_results(still, a, m),
                growing=_loop_results(growing, a, m), by_hand=by_hand)


# ---------------------------------------------------------------------------------------------
# compounds

def compound_choices(cases):
    """For each case [components, databank entries to add, aliases]: compound_names and the
    compounds of the flowsheet that build makes, or the message of the ValueError."""
    a, m = fg.automation()
    real = kelvane.components.databank_index
    out = []
    for components, entries, aliases in cases:
        kelvane.components.databank_index = lambda: real() + [dict(e) for e in entries]
        try:
            fs = host(components, "IDEAL", {}, {}, {})
            fs.meta = {"aliases": aliases}
            names = fg.compound_names(fs, a.CreateFlowsheet())
            sim = fg.build(fs, a, m)[0]
            out.append(dict(names=names, selected=list(sim.SelectedCompounds.Keys)))
        except ValueError as e:
            out.append(dict(error=str(e)))
        finally:
            kelvane.components.databank_index = real
    return out


# ---------------------------------------------------------------------------------------------
# binary parameters

def _package(sim):
    return next(iter(sim.PropertyPackages.Values)).GetAsObject()


def kij_host(components, method, z, P, kij):
    """A feed of `components` heated to its dew point (vapour fraction 1) at `P`, with the host's
    kij[0] given as {(i, j): value}."""
    n = len(components)
    k = np.zeros((1, n, n))
    for (i, j), v in kij.items():
        k[0, i, j] = v
    return host(components, method, {"F": feed(250.0, P, np.array(z) * 0.01)}, {"H": block("HEATER", vfrac=1.0)},
                {"H": (["F"], ["O"])}, kij=k)


def _kij_by_hand(pp, a, b, value):
    """kij of DWSIM's record [a][b], made (of the table's record type) where DWSIM has none."""
    table = pp.m_pr.InteractionParameters
    if not table[a].ContainsKey(b):
        table[a].Add(b, type(next(iter(table[a].Values)))())
    table[a][b].kij = float(value)
    pp.AreModelParametersDirty = True


def dew_points(components, method, z, P, values, by_hand):
    """Outlet temperatures of kij_host with the host's kij[0, 0, 1] at each of `values` (0: none
    given); for each value but 0, the same heater built by hand with DWSIM's record
    by_hand[0]/by_hand[1] set to it."""
    out = dict(module=[], hand=[], errors=[])
    for v in values:
        r = fg.solve_dwsim(kij_host(components, method, z, P, {(0, 1): v}))
        out["errors"] += r["errors"]
        out["module"].append(r["streams"]["O"]["T"])
        if not v:
            out["hand"].append(None)
            continue
        s = Sheet()
        _kij_by_hand(s.setup(fg.METHODS[method], *by_hand).GetAsObject(), *by_hand, v)
        f, o = s.streams("F", "O")
        h = s.add("Heater", "H")
        s.chain(f, h, o)
        s.feed(f, 250.0, P, 1.0, z)
        s.configure(h, CalcMode=sheet.U.Heater.CalculationMode.OutletVaporFraction, OutletVaporFraction=1.0,
                    DeltaP=0.0)
        out["errors"] += s.solve()
        out["hand"].append(state(o)["T"])
    return out


def _records(table, a, b, read):
    return [read(table[x][y]) if table.ContainsKey(x) and table[x].ContainsKey(y) else None
            for x, y in ((a, b), (b, a))]


NRTL_FIELDS = ("A12", "A21", "B12", "B21", "C12", "C21", "alpha12")


def nrtl_host(components, nrtl, T, P, z, method="NRTL"):
    """A FLASH2 at T and P of a feed of `components` with host NRTL matrices `nrtl` (6 x n x n)."""
    return host(components, method, {"F": feed(300.0, P, np.array(z) * 0.01)}, {"FL": block("FLASH2", T=T, P=P)},
                {"FL": (["F"], ["V", "L"])}, nrtl=np.array(nrtl, dtype=float))


def parameter_records(kij_cases, nrtl_cases):
    """What build writes into DWSIM's tables. For each kij case [components, method, value,
    DWSIM's names of the pair]: both records of the pair with no host kij (DWSIM's own) and with
    the host's kij[0, 0, 1] = value, AreModelParametersDirty, the notes. For each NRTL case
    [components, method, host matrices, DWSIM's names]: both records of the pair (None for a
    package without NRTL tables), the notes."""
    a, m = fg.automation()
    kij = []
    for components, method, value, names in kij_cases:
        read = lambda sim: _records(_package(sim).m_pr.InteractionParameters, *names, lambda d: d.kij)  # noqa: E731
        own = read(fg.build(kij_host(components, method, [0.5, 0.5], 1e5, {}), a, m)[0])
        sim, _, notes = fg.build(kij_host(components, method, [0.5, 0.5], 1e5, {(0, 1): value}), a, m)
        kij.append(dict(own=own, host=read(sim), dirty=bool(_package(sim).AreModelParametersDirty), notes=notes))
    nrtl = []
    for components, method, matrices, names in nrtl_cases:
        sim, _, notes = fg.build(nrtl_host(components, matrices, 350.0, 1e5, [0.5, 0.5], method), a, m)
        pp = _package(sim)
        records = (_records(pp.m_uni.InteractionParameters, *names, lambda d: [getattr(d, f) for f in NRTL_FIELDS])
                   if hasattr(pp, "m_uni") else None)
        nrtl.append(dict(records=records, notes=notes))
    return dict(kij=kij, nrtl=nrtl)


def ethanol_water_flash(scales, T, P, z):
    """Vapour fraction and vapour composition of a FLASH2 of ethanol/water at T, P: with the host's
    NRTL pair equal to DWSIM's own pair times each of `scales` (tau scaled, alpha kept), and with
    DWSIM's own pair in a flowsheet built by hand."""
    s = Sheet()
    pp = s.setup("NRTL", "Ethanol", "Water").GetAsObject()
    own = pp.m_uni.InteractionParameters["Ethanol"]["Water"]
    f = s.add("MaterialStream", "F")
    s.feed(f, T, P, 1.0, z)
    errors = s.solve()
    m = f.__implementation__
    hand = dict(vf=state(f)["vf"], y=list(m.GetPhaseComposition(2)))
    out = dict(own=[own.A12, own.A21, own.alpha12], hand=hand, module=[])
    for k in scales:
        nrtl = np.zeros((6, 2, 2))
        nrtl[1, 0, 1], nrtl[1, 1, 0] = k * own.A12 / fg.R_CAL, k * own.A21 / fg.R_CAL
        nrtl[2, 0, 1] = nrtl[2, 1, 0] = own.alpha12
        r = fg.solve_dwsim(nrtl_host(["ETHANOL", "WATER"], nrtl, T, P, z))
        errors += r["errors"]
        V, F = r["streams"]["V"]["F"], sum(z) * 0.01
        out["module"].append(dict(vf=V / F, y=list(r["streams"]["V"]["x"].values())))
    out["errors"] = errors
    return out


# ---------------------------------------------------------------------------------------------
# blocks that DWSIM takes in several units

SPLITS = [0.1, 0.2, 0.3, 0.15]  # of a five-outlet FSPLIT; the last outlet takes the rest


def many_ports():
    """A FLASH2 of three feeds at three pressures, a MIXER of eight feeds, an FSPLIT with five
    outlets and a HEATER with an outlet more than DWSIM's heater has, solved; a flash of the
    three feeds' total at the FLASH2's T and P, built by hand."""
    comps = ["METHANOL", "WATER"]
    three = {"A1": feed(300.0, 3e5, [0.002, 0.001]), "A2": feed(320.0, 2e5, [0.001, 0.003]),
             "A3": feed(310.0, 1.5e5, [0.0005, 0.0025])}
    eight = {f"B{k}": feed(340.0 + 4 * k, 1e5 + 1e4 * k, [0.0001 * (k + 1), 0.0002]) for k in range(8)}
    feeds = {**three, **eight, "C": feed(300.0, 2e5, [0.003, 0.002]), "D": feed(300.0, 2e5, [0.001, 0.001])}
    flash = (355.0, 1e5)
    fs = host(comps, "IDEAL", feeds,
              {"FL": block("FLASH2", T=flash[0], P=flash[1]), "MX": block("MIXER"),
               "SP": block("FSPLIT", frac=SPLITS), "HX": block("HEATER", T=320.0)},
              {"FL": (list(three), ["V", "L"]), "MX": (list(eight), ["MOUT"]),
               "SP": (["C"], [f"C{k}" for k in range(1, 6)]), "HX": (["D"], ["DOUT", "DX"])})
    r = fg.solve_dwsim(fs)
    # the enthalpy flows around the chain of mixers, from DWSIM's own streams (kJ/s)
    a, m = fg.automation()
    sim, obj, _ = fg.build(fs, a, m)
    errors = [e.Message for e in a.CalculateFlowsheet4(sim)]
    props = lambda n: obj[n].Phases[0].Properties  # noqa: E731
    enthalpy = {n: props(n).enthalpy * props(n).massflow for n in [*eight, "MOUT"]}
    total = np.sum([f.flows for f in three.values()], axis=0) * 1000.0
    s = Sheet()
    s.setup("Raoult's Law", "Methanol", "Water")
    f = s.add("MaterialStream", "F")
    s.feed(f, *flash, total.sum(), total / total.sum())
    errors += s.solve()
    ms = f.__implementation__
    hand = dict(vf=state(f)["vf"], x=list(ms.GetPhaseComposition(1)), y=list(ms.GetPhaseComposition(2)),
                F=float(total.sum()))
    return dict(streams={n: dict(host_record(v), VFRAC=v["VFRAC"]) for n, v in r["streams"].items()},
                errors=r["errors"] + errors, enthalpy=enthalpy, splits=SPLITS, notes=r["notes"], hand=hand,
                feeds={n: [1000.0 * x for x in v.flows] for n, v in feeds.items()},
                feed_T={n: v.T for n, v in feeds.items()}, feed_P={n: v.P for n, v in feeds.items()})


# ---------------------------------------------------------------------------------------------
# files

def _children(el, name):
    return [c for c in el if c.tag == name]


def saved_recycles(path):
    """From a .dwxmz: each SpecialOps.Recycle as [its tag, the tags attached at its inputs, at its
    outputs], and the tags of all objects."""
    with zipfile.ZipFile(path) as z:
        root = ET.fromstring(z.read(next(n for n in z.namelist() if n.endswith(".xml"))))
    tags, graphics = {}, {}
    for g in root.find("GraphicObjects"):
        tags[g.findtext("Name")] = g.findtext("Tag")
        graphics[g.findtext("Name")] = g
    found = []
    for o in root.find("SimulationObjects"):
        if o.findtext("Type") != "DWSIM.UnitOperations.SpecialOps.Recycle":
            continue
        g = graphics[o.findtext("Name")]
        ends = lambda side, key: [tags[c.get(key)] for c in _children(g.find(side), "Connector")  # noqa: E731
                                  if c.get("IsAttached") == "true"]
        found.append([tags[o.findtext("Name")], ends("InputConnectors", "AttachedFromObjID"),
                      ends("OutputConnectors", "AttachedToObjID")])
    return dict(recycles=sorted(found), tags=sorted(tags.values()))


def export_loops(folder):
    """export and solve_dwsim(save=) of the nested loops into `folder`; what the files hold,
    and what else is left in the folder."""
    exported, solved = os.path.join(folder, "loops.dwxmz"), os.path.join(folder, "solved.dwxmz")
    notes = fg.export(nested_host(), exported)
    r = fg.solve_dwsim(nested_host(), save=solved)
    out = dict(notes=notes, errors=r["errors"], ports=NESTED_PORTS, exported=saved_recycles(exported),
               solved=saved_recycles(solved), left=sorted(os.listdir(folder)),
               module={n: host_record(v) for n, v in r["streams"].items()})
    # the exported file opened and solved by DWSIM itself
    a, _ = fg.automation()
    sim = a.LoadFlowsheet(exported)
    out["loaded_errors"] = [e.Message for e in a.CalculateFlowsheet4(sim)]
    objs = {o.GraphicObject.Tag: o for o in sim.SimulationObjects.Values}
    out["loaded"] = {n: record(objs[n]) for n in r["streams"]}
    out["feed_mass"] = objs["F"].GetAsObject().Phases[0].Properties.massflow
    out["tolerances"] = {t: [o.GetAsObject().ConvergenceParameters.VazaoMassica,
                             o.GetAsObject().ConvergenceParameters.Temperatura, o.GetAsObject().MaximumIterations]
                         for t, o in objs.items() if o.GetAsObject().GetType().Name == "Recycle"}
    return out


def refused_targets(folder, names):
    """export and solve_dwsim(save=) to each of `names` in `folder`, of a flowsheet whose compound
    DWSIM lacks: [the exception's class and text] for each, and what is left in the folder."""
    fs = host(["WATER", "DICHLOROMETHANE"], "IDEAL", {"F": feed(300.0, 1e5, [0.001, 0.001])},
              {"H": block("HEATER", T=320.0)}, {"H": (["F"], ["O"])})
    out = {}
    for name in names:
        target = os.path.join(folder, name)
        out[name] = [raises(lambda: fg.export(fs, target)), raises(lambda: fg.solve_dwsim(fs, save=target))]
    return dict(raised=out, left=sorted(os.listdir(folder)))
