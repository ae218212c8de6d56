#include "import/connections.hpp"

namespace flowgate {

py::list conns(py::handle o, py::handle side) {
    const bool inlet = equal(side, py::str("in"));
    py::object go = o.attr("GraphicObject");
    py::object points = go.attr(inlet ? "InputConnectors" : "OutputConnectors");
    py::list tags;
    for (py::handle point : points) {
        if (!truthy(point.attr("IsAttached"))) continue;
        py::object connector = point.attr("AttachedConnector");
        if (connector.is_none()) continue;
        py::object other = connector.attr(inlet ? "AttachedFrom" : "AttachedTo");
        tags.append(py::str(other.attr("Tag")));
    }
    return tags;
}

}  // namespace flowgate
