"""Binary parameters of the host into a DWSIM package: NRTL with its change of
form, and the constant kij of the cubic equations of state."""
from types import SimpleNamespace as NS

import numpy as np
import pytest

from dwsim_fakes import InnerTable, NrtlRecord, cubic_package, host, nrtl_package  # noqa: F401

R = 1.98721
NAMES = {"W": "Water", "E": "Ethanol", "M": "Methanol"}
NRTL_WARNINGS = {
    "DE": "DWSIM NRTL %s-%s: the D, E elements (alpha(T), ln T) are left out",
    "none": "DWSIM NRTL %s-%s: no parameters (DWSIM has none to start from)",
}


def nrtl(n=2, **cells):
    """Six n x n matrices; cells are given as {"A": {(i, j): value}}."""
    m = np.zeros((6, n, n))
    for letter, values in cells.items():
        for (i, j), v in values.items():
            m["ABCDEF".index(letter), i, j] = v
    return m


def pp(components=("W", "E"), **more):
    return NS(components=list(components), **more)


def record(a, b):
    return NrtlRecord(ID1=a, ID2=b, comment="from DWSIM")


def test_change_of_form_and_units(flowgate, host):
    ip = nrtl_package({("Water", "Ethanol"): record("Water", "Ethanol")})
    m = nrtl(A={(0, 1): 0.5, (1, 0): -0.25}, B={(0, 1): 100.0, (1, 0): 40.0},
             C={(0, 1): 0.3, (1, 0): 0.9}, F={(0, 1): 0.01})
    assert flowgate._set_parameters(ip, pp(nrtl=m), NAMES, "NRTL") is None
    r = ip.m_uni.InteractionParameters["Water"]["Ethanol"]
    assert (r.ID1, r.ID2) == ("Water", "Ethanol")
    assert r.A12 == 100.0 * R == pytest.approx(198.721) and r.A21 == 40.0 * R
    assert r.B12 == 0.5 * R == pytest.approx(0.993605) and r.B21 == -0.25 * R
    assert (r.C12, r.C21, r.alpha12) == (0.01 * R, 0.0, 0.3)
    assert r.comment == "from DWSIM"
    assert host.log.lines == []


def test_orientation(flowgate, host):
    m = nrtl(B={(0, 1): 100.0, (1, 0): 40.0})
    # stored only the other way round: written that way, with (p, q) = (j, i)
    only_reverse = nrtl_package({("Ethanol", "Water"): record("Ethanol", "Water")})
    flowgate._set_parameters(only_reverse, pp(nrtl=m), NAMES, "NRTL")
    r = only_reverse.m_uni.InteractionParameters["Ethanol"]["Water"]
    assert (r.ID1, r.ID2, r.A12, r.A21) == ("Ethanol", "Water", 40.0 * R, 100.0 * R)
    # both ways: the reversed record wins, the other stays as it was
    both = nrtl_package({("Water", "Ethanol"): record("Water", "Ethanol"),
                         ("Ethanol", "Water"): record("Ethanol", "Water")})
    flowgate._set_parameters(both, pp(nrtl=m), NAMES, "NRTL")
    ip = both.m_uni.InteractionParameters
    assert ip["Ethanol"]["Water"].A12 == 40.0 * R and ip["Water"]["Ethanol"].A12 == 0.0


def test_missing_pairs_are_cloned_from_the_first_record(flowgate, host):
    template = NrtlRecord(ID1="Benzene", ID2="Toluene", A12=7.0, comment="template")
    pkg = nrtl_package({("Benzene", "Toluene"): template, ("Water", "Acetone"): record("Water", "Acetone")})
    m = nrtl(3, B={(0, 1): 10.0, (0, 2): 20.0, (1, 2): 30.0})
    flowgate._set_parameters(pkg, pp(("W", "E", "M"), nrtl=m), NAMES, "NRTL")
    ip = pkg.m_uni.InteractionParameters
    assert ip.Keys == ["Benzene", "Water", "Ethanol"]       # one new first-level key
    assert type(ip["Ethanol"]) is InnerTable                 # made by the inner table's type
    assert ip["Water"].Keys == ["Acetone", "Ethanol", "Methanol"]
    new = ip["Ethanol"]["Methanol"]
    assert new is not template and (new.ID1, new.ID2, new.A12, new.comment) == ("Ethanol", "Methanol", 30.0 * R,
                                                                              "template")
    assert template.A12 == 7.0


def test_without_a_template_each_pair_is_given_up(flowgate, host):
    pkg = nrtl_package()
    m = nrtl(3, A={(0, 1): 1.0, (1, 2): 1.0}, D={(0, 1): 0.1})
    flowgate._set_parameters(pkg, pp(("W", "E", "M"), nrtl=m), NAMES, "NRTL")
    assert pkg.m_uni.InteractionParameters.Keys == []
    assert host.log.lines == [("warning", NRTL_WARNINGS["DE"], "W", "E"), ("warning", NRTL_WARNINGS["none"], "W", "E"),
                              ("warning", NRTL_WARNINGS["none"], "E", "M")]


@pytest.mark.parametrize("cells, written, warned", [
    ({"C": {(0, 1): 0.3}, "D": {(0, 1): 1.0}, "E": {(1, 0): 1.0}}, False, False),  # only A, B, F count
    ({"A": {(1, 0): 1e-300}}, True, False),           # exact zero test
    ({"F": {(1, 0): 1.0}, "D": {(0, 1): 1e-12}}, True, False),   # strict: 1e-12 is no D
    ({"F": {(1, 0): 1.0}, "D": {(0, 1): -2e-12}}, True, True),
    ({"F": {(1, 0): 1.0}, "E": {(1, 0): 1.0}}, True, True),
    ({"F": {(1, 0): 1.0}, "D": {(1, 0): 1.0}}, True, False),     # D[j, i] is not tested
])
def test_which_pairs_are_written_and_warned(flowgate, host, cells, written, warned):
    pkg = nrtl_package({("Water", "Ethanol"): record("?", "?")})
    flowgate._set_parameters(pkg, pp(nrtl=nrtl(**cells)), NAMES, "NRTL")
    r = pkg.m_uni.InteractionParameters["Water"]["Ethanol"]
    assert (r.ID1 == "Water") == written and r.alpha12 == 0.0
    assert host.log.lines == ([("warning", NRTL_WARNINGS["DE"], "W", "E")] if warned else [])


def test_fewer_than_two_components_read_no_matrices(flowgate, host):
    pkg = nrtl_package({("Water", "Ethanol"): record("Water", "Ethanol")})
    flowgate._set_parameters(pkg, pp(["W"]), NAMES, "NRTL")   # no pp.nrtl at all
    flowgate._set_parameters(cubic_package(), pp(["W"]), NAMES, "PENG-ROB")
    assert host.log.lines == []


KIJ_WARNINGS = {
    "T": "DWSIM kij %s-%s: the temperature terms are left out",
    "none": "DWSIM kij %s-%s: not set (DWSIM has no entry)",
}


@pytest.mark.parametrize("method", ["PENG-ROB", "RK-SOAVE"])
@pytest.mark.parametrize("terms, stored, expected, warnings", [
    ([0.1], [("Water", "Ethanol"), ("Ethanol", "Water")], {("Water", "Ethanol"): 0.1}, []),
    ([0.1], [("Ethanol", "Water")], {("Ethanol", "Water"): 0.1}, []),
    ([0.0, 1e-3], [("Water", "Ethanol")], {("Water", "Ethanol"): 0.0}, ["T"]),
    ([0.1, 0.0], [("Water", "Ethanol")], {("Water", "Ethanol"): 0.1}, []),
    ([0.1, 2.0], [], {}, ["T", "none"]),
    ([0.0, 0.0], [("Water", "Ethanol")], {}, []),
])
def test_kij(flowgate, host, method, terms, stored, expected, warnings):
    pkg = cubic_package({pair: NS(kij=-1.0) for pair in stored})
    kij = np.zeros((len(terms), 2, 2))
    kij[:, 0, 1] = terms
    kij[:, 1, 0] = 0.5           # never read
    flowgate._set_parameters(pkg, pp(kij=kij), NAMES, method)
    ip = pkg.m_pr.InteractionParameters
    got = {(a, b): ip[a][b].kij for a in ip.Keys for b in ip[a].Keys if ip[a][b].kij != -1.0}
    assert got == expected and all(type(v) is float for v in got.values())
    assert host.log.lines == [("warning", KIJ_WARNINGS[w], "W", "E") for w in warnings]


@pytest.mark.parametrize("method", ["IDEAL", "WILSON", "UNIQUAC", "nrtl", "FOO", None])
def test_other_methods_transfer_nothing(flowgate, host, method):
    flowgate._set_parameters(NS(), pp(), NAMES, method)   # a package without tables
    assert host.log.lines == []


def test_failures_pass_through(flowgate, host):
    with pytest.raises(KeyError):
        flowgate._set_parameters(nrtl_package(), pp(("W", "X"), nrtl=nrtl(A={(0, 1): 1.0})), NAMES, "NRTL")
    with pytest.raises(AttributeError):
        flowgate._set_parameters(NS(), pp(nrtl=nrtl()), NAMES, "NRTL")
