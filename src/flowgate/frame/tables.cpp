#include "frame/tables.hpp"

#include "frame/process.hpp"

namespace flowgate {
namespace {

// Host property method -> DWSIM property package.
constexpr Row METHODS[] = {
    {"IDEAL", "Raoult's Law"},
    {"NRTL", "NRTL"},
    {"WILSON", "Wilson"},
    {"UNIQUAC", "UNIQUAC"},
    {"PENG-ROB", "Peng-Robinson (PR)"},
    {"RK-SOAVE", "Soave-Redlich-Kwong (SRK)"},
};

// Assemblies referenced at the first load, in this order.
constexpr const char* DLLS[] = {
    "DWSIM.Automation",    "DWSIM.Interfaces",     "DWSIM.GlobalSettings",
    "DWSIM.SharedClasses", "DWSIM.Thermodynamics", "DWSIM.UnitOperations",
    "DWSIM.Inspector",     "DWSIM.MathOps",        "System.Buffers",
};

constexpr double R_CAL = 1.98721;  // cal/(mol K)

template <typename Rows>
py::dict mapping(const Rows& rows) {
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

void bind_tables(py::module_ m, const std::vector<Row>& classes, const std::vector<Row>& kinds) {
    py::dict methods = mapping(METHODS);
    py::tuple dlls(std::size(DLLS));
    for (std::size_t i = 0; i < std::size(DLLS); ++i) dlls[i] = py::str(DLLS[i]);

    m.attr("R_CAL") = py::float_(R_CAL);
    m.attr("METHODS") = methods;
    m.attr("BACK") = inverse(methods);
    m.attr("CLASSES") = mapping(classes);
    m.attr("KINDS") = mapping(kinds);
    m.attr("DLLS") = dlls;
    m.attr("_STATE") = py::dict();
    m.attr("_LOCK") = m.attr("threading").attr("Lock")();
}

py::object table(const Name& name) { return module_attr(name); }

}  // namespace flowgate
