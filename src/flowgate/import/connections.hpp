// What a DWSIM object is connected to, read from its drawing object.
#pragma once

#include "access/surface.hpp"

namespace flowgate {

// Tags at the other ends of the attached connections of a drawing object,
// in port order; no slot stays for a free port.
py::list conns(py::handle graphic, dwsim::Side side);

}  // namespace flowgate
