#include "run/detections.hpp"

#include <algorithm>
#include <fstream>
#include <stdexcept>
#include <utility>

#include <boost/utility/string_view.hpp>
#include <kes/algorithm/tracking_base/label_collapser.hpp>

#include "base/failure.hpp"
#include "mot/mot_text.hpp"

namespace kes::track::run {
namespace {

using algorithm::tracking_base::LabelCollapser;

// The index of a name, added when it is new.
unsigned int IndexOf(std::vector<std::string>& names, std::string const& name) {
    auto const found = std::find(names.begin(), names.end(), name);
    if (found != names.end()) return static_cast<unsigned int>(found - names.begin());
    names.push_back(name);
    return static_cast<unsigned int>(names.size() - 1);
}

struct LabelMap {
    std::vector<std::string> names;
    LabelCollapser collapser;
};

LabelMap ReadLabels(std::string const& path) {
    std::ifstream in(path);
    if (!in) throw Failure(ExitCode::BadSideInput, path + ": cannot be opened");
    LabelMap map;
    std::map<std::string, std::string> standsFor;
    std::string line;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.empty() || line.front() == '#') continue;
        auto const comma = line.find(',');
        std::string const name = line.substr(0, comma);
        IndexOf(map.names, name);
        if (comma != std::string::npos) standsFor[name] = line.substr(comma + 1);
    }
    for (auto const& [name, target] : standsFor) IndexOf(map.names, target);
    try {
        map.collapser = LabelCollapser(map.names, [&](boost::string_view name) {
            auto const found = standsFor.find(std::string(name));
            return found == standsFor.end() ? name : boost::string_view(found->second);
        });
    } catch (std::runtime_error const& error) {
        throw Failure(ExitCode::BadSideInput, path + ": " + error.what());
    }
    return map;
}

}  // namespace

Detections::Detections(DetectionOptions const& options) {
    LabelMap map;
    if (options.labels) map = ReadLabels(*options.labels);
    names = std::move(map.names);
    auto const known = names.size();
    for (mot::Row const& row : mot::Read(options.file)) {
        if (row.confidence < options.minimumConfidence) continue;
        unsigned int label = 0;
        if (!row.label.empty()) {
            label = IndexOf(names, row.label);
            if (options.labels && label >= known) {
                throw Failure(ExitCode::BadSideInput, options.file + ": class '" + row.label +
                                                          "' is not in " + *options.labels);
            }
            label = map.collapser.Process(label);
        }
        frames[static_cast<std::uint64_t>(row.frame)].push_back({row.box, row.confidence, label});
    }
}

std::vector<tracker::Detection> const& Detections::At(std::uint64_t frame) const {
    static std::vector<tracker::Detection> const none;
    auto const found = frames.find(frame);
    return found == frames.end() ? none : found->second;
}

std::string const& Detections::NameOf(unsigned int label) const {
    static std::string const none;
    return label < names.size() ? names[label] : none;
}

}  // namespace kes::track::run
