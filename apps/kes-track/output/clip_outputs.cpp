#include "output/clip_outputs.hpp"

#include <algorithm>
#include <utility>

#include <opencv2/imgproc.hpp>

#include "base/format.hpp"
#include "draw/overlay.hpp"
#include "output/finish.hpp"
#include "video/png.hpp"

namespace kes::track {

ClipOutputs::ClipOutputs(ClipPaths const& paths, std::string const& input,
                         video::ClipInfo const& clip, std::vector<draw::LegendEntry> legend,
                         std::vector<draw::LegendEntry> videoLabel)
    : label(std::move(videoLabel)) {
    if (paths.jsonLines) jsonLines.emplace(*paths.jsonLines);
    if (paths.picture) {
        pictureFile.emplace(*paths.picture);
        sheet.emplace(ShortName(input), video::Describe(clip), std::move(legend));
    }
    if (paths.video) video.emplace(*paths.video, clip.size, clip.frameRate);
}

void ClipOutputs::WriteLine(Json const& line) {
    jsonLines->Write(JsonLine(line));
    jsonLines->Flush();
}

bool ClipOutputs::Note(std::chrono::nanoseconds time,
                       draw::ContactSheet::Activity const& activity) {
    isOnSheet = sheet && sheet->Note(time, activity);
    return isOnSheet || video;
}

void ClipOutputs::Add(cv::Mat& drawn, std::chrono::nanoseconds time, std::string caption) {
    if (isOnSheet) sheet->Add(drawn, std::move(caption));
    if (!video) return;
    draw::DrawLabel(drawn, font, FormatTime(time), label);
    video->Write(drawn, time);
}

cv::Mat ClipOutputs::Page(cv::Mat const& below) const {
    cv::Mat const moments = sheet->Draw();
    if (below.empty()) return moments;
    int const height = cvRound(static_cast<double>(below.rows) * moments.cols / below.cols);
    cv::Mat fitting;
    cv::resize(below, fitting, {moments.cols, std::max(1, height)}, 0, 0, cv::INTER_AREA);
    cv::Mat page;
    cv::vconcat(moments, fitting, page);
    return page;
}

void ClipOutputs::Close(cv::Mat const& below) {
    Finish finish;
    finish([this] {
        if (video) video->Close();
    });
    finish([this] {
        if (jsonLines) jsonLines->Close();
    });
    finish([&] {
        if (!sheet) return;
        pictureFile->Write(video::EncodePng(Page(below)));
        pictureFile->Close();
    });
    finish.Done();
}

}  // namespace kes::track
