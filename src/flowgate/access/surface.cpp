#include "access/surface.hpp"

namespace flowgate::dwsim {

const HeaterMode OUTLET_TEMPERATURE{"OutletTemperature", "OutletTemperature"};
const HeaterMode OUTLET_VAPOUR_FRACTION{"OutletVaporFraction", "OutletVaporFraction"};
const HeaterMode HEAT_ADDED{"HeatAdded", "DeltaQ"};

const PressureUnit PUMP{"Pump", "Pout", "Efficiency"};
const PressureUnit COMPRESSOR{"Compressor", "POut", "AdiabaticEfficiency"};
const PressureUnit VALVE{"Valve", "OutletPressure", nullptr};

py::object create_flowsheet(py::handle a) { return a.attr("CreateFlowsheet")(); }

py::list calculate_flowsheet(py::handle a, py::handle sim) {
    py::object result = a.attr("CalculateFlowsheet4")(sim);
    py::list errors;
    if (!truthy(result)) return errors;
    for (py::handle e : result) errors.append(py::str(e.attr("Message")));
    return errors;
}

void save_flowsheet(py::handle a, py::handle sim, py::handle path) {
    a.attr("SaveFlowsheet")(sim, path, true);
}

py::object available_compounds(py::handle sim) { return sim.attr("AvailableCompounds"); }

py::object cas_number(py::handle db, py::handle name) {
    return py::str(db[name].attr("CAS_Number")).attr("strip")();
}

void add_compound(py::handle sim, py::handle name) { sim.attr("AddCompound")(name); }

// DWSIM gives the package as its interface; its parameter tables stand on
// the concrete class.
py::object add_property_package(py::handle sim, py::handle name) {
    return sim.attr("CreateAndAddPropertyPackage")(name).attr("__implementation__");
}

py::object object_type(py::handle OT, py::handle member) { return OT.attr(member); }

py::object add_object(py::handle sim, py::handle type, py::handle x, py::handle y, py::handle tag) {
    return sim.attr("AddObject")(type, x, y, tag).attr("GetAsObject")();
}

// DWSIM connects drawing objects, not simulation objects.
void connect_objects(py::handle sim, py::handle from, py::handle to, py::handle i, py::handle j) {
    sim.attr("ConnectObjects")(from.attr("GraphicObject"), to.attr("GraphicObject"), i, j);
}

py::object output_count(py::handle unit) {
    return unit.attr("GraphicObject").attr("OutputConnectors").attr("Count");
}

py::object keys(py::handle table) { return table.attr("Keys"); }

bool contains_key(py::handle table, py::handle key) {
    return truthy(table.attr("ContainsKey")(key));
}

void add_entry(py::handle table, py::handle key, py::handle value) {
    table.attr("Add")(key, value);
}

// The closed generic type of an existing table can be called to make an
// empty one.
py::object new_table_like(py::handle table) {
    return py::type::handle_of(table)();
}

py::object clone(py::handle record) { return record.attr("Clone")(); }

py::object nrtl_parameters(py::handle pkg) {
    return pkg.attr("m_uni").attr("InteractionParameters");
}

py::object kij_parameters(py::handle pkg) {
    return pkg.attr("m_pr").attr("InteractionParameters");
}

void set_kij(py::handle record, py::handle kij) { record.attr("kij") = kij; }

py::object double_array(py::handle Array, py::handle Double, py::handle values) {
    return Array[Double](values);
}

void set_temperature(py::handle stream, py::handle kelvin) {
    stream.attr("SetTemperature")(kelvin);
}

void set_pressure(py::handle stream, py::handle pascal) { stream.attr("SetPressure")(pascal); }

void set_molar_flow(py::handle stream, py::handle mol_per_s) {
    stream.attr("SetMolarFlow")(mol_per_s);
}

void set_overall_composition(py::handle stream, py::handle fractions) {
    stream.attr("SetOverallComposition")(fractions);
}

py::object temperature(py::handle stream) { return stream.attr("GetTemperature")(); }

py::object pressure(py::handle stream) { return stream.attr("GetPressure")(); }

py::object molar_flow(py::handle stream) { return stream.attr("GetMolarFlow")(); }

py::object overall_composition(py::handle stream) {
    return stream.attr("GetOverallComposition")();
}

// Phase 2 of a stream is its vapour.
py::object vapour_fraction(py::handle stream) {
    return stream.attr("Phases")[py::int_(2)].attr("Properties").attr("molarfraction");
}

// Mixers, splitters and separators have no DeltaQ at all.
py::object delta_q(py::handle unit) { return attr_or(unit, "DeltaQ"); }

void set_heater_mode(py::handle heater, py::handle U, const HeaterMode& mode) {
    heater.attr("CalcMode") = U.attr("Heater").attr("CalculationMode").attr(mode.mode);
}

void set_heater_value(py::handle heater, const HeaterMode& mode, py::handle value) {
    heater.attr(mode.member) = value;
}

void set_pressure_drop(py::handle heater, py::handle pascal) {
    heater.attr("DeltaP") = pascal;
}

void set_outlet_pressure_mode(py::handle unit, py::handle U, const PressureUnit& kind) {
    unit.attr("CalcMode") = U.attr(kind.mode_class).attr("CalculationMode").attr("OutletPressure");
}

void set_outlet_pressure(py::handle unit, const PressureUnit& kind, py::handle pascal) {
    unit.attr(kind.outlet) = pascal;
}

void set_efficiency(py::handle unit, const PressureUnit& kind, py::handle percent) {
    unit.attr(kind.efficiency) = percent;
}

void clear_ratios(py::handle splitter) { splitter.attr("Ratios").attr("Clear")(); }

void add_ratio(py::handle splitter, py::handle fraction) {
    splitter.attr("Ratios").attr("Add")(fraction);
}

Separation import_separation() {
    constexpr const char* AUXILIARY = "DWSIM.UnitOperations.UnitOperations.Auxiliary";
    py::object spec = import_from(AUXILIARY, "ComponentSeparationSpec");
    return {spec, import_from(AUXILIARY, "SeparationSpec")};
}

void clear_separation(py::handle separator) {
    separator.attr("ComponentSepSpecs").attr("Clear")();
}

void add_separation(py::handle separator, const Separation& sep, py::handle name,
                    py::handle percent) {
    py::object entry = sep.spec(name, sep.kinds.attr("PercentInletMolarFlow"), percent, "%");
    separator.attr("ComponentSepSpecs").attr("Add")(name, entry);
}

void separate_outlet_zero(py::handle separator) { separator.attr("SpecifiedStreamIndex") = 0; }

}  // namespace flowgate::dwsim
