// MIXER: a DWSIM Mixer (added as NodeIn) with every inlet on its own port.
// A Mixer has six inlets; more are mixed by a chain of Mixers, each passing
// its mix on to the next on port 0, the last one bearing the block's name.
// Each mixes adiabatically at the lowest inlet pressure, so the chain gives
// the one mix.
#include "access/surface.hpp"
#include "kinds/kind.hpp"

namespace flowgate {

py::object mix_inlets(Sheet& s, const Block& b, py::handle tag, py::handle x) {
    py::list ins = to_list(b.ins);
    const auto n = static_cast<py::ssize_t>(py::len(ins));
    const py::ssize_t room = MIXER.inlets;
    py::str what = py::str("block {!r}").format(b.name);
    py::ssize_t next = 0;
    py::object carried;  // the mix of the stages before
    for (int stage = 1; n - next > room - (carried ? 1 : 0); ++stage) {
        py::object stage_tag = s.fresh(py::str("{}-{}").format(tag, stage), what);
        py::object at = x - py::int_(30 * stage);
        py::object o = s.add(MIXER.object_type, at, b.y, stage_tag);
        py::ssize_t j = 0;
        if (carried) s.connect(carried, o, -1, j++);
        for (; j < room; ++j) s.connect(item(s.obj, ins[next++]), o, -1, j);
        carried = s.add(dwsim::MATERIAL_STREAM, at, b.y - py::int_(20), s.fresh(stage_tag + py::str("-OUT"), what));
        s.connect(o, carried);
    }
    py::object o = s.add(MIXER.object_type, x, b.y, tag);
    py::ssize_t j = 0;
    if (carried) s.connect(carried, o, -1, j++);
    for (; next < n; ++j) s.connect(item(s.obj, ins[next++]), o, -1, j);
    return o;
}

namespace {

void translate(Sheet& s, const Block& b) {
    note_outlets(s, MIXER, b);
    py::object o = mix_inlets(s, b, b.name, b.x);
    s.obj[b.name] = o;
    s.connect(o, s.outlet(item(b.outs, py::int_(0))));
}

// A mixer has no specification.
py::dict readback(const Unit&) { return py::dict(); }

}  // namespace

const Kind MIXER{"MIXER", Name{"NodeIn"}, "Mixer", nullptr, 6, 1, Result::duty, {}, translate, readback};

}  // namespace flowgate
