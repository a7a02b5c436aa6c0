#include "tracker/options.hpp"

#include <cmath>
#include <stdexcept>
#include <string>

namespace kes::tracker {

Options Checked(Options const& options) {
    auto const check = [](bool isInRange, char const* name) {
        if (!isInRange) throw std::invalid_argument(std::string(name) + " is out of range");
    };
    auto const isAmount = [](double value) { return std::isfinite(value) && value >= 0; };
    check(isAmount(options.framesPerSecond) && options.framesPerSecond > 0, "framesPerSecond");
    check(options.threshold >= 0 && options.threshold <= 255, "threshold");
    check(isAmount(static_cast<double>(options.thresholdFactor)), "thresholdFactor");
    check(isAmount(static_cast<double>(options.minimumHeight)), "minimumHeight");
    check(isAmount(static_cast<double>(options.minimumStaticSide)), "minimumStaticSide");
    check(isAmount(options.confirmationTime), "confirmationTime");
    check(isAmount(options.maximumOcclusion), "maximumOcclusion");
    check(isAmount(options.maximumAge), "maximumAge");
    check(isAmount(static_cast<double>(options.gate)), "gate");
    check(isAmount(options.stationaryTime), "stationaryTime");
    check(isAmount(options.holdOnTime), "holdOnTime");
    return options;
}

}  // namespace kes::tracker
