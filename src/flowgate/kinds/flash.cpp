// FLASH2: a DWSIM Heater that carries the flash's specification, an
// intermediate stream, and a Vessel that splits the phases.
#include "access/surface.hpp"
#include "kinds/kind.hpp"
#include "kinds/readback.hpp"

namespace flowgate {
namespace {

// Several feeds are mixed in front of the heater, which has one inlet.
void translate(Sheet& s, const Block& b) {
    note_outlets(s, FLASH2, b);
    py::object h = s.add(HEATER.object_type, b.x - py::int_(40), b.y, b.name + py::str("-H"));
    py::object mid = s.add(dwsim::MATERIAL_STREAM, b.x - py::int_(20), b.y, b.name + py::str("-F"));
    py::object v = s.add(FLASH2.object_type, b.x, b.y, b.name);
    s.obj[b.name] = v;
    s.obj[b.name + py::str("-H")] = h;
    if (py::len(b.ins) > 1) {
        py::str what = py::str("block {!r}").format(b.name);
        py::object tag = s.fresh(b.name + py::str("-M"), what);
        py::object m = mix_inlets(s, b, tag, b.x - py::int_(70));
        py::object mixed = s.add(dwsim::MATERIAL_STREAM, b.x - py::int_(55), b.y, s.fresh(tag + py::str("-OUT"), what));
        s.connect(m, mixed);
        s.connect(mixed, h, -1, 0);
    } else if (py::len(b.ins) == 1) {
        s.connect(item(s.obj, item(b.ins, py::int_(0))), h, -1, 0);
    }
    s.connect(h, mid);
    s.connect(mid, v);
    s.energy(b.name, h);
    heater(s.at.U, h, b.sp, b.pin, b.pout);
    s.connect(v, s.outlet(item(b.outs, py::int_(0))), 0, 0);
    s.connect(v, s.outlet(item(b.outs, py::int_(1))), 1, 0);
}

// The vessel's own part; the import merges in the heater that carries the rest.
py::dict readback(const Unit& u) {
    py::dict spec;
    spec["dP"] = or_zero(dwsim::delta_p(u.o));
    if (dwsim::overrides_temperature(u.o)) {
        spec["T"] = to_float(dwsim::flash_temperature(u.o));
    } else {
        spec["duty"] = py::float_(0.0);
    }
    if (dwsim::overrides_pressure(u.o)) {
        spec["P"] = to_float(dwsim::flash_pressure(u.o));
        spec.attr("pop")("dP");
    }
    return spec;
}

}  // namespace

const Kind FLASH2{"FLASH2", Name{"Vessel"}, "Vessel", nullptr, 6, 2, Result::duty,
                  {{"Q-", ""}, {"", "-H"}, {"", "-F"}}, translate, readback};

}  // namespace flowgate
