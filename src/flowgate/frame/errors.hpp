// The one way failures become Python exceptions.
//
// Python errors (a .NET exception included: pythonnet raises it as a Python
// exception whose text is its Message) pass on unchanged; C++ failures become
// the matching Python exception. No C++ exception leaves the module.
#pragma once

#include "frame/python.hpp"

namespace flowgate {

// Inside a catch block: sets the Python error of the exception being handled.
void set_python_error() noexcept;

// Runs `body` and gives its result as a new reference, or nullptr with the
// Python error set.
template <typename Body>
PyObject* guarded(Body body) noexcept {
    try {
        return body().release().ptr();
    } catch (...) {
        set_python_error();
        return nullptr;
    }
}

// Inside a catch block: the exception being handled as a Python exception
// object when it is an Exception; anything else (KeyboardInterrupt,
// SystemExit) is thrown on.
py::object caught_exception();

// Adds `text` to the notes of the exception `e`; a failure there is dropped,
// the exception being what matters.
void add_note(py::handle e, py::handle text) noexcept;

// Runs `step`; an exception out of it carries the text that `context` gives
// as a note (Python's add_note), its type and message unchanged, so that the
// caller learns which block, stream or feed was being handled.
template <typename Step, typename Context>
auto noted(Step step, Context context) -> decltype(step()) {
    try {
        return step();
    } catch (...) {
        set_python_error();
        py::error_already_set e;
        add_note(e.value(), context());
        throw e;
    }
}

// Runs `step`; an exception of the class Exception comes back as the
// exception object, None when the step ran through.
template <typename Step>
py::object exception_of(Step step) {
    try {
        step();
        return py::none();
    } catch (...) {
        return caught_exception();
    }
}

}  // namespace flowgate
