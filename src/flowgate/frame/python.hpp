// Python's own semantics, reached through the C API.
//
// Host and DWSIM objects are Python objects: numbers, mappings and strings are
// converted, compared and tested the way the interpreter would do it, so that
// numpy scalars, None and odd inputs behave exactly as in Python code.
#pragma once

#include <pybind11/pybind11.h>

#include <string>
#include <utility>

namespace flowgate {

namespace py = pybind11;

// Throws the pending Python error as a C++ exception when `result` is null,
// otherwise takes ownership of the new reference.
py::object steal_or_throw(PyObject* result);

// A str made once, interned, and kept for the life of the process; for the
// names that hot paths use on every call (`static const py::handle P = intern("P");`).
py::handle intern(const char* text);

// Raises `type` (a builtin exception class) with `message`.
[[noreturn]] void raise(PyObject* type, const std::string& message);

// float(x): a Python float, or the TypeError/ValueError that float() raises.
py::object to_float(py::handle x);

// float(x) as a C++ double, for arithmetic that stays inside the module.
double as_double(py::handle x);

// int(x).
py::object to_int(py::handle x);

// bool(x), as `if x:` would test it.
bool truthy(py::handle x);

// x <op> y with Python's rich comparison; op is Py_LT, Py_EQ, Py_GT, ...
bool compare(py::handle x, int op, py::handle y);

// x == y.
bool equal(py::handle x, py::handle y);

// x in container.
bool contains(py::handle container, py::handle x);

// mapping.get(key, default): the mapping's own get method.
py::object get(py::handle mapping, py::handle key, py::handle dflt = py::none());

// getattr(o, name, default): only AttributeError gives the default.
py::object attr_or(py::handle o, const char* name, py::handle dflt = py::none());

// ins, outs = pair: Python's unpacking of an iterable into two names, with
// its ValueError when the iterable has another length.
std::pair<py::object, py::object> unpack2(py::handle pair);

// `from module import name`, with the ImportError that statement raises.
// With `level` 1 and the importing module's globals it is the relative
// `from .module import name`.
py::object import_from(const char* module, const char* name, int level = 0,
                       py::handle globals = py::handle());

// A builtin by name: min, sorted, abs, str, ...
py::object builtin(const char* name);

}  // namespace flowgate
