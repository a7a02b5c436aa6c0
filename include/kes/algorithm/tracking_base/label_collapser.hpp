/// \file
/// LabelCollapser: which of a detector's class labels stand for the same thing. Build one from the
/// label names once, then map label indices through it.
#pragma once

#include <array>
#include <functional>
#include <string>
#include <vector>

#include <boost/utility/string_view.hpp>

#include <kes/export.hpp>

namespace kes::algorithm::tracking_base {

/// A plain value; const operations may be called from several threads at once.
class KES_EXPORT LabelCollapser {
public:
    /// Passes every label through unchanged.
    LabelCollapser();

    /// `labels`: the names, at most 128; a label's index is its position, and a repeated name
    /// stands for its last index.
    ///
    /// `collapse`: gives for a name the name of the label that it collapses into. It is called once
    /// for each label, in order, and what it returns must stay readable until the constructor
    /// returns. A name that is no label stands for index 0.
    ///
    /// Throws `std::runtime_error` "Maximum label size exceeded" before any call,
    /// `std::bad_function_call` for an empty function unless there is no label, and whatever
    /// `collapse` throws.
    LabelCollapser(std::vector<std::string> labels,
                   std::function<boost::string_view(boost::string_view)> collapse);

    /// Returns the index of the label that `label` collapses into: `label` itself when default
    /// constructed, 0 for one beyond the names but below 128. Throws `std::out_of_range` for 128
    /// and above unless default constructed.
    unsigned int Process(unsigned int label) const;

private:
    bool active;
    std::array<unsigned int, 128> table;
};

}  // namespace kes::algorithm::tracking_base
