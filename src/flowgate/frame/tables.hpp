// The module's constant tables and process-wide state.
//
// The tables are bound as module attributes when the module is executed and
// never change afterwards; `_STATE` is the one mapping that grows (keys "a",
// "m" and "cas"), and `_LOCK` guards the one-time load of DWSIM.
#pragma once

#include "frame/python.hpp"

namespace flowgate {

// Binds R_CAL, METHODS, BACK, CLASSES, KINDS, DLLS, _STATE and _LOCK, in that order.
void bind_tables(py::module_ module);

// The module object that this process holds (set by the execute step).
py::module_ module();

// Attributes of that module, by name: the tables, `_STATE`, `_LOCK`, `log`, `np`.
py::object table(const char* name);
py::dict state();

// `from .<sibling> import <name>`, relative to the module's package.
py::object import_sibling(const char* sibling, const char* name);

}  // namespace flowgate
