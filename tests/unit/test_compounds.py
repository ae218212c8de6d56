"""From host components to DWSIM compound names: the CAS index and the lookups."""
from types import SimpleNamespace as NS

import pytest

from dwsim_fakes import Automation, Keyed, flowsheet, host  # noqa: F401  (fixture)


def names(flowgate, components, aliases=None, compounds=None):
    sim = (Automation(compounds) if compounds else Automation()).CreateFlowsheet()
    return flowgate.compound_names(flowsheet(components=components, meta={"aliases": aliases}), sim)


@pytest.mark.parametrize("components, aliases, databank, expected", [
    # the alias's CAS number decides, whatever the databank calls it
    (["W"], {"W": "WATER"}, [{"alias": "WATER", "cas": "7732-18-5", "name": "aqua"}], {"W": "Water"}),
    # DWSIM's CAS numbers are stripped, the databank's are not
    (["ETHANOL"], None, [{"alias": "ETHANOL", "cas": "64-17-5"}], {"ETHANOL": "Ethanol"}),
    (["METHANE"], None, [{"alias": "METHANE", "cas": " 74-82-8", "name": "nope"}], "METHANE (METHANE)"),
    # of two compounds with one CAS number the first, ChemSep's, whose data DWSIM keys by name
    (["C4"], None, [{"alias": "C4", "cas": "106-97-8"}], {"C4": "N-butane"}),
    # an unknown CAS number falls to the entry's name, case ignored, the first name of that case
    (["C4"], {}, [{"alias": "C4", "cas": "0-00-0", "name": "n-BUTANE"}], {"C4": "N-butane"}),
    # no entry, or one without CAS and name: the component's own identifier, case ignored
    (["methanol", "METHANOL"], None, [{"alias": "METHANOL"}], {"methanol": "Methanol", "METHANOL": "Methanol"}),
    # the alias itself is never matched against DWSIM names; all missing in one message
    (["X", "WATER", "B"], {"X": "Water", "B": "ALIAS-B"}, [], "X (Water), B (ALIAS-B)"),
    # component order and duplicates kept; a later alias replaces, aliases are case-sensitive
    (["ETHANOL", "WATER", "water"], None, [{"alias": "WATER", "cas": "7732-18-5"}, {"alias": "WATER", "cas": "64-17-5"}],
     {"ETHANOL": "Ethanol", "WATER": "Ethanol", "water": "Water"}),
    ([], None, [], {}),
    (["WATER"], None, [{"cas": "7732-18-5"}], KeyError),           # an entry without alias
])
def test_resolution(flowgate, host, components, aliases, databank, expected):
    host.databank = databank
    if isinstance(expected, dict):
        assert list(names(flowgate, components, aliases).items()) == list(expected.items())
        return
    with pytest.raises(ValueError if isinstance(expected, str) else expected) as e:
        names(flowgate, components, aliases)
    assert isinstance(expected, type) or str(e.value) == "DWSIM has no compound for " + expected


def test_an_empty_cas_number_never_matches(flowgate, host):
    # a component without a CAS number goes to the names, which cover compounds without one
    host.databank = [{"alias": "Q"}, {"alias": "SALT", "cas": ""}]
    with pytest.raises(ValueError, match="^DWSIM has no compound for Q [(]Q[)]$"):
        names(flowgate, ["Q"], compounds={"Mystery": "  ", "Water": "7732-18-5"})
    flowgate._STATE.pop("cas")
    assert names(flowgate, ["SALT"], compounds={"Mystery": "  ", "Salt": ""}) == {"SALT": "Salt"}


def test_index_is_built_once_per_process_and_only_when_complete(flowgate, host):
    bad = Keyed({"Water": NS(CAS_Number="7732-18-5"), "Odd": NS()})
    with pytest.raises(AttributeError):
        flowgate._compounds(NS(AvailableCompounds=bad))
    assert "cas" not in flowgate._STATE
    a = Automation()
    assert flowgate.compound_names(flowsheet(components=["WATER"]), a.CreateFlowsheet()) == {"WATER": "Water"}
    broken = NS(AvailableCompounds=None)  # never read again
    assert flowgate.compound_names(flowsheet(components=["WATER"]), broken) == {"WATER": "Water"}
    assert flowgate._compounds(broken) is flowgate._STATE["cas"]
