#include "cli/progress_board.hpp"

#include <iostream>

namespace kes::track::cli {
namespace {

constexpr auto Pause = std::chrono::milliseconds(100);
constexpr char const* WipeLine = "\r\x1b[K";
constexpr char const* LineUp = "\x1b[A";

}  // namespace

ProgressBoard::ProgressBoard(std::size_t inputs, bool isWanted)
    : isDrawn(isWanted && Progress::IsWatched()), bars(inputs) {}

ProgressBoard::~ProgressBoard() { Wipe(); }

void ProgressBoard::Update(std::size_t input, std::string const& label,
                           std::optional<std::chrono::nanoseconds> length,
                           std::chrono::nanoseconds done, std::uint64_t frames) {
    if (!isDrawn) return;
    std::lock_guard const lock(mutex);
    Bar& bar = bars[input];
    if (!bar.progress || bar.label != label) {
        bar.label = label;
        bar.progress = std::make_unique<Progress>(label, length, false);
    }
    auto const now = std::chrono::steady_clock::now();
    if (now - lastDrawn < Pause) return;
    lastDrawn = now;
    bar.line = bar.progress->Line(done, frames);
    Draw();
}

void ProgressBoard::Finish(std::size_t input) {
    std::lock_guard const lock(mutex);
    bars[input] = {};
}

void ProgressBoard::Draw() {
    Wipe();
    for (Bar const& bar : bars) {
        if (bar.line.empty()) continue;
        std::cerr << bar.line << '\n';
        ++drawnLines;
    }
    std::cerr << std::flush;
}

void ProgressBoard::Wipe() {
    for (; drawnLines > 0; --drawnLines) std::cerr << LineUp << WipeLine;
    std::cerr << std::flush;
}

}  // namespace kes::track::cli
