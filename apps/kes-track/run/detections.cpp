#include "run/detections.hpp"

#include <fstream>
#include <stdexcept>
#include <unordered_map>
#include <utility>

#include <boost/utility/string_view.hpp>
#include <kes/algorithm/tracking_base/label_collapser.hpp>

#include "base/failure.hpp"
#include "read_boxes.hpp"

namespace kes::track::run {
namespace {

using algorithm::tracking_base::LabelCollapser;

class Names {
public:
    // Of a name, which is added when it is new.
    unsigned int IndexOf(std::string const& name) {
        auto const [place, isNew] = indices.emplace(name, static_cast<unsigned int>(all.size()));
        if (isNew) all.push_back(name);
        return place->second;
    }

    std::vector<std::string> all;

private:
    std::unordered_map<std::string, unsigned int> indices;
};

struct LabelMap {
    Names names;
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
        map.names.IndexOf(name);
        if (comma != std::string::npos) standsFor[name] = line.substr(comma + 1);
    }
    for (auto const& [name, target] : standsFor) map.names.IndexOf(target);
    try {
        map.collapser = LabelCollapser(map.names.all, [&](boost::string_view name) {
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
    auto const known = map.names.all.size();
    for (mot::Row const& row : ReadBoxes(options.file)) {
        if (row.confidence < options.minimumConfidence) continue;
        unsigned int label = 0;
        if (!row.label.empty()) {
            label = map.names.IndexOf(row.label);
            if (options.labels && label >= known) {
                throw Failure(ExitCode::BadSideInput, options.file + ": class '" + row.label +
                                                          "' is not in " + *options.labels);
            }
            label = map.collapser.Process(label);
        }
        frames[static_cast<std::uint64_t>(row.frame)].push_back({row.box, row.confidence, label});
    }
    names = std::move(map.names.all);
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
