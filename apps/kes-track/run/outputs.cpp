#include "run/outputs.hpp"

#include <algorithm>
#include <cmath>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/format.hpp"
#include "draw/gates.hpp"
#include "draw/overlay.hpp"
#include "mot/mot_text.hpp"
#include "output/finish.hpp"
#include "video/png.hpp"

namespace kes::track::run {
namespace {

constexpr double TrailSeconds = 3;

std::vector<draw::LegendEntry> Legend() {
    return {{draw::MovingColour, "moving"}, {draw::StationaryColour, "standing still"}};
}

// To a hundredth of a pixel.
double Rounded(float value) { return std::round(100.0 * static_cast<double>(value)) / 100; }

// left, top, width, height.
Json BoxJson(tracker::Box const& box) {
    return {Rounded(box.left), Rounded(box.top), Rounded(box.GetWidth()), Rounded(box.GetHeight())};
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
        case tracker::EventType::LightChanged: return "light changed";
        case tracker::EventType::CameraMoved: return "camera moved";
        case tracker::EventType::SceneChanged: return "scene changed";
    }
    return "";
}

std::string_view NameOf(tracker::CountEvent::Type type) {
    using Type = tracker::CountEvent::Type;
    switch (type) {
        case Type::CrossedToLeft:
        case Type::CrossedToRight: return "crossed";
        case Type::Entered: return "entered";
        case Type::Appeared: return "appeared";
        case Type::Exited: return "exited";
        case Type::Vanished: return "vanished";
    }
    return "";
}

std::string_view NameOf(tracker::Visibility visibility) {
    return visibility == tracker::Visibility::Visible ? "visible" : "occluded";
}

}  // namespace

Outputs::Outputs(StreamOptions const& options, video::ClipInfo const& clip, Detections const* boxes)
    : detections(boxes),
      files(options.outputs, options.input, clip, Legend(), {}),
      painter(static_cast<std::size_t>(std::max(1.0, TrailSeconds * clip.frameRate))),
      frameSeconds(1 / clip.frameRate) {
    if (options.outputs.mot) mot.emplace(*options.outputs.mot);
    if (options.gates.AreAny()) tally.emplace(options.gates, options.outputs.counts);
    if (options.outputs.heatmap) {
        heatmapFile.emplace(*options.outputs.heatmap);
        heatmap.emplace(
            cv::Size(static_cast<int>(clip.size.width), static_cast<int>(clip.size.height)));
    }
    if (files.HasPage() || heatmap) paths.emplace();
}

void Outputs::Write(video::Picture const& picture, tracker::Result const& result) {
    if (mot) WriteMot(picture, result);
    if (tally) WriteCounts(tally->Process(result.objects, Seconds(picture.time)));
    if (files.HasLines()) WriteLines(picture, result);
    if (heatmap) heatmap->Note(result, frameSeconds);
    if (AreDrawn()) Draw(picture, result);
}

void Outputs::WriteCounts(std::vector<tracker::CountEvent> const& events) {
    if (!files.HasLines()) return;
    using Type = tracker::CountEvent::Type;
    for (tracker::CountEvent const& event : events) {
        bool const isOfLine =
            event.type == Type::CrossedToLeft || event.type == Type::CrossedToRight;
        auto const& [lines, zones] = tally->Of();
        Json line{{"event", NameOf(event.type)},
                  {"time", std::round(1000 * event.time) / 1000},
                  {"id", event.id},
                  {"place", Json::array({Rounded(event.place.x), Rounded(event.place.y)})}};
        if (isOfLine) {
            line["line"] = lines[event.index].name;
            line["to"] = event.type == Type::CrossedToLeft ? "left" : "right";
        } else {
            line["zone"] = zones[event.index].name;
        }
        if (event.type == Type::Exited || event.type == Type::Vanished) {
            line["dwell"] = std::round(1000 * event.dwell) / 1000;
        }
        files.WriteLine(line);
    }
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
    mot->Flush();
}

void Outputs::WriteLines(video::Picture const& picture, tracker::Result const& result) {
    auto const frame = picture.index + 1;
    double const time = Seconds(picture.time);
    for (tracker::Event const& event : result.events) {
        files.WriteLine({{"event", NameOf(event.type)},
                         {"frame", frame},
                         {"time", time},
                         {"id", event.id},
                         {"box", BoxJson(event.box)}});
    }
    Json objects = Json::array();
    for (tracker::Object const& object : result.objects) {
        Json one{{"id", object.id},
                 {"kind", object.kind == tracker::Kind::StaticObject ? "static" : "mover"},
                 {"box", BoxJson(object.box)},
                 {"visibility", NameOf(object.visibility)},
                 {"standing", object.isStanding},
                 {"confidence", Rounded(object.confidence)}};
        if (detections != nullptr) one["label"] = detections->NameOf(object.label);
        objects.push_back(std::move(one));
    }
    files.WriteLine({{"frame", frame}, {"time", time}, {"objects", objects}});
}

void Outputs::Draw(video::Picture const& picture, tracker::Result const& result) {
    painter.Note(result);
    video::Size const size = picture.frame.GetSize();
    bool const isWanted = files.AreDrawn() && files.Note(picture.time, {Share(result, size, false),
                                                                        Share(result, size, true)});
    bool const isInBackground = paths && paths->Note(result);
    if (!isWanted && !isInBackground) return;
    cv::Mat drawn = draw::ToBgr(picture.frame, picture.isFullRange);
    if (isInBackground) paths->Add(drawn);
    if (!isWanted) return;
    if (tally) draw::DrawGates(drawn, font, *tally);
    painter.Draw(drawn);
    files.Add(drawn, picture.time, Caption(result));
}

void Outputs::Close() {
    Finish finish;
    finish([this] {
        if (tally) WriteCounts(tally->Finish());
    });
    // The page is the sheet of moments and, below it, all paths over the background.
    finish([this] { files.Close(paths && files.HasPage() ? paths->Draw() : cv::Mat()); });
    finish([this] {
        if (!heatmap) return;
        heatmapFile->Write(video::EncodePng(heatmap->Draw(paths->Background())));
        heatmapFile->Close();
    });
    finish([this] {
        if (tally) tally->Close();
    });
    finish([this] {
        if (mot) mot->Close();
    });
    finish.Done();
}

}  // namespace kes::track::run
