#include <kes/algorithm/tracking_base/label_collapser.hpp>

#include <cstddef>
#include <map>
#include <stdexcept>

namespace kes::algorithm::tracking_base {

LabelCollapser::LabelCollapser() : active(false), table{} {}

LabelCollapser::LabelCollapser(std::vector<std::string> labels,
                               std::function<boost::string_view(boost::string_view)> collapse)
    : active(false), table{} {
    if (labels.size() > table.size()) throw std::runtime_error("Maximum label size exceeded");

    std::map<boost::string_view, unsigned int> indexOfName;
    for (std::size_t label = 0; label < labels.size(); ++label) {
        indexOfName[labels[label]] = static_cast<unsigned int>(label);
    }
    for (std::size_t label = 0; label < labels.size(); ++label) {
        // A name that is no label enters the map here with index 0.
        table[label] = indexOfName[collapse(labels[label])];
    }
    active = true;
}

unsigned int LabelCollapser::Process(unsigned int label) const {
    return active ? table.at(label) : label;
}

}  // namespace kes::algorithm::tracking_base
