// Tracks: the objects of one frame, as Python sees them.
#pragma once

#include <kes/tracker/tracker.hpp>

#include "arguments.hpp"

namespace kes::python {

struct Tracks {
    tracker::Result result;
    double time = 0;  // seconds
};

}  // namespace kes::python
