// The process-wide objects: the one interpreter the module may live in, the
// one module object made there, and the module attributes that the code reads
// by name (the tables, `_STATE`, `_LOCK`, `log`, `np`).
#pragma once

#include "frame/python.hpp"

#include <cstdint>

namespace flowgate {

// The id of the interpreter the module was first loaded into, -1 before.
std::int64_t& first_interpreter();

// The module object held by the process, or nullptr.
PyObject* held_module();
void hold_module(PyObject* m);
void release_module();

// The held module; throws when none is held yet.
py::module_ module();

// An attribute of the module.
py::object module_attr(const Name& name);

// `_STATE`, the one mapping that grows: "a", "m" and "cas".
py::dict state();

// The host's logger, `log` of kelvane.diagnostics.
py::object log();

// `from .<sibling> import <name>`, relative to the module's package.
py::object import_sibling(const char* sibling, const char* name);

}  // namespace flowgate
