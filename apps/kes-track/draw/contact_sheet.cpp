#include "draw/contact_sheet.hpp"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <utility>

#include <opencv2/imgproc.hpp>

#include "base/format.hpp"

namespace kes::track::draw {
namespace {

constexpr std::size_t Columns = 4;
constexpr std::size_t MomentsShown = 12;
constexpr std::size_t MomentsKept = 4 * MomentsShown;  // at most, before every other one goes
constexpr std::size_t StretchesKept = 1024;

// The page, in pixels.
constexpr int Margin = 48;
constexpr int Gap = 24;
constexpr int MomentWidth = 448;
constexpr int TallestMoment = 560;
constexpr int CaptionHeight = 40;
constexpr int HeaderHeight = 104;
constexpr int ChartHeight = 96;
constexpr int ChartTicks = 30;  // below the chart: marks and times

cv::Scalar const Paper{26, 22, 19};
cv::Scalar const ChartPaper{38, 33, 29};
cv::Scalar const Ink{245, 243, 240};
cv::Scalar const FaintInk{168, 160, 152};

cv::Size MomentSize(cv::Size picture) {
    double const scale = std::min(static_cast<double>(MomentWidth) / picture.width,
                                  static_cast<double>(TallestMoment) / picture.height);
    return {std::max(1, static_cast<int>(std::lround(picture.width * scale))),
            std::max(1, static_cast<int>(std::lround(picture.height * scale)))};
}

cv::Mat Shrunk(cv::Mat const& picture) {
    cv::Mat result;
    cv::Size const size = MomentSize(picture.size());
    bool const grows = size.width > picture.cols;
    cv::resize(picture, result, size, 0, 0, grows ? cv::INTER_CUBIC : cv::INTER_AREA);
    return result;
}

// Keeps the first, third, fifth, ... element.
template <typename T>
void DropEveryOther(std::vector<T>& elements) {
    std::size_t kept = 0;
    for (std::size_t i = 0; i < elements.size(); i += 2) {
        if (kept != i) elements[kept] = std::move(elements[i]);
        ++kept;
    }
    elements.erase(elements.begin() + static_cast<std::ptrdiff_t>(kept), elements.end());
}

}  // namespace

ContactSheet::ContactSheet(std::string pageTitle, std::string pageSubtitle,
                           std::vector<LegendEntry> pageLegend)
    : title(std::move(pageTitle)),
      subtitle(std::move(pageSubtitle)),
      legend(std::move(pageLegend)) {}

bool ContactSheet::Note(std::chrono::nanoseconds time, Activity const& activity) {
    NoteActivity(time, activity);
    lastTime = time;
    return noted++ % momentStride == 0;
}

void ContactSheet::NoteActivity(std::chrono::nanoseconds time, Activity const& activity) {
    if (stretches.empty() || stretches.back().pictures == stretchPictures) {
        if (stretches.size() == StretchesKept) {
            for (std::size_t i = 0; i < stretches.size(); i += 2) {
                Stretch& stretch = stretches[i];
                Stretch const& next = stretches[i + 1];
                std::transform(stretch.sum.begin(), stretch.sum.end(), next.sum.begin(),
                               stretch.sum.begin(), std::plus<>{});
                stretch.pictures += next.pictures;
            }
            DropEveryOther(stretches);
            stretchPictures *= 2;
        }
        stretches.push_back({time, Activity(legend.size(), 0.0), 0});
    }
    Stretch& stretch = stretches.back();
    for (std::size_t i = 0; i < legend.size(); ++i) stretch.sum[i] += activity.at(i);
    ++stretch.pictures;
}

void ContactSheet::Add(cv::Mat const& drawn, std::string caption) {
    moments.push_back({lastTime, Shrunk(drawn), std::move(caption)});
    if (moments.size() == MomentsKept) {
        DropEveryOther(moments);
        momentStride *= 2;
    }
}

// The last of each of as many equal groups as the page has places.
std::vector<ContactSheet::Moment const*> ContactSheet::Chosen() const {
    std::size_t const count = std::min(moments.size(), MomentsShown);
    std::vector<Moment const*> chosen;
    for (std::size_t i = 0; i < count; ++i) {
        chosen.push_back(&moments[(i + 1) * moments.size() / count - 1]);
    }
    return chosen;
}

cv::Mat ContactSheet::Draw() const {
    std::vector<Moment const*> const chosen = Chosen();
    CV_Assert(!chosen.empty());
    int const momentHeight =
        (*std::max_element(chosen.begin(), chosen.end(), [](auto const* a, auto const* b) {
            return a->picture.rows < b->picture.rows;
        }))->picture.rows;
    int const rows = static_cast<int>((chosen.size() + Columns - 1) / Columns);
    int const contentWidth =
        static_cast<int>(Columns) * MomentWidth + static_cast<int>(Columns - 1) * Gap;
    int const chartTop = Margin + HeaderHeight;
    int const momentsTop = chartTop + ChartHeight + ChartTicks + Gap;
    int const rowHeight = momentHeight + CaptionHeight;
    cv::Mat page(momentsTop + rows * rowHeight + (rows - 1) * Gap + Margin,
                 contentWidth + 2 * Margin, CV_8UC3, Paper);

    DrawHeader(page);
    DrawChart(page, {Margin, chartTop, contentWidth, ChartHeight}, chosen);
    for (std::size_t i = 0; i < chosen.size(); ++i) {
        int const column = static_cast<int>(i % Columns);
        int const row = static_cast<int>(i / Columns);
        DrawMoment(page,
                   {Margin + column * (MomentWidth + Gap), momentsTop + row * (rowHeight + Gap)},
                   *chosen[i]);
    }
    return page;
}

void ContactSheet::DrawHeader(cv::Mat& page) const {
    constexpr int TitleLetters = 38;
    constexpr int Letters = 22;
    constexpr int Dot = 9;

    int right = page.cols - Margin;
    int const legendBaseline = Margin + 34;
    for (auto entry = legend.rbegin(); entry != legend.rend(); ++entry) {
        right -= font.Width(entry->text, Letters);
        font.Draw(page, entry->text, right, legendBaseline, Letters, Ink);
        right -= 3 * Dot;
        cv::circle(page, {right + Dot, legendBaseline - 8}, Dot, entry->colour, cv::FILLED,
                   cv::LINE_AA);
        right -= Gap + Dot;
    }
    boldFont.Draw(page, boldFont.Fit(title, TitleLetters, right - Margin), Margin, Margin + 34,
                  TitleLetters, Ink);
    font.Draw(page, font.Fit(subtitle, Letters, page.cols - 2 * Margin), Margin, Margin + 74,
              Letters, FaintInk);
}

// The share of each legend entry over the time of the clip, on top of one another, with a mark at
// each moment shown.
void ContactSheet::DrawChart(cv::Mat& page, cv::Rect const& place,
                             std::vector<Moment const*> const& chosen) const {
    constexpr int Letters = 16;
    cv::rectangle(page, place, ChartPaper, cv::FILLED);
    auto const first = stretches.front().start;
    double const span = std::max(1e-9, std::chrono::duration<double>(lastTime - first).count());
    auto const xOf = [&](std::chrono::nanoseconds time) {
        double const share = std::chrono::duration<double>(time - first).count() / span;
        return place.x + static_cast<int>(std::lround(share * (place.width - 1)));
    };

    double highest = 0.0;
    for (Stretch const& stretch : stretches) {
        double total = 0.0;
        for (double share : stretch.sum) total += share;
        highest = std::max(highest, total / static_cast<double>(stretch.pictures));
    }
    for (std::size_t i = 0; highest > 0.0 && i < stretches.size(); ++i) {
        Stretch const& stretch = stretches[i];
        int const left = xOf(stretch.start);
        int const right = i + 1 < stretches.size() ? xOf(stretches[i + 1].start) : place.br().x;
        double base = 0.0;
        for (std::size_t entry = legend.size(); entry-- > 0;) {
            double const top = base + stretch.sum[entry] / static_cast<double>(stretch.pictures);
            auto const yOf = [&](double share) {
                return place.br().y -
                       static_cast<int>(std::lround(share / highest * (place.height - 8)));
            };
            cv::Rect const bar(left, yOf(top), std::max(1, right - left), yOf(base) - yOf(top));
            if (!bar.empty()) cv::rectangle(page, bar, legend[entry].colour, cv::FILLED);
            base = top;
        }
    }
    std::string const peak = FormatNumber(100.0 * highest, 1) + " %";
    font.Draw(page, peak, place.x + 10, place.y + 8 + Letters, Letters, FaintInk);

    int labelEnd = 0;
    for (Moment const* const moment : chosen) {
        int const x = xOf(moment->time);
        cv::line(page, {x, place.br().y + 3}, {x, place.br().y + 9}, FaintInk, 1);
        std::string const text = FormatTime(moment->time);
        int const width = font.Width(text, Letters);
        int const left = std::clamp(x - width / 2, place.x, place.br().x - width);
        if (left < labelEnd) continue;
        font.Draw(page, text, left, place.br().y + 12 + Letters, Letters, FaintInk);
        labelEnd = left + width + 10;
    }
}

void ContactSheet::DrawMoment(cv::Mat& page, cv::Point place, Moment const& moment) const {
    constexpr int Letters = 20;
    cv::Point const corner(place.x + (MomentWidth - moment.picture.cols) / 2, place.y);
    moment.picture.copyTo(page(cv::Rect(corner, moment.picture.size())));
    int const baseline = place.y + moment.picture.rows + 28;
    std::string const time = FormatTime(moment.time);
    boldFont.Draw(page, time, place.x, baseline, Letters, Ink);
    int const used = boldFont.Width(time, Letters) + Gap / 2;
    std::string const caption = font.Fit(moment.caption, Letters - 3, MomentWidth - used);
    font.Draw(page, caption, place.x + MomentWidth - font.Width(caption, Letters - 3), baseline,
              Letters - 3, FaintInk);
}

}  // namespace kes::track::draw
