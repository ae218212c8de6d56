"""The import road in a child process: DWSIM files imported, opened by the host,
solved through the module, and taken round export and import again."""
import copy
import os

import kelvane.flowgate as fg
from kelvane.datamanager import flowsheet_from_dict


def jsonable(value):
    """The model with its integer keys (a separator's split) as text, for the trip home."""
    if isinstance(value, dict):
        return {str(k): jsonable(v) for k, v in value.items()}
    if isinstance(value, (list, tuple)):
        return [jsonable(v) for v in value]
    return value


def open_and_solve(path):
    """The model of a DWSIM file, opened as a host flowsheet and solved through the module."""
    model, notes = fg.import_model(path)
    fs = flowsheet_from_dict(copy.deepcopy(model))
    results = fg.solve_dwsim(fs)
    return dict(model=jsonable(model), notes=notes, results=jsonable(results))


def round_trip(model, folder, times=2):
    """A host model exported and imported `times` times; every model on the way and the notes."""
    models, notes = [model], []
    for k in range(times):
        os.makedirs(f"{folder}/{k}")
        path = f"{folder}/{k}/{model['name'].lower()}.dwxmz"   # the model's name comes from the file's
        fg.export(flowsheet_from_dict(copy.deepcopy(models[-1])), path)
        back, said = fg.import_model(path)
        models.append(jsonable(back))
        notes.append(said)
    return dict(models=models, notes=notes)


def sample_round_trip(path, folder):
    """A DWSIM file imported, exported and imported again."""
    model, _ = fg.import_model(path)
    return round_trip(jsonable(model), folder, times=1)


def odd_paths(folder, model):
    """A model exported to and imported from a pathlib.Path, and a file name with a byte that
    is no UTF-8 (a surrogate escape in Python, which .NET text cannot hold)."""
    from pathlib import Path
    out = {}
    for name in ("plain.dwxmz", "caf\udce9.dwxmz"):
        target = Path(folder) / name
        fg.export(flowsheet_from_dict(copy.deepcopy(model)), target)
        back, _ = fg.import_model(target)
        out[name.encode("utf-8", "surrogateescape").hex()] = dict(exists=target.exists(), name=back["name"],
                                                                   blocks=list(back["blocks"]))
    out["files"] = sorted(n.encode("utf-8", "surrogateescape").hex() for n in os.listdir(folder))
    return out


def broken_files(folder):
    """What the caller learns of a file DWSIM cannot read, under a plain name and under one
    that is read through a copy: whether a note names the file the caller gave."""
    out = {}
    for name in ("plain.dwxml", "caf\udce9.dwxml"):
        path = os.path.join(folder, name)
        with open(path, "wb") as f:
            f.write(b"<DWSIM_Simulation_Data><SimulationObjects>")  # cut off
        try:
            fg.import_model(path)
            out[name.encode("utf-8", "surrogateescape").hex()] = None
        except Exception as e:
            out[name.encode("utf-8", "surrogateescape").hex()] = any(repr(path) in n for n in getattr(e, "__notes__", []))
    return out
