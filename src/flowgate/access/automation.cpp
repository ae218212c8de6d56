#include "access/automation.hpp"

#include "access/discovery.hpp"
#include "frame/process.hpp"
#include "frame/tables.hpp"

namespace flowgate {
namespace {

constexpr const char* NOT_INSTALLED = "DWSIM is not installed (Settings > Simulators: its folder)";

const Name A{"a"}, M{"m"}, OBJECT_TYPE{"ObjectType"}, UNITS{"U"}, LOCK{"_LOCK"};

// Holds _LOCK for the lifetime of the guard; released on every way out.
class LockGuard {
public:
    explicit LockGuard(py::object lock) : lock_(std::move(lock)) { lock_.attr("acquire")(); }
    ~LockGuard() {
        py::error_scope pending;  // an error already on its way out stays untouched
        try {
            lock_.attr("release")();
        } catch (py::error_already_set& e) {
            e.discard_as_unraisable(lock_);
        }
    }
    LockGuard(const LockGuard&) = delete;
    LockGuard& operator=(const LockGuard&) = delete;

private:
    py::object lock_;
};

// pythonnet's and clr-loader's shutdown at exit look methods up in Mono, and
// Mono 6.8 aborts there: always when the runtime was started on a thread
// other than the main one, now and then otherwise ("Cannot transition
// thread ... from STATE_BLOCKING"). Like everything the module loads, the
// runtime is left to end with the process.
void keep_runtime_to_the_end(py::handle pythonnet) {
    py::module_ atexit = py::module_::import("atexit");
    py::object unload = py::getattr(pythonnet, "unload", py::none());
    if (!unload.is_none()) atexit.attr("unregister")(unload);
    py::object mono = py::module_::import("sys").attr("modules").attr("get")("clr_loader.mono");
    py::object release = mono.is_none() ? py::none() : py::getattr(mono, "_release", py::none());
    if (!release.is_none()) atexit.attr("unregister")(release);
}

// Starts the runtime; one that already runs in this process is no error.
void load_runtime(py::handle sys) {
    py::object pythonnet = py::module_::import("pythonnet");
    const bool windows = equal(sys.attr("platform"), py::str("win32"));
    try {
        pythonnet.attr("load")(windows ? "netfx" : "mono");
    } catch (py::error_already_set& e) {
        if (!e.matches(PyExc_RuntimeError)) throw;
    }
    if (!windows) keep_runtime_to_the_end(pythonnet);
}

// References each assembly by full path when the folder holds it, else by
// name, leaving the search to the runtime.
void reference_assemblies(py::handle clr, py::handle where, py::handle os) {
    static const Name DLLS{"DLLS"};
    py::object join = os.attr("path").attr("join");
    py::object exists = os.attr("path").attr("exists");
    py::object add_reference = clr.attr("AddReference");
    for (py::handle name : py::tuple(table(DLLS))) {
        py::object path = join(where, py::str(name) + py::str(".dll"));
        add_reference(truthy(exists(path)) ? path : py::reinterpret_borrow<py::object>(name));
    }
}

// Automation3 writes to the .NET console while it loads; that output is
// discarded, and the console is given back whatever happens.
py::object create_automation(py::handle System) {
    py::object console = System.attr("Console");
    py::object previous = console.attr("Out");
    console.attr("SetOut")(System.attr("IO").attr("TextWriter").attr("Null"));
    try {
        py::object a = import_from("DWSIM.Automation", "Automation3")();
        console.attr("SetOut")(previous);
        return a;
    } catch (...) {
        console.attr("SetOut")(previous);
        throw;
    }
}

void load(const py::dict& st) {
    py::object where = folder();
    if (where.is_none()) raise(PyExc_RuntimeError, NOT_INSTALLED);

    py::module_ os = py::module_::import("os");
    // The runtime resolves an assembly path against its own base, not the
    // working directory: a folder given relative is made absolute here.
    where = os.attr("path").attr("abspath")(where);
    py::module_ sys = py::module_::import("sys");
    load_runtime(sys);
    py::module_ clr = py::module_::import("clr");
    py::object path = sys.attr("path");
    if (!path.contains(where)) path.attr("append")(where);
    reference_assemblies(clr, where, os);

    py::module_ System = py::module_::import("System");
    py::object a = create_automation(System);
    py::object object_type = import_from("DWSIM.Interfaces.Enums.GraphicObjects", "ObjectType");
    py::module_ units = py::module_::import("DWSIM.UnitOperations");

    py::dict m;
    m["ObjectType"] = object_type;
    m["U"] = units.attr("UnitOperations");
    m["System"] = System;
    m["clr"] = clr;
    st[A.get()] = a;
    st[M.get()] = m;
}

}  // namespace

py::tuple automation() {
    LockGuard guard(module_attr(LOCK));
    py::dict st = state();
    if (!st.contains(A.get())) load(st);
    return py::make_tuple(item(st, A), item(st, M));
}

Automation automation_state() {
    auto [a, m] = unpack2(automation());
    return automation_of(a, m);
}

Automation automation_of(py::handle a, py::handle m) {
    return {py::reinterpret_borrow<py::object>(a), py::reinterpret_borrow<py::object>(m), item(m, OBJECT_TYPE),
            item(m, UNITS)};
}

}  // namespace flowgate
