// What the library must answer, bit for bit, as a list of hashes over generated input.
//
// usage: golden_bits FILE     compares the list in FILE with what the library answers on every
//                             instruction set that this processor has, and with the second models
//        golden_bits --print  prints the list anew
#include <array>
#include <bit>
#include <cstdint>
#include <cstdio>
#include <cstring>
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
#include "support/plain_assignment.hpp"
#include "support/plain_smog.hpp"
#include "support/second_segmenter.hpp"

namespace {

using kes::algorithm::BitMask;
using kes::algorithm::tracking_base::EmogSegmenter;
using kes::algorithm::tracking_base::appearance::BlobScore;
using kes::algorithm::tracking_base::appearance::Smog;
using kes::algorithm::tracking_base::hungarian::Costs;
using kes::algorithm::tracking_base::hungarian::Marks;
using kes::media::ColourFormat;
using kes::test::ColourPicture;
using kes::test::GeneratedVideo;
using kes::test::Generator;
using kes::test::Mask;
using kes::test::PlainSmog;
using kes::test::SecondSegmenter;
using Rectangle = kes::geometry::Rectangle<int>;

// Answers by name; sorted, so that a list reads well and differs by lines.
using Answers = std::map<std::string, std::uint64_t>;

// FNV-1a over the bytes of numbers, the lowest first.
class Hash {
public:
    template <typename T>
    Hash& operator<<(T number) {
        auto const bits = std::bit_cast<std::array<unsigned char, sizeof(T)>>(number);
        for (unsigned char const byte : bits) value = (value ^ byte) * 0x100000001b3;
        return *this;
    }

    std::uint64_t value = 0xcbf29ce484222325;
};

// --- segmenter

struct SegmenterCase {
    char const* name;
    unsigned int width;
    unsigned int height;
    std::size_t padding;
    int frames;
    SecondSegmenter::Parameters parameters;
};

constexpr SegmenterCase SegmenterCases[] = {
    {"as-it-comes", 182, 51, 3, 60, {}},
    {"short-times", 131, 47, 0, 150, {400, 200, 4.0F, 1.0F}},
    {"strict", 96, 40, 16, 100, {900, 300, 2.25F, 0.7F}},
    {"lenient", 67, 40, 1, 100, {900, 300, 4.0F, 3.0F}},
    {"all-stationary", 40, 30, 0, 60, {1000, 0, 4.0F, 1.0F}},
    {"no-ages", 40, 30, 0, 30, {0, 0, 4.0F, 1.0F}},
    {"negative-times", 40, 30, 0, 60, {-1000, -1000, 4.0F, 1.0F}},
    {"few-cells", 5, 9, 2, 60, {400, 200, 4.0F, 1.0F}},
    {"absorbed", 30, 12, 0, 1200, {}},
};

class ShippedSegmenter {
public:
    explicit ShippedSegmenter(SecondSegmenter::Parameters const& parameters) {
        impl.SetHoldOnTime(std::chrono::milliseconds(parameters.holdOnMs));
        impl.SetStationaryTime(std::chrono::milliseconds(parameters.stationaryMs));
        impl.SetStdDevThreshold(parameters.threshold);
        impl.thresholdFactor = parameters.factor;
    }

    SecondSegmenter::Outputs Process(GeneratedVideo const& video) {
        auto const [foreground, stationary] = video.Segment(impl);
        return {foreground, stationary};
    }

    SecondSegmenter::Record RecordOf(std::size_t x, std::size_t y) const {
        SecondSegmenter::Record record{};
        auto const& cell = impl.blobState.data()[y * impl.blobStateSize[0] + x];
        std::memcpy(&record, &cell, sizeof record);
        return record;
    }

private:
    EmogSegmenter::Impl impl;
};

class SegmenterModel : public SecondSegmenter {
public:
    explicit SegmenterModel(Parameters const& wanted) { parameters = wanted; }

    Outputs Process(GeneratedVideo const& video) {
        return SecondSegmenter::Process(video.picture, {video.freeze, video.reset, video.exclude});
    }
};

template <typename Segmenter>
void AskSegmenter(SegmenterCase const& c, Answers& answers) {
    GeneratedVideo video(c.width, c.width, c.height, c.padding);
    Segmenter segmenter(c.parameters);
    Hash masks;
    Hash states;
    for (int frame = 1; frame <= c.frames; ++frame, video.Advance()) {
        auto const [foreground, stationary] = segmenter.Process(video);
        for (std::uint32_t const word : foreground.words) masks << word;
        for (std::uint32_t const word : stationary.words) masks << word;
        if (frame % 30 != 0) continue;
        for (std::size_t y = 0; y < c.height / 2; ++y) {
            for (std::size_t x = 0; x < c.width / 2; ++x) {
                for (std::uint16_t const number : segmenter.RecordOf(x, y)) states << number;
            }
        }
    }
    std::string const name = std::string("segmenter/") + c.name;
    answers[name + "/masks"] = masks.value;
    answers[name + "/states"] = states.value;
}

// --- appearance

constexpr struct {
    char const* name;
    ColourFormat format;
} Formats[] = {{"rgb", ColourFormat::Rgb},
               {"bgr", ColourFormat::Bgr},
               {"yuv", ColourFormat::Yuv},
               {"nv12", ColourFormat::Nv12}};

class ShippedSmog : public Smog {
public:
    std::string Text() const {
        std::ostringstream out;
        out << *this;
        return out.str();
    }

    auto Sections(int width, int height) const {
        return ComputeGaussianSectionRectangles({width, height});
    }
};

// Bands of colours under noise, at times all noise or nearly black.
void Paint(ColourPicture& picture, Generator& random) {
    unsigned int const noise = 1 + random.Below(random.OneIn(3) ? 256 : 24);
    unsigned int const light = random.OneIn(4) ? 3 : 256;
    auto const rowsOfABand = 1 + random.Below(24);
    for (auto* const plane : {&picture.plane0, &picture.plane1}) {
        for (std::size_t i = 0; i < plane->size(); ++i) {
            auto const band = static_cast<unsigned int>(i / picture.stride / rowsOfABand % 5);
            auto const channel = static_cast<unsigned int>(i % 3);
            (*plane)[i] = static_cast<unsigned char>(
                (band * 50 + channel * 37 * band + random.Below(noise)) % light);
        }
    }
}

template <typename Model>
void AskAppearance(char const* formatName, ColourFormat format, Answers& answers) {
    Generator random(static_cast<std::uint64_t>(format));
    auto const below = [&](int bound) {
        return static_cast<int>(random.Below(static_cast<unsigned int>(bound)));
    };
    Hash texts;
    Hash scores;
    Hash searches;
    Hash sections;
    for (int stream = 0; stream < 4; ++stream) {
        int const width = 40 + below(170);
        int const height = 40 + below(130);
        // Drawn in braces or one by one: only so is their order the same for every compiler.
        auto const [oddX, oddY, padding] =
            std::array{random.Below(2), random.Below(2), random.Below(4)};
        ColourPicture picture(format, static_cast<unsigned int>(width) * 2 + oddX,
                              static_cast<unsigned int>(height) * 2 + oddY, padding);
        BitMask mask{static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height), {}};
        mask.words.resize(static_cast<std::size_t>((width + 31) / 32 * height));
        Model model;
        for (int frame = 0; frame < 6; ++frame) {
            Paint(picture, random);
            for (std::uint32_t& word : mask.words) word = random.Word(1) | random.Word(frame + 1);
            auto const view = picture.View();
            Rectangle const around{below(width) - 15, below(height) - 15, below(width) + 15,
                                   below(height) + 15};
            int const left = below(width / 2);
            int const top = below(height / 2);
            Rectangle const inside{left, top, left + 1 + below(width - left),
                                   top + 1 + below(height - top)};

            model.Update(frame % 2 == 0 ? inside : around, mask, view);
            for (char const character : model.Text()) texts << character;
            scores << model.ScoreBlob(inside, mask, view) << model.ScoreBlob(around, mask, view);
            for (int search = 0; search < 3; ++search) {
                kes::geometry::Point<float, 2> const centre{
                    static_cast<float>(below(width * 16)) / 16,
                    static_cast<float>(below(height * 16)) / 16};
                kes::geometry::Dimension<float, 2> const size{
                    static_cast<float>(below(width * 8)) / 16,
                    static_cast<float>(below(height * 8)) / 16};
                BlobScore const found =
                    model.PartitionAndScoreBlob(inside, 7, mask, view, centre, size);
                searches << found.score << found.centre[0] << found.centre[1] << found.size[0]
                         << found.size[1] << found.tag;
            }
            auto const [scaleX, scaleY] = std::array{below(16), below(16)};
            for (auto const& band : model.Sections(width << scaleX, height << scaleY)) {
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

template <typename Solve>
void AskAssignment(Solve const& solve, Answers& answers) {
    for (auto const& kind : CostKinds) {
        Generator random(static_cast<std::uint64_t>(kind.name[0]));
        Hash marks;
        for (int matrix = 0; matrix < 40; ++matrix) {
            std::uint32_t const bound = matrix % 8 == 0 ? 70 : 20;
            auto const [rows, columns] = std::array{random.Below(bound), random.Below(bound)};
            Costs costs(rows, columns);
            for (float& cost : costs.reshaped()) cost = kind.cost(random);
            Marks const found = solve(costs);
            marks << found.rows() << found.cols();
            for (std::uint8_t const mark : found.reshaped()) marks << mark;
        }
        answers[std::string("assignment/") + kind.name] = marks.value;
    }
}

// --- all of them

Answers AskTheLibrary() {
    Answers answers;
    for (auto const& c : SegmenterCases) AskSegmenter<ShippedSegmenter>(c, answers);
    for (auto const& f : Formats) AskAppearance<ShippedSmog>(f.name, f.format, answers);
    AskAssignment(
        [](Costs const& costs) { return kes::algorithm::tracking_base::hungarian::Solve(costs); },
        answers);
    return answers;
}

Answers AskTheSecondModels() {
    Answers answers;
    for (auto const& c : SegmenterCases) AskSegmenter<SegmenterModel>(c, answers);
    for (auto const& f : Formats) AskAppearance<PlainSmog>(f.name, f.format, answers);
    AskAssignment(kes::test::PlainSolve, answers);
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
        for (auto const& answer : AskTheLibrary()) std::fputs(Line(answer).c_str(), stdout);
        return 0;
    }
    std::ifstream file(arguments[1]);
    std::ostringstream recorded;
    recorded << file.rdbuf();

    bool same = Compare("second models", AskTheSecondModels(), recorded.str());
    std::int64_t const supported = hwy::SupportedTargets();
    for (std::int64_t left = supported; left != 0; left &= left - 1) {
        std::int64_t const target = left & -left;
        UseInstructionSet(target);
        // Not every set has code of its own; where not, plain code runs.
        std::string const who = std::string(hwy::TargetName(target)) + ", rows by " +
                                kes::algorithm::tracking_base::RowInstructionSet();
        same = Compare(who, AskTheLibrary(), recorded.str()) && same;
    }
    UseInstructionSet(0);
    return same ? 0 : 1;
}
