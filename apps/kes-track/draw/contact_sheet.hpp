// ContactSheet: moments spread over a clip of any length, and how busy it was, on one page.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <opencv2/core.hpp>

#include "draw/overlay.hpp"

namespace kes::track::draw {

// A page is made while the clip runs, in a few tens of megabytes at most: it keeps every picture at
// first, and one in 2, 4, 8, ... as the clip grows longer.
class ContactSheet {
public:
    // How busy one picture was: a share from 0 to 1 for each legend entry, in its order.
    using Activity = std::vector<double>;

    ContactSheet(std::string title, std::string subtitle, std::vector<LegendEntry> legend);

    // Call for every picture, in order. True when the picture is wanted: draw it, and Add it.
    bool Note(std::chrono::nanoseconds time, Activity const& activity);

    // drawn: 8-bit BGR with its overlays; a small copy is kept. caption: a few words below it.
    void Add(cv::Mat const& drawn, std::string caption);

    // The page, 8-bit BGR. At least one picture must have been added.
    cv::Mat Draw() const;

private:
    struct Moment {
        std::chrono::nanoseconds time;
        cv::Mat picture;
        std::string caption;
    };

    // A stretch of pictures on the activity chart.
    struct Stretch {
        std::chrono::nanoseconds start;
        Activity sum;
        std::uint64_t pictures = 0;
    };

    std::vector<Moment const*> Chosen() const;
    void NoteActivity(std::chrono::nanoseconds time, Activity const& activity);
    void DrawHeader(cv::Mat& page) const;
    void DrawChart(cv::Mat& page, cv::Rect const& place,
                   std::vector<Moment const*> const& chosen) const;
    void DrawMoment(cv::Mat& page, cv::Point place, Moment const& moment) const;

    std::string title;
    std::string subtitle;
    std::vector<LegendEntry> legend;
    Font font{Font::Weight::Normal};
    Font boldFont{Font::Weight::Bold};

    std::vector<Moment> moments;
    std::uint64_t momentStride = 1;
    std::vector<Stretch> stretches;
    std::uint64_t stretchPictures = 1;
    std::uint64_t noted = 0;
    std::chrono::nanoseconds lastTime{};
};

}  // namespace kes::track::draw
