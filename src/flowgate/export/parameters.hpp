// The host's binary interaction parameters into a DWSIM property package.
#pragma once

#include "frame/python.hpp"

namespace flowgate {

void set_parameters(py::handle pp_dw, py::handle pp, py::handle names, py::handle method);

}  // namespace flowgate
