// What the library must answer, bit for bit, as a list of hashes over generated input.
//
// usage: golden_bits FILE     compares the list in FILE with what the library answers on every
//                             instruction set that this processor has
//        golden_bits --print  prints the list anew
#include <array>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include <hwy/targets.h>

#include <kes/algorithm/tracking_base/smog.hpp>
#include <kes/algorithm/tracking_base/solve.hpp>

#include "algorithm/tracking_base/emog_row.hpp"
#include "algorithm/tracking_base/emog_segmenter_impl.hpp"
#include "support/colour_picture.hpp"
#include "support/generated.hpp"
#include "support/hash.hpp"
#include "support/smog_cases.hpp"
#include "support/solve_ways.hpp"

namespace {

using kes::algorithm::tracking_base::EmogSegmenter;
using kes::algorithm::tracking_base::appearance::BlobScore;
using kes::algorithm::tracking_base::appearance::Smog;
using kes::algorithm::tracking_base::hungarian::Costs;
using kes::algorithm::tracking_base::hungarian::Marks;
using kes::algorithm::tracking_base::hungarian::Solve;
using kes::media::ColourFormat;
using kes::test::ColourPicture;
using kes::test::GeneratedVideo;
using kes::test::Generator;
using kes::test::Hash;
using kes::test::Mask;
using kes::test::SmogCases;

// Answers by name; sorted, so that a list reads well and differs by lines.
using Answers = std::map<std::string, std::uint64_t>;

// --- segmenter

struct SegmenterCase {
    char const* name;
    unsigned int width;
    unsigned int height;
    std::size_t padding;
    int frames;
    std::int64_t holdOnMs = 60000;
    std::int64_t stationaryMs = 5000;
    float threshold = 4.0F;
    float factor = 1.0F;
};

constexpr SegmenterCase SegmenterCases[] = {
    {"as-it-comes", 182, 51, 3, 60},
    {"short-times", 131, 47, 0, 150, 400, 200, 4.0F, 1.0F},
    {"strict", 96, 40, 16, 100, 900, 300, 2.25F, 0.7F},
    {"lenient", 67, 40, 1, 100, 900, 300, 4.0F, 3.0F},
    {"all-stationary", 40, 30, 0, 60, 1000, 0, 4.0F, 1.0F},
    {"no-ages", 40, 30, 0, 30, 0, 0, 4.0F, 1.0F},
    {"negative-times", 40, 30, 0, 60, -1000, -1000, 4.0F, 1.0F},
    {"few-cells", 5, 9, 2, 60, 400, 200, 4.0F, 1.0F},
    {"absorbed", 30, 12, 0, 1200},
};

void AskSegmenter(Answers& answers) {
    for (SegmenterCase const& c : SegmenterCases) {
        GeneratedVideo video(c.width, c.width, c.height, c.padding);
        EmogSegmenter::Impl segmenter;
        segmenter.SetHoldOnTime(std::chrono::milliseconds(c.holdOnMs));
        segmenter.SetStationaryTime(std::chrono::milliseconds(c.stationaryMs));
        segmenter.SetStdDevThreshold(c.threshold);
        segmenter.thresholdFactor = c.factor;
        Hash masks;
        Hash states;
        for (int frame = 1; frame <= c.frames; ++frame, video.Advance()) {
            auto const [foreground, stationary] = video.Segment(segmenter);
            masks << foreground.words << stationary.words;
            if (frame % 30 != 0) continue;
            auto const& state = segmenter.blobState;
            for (std::size_t y = 0; y < state.Height(); ++y) {
                for (std::size_t x = 0; x < state.Width(); ++x) {
                    auto const cell = state.Cell(x, y);
                    states << std::bit_cast<std::array<std::uint16_t, sizeof cell / 2>>(cell);
                }
            }
        }
        std::string const name = std::string("segmenter/") + c.name;
        answers[name + "/masks"] = masks.value;
        answers[name + "/states"] = states.value;
    }
}

// --- appearance

constexpr struct {
    char const* name;
    ColourFormat format;
} Formats[] = {{"rgb", ColourFormat::Rgb},
               {"bgr", ColourFormat::Bgr},
               {"yuv", ColourFormat::Yuv},
               {"nv12", ColourFormat::Nv12}};

void AskAppearance(Answers& answers) {
    for (auto const& [formatName, format] : Formats) {
        SmogCases cases(static_cast<std::uint64_t>(format));
        Hash texts;
        Hash scores;
        Hash searches;
        Hash sections;
        for (int stream = 0; stream < 16; ++stream) {
            // Drawn in braces or one by one: only so is their order the same for every compiler.
            auto const [width, height, padding] =
                std::array{cases.Uniform(80, 420), cases.Uniform(80, 340), cases.Uniform(0, 3)};
            ColourPicture picture(format, static_cast<unsigned int>(width),
                                  static_cast<unsigned int>(height),
                                  static_cast<std::size_t>(padding));
            Smog model;
            for (int frame = 0; frame < 6; ++frame) {
                cases.Paint(picture);
                auto const view = picture.View();
                Mask const mask = cases.AnyMask(picture.width / 2, picture.height / 2);
                auto const around = cases.Blob(mask);
                auto const inside = cases.BlobInside(mask);
                model.Update(frame % 2 == 0 ? inside : around, mask, view);
                std::ostringstream text;
                text << model;
                texts << text.str();
                scores << model.ScoreBlob(inside, mask, view)
                       << model.ScoreBlob(around, mask, view);
                for (int search = 0; search < 3; ++search) {
                    auto const below = [&](int cells) {
                        return static_cast<float>(cases.Uniform(0, cells * 16)) / 16;
                    };
                    kes::geometry::Point<float, 2> const centre{below(width / 2),
                                                                below(height / 2)};
                    kes::geometry::Dimension<float, 2> const size{below(inside.GetWidth()),
                                                                  below(inside.GetHeight())};
                    BlobScore const found =
                        model.PartitionAndScoreBlob(inside, 7, mask, view, centre, size);
                    searches << found.score << found.centre.x << found.centre.y << found.size.width
                             << found.size.height << found.tag;
                }
                auto const [scaleX, scaleY] =
                    std::array{cases.Uniform(0, 15), cases.Uniform(0, 15)};
                for (auto const& band :
                     model.ComputeGaussianSectionRectangles({width << scaleX, height << scaleY})) {
                    sections << band.left << band.top << band.right << band.bottom;
                }
            }
        }
        std::string const name = std::string("appearance/") + formatName;
        answers[name + "/texts"] = texts.value;
        answers[name + "/scores"] = scores.value;
        answers[name + "/searches"] = searches.value;
        answers[name + "/sections"] = sections.value;
    }
}

// --- assignment

constexpr struct {
    char const* name;
    float (*cost)(Generator& random);
} CostKinds[] = {
    {"ties", [](Generator& random) { return static_cast<float>(random.Below(5)); }},
    {"shares", [](Generator& random) { return static_cast<float>(random.Below(60000)) / 59999; }},
    {"mostly-one",
     [](Generator& random) {
         return random.OneIn(4) ? static_cast<float>(random.Below(1000)) / 999 : 1.0F;
     }},
    {"forbidden",
     [](Generator& random) {
         return random.OneIn(3) ? 3.4028235e+38F : static_cast<float>(random.Below(100));
     }},
    {"far-apart",
     [](Generator& random) {
         float cost = static_cast<float>(1 + random.Below(99));
         for (std::uint32_t halvings = random.Below(50); halvings > 0; --halvings) cost /= 2;
         return cost;
     }},
    {"negative", [](Generator& random) { return static_cast<float>(random.Below(40)) - 20.0F; }},
};

void AskAssignment(Answers& answers) {
    for (auto const& kind : CostKinds) {
        Generator random(static_cast<std::uint64_t>(kind.name[0]));
        auto const generate = [&](std::uint32_t rows, std::uint32_t columns) {
            Costs costs(rows, columns);
            for (float& cost : costs.reshaped()) cost = kind.cost(random);
            return costs;
        };
        Hash marks;
        for (int matrix = 0; matrix < 40; ++matrix) {
            std::uint32_t const bound = matrix % 8 == 0 ? 70 : 20;
            auto const [rows, columns] = std::array{random.Below(bound), random.Below(bound)};
            Marks const found = Solve(generate(rows, columns));
            marks << found.rows() << found.cols() << found.reshaped();
        }
        answers[std::string("assignment/") + kind.name] = marks.value;

        // Each way of solving is asked, and adds to the hash where it does not agree.
        Hash largeMarks;
        for (auto const& [rows, columns] : {std::array{130, 120}, {90, 200}, {200, 90}}) {
            auto const ways = kes::test::SolveInEachWay(
                generate(static_cast<std::uint32_t>(rows), static_cast<std::uint32_t>(columns)));
            for (auto const& [name, found] : ways) {
                bool const isSame = (found == ways.front().marks).all();
                if (name == ways.front().name || !isSame) largeMarks << found.reshaped();
            }
        }
        answers[std::string("assignment/") + kind.name + "/large"] = largeMarks.value;
    }
}

// --- all of them

Answers Ask() {
    Answers answers;
    AskSegmenter(answers);
    AskAppearance(answers);
    AskAssignment(answers);
    return answers;
}

std::string Line(Answers::value_type const& answer) {
    char line[100];
    std::snprintf(line, sizeof line, "%-36s %016llx\n", answer.first.c_str(),
                  static_cast<unsigned long long>(answer.second));
    return line;
}

// Says whether they are the same as the recorded lines, and which are not.
bool Compare(std::string const& who, Answers const& answers, std::string const& recorded) {
    std::string differing;
    std::size_t length = 0;
    for (auto const& answer : answers) {
        std::string const line = Line(answer);
        if (recorded.find(line) == std::string::npos) differing += "    " + line;
        length += line.size();
    }
    bool const same = differing.empty() && length == recorded.size();
    std::printf("%-24s %zu answers, %s\n%s", who.c_str(), answers.size(),
                same ? "all as recorded" : "not as recorded:", differing.c_str());
    return same;
}

void UseInstructionSet(std::int64_t target) {
    hwy::SetSupportedTargetsForTest(target);
    hwy::GetChosenTarget().Update(hwy::SupportedTargets());
}

}  // namespace

int main(int argumentCount, char** arguments) {
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);  // a crash is known by the line before it
    if (argumentCount != 2) return 2;
    if (std::string_view(arguments[1]) == "--print") {
        for (auto const& answer : Ask()) std::fputs(Line(answer).c_str(), stdout);
        return 0;
    }
    std::ifstream file(arguments[1]);
    std::ostringstream recorded;
    recorded << file.rdbuf();

    bool same = true;
    std::int64_t const supported = hwy::SupportedTargets();
    for (std::int64_t left = supported; left != 0; left &= left - 1) {
        std::int64_t const target = left & -left;
        UseInstructionSet(target);
        // Not every set has code of its own; where not, plain code runs.
        std::string const who = std::string(hwy::TargetName(target)) + ", rows by " +
                                kes::algorithm::tracking_base::RowInstructionSet();
        same = Compare(who, Ask(), recorded.str()) && same;
    }
    UseInstructionSet(0);
    return same ? 0 : 1;
}
