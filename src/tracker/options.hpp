// Options: what is refused at the door.
#pragma once

#include <kes/tracker/tracker.hpp>

namespace kes::tracker {

// Returns the options; throws std::invalid_argument for one that is out of range.
Options Checked(Options const& options);

}  // namespace kes::tracker
