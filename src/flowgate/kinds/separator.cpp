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

// The position of an entry's compound in the flowsheet's order; without the
// names, the entry's own position.
long position_of(const Unit& u, py::handle compound, long own) {
    if (py::len(u.names) == 0) return own;
    long i = 0;
    for (py::handle name : u.names) {
        if (equal(name, compound)) return i;
        ++i;
    }
    return -1;
}

// The fraction of each compound's inlet flow that leaves by outlet 0: from
// the entries of the outlet they specify, by compound; an entry that fixes a
// flow rather than a share gives the share DWSIM calculated for it.
py::dict readback(const Unit& u) {
    const bool outlet_zero = dwsim::separates_outlet_zero(u.o);
    std::vector<double> in, out;
    const bool stored = truthy(u.ins) && truthy(u.outs) && u.flows_of(item(u.ins, py::int_(0)), in) &&
                        u.flows_of(item(u.outs, py::int_(0)), out);
    py::dict split;
    bool by_flow = false;
    long own = 0;
    for (const dwsim::SeparationEntry& e : dwsim::separation_entries(u.o)) {
        const long i = position_of(u, e.compound, own++);
        if (i < 0) continue;  // a compound the flowsheet does not hold
        double f = 0.0;
        if (!e.percent.is_none()) {
            f = as_double(e.percent) / PERCENT;
            if (!outlet_zero) f = 1.0 - f;
        } else {
            by_flow = true;
            const auto k = static_cast<std::size_t>(i);
            if (stored && k < in.size() && k < out.size() && in[k] != 0.0) f = out[k] / in[k];
        }
        split[py::int_(i)] = py::float_(f);
    }
    if (by_flow) u.note("%s: a flow specification is read as the share of the inlet it gave");
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
