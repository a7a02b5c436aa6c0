// Compares a segmenter's learnt model with the second model's, cell by cell, and says where they
// first part.
#pragma once

#include <gtest/gtest.h>

#include "algorithm/tracking_base/emog_segmenter_impl.hpp"
#include "support/second_segmenter.hpp"

namespace kes::test {

testing::AssertionResult SameModel(SecondSegmenter const& expected,
                                   algorithm::tracking_base::EmogSegmenter::Impl const& actual);

}  // namespace kes::test
