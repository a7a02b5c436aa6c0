#include "tracker/settled.hpp"

#include <algorithm>
#include <iterator>
#include <utility>

namespace kes::tracker {
namespace {

Object const* Find(Result const& result, int id) {
    auto const found = std::find_if(result.objects.begin(), result.objects.end(),
                                    [id](Object const& object) { return object.id == id; });
    return found == result.objects.end() ? nullptr : &*found;
}

Box Between(Box const& a, Box const& b, float share) {
    auto const mix = [share](float from, float to) { return from + share * (to - from); };
    return {mix(a.left, b.left), mix(a.top, b.top), mix(a.right, b.right), mix(a.bottom, b.bottom)};
}

}  // namespace

std::optional<Result> Settled::Push(Result result) {
    held.push_back(std::move(result));
    if (held.size() <= delay) return std::nullopt;
    return Settle();
}

std::optional<Result> Settled::Pop() {
    if (held.empty()) return std::nullopt;
    return Settle();
}

std::optional<Settled::Sighting> Settled::NextSighting(int id) const {
    for (std::size_t i = 1; i < held.size(); ++i) {
        Object const* const object = Find(held[i], id);
        if (object != nullptr && object->sight == Sight::Seen) {
            return Sighting{frame + i, object->box};
        }
    }
    return std::nullopt;
}

Result Settled::Settle() {
    Result result = std::move(held.front());
    std::erase_if(result.objects, [this](Object& object) {
        // Once confirmed, an object stays so.
        if (!object.isConfirmed) {
            object.isConfirmed = std::any_of(held.begin(), held.end(), [&](Result const& later) {
                Object const* const same = Find(later, object.id);
                return same != nullptr && same->isConfirmed;
            });
        }
        if (!object.isConfirmed) return true;
        if (object.sight == Sight::Seen) {
            lastSeen[object.id] = {frame, object.box};
            return false;
        }
        auto const before = lastSeen.find(object.id);
        auto const after = NextSighting(object.id);
        if (before != lastSeen.end() && after) {
            object.box = Between(before->second.box, after->box,
                                 static_cast<float>(frame - before->second.frame) /
                                     static_cast<float>(after->frame - before->second.frame));
            object.sight = Sight::Hidden;
        }
        return object.sight == Sight::Lost;
    });
    // Objects that the tracker has given up are not remembered here either.
    std::erase_if(lastSeen, [&](auto const& entry) {
        return frame > entry.second.frame &&
               std::none_of(held.begin(), held.end(), [&](Result const& later) {
                   return Find(later, entry.first) != nullptr;
               });
    });
    held.pop_front();
    ++frame;
    return result;
}

}  // namespace kes::tracker
