"""The host's flowsheet objects, as the module reads them.

Units: K, Pa, kmol/s, W; fractions as fractions.
"""
from dataclasses import dataclass, field

import numpy as np


@dataclass
class Package:
    """Property package: the component order and the method's parameters.

    nrtl: six n x n matrices (A, B, C, D, E, F) with tau_ij = A + B/T + F*T and
          alpha_ij = C; stored as one array of shape (6, n, n).
    kij:  binary parameters of the cubic equations, shape (terms, n, n).
    aliases: {component: databank alias} where the identifier is not the alias.
    """
    components: list
    method: str = "IDEAL"
    elec: object = None
    nrtl: np.ndarray = None
    kij: np.ndarray = None
    aliases: dict = field(default_factory=dict)

    def __post_init__(self):
        n = len(self.components)
        if self.nrtl is None:
            self.nrtl = np.zeros((6, n, n))
        if self.kij is None:
            self.kij = np.zeros((1, n, n))


@dataclass
class Feed:
    """A feed stream: T in K (None when fixed by vfrac), P in Pa, component
    molar flows in kmol/s in the package's component order."""
    T: float
    P: float
    flows: np.ndarray
    vfrac: float = None


@dataclass
class Block:
    """A unit: its kind (MIXER, FSPLIT, SEP, HEATER, FLASH2, PUMP, COMPR,
    VALVE, or any other host kind) and its specification mapping."""
    kind: str
    spec: dict = field(default_factory=dict)


@dataclass
class Flowsheet:
    """ports: {block: (ins, outs)}, lists of stream names by port number,
    None for an open port. positions: {block or stream: (x, y)}."""
    pp: Package
    feeds: dict = field(default_factory=dict)
    blocks: dict = field(default_factory=dict)
    ports: dict = field(default_factory=dict)
    meta: dict = field(default_factory=dict)
    positions: dict = field(default_factory=dict)
    reactions: dict = field(default_factory=dict)

    @property
    def name(self):
        return self.meta.get("name", "")
