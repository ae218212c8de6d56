// MIXER: a DWSIM Mixer (added as NodeIn) with every inlet on its own port.
#include "kinds/kind.hpp"

namespace flowgate {
namespace {

void translate(Sheet& s, const Block& b) {
    py::object o = add_unit(s, MIXER, b);
    py::ssize_t j = 0;
    for (py::handle stream : b.ins) s.connect(item(s.obj, stream), o, -1, j++);
    s.connect(o, s.outlet(item(b.outs, py::int_(0))));
}

// A mixer has no specification.
py::dict readback(const Unit&) { return py::dict(); }

}  // namespace

const Kind MIXER{"MIXER", Name{"NodeIn"}, "Mixer", nullptr, 6, 1, Result::duty, {}, translate, readback};

}  // namespace flowgate
