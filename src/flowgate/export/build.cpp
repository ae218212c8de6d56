#include "export/build.hpp"

#include "access/automation.hpp"
#include "access/surface.hpp"
#include "compounds/compounds.hpp"
#include "export/blocks.hpp"
#include "export/parameters.hpp"
#include "export/pressures.hpp"
#include "frame/tables.hpp"

namespace flowgate {

py::object fill(const char* fmt, py::handle value) {
    return steal_or_throw(PyUnicode_Format(py::str(fmt).ptr(), py::make_tuple(value).ptr()));
}

std::pair<py::object, py::object> Build::xy(py::handle n, py::ssize_t k) const {
    py::object p = get(pos, n);
    if (truthy(p)) return {to_int(p[py::int_(0)]), to_int(p[py::int_(1)])};
    return {py::int_(100 * k), py::int_(100)};
}

void Build::connect(py::handle x, py::handle y, py::ssize_t i, py::ssize_t j) const {
    dwsim::connect_objects(sim, x, y, py::int_(i), py::int_(j));
}

// An energy stream takes its block's place, or place 0 of the default row.
py::object Build::energy(py::handle name, py::handle unit, bool into) const {
    auto [x, y] = xy(name);
    py::object e = dwsim::add_object(sim, dwsim::object_type(OT, py::str("EnergyStream")), x, y,
                                     py::str("Q-") + name);
    if (into) {
        connect(e, unit);
    } else {
        connect(unit, e);
    }
    return e;
}

namespace {

// The property package named by METHODS, or DWSIM's NRTL with a note, with
// the host's binary parameters as far as they go.
void add_package(Build& b) {
    py::object pp = b.fs.attr("pp");
    py::object method = pp.attr("method");
    py::object dw = get(table("METHODS"), method);
    if (dw.is_none()) {
        dw = py::str("NRTL");
        b.note("property method %s: NRTL of DWSIM", method);
    }
    py::object pkg = dwsim::add_property_package(b.sim, dw);
    try {
        set_parameters(pkg, b.fs.attr("pp"), b.names, method);
    } catch (py::builtin_exception& e) {
        e.set_error();
        py::error_already_set raised;
        b.note("binary parameters not transferred (%s)", raised.value());
    } catch (py::error_already_set& e) {
        if (!e.matches(PyExc_Exception)) throw;
        b.note("binary parameters not transferred (%s)", e.value());
    }
}

bool has_electrolytes(py::handle fs) {
    if (!attr_or(fs.attr("pp"), "elec").is_none()) return true;
    py::object reactions = attr_or(fs, "reactions");
    if (!truthy(reactions)) return false;
    for (py::handle r : reactions.attr("values")()) {
        py::object type = py::str(get(r, py::str("type"), py::str(""))).attr("upper")();
        if (equal(type, py::str("CHEMISTRY"))) return true;
    }
    return false;
}

// Every stream named at a port or as a feed, in sorted order, as DWSIM
// material streams.
void add_streams(Build& b) {
    py::set streams;
    for (py::handle ports : b.fs.attr("ports").attr("values")()) {
        auto [ins, outs] = unpack2(ports);
        for (py::handle s : ins + outs) {
            if (truthy(s)) streams.add(s);
        }
    }
    for (py::handle n : b.fs.attr("feeds")) streams.add(n);

    py::object type = dwsim::object_type(b.OT, py::str("MaterialStream"));
    py::ssize_t k = 0;
    for (py::handle s : builtin("sorted")(streams)) {
        auto [x, y] = b.xy(s, k++);
        b.obj[s] = dwsim::add_object(b.sim, type, x, y, s);
    }
}

// A feed's state; its vapour fraction has no place in DWSIM, where the
// stream is given a temperature instead.
void set_feed(Build& b, py::handle n, py::handle s) {
    py::object o = b.obj[n];
    py::object T = s.attr("T");
    dwsim::set_temperature(o, T.is_none() ? py::float_(298.15) : to_float(T));
    dwsim::set_pressure(o, to_float(s.attr("P")));
    py::object flows = s.attr("flows");
    py::object F = to_float(table("np").attr("sum")(flows));
    dwsim::set_molar_flow(o, py::float_(as_double(F) * 1000.0));
    py::list x;
    for (py::handle f : flows) x.append(steal_or_throw(PyNumber_TrueDivide(to_float(f).ptr(), F.ptr())));
    dwsim::set_overall_composition(o, dwsim::double_array(b.Array, b.Double, x));
    if (T.is_none() && !attr_or(s, "vfrac").is_none()) {
        b.note("feed %s: vapor fraction given, its temperature is solved by Kelvane", n);
    }
}

}  // namespace

py::tuple build(py::handle fs, py::handle a_, py::handle m_) {
    py::object a = py::reinterpret_borrow<py::object>(a_);
    py::object m = py::reinterpret_borrow<py::object>(m_);
    if (a.is_none()) std::tie(a, m) = unpack2(automation());

    Build b;
    b.fs = py::reinterpret_borrow<py::object>(fs);
    b.OT = m[py::str("ObjectType")];
    b.U = m[py::str("U")];
    b.Array = import_from("System", "Array");
    b.Double = import_from("System", "Double");
    b.sim = dwsim::create_flowsheet(a);
    b.names = compound_names(fs, b.sim);
    py::object components = fs.attr("pp").attr("components");
    for (py::handle c : components) dwsim::add_compound(b.sim, b.names[c]);

    add_package(b);
    if (has_electrolytes(fs)) b.notes.append(py::str("the electrolyte chemistry is not exported"));
    b.pos = attr_or(fs, "positions");
    if (!truthy(b.pos)) b.pos = py::dict();
    b.P = pressures(fs);
    add_streams(b);
    b.comps = steal_or_throw(PySequence_List(fs.attr("pp").attr("components").ptr()));
    for (py::handle item : fs.attr("feeds").attr("items")()) {
        auto [n, s] = unpack2(item);
        set_feed(b, n, s);
    }
    translate_blocks(b);
    return py::make_tuple(b.sim, b.obj, b.notes);
}

}  // namespace flowgate
