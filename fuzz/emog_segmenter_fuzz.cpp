// Any parameters, sizes, strides, masks, pictures and learnt states, against the model written a
// second time: every mask word and every record, after every frame.
#include <array>
#include <cstring>
#include <limits>
#include <stdexcept>

#include "algorithm/tracking_base/emog_segmenter_impl.hpp"
#include "bytes.hpp"
#include "support/generated.hpp"
#include "support/second_segmenter.hpp"

namespace {

using kes::algorithm::tracking_base::CellModel;
using kes::fuzz::Bytes;
using kes::fuzz::Check;
using kes::test::Mask;
using kes::test::Picture;
using kes::test::SecondSegmenter;
using Segmenter = kes::algorithm::tracking_base::EmogSegmenter::Impl;

static_assert(sizeof(CellModel) == sizeof(SecondSegmenter::Record));

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

void TakeParameters(Bytes& bytes, Segmenter& segmenter, SecondSegmenter& second) {
    second.parameters.holdOnMs = TakeMilliseconds(bytes);
    second.parameters.stationaryMs = TakeMilliseconds(bytes);
    segmenter.SetHoldOnTime(std::chrono::milliseconds(second.parameters.holdOnMs));
    segmenter.SetStationaryTime(std::chrono::milliseconds(second.parameters.stationaryMs));
    segmenter.EnableAbandonedObject(bytes.Flag());

    auto const threshold = bytes.Flag() ? bytes.Take<float>() : float(bytes.Below(256)) / 16;
    try {
        segmenter.SetStdDevThreshold(threshold);
        Check(!(threshold < 0 || threshold > 255), "a threshold out of range is refused");
        second.parameters.threshold = threshold;
    } catch (std::invalid_argument const&) {
        Check(threshold < 0 || threshold > 255, "a threshold in range is taken");
    }
    second.parameters.factor = bytes.Flag() ? bytes.Take<float>() : 1.0F;
    segmenter.thresholdFactor = second.parameters.factor;
}

// A record that some stream could have taught: a deviation is 0 or lies in the model's range.
SecondSegmenter::Record TakeRecord(Bytes& bytes) {
    SecondSegmenter::Record record{};
    for (std::size_t i = 0; i < record.size(); ++i) {
        record[i] = bytes.Take<std::uint16_t>();
        bool const isDeviation = i % 7 > 0 && i % 7 % 2 == 0;
        if (isDeviation && record[i] != 0) {
            record[i] = static_cast<std::uint16_t>(404 + record[i] % (11586 - 404));
        }
    }
    return record;
}

void CheckModels(Segmenter const& segmenter, SecondSegmenter const& second) {
    Check(segmenter.frameCount == second.framesSeen, "frame count");
    Check(segmenter.blobStateSize[0] == second.width && segmenter.blobStateSize[1] == second.height,
          "size");
    for (std::size_t y = 0; y < second.height; ++y) {
        for (std::size_t x = 0; x < second.width; ++x) {
            auto const expected = second.RecordOf(x, y);
            CellModel const& actual = segmenter.blobState.data()[y * second.width + x];
            Check(std::memcmp(&actual, &expected, sizeof actual) == 0, "record");
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    Bytes bytes(data, size);
    Segmenter segmenter;
    SecondSegmenter second;
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
            case 1: TakeParameters(bytes, segmenter, second); break;
            case 2:
                segmenter.Reset();
                second.Reset();
                break;
            case 3: {
                constexpr std::uint32_t Counts[] = {0, 1, 84, 85, 99, 100, ~0U - 1, ~0U};
                segmenter.frameCount = Counts[bytes.Below(8)];
                second.framesSeen = segmenter.frameCount;
                break;
            }
            case 4:
                if (second.width > 1 && second.height > 1) {
                    std::size_t const x = bytes.Below(256) % (second.width - 1);
                    std::size_t const y = bytes.Below(256) % (second.height - 1);
                    auto const record = TakeRecord(bytes);
                    second.SetRecord(x, y, record);
                    std::memcpy(segmenter.blobState.data() + y * second.width + x, &record,
                                sizeof record);
                }
                break;
            default: {
                Picture const picture = TakePicture(bytes, width, height, padding);
                Mask const freeze = TakeMask(bytes, width / 2, height / 2);
                Mask const reset = TakeMask(bytes, width / 2, height / 2);
                Mask const exclude = TakeMask(bytes, width / 2, height / 2);
                bool const inPlace = bytes.Flag();
                for (unsigned int repeats = 1 + bytes.Below(8); repeats > 0; --repeats, ++frames) {
                    auto const expected = second.Process(picture, {freeze, reset, exclude});
                    // An input may be an output's array.
                    Mask foreground = inPlace ? exclude : Mask(width / 2, height / 2, 0xA5A5A5A5);
                    Mask stationary = inPlace ? freeze : Mask(width / 2, height / 2, 0x5A5A5A5A);
                    segmenter.Process(picture.View(), (inPlace ? stationary : freeze).words.data(),
                                      reset.words.data(),
                                      (inPlace ? foreground : exclude).words.data(),
                                      foreground.words.data(), stationary.words.data());
                    Check(foreground == expected.foreground, "foreground");
                    Check(stationary == expected.stationary, "stationary");
                    CheckModels(segmenter, second);
                }
            }
        }
    }
    return 0;
}
