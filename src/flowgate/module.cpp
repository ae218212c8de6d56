// kelvane.flowgate: the module definition, its two initialisation steps and
// its functions, each written once in one table.

#include "access/automation.hpp"
#include "access/discovery.hpp"
#include "access/turn.hpp"
#include "compounds/compounds.hpp"
#include "export/build.hpp"
#include "export/parameters.hpp"
#include "export/pressures.hpp"
#include "export/solve.hpp"
#include "frame/errors.hpp"
#include "frame/interrupts.hpp"
#include "frame/process.hpp"
#include "frame/signature.hpp"
#include "frame/tables.hpp"
#include "import/model.hpp"
#include "kinds/kind.hpp"

#include <string>
#include <utility>
#include <vector>

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

using Args = std::array<py::handle, 6>;

// A module function: its signature, its docstring (nullptr for none), whether
// it uses DWSIM, and its body.
struct Function {
    Signature sig;
    const char* doc;
    bool dwsim;
    py::object (*body)(const Args&);
};

const Function FUNCTIONS[] = {
    {{"folder", {}, 0, 0}, "The DWSIM installation folder, or None",
     false,
     [](const Args&) { return folder(); }},
    {{"available", {}, 0, 0}, nullptr,
     false,
     [](const Args&) { return available(); }},
    {{"automation", {}, 0, 0}, "(Automation3 instance, the modules) of this process, loaded once",
     true,
     [](const Args&) -> py::object { return automation(); }},
    {{"_compounds", {"sim"}, 1, 1}, "{CAS number: DWSIM name} of the compound database",
     true,
     [](const Args& a) -> py::object { return compounds(a[0]); }},
    {{"compound_names", {"fs", "sim"}, 2, 2},
     "{component: DWSIM name} by the CAS numbers of the databank aliases (else the names)",
     true,
     [](const Args& a) -> py::object { return compound_names(a[0], a[1]); }},
    {{"_pressures", {"fs"}, 1, 1},
     "Pressures of the streams from the feeds and the pressure specifications (no thermodynamics; "
     "recycles iterated)",
     false,
     [](const Args& a) -> py::object { return pressures(a[0]); }},
    {{"_set_parameters", {"pp_dw", "pp", "names", "method"}, 4, 4},
     "The binary parameters of Kelvane into the DWSIM package: NRTL (tau = A + B/T + F T -> "
     "(A12 + B12 T + C12 T^2)\n"
     "    / (R T) in cal/mol), kij of the cubic equations of state",
     true,
     [](const Args& a) -> py::object {
         set_parameters(a[0], a[1], a[2], a[3]);  // its notes go to build's list
         return py::none();
     }},
    {{"build", {"fs", "a", "m"}, 3, 1},
     "The DWSIM flowsheet of a Kelvane flowsheet; (sim, {name: DWSIM object}, notes)",
     true,
     [](const Args& a) -> py::object { return build(a[0], a[1], a[2]); }},
    {{"_heater", {"U", "h", "sp", "pin", "pout"}, 5, 5}, nullptr,
     true,
     [](const Args& a) -> py::object {
         heater(a[0], a[1], a[2], a[3], a[4]);
         return py::none();
     }},
    {{"solve_dwsim", {"fs", "aliases", "save"}, 3, 1},
     "Solve the flowsheet with DWSIM (Simulation > Proxy > DWSIM). Returns {'streams': {name: "
     "{'T', 'P', 'VFRAC',\n"
     "    'H' (Kelvane's enthalpy at the state), 'F' [kmol/s], 'x': {COMPONENT: mole fraction}}}, "
     "'blocks': {name: {'duty',\n"
     "    'power' [W]}}, 'errors': [...], 'notes': [...]}",
     true,
     [](const Args& a) -> py::object { return solve_dwsim(a[0], a[1], a[2]); }},
    {{"export", {"fs", "path"}, 2, 2},
     "Write the flowsheet as a DWSIM file (.dwxmz); the notes of the export are returned",
     true,
     [](const Args& a) -> py::object { return export_file(a[0], a[1]); }},
    {{"import_model", {"path"}, 1, 1},
     "A DWSIM file as a Kelvane model dict (datamanager.flowsheet_from_dict) and the notes: "
     "components as databank\n"
     "    aliases by CAS number, property method, feeds and the blocks of the kinds above with "
     "their connections",
     true,
     [](const Args& a) -> py::object { return import_model(a[0]); }},
    {{"_spec_of", {"kind", "o", "objs", "ins", "outs", "order"}, 6, 6},
     "Specification of a Kelvane block from a DWSIM unit",
     true,
     [](const Args& a) -> py::object {
         auto own = [](py::handle h) { return py::reinterpret_borrow<py::object>(h); };
         return spec_of(a[0], Unit{own(a[1]), own(a[2]), own(a[3]), own(a[4]), own(a[5])});
     }},
};

constexpr std::size_t COUNT = std::size(FUNCTIONS);

// The C entry of function I: binds the call's arguments and runs the body.
// A function that uses DWSIM takes the turn, and holds Ctrl-C while it works.
py::object run(const Function& f, PyObject* const* args, Py_ssize_t nargs, PyObject* kwnames) {
    const Args bound = bind(f.sig, args, nargs, kwnames);
    if (!f.dwsim) return f.body(bound);
    DwsimTurn turn;
    HeldInterrupts held;
    py::object result = f.body(bound);
    deliver_interrupts();
    return result;
}

template <std::size_t I>
PyObject* entry(PyObject*, PyObject* const* args, Py_ssize_t nargs, PyObject* kwnames) noexcept {
    return guarded([&] { return run(FUNCTIONS[I], args, nargs, kwnames); });
}

// The docstring opens with the text signature, which Python turns into
// __text_signature__ (for inspect.signature) and strips from __doc__; a
// function whose docstring is only that signature has a __doc__ of None.
std::string docstring(const Function& f) {
    std::string text = std::string(f.sig.name) + "(";
    for (std::size_t i = 0; i < f.sig.count; ++i) {
        if (i > 0) text += ", ";
        text += f.sig.params[i];
        if (i >= f.sig.required) text += "=None";
    }
    return text + ")\n--\n\n" + (f.doc != nullptr ? f.doc : "");
}

template <std::size_t... I>
PyMethodDef* method_table(std::index_sequence<I...>) {
    static const std::vector<std::string> docs{docstring(FUNCTIONS[I])...};
    static PyMethodDef table[] = {
        {FUNCTIONS[I].sig.name, reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(entry<I>)),
         METH_FASTCALL | METH_KEYWORDS, docs[I].c_str()}...,
        {nullptr, nullptr, 0, nullptr},
    };
    return table;
}

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
    std::int64_t& first = first_interpreter();
    if (first == -1) first = id;
    if (first != id) {
        PyErr_SetString(PyExc_ImportError,
                        "Interpreter change detected - this module can only be loaded into one "
                        "interpreter per process.");
        return nullptr;
    }
    if (held_module() != nullptr) return Py_NewRef(held_module());
    auto name = py::reinterpret_steal<py::object>(PyObject_GetAttrString(spec, "name"));
    if (!name) return nullptr;
    return PyModule_NewObject(name.ptr());
}

int exec(PyObject* m) {
    if (held_module() != nullptr) {
        if (held_module() == m) return 0;
        PyErr_SetString(PyExc_RuntimeError,
                        "Module 'flowgate' has already been imported. Re-initialisation is not "
                        "supported.");
        return -1;
    }
    hold_module(m);
    PyObject* done = guarded([m] {
        auto module = py::reinterpret_borrow<py::module_>(m);
        check_version();
        enter_sys_modules(module);
        import_required(module);
        bind_tables(module, classes_table(), kinds_table());
        if (PyModule_AddFunctions(m, method_table(std::make_index_sequence<COUNT>())) < 0) {
            throw py::error_already_set();
        }
        return py::none();
    });
    if (done != nullptr) {
        Py_DECREF(done);
        return 0;
    }
    // A failed body lets go of the module, so that a later import starts over.
    release_module();
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
}  // namespace flowgate

PyMODINIT_FUNC PyInit_flowgate() { return PyModuleDef_Init(&flowgate::DEFINITION); }
