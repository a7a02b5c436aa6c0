#include <kes/algorithm/tracking_base/label_collapser.hpp>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using boost::string_view;
using kes::algorithm::tracking_base::LabelCollapser;
using Collapse = std::function<string_view(string_view)>;

string_view Itself(string_view name) { return name; }

string_view VehicleForRoadUsers(string_view name) {
    return name == "car" || name == "truck" ? string_view("vehicle") : name;
}

TEST(LabelCollapser, PassesEveryLabelThroughWhenDefaultConstructed) {
    LabelCollapser const collapser;
    for (unsigned label : {0U, 7U, 127U, 128U, 1000U, ~0U}) {
        EXPECT_EQ(collapser.Process(label), label);
    }
}

TEST(LabelCollapser, MapsEachLabelToTheIndexOfItsCollapsedName) {
    struct Case {
        char const* what;
        std::vector<std::string> labels;
        Collapse collapse;
        std::vector<unsigned> expected;
    };
    std::vector<Case> const cases{
        {"road users", {"car", "truck", "vehicle"}, VehicleForRoadUsers, {2, 2, 2, 0}},
        {"a repeated name stands for its last index", {"a", "b", "a"}, Itself, {2, 1, 2, 0}},
        {"an unknown name is index 0",
         {"a", "b", "c"},
         [](string_view name) { return name == "b" ? string_view("nowhere") : name; },
         {0, 0, 2}},
        {"no label, no call", {}, Collapse(), {0, 0}},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.what);
        LabelCollapser const collapser(c.labels, c.collapse);
        LabelCollapser const copy = collapser;
        for (unsigned label = 0; label < c.expected.size(); ++label) {
            EXPECT_EQ(copy.Process(label), c.expected[label]) << "label " << label;
        }
        EXPECT_EQ(copy.Process(127), 0U);
        EXPECT_THROW(copy.Process(128), std::out_of_range);
    }
}

TEST(LabelCollapser, RefusesAnEmptyFunctionAndTooManyLabelsAndPassesExceptionsOn) {
    EXPECT_THROW(LabelCollapser({"a"}, Collapse()), std::bad_function_call);
    EXPECT_NO_THROW(LabelCollapser(std::vector<std::string>(128, "a"), Itself));
    EXPECT_THROW(LabelCollapser(std::vector<std::string>(129, "a"), Itself), std::runtime_error);
    EXPECT_THROW(LabelCollapser({"a"}, [](string_view) -> string_view { throw 42; }), int);
}

}  // namespace
