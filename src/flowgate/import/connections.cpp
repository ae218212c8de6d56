#include "import/connections.hpp"

namespace flowgate {

py::list conns(py::handle graphic, dwsim::Side side) {
    py::list tags;
    for (const dwsim::Connection& c : dwsim::connections(graphic, side)) tags.append(c.tag);
    return tags;
}

}  // namespace flowgate
