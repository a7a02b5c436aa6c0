#include "run/outputs.hpp"

#include <algorithm>
#include <cmath>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>
#include <opencv2/imgproc.hpp>

#include "base/finish.hpp"
#include "base/format.hpp"
#include "draw/overlay.hpp"
#include "mot/mot_text.hpp"
#include "video/png.hpp"

namespace kes::track::run {
namespace {

using Json = nlohmann::ordered_json;

constexpr double TrailSeconds = 3;

std::vector<draw::LegendEntry> Legend() {
    return {{draw::MovingColour, "moving"}, {draw::StationaryColour, "standing still"}};
}

// left, top, width, height, to a hundredth of a pixel.
Json BoxJson(tracker::Box const& box) {
    auto const round = [](float value) {
        return std::round(100.0 * static_cast<double>(value)) / 100;
    };
    return {round(box.left), round(box.top), round(box.GetWidth()), round(box.GetHeight())};
}

// The share of the picture that boxes of a kind take up.
double Share(tracker::Result const& result, video::Size size, bool isStanding) {
    float area = 0;
    for (tracker::Object const& object : result.objects) {
        auto const& [left, top, right, bottom] = object.box;
        if (object.isStanding == isStanding) area += (right - left) * (bottom - top);
    }
    return std::min(1.0,
                    static_cast<double>(area) / (static_cast<double>(size.width) * size.height));
}

std::string Caption(tracker::Result const& result) {
    auto const count = result.objects.size();
    if (count == 0) return "nobody";
    return std::to_string(count) + (count == 1 ? " object" : " objects");
}

std::string_view NameOf(tracker::EventType type) {
    switch (type) {
        case tracker::EventType::Arrived: return "arrived";
        case tracker::EventType::Stopped: return "stopped";
        case tracker::EventType::MovedOn: return "moved on";
        case tracker::EventType::Absorbed: return "absorbed";
        case tracker::EventType::Left: return "left";
    }
    return "";
}

std::string_view NameOf(tracker::Visibility visibility) {
    return visibility == tracker::Visibility::Visible ? "seen" : "hidden";
}

}  // namespace

Outputs::Outputs(StreamOptions const& options, video::ClipInfo const& clip, Detections const* boxes)
    : detections(boxes),
      painter(static_cast<std::size_t>(std::max(1.0, TrailSeconds * clip.frameRate))) {
    OutputPaths const& wanted = options.outputs;
    if (wanted.mot) mot.emplace(*wanted.mot);
    if (wanted.jsonLines) jsonLines.emplace(*wanted.jsonLines);
    if (wanted.picture) {
        pictureFile.emplace(*wanted.picture);
        sheet.emplace(ShortName(options.input), video::Describe(clip), Legend());
        paths.emplace();
    }
    if (wanted.video) video.emplace(*wanted.video, clip.size, clip.frameRate);
}

void Outputs::Write(video::Picture const& picture, tracker::Result const& result) {
    if (mot) WriteMot(picture, result);
    if (jsonLines) WriteLines(picture, result);
    if (sheet || video) Draw(picture, result);
}

void Outputs::WriteMot(video::Picture const& picture, tracker::Result const& result) {
    std::ostringstream text;
    for (tracker::Object const& object : result.objects) {
        if (object.kind == tracker::Kind::StaticObject) continue;
        mot::Write(
            text,
            {static_cast<long>(picture.index) + 1, object.id, object.box, object.confidence, {}});
    }
    mot->Write(text.str());
}

void Outputs::WriteLines(video::Picture const& picture, tracker::Result const& result) {
    auto const frame = picture.index + 1;
    double const time = Seconds(picture.time);
    for (tracker::Event const& event : result.events) {
        Json const line{{"event", NameOf(event.type)},
                        {"frame", frame},
                        {"time", time},
                        {"id", event.id},
                        {"box", BoxJson(event.box)}};
        jsonLines->Write(line.dump() + "\n");
    }
    Json objects = Json::array();
    for (tracker::Object const& object : result.objects) {
        Json one{{"id", object.id},
                 {"kind", object.kind == tracker::Kind::StaticObject ? "thing" : "mover"},
                 {"box", BoxJson(object.box)},
                 {"sight", NameOf(object.visibility)},
                 {"standing", object.isStanding}};
        if (detections != nullptr) one["label"] = detections->NameOf(object.label);
        objects.push_back(std::move(one));
    }
    Json const line{{"frame", frame}, {"time", time}, {"objects", objects}};
    jsonLines->Write(line.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n");
}

void Outputs::Draw(video::Picture const& picture, tracker::Result const& result) {
    painter.Note(result);
    video::Size const size = picture.frame.GetSize();
    bool const isOnSheet =
        sheet && sheet->Note(picture.time, {Share(result, size, false), Share(result, size, true)});
    bool const isInBackground = paths && paths->Note(result);
    if (!video && !isOnSheet && !isInBackground) return;
    cv::Mat drawn = draw::ToBgr(picture.frame, picture.isFullRange);
    if (isInBackground) paths->Add(drawn);
    painter.Draw(drawn);
    if (isOnSheet) sheet->Add(drawn, Caption(result));
    if (video) {
        draw::DrawLabel(drawn, font, FormatTime(picture.time), {});
        video->Write(drawn, picture.time);
    }
}

// The sheet of moments, and below it all paths over the background.
cv::Mat Outputs::Page() const {
    cv::Mat const moments = sheet->Draw();
    cv::Mat walked = paths->Draw();
    if (walked.empty()) return moments;
    int const height = cvRound(static_cast<double>(walked.rows) * moments.cols / walked.cols);
    cv::resize(walked, walked, {moments.cols, std::max(1, height)}, 0, 0, cv::INTER_AREA);
    cv::Mat page;
    cv::vconcat(moments, walked, page);
    return page;
}

void Outputs::Close() {
    Finish finish;
    finish([this] {
        if (video) video->Close();
    });
    finish([this] {
        if (mot) mot->Close();
    });
    finish([this] {
        if (jsonLines) jsonLines->Close();
    });
    finish([this] {
        if (!sheet) return;
        pictureFile->Write(video::EncodePng(Page()));
        pictureFile->Close();
    });
    finish.Done();
}

}  // namespace kes::track::run
