#include "export/pressures.hpp"

namespace flowgate {
namespace {

constexpr double TOLERANCE = 1e-9;  // Pa, absolute

// The outlet pressure of a block whose lowest known inlet pressure is `p0`:
// its own "P" (not for a column, whose "P" is a top pressure), else a ratio
// of the inlet, else the inlet less its drop.
py::object outlet_pressure(py::handle block, py::handle p0) {
    static const py::handle SPEC = intern("spec"), KIND = intern("kind"), RADFRAC = intern("RADFRAC");
    static const py::handle P = intern("P"), RATIO = intern("ratio"), DP = intern("dP");
    py::object sp = block.attr(SPEC);
    if (!get(sp, P).is_none() && !equal(block.attr(KIND), RADFRAC)) return to_float(sp[P]);
    if (!get(sp, RATIO).is_none()) {
        return steal_or_throw(PyNumber_Multiply(p0.ptr(), to_float(sp[RATIO]).ptr()));
    }
    py::object drop = get(sp, DP);
    return steal_or_throw(PyNumber_Subtract(p0.ptr(), to_float(truthy(drop) ? drop : py::float_(0.0)).ptr()));
}

// Whether `p` differs by more than the tolerance from the pressure known for
// `s`, an unknown one counting as -1.0.
bool differs(const py::dict& P, py::handle s, py::handle p) {
    PyObject* known = PyDict_GetItemWithError(P.ptr(), s.ptr());  // borrowed
    if (known == nullptr && PyErr_Occurred()) throw py::error_already_set();
    py::object unknown = py::float_(-1.0);
    py::object gap = steal_or_throw(PyNumber_Subtract(known ? known : unknown.ptr(), p.ptr()));
    return compare(steal_or_throw(PyNumber_Absolute(gap.ptr())), Py_GT, py::float_(TOLERANCE));
}

// One pass over the blocks; true when any stream got a new pressure. Writes
// are seen at once by the blocks that follow.
bool sweep(py::handle fs, py::dict& P, py::handle min_) {
    bool changed = false;
    py::object blocks = fs.attr("blocks");
    for (py::handle item : fs.attr("ports").attr("items")()) {
        auto [name, ports] = unpack2(item);
        auto [ins, outs] = unpack2(ports);
        py::list pin;
        for (py::handle s : ins) {
            if (P.contains(s)) pin.append(P[s]);
        }
        if (pin.empty()) continue;
        py::object block = blocks[name];
        py::object p = outlet_pressure(block, min_(pin));
        for (py::handle s : outs) {
            if (truthy(s) && differs(P, s, p)) {
                P[s] = p;
                changed = true;
            }
        }
    }
    return changed;
}

}  // namespace

py::dict pressures(py::handle fs) {
    py::dict P;
    for (py::handle item : fs.attr("feeds").attr("items")()) {
        auto [name, feed] = unpack2(item);
        P[name] = feed.attr("P");
    }
    const py::ssize_t limit = 3 * (py::len(fs.attr("blocks")) + 1);
    py::object min_ = builtin("min");
    for (py::ssize_t n = 0; n < limit; ++n) {
        if (!sweep(fs, P, min_)) break;
    }
    return P;
}

}  // namespace flowgate
