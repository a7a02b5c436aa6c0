// The library's segmenter and the second model, driven by the same calls.
#pragma once

#include <bit>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>

#include "algorithm/tracking_base/emog_segmenter_impl.hpp"
#include "support/mask.hpp"
#include "support/picture.hpp"
#include "support/second_segmenter.hpp"

namespace kes::test {

// Which of a call's masks are one array: none, two inputs with the outputs, or the outputs.
enum class Arrays { Apart, InPlace, OneOutput };

class SegmenterPair {
public:
    using CellModel = algorithm::tracking_base::CellModel;
    using Record = SecondSegmenter::Record;

    algorithm::tracking_base::EmogSegmenter::Impl ours;
    SecondSegmenter theirs;

    void Set(SecondSegmenter::Parameters const& parameters) {
        theirs.parameters = parameters;
        ours.SetHoldOnTime(std::chrono::milliseconds(parameters.holdOnMs));
        ours.SetStationaryTime(std::chrono::milliseconds(parameters.stationaryMs));
        ours.stdDevThreshold = parameters.threshold;
        ours.thresholdFactor = parameters.factor;
    }

    void SetFrameCount(std::uint32_t frames) { theirs.framesSeen = ours.frameCount = frames; }

    void SetRecord(std::size_t x, std::size_t y, Record const& record) {
        theirs.SetRecord(x, y, record);
        ours.blobState.SetCell(x, y, std::bit_cast<CellModel>(record));
    }

    void Reset() {
        ours.Reset();
        theirs.Reset();
    }

    // Takes both through a frame. Returns the first thing in which masks or models differ, empty
    // where they do not.
    std::string Differ(Picture const& picture, SecondSegmenter::Inputs const& in,
                       Arrays arrays = Arrays::Apart) {
        auto expected = theirs.Process(picture, in);
        bool const inPlace = arrays == Arrays::InPlace;
        Mask foreground = inPlace ? in.exclude : Mask(in.reset.width, in.reset.height, 0x5A5A5A5A);
        Mask stationary = inPlace ? in.freeze : foreground;
        ours.Process(picture.View(), (inPlace ? stationary : in.freeze).words.data(),
                     in.reset.words.data(), (inPlace ? foreground : in.exclude).words.data(),
                     foreground.words.data(),
                     (arrays == Arrays::OneOutput ? foreground : stationary).words.data());
        if (arrays == Arrays::OneOutput) {
            for (std::size_t i = 0; i < foreground.words.size(); ++i) {
                expected.foreground.words[i] |= expected.stationary.words[i];
            }
            expected.stationary = stationary;
        }
        std::ostringstream text;
        if (!(foreground == expected.foreground)) {
            text << "foreground" << foreground << "\nnot" << expected.foreground;
        } else if (!(stationary == expected.stationary)) {
            text << "stationary" << stationary << "\nnot" << expected.stationary;
        } else if (ours.frameCount != theirs.framesSeen ||
                   ours.blobStateSize.width != theirs.width ||
                   ours.blobStateSize.height != theirs.height) {
            text << "frame count or size";
        }
        for (std::size_t y = 0; y < theirs.height && text.str().empty(); ++y) {
            for (std::size_t x = 0; x < theirs.width; ++x) {
                Record const wanted = theirs.RecordOf(x, y);
                auto const found = std::bit_cast<Record>(ours.blobState.Cell(x, y));
                if (found == wanted) continue;
                text << "cell (" << x << ", " << y << "), found and wanted:";
                for (std::size_t i = 0; i < found.size(); ++i) {
                    text << (i % 7 == 0 ? "\n" : ", ") << found[i] << ' ' << wanted[i];
                }
                break;
            }
        }
        return text.str();
    }

    std::string Differ(Picture const& picture) {
        Mask const none(picture.width / 2, picture.height / 2);
        return Differ(picture, {none, none, none});
    }
};

}  // namespace kes::test
