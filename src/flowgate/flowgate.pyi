"""DWSIM as Kelvane's Proxy solver and File > Import/Export (the compiled module kelvane.flowgate)."""

import logging
import os as os
import sys as sys
import threading as threading
from typing import Any, Final, Literal, Mapping, Protocol, Sequence, TypedDict, type_check_only

import numpy as np

log: logging.Logger  # the host's logger, kelvane.diagnostics.log

# -- the host's objects, as far as the module reads them (types of the stub only) -------------

class _Feed(Protocol):
    T: float | None
    P: float
    flows: Sequence[float]

class _Block(Protocol):
    kind: str
    spec: Mapping[str, Any]

class _Package(Protocol):
    components: Sequence[str]
    method: str

@type_check_only
class Flowsheet(Protocol):
    """What the module reads of a host flowsheet (pp, feeds, blocks, ports, meta;
    positions, reactions, pp.elec and a feed's vfrac are optional)."""

    pp: _Package
    feeds: Mapping[str, _Feed]
    blocks: Mapping[str, _Block]
    ports: Mapping[str, tuple[Sequence[str | None], Sequence[str | None]]]
    meta: Mapping[str, Any]

# -- what the module gives back (types of the stub only) ----------------------------------------

@type_check_only
class StreamResult(TypedDict):
    T: float
    P: float
    F: float
    x: dict[str, float]
    VFRAC: float
    H: Any

@type_check_only
class Results(TypedDict):
    streams: dict[str, StreamResult]
    blocks: dict[str, dict[Literal["duty", "power"], float]]
    errors: list[str]
    notes: list[str]

class _Feedstate(TypedDict):
    T: float
    P: float
    flows: dict[str, float]

class _Property(TypedDict):
    method: str
    components: dict[str, str]

@type_check_only
class Model(TypedDict):
    name: str
    property: _Property
    feeds: dict[str, _Feedstate]
    blocks: dict[str, dict[str, Any]]
    layout: dict[Literal["blocks"], dict[str, list[float]]]

# -- tables and process state -----------------------------------------------------------------

R_CAL: Final[float]
METHODS: Final[dict[str, str]]
BACK: Final[dict[str, str]]
CLASSES: Final[dict[str, str]]
KINDS: Final[dict[str, str]]
DLLS: Final[tuple[str, ...]]
_STATE: Final[dict[str, Any]]
_LOCK: Final[threading.Lock]

# -- functions ----------------------------------------------------------------------------------

def folder() -> str | None:
    """The DWSIM installation folder, or None"""

def available() -> bool: ...
def automation() -> tuple[Any, dict[str, Any]]:
    """(Automation3 instance, the modules) of this process, loaded once"""

def _compounds(sim: Any) -> dict[str, str]:
    """{CAS number: DWSIM name} of the compound database"""

def compound_names(fs: Flowsheet, sim: Any) -> dict[str, str]:
    """{component: DWSIM name} by the CAS numbers of the databank aliases (else the names)"""

def _pressures(fs: Flowsheet) -> dict[str, float]:
    """Pressures of the streams from the feeds and the pressure specifications (no thermodynamics; recycles iterated)"""

def _set_parameters(pp_dw: Any, pp: Any, names: Mapping[str, str], method: str) -> None:
    """The binary parameters of Kelvane into the DWSIM package: NRTL (tau = A + B/T + F T -> (A12 + B12 T + C12 T^2)
    / (R T) in cal/mol), kij of the cubic equations of state"""

def build(fs: Flowsheet, a: Any = None, m: dict[str, Any] | None = None) -> tuple[Any, dict[str, Any], list[str]]:
    """The DWSIM flowsheet of a Kelvane flowsheet; (sim, {name: DWSIM object}, notes)"""

def _heater(U: Any, h: Any, sp: Mapping[str, Any], pin: float, pout: float | None) -> None: ...
def solve_dwsim(fs: Flowsheet, aliases: Any = None, save: str | os.PathLike[str] | None = None) -> Results:
    """Solve the flowsheet with DWSIM (Simulation > Proxy > DWSIM). Returns {'streams': {name: {'T', 'P', 'VFRAC',
    'H' (Kelvane's enthalpy at the state), 'F' [kmol/s], 'x': {COMPONENT: mole fraction}}}, 'blocks': {name: {'duty',
    'power' [W]}}, 'errors': [...], 'notes': [...]}"""

def export(fs: Flowsheet, path: str | os.PathLike[str]) -> list[str]:
    """Write the flowsheet as a DWSIM file (.dwxmz); the notes of the export are returned"""

def import_model(path: str | os.PathLike[str]) -> tuple[Model, list[str]]:
    """A DWSIM file as a Kelvane model dict (datamanager.flowsheet_from_dict) and the notes: components as databank
    aliases by CAS number, property method, feeds and the blocks of the kinds above with their connections"""

def _spec_of(kind: str, o: Any, objs: Mapping[str, Any], ins: list[str], outs: list[str], order: list[str]) -> dict[str, Any]:
    """Specification of a Kelvane block from a DWSIM unit"""
