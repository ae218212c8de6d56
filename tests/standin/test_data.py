"""Consistency of the shipped compound data (plain Python, no Mono needed)."""
import math
import os
from collections import Counter

import pytest

DATA = os.path.join(os.path.dirname(__file__), "..", "..", "standin", "data")


def rows(name):
    with open(os.path.join(DATA, name), encoding="utf-8") as f:
        return [line.rstrip("\n").split("\t") for line in f if line.strip() and not line.startswith("#")]


COMPOUNDS = rows("compounds.tsv")
CONSTANTS = {r[0]: [float(v) for v in r[1:]] for r in rows("constants.tsv")}


def test_compound_list_matches_dwsim_and_constants_name_known_compounds():
    names = [r[0] for r in COMPOUNDS]
    assert len(names) == len(set(names)) == 774
    assert names.index("N-butane") < names.index("n-Butane")
    dup = [cas for cas, n in Counter(r[1] for r in COMPOUNDS if r[1]).items() if n > 1]
    assert len(dup) >= 38 and "106-97-8" in dup
    assert len(CONSTANTS) >= 60 and set(CONSTANTS) <= set(names)   # enough with constants, all of them known


@pytest.mark.parametrize("name", sorted(CONSTANTS))
def test_constants_are_self_consistent(name):
    mw, tc, pc_bar, w, tb, dhv, a, b, c, d = CONSTANTS[name]
    assert 1 < mw < 300 and tb < tc and 1 < pc_bar < 300 and -0.4 < w < 1.0
    # Wilson's K at the normal boiling point must be near 1 (catches a slip in Tc, Pc, w or Tb);
    # CO2's anchor is its triple point at 5.18 bar.
    k = pc_bar / 1.01325 * math.exp(5.373 * (1 + w) * (1 - tc / tb))
    expected = 5.18 / 1.01325 if name == "Carbon dioxide" else 1.0
    assert k == pytest.approx(expected, rel=0.2)
    cp = lambda t: a + b * t + c * t * t + d * t ** 3
    assert 20 <= cp(298.15) < 320
    assert cp(300) <= cp(600) <= cp(1000) + 1e-9
    # latent heat within a plausible band of Trouton-like values (J/mol/K at Tb)
    assert 8 < dhv * 1000 / tb < 140
