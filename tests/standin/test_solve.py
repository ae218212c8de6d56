"""Flowsheets built through pythonnet and solved by the stand-in."""
import pytest

from standin_support import run


def close_balance(inflows, outflows, rel=1e-9):
    assert outflows == pytest.approx(inflows, rel=rel, abs=1e-12)


def test_pump_heater_vessel_train():
    r = run("""
setup("NRTL", "Water", "Ethanol")
f, s2, s3, vap, liq = streams("F", "S2", "S3", "VAP", "LIQ")
ep, eh, p, h, v = add("EnergyStream"), add("EnergyStream"), add("Pump"), add("Heater"), add("Vessel")
chain(f, p, s2, h, s3, v, vap); connect(v, liq); connect(ep, p); connect(eh, h)
feed(f, 300, 101325, 10, [0.7, 0.3])
pi = configure(p, CalcMode=U.Pump.CalculationMode.OutletPressure, Pout=300000.0)
hi = configure(h, CalcMode=U.Heater.CalculationMode.OutletVaporFraction, OutletVaporFraction=0.4, DeltaP=50000.0)
out = dict(before=[hi.DeltaQ, state(vap)["vf"], state(s3)["calculated"]], errors=solve())
out.update(s={t: state(o) for t, o in (("F", f), ("S2", s2), ("S3", s3), ("VAP", vap), ("LIQ", liq))},
           flows=[flows(f), [x + y for x, y in zip(flows(vap), flows(liq))]],
           pump=[pi.DeltaQ, pi.DeltaP, pi.DeltaT, ep.__implementation__.EnergyFlow],
           heater=[hi.DeltaQ, hi.OutletTemperature, eh.__implementation__.EnergyFlow, v.GetAsObject().DeltaQ])
report(out)
""")
    assert r["before"] == [None, None, False] and r["errors"] == []
    close_balance(*r["flows"])
    s, (dq, dp, dt, ep), (q, t_out, eh, vessel) = r["s"], r["pump"], r["heater"]
    assert all(x["calculated"] for x in s.values())
    # V dP / eff for ~10 mol/s of a ~25 cm3/mol liquid over 2 bar: about 0.07 kW
    assert ep == dq and 0.03 < dq < 0.15 and dt > 0 and q > 0 and eh == q
    assert [dp, s["S2"]["P"], s["S3"]["P"], s["S3"]["vf"]] == pytest.approx([300000 - 101325, 300000, 250000, 0.4])
    assert t_out == pytest.approx(s["S3"]["T"]) and t_out > s["S2"]["T"]
    # adiabatic flash of a stream already at equilibrium: same state, no duty
    assert vessel == pytest.approx(0, abs=1e-6)
    assert [s["VAP"]["F"], s["LIQ"]["F"], s["VAP"]["vf"], s["LIQ"]["vf"]] == pytest.approx([4.0, 6.0, 1.0, 0.0])
    assert s["VAP"]["z"][1] > 0.3 > s["LIQ"]["z"][1]   # ethanol is the more volatile
    assert s["VAP"]["T"] == s["LIQ"]["T"] == pytest.approx(t_out)


@pytest.mark.parametrize("accelerate", [True, False])
def test_recycle_through_mixer_and_splitter(accelerate):
    r = run(f"""
from DWSIM.GlobalSettings import Settings
Settings.RecycleAcceleration = {accelerate}
setup("Raoult's Law", "Methanol", "Water")
f, m, h, product, rec = streams("FEED", "MIXED", "HOT", "PRODUCT", "RECYCLE")
mx, ht, sp = add("Mixer"), add("Heater"), add("Splitter")
chain(f, mx, m, ht, h, sp, product); chain(sp, rec, mx)
feed(f, 300, 200000, 5, [0.4, 0.6])
hi = configure(ht, CalcMode=U.Heater.CalculationMode.OutletTemperature, OutletTemperature=320.0)
sp.GetAsObject().Ratios[0] = 0.25
errs = solve()
report(dict(errors=errs, mixed=state(m), recycle=state(rec), ratios=[float(x) for x in sp.GetAsObject().Ratios],
            flows=[flows(f), flows(product)], duty=hi.DeltaQ, again=solve(), mixed_again=state(m)["F"]))
""")
    assert r["errors"] == [] and r["again"] == [] and r["ratios"] == pytest.approx([0.25, 0.75, 0.0])
    # 25 % leaves, 75 % goes round: the loop carries feed / 0.25
    assert [r["mixed"]["F"], r["mixed_again"]] == pytest.approx([20.0, 20.0], rel=1e-7)
    close_balance(*r["flows"], rel=1e-7)
    # mixing 5 mol/s at 300 K with 15 mol/s at 320 K
    assert r["recycle"]["T"] == pytest.approx(320.0) and 314 < r["mixed"]["T"] < 316 and r["duty"] > 0


def test_unit_operations_each():
    r = run("""
from DWSIM.UnitOperations.UnitOperations.Auxiliary import ComponentSeparationSpec, SeparationSpec
setup("Peng-Robinson (PR)", "Methane", "Propane", "N-hexane")
g1, g2, l1, l2, l3, c1, c2, m1, m2, m3 = streams("G1", "G2", "L1", "L2", "L3", "C1", "C2", "M1", "M2", "M3")
k, va, cl, cs, mx, ecl, ecs = (add(t) for t in ("Compressor", "Valve", "Cooler", "ComponentSeparator", "Mixer",
                                                 "EnergyStream", "EnergyStream"))
chain(g1, k, g2); chain(l1, cl, l2, va, l3, cs, c1); connect(cs, c2); connect(cl, ecl); connect(cs, ecs)
chain(m1, mx, m3); connect(m2, mx)
feed(g1, 300, 100000, 2, [0.9, 0.1, 0.0]); feed(l1, 400, 3000000, 3, [0.1, 0.3, 0.6])
feed(m1, 300, 300000, 1, [1, 0, 0]); feed(m2, 350, 200000, 1, [0, 1, 0])
ki = configure(k, POut=500000.0)
cli = configure(cl, CalcMode=U.Cooler.CalculationMode.OutletTemperature, OutletTemperature=330.0)
vai = configure(va, CalcMode=U.Valve.CalculationMode.OutletPressure, OutletPressure=500000.0)
csi = cs.GetAsObject()
for comp, kind, value, unit in (("Methane", "PercentInletMolarFlow", 100.0, ""), ("Propane", "PercentInletMassFlow", 50.0, "%"),
                                ("N-hexane", "MolarFlow", 0.18, "mol/s")):
    csi.ComponentSepSpecs[comp] = ComponentSeparationSpec(comp, getattr(SeparationSpec, kind), value, unit)
report(dict(errors=solve(), compressor=[ki.DeltaQ, ki.OutletTemperature, state(g2)],
            cooler=[cli.DeltaQ, ecl.__implementation__.EnergyFlow, state(l2)], valve=[state(l3), vai.DeltaP],
            cs=[flows(l3), flows(c1), flows(c2), csi.EnergyImb, ecs.__implementation__.EnergyFlow, state(c1), state(c2)],
            mixer=state(m3)))
""")
    (power, t_out, g2), (removed, e_flow, before), (after, dp) = r["compressor"], r["cooler"], r["valve"]
    assert r["errors"] == [] and power > 0 and t_out > 400 and removed > 0 and e_flow == removed
    assert [g2["P"], g2["T"], before["T"], after["P"], dp] == pytest.approx([5e5, t_out, 330.0, 5e5, 3e6 - 5e5])
    # isenthalpic: same specific enthalpy, flashing liquid cools
    assert after["h"] == pytest.approx(before["h"], rel=1e-6) and after["T"] < before["T"]
    inlet, o1, o2, imb, e_cs, c1, c2 = r["cs"]
    assert [o1[0], o2[0], o1[1], o1[2]] == pytest.approx([inlet[0], 0, inlet[1] / 2, 0.18], abs=1e-15)
    close_balance(inlet, [a + b for a, b in zip(o1, o2)])
    assert e_cs == imb and c1["T"] == c2["T"] == pytest.approx(after["T"])
    assert r["mixer"]["P"] == pytest.approx(2e5) and r["mixer"]["F"] == pytest.approx(2.0) and 300 < r["mixer"]["T"] < 350


def test_boiling_point_of_water_is_near_373_K():
    r = run("""
setup("Raoult's Law", "Water")
f, o1, o2 = streams("F", "O1", "O2")
h1, h2 = add("Heater"), add("Heater")
chain(f, h1, o1, h2, o2)
feed(f, 300, 101325, 1, [1.0])
for h, vf in ((h1, 0.0), (h2, 1.0)):
    configure(h, CalcMode=U.Heater.CalculationMode.OutletVaporFraction, OutletVaporFraction=vf)
report(dict(errors=solve(), bubble=state(o1)["T"], dew=state(o2)["T"], latent=h2.GetAsObject().DeltaQ))
""")
    assert r["errors"] == [] and r["bubble"] == pytest.approx(373.15, abs=3) and r["dew"] == pytest.approx(r["bubble"], abs=1e-6)
    assert r["latent"] == pytest.approx(40.66, rel=0.02)   # kW to evaporate 1 mol/s of water


def test_solve_errors():
    r = run("""
fs.AddCompound("Water"); fs.AddCompound("Bromine")
h = add("Heater")
res = dict(no_package=solve())
fs.CreateAndAddPropertyPackage("Raoult's Law")
res["unconnected"] = solve()
o = add("MaterialStream", "OUT")
connect(h, o)
res["open_inlet"] = solve()
f = add("MaterialStream", "IN")
connect(f, h)
for key, F, z in (("no_flow", 0, [1, 0]), ("no_data", 1, [0.5, 0.5]), ("bad_fractions", 1, [0.5, 0.6]), ("ok", 1, [1, 0])):
    feed(f, 300, 101325, F, z)
    res[key] = solve()
hi = configure(h, DeltaQ=1e9)    # kW on 1 mol/s: no temperature below 3000 K fits
res["flash_fails"] = solve()
configure(h, CalcMode=U.Heater.CalculationMode.OutletVaporFraction, OutletVaporFraction=1.5)
res["bad_vf"] = solve()
configure(h, CalcMode=U.Heater.CalculationMode.HeatAdded, DeltaQ=0.0)
# a vessel overriding its flash temperature needs an energy stream; one error stops the solve
v, (v1, v2, f2) = add("Vessel"), streams("V1", "V2", "IN2")
feed(f2, 300, 101325, 1, [1, 0])
chain(f2, v, v1); connect(v, v2)
configure(v, OverrideT=True)
connect(add("MaterialStream", "IN3"), add("Mixer"))
res["override_and_open_mixer"] = solve()
res["empty_flowsheet"] = solve(a.CreateFlowsheet())
res["results_kept"] = state(o)["T"]
report(res)
""")
    assert r["no_package"] == r["unconnected"] == r["empty_flowsheet"] == r["ok"] == []
    assert r["open_inlet"] == ["HT-1: Check the connections of the object."]
    for key, start in (("no_flow", "IN: "), ("bad_fractions", "IN: mole fractions"), ("flash_fails", "HT-1: PH flash did not converge")):
        assert len(r[key]) == 1 and r[key][0].startswith(start) and ("no flow" in r[key][0]) == (key == "no_flow")
    assert r["no_data"] == ["IN: no property data for Bromine"]
    assert r["bad_vf"] == ["HT-1: vapour fraction must be between 0 and 1, got 1.5"]
    assert r["override_and_open_mixer"] in (
        ["V-1: The current calculation mode requires an Energy Stream to be connected to the Unit Operation."],
        ["MIX-1: No material stream connected to the outlet of the mixer."])
    assert r["results_kept"] == pytest.approx(300.0)
