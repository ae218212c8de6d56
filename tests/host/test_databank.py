"""The databank as data: identities of the compounds and their heat-capacity fits."""
import json
import re
from pathlib import Path

import numpy as np
import pytest

from kelvane.components import databank_index, lookup

DWSIM_COMPOUNDS = Path(__file__).resolve().parents[3] / "shared" / "dwsim" / "compounds.json"
# Compounds the host has that DWSIM's checked databases lack
NOT_IN_DWSIM = {"78-87-5", "75-09-2", "127-18-4", "124-40-3", "7664-93-9"}


def cas_is_valid(cas):
    m = re.fullmatch(r"(\d{2,7})-(\d{2})-(\d)", cas)
    if not m:
        return False
    digits = (m.group(1) + m.group(2))[::-1]
    return sum(int(d) * (i + 1) for i, d in enumerate(digits)) % 10 == int(m.group(3))


@pytest.fixture(scope="module")
def index():
    return databank_index()


def test_entries_are_complete_and_unique(index):
    assert len(index) >= 60
    aliases = [e["alias"] for e in index]
    assert len(set(aliases)) == len(aliases)
    cas = [e["cas"] for e in index]
    assert len(set(cas)) == len(cas)
    bad = [(e["alias"], e["cas"]) for e in index if not cas_is_valid(e["cas"])]
    assert bad == []
    assert all(isinstance(e["name"], str) and e["name"] for e in index)


@pytest.mark.parametrize("alias, name, cas", [
    ("WATER", "water", "7732-18-5"),
    ("METHANOL", "methanol", "67-56-1"),
    ("2-PROPANOL", "2-propanol", "67-63-0"),       # DWSIM: Isopropanol
    ("HE", "helium", "7440-59-7"),                 # DWSIM: Helium-4
    ("1,2-DICHLOROETHANE", "1,2-dichloroethane", "107-06-2"),
    ("1,2-DICHLOROPROPANE", "1,2-dichloropropane", "78-87-5"),
    ("DICHLOROMETHANE", "dichloromethane", "75-09-2"),
])
def test_known_compounds(alias, name, cas):
    entry = lookup(alias)
    assert (entry["name"], entry["cas"]) == (name, cas)


def test_lookup_falls_back_to_upper_case_and_rejects_unknown():
    assert lookup("water")["alias"] == "WATER"
    with pytest.raises(KeyError, match="UNOBTAINIUM"):
        lookup("UNOBTAINIUM")


def test_index_returns_copies():
    first = databank_index()[0]
    first["cas"] = "changed"
    first["cp_ig"]["a"][0] = 1e9
    fresh = databank_index()[0]
    assert fresh["cas"] != "changed"
    assert fresh["cp_ig"]["a"][0] != 1e9


@pytest.mark.skipif(not DWSIM_COMPOUNDS.exists(), reason="DWSIM compound list not beside the repo")
def test_cas_numbers_agree_with_dwsim(index):
    dwsim = {e["cas"] for e in json.loads(DWSIM_COMPOUNDS.read_text())}
    missing = {e["cas"] for e in index} - dwsim
    assert missing == NOT_IN_DWSIM


def test_heat_capacity_fits_match_their_tabulated_value(index):
    fitted = [e for e in index if "cp_ig" in e]
    assert len(fitted) >= 0.75 * len(index)
    for e in fitted:
        cp = e["cp_ig"]
        a = np.array(cp["a"])
        R = 8.314462618
        cp298 = R * np.polyval(a[::-1], 298.15)
        assert cp298 == pytest.approx(cp["Cp298"], rel=0.01), e["alias"]
        # positive over the fitted range, else the enthalpy is not monotone
        T = np.linspace(cp.get("Tmin", 50.0), cp.get("Tmax", 1000.0), 200)
        assert np.all(np.polyval(a[::-1], T) > 0), e["alias"]
