"""flowsheet_from_dict: a model mapping opens as objects that answer the module's reads."""
import copy
import functools
import json
import operator
from pathlib import Path

import pytest

from kelvane.datamanager import flowsheet_from_dict, load_flowsheet
from kelvane.thermodynamic import flash

DEMO = Path(__file__).resolve().parents[2] / "host" / "examples" / "demo.json"

MODEL = {
    "name": "toluene column feed",
    "property": {"method": "peng-rob", "components": {"BZ": "BENZENE", "TOLUENE": "", "H2": "H2"}, "elec": None,
                 "kij": [[[0.0, 0.01, 0.0], [0.01, 0.0, 0.0], [0.0, 0.0, 0.0]]]},
    "feeds": {"F1": {"T": 350.0, "P": 3e5, "flows": {"TOLUENE": 0.02, "BZ": 0.01}},
              "F2": {"T": None, "vfrac": 1.0, "P": 3e5, "flows": {"H2": 0.001}}},
    "blocks": {
        "M1": {"kind": "MIXER", "in": ["F1", "F2"], "out": ["S1"]},
        "FL": {"kind": "flash2", "in": ["S1"], "out": ["V", "L"], "P": 2e5, "duty": 0},
        "SP": {"kind": "FSPLIT", "in": ["L"], "out": ["L1", "L2", None], "frac": [0.25, 0.5]},
        "SEP": {"kind": "SEP", "in": ["V"], "out": ["TOP", "BOT"], "split": {"0": {"H2": 0.99, "1": 0.1}}},
        "COL": {"kind": "RADFRAC", "in": ["L1"], "out": ["D", "W"], "nstage": 20, "P": 1e5}},
    "layout": {"blocks": {"M1": [10, 20], "FL": [30.5, 20]}, "streams": {"F1": [0, 20]}},
    "reactions": {"R1": {"type": "Chemistry", "stoich": {}}},
}


def test_full_model_answers_the_contract():
    fs = flowsheet_from_dict(MODEL)
    pp, (f1, f2), b = fs.pp, fs.feeds.values(), fs.blocks
    assert (pp.components, pp.method, pp.elec) == (["BZ", "TOLUENE", "H2"], "PENG-ROB", None)
    assert fs.meta["aliases"] == {"BZ": "BENZENE"}     # "" and identity need no alias
    assert (pp.nrtl.shape, pp.nrtl.any(), pp.kij.shape, pp.kij[0, 1, 0]) == ((6, 3, 3), False, (1, 3, 3), 0.01)
    assert list(fs.feeds) == ["F1", "F2"] and list(f1.flows) == [0.01, 0.02, 0.0]   # component order, missing = 0
    assert (f1.T, f1.P, f1.vfrac, f2.T, f2.vfrac) == (350.0, 3e5, None, None, 1.0)
    assert list(b) == ["M1", "FL", "SP", "SEP", "COL"] and b["SEP"].spec["split"] == {0: {2: 0.99, 1: 0.1}}
    assert (b["FL"].kind, b["FL"].spec, b["COL"].spec) == ("FLASH2", {"P": 2e5, "duty": 0.0}, {"nstage": 20, "P": 1e5})
    assert fs.ports["SP"] == (["L"], ["L1", "L2", None]) and all(type(p[0]) is type(p[1]) is list for p in fs.ports.values())
    assert fs.positions == {"M1": (10.0, 20.0), "FL": (30.5, 20.0), "F1": (0.0, 20.0)}
    assert fs.reactions["R1"]["type"].upper() == "CHEMISTRY"


def test_demo_file_opens_and_flashes():
    fs = load_flowsheet(DEMO)
    assert {b.kind for b in fs.blocks.values()} == {"MIXER", "FSPLIT", "SEP", "HEATER", "FLASH2", "PUMP", "COMPR",
                                                    "VALVE"}
    assert set(fs.positions) >= set(fs.blocks)
    assert fs.pp.kij.shape == (1, 2, 2) and fs.reactions == {}    # defaults
    assert flash(fs.pp, fs.feeds["FEED"].flows / fs.feeds["FEED"].flows.sum(), 1e5, T=350.0)["H"] > 0


DROP = object()


@pytest.mark.parametrize("path, value, match", [
    (["name"], DROP, "missing key 'name'"),
    (["property"], DROP, "missing key 'property'"),
    (["name"], 3, "'name' must be text"),
    (["property", "method"], DROP, "property: missing key 'method'"),
    (["property", "components"], ["BZ"], "components: expected a mapping"),
    (["property", "nrtl"], [[[0.0]]], "nrtl: expected six 3x3"),
    (["property", "kij"], [[0.0, 1.0]], "kij: expected a list of 3x3"),
    (["feeds", "F1", "flows", "XYLENE"], 0.1, "feed 'F1': flows: unknown component 'XYLENE'"),
    (["feeds", "F1", "flows", "BZ"], "0.1", r"feed 'F1': flows: BZ: expected a number"),
    (["feeds", "F1", "T"], True, "feed 'F1': T: expected a number"),
    (["feeds", "F2", "vfrac"], None, "feed 'F2': needs 'T'"),
    (["feeds", "F1"], [1, 2], "feed 'F1': expected a mapping"),
    (["blocks", "FL", "kind"], DROP, "block 'FL': missing key 'kind'"),
    (["blocks", "FL", "in"], "S1", "block 'FL': in: expected a list"),
    (["blocks", "FL", "P"], "2 bar", "block 'FL': P: expected a number"),
    (["blocks", "FL", "vfrac"], 1.5, "block 'FL': vfrac: 1.5 is outside"),
    (["blocks", "SP", "frac"], [0.7, 0.6], "block 'SP': frac adds up to 1.3"),
    (["blocks", "SP", "frac"], [0.1, 0.1, 0.1], "block 'SP': frac gives 3 fractions for 3"),
    (["blocks", "SEP", "split"], {"0": {"XYLENE": 0.5}}, "unknown component 'XYLENE'"),
    (["blocks", "SEP", "split"], {"top": {"H2": 0.5}}, "split: outlet 'top'"),
    (["blocks", "COL", "in"], ["L1", "NOWHERE"], "stream 'NOWHERE': enters block 'COL'"),
    (["blocks", "COL", "in"], ["L"], "stream 'L': enters both 'SP' and 'COL'"),
    (["blocks", "COL", "out"], ["D", "S1"], "stream 'S1': leaves block 'COL'"),
    (["blocks", "COL", "out"], ["D", "M1"], "stream 'M1': a unit has the same name"),
    (["layout", "blocks", "GHOST"], [0, 0], "layout: blocks: 'GHOST' is not in"),
])
def test_malformed_models_name_the_item(path, value, match):
    model = copy.deepcopy(MODEL)
    *keys, last = path
    inner = functools.reduce(operator.getitem, keys, model)
    if value is DROP:
        del inner[last]
    else:
        inner[last] = value
    with pytest.raises(ValueError, match=match):
        flowsheet_from_dict(model)


def test_not_a_mapping_and_not_json(tmp_path):
    with pytest.raises(ValueError, match="expected a mapping"):
        flowsheet_from_dict([MODEL])
    (tmp_path / "bad.json").write_text('{"name": "x",,}')
    with pytest.raises(ValueError, match="not valid JSON.*line 1"):
        load_flowsheet(tmp_path / "bad.json")
    (tmp_path / "good.json").write_text(json.dumps(MODEL))
    assert list(load_flowsheet(tmp_path / "good.json").blocks) == list(MODEL["blocks"])
