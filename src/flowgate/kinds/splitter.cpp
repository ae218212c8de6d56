// FSPLIT: a DWSIM Splitter (added as NodeOut) with a ratio for each port. A
// Splitter has three outlets; more are split by a chain of Splitters, the
// first bearing the block's name, each sending two outlets' shares out and
// the rest on to the next, whose ratios are taken of that rest.
#include "access/surface.hpp"
#include "kinds/kind.hpp"

#include <algorithm>
#include <vector>

namespace flowgate {
namespace {

const Name FRAC{"frac"};

// Ratios for every port of the splitter, the last outlet taking the rest.
void one_unit(Sheet& s, const Block& b) {
    py::object o = add_unit(s, FSPLIT, b);
    connect_single_inlet(s, FSPLIT, b, o);
    py::list frac = to_list(item(b.sp, FRAC));
    frac.append(py::float_(1.0) - builtin("sum")(frac));
    py::object ports = dwsim::output_count(dwsim::graphic_object(o));
    while (compare(py::int_(py::len(frac)), Py_LT, ports)) frac.append(py::float_(0.0));
    dwsim::clear_ratios(o);
    for (py::handle f : frac) dwsim::add_ratio(o, to_float(f));
}

// Each stage's ratios are shares of what reaches it; nothing reaching it
// leaves every share at 0.
void set_ratios(py::handle o, const std::vector<double>& shares, double reaching) {
    dwsim::clear_ratios(o);
    for (double f : shares) dwsim::add_ratio(o, py::float_(reaching != 0.0 ? f / reaching : 0.0));
}

void cascade(Sheet& s, const Block& b) {
    py::list frac = to_list(item(b.sp, FRAC));
    py::list outs = to_list(b.outs);
    const py::ssize_t n = py::len(outs);
    // The share of each outlet: its fraction, the last one the rest.
    std::vector<double> share(static_cast<std::size_t>(n), 0.0);
    double given = 0.0;
    for (py::ssize_t j = 0; j + 1 < n && j < static_cast<py::ssize_t>(py::len(frac)); ++j) {
        share[j] = as_double(frac[j]);
        given += share[j];
    }
    share[n - 1] = 1.0 - given;

    py::object o = add_unit(s, FSPLIT, b);
    if (truthy(b.ins)) s.connect(item(s.obj, item(b.ins, py::int_(0))), o, -1, 0);
    if (py::len(b.ins) > 1) s.note("%s: inlets after the first one are left out (mix them before)", b.name);
    py::str what = py::str("block {!r}").format(b.name);
    double reaching = 1.0;
    py::ssize_t j = 0;
    for (int stage = 2; n - j > FSPLIT.outlets; ++stage) {
        std::vector<double> shares;
        for (py::ssize_t k = 0; k < FSPLIT.outlets - 1; ++k, ++j) {
            if (truthy(outs[j])) s.connect(o, s.outlet(outs[j]), k, 0);
            shares.push_back(share[j]);
        }
        double rest = reaching;
        for (double f : shares) rest -= f;
        shares.push_back(rest);
        set_ratios(o, shares, reaching);
        py::object tag = s.fresh(py::str("{}-{}").format(b.name, stage), what);
        py::object x = b.x + py::int_(30 * (stage - 1));
        py::object passed = s.add(dwsim::MATERIAL_STREAM, x, b.y - py::int_(20), s.fresh(tag + py::str("-IN"), what));
        s.connect(o, passed, FSPLIT.outlets - 1, 0);
        o = s.add(FSPLIT.object_type, x, b.y, tag);
        s.connect(passed, o, -1, 0);
        reaching = rest;
    }
    std::vector<double> shares;
    for (py::ssize_t k = 0; j < n; ++k, ++j) {
        if (truthy(outs[j])) s.connect(o, s.outlet(outs[j]), k, 0);
        shares.push_back(share[j]);
    }
    set_ratios(o, shares, reaching);
}

void translate(Sheet& s, const Block& b) {
    if (py::len(b.outs) <= static_cast<std::size_t>(FSPLIT.outlets)) return one_unit(s, b);
    cascade(s, b);
}

// The fractions of the outlets as DWSIM calculated them, for a splitter
// that fixes outlet flows instead of ratios.
py::list calculated_ratios(const Unit& u) {
    py::list ratios;
    std::vector<double> in, out;
    if (!truthy(u.ins) || !u.flows_of(item(u.ins, py::int_(0)), in)) return ratios;
    double total = 0.0;
    for (double f : in) total += f;
    for (py::handle tag : u.outs) {
        double flow = 0.0;
        if (u.flows_of(tag, out)) {
            for (double f : out) flow += f;
        }
        ratios.append(py::float_(total != 0.0 ? flow / total : 0.0));
    }
    return ratios;
}

// Fractions of all outlets but the last, from the ratios kept for the
// connected outlets (at least one).
py::dict readback(const Unit& u) {
    py::list ratios;
    if (dwsim::splits_by_ratio(u.o)) {
        py::object all = dwsim::ratios(u.o);
        for (py::handle r : all) ratios.append(to_float(r));
    } else {
        u.note("%s: mode %s has no Kelvane equivalent; the ratios DWSIM calculated are taken", py::str("fixed outlet flows"));
        ratios = calculated_ratios(u);
    }
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
