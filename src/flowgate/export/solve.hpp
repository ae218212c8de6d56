// Solving a host flowsheet in DWSIM, and writing it as a DWSIM file.
#pragma once

#include "frame/python.hpp"

namespace flowgate {

// The results mapping {"streams", "blocks", "errors", "notes"}.
py::dict solve_dwsim(py::handle fs, py::handle aliases, py::handle save);

// Saves the unsolved flowsheet to `path`; returns the notes of the export.
py::list export_file(py::handle fs, py::handle path);

}  // namespace flowgate
