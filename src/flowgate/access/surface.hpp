// Every touch of a DWSIM object, one named operation each.
//
// Everything here is a member read, write or call on an object that pythonnet
// hands over; the rest of the module calls these and touches DWSIM no other
// way, so that a member name of DWSIM stands in this file alone. Values cross
// as Python objects: the callers make them Python floats first.
#pragma once

#include "frame/python.hpp"

#include <vector>

namespace flowgate::dwsim {

// Automation3.

py::object create_flowsheet(py::handle a);
py::object load_flowsheet(py::handle a, py::handle path);
void save_flowsheet(py::handle a, py::handle sim, py::handle path);

// Solves `sim`; the texts of the errors that the solve reported, in order.
py::list calculate_flowsheet(py::handle a, py::handle sim);

// The flowsheet.

// DWSIM's whole compound database, keyed by compound name.
py::object available_compounds(py::handle sim);

// The flowsheet's compounds, keyed by name in composition order.
py::object selected_compounds(py::handle sim);

// The CAS number of a compound object, as DWSIM holds it (not stripped).
py::object cas_number(py::handle compound);

// Its molar mass, kg/kmol.
py::object molar_weight(py::handle compound);

void add_compound(py::handle sim, py::handle name);

// The concrete property package that the flowsheet created under `name`.
py::object add_property_package(py::handle sim, py::handle name);

// The concrete objects of the flowsheet's property packages, in order.
py::list property_packages(py::handle sim);

// The name of a concrete property package ("NRTL", "Peng-Robinson (PR)", ...).
py::object package_name(py::handle pkg);

// The ObjectType members that add the two kinds of stream.
extern const Name MATERIAL_STREAM, ENERGY_STREAM;

// The drawing of one flowsheet, as the build uses it: its two methods bound
// once, the ObjectType members read once, and each object's drawing object
// read once, when the object is added.
class Drawing {
public:
    Drawing(py::handle sim, py::handle OT);

    // Adds an object of ObjectType member `type` at (x, y) tagged `tag`; the
    // concrete object.
    py::object add(const Name& type, py::handle x, py::handle y, py::handle tag);

    // Output port `i` of `from` to input port `j` of `to`; -1 lets DWSIM choose.
    // DWSIM connects drawing objects, not simulation objects.
    void connect(py::handle from, py::handle to, py::handle i, py::handle j);

private:
    py::object graphic_of(py::handle o);

    py::object OT_, add_object_, connect_objects_;
    py::dict types_;     // ObjectType member name -> member
    py::dict graphics_;  // id of an object added -> (object, its drawing object)
};

// Every object of the flowsheet as DWSIM lists it: its drawing object and its
// concrete object.
struct Entry {
    py::object graphic;
    py::object object;
};
std::vector<Entry> simulation_objects(py::handle sim);

// Any simulation object.

// Its drawing object.
py::object graphic_object(py::handle o);

// The name of its .NET class.
py::str class_name(py::handle o);

// The classes of the two kinds of stream, and of the blocks that close a
// loop of material and of energy.
extern const char* const MATERIAL_STREAM_CLASS;
extern const char* const ENERGY_STREAM_CLASS;
extern const char* const RECYCLE_CLASS;
extern const char* const ENERGY_RECYCLE_CLASS;

// Drawing objects.

py::str tag(py::handle graphic);
std::pair<py::object, py::object> position(py::handle graphic);  // X, Y
py::object output_count(py::handle graphic);

// What stands at the other end of one attached connection point.
struct Connection {
    py::object graphic;  // the drawing object at the other end
    py::str tag;         // its tag
};

// The attached connections of one side, in port order; a point that is not
// attached, or says so but holds no connector, gives none.
enum class Side { in, out };
std::vector<Connection> connections(py::handle graphic, Side side);

// Keyed .NET collections: an interaction-parameter table and its inner tables.

py::object keys(py::handle table);
bool contains_key(py::handle table, py::handle key);
void add_entry(py::handle table, py::handle key, py::handle value);

// An empty table of the same type as `table`.
py::object new_table_like(py::handle table);

// Interaction parameters of a property package: NRTL and the cubic kij.
py::object nrtl_parameters(py::handle pkg);
py::object kij_parameters(py::handle pkg);

py::object clone(py::handle record);

// An NRTL record: its two compound names, then its parameters, Python floats:
// tau = (A12 + B12 T + C12 T^2) / (R T), cal/mol and its multiples per K.
void set_nrtl_names(py::handle record, py::handle id1, py::handle id2);
enum class NrtlField { A12, A21, B12, B21, C12, C21, alpha12 };
void set_nrtl(py::handle record, NrtlField field, py::handle value);

// A cubic record: its constant kij, and a new one of the same type for two
// compound names.
void set_kij(py::handle record, py::handle kij);
py::object new_kij_record(py::handle model, py::handle name1, py::handle name2);

// Marks a cubic package's parameters as changed, so that DWSIM does not
// calculate with a kij matrix it built before.
void parameters_changed(py::handle pkg);

// Material streams.

// The .NET type double[] (System's Array of Double): called with a list of
// Python floats, it makes the array.
py::object double_array_type();

void set_temperature(py::handle stream, py::handle kelvin);
void set_pressure(py::handle stream, py::handle pascal);
void set_molar_flow(py::handle stream, py::handle mol_per_s);
void set_overall_composition(py::handle stream, py::handle fractions);

py::object temperature(py::handle stream);
py::object pressure(py::handle stream);
py::object molar_flow(py::handle stream);
py::object overall_composition(py::handle stream);

// Vapour fraction of a solved stream, or None.
py::object vapour_fraction(py::handle stream);

// Units.

// Heat of a unit in kW; None when it has no DeltaQ or DWSIM holds none.
py::object delta_q(py::handle unit);

// Pressure drop of a heater or cooler, Pa; None when it has none.
py::object delta_p(py::handle unit);

// A mode of Heater.CalculationMode and the member that holds its value.
struct HeaterMode {
    Name mode;
    Name member;
};
extern const HeaterMode OUTLET_TEMPERATURE;      // K
extern const HeaterMode OUTLET_VAPOUR_FRACTION;  // 0 to 1
extern const HeaterMode HEAT_ADDED;              // kW

void set_heater_mode(py::handle heater, py::handle U, const HeaterMode& mode);

// The mode of a heater or cooler, by the name of its calculation mode (the
// enums of both classes share these words; a cooler's heat is removed):
// outlet temperature, outlet vapour fraction, heat (also for a unit without
// a mode), or nullptr for a mode the host has no such block for (a
// temperature change, an energy stream).
const HeaterMode* heater_mode(py::handle unit);

// The text of a unit's calculation mode, for the notes.
py::str mode_name(py::handle unit);
void set_heater_value(py::handle heater, const HeaterMode& mode, py::handle value);
py::object heater_value(py::handle heater, const HeaterMode& mode);
void set_pressure_drop(py::handle heater, py::handle pascal);

// Vessel: whether it fixes its flash temperature and pressure (false when it
// has no such member), and those values (K, Pa).
bool overrides_temperature(py::handle vessel);
bool overrides_pressure(py::handle vessel);
py::object flash_temperature(py::handle vessel);
py::object flash_pressure(py::handle vessel);

// A unit run at a given outlet pressure: the class whose CalculationMode
// holds OutletPressure, the members of its outlet pressure (Pa) and of its
// efficiency (percent; none for a valve), and the names of its modes that
// fix the pressure some other way (nullptr where it has none).
struct PressureUnit {
    Name mode_class;
    Name outlet;
    const Name* efficiency;
    const char* by_difference;  // DeltaP: a rise for a pump or compressor, a drop for a valve
    const char* by_ratio;       // PressureRatio
};
extern const PressureUnit PUMP;
extern const PressureUnit COMPRESSOR;
extern const PressureUnit VALVE;

void set_outlet_pressure_mode(py::handle unit, py::handle U, const PressureUnit& kind);
void set_outlet_pressure(py::handle unit, const PressureUnit& kind, py::handle pascal);
void set_efficiency(py::handle unit, const PressureUnit& kind, py::handle percent);
py::object outlet_pressure(py::handle unit, const PressureUnit& kind);
py::object efficiency(py::handle unit, const PressureUnit& kind);

// How a pump, compressor or valve fixes its outlet pressure.
enum class PressureMode { outlet, difference, ratio, other };
PressureMode pressure_mode(py::handle unit, const PressureUnit& kind);
py::object pressure_difference(py::handle unit);  // DeltaP, Pa
py::object pressure_ratio(py::handle unit);       // PressureRatio

// Recycle: the block that cuts a loop, with the tolerances of its
// convergence test (kg/s of the component mass flows, K) and its limit of
// solver passes.
extern const Name RECYCLE;
void set_recycle_tolerances(py::handle recycle, py::handle kg_per_s, py::handle kelvin);
void set_recycle_iterations(py::handle recycle, py::handle passes);

// Splitter: the ratios of its outlets, in port order.
void clear_ratios(py::handle splitter);
void add_ratio(py::handle splitter, py::handle fraction);
py::object ratios(py::handle splitter);

// Whether a splitter splits by its ratios (its other modes fix outlet flows).
bool splits_by_ratio(py::handle splitter);

// Component separator: the classes of its entries, imported when first needed.
struct Separation {
    py::object spec;   // ComponentSeparationSpec
    py::object kinds;  // SeparationSpec
};
Separation import_separation();

void clear_separation(py::handle separator);

// One compound's entry: `percent` of its inlet molar flow leaves by outlet 0.
void add_separation(py::handle separator, const Separation& sep, py::handle name, py::handle percent);
void separate_outlet_zero(py::handle separator);

// Its entries in the order of their keys: the compound, and the value as a
// percentage of the compound's inlet flow, or None where the entry fixes a
// flow instead.
struct SeparationEntry {
    py::object compound;
    py::object percent;
};
std::vector<SeparationEntry> separation_entries(py::handle separator);

// Whether the entries are those of outlet 0 (else of outlet 1).
bool separates_outlet_zero(py::handle separator);

}  // namespace flowgate::dwsim
