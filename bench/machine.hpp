// The machine that figures belong to.
#pragma once

#include <string>

namespace kes::bench {

// One line: processor with family and model, cache sizes, the best instruction set of the lanes.
std::string DescribeMachine();

}  // namespace kes::bench
