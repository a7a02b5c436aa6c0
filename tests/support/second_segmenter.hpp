// The segmenter's model written a second time, for comparison only: whole-frame passes over wide
// integers where the library goes cell by cell through 16-bit ones, decisions read from a table
// where the library takes steps, integer square roots where it uses floating point. It shares no
// code and no constant with the library.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "support/mask.hpp"
#include "support/picture.hpp"

namespace kes::test {

class SecondSegmenter {
public:
    struct Parameters {
        std::int64_t holdOnMs = 60000;
        std::int64_t stationaryMs = 5000;
        float threshold = 4.0F;
        float factor = 1.0F;
    };

    struct Inputs {
        Mask const& freeze;
        Mask const& reset;
        Mask const& exclude;
    };

    struct Outputs {
        Mask foreground;
        Mask stationary;
    };

    // One cell's state as the model stores it: count, then mean and deviation of three features,
    // for each of three slots.
    using Record = std::array<std::uint16_t, 21>;

    // How often each way through the model was taken: [reset bit][matched slot, 3 for none][final
    // slot][youngest slot that was cleared, 0 for none].
    using Visits = std::array<std::array<std::array<std::array<long, 3>, 3>, 4>, 2>;

    Outputs Process(Picture const& picture, Inputs const& inputs);
    void Reset();
    Record RecordOf(std::size_t x, std::size_t y) const;
    void SetRecord(std::size_t x, std::size_t y, Record const& record);

    Parameters parameters;
    Visits visits{};
    std::size_t width = 0;  // in cells
    std::size_t height = 0;
    std::int64_t framesSeen = 0;

private:
    struct Trait {
        std::int64_t mean = 0;
        std::int64_t deviation = 0;
    };
    struct Appearance {
        std::int64_t age = 0;
        std::array<Trait, 3> traits;
    };
    using Cell = std::array<Appearance, 3>;
    using Traits = std::array<std::int64_t, 3>;

    std::vector<Traits> TraitsOf(Picture const& picture) const;

    std::vector<Cell> cells;
};

}  // namespace kes::test
