// A host flowsheet as a DWSIM flowsheet.
#pragma once

#include "frame/python.hpp"

namespace flowgate {

// (sim, {name: DWSIM object}, notes); `a` None loads the automation state.
py::tuple build(py::handle fs, py::handle a, py::handle m);

// Mode and values of a DWSIM heater from a HEATER or FLASH2 specification.
void heater(py::handle U, py::handle h, py::handle sp, py::handle pin, py::handle pout);

}  // namespace flowgate
