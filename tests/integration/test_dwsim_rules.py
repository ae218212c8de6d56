"""The translation as strict as DWSIM, on the stand-in: loops cut by Recycle blocks, compounds
by the first of their CAS number, the host's binary parameters where DWSIM's calculation reads
them, blocks that DWSIM takes in several units, and the Recycle blocks in the written file.
Each scenario runs in a child process (rules_scenarios), where the flowsheets built by hand to
compare with are made through pythonnet as well."""
import math

import pytest

from child import call

# A Recycle of the module stops once its inlet and outlet differ by less than 1e-6 of the feeds'
# mass flow and 1e-3 K; the hand-built ones run to 1e-12 kg/s. A loop amplifies that residual by
# little more than its 1 / (1 - gain), so states agree within 1e-5 of the feed flow and 1e-3 K.
FLOW_TOL = 1e-5
T_TOL = 1e-3


def acyclic(ports, cut):
    """Whether the flowsheet of `ports` has no loop once the streams of `cut` are taken out."""
    made = {s: b for b, (_, outs) in ports.items() for s in outs if s}
    after = {b: {made[s] for s in ins if s in made and s not in cut} for b, (ins, _) in ports.items()}
    done, visiting = set(), set()

    def visit(b):
        if b in visiting:
            return False
        if b in done:
            return True
        visiting.add(b)
        ok = all(visit(a) for a in after[b])
        visiting.discard(b)
        done.add(b)
        return ok
    return all(visit(b) for b in ports)


def balance_gap(streams, ins, outs):
    """Largest difference of a component flow into and out of a block, over the flow in."""
    into = [sum(c) for c in zip(*(streams[s]["flows"] for s in ins))]
    out_of = [sum(c) for c in zip(*(streams[s]["flows"] for s in outs))]
    return max(abs(a - b) for a, b in zip(into, out_of)) / sum(into)


def close(a, b, tol):
    return all(math.isclose(x, y, rel_tol=0, abs_tol=tol) for x, y in zip(a, b, strict=True))


# ---- loops ------------------------------------------------------------------------------------

@pytest.fixture(scope="module")
def nested():
    return call("rules_scenarios:nested_loops", timeout=300)


def test_nested_loops_are_cut_where_the_module_says(nested):
    recycles, ports = nested["recycles"], nested["ports"]
    tears = [outs[0] for _, _, outs in recycles]
    # each Recycle bears its tear stream's name and sits between <tear>-IN and the tear stream
    assert recycles == [[f"REC-{t}", [f"{t}-IN"], [t]] for t in tears]
    # its tear streams cut every loop of the host; one stream lies on both loops (the flash's
    # liquid and what leads to it), so one Recycle is enough
    assert not acyclic(ports, set()) and acyclic(ports, set(tears)) and len(tears) == 1
    # the blocks in another order may cut elsewhere, as well
    other = [outs[0] for _, _, outs in nested["reverse"]]
    assert len(other) == 1 and acyclic(ports, set(other))
    # the same flowsheet built twice: the same tags, classes and connections
    assert nested["graphs"][0] == nested["graphs"][1]
    classes = nested["graphs"][0][0]
    assert sorted(t for t, c in classes.items() if c == "Recycle") == [f"REC-{t}" for t in tears]


def test_nested_loops_solve_as_the_hand_built_flowsheet(nested):
    module, hand, ports = nested["module"], nested["hand"], nested["ports"]
    assert module["errors"] == [] and hand["errors"] == [] and module["notes"] == []
    # the streams read back are the host's, under the host's names, with no Recycle helper
    assert set(module["streams"]) == {s for ins, outs in ports.values() for s in ins + outs}
    feed_flow = sum(nested["feed"]) * 1000.0
    tears = {outs[0] for _, _, outs in nested["recycles"]}
    for name, (ins, outs) in ports.items():
        # exact where no tear stream is at the block; else within the Recycle's residual
        limit = FLOW_TOL if tears & set(ins + outs) else 1e-9
        assert balance_gap(module["streams"], ins, outs) <= limit, name
    assert balance_gap(module["streams"], ["F"], ["V", "OUT"]) <= FLOW_TOL
    for name, by_hand in hand["streams"].items():
        got = module["streams"][name]
        assert abs(got["T"] - by_hand["T"]) <= T_TOL and abs(got["P"] - by_hand["P"]) <= 1e-6, name
        assert close(got["flows"], by_hand["flows"], FLOW_TOL * feed_flow), name
    for name, duty in hand["duties"].items():
        assert math.isclose(module["duties"][name], duty, rel_tol=1e-5), name
    # the loops carry something back: the comparison is not one of empty streams
    assert min(sum(hand["streams"][s]["flows"]) for s in ("R1", "R2")) > 0.2 * feed_flow


@pytest.fixture(scope="module")
def small():
    return call("rules_scenarios:small_loops", 0.25, 0.5, timeout=300)


def test_a_splitter_returning_to_its_mixer(small):
    r = small["two"]
    s = r["streams"]
    assert r["errors"] == [] and r["recycles"] == [["REC-R", ["R-IN"], ["R"]]]
    F = s["F"]["flows"]
    # at steady state the product carries the feed, and a quarter of S goes back: R = F / 3
    assert close(s["P"]["flows"], F, FLOW_TOL * sum(F))
    assert close(s["R"]["flows"], [f * 0.25 / 0.75 for f in F], FLOW_TOL * sum(F))
    assert s["S2"]["T"] == s["R"]["T"] == 330.0 and s["F"]["T"] < s["S"]["T"] < 330.0


def test_a_flash_whose_liquid_is_its_own_feed(small):
    # a still boiling half of what it holds: what leaves as vapour is the feed, and the liquid
    # that goes round is as much as the feed
    r = small["still"]
    s = r["streams"]
    F = s["F"]["flows"]
    assert r["errors"] == [] and r["recycles"] == [["REC-L", ["L-IN"], ["L"]]]
    assert close(s["V"]["flows"], F, FLOW_TOL * sum(F))
    assert abs(sum(s["L"]["flows"]) - sum(F)) <= FLOW_TOL * sum(F)
    assert s["L"]["flows"][0] / sum(s["L"]["flows"]) < F[0] / sum(F)  # methanol boils off first


def test_a_mixer_whose_outlet_is_its_inlet(small):
    # connected straight back, DWSIM refuses the connection; through a Recycle the flowsheet is
    # built, and DWSIM's solve reports that the loop (which only grows) never converges
    assert small["by_hand"] == ["Exception", "This connection is not allowed."]
    r = small["growing"]
    assert r["recycles"] == [["REC-R", ["R-IN"], ["R"]]]
    assert r["errors"] == ["REC-R: Recycle reached the maximum number of iterations without converging."]
    assert sum(r["streams"]["R"]["flows"]) > 10 * sum(r["streams"]["F"]["flows"])


# ---- compounds --------------------------------------------------------------------------------

MYSTERY = {"alias": "MYSTERY", "cas": "", "name": "unobtainium"}
COMPOUND_CASES = [
    # several DWSIM compounds share these CAS numbers; the first of them (ChemSep's) is DWSIM's own
    (["PROPANE", "CO2", "H2S", "N-BUTANE", "WATER"], [], {},
     {"PROPANE": "Propane", "CO2": "Carbon dioxide", "H2S": "Hydrogen sulfide", "N-BUTANE": "N-butane",
      "WATER": "Water"}),
    (["C3"], [], {"C3": "PROPANE"}, {"C3": "Propane"}),
    # no CAS number: found by name (DWSIM's compounds without one included), never by the empty one
    (["W2"], [{"alias": "W2", "cas": "", "name": "water"}], {}, {"W2": "Water"}),
    (["TP"], [{"alias": "TP", "cas": "", "name": "TRIPALMITIN (PPP)"}], {}, {"TP": "TriPalmitin (PPP)"}),
    (["MYSTERY", "WATER", "NOCAS"], [MYSTERY, {"alias": "NOCAS", "name": "nothing"}], {},
     "DWSIM has no compound for MYSTERY (MYSTERY), NOCAS (NOCAS)"),
]


@pytest.fixture(scope="module")
def compounds():
    return call("rules_scenarios:compound_choices", [case[:3] for case in COMPOUND_CASES])


@pytest.mark.parametrize("k", range(len(COMPOUND_CASES)), ids=[c[0][0] for c in COMPOUND_CASES])
def test_compounds(compounds, k):
    components, _, _, expected = COMPOUND_CASES[k]
    got = compounds[k]
    if isinstance(expected, str):
        assert got == {"error": expected}
    else:
        assert got == {"names": expected, "selected": [expected[c] for c in components]}


# ---- binary parameters ------------------------------------------------------------------------

@pytest.mark.parametrize("components, values, names, lower", [
    # 50 % methane in CO2 at 40 bar. A larger kij weakens the methane-CO2 attraction: the mixture
    # deviates more positively from an ideal solution, its liquid holds less well together, and
    # the vapour starts to condense at a lower temperature. 0 gives the host nothing to transfer,
    # so DWSIM's own 0.0793 stays.
    (["METHANE", "CO2"], [0.0, 0.3], ["Methane", "Carbon dioxide"], True),
    # 10 % ethanol in methane at 40 bar: DWSIM has no such pair. A kij weakens the attraction by
    # which the methane-rich vapour holds the ethanol (its fugacity coefficient there rises), so
    # ethanol condenses at a higher temperature.
    (["METHANE", "ETHANOL"], [0.0, 0.2], ["Methane", "Ethanol"], False),
], ids=["methane-co2", "methane-ethanol"])
def test_a_host_kij_shifts_the_dew_point(components, values, names, lower):
    z = [0.5, 0.5] if lower else [0.9, 0.1]
    r = call("rules_scenarios:dew_points", components, "PENG-ROB", z, 40e5, values, names)
    assert r["errors"] == []
    without, with_kij = r["module"]
    assert abs(with_kij - r["hand"][1]) <= 1e-6   # DWSIM calculates with the host's value
    assert (with_kij < without - 0.5) if lower else (with_kij > without + 0.5)


KIJ_CASES = [
    # [components, method, host kij, DWSIM's names]; DWSIM holds the first two pairs both ways
    (["CO2", "H2S"], "PENG-ROB", 0.25, ["Carbon dioxide", "Hydrogen sulfide"], "both"),
    (["WATER", "H2S"], "PENG-ROB", 0.25, ["Hydrogen sulfide", "Water"], "both"),
    (["WATER", "H2S"], "RK-SOAVE", 0.25, ["Water", "Hydrogen sulfide"], "made"),
    (["METHANE", "ETHANOL"], "PENG-ROB", -0.05, ["Methane", "Ethanol"], "made"),
]
NRTL_HOST = [[[0, 0.1], [0.2, 0]], [[0, 100.0], [-50.0, 0]], [[0, 0.3], [0.3, 0]], [[0, 0.01], [0, 0]],
             [[0, 0], [0, 0]], [[0, 0.001], [0, 0]]]  # A, B, C (alpha), D, E, F
NRTL_PLAIN = [NRTL_HOST[k] if k < 3 else [[0, 0], [0, 0]] for k in range(6)]  # no D, E, F
NRTL_CASES = [
    (["ACETONE", "METHANOL"], "NRTL", NRTL_HOST, ["Acetone", "Methanol"]),   # DWSIM holds both orders
    (["WATER", "BENZENE"], "NRTL", NRTL_PLAIN, ["Water", "Benzene"]),        # DWSIM holds neither
    (["ACETONE", "METHANOL"], "WILSON", NRTL_HOST, ["Acetone", "Methanol"]),
]


@pytest.fixture(scope="module")
def records():
    return call("rules_scenarios:parameter_records", [c[:4] for c in KIJ_CASES], NRTL_CASES)


@pytest.mark.parametrize("k", range(len(KIJ_CASES)), ids=[f"{c[1]}-{'/'.join(c[0])}" for c in KIJ_CASES])
def test_kij_records_after_build(records, k):
    _, _, value, _, where = KIJ_CASES[k]
    r = records["kij"][k]
    assert r["notes"] == [] and r["dirty"]
    if where == "both":
        # DWSIM reads each order for its own row: both hold the host's value
        assert None not in r["own"] and value not in r["own"] and r["host"] == [value, value]
    else:
        # a pair DWSIM lacks gets one record, in the host's order of the components
        assert r["own"] == [None, None] and r["host"] == [value, None]


def dwsim_records(host):
    """DWSIM's NRTL record of the pair in both orders from the host's matrices: tau =
    (A12 + B12 T + C12 T^2) / (R T) from A + B/T + F T, each record in its own orientation."""
    R = 1.98721
    A, B, C, _, _, F = host
    forward = [B[0][1] * R, B[1][0] * R, A[0][1] * R, A[1][0] * R, F[0][1] * R, F[1][0] * R, C[0][1]]
    backward = [B[1][0] * R, B[0][1] * R, A[1][0] * R, A[0][1] * R, F[1][0] * R, F[0][1] * R, C[1][0]]
    return forward, backward


def test_nrtl_records_after_build(records):
    both, made, wilson = records["nrtl"]
    forward, backward = dwsim_records(NRTL_HOST)
    assert close(both["records"][0], forward, 1e-12) and close(both["records"][1], backward, 1e-12)
    assert both["notes"] == ["DWSIM NRTL ACETONE-METHANOL: the D, E elements (alpha(T), ln T) are left out"]
    # a pair DWSIM lacks gets one record, in the host's order
    assert close(made["records"][0], dwsim_records(NRTL_PLAIN)[0], 1e-12) and made["records"][1] is None
    assert made["notes"] == []
    assert wilson == {"records": None, "notes": [
        "property method WILSON: Kelvane's binary parameters are not transferred (DWSIM uses its own)"]}


def test_the_host_nrtl_pair_changes_the_flash():
    # 30 % ethanol in water at 361 K and 1 atm; the host's pair is DWSIM's own with tau scaled.
    # Larger taus make both activity coefficients larger (a stronger positive deviation from
    # Raoult's law), so at the same T and P more of the mixture boils.
    r = call("rules_scenarios:ethanol_water_flash", [0.5, 1.0, 1.5], 361.0, 101325.0, [0.3, 0.7])
    assert r["errors"] == []
    half, same, more = r["module"]
    assert abs(same["vf"] - r["hand"]["vf"]) <= 1e-6 and close(same["y"], r["hand"]["y"], 1e-6)
    assert 0.05 < half["vf"] < same["vf"] - 0.05 and same["vf"] + 0.05 < more["vf"] < 0.95


# ---- blocks in several DWSIM units -----------------------------------------------------------

@pytest.fixture(scope="module")
def ports():
    return call("rules_scenarios:many_ports", timeout=300)


def test_blocks_in_several_units_balance(ports):
    s = ports["streams"]
    assert ports["errors"] == [] and "HX: HEATER with 2 outlets (DWSIM: one)" in ports["notes"]
    feeds = [f for f in ports["feeds"]]
    three, eight = [f for f in feeds if f.startswith("A")], [f for f in feeds if f.startswith("B")]
    outlets = [f"C{k}" for k in range(1, 6)]
    for ins, outs in ((three, ["V", "L"]), (eight, ["MOUT"]), (["C"], outlets), (["D"], ["DOUT"])):
        assert balance_gap(s, ins, outs) <= 1e-9, ins
    # the five outlets take their fractions, the last the rest
    splits = ports["splits"]
    for out, frac in zip(outlets, splits + [1 - sum(splits)], strict=True):
        assert close(s[out]["flows"], [frac * f for f in s["C"]["flows"]], 1e-12), out
    # eight inlets mixed adiabatically at the lowest of their pressures
    assert s["MOUT"]["P"] == min(ports["feed_P"][f] for f in eight)
    assert min(ports["feed_T"][f] for f in eight) < s["MOUT"]["T"] < max(ports["feed_T"][f] for f in eight)
    h = ports["enthalpy"]
    assert math.isclose(sum(h[f] for f in eight), h["MOUT"], rel_tol=1e-6, abs_tol=1e-9)


def test_three_feeds_flash_as_their_total(ports):
    s, hand = ports["streams"], ports["hand"]
    V, L = sum(s["V"]["flows"]), sum(s["L"]["flows"])
    assert 0.01 < hand["vf"] < 0.99
    assert abs(V / (V + L) - hand["vf"]) <= 1e-6
    assert close([f / V for f in s["V"]["flows"]], hand["y"], 1e-6)
    assert close([f / L for f in s["L"]["flows"]], hand["x"], 1e-6)
    assert s["V"]["P"] == s["L"]["P"] == 1e5 and s["V"]["T"] == pytest.approx(355.0, abs=1e-9)


def test_an_outlet_left_open_carries_nothing(ports):
    # DWSIM holds only its placeholder state there: it is no result, and the notes say so
    assert "DX" not in ports["streams"]
    assert any(n.startswith("nothing feeds DX ") for n in ports["notes"])


# ---- files ------------------------------------------------------------------------------------

def test_export_keeps_the_recycle_blocks(tmp_path):
    r = call("rules_scenarios:export_loops", str(tmp_path), timeout=300)
    assert r["notes"] == [] and r["errors"] == []
    for saved in (r["exported"], r["solved"]):
        [(tag, ins, outs)] = saved["recycles"]
        tear = outs[0]
        assert (tag, ins, outs) == (f"REC-{tear}", [f"{tear}-IN"], [tear])
        assert acyclic(r["ports"], {tear}) and f"{tear}-IN" in saved["tags"]
    # written in place, with nothing left beside
    assert r["left"] == ["loops.dwxmz", "solved.dwxmz"]
    # DWSIM opens the exported file with the Recycle's tolerances and solves it to the same streams
    assert r["loaded_errors"] == []
    [(tag, (mass, kelvin, passes))] = r["tolerances"].items()
    assert tag == r["exported"]["recycles"][0][0] and (kelvin, passes) == (1e-3, 500)
    assert math.isclose(mass, 1e-6 * r["feed_mass"], rel_tol=1e-6)
    feed_flow = sum(r["module"]["F"]["flows"])
    for name, got in r["loaded"].items():
        assert abs(got["T"] - r["module"][name]["T"]) <= T_TOL, name
        assert close(got["flows"], r["module"][name]["flows"], FLOW_TOL * feed_flow), name


def test_unknown_extensions_are_refused_before_the_build(tmp_path):
    names = ["model.txt", "model", "model.xml", "model.dwxmz.bak"]
    r = call("rules_scenarios:refused_targets", str(tmp_path), names + ["model.dwxmz"])
    for name in names:
        message = (f"cannot write {str(tmp_path / name)!r}: DWSIM writes files ending in .dwxmz or .dwxml, "
                   "and nothing else")
        assert r["raised"][name] == [["ValueError", message]] * 2, name
    # a good name gets as far as the build, which meets the compound DWSIM lacks
    lacking = "DWSIM has no compound for DICHLOROMETHANE (DICHLOROMETHANE)"
    assert r["raised"]["model.dwxmz"] == [["ValueError", lacking]] * 2
    assert r["left"] == []
