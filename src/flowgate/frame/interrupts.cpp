#include "frame/interrupts.hpp"

#include <csignal>

namespace flowgate {
namespace {

int g_depth = 0;            // guards alive, on the main thread
bool g_held = false;        // a SIGINT came while held
PyObject* g_replaced = nullptr;  // the handler to deliver to, borrowed from the outermost guard

// The C module behind `signal`: the same handlers, without the enum
// conversions of `signal`'s wrappers, which cost most of a call that holds.
py::handle signal_module() {
    static auto* module = new py::object(py::module_::import("_signal"));  // lives as long as the process
    return *module;
}

const Name SIGNAL{"signal"}, GETSIGNAL{"getsignal"}, RAISE_SIGNAL{"raise_signal"};

py::object sigint() { return py::int_(SIGINT); }

// The handler that holds: it only remembers.
py::object holding_handler() {
    static auto* handler = new py::object(py::cpp_function([](py::args) { g_held = true; }));
    return *handler;
}

bool on_main_thread() {
    static auto* threading = new py::object(py::module_::import("threading"));
    static const Name MAIN_THREAD{"main_thread"}, IDENT{"ident"};
    py::object main = attr(call_method(*threading, MAIN_THREAD), IDENT);
    return PyLong_AsUnsignedLong(main.ptr()) == PyThread_get_thread_ident();
}

}  // namespace

HeldInterrupts::HeldInterrupts() {
    if (g_depth > 0) {
        ++g_depth;
        return;
    }
    if (!on_main_thread()) return;
    py::object current = call_method(signal_module(), GETSIGNAL, sigint());
    // Only a handler of Python's can be held and handed on; SIG_IGN and
    // SIG_DFL (or one not installed from Python) stay as they are.
    if (!PyCallable_Check(current.ptr())) return;
    call_method(signal_module(), SIGNAL, sigint(), holding_handler());
    replaced_ = current;
    g_replaced = replaced_.ptr();
    g_held = false;
    g_depth = 1;
}

HeldInterrupts::~HeldInterrupts() {
    if (g_depth == 0) return;
    if (--g_depth > 0 || !replaced_) return;
    py::error_scope pending;  // an error already on its way out stays untouched
    try {
        call_method(signal_module(), SIGNAL, sigint(), replaced_);
        if (g_held) call_method(signal_module(), RAISE_SIGNAL, sigint());
    } catch (py::error_already_set& e) {
        e.discard_as_unraisable(replaced_);
    }
    g_held = false;
    g_replaced = nullptr;
}

void deliver_interrupts() {
    if (g_replaced == nullptr) return;
    // A signal that came during a .NET call has only been flagged by the
    // interpreter; its handler (the holding one) runs here.
    if (PyErr_CheckSignals() < 0) throw py::error_already_set();
    if (!g_held) return;
    g_held = false;
    py::reinterpret_borrow<py::object>(g_replaced)(sigint(), py::none());
}

}  // namespace flowgate
