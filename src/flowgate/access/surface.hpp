// The DWSIM operations that the export road uses, one function each.
//
// Everything here is a member read, write or call on an object that pythonnet
// hands over; the translation logic calls these and touches DWSIM no other way.
// Values cross as Python objects: the callers make them Python floats first.
#pragma once

#include "frame/python.hpp"

namespace flowgate::dwsim {

// Automation3.

py::object create_flowsheet(py::handle a);

// Solves `sim`; the texts of the errors that the solve reported, in order.
py::list calculate_flowsheet(py::handle a, py::handle sim);

void save_flowsheet(py::handle a, py::handle sim, py::handle path);

// The flowsheet.

// DWSIM's whole compound database, keyed by compound name.
py::object available_compounds(py::handle sim);

// The CAS number of the compound under `name` in `db`, as a stripped string.
py::object cas_number(py::handle db, py::handle name);

void add_compound(py::handle sim, py::handle name);

// The concrete property package that the flowsheet created under `name`.
py::object add_property_package(py::handle sim, py::handle name);

// The member `member` of the ObjectType enumeration `OT`.
py::object object_type(py::handle OT, py::handle member);

// Adds an object of type `type` at (x, y) tagged `tag`; the concrete object.
py::object add_object(py::handle sim, py::handle type, py::handle x, py::handle y, py::handle tag);

// Output port `i` of `from` to input port `j` of `to`; -1 lets DWSIM choose.
void connect_objects(py::handle sim, py::handle from, py::handle to, py::handle i, py::handle j);

// Number of output ports of a unit.
py::object output_count(py::handle unit);

// Keyed .NET collections: an interaction-parameter table and its inner tables.

py::object keys(py::handle table);
bool contains_key(py::handle table, py::handle key);
void add_entry(py::handle table, py::handle key, py::handle value);

// An empty table of the same type as `table`.
py::object new_table_like(py::handle table);

py::object clone(py::handle record);

// Interaction parameters of a property package: NRTL and the cubic kij.
py::object nrtl_parameters(py::handle pkg);
py::object kij_parameters(py::handle pkg);

void set_kij(py::handle record, py::handle kij);

// Material streams.

// A .NET double[] of the Python floats in `values`.
py::object double_array(py::handle Array, py::handle Double, py::handle values);

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

// A mode of Heater.CalculationMode and the member that holds its value.
struct HeaterMode {
    const char* mode;
    const char* member;
};
extern const HeaterMode OUTLET_TEMPERATURE;      // K
extern const HeaterMode OUTLET_VAPOUR_FRACTION;  // 0 to 1
extern const HeaterMode HEAT_ADDED;              // kW

void set_heater_mode(py::handle heater, py::handle U, const HeaterMode& mode);
void set_heater_value(py::handle heater, const HeaterMode& mode, py::handle value);
void set_pressure_drop(py::handle heater, py::handle pascal);

// A unit run at a given outlet pressure: the class whose CalculationMode
// holds OutletPressure, and the members of its outlet pressure (Pa) and of
// its efficiency (percent; none for a valve).
struct PressureUnit {
    const char* mode_class;
    const char* outlet;
    const char* efficiency;
};
extern const PressureUnit PUMP;
extern const PressureUnit COMPRESSOR;
extern const PressureUnit VALVE;

void set_outlet_pressure_mode(py::handle unit, py::handle U, const PressureUnit& kind);
void set_outlet_pressure(py::handle unit, const PressureUnit& kind, py::handle pascal);
void set_efficiency(py::handle unit, const PressureUnit& kind, py::handle percent);

// Splitter: the ratios of its outlets, in port order.
void clear_ratios(py::handle splitter);
void add_ratio(py::handle splitter, py::handle fraction);

// Component separator: the classes of its entries, imported when first needed.
struct Separation {
    py::object spec;   // ComponentSeparationSpec
    py::object kinds;  // SeparationSpec
};
Separation import_separation();

void clear_separation(py::handle separator);

// One compound's entry: `percent` of its inlet molar flow leaves by outlet 0.
void add_separation(py::handle separator, const Separation& sep, py::handle name,
                    py::handle percent);

void separate_outlet_zero(py::handle separator);

}  // namespace flowgate::dwsim
