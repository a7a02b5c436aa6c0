// The segmenter against the memory it must move, its own plain version and OpenCV's background
// subtractors.
#include <cstdint>
#include <functional>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <hwy/highway.h>

#include <opencv2/bgsegm.hpp>
#include <opencv2/imgproc.hpp>
#include <opencv2/video/background_segm.hpp>

#include "algorithm/tracking_base/emog_row.hpp"
#include "bench/compare.hpp"
#include "bench/memory_pass.hpp"
#include "bench/plain_at_o2.hpp"
#include "bench/segmenter_contents.hpp"
#include "bench/segmenter_run.hpp"

namespace kes::bench {
namespace {

// The peers cost up to a hundred times as much: they learn from the end of the warm-up only.
constexpr std::size_t PeerWarmUpFrames = 50;

using Subtractor = cv::Ptr<cv::BackgroundSubtractor>;

struct Peer {
    std::string name;
    Subtractor subtractor;
    bool atHalfResolution;
    cv::Mat foreground;

    void See(cv::Mat const& picture, cv::Mat const& halfPicture) {
        subtractor->apply(atHalfResolution ? halfPicture : picture, foreground);
    }
};

std::vector<Peer> Peers() {
    std::vector<Peer> peers;
    for (bool half : {false, true}) {
        std::string const where = half ? " at half resolution" : "";
        peers.push_back(
            {"OpenCV CNT" + where, cv::bgsegm::createBackgroundSubtractorCNT(), half, {}});
        peers.push_back(
            {"OpenCV MOG2" + where, cv::createBackgroundSubtractorMOG2(500, 16, false), half, {}});
        peers.push_back(
            {"OpenCV KNN" + where, cv::createBackgroundSubtractorKNN(500, 400, false), half, {}});
    }
    return peers;
}

// Scaling down is not the peers' work, and not timed.
cv::Mat HalfOf(cv::Mat const& picture) {
    cv::Mat half;
    cv::resize(picture, half, picture.size() / 2, 0, 0, cv::INTER_AREA);
    return half;
}

std::vector<Result> Compare(std::string const& job, std::string const& contentName, cv::Size size) {
    std::unique_ptr<Content> const content = MakeContent(contentName, size);
    SegmenterRun ours(size);
    std::vector<Peer> peers = Peers();
    for (std::size_t i = 0; i < WarmUpFrames; ++i) {
        cv::Mat const picture = content->Next();
        ours.Process(picture);
        if (i + PeerWarmUpFrames < WarmUpFrames) continue;
        cv::Mat const half = HalfOf(picture);
        for (Peer& peer : peers) peer.See(picture, half);
    }
    // The same once more in every other instruction set, plain code among them.
    std::vector<std::int64_t> sets = hwy::SupportedAndGeneratedTargets();
    sets.erase(sets.begin());  // the best one, which ours is in
    if (sets.empty() || sets.back() != HWY_STATIC_TARGET) sets.push_back(HWY_STATIC_TARGET);
    std::vector<SegmenterRun> others(sets.size(), ours);
    PlainAtO2 plainAtO2(ours);
    constexpr int CellBytes = sizeof(algorithm::tracking_base::CellModel);
    std::vector<unsigned char> moved(static_cast<std::size_t>(size.area() / 4 * CellBytes));

    Loop const pictures(*content, LoopFrames);
    std::vector<cv::Mat> halved;
    for (cv::Mat const& picture : pictures.Pictures()) halved.push_back(HalfOf(picture));
    Loop const halves(std::move(halved));

    std::uint64_t volatile sink = 0;
    std::vector<Contender> contenders{
        {"ours", [&](std::size_t i) { ours.Process(pictures[i]); }},
        {"memory pass", [&](std::size_t i) { sink = MemoryPass(moved, pictures[i]); }},
    };
    for (std::size_t set = 0; set < sets.size(); ++set) {
        hwy::SetSupportedTargetsForTest(sets[set]);
        std::string const name = algorithm::tracking_base::RowInstructionSet();
        contenders.push_back({"ours, " + name, [&, set](std::size_t i) {
                                  hwy::SetSupportedTargetsForTest(sets[set]);
                                  others[set].Process(pictures[i]);
                                  hwy::SetSupportedTargetsForTest(0);
                              }});
    }
    hwy::SetSupportedTargetsForTest(0);
    contenders.push_back(
        {"ours, plain at -O2", [&](std::size_t i) { plainAtO2.Process(pictures[i]); }});
    for (Peer& peer : peers) {
        contenders.push_back({peer.name, [&](std::size_t i) { peer.See(pictures[i], halves[i]); }});
    }
    // A picture that has just been decoded lies in the cache, as far as it fits there; without this
    // it would depend on whose turn was before.
    auto const readPicture = [&](std::size_t i) {
        sink = static_cast<std::uint64_t>(cv::sum(pictures[i])[0]);
        sink = static_cast<std::uint64_t>(cv::sum(halves[i])[0]);
    };
    // At 4K a peer takes up to half a second.
    Plan plan;
    if (size.width > 1920) plan.repetitionsInARow = 3;
    plan.prepare = readPicture;
    std::vector<Result> const results = RunContest(job, contenders, plan);
    for (SegmenterRun const& run : others) {
        if (plainAtO2.IsSame(run) && plainAtO2.IsSame(ours)) continue;
        throw std::runtime_error(job + ": ours differs from instruction set to instruction set");
    }
    Print(std::cout, results);
    return results;
}

}  // namespace

std::vector<Result> CompareSegmenters(IsWanted const& isWanted) {
    std::vector<Result> all;
    for (cv::Size size : SegmenterSizes) {
        for (char const* content : SegmenterContents) {
            std::string const job = SegmenterJob(size, content);
            if (!isWanted(job)) continue;
            for (Result const& result : Compare(job, content, size)) all.push_back(result);
        }
    }
    return all;
}

}  // namespace kes::bench
