#include "export/files.hpp"

#include "access/surface.hpp"

namespace flowgate {
namespace {

constexpr const char* EXTENSIONS[] = {".dwxmz", ".dwxml"};

py::object os_path() { return py::module_::import("os").attr("path"); }

// Removes the temporary file on every way out.
class Temporary {
public:
    explicit Temporary(py::object path) : path_(std::move(path)) {}
    ~Temporary() {
        py::error_scope pending;  // an error already on its way out stays untouched
        try {
            if (truthy(os_path().attr("exists")(path_))) py::module_::import("os").attr("remove")(path_);
        } catch (py::error_already_set& e) {
            e.discard_as_unraisable(path_);
        }
    }
    Temporary(const Temporary&) = delete;
    Temporary& operator=(const Temporary&) = delete;
    const py::object& path() const { return path_; }

private:
    py::object path_;
};

}  // namespace

py::object dwsim_target(py::handle path_like) {
    py::object target = py::module_::import("os").attr("fspath")(path_like);
    if (!PyUnicode_Check(target.ptr())) {
        raise(PyExc_TypeError, py::str("a DWSIM file's path must be text, not {!r}").format(target));
    }
    py::object path = os_path();
    py::object extension = upper(item(path.attr("splitext")(target), py::int_(1)));
    bool known = false;
    for (const char* e : EXTENSIONS) known = known || equal(extension, upper(py::str(e)));
    if (!known) {
        raise(PyExc_ValueError,
              py::str("cannot write {!r}: DWSIM writes files ending in .dwxmz or .dwxml, and nothing else").format(target));
    }
    if (truthy(path.attr("isdir")(target))) {
        raise(PyExc_IsADirectoryError, py::str("cannot write {!r}: it is a folder").format(target));
    }
    py::object folder = path.attr("dirname")(path.attr("abspath")(target));
    if (!truthy(path.attr("isdir")(folder))) {
        raise(PyExc_FileNotFoundError, py::str("cannot write {!r}: there is no folder {!r}").format(target, folder));
    }
    return target;
}

void save(py::handle a, py::handle sim, py::handle target) {
    py::object path = os_path();
    py::object folder = path.attr("dirname")(path.attr("abspath")(target));
    py::object extension = item(path.attr("splitext")(target), py::int_(1));
    py::object token = py::module_::import("secrets").attr("token_hex")(8);
    Temporary part(path.attr("join")(folder, py::str(".kelvane-{}.part{}").format(token, extension)));
    if (dotnet_safe(part.path())) {
        dwsim::save_flowsheet(a, sim, part.path());
    } else {
        // A folder .NET cannot name: DWSIM writes in one it can, and the part
        // file is copied beside the target from there.
        py::object elsewhere = py::module_::import("tempfile").attr("mkdtemp")("", "kelvane-");
        Temporary written(path.attr("join")(elsewhere, py::str("export") + py::str(extension).attr("lower")()));
        dwsim::save_flowsheet(a, sim, written.path());
        if (truthy(path.attr("exists")(written.path()))) {
            py::module_::import("shutil").attr("copyfile")(written.path(), part.path());
        }
        py::module_::import("os").attr("rmdir")(elsewhere);
    }
    if (!truthy(path.attr("exists")(part.path())) || !truthy(path.attr("getsize")(part.path()))) {
        raise(PyExc_OSError, py::str("DWSIM wrote nothing for {!r}").format(target));
    }
    py::module_::import("os").attr("replace")(part.path(), target);
}

}  // namespace flowgate
