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
