#include <kes/tracker/tracker.hpp>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include <kes/geometry/rectangle.hpp>

namespace kes::tracker {
namespace {

Object const* Find(Result const& result, int id) {
    auto const found = std::find_if(result.objects.begin(), result.objects.end(),
                                    [id](Object const& object) { return object.id == id; });
    return found == result.objects.end() ? nullptr : &*found;
}

// A straight line through weighted points, at 0.
class Line {
public:
    void Add(double x, double y, double weight) {
        sum += weight;
        sumX += weight * x;
        sumY += weight * y;
        sumXX += weight * x * x;
        sumXY += weight * x * y;
    }

    double AtZero() const {
        double const spread = sum * sumXX - sumX * sumX;
        if (spread <= 1e-9 * sum * sum) return sumY / sum;
        return (sumXX * sumY - sumX * sumXY) / spread;
    }

private:
    double sum = 0, sumX = 0, sumY = 0, sumXX = 0, sumXY = 0;
};

}  // namespace

class FixedLagSmoother::Impl {
public:
    Impl(std::size_t lag, std::size_t window) : delay(lag), smoothing(window) {}

    std::optional<Result> Push(Result result);
    std::optional<Result> Pop();

private:
    struct Sighting {
        std::size_t frame;
        Box box;
        float confidence;
    };

    Result Smooth();
    std::vector<Sighting> Sightings(int id) const;
    Box Evened(std::vector<Sighting> const& sightings) const;

    std::size_t const delay;
    std::size_t const smoothing;
    std::size_t frame = 0;  // of the oldest result held
    std::deque<Result> held;
    std::map<int, std::deque<Sighting>> past;  // by object, latest last
};

std::optional<Result> FixedLagSmoother::Impl::Push(Result result) {
    held.push_back(std::move(result));
    if (held.size() <= delay) return std::nullopt;
    return Smooth();
}

std::optional<Result> FixedLagSmoother::Impl::Pop() {
    if (held.empty()) return std::nullopt;
    return Smooth();
}

// Of the oldest frame held, those around it and at it.
std::vector<FixedLagSmoother::Impl::Sighting> FixedLagSmoother::Impl::Sightings(int id) const {
    std::vector<Sighting> sightings;
    if (auto const found = past.find(id); found != past.end()) {
        sightings.assign(found->second.begin(), found->second.end());
    }
    for (std::size_t i = 0; i < held.size(); ++i) {
        Object const* const object = Find(held[i], id);
        if (object != nullptr && object->visibility == Visibility::Visible) {
            sightings.push_back({frame + i, object->box, object->confidence});
        }
    }
    return sightings;
}

// The middle moves on a straight line for a moment; the size stays.
Box FixedLagSmoother::Impl::Evened(std::vector<Sighting> const& sightings) const {
    Line x, y, width, height;
    // The last before this frame and the first from it on count however far they are.
    auto const next = std::find_if(sightings.begin(), sightings.end(),
                                   [&](Sighting const& s) { return s.frame >= frame; });
    for (auto it = sightings.begin(); it != sightings.end(); ++it) {
        double const at = static_cast<double>(it->frame) - static_cast<double>(frame);
        double weight = 1 - std::abs(at) / (static_cast<double>(smoothing) + 1);
        bool const isNeighbour = it == next || it + 1 == next;
        if (weight <= 0 && !isNeighbour) continue;
        weight = std::max(weight, 1e-3) * static_cast<double>(it->confidence);
        auto const [left, top, right, bottom] = it->box;
        x.Add(at, static_cast<double>(left + right) / 2, weight);
        y.Add(at, static_cast<double>(top + bottom) / 2, weight);
        width.Add(0, static_cast<double>(right - left), weight);
        height.Add(0, static_cast<double>(bottom - top), weight);
    }
    auto const middleX = static_cast<float>(x.AtZero());
    auto const middleY = static_cast<float>(y.AtZero());
    auto const halfWidth = static_cast<float>(width.AtZero() / 2);
    auto const halfHeight = static_cast<float>(height.AtZero() / 2);
    return {middleX - halfWidth, middleY - halfHeight, middleX + halfWidth, middleY + halfHeight};
}

Result FixedLagSmoother::Impl::Smooth() {
    Result result = std::move(held.front());
    held.front() = result;  // still looked at below
    std::erase_if(result.objects, [this](Object& object) {
        // Once confirmed, an object stays so.
        object.isConfirmed =
            object.isConfirmed || std::any_of(held.begin(), held.end(), [&](Result const& later) {
                Object const* const same = Find(later, object.id);
                return same != nullptr && same->isConfirmed;
            });
        if (!object.isConfirmed) return true;
        auto const sightings = Sightings(object.id);
        bool const isBetween =
            !sightings.empty() && sightings.front().frame < frame && sightings.back().frame > frame;
        if (object.visibility == Visibility::Visible) {
            auto& seen = past[object.id];
            seen.push_back({frame, object.box, object.confidence});
            if (seen.size() > std::max<std::size_t>(1, smoothing)) seen.pop_front();
            if (smoothing > 0) object.box = Evened(sightings);
        } else if (isBetween) {
            object.box = Evened(sightings);
            object.visibility = Visibility::Occluded;
        }
        return object.visibility == Visibility::Lost;
    });
    held.pop_front();
    ++frame;
    // Objects that the tracker has given up are not remembered here either.
    std::erase_if(past, [&](auto const& entry) {
        return std::none_of(held.begin(), held.end(), [&](Result const& later) {
            return Find(later, entry.first) != nullptr;
        });
    });
    return result;
}

FixedLagSmoother::FixedLagSmoother(std::size_t delay, std::size_t smoothing)
    : impl(std::make_unique<Impl>(delay, smoothing)) {}
FixedLagSmoother::~FixedLagSmoother() = default;
std::optional<Result> FixedLagSmoother::Push(Result result) {
    return impl->Push(std::move(result));
}
std::optional<Result> FixedLagSmoother::Pop() { return impl->Pop(); }

}  // namespace kes::tracker
