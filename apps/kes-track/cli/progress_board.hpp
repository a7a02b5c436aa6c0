// ProgressBoard: a bar for each of several inputs, on standard error, where a person watches it.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "cli/progress.hpp"

namespace kes::track::cli {

// May be updated from several threads. Draws only on a terminal and only when wanted.
class ProgressBoard {
public:
    ProgressBoard(std::size_t inputs, bool isWanted);
    ~ProgressBoard();  // wipes the lines

    // input: from 0. A new label begins a new bar for that input.
    void Update(std::size_t input, std::string const& label,
                std::optional<std::chrono::nanoseconds> length, std::chrono::nanoseconds done,
                std::uint64_t frames);

    // Takes the input's bar away.
    void Finish(std::size_t input);

private:
    struct Bar {
        std::string label;
        std::unique_ptr<Progress> progress;  // null: none at present
        std::string line;
    };

    void Draw();
    void Wipe();

    std::mutex mutex;
    bool const isDrawn;
    std::vector<Bar> bars;
    int drawnLines = 0;
    std::chrono::steady_clock::time_point lastDrawn{};
};

}  // namespace kes::track::cli
