// A DWSIM file as a host model mapping.
#pragma once

#include "frame/python.hpp"

namespace flowgate {

// (model mapping, notes).
py::tuple import_model(py::handle path);

}  // namespace flowgate
