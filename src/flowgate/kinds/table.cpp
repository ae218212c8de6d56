// The table of block kinds, in the order in which the module publishes KINDS.
#include "kinds/kind.hpp"

namespace flowgate {
namespace {

const Kind* const KINDS[] = {&MIXER, &FSPLIT, &SEP, &HEATER, &FLASH2, &PUMP, &COMPR, &VALVE};

}  // namespace

const Kind* find_kind(py::handle kind) {
    if (PyUnicode_CheckExact(kind.ptr())) {
        for (const Kind* k : KINDS) {
            if (equal(kind, k->kind)) return k;
        }
        return nullptr;
    }
    // Anything else is a key of KINDS as a dict would find it (an unhashable
    // kind raises as `in` does), then its row by equality.
    static const Name TABLE{"KINDS"};
    if (!contains(table(TABLE), kind)) return nullptr;
    for (const Kind* k : KINDS) {
        if (equal(kind, py::str(k->kind))) return k;
    }
    return nullptr;
}

const Kind* kind_of_class(py::handle class_name) {
    for (const Kind* k : KINDS) {
        if (equal(class_name, k->dwsim_class)) return k;
        if (k->also != nullptr && equal(class_name, k->also)) return k;
    }
    return nullptr;
}

std::vector<Row> kinds_table() {
    std::vector<Row> rows;
    for (const Kind* k : KINDS) rows.push_back({k->kind, k->object_type.text()});
    return rows;
}

std::vector<Row> classes_table() {
    std::vector<Row> rows;
    for (const Kind* k : KINDS) {
        rows.push_back({k->dwsim_class, k->kind});
        if (k->also != nullptr) rows.push_back({k->also, k->kind});
    }
    return rows;
}

py::dict spec_of(py::handle kind, const Unit& unit) {
    const Kind* k = find_kind(kind);
    return k == nullptr ? py::dict() : k->readback(unit);
}

}  // namespace flowgate
