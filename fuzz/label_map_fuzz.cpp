// Any text as a file of labels and, behind a form feed, any text as the boxes that they are for:
// every box bears the class that its own stands for, or there is one line of refusal. Without a
// form feed there is no file of labels.
#include <map>
#include <optional>
#include <sstream>
#include <vector>

#include "base/failure.hpp"
#include "memory_file.hpp"
#include "mot/mot_text.hpp"
#include "run/detections.hpp"

namespace {

using kes::fuzz::Check;
using kes::track::Failure;
using kes::track::mot::Row;

constexpr std::size_t MostLabels = 128;

// What each class stands for.
std::map<std::string, std::string> ReadPlainly(std::string const& text) {
    std::map<std::string, std::string> map;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.empty() || line[0] == '#') continue;
        auto const comma = line.find(',');
        auto& target = map.try_emplace(line.substr(0, comma), line.substr(0, comma)).first->second;
        if (comma != std::string::npos) target = line.substr(comma + 1);
    }
    for (auto const& [name, target] : std::map(map)) map.try_emplace(target, target);
    return map;
}

std::optional<std::vector<Row>> BoxesOf(std::string const& text) {
    std::istringstream in(text);
    try {
        return kes::track::mot::Parse(in, "boxes");
    } catch (Failure const&) {
        return std::nullopt;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::string const text(reinterpret_cast<char const*>(data), size);
    auto const formFeed = text.find('\f');
    bool const hasLabels = formFeed != std::string::npos;
    std::string const boxes = hasLabels ? text.substr(formFeed + 1) : text;
    auto const standsFor = ReadPlainly(hasLabels ? text.substr(0, formFeed) : "");
    kes::fuzz::MemoryFile const labelsFile(hasLabels ? text.substr(0, formFeed) : "");
    kes::fuzz::MemoryFile const boxesFile(boxes);

    kes::track::run::DetectionOptions options{boxesFile.Path(), 0.5F, std::nullopt};
    if (hasLabels) options.labels = labelsFile.Path();
    auto const rows = BoxesOf(boxes);
    bool mustRefuse = standsFor.size() > MostLabels || !rows;
    std::map<long, std::vector<Row>> expected;
    for (Row const& row : rows.value_or(std::vector<Row>{})) {
        if (row.confidence < options.minimumConfidence) continue;
        expected[row.frame].push_back(row);
        bool const isKnown = !hasLabels || row.label.empty() || standsFor.count(row.label) == 1;
        mustRefuse = mustRefuse || !isKnown;
    }

    try {
        kes::track::run::Detections const detections(options);
        Check(!mustRefuse, "a label or a box that must be refused");
        for (auto const& [frame, wanted] : expected) {
            auto const& found = detections.At(static_cast<std::uint64_t>(frame));
            Check(found.size() == wanted.size(), "a frame's boxes");
            for (std::size_t i = 0; i < wanted.size(); ++i) {
                std::string const& name = wanted[i].label;
                Check(found[i].box == wanted[i].box, "the box");
                Check(found[i].confidence == wanted[i].confidence, "the confidence");
                if (name.empty()) {
                    Check(found[i].label == 0, "a box without a class");
                } else {
                    Check(detections.NameOf(found[i].label) ==
                              (hasLabels ? standsFor.at(name) : name),
                          "the class");
                }
            }
        }
    } catch (Failure const& failure) {
        Check(mustRefuse, "labels and boxes that can be read");
        Check(failure.Code() == kes::track::ExitCode::BadSideInput, "the exit code");
    }
    return 0;
}
