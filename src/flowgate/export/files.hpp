// DWSIM files as the module writes them: the path checked before anything is
// built, and the file written whole or not at all.
#pragma once

#include "frame/python.hpp"

namespace flowgate {

// The path as a str (any os.PathLike too), checked before anything is built:
// a ValueError for an extension that DWSIM does not write (it writes nothing
// there and says nothing), an OSError for a folder or a missing folder.
py::object dwsim_target(py::handle path);

// Saves `sim` to `target` through a file beside it with the same extension
// (so that DWSIM picks the same form), moved into place only when DWSIM wrote
// something: a failure leaves what stood at `target` as it was.
void save(py::handle a, py::handle sim, py::handle target);

}  // namespace flowgate
