// What the segmenter is timed on: made-up and real pictures in any size.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <opencv2/core.hpp>

#include <kes/media/video/frame.hpp>

namespace kes::bench {

inline cv::Size const SegmenterSizes[] = {{768, 576}, {1920, 1080}, {3840, 2160}};
constexpr char const* SegmenterContents[] = {"clip", "static", "noise", "crowd"};

inline std::string SegmenterJob(cv::Size size, std::string const& content) {
    return "Segmenter/" + std::to_string(size.width) + "x" + std::to_string(size.height) + "/" +
           content;
}

// An endless sequence of grey pictures.
class Content {
public:
    virtual ~Content() = default;
    virtual cv::Mat Next() = 0;
};

// "clip": the yard that people cross, from its start, scaled (needs build/clip; tools/fetch-clip).
// "noise": every pixel of every picture random. "static": a still texture under sensor noise.
// "crowd": things everywhere that change their looks, so that all three slots are busy.
// Throws std::runtime_error when the clip is not there.
std::unique_ptr<Content> MakeContent(std::string const& name, cv::Size size);

// Pictures to be shown forwards and backwards for ever, so that movement has no jump.
class Loop {
public:
    Loop(Content& content, std::size_t count);
    explicit Loop(std::vector<cv::Mat> pictures) : pictures(std::move(pictures)) {}

    std::vector<cv::Mat> const& Pictures() const { return pictures; }
    cv::Mat const& operator[](std::size_t i) const;

private:
    std::vector<cv::Mat> pictures;
};

media::video::FrameBase<void const> ViewOf(cv::Mat const& picture);

constexpr std::size_t WarmUpFrames = 200;  // until every model has settled
// Longer than any contest: no contender sees a picture twice. A model that has settled on a short
// loop's pictures would be faster than on any camera's.
constexpr std::size_t LoopFrames = 200;

}  // namespace kes::bench
