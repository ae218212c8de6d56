"""Binary parameters of the host into a DWSIM package: NRTL with its change of
form, and the constant kij of the cubic equations of state."""
from contextlib import nullcontext
from types import SimpleNamespace as NS

import numpy as np
import pytest

from dwsim_fakes import InnerTable, NrtlRecord, PrRecord, cubic_package, host, nrtl_package  # noqa: F401

R = 1.98721
NAMES = {"W": "Water", "E": "Ethanol", "M": "Methanol"}
DE = "DWSIM NRTL %s-%s: the D, E elements (alpha(T), ln T) are left out"
NONE = "DWSIM NRTL %s-%s: no parameters (DWSIM has none to start from)"


def nrtl(n=2, **cells):
    """Six n x n matrices, A to F; cell A01 is A[0, 1]."""
    m = np.zeros((6, n, n))
    for (letter, i, j), v in cells.items():
        m["ABCDEF".index(letter), int(i), int(j)] = v
    return m


class Indexed:
    """The same numbers without numpy's buffer: the module reads them through Python's indexing."""

    def __init__(self, array):
        self.array, self.shape = array, array.shape

    def __getitem__(self, key):
        return self.array[key]


# A numpy array is read from its memory, anything else through Python: the same values either way.
@pytest.fixture(params=["buffer", "indexed"])
def lane(request):
    return (lambda a: a) if request.param == "buffer" else Indexed


def set_nrtl(flowgate, pairs, components=("W", "E"), lane=lambda a: a, **cells):
    pkg = nrtl_package({p: NrtlRecord(ID1="?", ID2="?", comment="-".join(p)) for p in pairs} if pairs else None)
    flowgate._set_parameters(pkg, NS(components=list(components), nrtl=lane(nrtl(len(components), **cells))), NAMES,
                             "NRTL")
    return pkg.m_uni.InteractionParameters


FORWARD = dict(ID1="Water", ID2="Ethanol", A12=100.0 * R, A21=40.0 * R, B12=0.5 * R, B21=-0.25 * R,
               C12=0.01 * R, C21=0.02 * R, alpha12=0.3, comment="Water-Ethanol")
REVERSED = dict(ID1="Ethanol", ID2="Water", A12=40.0 * R, A21=100.0 * R, B12=-0.25 * R, B21=0.5 * R,
                C12=0.02 * R, C21=0.01 * R, alpha12=0.9, comment="Ethanol-Water")


@pytest.mark.parametrize("stored, written", [
    ([("Water", "Ethanol")], [FORWARD]),
    ([("Ethanol", "Water")], [REVERSED]),                        # stored the other way round: (p, q) = (j, i)
    # DWSIM reads each order for its own row: both records get the host's pair, each in its orientation
    ([("Water", "Ethanol"), ("Ethanol", "Water")], [FORWARD, REVERSED]),
])
def test_change_of_form_units_and_orientation(flowgate, host, lane, stored, written):
    ip = set_nrtl(flowgate, stored, lane=lane, A01=0.5, A10=-0.25, B01=100.0, B10=40.0, C01=0.3, C10=0.9, F01=0.01, F10=0.02)
    assert [vars(ip[w["ID1"]][w["ID2"]]) for w in written] == written
    assert host.log.lines == []


def test_missing_pairs_are_cloned_from_the_first_record(flowgate, host):
    ip = set_nrtl(flowgate, [("Benzene", "Toluene"), ("Water", "Acetone")], ("W", "E", "M"), B01=10.0, B02=20.0, B12=30.0)
    assert ip.Keys == ["Benzene", "Water", "Ethanol"] and type(ip["Ethanol"]) is InnerTable
    assert ip["Water"].Keys == ["Acetone", "Ethanol", "Methanol"]
    new, template = ip["Ethanol"]["Methanol"], ip["Benzene"]["Toluene"]
    assert (new.ID1, new.ID2, new.A12, new.comment) == ("Ethanol", "Methanol", 30.0 * R, "Benzene-Toluene")
    assert (template.ID1, template.A12) == ("?", 0.0)


def test_without_a_template_each_pair_is_given_up(flowgate, host):
    assert set_nrtl(flowgate, [], ("W", "E", "M"), A01=1.0, A12=1.0, D01=0.1).Keys == []
    assert host.log.lines == [("warning", DE, "W", "E"), ("warning", NONE, "W", "E"), ("warning", NONE, "E", "M")]


@pytest.mark.parametrize("cells, written, warned", [
    ({"C01": 0.3, "D01": 1.0, "E10": 1.0}, False, False),   # only A, B, F count
    ({"A10": 1e-300}, True, False),                          # exact zero test
    ({"F10": 1.0, "D01": 1e-12}, True, False),               # strict: 1e-12 is no D
    ({"F10": 1.0, "D01": -2e-12}, True, True),
    ({"F10": 1.0, "E10": 1.0}, True, True),
    ({"F10": 1.0, "D10": 1.0}, True, False),                 # D[j, i] is not tested
])
def test_which_pairs_are_written_and_warned(flowgate, host, lane, cells, written, warned):
    r = set_nrtl(flowgate, [("Water", "Ethanol")], lane=lane, **cells)["Water"]["Ethanol"]
    assert (r.ID1 == "Water") == written and r.alpha12 == 0.0
    assert host.log.lines == ([("warning", DE, "W", "E")] if warned else [])


@pytest.mark.parametrize("method", ["PENG-ROB", "RK-SOAVE"])
@pytest.mark.parametrize("terms, stored, expected, warnings", [
    # every record of the pair, in both orders
    ([0.1], [("Water", "Ethanol"), ("Ethanol", "Water")], {("Water", "Ethanol"): 0.1, ("Ethanol", "Water"): 0.1}, []),
    ([0.1], [("Ethanol", "Water")], {("Ethanol", "Water"): 0.1}, []),
    ([0.0, 1e-3], [("Water", "Ethanol")], {("Water", "Ethanol"): 0.0}, ["the temperature terms are left out"]),
    ([0.1, 0.0], [("Water", "Ethanol")], {("Water", "Ethanol"): 0.1}, []),
    # a pair DWSIM lacks gets a record of the table's type, under a new inner table
    ([0.1], [("Methane", "Water")], {("Water", "Ethanol"): 0.1}, []),
    ([0.1, 2.0], [], {}, ["the temperature terms are left out", "not set (DWSIM has no entry)"]),
    ([0.0, 0.0], [("Water", "Ethanol")], {}, []),
])
def test_kij(flowgate, host, lane, method, terms, stored, expected, warnings):
    pkg = cubic_package({pair: PrRecord(kij=-1.0) for pair in stored})
    pkg.AreModelParametersDirty = False
    kij = np.zeros((len(terms), 2, 2))
    kij[:, 0, 1], kij[:, 1, 0] = terms, 0.5         # [1, 0] is never read
    flowgate._set_parameters(pkg, NS(components=["W", "E"], kij=lane(kij)), NAMES, method)
    ip = pkg.m_pr.InteractionParameters
    got = {(a, b): ip[a][b].kij for a in ip.Keys for b in ip[a].Keys if ip[a][b].kij != -1.0}
    assert got == expected and all(type(v) is float for v in got.values())
    assert all((ip[a][b].Name1, ip[a][b].Name2) == ("Water", "Ethanol") for a, b in expected if (a, b) not in stored)
    assert pkg.AreModelParametersDirty is bool(expected)   # DWSIM builds its kij matrix anew
    assert host.log.lines == [("warning", "DWSIM kij %s-%s: " + w, "W", "E") for w in warnings]


@pytest.mark.parametrize("method, pkg, pp, error", [
    ("NRTL", nrtl_package({("Water", "Ethanol"): NrtlRecord()}), NS(components=["W"]), None),  # no matrices read
    ("PENG-ROB", cubic_package(), NS(components=["W"]), None),
    *((m, NS(), NS(components=["W", "E"]), None) for m in ["IDEAL", "WILSON", "UNIQUAC", "nrtl", "FOO", None]),
    ("NRTL", NS(), NS(components=["W", "E"], nrtl=nrtl()), AttributeError),
    ("NRTL", nrtl_package(), NS(components=["W", "X"], nrtl=nrtl(A01=1.0)), KeyError),
])
def test_what_else_is_read(flowgate, host, method, pkg, pp, error):
    with pytest.raises(error) if error else nullcontext():
        flowgate._set_parameters(pkg, pp, NAMES, method)
    assert host.log.lines == []
