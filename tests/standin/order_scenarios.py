"""Calculation order, Recycle blocks and tags in the stand-in, through pythonnet; each
function runs in a child process for test_order.py."""
import os
import tempfile

from sheet import Sheet, U, dwsim, flows, raises, state


def inspected(sheet):
    """Solves with the solution inspector on: the errors and the tags in calculation order."""
    from DWSIM.GlobalSettings import Settings
    from DWSIM.Inspector import Host
    Settings.InspectorEnabled = True
    Host.Items.Clear()
    errors = sheet.solve()
    Settings.InspectorEnabled = False
    return errors, [i.ObjectTag for i in Host.Items]


def branched_order():
    """Two feeds into a mixer (one through a heater), a splitter, a cooler with its duty
    stream, and a heater fed by a stream but with nothing on its outlet."""
    s = Sheet()
    s.setup("Raoult's Law", "Water", "Methanol")
    f1, f2, h, s2, m, s3, sp, p1, p2, cl, p3, q, y, x = (
        s.add(k, t) for k, t in (("MaterialStream", "F1"), ("MaterialStream", "F2"), ("Heater", "H"),
                                 ("MaterialStream", "S2"), ("Mixer", "M"), ("MaterialStream", "S3"),
                                 ("Splitter", "SP"), ("MaterialStream", "P1"), ("MaterialStream", "P2"),
                                 ("Cooler", "CL"), ("MaterialStream", "P3"), ("EnergyStream", "Q"),
                                 ("MaterialStream", "Y"), ("Heater", "X")))
    s.connect(f1, m)
    s.chain(f2, h, s2, m, s3, sp, p1)
    s.chain(sp, p2, cl, p3)
    s.connect(cl, q)
    s.connect(y, x)
    for feed in (f1, f2, y):
        s.feed(feed, 300, 101325, 1, [0.5, 0.5])
    s.configure(h, CalcMode=U.Heater.CalculationMode.OutletTemperature, OutletTemperature=320.0)
    s.configure(cl, CalcMode=U.Cooler.CalculationMode.OutletTemperature, OutletTemperature=290.0)
    errors, order = inspected(s)
    return dict(errors=errors, order=order, unreached=[y.__implementation__.Calculated, x.GetAsObject().Calculated])


def diamonds(n):
    """n splitter/mixer diamonds in a row: no loop, but 2^n paths back from the end."""
    s = Sheet()
    s.setup("Raoult's Law", "Water")
    cur = s.add("MaterialStream", "IN")
    s.feed(cur, 300, 101325, 1, [1.0])
    for k in range(n):
        sp, mx, a, b, out = s.add("Splitter"), s.add("Mixer"), *s.streams(f"A{k}", f"B{k}", f"OUT{k}")
        s.chain(cur, sp, a, mx, out)
        s.chain(sp, b, mx)
        sp.GetAsObject().Ratios[0] = 0.5
        cur = out
    return dict(errors=s.solve(), end=state(cur))


def ring(recycle, tight=False, smoothing=1.0, max_iterations=50, product_ratio=0.25):
    """FEED -> mixer -> heater -> splitter -> PRODUCT, the splitter's other outlet back into
    the mixer, through a Recycle block (tear stream BACK) or directly."""
    s = Sheet()
    s.setup("Raoult's Law", "Methanol", "Water")
    f, m, h, product, ret = s.streams("FEED", "MIXED", "HOT", "PRODUCT", "RETURN")
    mx, ht, sp = s.add("Mixer"), s.add("Heater"), s.add("Splitter")
    s.chain(f, mx, m, ht, h, sp, product)
    s.connect(sp, ret)
    if recycle:
        rec, back = s.add("OT_Recycle"), s.add("MaterialStream", "BACK")
        s.chain(ret, rec, back, mx)
        r = s.configure(rec, SmoothingFactor=smoothing, MaximumIterations=max_iterations)
        if tight:
            r.ConvergenceParameters.Temperatura = 1e-9
            r.ConvergenceParameters.Pressao = 1e-6
            r.ConvergenceParameters.VazaoMassica = 1e-12
    else:
        s.connect(ret, mx)
    s.feed(f, 300, 200000, 5, [0.4, 0.6])
    s.configure(ht, CalcMode=U.Heater.CalculationMode.OutletTemperature, OutletTemperature=320.0)
    sp.GetAsObject().Ratios[0] = product_ratio
    errors, order = inspected(s)
    out = dict(errors=errors, passes=order.count("FEED"), order=order[:len(set(order))],
               mixed=state(m), flows=[flows(f), flows(product)],
               calculated=[state(o)["calculated"] for o in (f, m, h, product, ret)])
    if recycle:
        r = rec.GetAsObject()
        out["recycle"] = dict(count=r.IterationCount, taken=r.IterationsTaken, converged=r.Converged,
                              errors=dict(r.Errors), values=dict(r.Values), back=state(back))
    return out


def first_pass_from_defaults():
    """A Recycle allowed no iteration stops after its first copy: its errors compare the
    first pass's loop with the tear stream as AddObject made it."""
    s = Sheet()
    s.setup("Raoult's Law", "Methanol", "Water")
    f, hot, back = s.streams("FEED", "HOT", "BACK")
    mx, ht, rec, prod, sp = s.add("Mixer"), s.add("Heater"), s.add("OT_Recycle"), s.add("MaterialStream", "P"), s.add("Splitter")
    s.chain(f, mx)
    r = s.configure(rec, MaximumIterations=0)
    tear = state(back)
    s.chain(mx, s.add("MaterialStream", "MIXED"), ht, hot, sp, prod)
    ret = s.add("MaterialStream", "RET")
    s.chain(sp, ret, rec, back, mx)
    s.feed(f, 300, 200000, 5, [0.4, 0.6])
    s.configure(ht, CalcMode=U.Heater.CalculationMode.OutletTemperature, OutletTemperature=320.0)
    sp.GetAsObject().Ratios[0] = 0.5
    mw = [c.Molar_Weight for c in s.fs.SelectedCompounds.Values]
    errors = s.solve()
    return dict(errors=errors, tear_before=tear, mw=mw, inlet=[flows(ret), state(ret)],
                recycle=[dict(r.Errors), r.IterationCount, r.Converged], back=[flows(back), state(back)])


def recycle_misuse():
    """Recycles with a port left open, an energy stream offered to one, GlobalBroyden."""
    from DWSIM.Interfaces.Enums import AccelMethod
    res = {}
    for case in ("no_outlet", "no_inlet", "broyden"):
        s = Sheet()
        s.setup("Raoult's Law", "Water")
        f, a, b = s.streams("F", "A", "B")
        h, rec = s.add("Heater"), s.add("OT_Recycle")
        s.feed(f, 300, 101325, 1, [1.0])
        if case == "no_inlet":
            s.chain(f, h, a)
            s.connect(rec, b)
        else:
            s.chain(f, h, a, rec)
            if case == "broyden":
                s.connect(rec, b)
                s.configure(rec, AccelerationMethod=AccelMethod.GlobalBroyden)
        res[case] = s.solve()
    res["energy"] = [raises(lambda: s.connect(s.add("EnergyStream"), rec)), raises(lambda: s.connect(rec, s.add("EnergyStream")))]
    return res


def tags():
    s = Sheet()
    s.setup("Raoult's Law", "Water")
    tag = lambda o: o.GraphicObject.Tag
    out = dict(given=[tag(s.add("MaterialStream", t)) for t in
                      ("R-1", "R-1", "S-09", "S-09", "S-99", "S-99", "MIX-1-A2", "MIX-1-A2", "r-1", "R-1", "007", "007")])
    out["recycles"] = [tag(s.add("OT_Recycle")) for _ in range(3)]    # R-1 .. R-4 are taken by streams
    out["mixers"] = [tag(s.add("Mixer")) for _ in range(2)] + [tag(s.add("Mixer", "M"))] + [tag(s.add("Mixer"))]
    out["streams"] = [tag(s.add("MaterialStream")) for _ in range(2)]
    out["no_digit"] = [raises(lambda: s.add("Heater", "FEED")), raises(lambda: s.add("Heater", "FEED")), raises(lambda: s.add("Valve", "M"))]
    out["overflow"] = [raises(lambda: s.add("Valve", "V2147483646")) for _ in range(3)]
    # a tag changed on the graphic frees the old one and takes the new one
    h = s.add("Heater", "T1")
    h.GraphicObject.Tag = "U1"
    out["renamed"] = [tag(s.add("Heater", "T1")), tag(s.add("Heater", "U1"))]
    # a loaded flowsheet's tags count as well
    path = os.path.join(tempfile.mkdtemp(), "t.dwxml")
    dwsim().a.SaveFlowsheet(s.fs, path, False)
    back = Sheet(dwsim().a.LoadFlowsheet(path))
    out["loaded"] = [tag(back.add("MaterialStream", "S-99")), tag(back.add("OT_Recycle")), raises(lambda: back.add("Heater", "FEED"))]
    return out


def recycle_defaults_and_file(path):
    from DWSIM.Interfaces.Enums import AccelMethod
    s = Sheet()
    s.setup("Raoult's Law", "Water", "Methanol")
    rec = s.add("OT_Recycle", "LOOP-1")
    r = rec.GetAsObject()
    g = rec.GraphicObject
    out = dict(made=[r.GetType().FullName, rec.Name.split("-")[0], str(g.ObjectType), g.GetType().Name,
                     [str(c.Type) for c in g.InputConnectors], [str(c.Type) for c in g.OutputConnectors],
                     g.EnergyConnector.Active],
               defaults=[r.MaximumIterations, r.IterationCount, r.IterationsTaken, r.Converged, str(r.AccelerationMethod),
                         r.SmoothingFactor, r.LegacyMode, r.CopyOnStreamDataError, sorted(r.Errors.Keys), sorted(r.Values.Keys)],
               tolerances=[getattr(r.ConvergenceParameters, k) for k in
                           ("Temperatura", "Pressao", "VazaoMassica", "FracaoVapor", "Entalpia", "Entropia", "Composicao")],
               wegstein=[getattr(r.WegsteinParameters, k) for k in ("AccelFreq", "Qmax", "Qmin", "AccelDelay")])
    a, b = s.streams("IN", "OUT")
    s.chain(a, rec, b)
    s.configure(rec, MaximumIterations=7, SmoothingFactor=0.5, LegacyMode=True, AccelerationMethod=AccelMethod.Wegstein,
                IterationCount=3, Converged=True)
    r.ConvergenceParameters.VazaoMassica = 1e-5
    r.WegsteinParameters.Qmin = -5.0
    r.Errors["Temperature"] = 1.5
    dwsim().a.SaveFlowsheet(s.fs, path, True)
    fs = dwsim().a.LoadFlowsheet(path)
    rec2 = fs.GetFlowsheetSimulationObject("LOOP-1")
    r2, g2 = rec2.GetAsObject(), rec2.GraphicObject
    out["loaded"] = [r2.GetType().FullName, rec2.Name == rec.Name, str(g2.ObjectType), r2.MaximumIterations, r2.SmoothingFactor,
                     r2.LegacyMode, str(r2.AccelerationMethod), r2.IterationCount, r2.Converged,
                     r2.ConvergenceParameters.VazaoMassica, r2.ConvergenceParameters.Temperatura, r2.WegsteinParameters.Qmin,
                     r2.WegsteinParameters.AccelFreq, r2.Errors["Temperature"],
                     g2.InputConnectors[0].AttachedConnector.AttachedFrom.Tag, g2.OutputConnectors[0].AttachedConnector.AttachedTo.Tag]
    return out


def sample_loop(path):
    a = dwsim().a
    fs = a.LoadFlowsheet(path)
    s = Sheet(fs)
    rec = fs.GetFlowsheetSimulationObject("REC-1")
    r = rec.GetAsObject()
    before = [r.LegacyMode, r.IterationCount, r.Converged]
    errors, order = inspected(s)
    get = lambda t: fs.GetFlowsheetSimulationObject(t)
    loop = ("1 suction", "2 discharge", "3 liquid", "4 flashed", "5 evaporator out")
    return dict(before=before, errors=errors, order=order,
                after=[r.Converged, r.IterationCount, r.IterationsTaken, dict(r.Errors)],
                ends=[rec.GraphicObject.InputConnectors[0].AttachedConnector.AttachedFrom.Tag,
                      rec.GraphicObject.OutputConnectors[0].AttachedConnector.AttachedTo.Tag],
                streams={t: state(get(t)) for t in loop}, mass={t: get(t).__implementation__.GetMassFlow() for t in loop})
