#include "frame/tables.hpp"

#include "frame/process.hpp"

namespace flowgate {
namespace {

struct Row {
    const char* key;
    const char* value;
};

// Host property method -> DWSIM property package.
constexpr Row METHODS[] = {
    {"IDEAL", "Raoult's Law"},
    {"NRTL", "NRTL"},
    {"WILSON", "Wilson"},
    {"UNIQUAC", "UNIQUAC"},
    {"PENG-ROB", "Peng-Robinson (PR)"},
    {"RK-SOAVE", "Soave-Redlich-Kwong (SRK)"},
};

// Name of a DWSIM unit's .NET class -> host block kind.
constexpr Row CLASSES[] = {
    {"Mixer", "MIXER"},
    {"Splitter", "FSPLIT"},
    {"ComponentSeparator", "SEP"},
    {"Heater", "HEATER"},
    {"Cooler", "HEATER"},
    {"Vessel", "FLASH2"},
    {"Pump", "PUMP"},
    {"Compressor", "COMPR"},
    {"Valve", "VALVE"},
};

// Host block kind -> ObjectType member that adds such a unit.  A mixer is
// added as NodeIn and a splitter as NodeOut, as DWSIM's own editor does.
constexpr Row KINDS[] = {
    {"MIXER", "NodeIn"},
    {"FSPLIT", "NodeOut"},
    {"SEP", "ComponentSeparator"},
    {"HEATER", "Heater"},
    {"FLASH2", "Vessel"},
    {"PUMP", "Pump"},
    {"COMPR", "Compressor"},
    {"VALVE", "Valve"},
};

// Assemblies referenced at the first load, in this order.
constexpr const char* DLLS[] = {
    "DWSIM.Automation",     "DWSIM.Interfaces",   "DWSIM.GlobalSettings",
    "DWSIM.SharedClasses",  "DWSIM.Thermodynamics", "DWSIM.UnitOperations",
    "DWSIM.Inspector",      "DWSIM.MathOps",      "System.Buffers",
};

constexpr double R_CAL = 1.98721;  // cal/(mol K)

template <std::size_t N>
py::dict mapping(const Row (&rows)[N]) {
    py::dict d;
    for (const Row& row : rows) d[py::str(row.key)] = py::str(row.value);
    return d;
}

py::dict inverse(const py::dict& d) {
    py::dict back;
    for (auto item : d) back[item.second] = item.first;
    return back;
}

}  // namespace

void bind_tables(py::module_ m) {
    py::dict methods = mapping(METHODS);
    py::tuple dlls(std::size(DLLS));
    for (std::size_t i = 0; i < std::size(DLLS); ++i) dlls[i] = py::str(DLLS[i]);

    m.attr("R_CAL") = py::float_(R_CAL);
    m.attr("METHODS") = methods;
    m.attr("BACK") = inverse(methods);
    m.attr("CLASSES") = mapping(CLASSES);
    m.attr("KINDS") = mapping(KINDS);
    m.attr("DLLS") = dlls;
    m.attr("_STATE") = py::dict();
    m.attr("_LOCK") = m.attr("threading").attr("Lock")();
}

py::module_ module() { return process_module(); }

py::object table(const char* name) { return module().attr(name); }

py::dict state() { return table("_STATE"); }

py::object import_sibling(const char* sibling, const char* name) {
    return import_from(sibling, name, 1, module().attr("__dict__"));
}

}  // namespace flowgate
