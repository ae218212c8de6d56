"""Flowsheets built through pythonnet and solved by the stand-in."""
import pytest

from conftest import FLOWSHEET_HELPERS, run


def close_balance(inflows, outflows, rel=1e-9):
    for i, (a, b) in enumerate(zip(inflows, outflows)):
        assert b == pytest.approx(a, rel=rel, abs=1e-12), f"component {i}"


@pytest.fixture(scope="module")
def train():
    """feed -> pump -> heater -> vessel, water/ethanol, with energy streams."""
    return run(FLOWSHEET_HELPERS + """
fs.AddCompound("Water"); fs.AddCompound("Ethanol")
fs.CreateAndAddPropertyPackage("NRTL")
f, s2, s3, vap, liq = (add("MaterialStream", t) for t in ("F", "S2", "S3", "VAP", "LIQ"))
ep, eh = add("EnergyStream", "EP"), add("EnergyStream", "EH")
p, h, v = add("Pump"), add("Heater"), add("Vessel")
connect(f, p); connect(p, s2); connect(ep, p)
connect(s2, h); connect(h, s3); connect(eh, h)
connect(s3, v); connect(v, vap); connect(v, liq)
feed(f, 300, 101325, 10, [0.7, 0.3])
pi, hi, vi = p.GetAsObject(), h.GetAsObject(), v.GetAsObject()
pi.CalcMode = U.Pump.CalculationMode.OutletPressure; pi.Pout = 300000.0
hi.CalcMode = U.Heater.CalculationMode.OutletVaporFraction; hi.OutletVaporFraction = 0.4
hi.DeltaP = 50000.0
out = dict(before=[hi.DeltaQ, state(vap)["vf"], state(s3)["calculated"]])
out["errors"] = solve()
out["streams"] = {t: state(o) for t, o in (("F", f), ("S2", s2), ("S3", s3), ("VAP", vap), ("LIQ", liq))}
out["flows"] = {t: flows(o) for t, o in (("F", f), ("VAP", vap), ("LIQ", liq))}
out["pump"] = [pi.DeltaQ, pi.DeltaP, pi.DeltaT, ep.__implementation__.EnergyFlow]
out["heater"] = [hi.DeltaQ, hi.OutletTemperature, hi.OutletVaporFraction, eh.__implementation__.EnergyFlow]
out["vessel"] = vi.DeltaQ
# A pure compound boils at one temperature: bubble and dew point of water at 1 atm.
g = a.CreateFlowsheet()
report(out)
""")


def test_train_solves_and_conserves(train):
    assert train["before"] == [None, None, False]
    assert train["errors"] == []
    close_balance(train["flows"]["F"], [v + l for v, l in zip(train["flows"]["VAP"], train["flows"]["LIQ"])])
    assert all(s["calculated"] for s in train["streams"].values())


def test_pump_heater_vessel_results(train):
    s = train["streams"]
    dq, dp, dt, ep = train["pump"]
    assert dq > 0 and ep == dq
    assert dp == pytest.approx(300000 - 101325) and s["S2"]["P"] == pytest.approx(300000)
    # V dP / eff for ~10 mol/s of a ~25 cm3/mol liquid over 2 bar: about 0.07 kW
    assert 0.03 < dq < 0.15 and dt > 0
    q, t_out, vf, eh = train["heater"]
    assert q > 0 and eh == q and vf == pytest.approx(0.4)
    assert s["S3"]["P"] == pytest.approx(250000) and s["S3"]["vf"] == pytest.approx(0.4)
    assert t_out == pytest.approx(s["S3"]["T"]) and t_out > s["S2"]["T"]
    # adiabatic flash of a stream already at equilibrium: same state, no duty
    assert train["vessel"] == pytest.approx(0, abs=1e-6)
    assert s["VAP"]["F"] == pytest.approx(4.0) and s["LIQ"]["F"] == pytest.approx(6.0)
    assert s["VAP"]["vf"] == 1.0 and s["LIQ"]["vf"] == 0.0
    # ethanol is the more volatile: enriched in the vapour
    assert s["VAP"]["z"][1] > 0.3 > s["LIQ"]["z"][1]
    assert s["VAP"]["T"] == s["LIQ"]["T"] == pytest.approx(t_out)


@pytest.mark.parametrize("accelerate", [True, False])
def test_recycle_through_mixer_and_splitter(accelerate):
    r = run(FLOWSHEET_HELPERS + f"""
from DWSIM.GlobalSettings import Settings
Settings.RecycleAcceleration = {accelerate}
fs.AddCompound("Methanol"); fs.AddCompound("Water")
fs.CreateAndAddPropertyPackage("Raoult's Law")
f, m, h, out_, rec = (add("MaterialStream", t) for t in ("FEED", "MIXED", "HOT", "PRODUCT", "RECYCLE"))
mx, ht, sp = add("Mixer"), add("Heater"), add("Splitter")
connect(f, mx); connect(mx, m); connect(m, ht); connect(ht, h); connect(h, sp)
connect(sp, out_); connect(sp, rec); connect(rec, mx)
feed(f, 300, 200000, 5, [0.4, 0.6])
hi = ht.GetAsObject()
hi.CalcMode = U.Heater.CalculationMode.OutletTemperature; hi.OutletTemperature = 320.0
si = sp.GetAsObject()
si.Ratios[0] = 0.25
errs = solve()
res = dict(errors=errs, mixed=state(m), product=state(out_), recycle=state(rec),
           ratios=[float(x) for x in si.Ratios], feed=flows(f), prod_flows=flows(out_), duty=hi.DeltaQ)
res["again"] = solve()
res["mixed_again"] = state(m)["F"]
report(res)
""")
    assert r["errors"] == [] and r["again"] == []
    # 25 % leaves, 75 % goes round: the loop carries feed / 0.25
    assert r["mixed"]["F"] == pytest.approx(20.0, rel=1e-7)
    assert r["mixed_again"] == pytest.approx(20.0, rel=1e-7)
    assert r["ratios"] == pytest.approx([0.25, 0.75, 0.0])
    close_balance(r["feed"], r["prod_flows"], rel=1e-7)
    # mixing 5 mol/s at 300 K with 15 mol/s at 320 K
    assert r["recycle"]["T"] == pytest.approx(320.0) and 314 < r["mixed"]["T"] < 316
    assert r["duty"] > 0


def test_unit_operations_each():
    r = run(FLOWSHEET_HELPERS + """
fs.AddCompound("Methane"); fs.AddCompound("Propane"); fs.AddCompound("N-hexane")
fs.CreateAndAddPropertyPackage("Peng-Robinson (PR)")
res = {}
# gas compressor
g1, g2 = add("MaterialStream", "G1"), add("MaterialStream", "G2")
k = add("Compressor"); connect(g1, k); connect(k, g2)
feed(g1, 300, 100000, 2, [0.9, 0.1, 0.0])
ki = k.GetAsObject(); ki.POut = 500000.0
# valve on a liquid, cooler, component separator
l1, l2, l3, c1, c2 = (add("MaterialStream", t) for t in ("L1", "L2", "L3", "C1", "C2"))
va, cl, cs = add("Valve"), add("Cooler"), add("ComponentSeparator")
ecl, ecs = add("EnergyStream"), add("EnergyStream")
connect(l1, cl); connect(cl, l2); connect(cl, ecl)
connect(l2, va); connect(va, l3)
connect(l3, cs); connect(cs, c1); connect(cs, c2); connect(cs, ecs)
feed(l1, 400, 3000000, 3, [0.1, 0.3, 0.6])
cli = cl.GetAsObject(); cli.CalcMode = U.Cooler.CalculationMode.OutletTemperature; cli.OutletTemperature = 330.0
vai = va.GetAsObject(); vai.CalcMode = U.Valve.CalculationMode.OutletPressure; vai.OutletPressure = 500000.0
csi = cs.GetAsObject()
from DWSIM.UnitOperations.UnitOperations.Auxiliary import ComponentSeparationSpec, SeparationSpec
csi.ComponentSepSpecs["Methane"] = ComponentSeparationSpec("Methane", SeparationSpec.PercentInletMolarFlow, 100.0, "")
csi.ComponentSepSpecs["Propane"] = ComponentSeparationSpec("Propane", SeparationSpec.PercentInletMassFlow, 50.0, "%")
csi.ComponentSepSpecs["N-hexane"] = ComponentSeparationSpec("N-hexane", SeparationSpec.MolarFlow, 0.18, "mol/s")
# mixer pressure: lowest inlet
m1, m2, m3 = add("MaterialStream", "M1"), add("MaterialStream", "M2"), add("MaterialStream", "M3")
mx = add("Mixer"); connect(m1, mx); connect(m2, mx); connect(mx, m3)
feed(m1, 300, 300000, 1, [1, 0, 0]); feed(m2, 350, 200000, 1, [0, 1, 0])
res["errors"] = solve()
res["compressor"] = [ki.DeltaQ, ki.OutletTemperature, state(g2)]
res["cooler"] = [cli.DeltaQ, ecl.__implementation__.EnergyFlow, state(l2)]
res["valve"] = [state(l2), state(l3), vai.DeltaP]
res["cs"] = [flows(l3), flows(c1), flows(c2), csi.EnergyImb, ecs.__implementation__.EnergyFlow, state(c1), state(c2)]
res["mixer"] = state(m3)
report(res)
""")
    assert r["errors"] == []
    power, t_out, g2 = r["compressor"]
    assert power > 0 and t_out > 400 and g2["P"] == pytest.approx(5e5) and g2["T"] == pytest.approx(t_out)
    removed, e_flow, l2 = r["cooler"]
    assert removed > 0 and e_flow == removed and l2["T"] == pytest.approx(330.0)
    before, after, dp = r["valve"]
    assert after["P"] == pytest.approx(5e5) and dp == pytest.approx(3e6 - 5e5)
    # isenthalpic: same specific enthalpy, flashing liquid cools
    assert after["h"] == pytest.approx(before["h"], rel=1e-6) and after["T"] < before["T"]
    inlet, o1, o2, imb, e_cs, c1, c2 = r["cs"]
    assert o1[0] == pytest.approx(inlet[0]) and o2[0] == pytest.approx(0, abs=1e-15)
    assert o1[1] == pytest.approx(inlet[1] / 2) and o1[2] == pytest.approx(0.18)
    close_balance(inlet, [a + b for a, b in zip(o1, o2)])
    assert e_cs == imb and c1["T"] == c2["T"] == pytest.approx(after["T"])
    assert r["mixer"]["P"] == pytest.approx(2e5) and r["mixer"]["F"] == pytest.approx(2.0)
    assert 300 < r["mixer"]["T"] < 350


def test_boiling_point_of_water_is_near_373_K():
    r = run(FLOWSHEET_HELPERS + """
fs.AddCompound("Water")
fs.CreateAndAddPropertyPackage("Raoult's Law")
f, o1, o2 = add("MaterialStream"), add("MaterialStream"), add("MaterialStream")
h1, h2 = add("Heater"), add("Heater")
connect(f, h1); connect(h1, o1); connect(o1, h2); connect(h2, o2)
feed(f, 300, 101325, 1, [1.0])
for h, vf in ((h1, 0.0), (h2, 1.0)):
    hi = h.GetAsObject(); hi.CalcMode = U.Heater.CalculationMode.OutletVaporFraction; hi.OutletVaporFraction = vf
errs = solve()
report(dict(errors=errs, bubble=state(o1)["T"], dew=state(o2)["T"], latent=h2.GetAsObject().DeltaQ))
""")
    assert r["errors"] == []
    assert r["bubble"] == pytest.approx(373.15, abs=3) and r["dew"] == pytest.approx(r["bubble"], abs=1e-6)
    # 1 mol/s of water: about 40.7 kW to evaporate at the boiling point
    assert r["latent"] == pytest.approx(40.66, rel=0.02)


def test_solve_errors():
    r = run(FLOWSHEET_HELPERS + """
res = {}
fs.AddCompound("Water"); fs.AddCompound("Bromine")
h = add("Heater")
res["no_package"] = solve()
fs.CreateAndAddPropertyPackage("Raoult's Law")
res["unconnected"] = solve()
o = add("MaterialStream", "OUT")
connect(h, o)
res["open_inlet"] = solve()
f = add("MaterialStream", "IN")
connect(f, h)
feed(f, 300, 101325, 0, [1, 0])
res["no_flow"] = solve()
feed(f, 300, 101325, 1, [0.5, 0.5])
res["no_data"] = solve()
feed(f, 300, 101325, 1, [0.5, 0.6])
res["bad_fractions"] = solve()
feed(f, 300, 101325, 1, [1, 0])
res["ok"] = solve()
hi = h.GetAsObject()
hi.DeltaQ = 1e9                      # kW on 1 mol/s: no temperature below 3000 K fits
res["flash_fails"] = solve()
hi.CalcMode = U.Heater.CalculationMode.OutletVaporFraction; hi.OutletVaporFraction = 1.5
res["bad_vf"] = solve()
hi.CalcMode = U.Heater.CalculationMode.HeatAdded; hi.DeltaQ = 0.0
# a vessel overriding its flash temperature needs an energy stream; one error stops the solve
v, v1, v2 = add("Vessel"), add("MaterialStream", "V1"), add("MaterialStream", "V2")
f2 = add("MaterialStream", "IN2"); feed(f2, 300, 101325, 1, [1, 0])
connect(f2, v); connect(v, v1); connect(v, v2)
v.GetAsObject().OverrideT = True
m = add("Mixer"); connect(add("MaterialStream", "IN3"), m)
res["override_and_open_mixer"] = solve()
res["empty_flowsheet"] = [e.Message for e in a.CalculateFlowsheet4(a.CreateFlowsheet())]
res["results_kept"] = state(o)["T"]
report(res)
""")
    assert r["no_package"] == [] and r["unconnected"] == [] and r["empty_flowsheet"] == []
    assert r["open_inlet"] == ["HT-1: Check the connections of the object."]
    assert len(r["no_flow"]) == 1 and r["no_flow"][0].startswith("IN: ") and "no flow" in r["no_flow"][0]
    assert r["no_data"] == ["IN: no property data for Bromine"]
    assert len(r["bad_fractions"]) == 1 and r["bad_fractions"][0].startswith("IN: mole fractions")
    assert r["ok"] == []
    assert len(r["flash_fails"]) == 1 and r["flash_fails"][0].startswith("HT-1: PH flash did not converge")
    assert r["bad_vf"] == ["HT-1: vapour fraction must be between 0 and 1, got 1.5"]
    assert len(r["override_and_open_mixer"]) == 1
    assert r["override_and_open_mixer"][0] in (
        "V-1: The current calculation mode requires an Energy Stream to be connected to the Unit Operation.",
        "MIX-1: No material stream connected to the outlet of the mixer.")
    assert r["results_kept"] == pytest.approx(300.0)
