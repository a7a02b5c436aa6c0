// Files of boxes, as the commands read them.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "base/failure.hpp"
#include "mot/mot_text.hpp"

namespace kes::track {

// mot::Read; throws Failure (BadSideInput) instead.
inline std::vector<mot::Row> ReadBoxes(std::string const& path) {
    try {
        return mot::Read(path);
    } catch (std::invalid_argument const& error) {
        throw Failure(ExitCode::BadSideInput, error.what());
    }
}

}  // namespace kes::track
