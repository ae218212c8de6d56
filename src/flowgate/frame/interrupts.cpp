#include "frame/interrupts.hpp"

namespace flowgate {
namespace {

int g_depth = 0;            // guards alive, on the main thread
bool g_held = false;        // a SIGINT came while held
PyObject* g_replaced = nullptr;  // the handler to deliver to, borrowed from the outermost guard

py::module_ signal_module() { return py::module_::import("signal"); }

// The handler that holds: it only remembers.
py::object holding_handler() {
    static auto* handler = new py::object(py::cpp_function([](py::args) { g_held = true; }));
    return *handler;
}

bool on_main_thread() {
    py::module_ threading = py::module_::import("threading");
    return threading.attr("current_thread")().is(threading.attr("main_thread")());
}

}  // namespace

HeldInterrupts::HeldInterrupts() {
    if (g_depth > 0) {
        ++g_depth;
        return;
    }
    if (!on_main_thread()) return;
    py::module_ signal = signal_module();
    py::object sigint = signal.attr("SIGINT");
    py::object current = signal.attr("getsignal")(sigint);
    // Only a handler of Python's can be held and handed on; SIG_IGN and
    // SIG_DFL (or one not installed from Python) stay as they are.
    if (!PyCallable_Check(current.ptr())) return;
    signal.attr("signal")(sigint, holding_handler());
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
        py::module_ signal = signal_module();
        signal.attr("signal")(signal.attr("SIGINT"), replaced_);
        if (g_held) signal.attr("raise_signal")(signal.attr("SIGINT"));
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
    py::module_ signal = signal_module();
    py::reinterpret_borrow<py::object>(g_replaced)(signal.attr("SIGINT"), py::none());
}

}  // namespace flowgate
