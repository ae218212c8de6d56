"""flash(): the ideal-gas enthalpy of the host, relative to 298.15 K, in J/kmol."""
import numpy as np
import pytest

from kelvane.components import lookup
from kelvane.model import Package
from kelvane.thermodynamic import flash, ideal_gas_enthalpy

MIX = Package(components=["METHANOL", "WATER", "N2"])


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


def test_zero_at_reference_and_slope_is_heat_capacity():
    x = [0.2, 0.5, 0.3]
    assert H(MIX, x, 298.15) == pytest.approx(0.0, abs=1e-6)
    # dH/dT at 298.15 K is the tabulated Cp (J/(mol K) -> J/(kmol K))
    for alias in MIX.components:
        dT = 1e-3
        slope = (ideal_gas_enthalpy(alias, 298.15 + dT) - ideal_gas_enthalpy(alias, 298.15 - dT)) / (2 * dT)
        assert slope == pytest.approx(lookup(alias)["cp_ig"]["Cp298"] * 1e3, rel=0.01)


def test_monotone_in_temperature_and_independent_of_pressure():
    T = np.linspace(200.0, 1000.0, 81)
    h = np.array([H(MIX, [0.2, 0.5, 0.3], t) for t in T])
    assert np.all(np.diff(h) > 0)
    assert H(MIX, [0.2, 0.5, 0.3], 450.0, P=1e5) == H(MIX, [0.2, 0.5, 0.3], 450.0, P=50e5)


def test_mixing_is_linear_in_mole_fractions():
    T = 420.0
    pure = [H(MIX, np.eye(3)[i], T) for i in range(3)]
    for x in ([0.2, 0.5, 0.3], [1 / 3] * 3, [0.0, 0.9, 0.1]):
        assert H(MIX, x, T) == pytest.approx(np.dot(x, pure), rel=1e-12)


def test_aliases_of_the_package_resolve_components():
    aliased = Package(components=["MEOH", "H2O", "NITRO"],
                      aliases={"MEOH": "METHANOL", "H2O": "WATER", "NITRO": "N2"})
    x = [0.2, 0.5, 0.3]
    assert H(aliased, x, 500.0) == H(MIX, x, 500.0)


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
