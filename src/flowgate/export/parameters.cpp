#include "export/parameters.hpp"

#include "access/surface.hpp"
#include "frame/process.hpp"
#include "frame/tables.hpp"

#include <initializer_list>

namespace flowgate {
namespace {

// The host's NRTL matrices by their index in pp.nrtl: tau = A + B/T + F T,
// alpha = C; D (alpha's T term) and E (ln T term) have no place in DWSIM.
enum Matrix { A, B, C, D, E, F, MATRICES };

// A field of DWSIM's NRTL record and the host element it takes, read at
// (p, q) or reversed at (q, p), and multiplied by R_CAL or not. DWSIM's tau
// is (A12 + B12 T + C12 T^2) / (R T), so the host's B goes to A12 and its A
// to B12.
struct Field {
    dwsim::NrtlField field;
    Matrix matrix;
    bool reversed;
    bool scaled;
};

constexpr Field NRTL_FIELDS[] = {
    {dwsim::NrtlField::A12, B, false, true},   {dwsim::NrtlField::A21, B, true, true},
    {dwsim::NrtlField::B12, A, false, true},   {dwsim::NrtlField::B21, A, true, true},
    {dwsim::NrtlField::C12, F, false, true},   {dwsim::NrtlField::C21, F, true, true},
    {dwsim::NrtlField::alpha12, C, false, false},
};

// One unordered pair of components, i < j.
struct Pair {
    py::object ci, cj;
    py::int_ i, j;
};

py::object at(py::handle matrix, py::handle row, py::handle col) { return item(matrix, py::make_tuple(row, col)); }

bool exceeds(py::handle x, py::handle limit) {
    return compare(steal_or_throw(PyNumber_Absolute(x.ptr())), Py_GT, limit);
}

bool any_exceeds(std::initializer_list<py::object> values, py::handle limit) {
    for (const py::object& x : values) {
        if (exceeds(x, limit)) return true;
    }
    return false;
}

// What could not be carried over in full goes to the log and to the notes.
void report(py::list& notes, const char* message, const Pair& pair) {
    log().attr("warning")(message, pair.ci, pair.cj);
    notes.append(steal_or_throw(PyUnicode_Format(py::str(message).ptr(), py::make_tuple(pair.ci, pair.cj).ptr())));
}

// Calls `visit` for each pair of `comps`, i before j, in component order.
template <typename Visit>
void for_each_pair(const py::list& comps, Visit visit) {
    const py::ssize_t n = py::len(comps);
    for (py::ssize_t i = 0; i < n; ++i) {
        for (py::ssize_t j = i + 1; j < n; ++j) visit(Pair{comps[i], comps[j], py::int_(i), py::int_(j)});
    }
}

// The first record of a two-level table, as a model for pairs it lacks.
py::object first_record(py::handle ip) {
    py::object outer = dwsim::keys(ip);
    for (py::handle k : outer) {
        py::object inner_table = item(ip, k);
        py::object inner = dwsim::keys(inner_table);
        for (py::handle k2 : inner) return item(inner_table, k2);
    }
    return py::none();
}

bool holds(py::handle ip, py::handle x, py::handle y) {
    return dwsim::contains_key(ip, x) && dwsim::contains_key(item(ip, x), y);
}

// Puts `record` at ip[first][second], with a new inner table of the
// existing tables' type when `first` has none.
void add_record(py::handle ip, py::handle first, py::handle second, py::handle record) {
    if (!dwsim::contains_key(ip, first)) {
        py::object outer = dwsim::keys(ip);
        py::object some_key = py::reinterpret_borrow<py::object>(*outer.begin());
        dwsim::add_entry(ip, first, dwsim::new_table_like(item(ip, some_key)));
    }
    dwsim::add_entry(item(ip, first), second, record);
}

// Fields are written one by one: a failure leaves those before it written.
void write_nrtl(py::handle record, py::handle first, py::handle second, const py::object (&m)[MATRICES],
                py::handle p, py::handle q) {
    static const Name R_CAL{"R_CAL"};
    py::object r_cal = table(R_CAL);
    dwsim::set_nrtl_names(record, first, second);
    for (const Field& f : NRTL_FIELDS) {
        py::object value = f.reversed ? at(m[f.matrix], q, p) : at(m[f.matrix], p, q);
        if (f.scaled) value = steal_or_throw(PyNumber_Multiply(value.ptr(), r_cal.ptr()));
        dwsim::set_nrtl(record, f.field, to_float(value));
    }
}

// Where DWSIM holds the pair in both orders, each record gets the host's
// values in its own orientation, so that no row of DWSIM's calculation mixes
// the host's values with its own; a pair DWSIM lacks is made from a model.
void nrtl_pair(py::handle ip, py::handle model, py::handle pp, py::handle names, const Pair& pair, py::list& notes) {
    static const Name NRTL{"nrtl"};
    py::object a = item(names, pair.ci);
    py::object b = item(names, pair.cj);
    py::object nrtl = attr(pp, NRTL);
    py::object m[MATRICES];
    for (int k = 0; k < MATRICES; ++k) m[k] = item(nrtl, py::int_(k));
    const py::handle i = pair.i, j = pair.j;

    if (!any_exceeds({at(m[A], i, j), at(m[B], i, j), at(m[A], j, i), at(m[B], j, i), at(m[F], i, j), at(m[F], j, i)},
                     py::int_(0))) {
        return;
    }
    if (any_exceeds({at(m[D], i, j), at(m[E], i, j), at(m[E], j, i)}, py::float_(1e-12))) {
        report(notes, "DWSIM NRTL %s-%s: the D, E elements (alpha(T), ln T) are left out", pair);
    }
    const bool reversed = holds(ip, b, a);
    bool forward = holds(ip, a, b);
    if (!forward && !reversed) {
        if (model.is_none()) {
            report(notes, "DWSIM NRTL %s-%s: no parameters (DWSIM has none to start from)", pair);
            return;
        }
        add_record(ip, a, b, dwsim::clone(model));
        forward = true;
    }
    if (forward) write_nrtl(item(item(ip, a), b), a, b, m, i, j);
    if (reversed) write_nrtl(item(item(ip, b), a), b, a, m, j, i);
}

void set_nrtl(py::handle pp_dw, py::handle pp, py::handle names, const py::list& comps, py::list& notes) {
    py::object ip = dwsim::nrtl_parameters(pp_dw);
    py::object model = first_record(ip);
    for_each_pair(comps, [&](const Pair& pair) { nrtl_pair(ip, model, pp, names, pair, notes); });
}

py::object slice_from(py::handle start) { return steal_or_throw(PySlice_New(start.ptr(), nullptr, nullptr)); }

bool any(py::handle values) {
    static const Name NP{"np"}, ANY{"any"};
    return truthy(call_method(module_attr(NP), ANY, values));
}

// Only the constant term has a place in DWSIM. It goes into every record of
// the pair (DWSIM reads each order for its own row), and into a new record of
// the table's type where DWSIM has none.
bool kij_pair(py::handle ip, py::handle model, py::handle pp, py::handle names, const Pair& pair, py::list& notes) {
    static const Name KIJ{"kij"}, SHAPE{"shape"};
    py::object kij = attr(pp, KIJ);
    const py::handle i = pair.i, j = pair.j;
    if (!any(item(kij, py::make_tuple(slice_from(py::none()), i, j)))) return false;
    py::object a = item(names, pair.ci);
    py::object b = item(names, pair.cj);
    py::object terms = item(attr(kij, SHAPE), py::int_(0));
    if (compare(terms, Py_GT, py::int_(1)) && any(item(kij, py::make_tuple(slice_from(py::int_(1)), i, j)))) {
        report(notes, "DWSIM kij %s-%s: the temperature terms are left out", pair);
    }
    py::object value = to_float(item(kij, py::make_tuple(py::int_(0), i, j)));
    bool written = false;
    for (auto [x, y] : {std::pair{a, b}, std::pair{b, a}}) {
        if (holds(ip, x, y)) {
            dwsim::set_kij(item(item(ip, x), y), value);
            written = true;
        }
    }
    if (written) return true;
    if (model.is_none()) {
        report(notes, "DWSIM kij %s-%s: not set (DWSIM has no entry)", pair);
        return false;
    }
    py::object record = dwsim::new_kij_record(model, a, b);
    dwsim::set_kij(record, value);
    add_record(ip, a, b, record);
    return true;
}

void set_kij(py::handle pp_dw, py::handle pp, py::handle names, const py::list& comps, py::list& notes) {
    py::object ip = dwsim::kij_parameters(pp_dw);
    py::object model = first_record(ip);
    bool changed = false;
    for_each_pair(comps, [&](const Pair& pair) { changed |= kij_pair(ip, model, pp, names, pair, notes); });
    if (changed) dwsim::parameters_changed(pp_dw);
}

}  // namespace

py::list set_parameters(py::handle pp_dw, py::handle pp, py::handle names, py::handle method) {
    static const Name COMPONENTS{"components"};
    py::list comps = to_list(attr(pp, COMPONENTS));
    py::list notes;
    if (equal(method, "NRTL")) {
        set_nrtl(pp_dw, pp, names, comps, notes);
    } else if (equal(method, "PENG-ROB") || equal(method, "RK-SOAVE")) {
        set_kij(pp_dw, pp, names, comps, notes);
    } else if (equal(method, "WILSON") || equal(method, "UNIQUAC")) {
        notes.append(py::str("property method {}: Kelvane's binary parameters are not transferred (DWSIM uses its own)")
                         .format(method));
    }
    return notes;
}

}  // namespace flowgate
