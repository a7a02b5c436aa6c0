// The scores on cases worked by hand, and their laws.

#include "eval/scores.hpp"

#include <algorithm>
#include <numeric>
#include <random>
#include <set>
#include <sstream>
#include <stdexcept>

#include <gtest/gtest.h>

namespace kes::eval {
namespace {

constexpr FrameRange All{1, 1000};

// A box of 10 x 20 pixels.
mot::Row At(long frame, long id, float left) {
    return {frame, id, {left, 0, left + 10, 20}, 1, {}};
}

std::vector<mot::Row> Walk(long id, float left, long first, long last) {
    std::vector<mot::Row> rows;
    for (long frame = first; frame <= last; ++frame) rows.push_back(At(frame, id, left));
    return rows;
}

std::vector<mot::Row> Join(std::initializer_list<std::vector<mot::Row>> parts) {
    std::vector<mot::Row> rows;
    for (auto const& part : parts) rows.insert(rows.end(), part.begin(), part.end());
    return rows;
}

struct Case {
    char const* name;
    std::vector<mot::Row> truth;
    std::vector<mot::Row> result;
    double mota, idf1, precision, recall;
    int switches;
};

TEST(Scores, AreAsWorkedByHand) {
    std::vector<Case> const cases = {
        {"perfect", Walk(1, 0, 1, 10), Walk(7, 0, 1, 10), 1, 1, 1, 1, 0},
        {"nothing found", Walk(1, 0, 1, 10), Walk(7, 500, 1, 0), 0, 0, -1, 0, 0},
        {"a second box on nothing", Walk(1, 0, 1, 10),
         Join({Walk(7, 0, 1, 10), Walk(8, 500, 1, 10)}), 0, 2.0 * 10 / 30, 0.5, 1, 0},
        {"twice as many on nothing is below zero", Walk(1, 0, 1, 10),
         Join({Walk(7, 0, 1, 10), Walk(8, 500, 1, 10), Walk(9, 700, 1, 10)}), -1, 0.5, 1.0 / 3, 1,
         0},
        {"one number gives way to another", Walk(1, 0, 1, 10),
         Join({Walk(7, 0, 1, 6), Walk(8, 0, 7, 10)}), 0.9, 2.0 * 6 / 20, 1, 1, 1},
        {"two exchange their numbers", Join({Walk(1, 0, 1, 10), Walk(2, 100, 1, 10)}),
         Join({Walk(7, 0, 1, 5), Walk(8, 100, 1, 5), Walk(8, 0, 6, 10), Walk(7, 100, 6, 10)}),
         1 - 2.0 / 20, 0.5, 1, 1, 2},
        {"a gap with the same number after it", Walk(1, 0, 1, 10),
         Join({Walk(7, 0, 1, 4), Walk(7, 0, 7, 10)}), 0.8, 2.0 * 8 / 18, 1, 0.8, 0},
        {"a gap with another number after it", Walk(1, 0, 1, 10),
         Join({Walk(7, 0, 1, 4), Walk(8, 0, 7, 10)}), 0.7, 2.0 * 4 / 18, 1, 0.8, 1},
        // 10 x 20 and 10 x 20, moved by 10/3: intersection over union just 1/2.
        {"the least overlap that matches", Walk(1, 0, 1, 2), Walk(7, 3.33F, 1, 2), 1, 1, 1, 1, 0},
        {"a little less", Walk(1, 0, 1, 2), Walk(7, 3.34F, 1, 2), -1, 0, 0, 0, 0},
        // In frame 2 number 8 lies better, but 7 still matches and is kept.
        {"a pair is kept while it matches",
         Walk(1, 0, 1, 2),
         {At(1, 7, 0), At(2, 7, 3), At(2, 8, 0)},
         0.5,
         2.0 * 2 / 5,
         2.0 / 3,
         1,
         0},
        // 7 could take either, 8 only the first: both match only when 7 takes the second.
        {"as many match as can",
         {At(1, 1, 0), At(1, 2, 3)},
         {At(1, 7, 1), At(1, 8, -2)},
         1,
         1,
         1,
         1,
         0},
    };
    for (Case const& one : cases) {
        SCOPED_TRACE(one.name);
        auto const scores = Compare(one.truth, one.result, All);
        EXPECT_NEAR(scores.Mota().value_or(-1), one.mota, 1e-12);
        EXPECT_NEAR(scores.Idf1().value_or(-1), one.idf1, 1e-12);
        EXPECT_NEAR(scores.Precision().value_or(-1), one.precision, 1e-12);
        EXPECT_NEAR(scores.Recall().value_or(-1), one.recall, 1e-12);
        EXPECT_EQ(scores.switches, one.switches);
        EXPECT_EQ(scores.misses, scores.truthBoxes - scores.matches);
        EXPECT_EQ(scores.falsePositives, scores.resultBoxes - scores.matches);
    }
}

TEST(Scores, CountTheFramesAskedForOnly) {
    auto const scores = Compare(Walk(1, 0, 1, 10), Walk(7, 0, 5, 20), {3, 8});
    EXPECT_EQ(scores.truthBoxes, 6);
    EXPECT_EQ(scores.resultBoxes, 4);
    EXPECT_EQ(scores.matches, 4);
}

TEST(Scores, RefuseTwoBoxesOfOneIdInAFrame) {
    try {
        Compare({At(3, 5, 0), At(3, 5, 50)}, {}, All);
        FAIL();
    } catch (std::invalid_argument const& error) {
        EXPECT_STREQ(error.what(), "frame 3 has two boxes of id 5");
    }
}

// Either result would do for either; later only number 7 is where number 1 is.
TEST(Scores, PairWhatOverlapsMost) {
    auto const scores = Compare({At(1, 1, 0), At(1, 2, 3), At(3, 1, 50)},
                                {At(1, 7, 0), At(1, 8, 3), At(3, 7, 50)}, All);
    EXPECT_EQ(scores.matches, 3);
    EXPECT_EQ(scores.switches, 0);
}

TEST(Scores, RefuseMorePairsThanFitIntoMemory) {
    std::vector<mot::Row> many;
    for (int i = 0; i < 4097; ++i) many.push_back(At(1, i, static_cast<float>(i)));
    EXPECT_THROW(Compare(many, many, All), std::invalid_argument);
}

// Boxes that jostle, some missing, some invented, numbers that change.
struct Jostle {
    std::vector<mot::Row> truth, result;
};

Jostle MakeJostle(std::mt19937& random) {
    Jostle jostle;
    auto const number = [&](int least, int most) {
        return std::uniform_int_distribution<int>(least, most)(random);
    };
    int const objects = number(1, 4);
    for (long frame = 1; frame <= 12; ++frame) {
        std::set<long> used;
        for (int i = 0; i < objects; ++i) {
            auto const left = static_cast<float>(6 * i + number(-2, 2));
            if (number(0, 9) > 0) jostle.truth.push_back(At(frame, i + 1, left));
            long const id = number(0, 7) > 0 ? i + 1 : number(1, 5);
            if (number(0, 9) > 0 && used.insert(id).second) {
                jostle.result.push_back(At(frame, id, left + static_cast<float>(number(-2, 2))));
            }
        }
    }
    return jostle;
}

// Every way to give each of the true ids 1 to 4 one of the result ids 1 to 5 of its own.
std::int64_t BestByTrying(Jostle const& jostle) {
    std::int64_t counts[5][6] = {};
    for (auto const& t : jostle.truth) {
        for (auto const& r : jostle.result) {
            if (t.frame == r.frame && tracker::Overlap(t.box, r.box) >= MatchOverlap) {
                ++counts[t.id][r.id];
            }
        }
    }
    std::vector<long> order(5);
    std::iota(order.begin(), order.end(), 1);
    std::int64_t best = 0;
    do {
        std::int64_t sum = 0;
        for (std::size_t t = 0; t < 4; ++t) sum += counts[t + 1][order[t]];
        best = std::max(best, sum);
    } while (std::next_permutation(order.begin(), order.end()));
    return best;
}

TEST(Scores, PairIdentitiesAsWellAsTryingAllPairingsDoes) {
    std::mt19937 random(5);
    for (int round = 0; round < 300; ++round) {
        auto jostle = MakeJostle(random);
        auto const best = BestByTrying(jostle);
        // Neither the order of lines nor the numbers themselves matter.
        std::shuffle(jostle.truth.begin(), jostle.truth.end(), random);
        for (auto& row : jostle.result) row.id = 1000 - 17 * row.id;
        EXPECT_EQ(Compare(jostle.truth, jostle.result, All).identityMatches, best)
            << "round " << round;
    }
}

}  // namespace
}  // namespace kes::eval

namespace kes::mot {
namespace {

TEST(MotText, IsReadInItsSeveralForms) {
    std::istringstream in(
        "# by hand\n1,2,3.5,4,10,20\r\n\n 2 , -1 , 0, 0, 1, 1, 0.25, -1, -1, "
        "-1\n3,1,0,0,1,1,1,car\n");
    auto const rows = Parse(in, "text");
    ASSERT_EQ(rows.size(), 3U);
    EXPECT_EQ(rows[0].frame, 1);
    EXPECT_EQ(rows[0].id, 2);
    EXPECT_EQ(rows[0].box, (tracker::Box{3.5F, 4, 13.5F, 24}));
    EXPECT_EQ(rows[0].confidence, 1);
    EXPECT_EQ(rows[1].id, -1);
    EXPECT_EQ(rows[1].confidence, 0.25F);
    EXPECT_EQ(rows[1].label, "");
    EXPECT_EQ(rows[2].label, "car");
}

TEST(MotText, IsRefusedWithItsLineWhenItMakesNoSense) {
    std::pair<char const*, char const*> const cases[] = {
        {"1,2,3,4,5", "text:1: expected frame,id,left,top,width,height"},
        {"1,1,0,0,1,1\n0,1,0,0,1,1", "text:2: '0' is not a frame number from 1"},
        {"1.5,1,0,0,1,1", "text:1: '1.5' is not a frame number from 1"},
        {"1,x,0,0,1,1", "text:1: 'x' is not an id"},
        {"1,1,0,nan,1,1", "text:1: 'nan' is not a coordinate"},
        {"1,1,0,0,0,1", "text:1: a box without area"},
        {"1,1,0,0,1,1,high", "text:1: 'high' is not a confidence"},
    };
    for (auto const& [text, message] : cases) {
        std::istringstream in(text);
        try {
            Parse(in, "text");
            ADD_FAILURE() << text;
        } catch (std::invalid_argument const& error) {
            EXPECT_STREQ(error.what(), message);
        }
    }
}

TEST(MotText, IsReadAsItWasWritten) {
    std::ostringstream out;
    Write(out, {12, 3, {1.25F, 2.5F, 11.25F, 42.5F}, 0.5F, {}});
    EXPECT_EQ(out.str(), "12,3,1.25,2.50,10.00,40.00,0.5,-1,-1,-1\n");
    std::istringstream in(out.str());
    EXPECT_EQ(Parse(in, "text")[0].box, (tracker::Box{1.25F, 2.5F, 11.25F, 42.5F}));
}

}  // namespace
}  // namespace kes::mot
