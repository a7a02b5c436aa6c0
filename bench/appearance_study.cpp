// kes_appearance_study CLIP PEOPLE.csv PICTURE.png [PERSON]: how well an appearance model tells one
// walking person from the others of a real clip.
//
// PEOPLE.csv holds where people stand, one a line: frame,person,left,top,width,height in pixels,
// frames counted from 1 (the MOTChallenge layout; further columns are not read). The segmenter
// finds the foreground; a person's blob is their box. A blob counts while no other box touches it
// and the person is not near the picture's edge. A model learns one person's first blobs; then it
// scores that person's later blobs and those of everybody else.
//
// Prints, for each person seen for long enough, the area under the ROC curve: the probability that
// a blob of the person scores above a blob of somebody else. Draws the scores of one.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <kes/algorithm/bit_mask.hpp>
#include <kes/algorithm/tracking_base/emog_segmenter.hpp>
#include <kes/algorithm/tracking_base/smog.hpp>
#include <kes/media/video/frame.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <opencv2/videoio.hpp>

namespace {

using kes::algorithm::BitMask;
using kes::algorithm::tracking_base::EmogSegmenter;
using kes::algorithm::tracking_base::appearance::Smog;
using kes::media::ColourFormat;
using Frame = kes::media::video::FrameBase<void const>;

constexpr int LearntBlobs = 100;
constexpr int FewestLaterBlobs = 40;
constexpr int WarmUpFrames = 20;  // until the segmenter knows the scene
constexpr int EdgeMargin = 4;     // pixels

struct Blob {
    int frame;
    int person;
    cv::Rect box;  // pixels
};

struct Score {
    int frame;
    int person;
    float value;
};

// By frame.
std::map<int, std::vector<Blob>> ReadPeople(std::string const& path) {
    std::ifstream file(path);
    if (!file) throw std::runtime_error("cannot read " + path);
    std::map<int, std::vector<Blob>> people;
    for (std::string line; std::getline(file, line);) {
        std::replace(line.begin(), line.end(), ',', ' ');
        std::istringstream fields(line);
        int frame = 0;
        int person = 0;
        double left = 0;
        double top = 0;
        double width = 0;
        double height = 0;
        if (!(fields >> frame >> person >> left >> top >> width >> height)) continue;
        people[frame].push_back(
            {frame, person,
             cv::Rect(cvRound(left), cvRound(top), cvRound(width), cvRound(height))});
    }
    return people;
}

Frame View(cv::Mat const& picture, ColourFormat format) {
    Frame::Planes planes{};
    planes[0] = {picture.step * static_cast<std::size_t>(picture.rows), picture.data,
                 static_cast<long>(picture.step)};
    return Frame(planes, format, static_cast<unsigned>(picture.cols),
                 static_cast<unsigned>(picture.rows), {}, {});
}

// Every frame that has people, with its foreground.
struct Moment {
    cv::Mat picture;
    BitMask foreground;
    std::vector<Blob> blobs;  // those that stand alone
};

bool StandsAlone(Blob const& blob, std::vector<Blob> const& all, cv::Size size) {
    cv::Rect const inside(EdgeMargin, EdgeMargin, size.width - 2 * EdgeMargin,
                          size.height - 2 * EdgeMargin);
    return (blob.box & inside) == blob.box &&
           std::none_of(all.begin(), all.end(), [&](Blob const& other) {
               return other.person != blob.person && (other.box & blob.box).area() > 0;
           });
}

std::vector<Moment> Watch(std::string const& clipPath,
                          std::map<int, std::vector<Blob>> const& people) {
    cv::VideoCapture clip(clipPath);
    if (!clip.isOpened()) throw std::runtime_error("cannot read " + clipPath);
    EmogSegmenter segmenter;
    std::vector<Moment> moments;
    cv::Mat picture;
    cv::Mat grey;
    for (int frame = 1; clip.read(picture); ++frame) {
        if (people.empty() || frame > people.rbegin()->first) break;
        cv::cvtColor(picture, grey, cv::COLOR_BGR2GRAY);
        BitMask const none = kes::algorithm::MakeEmptyMask(static_cast<unsigned>(picture.cols) / 2,
                                                           static_cast<unsigned>(picture.rows) / 2);
        BitMask foreground = none;
        BitMask stationary = none;
        segmenter.Process(View(grey, ColourFormat::Grey), none.words.data(), none.words.data(),
                          none.words.data(), foreground.words.data(), stationary.words.data());
        for (std::size_t i = 0; i < foreground.words.size(); ++i) {
            foreground.words[i] |= stationary.words[i];
        }
        auto const found = people.find(frame);
        if (frame <= WarmUpFrames || found == people.end()) continue;
        Moment moment{picture.clone(), foreground, {}};
        for (Blob const& blob : found->second) {
            if (StandsAlone(blob, found->second, picture.size())) moment.blobs.push_back(blob);
        }
        moments.push_back(std::move(moment));
    }
    return moments;
}

kes::geometry::Rectangle<int> InCells(cv::Rect const& box) {
    return {box.x / 2, box.y / 2, (box.x + box.width) / 2, (box.y + box.height) / 2};
}

long Count(std::vector<Score> const& scores, int person, bool theirs) {
    return std::count_if(scores.begin(), scores.end(),
                         [&](Score const& score) { return (score.person == person) == theirs; });
}

// The scores of all blobs after the last one that was learnt; empty for a person not seen enough.
std::vector<Score> Study(std::vector<Moment> const& moments, int person) {
    Smog smog;
    int learnt = 0;
    std::vector<Score> scores;
    for (Moment const& moment : moments) {
        Frame const frame = View(moment.picture, ColourFormat::Bgr);
        bool const isLearning = learnt < LearntBlobs;
        for (Blob const& blob : moment.blobs) {
            if (isLearning && blob.person == person) {
                smog.Update(InCells(blob.box), moment.foreground, frame);
                ++learnt;
            } else if (!isLearning) {
                scores.push_back({blob.frame, blob.person,
                                  smog.ScoreBlob(InCells(blob.box), moment.foreground, frame)});
            }
        }
    }
    if (Count(scores, person, true) < FewestLaterBlobs) return {};
    return scores;
}

// The probability that one of the person's scores is above one of the others', ties counting half.
double AreaUnderRoc(std::vector<Score> const& scores, int person) {
    double above = 0;
    double pairs = 0;
    for (Score const& theirs : scores) {
        if (theirs.person != person) continue;
        for (Score const& others : scores) {
            if (others.person == person) continue;
            above += theirs.value > others.value ? 1.0 : theirs.value == others.value ? 0.5 : 0.0;
            pairs += 1;
        }
    }
    return above / pairs;
}

double Median(std::vector<Score> const& scores, int person, bool theirs) {
    std::vector<float> values;
    for (Score const& score : scores) {
        if ((score.person == person) == theirs) values.push_back(score.value);
    }
    std::nth_element(values.begin(), values.begin() + static_cast<long>(values.size()) / 2,
                     values.end());
    return values[values.size() / 2];
}

// --- the picture

cv::Scalar const Ink(60, 50, 45);
cv::Scalar const Grid(225, 225, 225);
cv::Scalar const Theirs(40, 90, 215);    // of the person
cv::Scalar const Others(175, 150, 120);  // of everybody else

void Write(cv::Mat& canvas, std::string const& text, cv::Point where, double scale = 0.5,
           cv::Scalar const& colour = Ink) {
    cv::putText(canvas, text, where, cv::FONT_HERSHEY_SIMPLEX, scale, colour, 1, cv::LINE_AA);
}

std::string Rounded(double value, int digits = 2) {
    char text[32];
    std::snprintf(text, sizeof text, "%.*f", digits, value);
    return text;
}

// Scores against time, and beside them how often each score is met.
void DrawScores(cv::Mat& canvas, cv::Rect const& plot, cv::Rect const& shares,
                std::vector<Score> const& scores, int person) {
    int const first = scores.front().frame;
    int const last = scores.back().frame;
    auto const yOf = [&](double score) { return plot.br().y - cvRound(score * plot.height); };
    auto const xOf = [&](int frame) {
        return plot.x + (frame - first) * plot.width / std::max(last - first, 1);
    };
    for (int tenths = 0; tenths <= 10; tenths += 2) {
        int const y = yOf(tenths / 10.0);
        cv::line(canvas, {plot.x, y}, {plot.br().x, y}, Grid);
        cv::line(canvas, {shares.x, y}, {shares.br().x, y}, Grid);
        Write(canvas, Rounded(tenths / 10.0, 1), {plot.x - 32, y + 5}, 0.42);
    }
    for (int frame = (first / 25 + 1) * 25; frame <= last; frame += 25) {
        Write(canvas, std::to_string(frame), {xOf(frame) - 12, plot.br().y + 18}, 0.42);
    }
    Write(canvas, "frame", {plot.x + plot.width / 2 - 20, plot.br().y + 38}, 0.45);
    Write(canvas, "share of blobs", {shares.x + 30, plot.br().y + 38}, 0.45);
    Write(canvas, "score", {plot.x - 38, plot.y - 14}, 0.45);

    constexpr std::size_t Bins = 25;
    for (bool theirs : {false, true}) {
        cv::Scalar const& colour = theirs ? Theirs : Others;
        std::vector<double> bins(Bins);
        double total = 0;
        for (Score const& score : scores) {
            if ((score.person == person) != theirs) continue;
            cv::circle(canvas, {xOf(score.frame), yOf(score.value)}, theirs ? 4 : 3, colour,
                       cv::FILLED, cv::LINE_AA);
            bins[std::min(static_cast<std::size_t>(score.value * Bins), Bins - 1)] += 1;
            total += 1;
        }
        std::vector<cv::Point> outline{{shares.x, yOf(0)}};
        for (std::size_t bin = 0; bin < Bins; ++bin) {
            int const x = shares.x + cvRound(bins[bin] / total * 3 * shares.width);
            outline.push_back({std::min(x, shares.br().x), yOf(static_cast<double>(bin) / Bins)});
            outline.push_back(
                {std::min(x, shares.br().x), yOf(static_cast<double>(bin + 1) / Bins)});
        }
        outline.push_back({shares.x, yOf(1)});
        cv::Mat filled = canvas.clone();
        cv::fillPoly(filled, std::vector<std::vector<cv::Point>>{outline}, colour);
        cv::addWeighted(filled, 0.45, canvas, 0.55, 0, canvas);
        cv::polylines(canvas, outline, false, colour, 2, cv::LINE_AA);
    }
}

// One blob of each person, as their box shows them, with their median score beneath.
void DrawPeople(cv::Mat& canvas, cv::Point where, std::vector<Moment> const& moments,
                std::vector<Score> const& scores, int person) {
    std::map<int, std::vector<float>> values;
    for (Score const& score : scores) values[score.person].push_back(score.value);
    std::vector<std::pair<float, int>> ranked;
    for (auto& [id, list] : values) {
        std::nth_element(list.begin(), list.begin() + static_cast<long>(list.size()) / 2,
                         list.end());
        ranked.push_back({list[list.size() / 2], id});
    }
    std::sort(ranked.rbegin(), ranked.rend());
    constexpr int CropHeight = 130;
    for (auto const& [median, id] : ranked) {
        std::vector<std::pair<Moment const*, cv::Rect>> seen;
        for (Moment const& moment : moments) {
            for (Blob const& blob : moment.blobs) {
                if (blob.person == id && blob.frame >= scores.front().frame) {
                    seen.push_back({&moment, blob.box});
                }
            }
        }
        auto const& [moment, box] = seen[seen.size() / 2];
        cv::Mat crop;
        cv::resize(moment->picture(box), crop, {box.width * CropHeight / box.height, CropHeight}, 0,
                   0, cv::INTER_CUBIC);
        if (where.x + crop.cols > canvas.cols - 20) break;
        cv::Rect const place(where, crop.size());
        crop.copyTo(canvas(place));
        bool const isPerson = id == person;
        if (isPerson) cv::rectangle(canvas, place, Theirs, 3);
        Write(canvas, Rounded(median), {where.x + 4, where.y + CropHeight + 20}, 0.48,
              isPerson ? Theirs : Ink);
        where.x += std::max(crop.cols, 44) + 12;
    }
}

void Draw(std::string const& path, std::vector<Moment> const& moments,
          std::vector<Score> const& scores, int person) {
    cv::Mat canvas(640, 1080, CV_8UC3, cv::Scalar::all(255));
    Write(canvas,
          "A model that has learnt " + std::to_string(LearntBlobs) + " blobs of person " +
              std::to_string(person) + " scores later blobs: AUC " +
              Rounded(AreaUnderRoc(scores, person), 3),
          {50, 34}, 0.62);
    Write(canvas, "their own (median " + Rounded(Median(scores, person, true)) + ")", {50, 60}, 0.5,
          Theirs);
    Write(canvas, "other people's (median " + Rounded(Median(scores, person, false)) + ")",
          {270, 60}, 0.5, Others);
    DrawScores(canvas, {60, 96, 760, 290}, {850, 96, 200, 290}, scores, person);
    Write(canvas, "who they are, by the median of their scores", {50, 462}, 0.5);
    DrawPeople(canvas, {50, 474}, moments, scores, person);
    if (!cv::imwrite(path, canvas)) throw std::runtime_error("cannot write " + path);
}

}  // namespace

int main(int argc, char** argv) try {
    if (argc != 4 && argc != 5) {
        std::cerr << "usage: kes_appearance_study CLIP PEOPLE.csv PICTURE.png [PERSON]\n";
        return 2;
    }
    auto const people = ReadPeople(argv[2]);
    std::vector<Moment> const moments = Watch(argv[1], people);
    std::map<int, int> blobCounts;
    for (Moment const& moment : moments) {
        for (Blob const& blob : moment.blobs) ++blobCounts[blob.person];
    }

    int drawn = argc == 5 ? std::stoi(argv[4]) : 0;
    double sum = 0;
    int studied = 0;
    for (auto const& [person, count] : blobCounts) {
        std::vector<Score> const scores = Study(moments, person);
        if (scores.empty()) continue;
        double const area = AreaUnderRoc(scores, person);
        std::printf(
            "person %2d: AUC %.3f; %ld later blobs, median %.2f; %ld of others, median %.2f\n",
            person, area, Count(scores, person, true), Median(scores, person, true),
            Count(scores, person, false), Median(scores, person, false));
        sum += area;
        ++studied;
        if (drawn == 0) drawn = person;
    }
    if (studied == 0) throw std::runtime_error("nobody is seen for long enough");
    std::printf("mean AUC %.3f over %d people\n", sum / studied, studied);

    std::vector<Score> const scores = Study(moments, drawn);
    if (scores.empty()) throw std::runtime_error("that person is not seen for long enough");
    Draw(argv[3], moments, scores, drawn);
    return 0;
} catch (std::exception const& error) {
    std::cerr << "kes_appearance_study: " << error.what() << '\n';
    return 1;
}
