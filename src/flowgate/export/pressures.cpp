#include "export/pressures.hpp"

#include "frame/errors.hpp"

#include <cmath>
#include <vector>

namespace flowgate {
namespace {

constexpr double TOLERANCE = 1e-9;  // Pa, absolute
constexpr double UNKNOWN = -1.0;    // what an unknown pressure compares as

const Name FEEDS{"feeds"}, PORTS{"ports"}, BLOCKS{"blocks"}, SPEC{"spec"}, KIND{"kind"},
    P_{"P"}, RATIO{"ratio"}, DP{"dP"}, RADFRAC{"RADFRAC"};

// Where a failure came from, as a note on the exception: the host's error
// alone names no feed or block.
py::str about_feed(py::handle name) { return py::str("while reading the pressure of feed {!r}").format(name); }
py::str about_ports(py::handle name) { return py::str("while reading the ports of block {!r}").format(name); }
py::str about_spec(py::handle name) {
    return py::str("while working out the outlet pressure of block {!r} from its spec").format(name);
}

py::object feed_pressures(py::handle fs) {
    py::dict P;
    for_each_item(attr(fs, FEEDS), [&](py::handle name, py::handle feed) {
        P[name] = noted([&] { return attr(feed, P_); }, [&] { return about_feed(name); });
    });
    return P;
}

std::size_t sweep_limit(py::handle fs) { return 3 * (py::len(attr(fs, BLOCKS)) + 1); }

// How a block fixes its outlet pressure: its own "P" (not for a column,
// whose "P" is a top pressure), else a ratio of the inlet, else the inlet
// less its drop.
enum class Rule { fixed, ratio, drop };

// ---- the lane for any objects: Python's arithmetic and comparisons ----------

py::object outlet_pressure(py::handle block, py::handle p0) {
    py::object sp = attr(block, SPEC);
    if (!get(sp, P_).is_none() && !equal(attr(block, KIND), RADFRAC)) return to_float(item(sp, P_));
    if (!get(sp, RATIO).is_none()) {
        return steal_or_throw(PyNumber_Multiply(p0.ptr(), to_float(item(sp, RATIO)).ptr()));
    }
    py::object drop = get(sp, DP);
    return steal_or_throw(PyNumber_Subtract(p0.ptr(), to_float(truthy(drop) ? drop : py::float_(0.0)).ptr()));
}

// Whether `p` differs by more than the tolerance from the pressure known for
// `s`, an unknown one counting as -1.0.
bool differs(const py::dict& P, py::handle s, py::handle p) {
    py::object unknown = py::float_(UNKNOWN), tolerance = py::float_(TOLERANCE);
    PyObject* known = PyDict_GetItemWithError(P.ptr(), s.ptr());  // borrowed
    if (known == nullptr && PyErr_Occurred()) throw py::error_already_set();
    py::object gap = steal_or_throw(PyNumber_Subtract(known ? known : unknown.ptr(), p.ptr()));
    return compare(steal_or_throw(PyNumber_Absolute(gap.ptr())), Py_GT, tolerance);
}

// One pass over the blocks; true when any stream got a new pressure. Writes
// are seen at once by the blocks that follow.
bool sweep(py::handle fs, py::dict& P, py::handle min_) {
    bool changed = false;
    py::object blocks = attr(fs, BLOCKS);
    for_each_item(attr(fs, PORTS), [&](py::handle name, py::handle pair) {
        auto [ins, outs] = noted([&] { return unpack2(pair); }, [&] { return about_ports(name); });
        noted(
            [&] {
                py::list pin;
                for (py::handle s : ins) {
                    if (P.contains(s)) pin.append(P[s]);
                }
                if (pin.empty()) return;
                py::object p = outlet_pressure(item(blocks, name), min_(pin));
                for (py::handle s : outs) {
                    if (truthy(s) && differs(P, s, p)) {
                        P[s] = p;
                        changed = true;
                    }
                }
            },
            [&] { return about_spec(name); });
    });
    return changed;
}

py::dict python_lane(py::handle fs, py::dict P) {
    const std::size_t limit = sweep_limit(fs);
    py::object min_ = builtin("min");
    for (std::size_t n = 0; n < limit; ++n) {
        if (!sweep(fs, P, min_)) break;
    }
    return P;
}

// ---- the lane for feed pressures that are exact floats or ints -------------
//
// The flowsheet is read into indices and doubles as the first sweep meets it
// (so a failure comes where the sweep above would meet it), then swept in
// C++. Every specification goes through float() either way, and a C double
// carries out the same IEEE operations as a Python float, so the values are
// the same bit for bit.

struct Entry {
    py::object name;
    std::size_t ins, outs, end;  // [ins, outs) and [outs, end) in Streams::links
    bool read = false;           // the block, read when an inlet first has a pressure
    Rule rule = Rule::drop;
    double value = 0.0;
};

struct Streams {
    py::dict index;                       // name -> position
    std::vector<py::object> names, given;  // given: a feed's pressure as the host gave it
    std::vector<double> p;
    std::vector<char> known, computed;
    std::vector<std::size_t> order;  // in the order the keys entered the result
    std::vector<std::size_t> links;  // the blocks' inlets and outlets, block after block

    std::size_t of(py::handle name) {
        PyObject* at = PyDict_GetItemWithError(index.ptr(), name.ptr());  // borrowed
        if (at != nullptr) return PyLong_AsSize_t(at);
        if (PyErr_Occurred()) throw py::error_already_set();
        const std::size_t k = names.size();
        if (PyDict_SetItem(index.ptr(), name.ptr(), py::int_(k).ptr()) < 0) throw py::error_already_set();
        names.push_back(py::reinterpret_borrow<py::object>(name));
        given.emplace_back();
        p.push_back(UNKNOWN);
        known.push_back(0);
        computed.push_back(0);
        return k;
    }
};

// A float, or an int that a double holds exactly (Python compares larger
// ints with floats exactly, a double would not).
bool plain_number(py::handle x) {
    if (PyFloat_CheckExact(x.ptr())) return true;
    if (!PyLong_CheckExact(x.ptr())) return false;
    int overflow = 0;
    const long long v = PyLong_AsLongLongAndOverflow(x.ptr(), &overflow);
    constexpr long long EXACT = 1LL << 53;
    return overflow == 0 && v >= -EXACT && v <= EXACT;
}

void read_block(Entry& e, py::handle blocks) {
    py::object block = item(blocks, e.name);
    py::object sp = attr(block, SPEC);
    if (!get(sp, P_).is_none() && !equal(attr(block, KIND), RADFRAC)) {
        e.rule = Rule::fixed;
        e.value = as_double(item(sp, P_));
    } else if (!get(sp, RATIO).is_none()) {
        e.rule = Rule::ratio;
        e.value = as_double(item(sp, RATIO));
    } else {
        py::object drop = get(sp, DP);
        e.rule = Rule::drop;
        e.value = truthy(drop) ? as_double(drop) : 0.0;
    }
    e.read = true;
}

Entry read_entry(py::handle name, py::handle pair, Streams& st) {
    auto [ins, outs] = unpack2(pair);
    Entry e{py::reinterpret_borrow<py::object>(name), st.links.size(), 0, 0};
    for_each(ins, [&](py::handle s) { st.links.push_back(st.of(s)); });
    e.outs = st.links.size();
    for_each(outs, [&](py::handle s) {
        if (truthy(s)) st.links.push_back(st.of(s));
    });
    e.end = st.links.size();
    return e;
}

// One block's turn in a sweep, as in the Python lane; true when a stream
// got a new pressure.
bool visit(Entry& e, py::handle blocks, Streams& st) {
    bool any = false;
    double p0 = 0.0;
    for (std::size_t i = e.ins; i < e.outs; ++i) {
        const std::size_t s = st.links[i];
        // min(): the first of equal values stands, a later one only when smaller
        if (st.known[s] && (!any || st.p[s] < p0)) p0 = st.p[s];
        any = any || st.known[s];
    }
    if (!any) return false;
    if (!e.read) noted([&] { read_block(e, blocks); }, [&] { return about_spec(e.name); });
    const double p = e.rule == Rule::fixed ? e.value : e.rule == Rule::ratio ? p0 * e.value : p0 - e.value;
    bool changed = false;
    for (std::size_t i = e.outs; i < e.end; ++i) {
        const std::size_t s = st.links[i];
        const double before = st.known[s] ? st.p[s] : UNKNOWN;
        if (!(std::fabs(before - p) > TOLERANCE)) continue;
        if (!st.known[s]) st.order.push_back(s);
        st.p[s] = p;
        st.known[s] = st.computed[s] = 1;
        changed = true;
    }
    return changed;
}

py::dict c_lane(py::handle fs, const py::dict& feeds) {
    Streams st;
    for (auto kv : feeds) {
        const std::size_t s = st.of(kv.first);
        st.given[s] = py::reinterpret_borrow<py::object>(kv.second);
        st.p[s] = as_double(kv.second);
        st.known[s] = 1;
        st.order.push_back(s);
    }
    const std::size_t limit = sweep_limit(fs);
    py::object blocks = attr(fs, BLOCKS);
    std::vector<Entry> entries;
    // The first sweep reads the ports as it goes, like the Python lane.
    bool changed = false;
    for_each_item(attr(fs, PORTS), [&](py::handle name, py::handle pair) {
        entries.push_back(noted([&] { return read_entry(name, pair, st); }, [&] { return about_ports(name); }));
        changed = visit(entries.back(), blocks, st) || changed;
    });
    for (std::size_t n = 1; changed && n < limit; ++n) {
        changed = false;
        for (Entry& e : entries) changed = visit(e, blocks, st) || changed;
    }
    py::dict P;
    for (std::size_t s : st.order) {
        py::object p = st.computed[s] ? py::float_(st.p[s]) : st.given[s];
        if (PyDict_SetItem(P.ptr(), st.names[s].ptr(), p.ptr()) < 0) throw py::error_already_set();
    }
    return P;
}

}  // namespace

py::dict pressures(py::handle fs) {
    py::dict P = feed_pressures(fs);
    for (auto kv : P) {
        if (!plain_number(kv.second)) return python_lane(fs, P);
    }
    return c_lane(fs, P);
}

}  // namespace flowgate
