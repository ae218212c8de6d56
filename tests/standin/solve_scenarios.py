"""Flowsheets built through pythonnet and solved by the stand-in; run in a child
process by test_solve.py."""
from sheet import Sheet, U, dwsim, flows, state


def pump_heater_vessel_train():
    s = Sheet()
    s.setup("NRTL", "Water", "Ethanol")
    f, s2, s3, vap, liq = s.streams("F", "S2", "S3", "VAP", "LIQ")
    ep, eh, p, h, v = (s.add(t) for t in ("EnergyStream", "EnergyStream", "Pump", "Heater", "Vessel"))
    s.chain(f, p, s2, h, s3, v, vap)
    s.connect(v, liq)
    s.connect(ep, p)
    s.connect(eh, h)
    s.feed(f, 300, 101325, 10, [0.7, 0.3])
    pi = s.configure(p, CalcMode=U.Pump.CalculationMode.OutletPressure, Pout=300000.0)
    hi = s.configure(h, CalcMode=U.Heater.CalculationMode.OutletVaporFraction, OutletVaporFraction=0.4,
                     DeltaP=50000.0)
    out = dict(before=[hi.DeltaQ, state(vap)["vf"], state(s3)["calculated"]], errors=s.solve())
    out.update(s={t: state(o) for t, o in (("F", f), ("S2", s2), ("S3", s3), ("VAP", vap), ("LIQ", liq))},
               flows=[flows(f), [x + y for x, y in zip(flows(vap), flows(liq))]],
               pump=[pi.DeltaQ, pi.DeltaP, pi.DeltaT, ep.__implementation__.EnergyFlow],
               heater=[hi.DeltaQ, hi.OutletTemperature, eh.__implementation__.EnergyFlow, v.GetAsObject().DeltaQ])
    return out


def recycle_through_mixer_and_splitter(with_recycle):
    """A splitter sends 75 % back to the mixer: through a Recycle block with tight
    tolerances (tear stream BACK), or straight back, which DWSIM refuses."""
    s = Sheet()
    s.setup("Raoult's Law", "Methanol", "Water")
    f, m, h, product, rec = s.streams("FEED", "MIXED", "HOT", "PRODUCT", "RECYCLE")
    mx, ht, sp = s.add("Mixer"), s.add("Heater"), s.add("Splitter")
    s.chain(f, mx, m, ht, h, sp, product)
    if with_recycle:
        block = s.add("OT_Recycle")
        s.chain(sp, rec, block, s.add("MaterialStream", "BACK"), mx)
        tol = block.GetAsObject().ConvergenceParameters
        tol.Temperatura, tol.Pressao, tol.VazaoMassica = 1e-9, 1e-6, 1e-12
        block.GetAsObject().MaximumIterations = 500
    else:
        s.chain(sp, rec, mx)
    s.feed(f, 300, 200000, 5, [0.4, 0.6])
    hi = s.configure(ht, CalcMode=U.Heater.CalculationMode.OutletTemperature, OutletTemperature=320.0)
    sp.GetAsObject().Ratios[0] = 0.25
    errs = s.solve()
    out = dict(errors=errs, mixed=state(m), recycle=state(rec), ratios=[float(x) for x in sp.GetAsObject().Ratios],
               flows=[flows(f), flows(product)], duty=hi.DeltaQ,
               calculated=[state(o)["calculated"] for o in (f, m, h, product, rec)])
    if with_recycle:
        taken = block.GetAsObject().IterationsTaken
        out.update(again=s.solve(), mixed_again=state(m)["F"], taken=[taken, block.GetAsObject().IterationsTaken])
    return out


def unit_operations_each():
    from DWSIM.UnitOperations.UnitOperations.Auxiliary import ComponentSeparationSpec, SeparationSpec
    s = Sheet()
    s.setup("Peng-Robinson (PR)", "Methane", "Propane", "N-hexane")
    g1, g2, l1, l2, l3, c1, c2, m1, m2, m3 = s.streams("G1", "G2", "L1", "L2", "L3", "C1", "C2", "M1", "M2", "M3")
    k, va, cl, cs, mx, ecl, ecs = (s.add(t) for t in ("Compressor", "Valve", "Cooler", "ComponentSeparator", "Mixer",
                                                       "EnergyStream", "EnergyStream"))
    s.chain(g1, k, g2)
    s.chain(l1, cl, l2, va, l3, cs, c1)
    s.connect(cs, c2)
    s.connect(cl, ecl)
    s.connect(cs, ecs)
    s.chain(m1, mx, m3)
    s.connect(m2, mx)
    s.feed(g1, 300, 100000, 2, [0.9, 0.1, 0.0])
    s.feed(l1, 400, 3000000, 3, [0.1, 0.3, 0.6])
    s.feed(m1, 300, 300000, 1, [1, 0, 0])
    s.feed(m2, 350, 200000, 1, [0, 1, 0])
    ki = s.configure(k, POut=500000.0)
    cli = s.configure(cl, CalcMode=U.Cooler.CalculationMode.OutletTemperature, OutletTemperature=330.0)
    vai = s.configure(va, CalcMode=U.Valve.CalculationMode.OutletPressure, OutletPressure=500000.0)
    csi = cs.GetAsObject()
    for comp, kind, value, unit in (("Methane", "PercentInletMolarFlow", 100.0, ""),
                                    ("Propane", "PercentInletMassFlow", 50.0, "%"),
                                    ("N-hexane", "MolarFlow", 0.18, "mol/s")):
        csi.ComponentSepSpecs[comp] = ComponentSeparationSpec(comp, getattr(SeparationSpec, kind), value, unit)
    return dict(errors=s.solve(), compressor=[ki.DeltaQ, ki.OutletTemperature, state(g2)],
                cooler=[cli.DeltaQ, ecl.__implementation__.EnergyFlow, state(l2)], valve=[state(l3), vai.DeltaP],
                cs=[flows(l3), flows(c1), flows(c2), csi.EnergyImb, ecs.__implementation__.EnergyFlow, state(c1),
                    state(c2)],
                mixer=state(m3))


def boiling_point_of_water():
    s = Sheet()
    s.setup("Raoult's Law", "Water")
    f, o1, o2 = s.streams("F", "O1", "O2")
    h1, h2 = s.add("Heater"), s.add("Heater")
    s.chain(f, h1, o1, h2, o2)
    s.feed(f, 300, 101325, 1, [1.0])
    for h, vf in ((h1, 0.0), (h2, 1.0)):
        s.configure(h, CalcMode=U.Heater.CalculationMode.OutletVaporFraction, OutletVaporFraction=vf)
    return dict(errors=s.solve(), bubble=state(o1)["T"], dew=state(o2)["T"], latent=h2.GetAsObject().DeltaQ)


def solve_errors():
    s = Sheet()
    s.fs.AddCompound("Water")
    s.fs.AddCompound("Bromine")
    h = s.add("Heater")
    res = dict(no_package=s.solve())
    s.fs.CreateAndAddPropertyPackage("Raoult's Law")
    res["unconnected"] = s.solve()
    o = s.add("MaterialStream", "OUT")
    s.connect(h, o)
    res["open_inlet"] = s.solve()
    f = s.add("MaterialStream", "IN")
    s.connect(f, h)
    for key, F, z in (("no_flow", 0, [1, 0]), ("no_data", 1, [0.5, 0.5]), ("bad_fractions", 1, [0.5, 0.6]),
                      ("ok", 1, [1, 0])):
        s.feed(f, 300, 101325, F, z)
        res[key] = s.solve()
    s.configure(h, DeltaQ=1e9)    # kW on 1 mol/s: no temperature below 3000 K fits
    res["flash_fails"] = s.solve()
    s.configure(h, CalcMode=U.Heater.CalculationMode.OutletVaporFraction, OutletVaporFraction=1.5)
    res["bad_vf"] = s.solve()
    s.configure(h, CalcMode=U.Heater.CalculationMode.HeatAdded, DeltaQ=0.0)
    # a vessel overriding its flash temperature needs an energy stream; one error stops the solve
    v, (v1, v2, f2) = s.add("Vessel"), s.streams("V1", "V2", "IN2")
    s.feed(f2, 300, 101325, 1, [1, 0])
    s.chain(f2, v, v1)
    s.connect(v, v2)
    s.configure(v, OverrideT=True)
    s.connect(s.add("MaterialStream", "IN3"), s.add("Mixer"))
    res["override_and_open_mixer"] = s.solve()
    res["empty_flowsheet"] = s.solve(dwsim().a.CreateFlowsheet())
    res["results_kept"] = state(o)["T"]
    return res
