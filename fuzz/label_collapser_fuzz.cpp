// Any names and any collapse, against a search through the list.
#include <algorithm>
#include <optional>
#include <stdexcept>
#include <vector>

#include <kes/algorithm/tracking_base/label_collapser.hpp>

#include "bytes.hpp"

using kes::algorithm::tracking_base::LabelCollapser;
using kes::fuzz::Bytes;
using kes::fuzz::Check;

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    Bytes bytes(data, size);
    std::vector<std::string> labels(bytes.Below(131));
    for (std::string& label : labels) label = bytes.Text(3);

    // What each call gives back: a label's name or another one; or one call throws.
    std::vector<std::string> targets;
    for (std::size_t i = 0; i < labels.size(); ++i) {
        targets.push_back(bytes.Flag() ? labels[bytes.Below(131) % labels.size()] : bytes.Text(3));
    }
    std::optional<std::size_t> throwsAt;
    if (bytes.Below(8) == 1) throwsAt = bytes.Below(131);

    std::size_t calls = 0;
    auto const collapse = [&](boost::string_view name) -> boost::string_view {
        Check(calls < labels.size() && name == labels[calls], "labels are asked in order");
        if (calls == throwsAt) throw std::underflow_error("by the caller's function");
        return targets[calls++];
    };

    LabelCollapser collapser;
    try {
        collapser = LabelCollapser(labels, collapse);
    } catch (std::underflow_error const&) {
        Check(labels.size() <= 128 && calls == throwsAt, "the caller's exception");
        return 0;
    } catch (std::runtime_error const& error) {
        Check(labels.size() > 128 && calls == 0, "the limit");
        Check(error.what() == std::string("Maximum label size exceeded"), "the limit's text");
        return 0;
    }
    Check(labels.size() <= 128 && calls == labels.size(), "one call a label");
    for (std::size_t label = 0; label < labels.size(); ++label) {
        auto const last = std::find(labels.rbegin(), labels.rend(), targets[label]);
        auto const expected = last == labels.rend() ? 0 : labels.rend() - last - 1;
        Check(collapser.Process(static_cast<unsigned>(label)) == static_cast<unsigned>(expected),
              "the last of that name, or 0");
    }
    return 0;
}
