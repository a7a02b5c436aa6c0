#include <array>
#include <ostream>

#include <kes/algorithm/tracking_base/smog.hpp>

namespace kes::algorithm::tracking_base::appearance {
namespace {

template <typename Channels>
void WriteChannels(std::ostream& out, Channels const& channels) {
    char const* separator = "";
    for (auto const value : channels) {
        out << separator << value;
        separator = ",";
    }
}

}  // namespace

std::ostream& operator<<(std::ostream& out, Smog const& smog) {
    out << "{\"gaussians\":[";
    char const* separator = "";
    for (Smog::Gaussian const& gaussian : smog.gaussians) {
        out << separator << "{\"means\":[";
        WriteChannels(out, gaussian.means);
        out << "],\"variances\":[";
        WriteChannels(out, gaussian.variances);
        out << "]}";
        separator = ",";
    }
    return out << "]}";
}

}  // namespace kes::algorithm::tracking_base::appearance
