// ClipOutputs: what every command can write about a clip: lines, a page of moments, a video.
#pragma once

#include <chrono>
#include <exception>
#include <optional>
#include <string>
#include <vector>

#include <opencv2/core.hpp>

#include "draw/contact_sheet.hpp"
#include "output/output_file.hpp"
#include "output/summary.hpp"
#include "video/reader.hpp"
#include "video/writer.hpp"

namespace kes::track {

// None where not wanted.
struct ClipPaths {
    std::optional<std::string> jsonLines;
    std::optional<std::string> video;
    std::optional<std::string> picture;
};

class ClipOutputs {
public:
    // Makes the files at once, so that one that cannot be is known before the work. Throws Failure
    // (BadOutput). legend: of the page; label: the entries that are drawn on the video's pictures.
    ClipOutputs(ClipPaths const& paths, std::string const& input, video::ClipInfo const& clip,
                std::vector<draw::LegendEntry> legend, std::vector<draw::LegendEntry> label);

    bool HasLines() const { return jsonLines.has_value(); }
    bool HasPage() const { return sheet.has_value(); }
    bool AreDrawn() const { return sheet || video; }

    // Whoever follows the file has the line at once.
    void WriteLine(Json const& line);

    // Call for every picture, in order. True when it is wanted: draw on it, and Add it.
    bool Note(std::chrono::nanoseconds time, draw::ContactSheet::Activity const& activity);
    void Add(cv::Mat& drawn, std::chrono::nanoseconds time, std::string caption);

    // Finishes every file, also after one of them failed; throws what failed first. below: goes on
    // the page beneath the moments, at its width; may be empty.
    void Close(cv::Mat const& below = {});

private:
    cv::Mat Page(cv::Mat const& below) const;

    std::vector<draw::LegendEntry> label;
    draw::Font font{draw::Font::Weight::Normal};
    std::optional<OutputFile> jsonLines;
    std::optional<OutputFile> pictureFile;
    std::optional<draw::ContactSheet> sheet;
    std::optional<video::Writer> video;
    bool isOnSheet = false;  // the picture noted last
};

// Runs `work`; when it throws, what has been written until then is finished all the same.
template <typename Work, typename Close>
void Salvaging(Work const& work, Close const& close) {
    try {
        work();
    } catch (...) {
        auto const failure = std::current_exception();
        try {
            close();
        } catch (...) {  // what went wrong first is what is told
        }
        std::rethrow_exception(failure);
    }
    close();
}

}  // namespace kes::track
