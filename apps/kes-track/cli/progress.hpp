// Progress: a bar on standard error, where a person watches it.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace kes::track::cli {

// Draws only on a terminal and only when wanted; elsewhere it does nothing. NO_COLOR leaves the
// colour out.
class Progress {
public:
    // length: of what will be read; none where nobody knows.
    Progress(std::string label, std::optional<std::chrono::nanoseconds> length, bool isWanted);
    Progress(Progress const&) = delete;
    Progress& operator=(Progress const&) = delete;
    ~Progress();  // wipes the line

    // done: how much of `length` has been read. Draws ten times a second at most.
    void Update(std::chrono::nanoseconds done, std::uint64_t frames);

    // The line that Update draws.
    std::string Line(std::chrono::nanoseconds done, std::uint64_t frames) const;

    // Whether a person watches standard error.
    static bool IsWatched();

private:
    std::string label;
    std::optional<std::chrono::nanoseconds> length;
    bool isDrawn;
    bool isColoured;
    bool isUtf8;
    std::chrono::steady_clock::time_point const start = std::chrono::steady_clock::now();
    std::chrono::steady_clock::time_point lastDrawn{};
};

}  // namespace kes::track::cli
