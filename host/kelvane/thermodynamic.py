"""Thermodynamics of the stand-in host: an ideal-gas enthalpy, nothing more.

flash() here does not split phases and ignores pressure. Its enthalpy is that
of the mixture as an ideal gas, relative to the ideal gas at 298.15 K, from
the ideal-gas heat-capacity polynomials of the databank. It is what the
module needs to report an enthalpy in the host's own basis; it is not a
phase-equilibrium calculation.
"""
import math
from functools import lru_cache

import numpy as np

from .components import lookup
from .diagnostics import log

R = 8314.462618  # J/(kmol K)
T_REF = 298.15   # K

_warned_range = set()


def flash(pp, x, P, *, T):
    """Ideal-gas state of a mixture of the package's components.

    pp: host package (its ``components`` give the order of `x`; an optional
        ``aliases`` mapping {component: databank alias} overrides the rule
        that a component's identifier is its alias).
    x:  mole fractions in component order (summing to 1 within 1e-4; they
        are normalised).
    P:  pressure in Pa; accepted and returned, but an ideal-gas enthalpy does
        not depend on it.
    T:  temperature in K (keyword).

    Returns {"T": K, "P": Pa, "H": J/kmol}, H = sum_i x_i * integral from
    298.15 K to T of Cp_i(ideal gas) dT. No phase split: there is no vapour
    fraction in the result, and liquids are treated as ideal gases.

    Raises KeyError for a component without a databank entry and ValueError
    for one without heat-capacity data, or for malformed arguments.
    """
    if T is None:
        raise ValueError("flash needs a temperature: this host has no vapour-fraction flash")
    T = float(T)
    if not math.isfinite(T) or T <= 0.0:
        raise ValueError(f"flash: temperature must be a positive number of K, got {T!r}")
    P = float(P)
    x = np.asarray(x, dtype=float)
    components = tuple(pp.components)
    if x.shape != (len(components),):
        raise ValueError(f"flash: {x.shape[0] if x.ndim == 1 else x.shape} mole fractions "
                         f"for {len(components)} components")
    if not np.all(np.isfinite(x)) or np.any(x < 0.0):
        raise ValueError(f"flash: mole fractions must be finite and non-negative, got {x.tolist()}")
    total = x.sum()
    if abs(total - 1.0) > 1e-4:
        raise ValueError(f"flash: mole fractions sum to {total:g}, not 1")
    x = x / total

    aliases = getattr(pp, "aliases", None) or {}
    names = tuple(aliases.get(c) or c for c in components)
    coeffs, ranges = _coefficients(names)
    _warn_outside_range(names, ranges, T)
    return {"T": T, "P": P, "H": float(x @ _enthalpies(coeffs, T))}


def ideal_gas_enthalpy(alias, T):
    """Ideal-gas molar enthalpy of one compound at T (K), J/kmol, relative to 298.15 K."""
    coeffs, _ = _coefficients((alias,))
    return float(_enthalpies(coeffs, float(T))[0])


def _enthalpies(coeffs, T):
    powers = np.arange(1, coeffs.shape[1] + 1)
    return R * (coeffs / powers) @ (T ** powers - T_REF ** powers)


@lru_cache(maxsize=256)
def _coefficients(names):
    rows, ranges = [], []
    for name in names:
        entry = lookup(name)
        cp = entry.get("cp_ig")
        if cp is None:
            raise ValueError(f"no ideal-gas heat capacity in the databank for {name!r} "
                             f"({entry['name']}, CAS {entry['cas']})")
        rows.append(cp["a"])
        ranges.append((cp.get("Tmin", 0.0), cp.get("Tmax", math.inf)))
    coeffs = np.array(rows, dtype=float)
    coeffs.setflags(write=False)
    return coeffs, tuple(ranges)


def _warn_outside_range(names, ranges, T):
    for name, (lo, hi) in zip(names, ranges):
        if not lo <= T <= hi and name not in _warned_range:
            _warned_range.add(name)
            log.warning("ideal-gas Cp of %s is fitted for %g-%g K; extrapolated to %g K",
                        name, lo, hi, T)
