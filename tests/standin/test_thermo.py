"""The stand-in's property packages: DWSIM's parameter tables, what the parameters do to the
answers, and units of DWSIM's own sample files recalculated alone."""
import pytest

from child import SHARED, call

PARAMS = SHARED / "dwsim" / "parameters"


def tsv(name):
    with open(PARAMS / name, encoding="utf-8") as f:
        rows = [line.rstrip("\n").split("\t") for line in f][1:]
    return [r[:2] + [float(v) for v in r[2:]] for r in rows if r != [""]]


@pytest.fixture(scope="module")
def tables():
    return call("thermo_scenarios:tables")


@pytest.mark.parametrize("key, name", [("nrtl", "nrtl.tsv"), ("pr", "pr_kij.tsv"), ("srk", "srk_kij.tsv"),
                                       ("nrtl_pr", "pr_kij.tsv")])
def test_tables_read_back_equal_dwsim_row_for_row(tables, key, name):
    if not PARAMS.exists():
        pytest.skip("no shared DWSIM parameter tables")
    assert tables[key] == tsv(name)


def test_each_package_instance_has_its_own_records(tables):
    # the second instance's changes (a value, a removed entry) reach neither the first nor the template
    assert tables["after_change"] == [-57.9601, 0.0793, -57.9601, False]
    assert tables["distinct_records"] == [True, True]
    assert tables["ethanol_water_record"] == ["1102", "1921", ""]   # the ids DWSIM writes for this pair


def test_nrtl_estimates_missing_pairs_when_a_stream_is_set():
    r = call("thermo_scenarios:estimation_on_stream_set", True)
    assert r["errors"] == [] and r["before"] == [False, 894]
    # Glucose gains an outer key; 9 pairs absent both ways are added, Ethanol/Water stays as it was
    assert r["after"] == [True, 903]
    pairs = r["pairs"]
    assert pairs.pop("Water/Ethanol") == ["Ethanol", "Water", -57.9601, 1241.7396, 0.2937, "1102"]
    for key, (a, b, a12, a21, alpha, id1) in pairs.items():
        assert f"{a}/{b}" == key and id1 == ""
        light = "Carbon dioxide" in key or "Methane" in key      # normal boiling point below 200 K
        assert [a12, a21, alpha] == ([0.01, 0.01, 0.2] if light else [1e-10, 1e-10, 1e-10])


@pytest.mark.parametrize("auto, ignore, expected", [
    (True, False, []),
    (False, False, ["F: NRTL error: missing interaction parameters for binary pair Methanol/Glucose."]),
    (False, True, []),
])
def test_nrtl_missing_pair_check_follows_the_flags(auto, ignore, expected):
    assert call("thermo_scenarios:missing_pair_error", auto, ignore) == expected
    if not auto and not ignore:
        assert call("thermo_scenarios:estimation_on_stream_set", False)["errors"] == [
            "F: NRTL error: missing interaction parameters for binary pair Water/Glucose."]


@pytest.mark.parametrize("package, pair", [("Peng-Robinson (PR)", ["Methane", "Carbon dioxide"]),
                                           ("Soave-Redlich-Kwong (SRK)", ["Methane", "Propane"])])
def test_a_larger_kij_lowers_the_dew_point(package, pair):
    r = call("thermo_scenarios:kij_shifts_dew_point", package, pair, [0.0, 0.08, 0.2])
    assert [x["errors"] for x in r] == [[]] * 3
    t = [x["T"] for x in r]
    assert t[0] > t[1] + 0.3 > t[2] + 0.6 and 200 < t[2] < 330
    assert all(y == pytest.approx(z, abs=1e-9) for y, z in zip(r[0]["y"], [0.5, 0.5]))   # dew: vapour is the feed


def test_both_order_pr_pair_uses_each_record_for_its_own_row():
    # [CO2][H2S] = 0.0978 and [H2S][CO2] = 0.1 in DWSIM's table; each record is changed alone
    default, row_h2s, row_co2, symmetric = call("thermo_scenarios:both_order_rows",
                                                [[None, None], [None, 0.15], [0.15, None], [0.0989, 0.0989]])
    assert [x["errors"] for x in (default, row_h2s, row_co2, symmetric)] == [[]] * 4
    t = default["T"]
    # changing the reversed record alone moves the answer, so that row reads it
    assert abs(row_h2s["T"] - t) > 0.05 and abs(row_co2["T"] - t) > 0.05
    # a_m uses both records alike, but each fugacity row reads its own: the same value in the
    # other record gives another answer, and so does the symmetric mean of the table's pair
    assert row_h2s["T"] != pytest.approx(row_co2["T"], abs=0.01)
    assert symmetric["T"] != pytest.approx(t, abs=0.05)


def test_kij_cache_ignores_a_change_until_parameters_are_dirty():
    r = call("thermo_scenarios:kij_cache")
    first, changed, flagged, again = r["T"]
    assert r["errors"] == [] and r["dirty"] == [False] * 4
    assert changed == first and flagged < first - 0.5 and again == flagged


def test_changing_the_nrtl_ethanol_water_pair_changes_a_flash():
    table = call("thermo_scenarios:nrtl_pair_changes_flash", None, None, None)
    ideal = call("thermo_scenarios:nrtl_pair_changes_flash", 0.0, 0.0, 0.3)
    assert table["errors"] == ideal["errors"] == []
    # ethanol/water deviates positively: with the pair the mixture boils below 355 K, without it not
    assert 0.02 < table["vf"] < 0.5 and table["y"][0] > 0.5 and ideal["vf"] == 0


def test_ethanol_water_azeotrope_at_one_atmosphere():
    r = call("thermo_scenarios:ethanol_water_azeotrope")
    # measured: 351.3 K at x = 0.894; DWSIM's pair with ChemSep's vapour pressures puts it at
    # about 351.5 K and x = 0.87
    assert r["T"] == pytest.approx(351.3, abs=0.5) and r["x"] == pytest.approx(0.89, abs=0.03)
    ts = [c[1] for c in r["curve"]]
    assert ts == sorted(ts, reverse=True) and all(t > r["T"] for t in ts)   # a minimum-boiling azeotrope
    assert all(y > x for x, _, y in r["curve"])


SAMPLES = sorted((SHARED / "dwsim" / "samples").glob("*.dwxmz"))


@pytest.fixture(scope="module")
def sample_rows():
    if not SAMPLES:
        pytest.skip("no shared DWSIM samples")
    return [row for path in SAMPLES for row in call("thermo_scenarios:rebuild_sample_units", str(path), timeout=300)]


def test_sample_units_match_dwsim_results(sample_rows):
    """Every Heater, Cooler, Compressor and Valve of DWSIM's sample files, rebuilt alone with
    the stored inlet, specification and package: outlet T within 1 K, vapour fraction within
    0.02, duty within 2 % of what DWSIM stored."""
    assert {r["cls"] for r in sample_rows} == {"Heater", "Cooler", "Compressor", "Valve"} and len(sample_rows) >= 10
    table = []
    for r in sample_rows:
        (t0, vf0, q0), (t1, vf1, q1) = r["stored"], r["standin"]
        table.append(f"{r['file']:40s} {r['unit']:5s} T {t0:9.3f} {t1:9.3f}  VF {vf0:.4f} {vf1:.4f}  "
                     f"Q {q0 if q0 is None else round(q0, 3)} {q1 if q1 is None else round(q1, 3)}")
        assert r["errors"] == [], r
        assert t1 == pytest.approx(t0, abs=1.0), r
        assert vf1 == pytest.approx(vf0, abs=0.02), r
        if q0 is not None:
            assert q1 == pytest.approx(q0, rel=0.02), r
    print("\n".join(table))


@pytest.mark.parametrize("package, T", [("Raoult's Law", 358.0), ("Peng-Robinson (PR)", 352.0)])
def test_a_drum_vapour_carries_its_own_entropy_to_a_compressor(package, T):
    # the vapour leaving a flash drum must compress exactly like a feed in the same state
    r = call("thermo_scenarios:compressor_after_drum", package, T)
    assert r["errors"] == [] and 0 < r["vap"]["F"] < 10 and r["vap"]["vf"] == 1
    assert r["drum"] == pytest.approx(r["feed"], rel=1e-6) and r["drum"][0] > r["vap"]["T"] + 20 and r["drum"][1] > 0


def test_coolprop_names_calculate_with_their_chemsep_twins():
    r = call("thermo_scenarios:cas_twins")
    for chemsep, coolprop in r["constants"]:
        assert coolprop[:4] == chemsep[:4] and coolprop[4] != chemsep[4] and coolprop[5] == chemsep[5]
    assert r["bubble"][0] == r["bubble"][1] and 270 < r["bubble"][0] < 280   # propane boils near 274 K at 5 bar


def test_loading_lays_saved_pairs_over_the_fresh_tables(tmp_path):
    r = call("thermo_scenarios:load_overlays", str(tmp_path))
    # PR: Glucose is no outer key of the fresh table but Water is: the pair lands in [Water][Glucose]
    assert r["Peng-Robinson (PR)"] == [False, 0.3, False, 341]
    # SRK adds the slot as written
    assert r["Soave-Redlich-Kwong (SRK)"] == [True, False, 0.3, 109]
    # NRTL: the saved pair replaces its slot, the rest of the table stays DWSIM's
    a12, a21, rows = r["NRTL"]
    assert [a12, a21] == [123.0, 1241.7396] and rows >= 894
