#include "export/parameters.hpp"

#include "access/surface.hpp"
#include "frame/process.hpp"
#include "frame/tables.hpp"

#include <cmath>
#include <cstring>
#include <memory>
#include <string>

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
    py::ssize_t i, j;
};

py::object slice_from(py::handle start) { return steal_or_throw(PySlice_New(start.ptr(), nullptr, nullptr)); }

// The host's stack of matrices, [k][i, j]: NRTL's six (k = A..F), or kij's
// terms. A stack held in one buffer of doubles (a numpy array) is read from
// its memory; anything else through Python's own indexing, numbers and
// comparisons. Both give the same values: the operations are the same IEEE
// ones.
class Stack {
public:
    // `rows`: whether an element is stack[k][i, j] (NRTL) or stack[k, i, j] (kij).
    Stack(py::object stack, std::size_t size, bool rows) : stack_(std::move(stack)), rows_(rows) {
        if (PyObject_GetBuffer(stack_.ptr(), &view_, PyBUF_RECORDS_RO) < 0) {
            PyErr_Clear();
            return;
        }
        const std::string format = view_.format != nullptr ? view_.format : "";
        const bool doubles = (format == "d" || format == "=d" || format == "<d" || format == "@d") &&
                             view_.ndim == 3 && static_cast<std::size_t>(view_.shape[1]) >= size &&
                             static_cast<std::size_t>(view_.shape[2]) >= size && (!rows || view_.shape[0] >= MATRICES);
        if (!doubles) {
            PyBuffer_Release(&view_);
            return;
        }
        held_ = true;
    }
    ~Stack() {
        if (held_) PyBuffer_Release(&view_);
    }
    Stack(const Stack&) = delete;
    Stack& operator=(const Stack&) = delete;

    // abs(element) > limit
    bool beyond(long k, py::ssize_t i, py::ssize_t j, double limit) {
        if (held_) return std::fabs(at(k, i, j)) > limit;
        return compare(steal_or_throw(PyNumber_Absolute(element(k, i, j).ptr())), Py_GT, py::float_(limit));
    }

    // float(element * factor)
    py::object times(long k, py::ssize_t i, py::ssize_t j, py::handle factor) {
        if (held_) return py::float_(at(k, i, j) * as_double(factor));
        return to_float(steal_or_throw(PyNumber_Multiply(element(k, i, j).ptr(), factor.ptr())));
    }

    // float(element)
    py::object value(long k, py::ssize_t i, py::ssize_t j) {
        return held_ ? py::float_(at(k, i, j)) : to_float(element(k, i, j));
    }

    // Whether any term from `first` on of kij[:, i, j] is not zero (numpy's any).
    bool any_term(long first, py::ssize_t i, py::ssize_t j) {
        if (held_) {
            for (py::ssize_t k = first; k < view_.shape[0]; ++k) {
                if (at(k, i, j) != 0.0) return true;
            }
            return false;
        }
        static const Name NP{"np"}, ANY{"any"};
        py::object start = first ? py::object(py::int_(first)) : py::object(py::none());
        py::object terms = item(stack_, py::make_tuple(slice_from(start), i, j));
        return truthy(call_method(module_attr(NP), ANY, terms));
    }

    // How many terms kij has (its shape[0]) is more than one.
    bool several_terms() {
        static const Name SHAPE{"shape"};
        if (held_) return view_.shape[0] > 1;
        return compare(item(attr(stack_, SHAPE), py::int_(0)), Py_GT, py::int_(1));
    }

private:
    double at(long k, py::ssize_t i, py::ssize_t j) const {
        const char* p = static_cast<const char*>(view_.buf) + k * view_.strides[0] + i * view_.strides[1] +
                        j * view_.strides[2];
        double v;
        std::memcpy(&v, p, sizeof v);
        return v;
    }

    py::object element(long k, py::ssize_t i, py::ssize_t j) {
        py::tuple at = py::make_tuple(py::int_(i), py::int_(j));
        if (!rows_) return item(stack_, py::make_tuple(py::int_(k), py::int_(i), py::int_(j)));
        if (!row_[k]) row_[k] = item(stack_, py::int_(k));
        return item(row_[k], at);
    }

    py::object stack_;
    bool rows_;
    py::object row_[MATRICES];
    Py_buffer view_{};
    bool held_ = false;
};

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
        for (py::ssize_t j = i + 1; j < n; ++j) visit(Pair{comps[i], comps[j], i, j});
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
void write_nrtl(py::handle record, py::handle first, py::handle second, Stack& m, py::ssize_t p, py::ssize_t q) {
    static const Name R_CAL{"R_CAL"};
    py::object r_cal = table(R_CAL);
    dwsim::set_nrtl_names(record, first, second);
    for (const Field& f : NRTL_FIELDS) {
        const py::ssize_t row = f.reversed ? q : p, col = f.reversed ? p : q;
        dwsim::set_nrtl(record, f.field, f.scaled ? m.times(f.matrix, row, col, r_cal) : m.value(f.matrix, row, col));
    }
}

// Where DWSIM holds the pair in both orders, each record gets the host's
// values in its own orientation, so that no row of DWSIM's calculation mixes
// the host's values with its own; a pair DWSIM lacks is made from a model.
void nrtl_pair(py::handle ip, py::handle model, Stack& m, py::handle names, const Pair& pair, py::list& notes) {
    py::object a = item(names, pair.ci);
    py::object b = item(names, pair.cj);
    const py::ssize_t i = pair.i, j = pair.j;
    const bool given = m.beyond(A, i, j, 0.0) || m.beyond(B, i, j, 0.0) || m.beyond(A, j, i, 0.0) ||
                       m.beyond(B, j, i, 0.0) || m.beyond(F, i, j, 0.0) || m.beyond(F, j, i, 0.0);
    if (!given) return;
    if (m.beyond(D, i, j, 1e-12) || m.beyond(E, i, j, 1e-12) || m.beyond(E, j, i, 1e-12)) {
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

// The host's matrices are read at the first pair: with one component there
// is none, and pp.nrtl is not read.
void set_nrtl(py::handle pp_dw, py::handle pp, py::handle names, const py::list& comps, py::list& notes) {
    static const Name NRTL{"nrtl"};
    py::object ip = dwsim::nrtl_parameters(pp_dw);
    py::object model = first_record(ip);
    std::unique_ptr<Stack> m;
    for_each_pair(comps, [&](const Pair& pair) {
        if (!m) m = std::make_unique<Stack>(attr(pp, NRTL), py::len(comps), true);
        nrtl_pair(ip, model, *m, names, pair, notes);
    });
}

// Only the constant term has a place in DWSIM. It goes into every record of
// the pair (DWSIM reads each order for its own row), and into a new record of
// the table's type where DWSIM has none.
bool kij_pair(py::handle ip, py::handle model, Stack& kij, py::handle names, const Pair& pair, py::list& notes) {
    const py::ssize_t i = pair.i, j = pair.j;
    if (!kij.any_term(0, i, j)) return false;
    py::object a = item(names, pair.ci);
    py::object b = item(names, pair.cj);
    if (kij.several_terms() && kij.any_term(1, i, j)) {
        report(notes, "DWSIM kij %s-%s: the temperature terms are left out", pair);
    }
    py::object value = kij.value(0, i, j);
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
    static const Name KIJ{"kij"};
    py::object ip = dwsim::kij_parameters(pp_dw);
    py::object model = first_record(ip);
    std::unique_ptr<Stack> kij;
    bool changed = false;
    for_each_pair(comps, [&](const Pair& pair) {
        if (!kij) kij = std::make_unique<Stack>(attr(pp, KIJ), py::len(comps), false);
        changed |= kij_pair(ip, model, *kij, names, pair, notes);
    });
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
