// What a DWSIM object is connected to, read from its drawing object.
#pragma once

#include "frame/python.hpp"

namespace flowgate {

// Tags at the other ends of the attached connectors of `o`, in port order;
// `side` "in" walks the inlets, anything else the outlets. No slot stays for
// a free port.
py::list conns(py::handle o, py::handle side);

}  // namespace flowgate
