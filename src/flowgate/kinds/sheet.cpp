// The operations that every block's translation shares.
#include "access/surface.hpp"
#include "kinds/kind.hpp"

namespace flowgate {

std::pair<py::object, py::object> Sheet::xy(py::handle n, py::ssize_t k) const {
    py::object p = get(pos, n);
    if (truthy(p)) return {to_int(item(p, py::int_(0))), to_int(item(p, py::int_(1)))};
    return {py::int_(100 * k), py::int_(100)};
}

void require_text(py::handle name, py::handle what) {
    if (PyUnicode_Check(name.ptr())) return;
    raise(PyExc_TypeError, py::str("{} cannot be tagged in DWSIM: its name must be text, not {}")
                               .format(what, Py_TYPE(name.ptr())->tp_name));
}

void Sheet::reserve(py::handle tag, py::handle what) {
    require_text(tag, what);
    check_dotnet_safe(tag, what);
    py::object other = get(tags, tag);
    if (!other.is_none()) {
        raise(PyExc_ValueError, py::str("{} and {} would both be tagged {!r} in DWSIM; rename one").format(other, what, tag));
    }
    tags[tag] = what;
}

py::object Sheet::fresh(py::handle base, py::handle what) {
    py::object tag = py::reinterpret_borrow<py::object>(base);
    for (long n = 2; tags.contains(tag); ++n) tag = py::str("{}-{}").format(base, n);
    reserve(tag, what);
    return tag;
}

py::object Sheet::add(const Name& type, py::handle x, py::handle y, py::handle tag) const {
    return drawing->add(type, x, y, tag);
}

py::object Sheet::outlet(py::handle stream) {
    fed.add(stream);
    py::object recycle_inlet = get(into, stream);
    return recycle_inlet.is_none() ? item(obj, stream) : recycle_inlet;
}

void Sheet::connect(py::handle x, py::handle y, py::ssize_t i, py::ssize_t j) const {
    drawing->connect(x, y, py::int_(i), py::int_(j));
}

// An energy stream takes its block's place, or place 0 of the default row.
py::object Sheet::energy(py::handle name, py::handle unit, bool into) const {
    auto [x, y] = xy(name);
    py::object e = add(dwsim::ENERGY_STREAM, x, y, py::str("Q-") + name);
    if (into) {
        connect(e, unit);
    } else {
        connect(unit, e);
    }
    return e;
}

void Sheet::note(const char* fmt, py::handle value) {
    notes.append(steal_or_throw(PyUnicode_Format(py::str(fmt).ptr(), py::make_tuple(value).ptr())));
}

py::object add_unit(Sheet& s, const Kind& kind, const Block& b) {
    py::object o = s.add(kind.object_type, b.x, b.y, b.name);
    s.obj[b.name] = o;
    return o;
}

void note_outlets(Sheet& s, const Kind& kind, const Block& b) {
    static const char* const COUNT[] = {"none", "one", "two", "three"};
    const std::size_t n = py::len(b.outs);
    if (n <= static_cast<std::size_t>(kind.outlets)) return;
    s.notes.append(py::str("{}: {} with {} outlets (DWSIM: {})").format(b.name, kind.kind, n, COUNT[kind.outlets]));
}

void connect_single_inlet(Sheet& s, const Kind& kind, const Block& b, py::handle o) {
    note_outlets(s, kind, b);
    if (truthy(b.ins)) s.connect(item(s.obj, item(b.ins, py::int_(0))), o, -1, 0);
    if (py::len(b.ins) > 1) s.note("%s: inlets after the first one are left out (mix them before)", b.name);
    py::ssize_t j = 0;
    for (py::handle stream : b.outs) {
        if (j == kind.outlets) break;
        if (truthy(stream)) s.connect(o, s.outlet(stream), j, 0);
        ++j;
    }
}

}  // namespace flowgate
