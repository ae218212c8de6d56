// FSPLIT: a DWSIM Splitter (added as NodeOut) with a ratio for each port.
#include "access/surface.hpp"
#include "kinds/kind.hpp"

#include <algorithm>

namespace flowgate {
namespace {

// Ratios for every port of the splitter, the last outlet taking the rest.
void translate(Sheet& s, const Block& b) {
    static const Name FRAC{"frac"};
    py::object o = add_unit(s, FSPLIT, b);
    connect_single_inlet(s, b, o);
    py::list frac = to_list(item(b.sp, FRAC));
    frac.append(py::float_(1.0) - builtin("sum")(frac));
    py::object ports = dwsim::output_count(dwsim::graphic_object(o));
    while (compare(py::int_(py::len(frac)), Py_LT, ports)) frac.append(py::float_(0.0));
    dwsim::clear_ratios(o);
    for (py::handle f : frac) dwsim::add_ratio(o, to_float(f));
}

// Fractions of all outlets but the last, from the ratios kept for the
// connected outlets (at least one).
py::dict readback(const Unit& u) {
    py::list ratios;
    py::object all = dwsim::ratios(u.o);
    for (py::handle r : all) ratios.append(to_float(r));
    const std::size_t kept = std::min(std::max<std::size_t>(py::len(u.outs), 1), py::len(ratios));
    py::list frac;
    for (std::size_t i = 0; i + 1 < kept; ++i) frac.append(ratios[i]);
    if (kept < 2) frac.append(py::float_(1.0));
    py::dict spec;
    spec["frac"] = frac;
    return spec;
}

}  // namespace

const Kind FSPLIT{"FSPLIT", Name{"NodeOut"}, "Splitter", nullptr, 1, 3, Result::duty, {}, translate, readback};

}  // namespace flowgate
