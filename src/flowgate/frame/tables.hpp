// The module's constant tables.
//
// They are bound as module attributes when the module is executed and never
// change afterwards. CLASSES and KINDS are derived from the table of block
// kinds, which stands above this folder and hands its rows down.
#pragma once

#include "frame/python.hpp"

#include <vector>

namespace flowgate {

struct Row {
    const char* key;
    const char* value;
};

// Binds R_CAL, METHODS, BACK, CLASSES, KINDS, DLLS, _STATE and _LOCK, in that order.
void bind_tables(py::module_ m, const std::vector<Row>& classes, const std::vector<Row>& kinds);

// A table of the module by name (METHODS, BACK, CLASSES, KINDS, DLLS, R_CAL).
py::object table(const Name& name);

}  // namespace flowgate
