// What a host block kind is in DWSIM, both ways: one row per kind.
//
// A row names the DWSIM unit that a kind becomes and carries the functions
// that translate a host block into it and read its specification back. Each
// row is defined with its functions in a file of its own; adding a kind is one
// row there and one entry in the table. The tables KINDS and CLASSES that the
// module publishes are derived from these rows.
#pragma once

#include "access/automation.hpp"
#include "access/surface.hpp"
#include "frame/python.hpp"
#include "frame/tables.hpp"

#include <memory>
#include <utility>
#include <vector>

namespace flowgate {

// Refuses a name that cannot become a DWSIM tag, `what` ("stream 5") saying whose.
void require_text(py::handle name, py::handle what);

// The DWSIM flowsheet under construction, as the translation of a block sees it.
struct Sheet {
    Automation at;
    py::object fs;
    py::object sim;      // the DWSIM flowsheet being built
    std::unique_ptr<dwsim::Drawing> drawing;
    py::object doubles;  // .NET double[], for the compositions
    py::object names;    // {component: DWSIM compound name}
    py::object pos;      // {stream or block: (x, y)}
    py::dict obj;        // {name: DWSIM object}
    py::dict into;       // {stream: the DWSIM stream a unit's outlet feeds}, where not the stream itself
    py::dict P;          // {stream: pressure in Pa}, where known
    py::dict places;     // {stream: (x, y)} as drawn
    py::list comps;      // fs.pp.components, in their one order
    py::list notes;
    py::dict tags;       // {DWSIM tag: what bears it}, every tag of the flowsheet
    py::set fed;         // the streams that a unit's outlet feeds

    // Drawing place of `n`; without one, place `k` of the default row.
    std::pair<py::object, py::object> xy(py::handle n, py::ssize_t k = 0) const;

    // Takes `tag` for `what` ("stream 'S1'"); two objects with one tag would
    // be renamed by DWSIM, or hang it where the tag has no digits.
    void reserve(py::handle tag, py::handle what);

    // A tag made of `base` that nothing bears, reserved for `what`.
    py::object fresh(py::handle base, py::handle what);

    // Adds an object of ObjectType member `type` at (x, y); the concrete object.
    py::object add(const Name& type, py::handle x, py::handle y, py::handle tag) const;

    // The DWSIM stream into which a unit's outlet `stream` goes: the stream
    // itself, or the inlet of the Recycle block that cuts a loop there. The
    // stream counts as fed from then on.
    py::object outlet(py::handle stream);

    // Output port `i` of `x` to input port `j` of `y`; -1 leaves it to DWSIM.
    void connect(py::handle x, py::handle y, py::ssize_t i = -1, py::ssize_t j = -1) const;

    // The energy stream of block `name`, into `unit` or out of it.
    py::object energy(py::handle name, py::handle unit, bool into = true) const;

    // fmt % (value,): a note with one "%s", filled as Python fills it.
    void note(const char* fmt, py::handle value);
};

// One host block being translated.
struct Block {
    py::object name, sp, kind;
    py::object ins, outs;  // stream names by port, falsy for an open port
    py::object x, y;
    py::object pin;   // lowest known inlet pressure, Pa
    py::object pout;  // known pressure of the first outlet, Pa, or None
};

// A DWSIM unit being read back as a host block.
struct Unit {
    py::object o;                // the concrete unit
    py::object objs;             // {tag: concrete object} of the file
    py::object ins, outs;        // its material streams' tags
    py::object order;            // component identifiers in composition order
    py::object tag = py::str("");  // for the notes
    py::list names{};            // DWSIM compound names in composition order; empty: match by position
    py::list notes{};            // where a mode has no host equivalent

    // `fmt` with the unit's tag (and `more`, where given) filled in, into the notes.
    void note(const char* fmt, py::handle more = py::handle()) const;

    // The stored state of one of its streams: total molar flow (mol/s) and
    // composition; nothing where the tag names no object of the file.
    bool flows_of(py::handle tag, std::vector<double>& component_flows) const;
};

// Which key a block's result has: the heat of a unit, or the power of a machine.
enum class Result { duty, power };

// A tag that the translation of a block adds beside the block's own: the
// block's name with a prefix or a suffix.
struct Affix {
    const char* prefix;
    const char* suffix;
};

struct Kind {
    const char* kind;          // the host's block kind
    Name object_type;          // the ObjectType member that adds its unit
    const char* dwsim_class;   // the class of that unit
    const char* also;          // another class read back as this kind, whose duty is
                               // the heat it removes (a Cooler), or nullptr
    int inlets, outlets;       // material ports that the DWSIM unit offers the block
    Result result;
    std::vector<Affix> helpers;  // tags of the objects added beside the unit
    void (*translate)(Sheet&, const Block&);
    py::dict (*readback)(const Unit&);
};

// The rows, each defined beside its functions.
extern const Kind MIXER, FSPLIT, SEP, HEATER, FLASH2, PUMP, COMPR, VALVE;

// The kind of a host block, or nullptr for a kind DWSIM does not take.
const Kind* find_kind(py::handle kind);

// The kind read back from a DWSIM class, or nullptr for a class without one.
const Kind* kind_of_class(py::handle class_name);

// The rows of KINDS (kind -> ObjectType member) and CLASSES (class -> kind).
std::vector<Row> kinds_table();
std::vector<Row> classes_table();

// Adds a unit of the block's kind at its place under its name; the unit.
py::object add_unit(Sheet& s, const Kind& kind, const Block& b);

// Adds the Mixer, tagged `tag` at `x`, that mixes the block's inlets; a chain
// of them where there are more inlets than a Mixer has, each passing its mix
// on to the next, the last being the one returned.
py::object mix_inlets(Sheet& s, const Block& b, py::handle tag, py::handle x);

// Names a block with more outlets than its DWSIM unit offers; those stay open.
void note_outlets(Sheet& s, const Kind& kind, const Block& b);

// Connects the first inlet only, with a note when there are more, and each
// outlet that the unit offers at its host port number.
void connect_single_inlet(Sheet& s, const Kind& kind, const Block& b, py::handle o);

// Mode and values of a DWSIM heater from a HEATER or FLASH2 specification.
void heater(py::handle U, py::handle h, py::handle sp, py::handle pin, py::handle pout);

// The specification of a host block of `kind` read back from a DWSIM unit.
py::dict spec_of(py::handle kind, const Unit& unit);

}  // namespace flowgate
