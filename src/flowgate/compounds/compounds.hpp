// From host components to DWSIM compound names.
#pragma once

#include "frame/python.hpp"

namespace flowgate {

// {CAS number: DWSIM name} of DWSIM's compound database, built once per process.
py::dict compounds(py::handle sim);

// {component: DWSIM name}, by the CAS numbers of the databank aliases, else by name.
py::dict compound_names(py::handle fs, py::handle sim);

}  // namespace flowgate
