// Runs a test once for every instruction set that this machine has and the library was built for.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <hwy/highway.h>

namespace kes::test {

class EachInstructionSet : public testing::TestWithParam<std::int64_t> {
protected:
    void SetUp() override { hwy::SetSupportedTargetsForTest(GetParam()); }
    void TearDown() override { hwy::SetSupportedTargetsForTest(0); }
};

// Those with lanes.
inline std::vector<std::int64_t> LaneSets() {
    std::vector<std::int64_t> sets = hwy::SupportedAndGeneratedTargets();
    std::erase_if(sets, [](std::int64_t set) { return set == HWY_SCALAR || set == HWY_EMU128; });
    return sets;
}

inline std::vector<std::int64_t> InstructionSets() {
    std::vector<std::int64_t> sets = LaneSets();
    // What is compiled where a compiler is given no flags: on x86 plain code, on ARM64 lanes.
    std::erase(sets, HWY_STATIC_TARGET);
    sets.push_back(HWY_STATIC_TARGET);
    return sets;
}

inline std::string NameOf(testing::TestParamInfo<std::int64_t> const& info) {
    return hwy::TargetName(info.param);
}

}  // namespace kes::test
