// Binding of positional and keyword arguments to a function's parameters.
#pragma once

#include "frame/python.hpp"

#include <array>
#include <cstddef>

namespace flowgate {

// Parameters of a module function; those after the first `required` default to None.
struct Signature {
    const char* name;
    std::array<const char*, 6> params;
    std::size_t count;
    std::size_t required;
};

// Binds a vectorcall's arguments as Python binds them for a def with these
// parameters, raising the TypeError that Python raises for a wrong call.
std::array<py::handle, 6> bind(const Signature& sig, PyObject* const* args, Py_ssize_t nargs,
                               PyObject* kwnames);

}  // namespace flowgate
