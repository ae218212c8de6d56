"""From host components to DWSIM compound names: the CAS index and the lookups."""
from types import SimpleNamespace as NS

import pytest

from dwsim_fakes import Automation, Keyed, flowsheet, host  # noqa: F401  (fixture)


def sim_of(compounds=None):
    return Automation(compounds) if compounds else Automation()


def names(flowgate, components, aliases=None, sim=None):
    fs = flowsheet(components=components, meta={"aliases": aliases})
    return flowgate.compound_names(fs, (sim or sim_of()).CreateFlowsheet())


@pytest.mark.parametrize("component, aliases, databank, expected", [
    # the alias's CAS number decides, whatever the databank calls it
    ("W", {"W": "WATER"}, [{"alias": "WATER", "cas": "7732-18-5", "name": "aqua"}], "Water"),
    # DWSIM's CAS numbers are stripped, the databank's are not
    ("ETHANOL", None, [{"alias": "ETHANOL", "cas": "64-17-5"}], "Ethanol"),
    ("METHANE", None, [{"alias": "METHANE", "cas": " 74-82-8", "name": "nope"}], None),
    # an unknown CAS number falls to the entry's name, case ignored
    ("C4", {}, [{"alias": "C4", "cas": "0-00-0", "name": "n-BUTANE"}], "n-Butane"),
    # no entry: the component's own identifier, case ignored
    ("methanol", None, [], "Methanol"),
    # an entry without CAS or name: the identifier again
    ("METHANOL", None, [{"alias": "METHANOL"}], "Methanol"),
    # the alias itself is never matched against DWSIM names
    ("X", {"X": "Water"}, [], None),
])
def test_resolution(flowgate, host, component, aliases, databank, expected):
    host.databank = databank
    if expected is None:
        with pytest.raises(ValueError, match=r"^DWSIM has no compound for "):
            names(flowgate, [component], aliases)
    else:
        assert names(flowgate, [component], aliases) == {component: expected}


def test_all_missing_in_one_message(flowgate, host):
    with pytest.raises(ValueError) as e:
        names(flowgate, ["WATER", "A", "B"], {"B": "ALIAS-B"})
    assert str(e.value) == "DWSIM has no compound for A (A), B (ALIAS-B)"


def test_results_keep_component_order_and_duplicates(flowgate, host):
    host.databank.append({"alias": "WATER", "cas": "64-17-5"})  # a later alias replaces
    got = names(flowgate, ["ETHANOL", "WATER", "water"])
    assert list(got.items()) == [("ETHANOL", "Ethanol"), ("WATER", "Ethanol"), ("water", "Water")]
    assert names(flowgate, []) == {}


def test_empty_cas_number_matches_an_entry_without_one(flowgate, host):
    host.databank = [{"alias": "Q"}]
    assert names(flowgate, ["Q"], sim=sim_of({"Mystery": "  ", "Water": "7732-18-5"})) == {"Q": "Mystery"}


def test_index_is_built_once_per_process(flowgate, host):
    a = sim_of()
    first = names(flowgate, ["WATER"], sim=a)
    assert a.compounds.key_reads == 1
    index = flowgate._STATE["cas"]
    assert index["106-97-8"] == "n-Butane"  # the later of two compounds with one CAS number
    assert index["64-17-5"] == "Ethanol"

    broken = NS(AvailableCompounds=None)  # never read again
    assert flowgate.compound_names(flowsheet(components=["WATER"]), broken) == first
    assert flowgate._compounds(broken) is index


def test_index_is_kept_only_when_complete(flowgate, host):
    bad = Keyed({"Water": NS(CAS_Number="7732-18-5"), "Odd": NS()})
    with pytest.raises(AttributeError):
        flowgate._compounds(NS(AvailableCompounds=bad))
    assert "cas" not in flowgate._STATE


@pytest.mark.parametrize("databank, meta, error", [
    ([{"cas": "7732-18-5"}], {}, KeyError),           # an entry without alias
    ([], None, AttributeError),                        # fs.meta is required
])
def test_host_faults_raise(flowgate, host, databank, meta, error):
    host.databank = databank
    fs = flowsheet(components=["WATER"])
    if meta is None:
        del fs.meta
    with pytest.raises(error):
        flowgate.compound_names(fs, sim_of().CreateFlowsheet())
