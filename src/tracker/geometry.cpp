#include "tracker/geometry.hpp"

namespace kes::tracker {

float Overlap(Box const& a, Box const& b) {
    float const common = Intersection(a, b);
    float const all = Area(a) + Area(b) - common;
    return all > 0 ? common / all : 0;
}

}  // namespace kes::tracker
