#include "cli/progress.hpp"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iostream>
#include <string_view>
#include <utility>

#include <sys/ioctl.h>
#include <unistd.h>

#include "base/format.hpp"

namespace kes::track::cli {
namespace {

constexpr char const* WipeLine = "\r\x1b[K";
constexpr auto Pause = std::chrono::milliseconds(100);

std::string_view Setting(char const* name) {
    char const* const value = std::getenv(name);
    return value != nullptr ? value : "";
}

bool IsUtf8() {
    for (char const* name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
        std::string_view const value = Setting(name);
        if (!value.empty())
            return value.find("UTF-8") != std::string_view::npos ||
                   value.find("utf8") != std::string_view::npos;
    }
    return false;
}

int TerminalWidth() {
    winsize size{};
    bool const isKnown = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return isKnown ? size.ws_col : 80;
}

std::string Repeated(std::string const& text, int count) {
    std::string result;
    for (int i = 0; i < count; ++i) result += text;
    return result;
}

}  // namespace

Progress::Progress(std::string barLabel, std::optional<std::chrono::nanoseconds> clipLength,
                   bool isWanted)
    : label(std::move(barLabel)),
      length(clipLength),
      isDrawn(isWanted && IsWatched()),
      isColoured(Setting("NO_COLOR").empty()),
      isUtf8(IsUtf8()) {
    constexpr std::size_t LongestLabel = 24;
    if (label.size() > LongestLabel) {
        auto const isContinued = [](char byte) { return (byte & 0xC0) == 0x80; };
        std::size_t kept = LongestLabel;
        while (kept > 0 && isContinued(label[kept])) --kept;  // not within a character
        label.resize(kept);
    }
}

bool Progress::IsWatched() { return isatty(STDERR_FILENO) == 1 && Setting("TERM") != "dumb"; }

Progress::~Progress() {
    if (isDrawn) std::cerr << WipeLine << std::flush;
}

void Progress::Update(std::chrono::nanoseconds done, std::uint64_t frames) {
    if (!isDrawn) return;
    auto const now = std::chrono::steady_clock::now();
    if (now - lastDrawn < Pause) return;
    lastDrawn = now;
    std::cerr << WipeLine << Line(done, frames) << std::flush;
}

std::string Progress::Line(std::chrono::nanoseconds done, std::uint64_t frames) const {
    double const elapsed = std::max(
        1e-3, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    std::string const rate =
        FormatNumber(std::round(static_cast<double>(frames) / elapsed), 0) + " frames/s";
    if (!length || length->count() <= 0) {
        return label + "  " + FormatTime(done) + "  " + rate;
    }
    double const share = std::clamp(
        static_cast<double>(done.count()) / static_cast<double>(length->count()), 0.0, 1.0);
    std::string percent = FormatNumber(std::floor(100.0 * share), 0) + " %";
    percent.insert(0, 5 - std::min<std::size_t>(5, percent.size()), ' ');
    std::string const tail =
        percent + "  " + FormatTime(done) + " of " + FormatTime(*length) + "  " + rate;

    int const room = TerminalWidth() - static_cast<int>(label.size() + tail.size()) - 5;
    int const width = std::clamp(room, 0, 40);
    auto const filled = static_cast<int>(std::lround(share * width));
    std::string const full = Repeated(isUtf8 ? "━" : "=", filled);
    std::string const rest = Repeated(isUtf8 ? "─" : "-", width - filled);
    std::string const bar =
        isColoured ? "\x1b[36m" + full + "\x1b[2m" + rest + "\x1b[0m" : full + rest;
    return label + "  " + bar + " " + tail;
}

}  // namespace kes::track::cli
