// A DWSIM file as a host model mapping.
#pragma once

#include "frame/python.hpp"

namespace flowgate {

// (model mapping, notes).
py::tuple import_model(py::handle path);

// Specification of a host block read back from a DWSIM unit.
py::dict spec_of(py::handle kind, py::handle o, py::handle objs, py::handle ins, py::handle outs,
                 py::handle order);

}  // namespace flowgate
