// What a file must be before DWSIM is given it: DWSIM reads a zip's entry
// and its XML whole, so a zip bomb or an endlessly nested document would
// take the host's memory and time; such a file is refused first.
#pragma once

#include "frame/python.hpp"

namespace flowgate {

// ValueError naming the file and the limit when it goes beyond one.
void check_importable(py::handle path);

// The file at `path` under a name that .NET text can hold: the path itself,
// or a copy in a folder of its own, removed when this is.
class DotnetPath {
public:
    explicit DotnetPath(py::handle path);
    ~DotnetPath();
    DotnetPath(const DotnetPath&) = delete;
    DotnetPath& operator=(const DotnetPath&) = delete;
    const py::object& path() const { return path_; }

private:
    py::object path_, folder_;
};

}  // namespace flowgate
