// kelvane.flowgate: the module definition, its two initialisation steps and
// its function table.

#include "access/automation.hpp"
#include "access/discovery.hpp"
#include "compounds/compounds.hpp"
#include "export/build.hpp"
#include "export/parameters.hpp"
#include "export/pressures.hpp"
#include "export/solve.hpp"
#include "frame/process.hpp"
#include "frame/signature.hpp"
#include "frame/tables.hpp"
#include "import/model.hpp"

#include <cstdint>

namespace flowgate {
namespace {

constexpr const char* FULL_NAME = "kelvane.flowgate";

constexpr const char* DOC =
    "DWSIM (the open-source process simulator on .NET), driven through its automation API\n"
    "(DWSIM.Automation.dll, by way of pythonnet), serves Kelvane as the Proxy solver and as\n"
    "File > Import/Export.\n"
    "\n"
    "solve_dwsim(fs): the flowsheet is built in DWSIM (components by CAS number, the property\n"
    "method with Kelvane's binary parameters: NRTL, Peng-Robinson/SRK kij), solved, and its\n"
    "streams and block results are returned in the shape in which Kelvane's other simulator\n"
    "link returns them, a mapping with the keys 'streams', 'blocks', 'errors'.\n"
    "export(fs, path): the flowsheet as a DWSIM file (.dwxmz).\n"
    "import_model(path): a DWSIM file as a Kelvane model dict (components as databank aliases\n"
    "by CAS number, method, feeds, blocks), which datamanager.flowsheet_from_dict opens.\n"
    "\n"
    "Blocks: MIXER (Mixer), FSPLIT (Splitter), SEP (ComponentSeparator, two outlets), HEATER\n"
    "(Heater), FLASH2 (Heater + Vessel), PUMP, COMPR (Compressor), VALVE; the others are\n"
    "reported as not exported. The pressures of the specifications (P or dP) become the DWSIM\n"
    "modes; the inlet pressures of the drops follow from the feeds through the flowsheet.\n"
    "\n"
    "DWSIM is looked for in %LOCALAPPDATA%/DWSIM (Windows, .NET Framework) or\n"
    "/usr/local/lib/dwsim, /usr/lib/dwsim (Linux, mono); the KELVANE_DWSIM environment\n"
    "variable or Settings > Simulators set another folder. One DWSIM instance serves a\n"
    "process: parallel runs of Kelvane use processes.";

// The interpreter the module was first loaded into, and the module object
// made there. Both live as long as the process.
std::int64_t g_interpreter = -1;
PyObject* g_module = nullptr;

using Args = std::array<py::handle, 6>;
using Body = py::object (*)(const Args&);

// The C entry of a module function: binds the call's arguments and runs the
// body; no C++ exception leaves here, Python errors pass on unchanged.
template <const Signature& Sig, Body Run>
PyObject* entry(PyObject*, PyObject* const* args, Py_ssize_t nargs, PyObject* kwnames) noexcept {
    try {
        return Run(bind(Sig, args, nargs, kwnames)).release().ptr();
    } catch (py::error_already_set& e) {
        e.restore();
    } catch (py::builtin_exception& e) {
        e.set_error();
    } catch (const std::exception& e) {
        PyErr_SetString(PyExc_RuntimeError, e.what());
    } catch (...) {
        PyErr_SetString(PyExc_RuntimeError, "unknown C++ exception in kelvane.flowgate");
    }
    return nullptr;
}

const Signature FOLDER{"folder", {}, 0, 0};
const Signature AVAILABLE{"available", {}, 0, 0};
const Signature AUTOMATION{"automation", {}, 0, 0};
const Signature COMPOUNDS{"_compounds", {"sim"}, 1, 1};
const Signature COMPOUND_NAMES{"compound_names", {"fs", "sim"}, 2, 2};
const Signature PRESSURES{"_pressures", {"fs"}, 1, 1};
const Signature SET_PARAMETERS{"_set_parameters", {"pp_dw", "pp", "names", "method"}, 4, 4};
const Signature BUILD{"build", {"fs", "a", "m"}, 3, 1};
const Signature HEATER{"_heater", {"U", "h", "sp", "pin", "pout"}, 5, 5};
const Signature SOLVE_DWSIM{"solve_dwsim", {"fs", "aliases", "save"}, 3, 1};
const Signature EXPORT{"export", {"fs", "path"}, 2, 2};
const Signature IMPORT_MODEL{"import_model", {"path"}, 1, 1};
const Signature SPEC_OF{"_spec_of", {"kind", "o", "objs", "ins", "outs", "order"}, 6, 6};

py::object run_folder(const Args&) { return folder(); }
py::object run_available(const Args&) { return available(); }
py::object run_automation(const Args&) { return automation(); }
py::object run_compounds(const Args& a) { return compounds(a[0]); }
py::object run_compound_names(const Args& a) { return compound_names(a[0], a[1]); }
py::object run_pressures(const Args& a) { return pressures(a[0]); }
py::object run_set_parameters(const Args& a) {
    set_parameters(a[0], a[1], a[2], a[3]);
    return py::none();
}
py::object run_build(const Args& a) { return build(a[0], a[1], a[2]); }
py::object run_heater(const Args& a) {
    heater(a[0], a[1], a[2], a[3], a[4]);
    return py::none();
}
py::object run_solve_dwsim(const Args& a) { return solve_dwsim(a[0], a[1], a[2]); }
py::object run_export(const Args& a) { return export_file(a[0], a[1]); }
py::object run_import_model(const Args& a) { return import_model(a[0]); }
py::object run_spec_of(const Args& a) { return spec_of(a[0], a[1], a[2], a[3], a[4], a[5]); }

template <const Signature& Sig, Body Run>
constexpr PyCFunction fastcall() {
    return reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(entry<Sig, Run>));
}

constexpr int FLAGS = METH_FASTCALL | METH_KEYWORDS;

// Each docstring opens with the text signature, which Python turns into
// __text_signature__ (for inspect.signature) and strips from __doc__; a
// function whose docstring is only that signature has a __doc__ of None.
PyMethodDef FUNCTIONS[] = {
    {"folder", fastcall<FOLDER, run_folder>(), FLAGS,
     "folder()\n--\n\nThe DWSIM installation folder, or None"},
    {"available", fastcall<AVAILABLE, run_available>(), FLAGS,
     "available()\n--\n\n"},
    {"automation", fastcall<AUTOMATION, run_automation>(), FLAGS,
     "automation()\n--\n\n(Automation3 instance, the modules) of this process, loaded once"},
    {"_compounds", fastcall<COMPOUNDS, run_compounds>(), FLAGS,
     "_compounds(sim)\n--\n\n{CAS number: DWSIM name} of the compound database"},
    {"compound_names", fastcall<COMPOUND_NAMES, run_compound_names>(), FLAGS,
     "compound_names(fs, sim)\n--\n\n"
     "{component: DWSIM name} by the CAS numbers of the databank aliases (else the names)"},
    {"_pressures", fastcall<PRESSURES, run_pressures>(), FLAGS,
     "_pressures(fs)\n--\n\n"
     "Pressures of the streams from the feeds and the pressure specifications (no thermodynamics; "
     "recycles iterated)"},
    {"_set_parameters", fastcall<SET_PARAMETERS, run_set_parameters>(), FLAGS,
     "_set_parameters(pp_dw, pp, names, method)\n--\n\n"
     "The binary parameters of Kelvane into the DWSIM package: NRTL (tau = A + B/T + F T -> "
     "(A12 + B12 T + C12 T^2)\n"
     "    / (R T) in cal/mol), kij of the cubic equations of state"},
    {"build", fastcall<BUILD, run_build>(), FLAGS,
     "build(fs, a=None, m=None)\n--\n\n"
     "The DWSIM flowsheet of a Kelvane flowsheet; (sim, {name: DWSIM object}, notes)"},
    {"_heater", fastcall<HEATER, run_heater>(), FLAGS,
     "_heater(U, h, sp, pin, pout)\n--\n\n"},
    {"solve_dwsim", fastcall<SOLVE_DWSIM, run_solve_dwsim>(), FLAGS,
     "solve_dwsim(fs, aliases=None, save=None)\n--\n\n"
     "Solve the flowsheet with DWSIM (Simulation > Proxy > DWSIM). Returns {'streams': {name: "
     "{'T', 'P', 'VFRAC',\n"
     "    'H' (Kelvane's enthalpy at the state), 'F' [kmol/s], 'x': {COMPONENT: mole fraction}}}, "
     "'blocks': {name: {'duty',\n"
     "    'power' [W]}}, 'errors': [...], 'notes': [...]}"},
    {"export", fastcall<EXPORT, run_export>(), FLAGS,
     "export(fs, path)\n--\n\n"
     "Write the flowsheet as a DWSIM file (.dwxmz); the notes of the export are returned"},
    {"import_model", fastcall<IMPORT_MODEL, run_import_model>(), FLAGS,
     "import_model(path)\n--\n\n"
     "A DWSIM file as a Kelvane model dict (datamanager.flowsheet_from_dict) and the notes: "
     "components as databank\n"
     "    aliases by CAS number, property method, feeds and the blocks of the kinds above with "
     "their connections"},
    {"_spec_of", fastcall<SPEC_OF, run_spec_of>(), FLAGS,
     "_spec_of(kind, o, objs, ins, outs, order)\n--\n\n"
     "Specification of a Kelvane block from a DWSIM unit"},
    {nullptr, nullptr, 0, nullptr},
};

// Warns, without failing, when the running interpreter is not the one the
// module was compiled for.
void check_version() {
    const int major = static_cast<int>((Py_Version >> 24) & 0xff);
    const int minor = static_cast<int>((Py_Version >> 16) & 0xff);
    if (major == PY_MAJOR_VERSION && minor == PY_MINOR_VERSION) return;
    char message[200];
    PyOS_snprintf(message, sizeof message,
                  "compile time Python version %d.%d of module '%.100s' %s runtime version %d.%d",
                  PY_MAJOR_VERSION, PY_MINOR_VERSION, FULL_NAME, "does not match", major, minor);
    if (PyErr_WarnEx(nullptr, message, 1) < 0) throw py::error_already_set();
}

void enter_sys_modules(py::module_ m) {
    py::dict modules = py::module_::import("sys").attr("modules");
    if (!modules.contains(FULL_NAME)) modules[FULL_NAME] = m;
}

// The required imports, bound in the module under these names.
void import_required(py::module_ m) {
    m.attr("os") = py::module_::import("os");
    m.attr("sys") = py::module_::import("sys");
    m.attr("threading") = py::module_::import("threading");
    m.attr("np") = py::module_::import("numpy");
    m.attr("log") = import_from("diagnostics", "log", 1, m.attr("__dict__"));
}

PyObject* create(PyObject* spec, PyModuleDef*) {
    const std::int64_t id = PyInterpreterState_GetID(PyInterpreterState_Get());
    if (id < 0) return nullptr;
    if (g_interpreter == -1) g_interpreter = id;
    if (g_interpreter != id) {
        PyErr_SetString(PyExc_ImportError,
                        "Interpreter change detected - this module can only be loaded into one "
                        "interpreter per process.");
        return nullptr;
    }
    if (g_module != nullptr) return Py_NewRef(g_module);
    auto name = py::reinterpret_steal<py::object>(PyObject_GetAttrString(spec, "name"));
    if (!name) return nullptr;
    return PyModule_NewObject(name.ptr());
}

int exec(PyObject* m) {
    if (g_module != nullptr) {
        if (g_module == m) return 0;
        PyErr_SetString(PyExc_RuntimeError,
                        "Module 'flowgate' has already been imported. Re-initialisation is not "
                        "supported.");
        return -1;
    }
    g_module = Py_NewRef(m);
    try {
        auto module = py::reinterpret_borrow<py::module_>(m);
        check_version();
        enter_sys_modules(module);
        import_required(module);
        bind_tables(module);
        if (PyModule_AddFunctions(m, FUNCTIONS) < 0) throw py::error_already_set();
        return 0;
    } catch (py::error_already_set& e) {
        e.restore();
    } catch (py::builtin_exception& e) {
        e.set_error();
    } catch (const std::exception& e) {
        PyErr_SetString(PyExc_RuntimeError, e.what());
    }
    // A failed body lets go of the module, so that a later import starts over.
    Py_CLEAR(g_module);
    return -1;
}

PyModuleDef_Slot SLOTS[] = {
    {Py_mod_create, reinterpret_cast<void*>(create)},
    {Py_mod_exec, reinterpret_cast<void*>(exec)},
    {0, nullptr},
};

PyModuleDef DEFINITION = {
    PyModuleDef_HEAD_INIT, "flowgate", DOC, 0, nullptr, SLOTS, nullptr, nullptr, nullptr,
};

}  // namespace

py::module_ process_module() {
    if (g_module == nullptr) throw std::logic_error("kelvane.flowgate is not initialised");
    return py::reinterpret_borrow<py::module_>(g_module);
}

}  // namespace flowgate

PyMODINIT_FUNC PyInit_flowgate() { return PyModuleDef_Init(&flowgate::DEFINITION); }
