#include "video/reader.hpp"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "base/failure.hpp"
#include "support/clip.hpp"
#include "support/folder.hpp"
#include "support/server.hpp"

namespace kes::track::video {
namespace {

using namespace std::chrono_literals;
using test::ClipKind;
using test::MakeClip;

std::vector<Picture> ReadAll(Reader& reader) {
    std::vector<Picture> pictures;
    while (std::optional<Picture> picture = reader.Next()) pictures.push_back(*std::move(picture));
    return pictures;
}

std::vector<Picture> ReadAll(std::string const& path, ReadOptions const& options = {}) {
    Reader reader(path, options);
    return ReadAll(reader);
}

std::uint8_t LuminanceAt(Frame const& frame, int x, int y) {
    auto const* const bytes = static_cast<std::uint8_t const*>(frame.GetPlane(0).GetBuffer());
    return bytes[std::ptrdiff_t{y} * frame.GetPlane(0).GetStride() + x];
}

// The number of the clip's picture that this is, told by its pixels.
int NumberOf(Picture const& picture) {
    for (int frame = 0; frame < 36; ++frame) {
        if (LuminanceAt(picture.frame, 0, 0) == test::Luminance(0, 0, frame)) return frame;
    }
    return -1;
}

TEST(Reader, GivesEveryPixelOfEveryPictureWithItsTime) {
    test::Folder const folder;
    struct Case {
        char const* file;
        ClipKind kind;
    };
    Case const cases[] = {
        {"yuv420.mkv", {}},
        {"odd.mkv", {.width = 33, .height = 17}},
        {"wide.avi", {.width = 401, .height = 3}},
        {"pixel.mkv", {.width = 1, .height = 1}},
        {"grey.avi", {.format = AV_PIX_FMT_GRAY8}},
        {"yuv444.mkv", {.format = AV_PIX_FMT_YUV444P}},
        {"nv12.nut", {.codec = "rawvideo", .format = AV_PIX_FMT_NV12}},
        {"fast.mkv", {.frames = 30, .rate = 50}},
        {"single.mkv", {.frames = 1}},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.file);
        MakeClip(folder / c.file, c.kind);
        std::optional<Reader> reader(std::in_place, folder / c.file, ReadOptions{});
        std::vector<Picture> const pictures = ReadAll(*reader);
        EXPECT_EQ(reader->Fault(), std::nullopt);
        EXPECT_FALSE(reader->Next());
        EXPECT_DOUBLE_EQ(reader->Info().frameRate,
                         c.kind.frames == 1 ? reader->Info().frameRate : c.kind.rate);
        reader.reset();  // the frames live on

        ASSERT_EQ(pictures.size(), static_cast<std::size_t>(c.kind.frames));
        for (int frame = 0; frame < c.kind.frames; ++frame) {
            Picture const& picture = pictures[static_cast<std::size_t>(frame)];
            EXPECT_EQ(picture.index, static_cast<std::uint64_t>(frame));
            EXPECT_NEAR(std::chrono::duration<double>(picture.time).count(),
                        static_cast<double>(frame) / c.kind.rate, 0.0011);
            EXPECT_EQ(picture.frame.GetTimestamp().time_since_epoch(), picture.time);
            ASSERT_EQ(picture.frame.GetWidth(), static_cast<unsigned int>(c.kind.width));
            ASSERT_EQ(picture.frame.GetHeight(), static_cast<unsigned int>(c.kind.height));
            for (int y = 0; y < c.kind.height; ++y) {
                for (int x = 0; x < c.kind.width; ++x) {
                    ASSERT_EQ(LuminanceAt(picture.frame, x, y), test::Luminance(x, y, frame));
                }
            }
        }
    }
}

TEST(Reader, TakesThePicturesAskedFor) {
    test::Folder const folder;
    std::string const clip = folder / "clip.mkv";
    MakeClip(clip, {.frames = 30});
    struct Case {
        char const* what;
        std::chrono::nanoseconds start;
        std::optional<std::chrono::nanoseconds> duration;
        unsigned int every;
        std::vector<int> expected;
    };
    Case const cases[] = {
        {"a start", 2500ms, {}, 1, {25, 26, 27, 28, 29}},
        {"a start between pictures", 2650ms, {}, 1, {27, 28, 29}},
        {"a duration", 0ms, 300ms, 1, {0, 1, 2}},
        {"every seventh", 0ms, {}, 7, {0, 7, 14, 21, 28}},
        {"all of it", 1s, 1s, 4, {10, 14, 18}},
        {"a duration past the end", 2800ms, 1h, 1, {28, 29}},
        {"hardly any duration", 0ms, 1ns, 1, {0}},
    };
    for (Case const& c : cases) {
        std::vector<int> numbers;
        for (Picture const& picture :
             ReadAll(clip, {.start = c.start, .duration = c.duration, .every = c.every})) {
            numbers.push_back(NumberOf(picture));
            EXPECT_EQ(picture.index, static_cast<std::uint64_t>(numbers.back()));
            EXPECT_NEAR(std::chrono::duration<double>(picture.time).count(), 0.1 * numbers.back(),
                        0.001);
        }
        EXPECT_EQ(numbers, c.expected) << c.what;
    }
    Reader reader(clip, {.start = 1s, .every = 4});
    EXPECT_DOUBLE_EQ(reader.Info().frameRate, 2.5);
    EXPECT_EQ(reader.Info().length, 2s);
}

// Of uneven pace, and with times of day for times, whichever way the start is reached.
TEST(Reader, KeepsTimesAndNumbersOfAClipOfUnevenPace) {
    test::Folder const folder;
    constexpr std::int64_t Today = std::int64_t{10} * 1'800'000'000;  // ticks since 1970
    std::int64_t first = 0;
    auto const tickOf = [&](int frame) { return first + (frame < 10 ? frame : 3 * frame - 20); };
    for (auto const& [name, start] : {std::pair{"a.mkv", 0L}, {"b.nut", Today}}) {
        SCOPED_TRACE(name);
        first = start;
        MakeClip(folder / name, {.frames = 30, .tickOf = tickOf});
        for (auto const from : {0ms, 500ms, 2500ms}) {
            for (Picture const& picture : ReadAll(folder / name, {.start = from})) {
                int const number = NumberOf(picture);
                EXPECT_EQ(picture.index, static_cast<std::uint64_t>(number));
                EXPECT_EQ(picture.time / 1ms, 100 * (tickOf(number) - first));
            }
        }
    }
}

TEST(Reader, KeepsOneSizeThroughoutAClipThatChangesIt) {
    test::Folder const folder;
    MakeClip(folder / "a.ts", {.codec = "mpeg2video", .width = 64, .height = 48, .rate = 25});
    MakeClip(folder / "b.ts", {.codec = "mpeg2video", .width = 96, .height = 80, .rate = 25});
    test::WriteFile(folder / "ab.ts",
                    test::ReadFile(folder / "a.ts") + test::ReadFile(folder / "b.ts"));
    for (auto const& [options, size] :
         {std::pair{ReadOptions{}, Size{64, 48}},
          std::pair{ReadOptions{.size = Size{50, 31}}, Size{50, 31}}}) {
        Reader reader(folder / "ab.ts", options);
        std::vector<Picture> const pictures = ReadAll(reader);
        EXPECT_GT(pictures.size(), 30U);
        for (Picture const& picture : pictures) ASSERT_EQ(picture.frame.GetSize(), size);
        EXPECT_GT(reader.Unlike(), 10U);
        EXPECT_TRUE(std::is_sorted(pictures.begin(), pictures.end(),
                                   [](auto const& a, auto const& b) { return a.time < b.time; }));
    }
}

TEST(Reader, TurnsAClipAsItsContainerSays) {
    test::Folder const folder;
    struct Case {
        char const* what;
        std::array<int, 4> shownBy;
        Size size;
        std::uint8_t upperLeft, lowerLeft;
    };
    constexpr auto Stored = [](int x, int y) { return test::Luminance(x, y, 0); };
    Case const cases[] = {
        {"upright", {1, 0, 0, 1}, {64, 48}, Stored(0, 0), Stored(0, 47)},
        {"a quarter clockwise", {0, 1, -1, 0}, {48, 64}, Stored(0, 47), Stored(63, 47)},
        {"half", {-1, 0, 0, -1}, {64, 48}, Stored(63, 47), Stored(63, 0)},
        {"a quarter back", {0, -1, 1, 0}, {48, 64}, Stored(63, 0), Stored(0, 0)},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.what);
        MakeClip(folder / "turned.mov", {.frames = 2, .shownBy = c.shownBy});
        Frame const frame = ReadAll(folder / "turned.mov").at(0).frame;
        ASSERT_EQ(frame.GetSize(), c.size);
        EXPECT_EQ(LuminanceAt(frame, 0, 0), c.upperLeft);
        EXPECT_EQ(LuminanceAt(frame, 0, static_cast<int>(c.size.height) - 1), c.lowerLeft);
    }
}

TEST(Reader, RefusesWhatIsNoVideoInOneLine) {
    test::Folder const folder;
    MakeClip(folder / "whole.mp4", {.codec = "mpeg4"});
    MakeClip(folder / "whole.mkv", {});
    std::string const whole = test::ReadFile(folder / "whole.mp4");
    test::WriteFile(folder / "no_index.mp4", whole.substr(0, whole.size() / 2));
    test::WriteFile(folder / "header_only.mkv",
                    test::ReadFile(folder / "whole.mkv").substr(0, 200));
    test::WriteFile(folder / "empty.mp4", "");
    test::WriteFile(folder / "words.txt", "These are words, and no video.\n");
    // One second of silence, 8000 bytes of 8-bit samples.
    test::WriteFile(folder / "sound.wav",
                    std::string("RIFF\x64\x1f\0\0WAVEfmt \x10\0\0\0\1\0\1\0\x40\x1f\0\0\x40\x1f\0\0"
                                "\1\0\x08\0data\x40\x1f\0\0",
                                44) +
                        std::string(8000, '\x80'));
    // One pixel row more than is taken: black in a few megabytes.
    test::WriteFile(folder / "huge.pbm", "P4\n16384 4097\n" + std::string(2048 * 4097, '\0'));
    // A playlist must not take us over the network.
    test::Server const server;
    test::WriteFile(folder / "list.m3u8", "#EXTM3U\n#EXTINF:10,\nhttp://" + server.Address() +
                                              "/clip.ts\n#EXT-X-ENDLIST\n");
    std::pair<char const*, char const*> const cases[] = {
        {"absent.avi", "No such file"},
        {"no_index.mp4", "cut off before its index"},
        {"header_only.mkv", ""},
        {"empty.mp4", "not a video"},
        {"words.txt", "not a video"},
        {"sound.wav", "holds no video"},
        {"huge.pbm", ""},
        {"list.m3u8", ""},
        {".", "Is a directory"},
    };
    for (auto const& [name, why] : cases) {
        SCOPED_TRACE(name);
        std::string const path = folder / name;
        try {
            Reader const reader(path, {.longestSilence = 1s});
            FAIL() << "was opened";
        } catch (Failure const& failure) {
            EXPECT_EQ(failure.Code(), ExitCode::BadInput);
            std::string const line = failure.what();
            EXPECT_EQ(line.rfind(path + ": ", 0), 0U) << line;
            EXPECT_EQ(line.find('\n'), std::string::npos) << line;
            EXPECT_GT(line.size(), path.size() + 5) << line;
            EXPECT_NE(line.find(why), std::string::npos) << line;
        }
    }
    EXPECT_FALSE(server.WasReached());
    EXPECT_THROW(Reader(folder / "whole.mkv", {.start = 10s}), Failure);
}

TEST(Reader, TellsASilentServerFromAUserWhoStops) {
    test::Server const server;
    for (std::string const& address :
         {"rtsp://" + server.Address() + "/x", "http://" + server.Address() + "/clip.mp4"}) {
        try {
            Reader const reader(address, {.longestSilence = 200ms});
            ADD_FAILURE() << "was opened";
        } catch (Failure const& failure) {
            EXPECT_EQ(failure.what(), address + ": no answer");
        }
        EXPECT_THROW(Reader(address, {.isCancelled = [] { return true; }}), Cancelled);
    }
    EXPECT_TRUE(server.WasReached());
}

// A camera's clock comes in reports beside its pictures.
TEST(Reader, StampsALiveStreamWithTheTimeOfDay) {
    std::string const address = "rtp://127.0.0.1:" + std::to_string(test::Server().Port() & ~1U);
    std::atomic<bool> isSeen{false};
    std::thread camera([&] {
        while (!isSeen) {
            MakeClip(address, {.codec = "mpeg2video", .container = "rtp", .frames = 5, .rate = 25});
            std::this_thread::sleep_for(20ms);
        }
    });
    Frame::TimePoint stamp{};
    std::string failure;
    try {
        Reader reader(address, {.longestSilence = 10s});
        for (int i = 0; i < 300 && stamp.time_since_epoch() < 1h; ++i) {
            if (auto const picture = reader.Next()) stamp = picture->frame.GetTimestamp();
        }
    } catch (Failure const& error) {
        failure = error.what();
    }
    isSeen = true;
    camera.join();
    EXPECT_EQ(failure, "");
    auto const now = std::chrono::system_clock::now().time_since_epoch();
    EXPECT_LT(now - stamp.time_since_epoch(), 1h);
}

TEST(Reader, GoesOnAfterDamageAndTellsOfIt) {
    test::Folder const folder;
    for (char const* const codec : {"mpeg4", "mpeg2video", "libx264"}) {
        if (avcodec_find_encoder_by_name(codec) == nullptr) continue;
        SCOPED_TRACE(codec);
        std::string const clip = folder / (std::string(codec) + ".avi");
        MakeClip(clip, {.codec = codec, .width = 320, .height = 240, .frames = 30});
        std::string bytes = test::ReadFile(clip);
        for (std::size_t i = bytes.size() / 2; i < bytes.size() / 2 + 400; ++i) {
            bytes[i] = static_cast<char>(bytes[i] ^ static_cast<char>(37 * i));
        }
        test::WriteFile(clip, bytes);
        Reader reader(clip, {});
        EXPECT_GT(ReadAll(reader).size(), 5U);
        EXPECT_TRUE(reader.Fault().has_value());
    }
}

}  // namespace
}  // namespace kes::track::video
