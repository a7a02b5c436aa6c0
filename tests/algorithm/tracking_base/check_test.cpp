#include <kes/algorithm/tracking_base/check.hpp>

#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

namespace kes::algorithm::tracking_base {
namespace {

using media::ColourFormat;
using Plane = media::video::frame::PlaneBase<void const>;

char const pixel = 0;  // no check reads it

struct Case {
    ColourFormat format;
    Plane plane0, plane1;
    char const* segmenter;  // a part of the text; nullptr where nothing is wrong
    char const* smog;
};

template <typename Check>
std::string TextOf(Check const& check) {
    try {
        check();
    } catch (std::invalid_argument const& error) {
        return error.what();
    }
    return "";
}

void ExpectText(std::string const& text, char const* part) {
    if (part == nullptr) {
        EXPECT_EQ(text, "");
    } else {
        EXPECT_NE(text.find(part), std::string::npos) << text;
    }
}

// Frames of 21 x 11 pixels.
TEST(Check, SaysWhatIsWrongWithAFrame) {
    auto const plane = [](unsigned long bytes, long stride) {
        return Plane(bytes, &pixel, stride);
    };
    char const* const noColour = "give it Rgb, Bgr, Yuv or Nv12, not colour format 0";
    char const* const noLuminance = "give it Grey or Nv12, not colour format";
    using F = ColourFormat;
    for (Case const& c : {
             Case{F::Grey, plane(11 * 21, 21), {}, nullptr, noColour},
             Case{
                 F::Grey, plane(10 * 32 + 21, 32), {}, nullptr, noColour},  // no padding at its end
             Case{F::Grey, plane(10 * 32 + 20, 32), {}, "340 bytes is less than the 341", noColour},
             Case{F::Grey, plane(999, 20), {}, "stride of 20 bytes is less than the 21", noColour},
             Case{F::Grey, plane(999, -32), {}, "stride of -32 bytes", noColour},
             Case{F::Grey, {999, nullptr, 32}, {}, "Plane 0 of a frame of 21 x 11", noColour},
             Case{F::Rgb, plane(11 * 63, 63), {}, noLuminance, nullptr},
             Case{F::Bgr, plane(11 * 63, 62), {}, noLuminance, "62 bytes is less than the 63"},
             Case{
                 F::Yuv, plane(11 * 63 - 1, 63), {}, noLuminance, "692 bytes is less than the 693"},
             Case{F::Nv12, plane(11 * 24, 24), plane(4 * 24 + 20, 24), nullptr, nullptr},
             Case{F::Nv12, plane(11 * 24, 24), plane(4 * 24 + 19, 24), nullptr, "the 116 bytes"},
             Case{F::Nv12, plane(11 * 24, 24), {}, nullptr, "Plane 1 of a frame of 21 x 11"},
             Case{F::Nv12, plane(11 * 24, 24), plane(999, 22), nullptr, "strides are 24 and 22"},
             Case{F(7), plane(999, 63), {}, "not colour format 7", "not colour format 7"},
         }) {
        media::video::FrameBase<void const> const frame({c.plane0, c.plane1}, c.format, {21, 11},
                                                        {}, {});
        SCOPED_TRACE(frame.GetPlane(0).GetSize());
        ExpectText(TextOf([&] { CheckSegmenterFrame(frame); }), c.segmenter);
        ExpectText(TextOf([&] { CheckSmogFrame(frame); }), c.smog);
    }
}

TEST(Check, SaysWhatIsWrongWithAMask) {
    media::video::FrameBase<void const> const frame({}, ColourFormat::Grey, {81, 9}, {}, {});
    BitMask mask = MakeEmptyMask(40, 4);
    EXPECT_NO_THROW(CheckMask(mask, frame));
    mask.words.pop_back();
    ExpectText(TextOf([&] { CheckMask(mask, frame); }), "has 8 words, this one 7");
    ExpectText(TextOf([&] { CheckMask(MakeEmptyMask(41, 4), frame); }), "A mask of 41 x 4 cells");
    ExpectText(TextOf([&] { CheckMask(MakeEmptyMask(40, 5), frame); }), "frame of 81 x 9 pixels");
}

}  // namespace
}  // namespace kes::algorithm::tracking_base
