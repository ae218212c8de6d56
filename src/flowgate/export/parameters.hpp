// The host's binary interaction parameters into a DWSIM property package.
#pragma once

#include "frame/python.hpp"

namespace flowgate {

// Writes the host's parameters for `method` into the package; the notes on
// what could not be carried over in full (also logged as warnings).
py::list set_parameters(py::handle pp_dw, py::handle pp, py::handle names, py::handle method);

}  // namespace flowgate
