/// \file
/// Strings: the table of names of an enumeration. An enumeration that has names declares a
/// specialisation of GetMap beside itself and defines it in its own source file.
#pragma once

#include <map>
#include <string>

namespace kes::type {

/// T is the enumeration; the second parameter is void in every use.
template <typename T, typename Enable = void>
struct Strings {
    /// Returns the constant table from each value of T, widened to unsigned long without sign
    /// extension, to its name. `GetMap().at(value)` throws `std::out_of_range` for a value without
    /// a name. The table is built on the first call and lives until the process exits; any number
    /// of threads may call at once. Throws `std::bad_alloc` when the table cannot be built; the
    /// next call then builds it again.
    static std::map<unsigned long, std::string> const& GetMap();
};

}  // namespace kes::type
