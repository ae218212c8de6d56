#include "access/surface.hpp"

#include <cstdint>

namespace flowgate::dwsim {
namespace {

// DWSIM's member names, exactly as DWSIM writes them (`Pout` on the pump,
// `POut` on the compressor).
const Name CreateFlowsheet{"CreateFlowsheet"}, LoadFlowsheet{"LoadFlowsheet"}, SaveFlowsheet{"SaveFlowsheet"},
    CalculateFlowsheet4{"CalculateFlowsheet4"}, Message{"Message"};
const Name AvailableCompounds{"AvailableCompounds"}, SelectedCompounds{"SelectedCompounds"},
    CAS_Number{"CAS_Number"}, AddCompound{"AddCompound"};
const Name CreateAndAddPropertyPackage{"CreateAndAddPropertyPackage"}, PropertyPackages{"PropertyPackages"},
    ComponentName{"ComponentName"};
const Name AddObject{"AddObject"}, ConnectObjects{"ConnectObjects"},
    SimulationObjects{"SimulationObjects"};
const Name Keys{"Keys"}, Values{"Values"}, ContainsKey{"ContainsKey"}, Add{"Add"}, Clear{"Clear"},
    Clone{"Clone"};
const Name implementation{"__implementation__"}, GetType{"GetType"}, TypeName{"Name"};
const Name GraphicObject{"GraphicObject"}, Tag{"Tag"}, X{"X"}, Y{"Y"}, InputConnectors{"InputConnectors"},
    OutputConnectors{"OutputConnectors"}, Count{"Count"}, IsAttached{"IsAttached"},
    AttachedConnector{"AttachedConnector"}, AttachedFrom{"AttachedFrom"}, AttachedTo{"AttachedTo"};
const Name m_uni{"m_uni"}, m_pr{"m_pr"}, InteractionParameters{"InteractionParameters"};
const Name ID1{"ID1"}, ID2{"ID2"}, A12{"A12"}, A21{"A21"}, B12{"B12"}, B21{"B21"}, C12{"C12"}, C21{"C21"},
    alpha12{"alpha12"}, kij{"kij"}, Name1{"Name1"}, Name2{"Name2"}, AreModelParametersDirty{"AreModelParametersDirty"};
const Name SetTemperature{"SetTemperature"}, SetPressure{"SetPressure"}, SetMolarFlow{"SetMolarFlow"},
    SetOverallComposition{"SetOverallComposition"}, GetTemperature{"GetTemperature"},
    GetPressure{"GetPressure"}, GetMolarFlow{"GetMolarFlow"}, GetOverallComposition{"GetOverallComposition"},
    Phases{"Phases"}, Properties{"Properties"}, molarfraction{"molarfraction"};
const Name CalcMode{"CalcMode"}, CalculationMode{"CalculationMode"}, DeltaQ{"DeltaQ"}, DeltaP{"DeltaP"},
    OutletPressureMode{"OutletPressure"};
const Name OverrideT{"OverrideT"}, OverrideP{"OverrideP"}, FlashTemperature{"FlashTemperature"},
    FlashPressure{"FlashPressure"};
const Name Ratios{"Ratios"}, ComponentSepSpecs{"ComponentSepSpecs"}, SpecValue{"SpecValue"},
    SpecifiedStreamIndex{"SpecifiedStreamIndex"}, PercentInletMolarFlow{"PercentInletMolarFlow"};
const Name Heater{"Heater"}, Efficiency{"Efficiency"}, AdiabaticEfficiency{"AdiabaticEfficiency"};
const Name PressureRatio{"PressureRatio"}, OperationMode{"OperationMode"}, SepSpec{"SepSpec"},
    ComponentID{"ComponentID"};
const Name Molar_Weight{"Molar_Weight"}, ConvergenceParameters{"ConvergenceParameters"}, VazaoMassica{"VazaoMassica"},
    Temperatura{"Temperatura"}, MaximumIterations{"MaximumIterations"};

constexpr int VAPOUR = 2;  // phase 2 of a stream is its vapour

// A value of Keys or Values: bound to a name first, so that the collection
// lives while it is iterated.
py::object collection(py::handle keyed, const Name& which) { return attr(keyed, which); }

}  // namespace

const Name MATERIAL_STREAM{"MaterialStream"}, ENERGY_STREAM{"EnergyStream"};
const Name RECYCLE{"OT_Recycle"};
const char* const MATERIAL_STREAM_CLASS = "MaterialStream";
const char* const ENERGY_STREAM_CLASS = "EnergyStream";
const char* const RECYCLE_CLASS = "Recycle";
const char* const ENERGY_RECYCLE_CLASS = "EnergyRecycle";

const HeaterMode OUTLET_TEMPERATURE{Name{"OutletTemperature"}, Name{"OutletTemperature"}};
const HeaterMode OUTLET_VAPOUR_FRACTION{Name{"OutletVaporFraction"}, Name{"OutletVaporFraction"}};
const HeaterMode HEAT_ADDED{Name{"HeatAdded"}, Name{"DeltaQ"}};

const PressureUnit PUMP{Name{"Pump"}, Name{"Pout"}, &Efficiency, "Delta_P", nullptr};
const PressureUnit COMPRESSOR{Name{"Compressor"}, Name{"POut"}, &AdiabaticEfficiency, "Delta_P", "PressureRatio"};
const PressureUnit VALVE{Name{"Valve"}, Name{"OutletPressure"}, nullptr, "DeltaP", nullptr};

py::object create_flowsheet(py::handle a) { return call_method(a, CreateFlowsheet); }

py::object load_flowsheet(py::handle a, py::handle path) { return call_method(a, LoadFlowsheet, path); }

void save_flowsheet(py::handle a, py::handle sim, py::handle path) {
    call_method(a, SaveFlowsheet, sim, path, py::bool_(true));
}

py::list calculate_flowsheet(py::handle a, py::handle sim) {
    py::object result = call_method(a, CalculateFlowsheet4, sim);
    py::list errors;
    if (!truthy(result)) return errors;
    for (py::handle e : result) errors.append(py::str(attr(e, Message)));
    return errors;
}

py::object available_compounds(py::handle sim) { return attr(sim, AvailableCompounds); }

py::object selected_compounds(py::handle sim) { return attr(sim, SelectedCompounds); }

py::object cas_number(py::handle compound) { return attr(compound, CAS_Number); }

py::object molar_weight(py::handle compound) { return attr(compound, Molar_Weight); }

void add_compound(py::handle sim, py::handle name) { call_method(sim, AddCompound, name); }

// DWSIM gives the package as its interface; its parameter tables stand on
// the concrete class.
py::object add_property_package(py::handle sim, py::handle name) {
    return attr(call_method(sim, CreateAndAddPropertyPackage, name), implementation);
}

py::list property_packages(py::handle sim) {
    py::object values = collection(attr(sim, PropertyPackages), Values);
    py::list packages;
    for (py::handle p : values) packages.append(attr(p, implementation));
    return packages;
}

py::object package_name(py::handle pkg) { return attr(pkg, ComponentName); }

Drawing::Drawing(py::handle sim, py::handle OT)
    : OT_(py::reinterpret_borrow<py::object>(OT)), add_object_(attr(sim, AddObject)),
      connect_objects_(attr(sim, ConnectObjects)) {}

// AddObject gives the interface view; __implementation__ is the object that
// GetAsObject() would give, at a cheaper crossing.
py::object Drawing::add(const Name& type, py::handle x, py::handle y, py::handle tag) {
    py::object member = get(types_, type.get());
    if (member.is_none()) types_[type.get()] = member = attr(OT_, type);
    py::object view = add_object_(member, x, y, tag);
    py::object o = attr(view, implementation);
    graphics_[py::int_(reinterpret_cast<std::uintptr_t>(o.ptr()))] = py::make_tuple(o, attr(view, GraphicObject));
    return o;
}

py::object Drawing::graphic_of(py::handle o) {
    py::object known = get(graphics_, py::int_(reinterpret_cast<std::uintptr_t>(o.ptr())));
    return known.is_none() ? attr(o, GraphicObject) : py::object(known[py::int_(1)]);
}

void Drawing::connect(py::handle from, py::handle to, py::handle i, py::handle j) {
    connect_objects_(graphic_of(from), graphic_of(to), i, j);
}

// The entries of SimulationObjects are interface views: the concrete object
// carries the members of its class.
std::vector<Entry> simulation_objects(py::handle sim) {
    py::object values = collection(attr(sim, SimulationObjects), Values);
    std::vector<Entry> entries;
    for (py::handle v : values) entries.push_back({attr(v, GraphicObject), attr(v, implementation)});
    return entries;
}

py::object graphic_object(py::handle o) { return attr(o, GraphicObject); }

py::str class_name(py::handle o) { return py::str(attr(call_method(o, GetType), TypeName)); }

py::str tag(py::handle graphic) { return py::str(attr(graphic, Tag)); }

std::pair<py::object, py::object> position(py::handle graphic) { return {attr(graphic, X), attr(graphic, Y)}; }

py::object output_count(py::handle graphic) { return attr(attr(graphic, OutputConnectors), Count); }

std::vector<Connection> connections(py::handle graphic, Side side) {
    const bool inlet = side == Side::in;
    py::object points = attr(graphic, inlet ? InputConnectors : OutputConnectors);
    std::vector<Connection> found;
    for (py::handle point : points) {
        if (!truthy(attr(point, IsAttached))) continue;
        py::object connector = attr(point, AttachedConnector);
        if (connector.is_none()) continue;
        py::object other = attr(connector, inlet ? AttachedFrom : AttachedTo);
        found.push_back({other, tag(other)});
    }
    return found;
}

py::object keys(py::handle table) { return collection(table, Keys); }

bool contains_key(py::handle table, py::handle key) { return truthy(call_method(table, ContainsKey, key)); }

void add_entry(py::handle table, py::handle key, py::handle value) { call_method(table, Add, key, value); }

// The closed generic type of an existing table can be called to make an
// empty one.
py::object new_table_like(py::handle table) { return py::type::handle_of(table)(); }

py::object nrtl_parameters(py::handle pkg) { return attr(attr(pkg, m_uni), InteractionParameters); }

py::object kij_parameters(py::handle pkg) { return attr(attr(pkg, m_pr), InteractionParameters); }

py::object clone(py::handle record) { return call_method(record, Clone); }

void set_nrtl_names(py::handle record, py::handle id1, py::handle id2) {
    set_attr(record, ID1, id1);
    set_attr(record, ID2, id2);
}

void set_nrtl(py::handle record, NrtlField field, py::handle value) {
    static const Name* const FIELDS[] = {&A12, &A21, &B12, &B21, &C12, &C21, &alpha12};
    set_attr(record, *FIELDS[static_cast<int>(field)], value);
}

void set_kij(py::handle record, py::handle value) { set_attr(record, kij, value); }

py::object new_kij_record(py::handle model, py::handle name1, py::handle name2) {
    py::object record = py::type::handle_of(model)();
    set_attr(record, Name1, name1);
    set_attr(record, Name2, name2);
    return record;
}

void parameters_changed(py::handle pkg) { set_attr(pkg, AreModelParametersDirty, py::bool_(true)); }

py::object double_array_type() {
    py::object array = import_from("System", "Array");
    py::object dbl = import_from("System", "Double");
    return array[dbl];
}

void set_temperature(py::handle stream, py::handle kelvin) { call_method(stream, SetTemperature, kelvin); }

void set_pressure(py::handle stream, py::handle pascal) { call_method(stream, SetPressure, pascal); }

void set_molar_flow(py::handle stream, py::handle mol_per_s) { call_method(stream, SetMolarFlow, mol_per_s); }

void set_overall_composition(py::handle stream, py::handle fractions) {
    call_method(stream, SetOverallComposition, fractions);
}

py::object temperature(py::handle stream) { return call_method(stream, GetTemperature); }

py::object pressure(py::handle stream) { return call_method(stream, GetPressure); }

py::object molar_flow(py::handle stream) { return call_method(stream, GetMolarFlow); }

py::object overall_composition(py::handle stream) { return call_method(stream, GetOverallComposition); }

py::object vapour_fraction(py::handle stream) {
    py::object phase = item(attr(stream, Phases), py::int_(VAPOUR));
    return attr(attr(phase, Properties), molarfraction);
}

// Mixers, splitters and separators have no DeltaQ at all.
py::object delta_q(py::handle unit) { return attr_or(unit, DeltaQ); }

// A vessel has no DeltaP.
py::object delta_p(py::handle unit) { return attr_or(unit, DeltaP); }

py::str mode_name(py::handle unit) { return py::str(attr_or(unit, CalcMode, py::str(""))); }

// The mode is read as text; a unit without one reads as "".
const HeaterMode* heater_mode(py::handle unit) {
    static const char* const HEAT[] = {"", "HeatAdded", "HeatRemoved", "HeatAddedRemoved"};
    py::str mode = mode_name(unit);
    for (const HeaterMode* m : {&OUTLET_TEMPERATURE, &OUTLET_VAPOUR_FRACTION}) {
        if (equal(mode, m->mode)) return m;
    }
    for (const char* heat : HEAT) {
        if (equal(mode, heat)) return &HEAT_ADDED;
    }
    return nullptr;
}

void set_heater_mode(py::handle heater, py::handle U, const HeaterMode& mode) {
    set_attr(heater, CalcMode, attr(attr(attr(U, Heater), CalculationMode), mode.mode));
}

void set_heater_value(py::handle heater, const HeaterMode& mode, py::handle value) {
    set_attr(heater, mode.member, value);
}

py::object heater_value(py::handle heater, const HeaterMode& mode) { return attr(heater, mode.member); }

void set_pressure_drop(py::handle heater, py::handle pascal) { set_attr(heater, DeltaP, pascal); }

bool overrides_temperature(py::handle vessel) { return truthy(attr_or(vessel, OverrideT, py::bool_(false))); }

bool overrides_pressure(py::handle vessel) { return truthy(attr_or(vessel, OverrideP, py::bool_(false))); }

py::object flash_temperature(py::handle vessel) { return attr(vessel, FlashTemperature); }

py::object flash_pressure(py::handle vessel) { return attr(vessel, FlashPressure); }

void set_outlet_pressure_mode(py::handle unit, py::handle U, const PressureUnit& kind) {
    set_attr(unit, CalcMode, attr(attr(attr(U, kind.mode_class), CalculationMode), OutletPressureMode));
}

void set_outlet_pressure(py::handle unit, const PressureUnit& kind, py::handle pascal) {
    set_attr(unit, kind.outlet, pascal);
}

void set_efficiency(py::handle unit, const PressureUnit& kind, py::handle percent) {
    set_attr(unit, *kind.efficiency, percent);
}

py::object outlet_pressure(py::handle unit, const PressureUnit& kind) { return attr(unit, kind.outlet); }

py::object efficiency(py::handle unit, const PressureUnit& kind) { return attr(unit, *kind.efficiency); }

PressureMode pressure_mode(py::handle unit, const PressureUnit& kind) {
    py::str mode = mode_name(unit);
    if (equal(mode, OutletPressureMode)) return PressureMode::outlet;
    if (kind.by_difference != nullptr && equal(mode, kind.by_difference)) return PressureMode::difference;
    if (kind.by_ratio != nullptr && equal(mode, kind.by_ratio)) return PressureMode::ratio;
    return PressureMode::other;
}

py::object pressure_difference(py::handle unit) { return attr(unit, DeltaP); }

py::object pressure_ratio(py::handle unit) { return attr(unit, PressureRatio); }

// Set on the object read and written back: right whether DWSIM holds the
// parameters as a class or as a structure.
void set_recycle_tolerances(py::handle recycle, py::handle kg_per_s, py::handle kelvin) {
    py::object parameters = attr(recycle, ConvergenceParameters);
    set_attr(parameters, VazaoMassica, kg_per_s);
    set_attr(parameters, Temperatura, kelvin);
    set_attr(recycle, ConvergenceParameters, parameters);
}

void set_recycle_iterations(py::handle recycle, py::handle passes) { set_attr(recycle, MaximumIterations, passes); }

void clear_ratios(py::handle splitter) { call_method(attr(splitter, Ratios), Clear); }

void add_ratio(py::handle splitter, py::handle fraction) { call_method(attr(splitter, Ratios), Add, fraction); }

py::object ratios(py::handle splitter) { return attr(splitter, Ratios); }

// A splitter without the member is one of ratios, DWSIM's default.
bool splits_by_ratio(py::handle splitter) {
    py::object mode = attr_or(splitter, OperationMode);
    return mode.is_none() || equal(py::str(mode), "SplitRatios");
}

Separation import_separation() {
    constexpr const char* AUXILIARY = "DWSIM.UnitOperations.UnitOperations.Auxiliary";
    py::object spec = import_from(AUXILIARY, "ComponentSeparationSpec");
    return {spec, import_from(AUXILIARY, "SeparationSpec")};
}

void clear_separation(py::handle separator) { call_method(attr(separator, ComponentSepSpecs), Clear); }

void add_separation(py::handle separator, const Separation& sep, py::handle name, py::handle percent) {
    py::object entry = sep.spec(name, attr(sep.kinds, PercentInletMolarFlow), percent, "%");
    call_method(attr(separator, ComponentSepSpecs), Add, name, entry);
}

void separate_outlet_zero(py::handle separator) { set_attr(separator, SpecifiedStreamIndex, py::int_(0)); }

std::vector<SeparationEntry> separation_entries(py::handle separator) {
    static const char* const PERCENT[] = {"PercentInletMolarFlow", "PercentInletMassFlow"};
    py::object specs = attr(separator, ComponentSepSpecs);
    py::object names = collection(specs, Keys);
    std::vector<SeparationEntry> entries;
    for (py::handle key : names) {
        py::object entry = item(specs, key);
        py::object kind = attr_or(entry, SepSpec);  // a percentage where DWSIM's entry holds no kind
        bool percent = kind.is_none();
        for (const char* p : PERCENT) percent = percent || equal(py::str(kind), p);
        entries.push_back({attr_or(entry, ComponentID, key), percent ? attr(entry, SpecValue) : py::none()});
    }
    return entries;
}

bool separates_outlet_zero(py::handle separator) {
    py::object index = attr_or(separator, SpecifiedStreamIndex, py::int_(0));
    return !truthy(index);
}

}  // namespace flowgate::dwsim
