// SEP: a DWSIM ComponentSeparator; the host's split of outlet 0 becomes one
// entry per compound, outlet 1 takes the rest.
#include "access/surface.hpp"
#include "kinds/kind.hpp"

namespace flowgate {
namespace {

constexpr double PERCENT = 100.0;

// The split of outlet 0 under the key 0 or "0", by integer component index.
py::dict outlet_zero_split(py::handle sp) {
    static const Name SPLIT{"split"}, ZERO_TEXT{"0"};
    py::object g = item(sp, SPLIT);
    py::object by_text = get(g, ZERO_TEXT, py::dict());
    py::object entry = get(g, py::int_(0), by_text);
    py::dict split;
    if (!truthy(entry)) return split;
    static const Name ITEMS{"items"};
    py::object items = call_method(entry, ITEMS);
    for (py::handle pair : items) {
        auto [k, v] = unpack2(pair);
        split[to_int(k)] = v;
    }
    return split;
}

void translate(Sheet& s, const Block& b) {
    // Named before any connection is tried; outlets beyond the unit's two stay open.
    py::object o = add_unit(s, SEP, b);
    if (py::len(b.outs) < 2) s.notes.append(py::str("{}: SEP with {} outlets (DWSIM: two)").format(b.name, py::len(b.outs)));
    connect_single_inlet(s, SEP, b, o);
    dwsim::Separation sep = dwsim::import_separation();
    py::dict split = outlet_zero_split(b.sp);
    dwsim::clear_separation(o);
    py::ssize_t i = 0;
    for (py::handle c : s.comps) {
        py::object fraction = get(split, py::int_(i++), py::float_(0.0));
        dwsim::add_separation(o, sep, item(s.names, c), py::float_(as_double(fraction) * PERCENT));
    }
    dwsim::separate_outlet_zero(o);
    s.energy(b.name, o, false);
}

// Each entry's value as a fraction of its compound's inlet flow to outlet 0,
// by the entry's position among the unit's own entries.
py::dict readback(const Unit& u) {
    py::dict split;
    long i = 0;
    for (const py::object& value : dwsim::separation_values(u.o)) {
        split[py::int_(i++)] = py::float_(as_double(value) / PERCENT);
    }
    py::dict outlets;
    outlets[py::int_(0)] = split;
    py::dict spec;
    spec["split"] = outlets;
    return spec;
}

}  // namespace

const Kind SEP{"SEP",        Name{"ComponentSeparator"}, "ComponentSeparator", nullptr, 1, 2, Result::duty,
               {{"Q-", ""}}, translate, readback};

}  // namespace flowgate
