// Any parameters, sizes, strides, masks, pictures and learnt states, against the model written a
// second time: every mask word and every record, after every frame.
#include <array>
#include <stdexcept>

#include "bytes.hpp"
#include "support/generated.hpp"
#include "support/segmenter_pair.hpp"

namespace {

using kes::fuzz::Bytes;
using kes::fuzz::Check;
using kes::test::Mask;
using kes::test::Picture;
using kes::test::SegmenterPair;

// A pattern of a few values under noise, or any values.
Picture TakePicture(Bytes& bytes, unsigned int width, unsigned int height, unsigned int padding) {
    Picture picture(width, height, padding);
    std::array<unsigned char, 8> const pattern = bytes.Take<std::array<unsigned char, 8>>();
    unsigned int const stepX = bytes.Below(8);
    unsigned int const stepY = bytes.Below(8);
    unsigned int const noise = bytes.Flag() ? 256 : 1 + bytes.Below(16);
    auto random = bytes.Take<std::uint16_t>() + 1U;
    for (std::size_t i = 0; i < picture.bytes.size(); ++i) {
        random = random * 1664525U + 1013904223U;
        std::size_t const place = i % picture.stride * stepX / 4 + i / picture.stride * stepY / 4;
        picture.bytes[i] = static_cast<unsigned char>(pattern[place % 8] + (random >> 16) % noise);
    }
    return picture;
}

// No bit, every bit, a share of them, or one word as the input says.
Mask TakeMask(Bytes& bytes, unsigned int width, unsigned int height) {
    unsigned int const kind = bytes.Below(8);
    Mask mask(width, height, kind == 1 ? ~0U : 0);
    if (kind < 2 || mask.words.empty()) return mask;
    kes::test::Generator random(bytes.Below(256));
    for (std::uint32_t& word : mask.words) word = random.Word(static_cast<int>(kind));
    mask.words[bytes.Below(256) % mask.words.size()] = bytes.Take<std::uint32_t>();
    return mask;
}

// Times around the edges of what they mean, or any.
std::int64_t TakeMilliseconds(Bytes& bytes) {
    switch (bytes.Below(3)) {
        case 0: return bytes.Take<std::int64_t>();
        case 1: return bytes.Below(256) * 67;
        default: return 4368999 + bytes.Take<std::int8_t>();
    }
}

void TakeParameters(Bytes& bytes, SegmenterPair& pair) {
    auto parameters = pair.theirs.parameters;
    parameters.holdOnMs = TakeMilliseconds(bytes);
    parameters.stationaryMs = TakeMilliseconds(bytes);
    pair.ours.EnableAbandonedObject(bytes.Flag());
    auto const threshold = bytes.Flag() ? bytes.Take<float>() : float(bytes.Below(256)) / 16;
    try {
        pair.ours.SetStdDevThreshold(threshold);
        Check(!(threshold < 0 || threshold > 255), "a threshold out of range is refused");
        parameters.threshold = threshold;
    } catch (std::invalid_argument const&) {
        Check(threshold < 0 || threshold > 255, "a threshold in range is taken");
    }
    parameters.factor = bytes.Flag() ? bytes.Take<float>() : 1.0F;
    pair.Set(parameters);
}

// A record that some stream could have taught: a deviation is 0 or lies in the model's range.
SegmenterPair::Record TakeRecord(Bytes& bytes) {
    SegmenterPair::Record record{};
    for (std::size_t i = 0; i < record.size(); ++i) {
        record[i] = bytes.Take<std::uint16_t>();
        bool const isDeviation = i % 7 > 0 && i % 7 % 2 == 0;
        if (isDeviation && record[i] != 0) {
            record[i] = static_cast<std::uint16_t>(404 + record[i] % (11586 - 404));
        }
    }
    return record;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    Bytes bytes(data, size);
    SegmenterPair pair;
    unsigned int width = 2;
    unsigned int height = 2;
    unsigned int padding = 0;
    for (int frames = 0; !bytes.IsEmpty() && frames < 400;) {
        switch (bytes.Below(8)) {
            case 0:
                width = 2 + bytes.Below(160);
                height = 2 + bytes.Below(9);
                padding = bytes.Below(5);
                break;
            case 1: TakeParameters(bytes, pair); break;
            case 2: pair.Reset(); break;
            case 3: {
                constexpr std::uint32_t Counts[] = {0, 1, 84, 85, 99, 100, ~0U - 1, ~0U};
                pair.SetFrameCount(Counts[bytes.Below(8)]);
                break;
            }
            case 4:
                if (pair.theirs.width > 1 && pair.theirs.height > 1) {
                    std::size_t const x = bytes.Below(256) % (pair.theirs.width - 1);
                    std::size_t const y = bytes.Below(256) % (pair.theirs.height - 1);
                    pair.SetRecord(x, y, TakeRecord(bytes));
                }
                break;
            default: {
                Picture const picture = TakePicture(bytes, width, height, padding);
                Mask const freeze = TakeMask(bytes, width / 2, height / 2);
                Mask const reset = TakeMask(bytes, width / 2, height / 2);
                Mask const exclude = TakeMask(bytes, width / 2, height / 2);
                auto const arrays = static_cast<kes::test::Arrays>(bytes.Below(3));
                for (unsigned int repeats = 1 + bytes.Below(8); repeats > 0; --repeats, ++frames) {
                    auto const found = pair.Differ(picture, {freeze, reset, exclude}, arrays);
                    Check(found.empty(), found.c_str());
                }
            }
        }
    }
    return 0;
}
