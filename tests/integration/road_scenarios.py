"""The module's own road into .NET, run in a child process by the integration tests: the
first load, and the export road with a flowsheet of every translated kind."""
import logging
import os
import sys
from types import SimpleNamespace as NS

import kelvane.flowgate as fg

C = ["WATER", "METHANOL", "ETHANOL"]
# The recycle runs M1 -> H1 -> FL -> SP -> P1 -> M1; the rest is outside it.
LOOP = {"M1", "H1", "FL", "SP", "P1"}
PORTS = {"M1": (["F1", "F2", "R"], ["S1"]), "H1": (["S1"], ["S2"]), "FL": (["S2"], ["VAP", "LIQ"]),
         "SP": (["LIQ"], ["R0", "OUT"]), "P1": (["R0"], ["R"]), "K1": (["VAP"], ["GAS"]),
         "HC": (["GAS"], ["GC"]), "V1": (["GC"], ["G2"]), "SEP": (["OUT"], ["TOP", "BOT"]),
         "COL": (["BOT"], ["D", "W"])}


def loads_once():
    """available, two automation() calls and what they leave behind; a line written to the
    .NET console after the load."""
    available = fg.available()
    a, m = fg.automation()
    again = fg.automation()
    System = m["System"]
    System.Console.WriteLine("after the load")
    System.Console.Out.Flush()
    return {"available": available, "same": again[0] is a and again[1] is m, "keys": list(m),
            "folder_on_path": sys.path.count(fg.folder()), "version": str(a.GetVersion()),
            "lock_free": not fg._LOCK.locked()}


def loads_from_relative_folder():
    """The automation loaded from a folder named relative to the working directory."""
    a, _ = fg.automation()
    return {"folder": fg.folder(), "sheet": type(a.CreateFlowsheet()).__name__,
            "on_path": os.path.abspath(fg.folder()) in sys.path}


def _records():
    """What the module logs from here on, as [level, message]."""
    records = []
    handler = logging.Handler()
    handler.emit = lambda r: records.append([r.levelname, r.getMessage()])
    logging.getLogger("kelvane").addHandler(handler)
    logging.getLogger("kelvane").setLevel(logging.DEBUG)
    return records


def plant(components=C):
    """Every translated kind, a recycle, an untranslated block (COL) and a feed that enters
    nothing (LONE), on the ideal method."""
    feed = lambda T, P, flows: NS(T=T, P=P, flows=flows)
    block = lambda kind, **spec: NS(kind=kind, spec=spec)
    return NS(pp=NS(components=list(components), method="IDEAL"), meta={},
              feeds={"F1": feed(300.0, 2e5, [0.01, 0.005, 0.002]), "F2": feed(320.0, 3e5, [0.002, 0.001, 0.004]),
                     "LONE": feed(300.0, 1e5, [0.001, 0.001, 0.001])},
              blocks={"M1": block("MIXER"), "H1": block("HEATER", T=365.0), "FL": block("FLASH2", T=365.0, P=1.2e5),
                      "SP": block("FSPLIT", frac=[0.4]), "P1": block("PUMP", P=3e5, efficiency=0.7),
                      "K1": block("COMPR", P=4e5, efficiency=0.8), "HC": block("HEATER", T=300.0, dP=2e4),
                      "V1": block("VALVE", P=1.5e5), "SEP": block("SEP", split={0: {0: 0.9, 1: 0.2}}),
                      "COL": block("RADFRAC")},
              ports=PORTS)


def solve_plant():
    """solve_dwsim over the plant, and the log."""
    records = _records()
    r = fg.solve_dwsim(plant())
    return dict(r=r, log=records)


def missing_compounds(components):
    """The message of solve_dwsim's ValueError for the plant on `components`, and the log."""
    records = _records()
    try:
        fg.solve_dwsim(plant(components))
        error = None
    except ValueError as e:
        error = str(e)
    return dict(error=error, log=records)
