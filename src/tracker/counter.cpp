#include <kes/tracker/counter.hpp>

#include <algorithm>
#include <cmath>
#include <map>
#include <optional>
#include <stdexcept>
#include <utility>

namespace kes::tracker {
namespace {

// Of a line, or of a zone's edge: Right is the inside.
enum class Side { Unknown, Left, Right };

// Above 0 where `p` lies to the right of the way from `a` to `b`, as y grows downwards; twice the
// area of the three.
double Turn(Point const& a, Point const& b, Point const& p) {
    return double{b.x - a.x} * (p.y - a.y) - double{b.y - a.y} * (p.x - a.x);
}

bool Intersect(Point const& a, Point const& b, Point const& c, Point const& d) {
    return Turn(a, b, c) * Turn(a, b, d) <= 0 && Turn(c, d, a) * Turn(c, d, b) <= 0;
}

double DistanceToSegment(Point const& a, Point const& b, Point const& p) {
    double const dx = b.x - a.x;
    double const dy = b.y - a.y;
    double const squared = dx * dx + dy * dy;
    double const along = (p.x - a.x) * dx + (p.y - a.y) * dy;
    double const share = squared > 0 ? std::clamp(along / squared, 0.0, 1.0) : 0;
    return std::hypot(p.x - a.x - share * dx, p.y - a.y - share * dy);
}

// Calls visit(a, b) for every edge of a polygon.
template <typename Visit>
void EachEdge(Zone const& zone, Visit const& visit) {
    for (std::size_t i = 0; i < zone.corners.size(); ++i) {
        visit(zone.corners[i], zone.corners[(i + 1) % zone.corners.size()]);
    }
}

bool Contains(Zone const& zone, Point const& p) {
    bool isInside = false;
    EachEdge(zone, [&](Point const& a, Point const& b) {
        if ((a.y > p.y) == (b.y > p.y)) return;
        double const x = a.x + double{b.x - a.x} * (p.y - a.y) / (b.y - a.y);
        if (p.x < x) isInside = !isInside;
    });
    return isInside;
}

double DistanceToEdge(Zone const& zone, Point const& p) {
    double least = INFINITY;
    EachEdge(zone, [&](Point const& a, Point const& b) {
        least = std::min(least, DistanceToSegment(a, b, p));
    });
    return least;
}

// Half the width of a long strip; less than that of anything else.
double HalfWidth(Zone const& zone) {
    double twiceArea = 0;
    double edges = 0;
    EachEdge(zone, [&](Point const& a, Point const& b) {
        twiceArea += double{a.x} * b.y - double{b.x} * a.y;
        edges += std::hypot(b.x - a.x, b.y - a.y);
    });
    return std::abs(twiceArea) / 2 / edges;
}

struct Moment {
    double time;
    Point place;
};

// An object and one line or zone.
struct Passage {
    Side side = Side::Unknown;     // the last that was clear
    Moment lastClear{};            // when it was that
    std::optional<Moment> change;  // to that side, not settled yet
    // Of zones:
    bool isInside = false;  // as reported
    bool appeared = false;  // was in the zone when first seen
    double since = 0;       // in the zone
};

struct Followed {
    double lastSeen = 0;
    Point foot{};
    std::vector<Passage> lines;
    std::vector<Passage> zones;
};

void RequireFinite(Point const& p) {
    if (!std::isfinite(p.x) || !std::isfinite(p.y)) {
        throw std::invalid_argument("Lines and zones must have finite coordinates");
    }
}

void Check(std::vector<Line> const& lines, std::vector<Zone> const& zones,
           CountingOptions const& options) {
    for (Line const& line : lines) {
        RequireFinite(line.from);
        RequireFinite(line.to);
        if (line.from == line.to) throw std::invalid_argument("A line must have a length");
    }
    for (Zone const& zone : zones) {
        for (Point const& corner : zone.corners) RequireFinite(corner);
        if (zone.corners.size() < 3) {
            throw std::invalid_argument("A zone must have three corners or more");
        }
    }
    for (double const value :
         {options.settlingTime, options.maximumAge, static_cast<double>(options.margin)}) {
        if (!(value >= 0)) throw std::invalid_argument("Counting options must not be negative");
    }
}

}  // namespace

class Counter::Impl {
public:
    Impl(std::vector<Line> someLines, std::vector<Zone> someZones, CountingOptions const& some)
        : lines(std::move(someLines)), zones(std::move(someZones)), options(some) {
        Check(lines, zones, options);
    }

    std::vector<CountEvent> Process(std::vector<Object> const& objects, double time);
    std::vector<CountEvent> Finish();
    std::vector<int> Inside(std::size_t zone) const;

private:
    using Type = CountEvent::Type;

    void See(Followed& followed, Object const& object, double time) const;
    void Pass(Passage& passage, Line const& line, Moment const& now, double margin) const;
    void Pass(Passage& passage, Zone const& zone, Moment const& now, double margin) const;
    // Reports the changes from before `time`.
    void Settle(int id, Followed& followed, double time);
    void End(int id, Followed& followed);
    std::vector<CountEvent> Report();

    std::vector<Line> const lines;
    std::vector<Zone> const zones;
    CountingOptions const options;
    std::map<int, Followed> all;  // by identity
    std::vector<CountEvent> events;
    double lastTime = -INFINITY;
};

std::vector<CountEvent> Counter::Impl::Process(std::vector<Object> const& objects, double time) {
    if (!(time >= lastTime)) throw std::invalid_argument("Times must not fall");
    lastTime = time;
    for (Object const& object : objects) {
        bool const counts = object.isConfirmed && object.kind == Kind::Mover &&
                            object.visibility != Visibility::Lost;
        if (!counts) continue;
        auto const [at, isNew] = all.try_emplace(object.id);
        if (isNew) {
            at->second.lines.resize(lines.size());
            at->second.zones.resize(zones.size());
        }
        See(at->second, object, time);
    }
    for (auto at = all.begin(); at != all.end();) {
        auto& [id, followed] = *at;
        Settle(id, followed, time - options.settlingTime);
        bool const isOver = time - followed.lastSeen > options.maximumAge;
        if (isOver) End(id, followed);
        at = isOver ? all.erase(at) : std::next(at);
    }
    return Report();
}

void Counter::Impl::See(Followed& followed, Object const& object, double time) const {
    Box const& box = object.box;
    followed.lastSeen = time;
    followed.foot = {(box.left + box.right) / 2, box.bottom};
    Moment const now{time, followed.foot};
    double const margin = double{options.margin} * box.GetHeight();
    for (std::size_t i = 0; i < lines.size(); ++i) Pass(followed.lines[i], lines[i], now, margin);
    for (std::size_t i = 0; i < zones.size(); ++i) Pass(followed.zones[i], zones[i], now, margin);
}

// Who crosses and comes back before the first crossing has settled has not crossed at all.
void Counter::Impl::Pass(Passage& passage, Line const& line, Moment const& now,
                         double margin) const {
    double const length = std::hypot(line.to.x - line.from.x, line.to.y - line.from.y);
    double const distance = Turn(line.from, line.to, now.place) / length;
    if (std::abs(distance) <= margin) return;
    Side const side = distance > 0 ? Side::Right : Side::Left;
    // Beyond the line's ends one may change sides without crossing it.
    if (passage.side != Side::Unknown && passage.side != side &&
        Intersect(passage.lastClear.place, now.place, line.from, line.to)) {
        passage.change = passage.change ? std::nullopt : std::optional(now);
    }
    passage.side = side;
    passage.lastClear = now;
}

void Counter::Impl::Pass(Passage& passage, Zone const& zone, Moment const& now,
                         double margin) const {
    // A zone narrower than two margins has an inside, too.
    if (DistanceToEdge(zone, now.place) <= std::min(margin, HalfWidth(zone) / 2)) return;
    Side const side = Contains(zone, now.place) ? Side::Right : Side::Left;
    bool const isFirst = passage.side == Side::Unknown;
    if (isFirst ? side == Side::Right : passage.side != side) {
        passage.appeared = isFirst;
        passage.change = passage.change ? std::nullopt : std::optional(now);
    }
    passage.side = side;
    passage.lastClear = now;
}

void Counter::Impl::Settle(int id, Followed& followed, double time) {
    auto const hasSettled = [time](Passage const& passage) {
        return passage.change && passage.change->time <= time;
    };
    for (std::size_t i = 0; i < lines.size(); ++i) {
        Passage& passage = followed.lines[i];
        if (!hasSettled(passage)) continue;
        Type const type = passage.side == Side::Right ? Type::CrossedToRight : Type::CrossedToLeft;
        events.push_back({type, i, id, passage.change->time, passage.change->place, 0});
        passage.change.reset();
    }
    for (std::size_t i = 0; i < zones.size(); ++i) {
        Passage& passage = followed.zones[i];
        if (!hasSettled(passage)) continue;
        auto const [when, where] = *passage.change;
        passage.change.reset();
        passage.isInside = passage.side == Side::Right;
        if (passage.isInside) {
            passage.since = when;
            Type const type = passage.appeared ? Type::Appeared : Type::Entered;
            events.push_back({type, i, id, when, where, 0});
        } else {
            events.push_back({Type::Exited, i, id, when, where, when - passage.since});
        }
    }
}

// Nothing more will be seen of it.
void Counter::Impl::End(int id, Followed& followed) {
    Settle(id, followed, INFINITY);
    for (std::size_t i = 0; i < zones.size(); ++i) {
        if (!followed.zones[i].isInside) continue;
        double const dwell = followed.lastSeen - followed.zones[i].since;
        events.push_back({Type::Vanished, i, id, followed.lastSeen, followed.foot, dwell});
    }
}

std::vector<CountEvent> Counter::Impl::Finish() {
    for (auto& [id, followed] : all) End(id, followed);
    all.clear();
    return Report();
}

std::vector<CountEvent> Counter::Impl::Report() {
    std::stable_sort(events.begin(), events.end(),
                     [](CountEvent const& a, CountEvent const& b) { return a.time < b.time; });
    return std::exchange(events, {});
}

std::vector<int> Counter::Impl::Inside(std::size_t zone) const {
    std::vector<int> ids;
    for (auto const& [id, followed] : all) {
        if (followed.zones.at(zone).isInside) ids.push_back(id);
    }
    return ids;
}

Counter::Counter(std::vector<Line> lines, std::vector<Zone> zones, CountingOptions const& options)
    : impl(std::make_unique<Impl>(std::move(lines), std::move(zones), options)) {}
Counter::~Counter() = default;
std::vector<CountEvent> Counter::Process(std::vector<Object> const& objects, double time) {
    return impl->Process(objects, time);
}
std::vector<CountEvent> Counter::Finish() { return impl->Finish(); }
std::vector<int> Counter::Inside(std::size_t zone) const { return impl->Inside(zone); }

}  // namespace kes::tracker
