#include "access/turn.hpp"

#include <chrono>
#include <mutex>

namespace flowgate {
namespace {

// Recursive: a host callback inside a call (the host's flash) may call the
// module again on the same thread.
std::recursive_timed_mutex& turn() {
    static auto* mutex = new std::recursive_timed_mutex();  // lives as long as the process
    return *mutex;
}

}  // namespace

DwsimTurn::DwsimTurn() {
    using namespace std::chrono_literals;
    if (turn().try_lock()) return;
    for (;;) {
        bool taken = false;
        {
            py::gil_scoped_release released;
            taken = turn().try_lock_for(50ms);
        }
        if (taken) return;
        if (PyErr_CheckSignals() < 0) throw py::error_already_set();
    }
}

DwsimTurn::~DwsimTurn() { turn().unlock(); }

}  // namespace flowgate
