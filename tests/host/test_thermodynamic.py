"""flash(): the ideal-gas enthalpy of the host, relative to 298.15 K, in J/kmol."""
import numpy as np
import pytest

from kelvane.components import lookup
from kelvane.model import Package
from kelvane.thermodynamic import flash, ideal_gas_enthalpy

MIX = Package(components=["METHANOL", "WATER", "N2"])
X = [0.2, 0.5, 0.3]


def H(pp, x, T, P=1e5):
    return flash(pp, np.array(x, dtype=float), P, T=T)["H"]


@pytest.mark.parametrize("alias, T, kJ_per_mol", [
    # NIST-JANAF H(T) - H(298.15 K) of the ideal gas
    ("N2", 500.0, 5.911), ("N2", 1000.0, 21.463),
    ("WATER", 500.0, 6.920), ("WATER", 1000.0, 26.000),
    ("METHANE", 500.0, 8.200), ("METHANE", 1000.0, 38.179),
])
def test_enthalpy_against_reference_tables(alias, T, kJ_per_mol):
    assert ideal_gas_enthalpy(alias, T) == pytest.approx(kJ_per_mol * 1e6, rel=0.01)


@pytest.mark.parametrize("alias", MIX.components)
def test_zero_at_reference_and_slope_is_heat_capacity(alias):
    assert H(Package(components=[alias]), [1.0], 298.15) == pytest.approx(0.0, abs=1e-6)
    slope = (ideal_gas_enthalpy(alias, 298.151) - ideal_gas_enthalpy(alias, 298.149)) / 2e-3
    assert slope == pytest.approx(lookup(alias)["cp_ig"]["Cp298"] * 1e3, rel=0.01)   # J/(kmol K)


def test_mixture_is_monotone_linear_and_independent_of_pressure():
    h = np.array([H(MIX, X, t) for t in np.linspace(200.0, 1000.0, 81)])
    assert np.all(np.diff(h) > 0)
    assert H(MIX, X, 450.0, P=1e5) == H(MIX, X, 450.0, P=50e5)
    pure = [H(MIX, np.eye(3)[i], 420.0) for i in range(3)]
    for x in (X, [1 / 3] * 3, [0.0, 0.9, 0.1]):
        assert H(MIX, x, 420.0) == pytest.approx(np.dot(x, pure), rel=1e-12)
    aliased = Package(components=["MEOH", "H2O", "NITRO"], aliases={"MEOH": "METHANOL", "H2O": "WATER", "NITRO": "N2"})
    assert H(aliased, X, 500.0) == H(MIX, X, 500.0)


@pytest.mark.parametrize("pp, x, T, error, match", [
    (Package(components=["UNOBTAINIUM"]), [1.0], 300.0, KeyError, "UNOBTAINIUM"),
    (Package(components=["AIR"]), [1.0], 300.0, ValueError, "AIR"),         # no Cp data
    (Package(components=["X"], aliases={"X": "FOO"}), [1.0], 300.0, KeyError, "FOO"),
    (MIX, [0.5, 0.5], 300.0, ValueError, "3 components"),
    (MIX, [0.5, 0.5, 0.5], 300.0, ValueError, "sum"),
    (MIX, [1.2, -0.2, 0.0], 300.0, ValueError, "non-negative"),
    (MIX, [1.0, 0.0, 0.0], None, ValueError, "temperature"),
    (MIX, [1.0, 0.0, 0.0], -5.0, ValueError, "positive"),
])
def test_clear_errors(pp, x, T, error, match):
    with pytest.raises(error, match=match):
        flash(pp, np.array(x), 1e5, T=T)
