// A host flowsheet as a DWSIM flowsheet.
#pragma once

#include "access/automation.hpp"
#include "frame/python.hpp"

namespace flowgate {

// What build hands to the solve and the export: the flowsheet, built and not
// solved; {name: DWSIM object}; the notes; and the streams and blocks whose
// DWSIM state is no result, as nothing feeds them (DWSIM's placeholder state
// of a stream, and what it reaches).
struct Built {
    py::object sim;
    py::dict obj;
    py::list notes;
    py::set phantom_streams, phantom_blocks;
};

Built build(py::handle fs, const Automation& at);

// The module function: (sim, obj, notes); `a` None loads the automation state.
py::tuple build(py::handle fs, py::handle a, py::handle m);

}  // namespace flowgate
