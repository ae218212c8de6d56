"""What the module is at import: tables, functions, and the one-interpreter rules."""
import inspect

import pytest

from child import call

FUNCTIONS = [
    ("folder", "()", "The DWSIM installation folder, or None"),
    ("available", "()", None),
    ("automation", "()", "(Automation3 instance, the modules) of this process, loaded once"),
    ("_compounds", "(sim)", "{CAS number: DWSIM name} of the compound database"),
    ("compound_names", "(fs, sim)",
     "{component: DWSIM name} by the CAS numbers of the databank aliases (else the names)"),
    ("_pressures", "(fs)",
     "Pressures of the streams from the feeds and the pressure specifications "
     "(no thermodynamics; recycles iterated)"),
    ("_set_parameters", "(pp_dw, pp, names, method)",
     "The binary parameters of Kelvane into the DWSIM package: NRTL (tau = A + B/T + F T -> "
     "(A12 + B12 T + C12 T^2)\n    / (R T) in cal/mol), kij of the cubic equations of state"),
    ("build", "(fs, a=None, m=None)",
     "The DWSIM flowsheet of a Kelvane flowsheet; (sim, {name: DWSIM object}, notes)"),
    ("_heater", "(U, h, sp, pin, pout)", None),
    ("solve_dwsim", "(fs, aliases=None, save=None)",
     "Solve the flowsheet with DWSIM (Simulation > Proxy > DWSIM). Returns {'streams': "
     "{name: {'T', 'P', 'VFRAC',\n    'H' (Kelvane's enthalpy at the state), 'F' [kmol/s], "
     "'x': {COMPONENT: mole fraction}}}, 'blocks': {name: {'duty',\n    'power' [W]}}, "
     "'errors': [...], 'notes': [...]}"),
    ("export", "(fs, path)",
     "Write the flowsheet as a DWSIM file (.dwxmz); the notes of the export are returned"),
    ("import_model", "(path)",
     "A DWSIM file as a Kelvane model dict (datamanager.flowsheet_from_dict) and the notes: "
     "components as databank\n    aliases by CAS number, property method, feeds and the "
     "blocks of the kinds above with their connections"),
    ("_spec_of", "(kind, o, objs, ins, outs, order)",
     "Specification of a Kelvane block from a DWSIM unit"),
]


def test_attributes_in_order(flowgate):
    names = [k for k in vars(flowgate) if not k.startswith("__")]
    assert names == ["os", "sys", "threading", "np", "log", "R_CAL", "METHODS", "BACK",
                     "CLASSES", "KINDS", "DLLS", "_STATE", "_LOCK"] + [f[0] for f in FUNCTIONS]
    assert flowgate.np is __import__("numpy")
    from kelvane.diagnostics import log
    assert flowgate.log is log


def test_tables(flowgate):
    assert flowgate.R_CAL == 1.98721
    assert list(flowgate.METHODS.items()) == [
        ("IDEAL", "Raoult's Law"), ("NRTL", "NRTL"), ("WILSON", "Wilson"), ("UNIQUAC", "UNIQUAC"),
        ("PENG-ROB", "Peng-Robinson (PR)"), ("RK-SOAVE", "Soave-Redlich-Kwong (SRK)")]
    assert all(flowgate.BACK[v] == k for k, v in flowgate.METHODS.items())
    assert list(flowgate.BACK) == list(flowgate.METHODS.values())
    assert list(flowgate.CLASSES.items()) == [
        ("Mixer", "MIXER"), ("Splitter", "FSPLIT"), ("ComponentSeparator", "SEP"),
        ("Heater", "HEATER"), ("Cooler", "HEATER"), ("Vessel", "FLASH2"), ("Pump", "PUMP"),
        ("Compressor", "COMPR"), ("Valve", "VALVE")]
    assert list(flowgate.KINDS.items()) == [
        ("MIXER", "NodeIn"), ("FSPLIT", "NodeOut"), ("SEP", "ComponentSeparator"),
        ("HEATER", "Heater"), ("FLASH2", "Vessel"), ("PUMP", "Pump"), ("COMPR", "Compressor"),
        ("VALVE", "Valve")]
    # the one place the assembly list is written; everything else reads flowgate.DLLS
    assert flowgate.DLLS == ("DWSIM.Automation", "DWSIM.Interfaces", "DWSIM.GlobalSettings", "DWSIM.SharedClasses",
                             "DWSIM.Thermodynamics", "DWSIM.UnitOperations", "DWSIM.Inspector", "DWSIM.MathOps",
                             "System.Buffers")
    assert type(flowgate._LOCK) is type(__import__("threading").Lock())


@pytest.mark.parametrize("name, signature, doc", FUNCTIONS)
def test_functions(flowgate, name, signature, doc):
    fn = getattr(flowgate, name)
    assert str(inspect.signature(fn)) == signature
    assert fn.__doc__ == doc
    assert fn.__module__ == "kelvane.flowgate"


def test_module_docstring_names_the_entry_points(flowgate):
    for words in ("DWSIM.Automation.dll", "solve_dwsim(fs)", "export(fs, path)",
                  "import_model(path)", "FLASH2 (Heater + Vessel)", "KELVANE_DWSIM"):
        assert words in flowgate.__doc__


@pytest.mark.parametrize("call, words", [
    (lambda f: f.folder(1), r"folder\(\) takes 0 positional arguments but 1 was given"),
    (lambda f: f.build(), r"build\(\) missing required argument 'fs'"),
    (lambda f: f.build(1, fs=1), r"build\(\) got multiple values for argument 'fs'"),
    (lambda f: f.solve_dwsim(1, save=None, saved=1), r"unexpected keyword argument 'saved'"),
    (lambda f: f._pressures(1, 2), r"takes 1 positional argument but 2 were given"),
])
def test_wrong_calls_raise_type_error(flowgate, call, words):
    with pytest.raises(TypeError, match=words):
        call(flowgate)


def test_keywords_bind_like_a_def(flowgate):
    from types import SimpleNamespace as NS
    fs = NS(feeds={"F": NS(P=1.0)}, blocks={}, ports={})
    assert flowgate._pressures(fs=fs) == {"F": 1.0}


def test_import_without_optional_dependencies():
    # pythonnet, PySide6 and any .NET namespace refuse to import; the module
    # still loads and answers folder and available.
    assert call("frame_scenarios:without_optional_dependencies", env={"KELVANE_DWSIM": ""}) == [False, {}, []]


def test_second_import_gives_the_same_module_and_runs_the_body_once():
    assert call("frame_scenarios:imported_twice") == [True, {"marker": 1}, True]


def test_subinterpreter_import_raises():
    assert call("frame_scenarios:in_a_second_interpreter") == (
        "<class 'ImportError'>: Interpreter change detected - this module can only be "
        "loaded into one interpreter per process.")


def test_second_module_object_is_refused():
    assert call("frame_scenarios:second_module_object") == [
        "RuntimeError", "Module 'flowgate' has already been imported. Re-initialisation is not supported."]


def test_failed_body_lets_a_later_import_start_over():
    # A host package whose diagnostics module fails at first: the import fails with
    # that error, and succeeds once the cause is gone.
    assert call("frame_scenarios:after_a_failed_body") == ["no log today", "test", True]
