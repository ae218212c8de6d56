"""The databank as data: identities of the compounds and their heat-capacity fits."""
import json
import re

import numpy as np
import pytest

from child import SHARED
from kelvane.components import databank_index, lookup

DWSIM_COMPOUNDS = SHARED / "dwsim" / "compounds.json"
# Compounds the host has that DWSIM's checked databases lack
NOT_IN_DWSIM = {"78-87-5", "75-09-2", "127-18-4", "124-40-3", "7664-93-9"}


def cas_is_valid(cas):
    m = re.fullmatch(r"(\d{2,7})-(\d{2})-(\d)", cas)
    digits = (m.group(1) + m.group(2))[::-1] if m else ""
    return bool(m) and sum(int(d) * (i + 1) for i, d in enumerate(digits)) % 10 == int(m.group(3))


def test_entries_are_complete_and_unique():
    index = databank_index()
    assert len(index) >= 60
    for key in ("alias", "cas"):
        assert len({e[key] for e in index}) == len(index), key
    assert [e["alias"] for e in index if not cas_is_valid(e["cas"]) or not e["name"]] == []
    index[0]["cas"], index[0]["cp_ig"]["a"][0] = "changed", 1e9     # the index gives copies
    assert databank_index()[0]["cas"] != "changed" and databank_index()[0]["cp_ig"]["a"][0] != 1e9


@pytest.mark.parametrize("alias, name, cas", [
    ("WATER", "water", "7732-18-5"),
    ("water", "water", "7732-18-5"),                  # upper case as the fallback
    ("METHANOL", "methanol", "67-56-1"),
    ("2-PROPANOL", "2-propanol", "67-63-0"),       # DWSIM: Isopropanol
    ("HE", "helium", "7440-59-7"),                 # DWSIM: Helium-4
    ("1,2-DICHLOROETHANE", "1,2-dichloroethane", "107-06-2"),
    ("1,2-DICHLOROPROPANE", "1,2-dichloropropane", "78-87-5"),
    ("DICHLOROMETHANE", "dichloromethane", "75-09-2"),
])
def test_known_compounds(alias, name, cas):
    assert (lookup(alias)["name"], lookup(alias)["cas"]) == (name, cas)
    with pytest.raises(KeyError, match="UNOBTAINIUM"):
        lookup("UNOBTAINIUM")


@pytest.mark.skipif(not DWSIM_COMPOUNDS.exists(), reason="DWSIM compound list not beside the repo")
def test_cas_numbers_agree_with_dwsim():
    dwsim = {e["cas"] for e in json.loads(DWSIM_COMPOUNDS.read_text())}
    assert {e["cas"] for e in databank_index()} - dwsim == NOT_IN_DWSIM


def test_heat_capacity_fits_match_their_tabulated_value():
    fitted = [e for e in databank_index() if "cp_ig" in e]
    assert len(fitted) >= 0.75 * len(databank_index())
    for e in fitted:
        cp, a = e["cp_ig"], np.array(e["cp_ig"]["a"])[::-1]
        assert 8.314462618 * np.polyval(a, 298.15) == pytest.approx(cp["Cp298"], rel=0.01), e["alias"]
        # positive over the fitted range, else the enthalpy is not monotone
        T = np.linspace(cp.get("Tmin", 50.0), cp.get("Tmax", 1000.0), 200)
        assert np.all(np.polyval(a, T) > 0), e["alias"]
