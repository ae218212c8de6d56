// The working state of one call of build, shared by the construction of the
// streams and the translation of the blocks, with the operations on it.
#pragma once

#include "frame/python.hpp"

#include <utility>

namespace flowgate {

// fmt % (value,): a note with one "%s", filled as Python fills it.
py::object fill(const char* fmt, py::handle value);

struct Build {
    py::object fs;
    py::object OT, U;           // ObjectType and the UnitOperations namespace
    py::object Array, Double;   // System's, for the compositions
    py::object sim;             // the DWSIM flowsheet being built
    py::object names;           // {component: DWSIM compound name}
    py::object pos;             // {stream or block: (x, y)}
    py::dict obj;               // {name: DWSIM object}
    py::dict P;                 // {stream: pressure in Pa}, where known
    py::list comps;             // fs.pp.components, in their one order
    py::list notes;

    // Drawing place of `n`; without one, place `k` of the default row.
    std::pair<py::object, py::object> xy(py::handle n, py::ssize_t k = 0) const;

    // Output port `i` of `x` to input port `j` of `y`; -1 leaves it to DWSIM.
    void connect(py::handle x, py::handle y, py::ssize_t i = -1, py::ssize_t j = -1) const;

    // The energy stream of block `name`, into `unit` or out of it.
    py::object energy(py::handle name, py::handle unit, bool into = true) const;

    void note(const char* fmt, py::handle value) { notes.append(fill(fmt, value)); }
};

}  // namespace flowgate
