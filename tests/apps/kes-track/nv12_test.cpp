#include "video/nv12.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

extern "C" {
#include <libavutil/pixdesc.h>
}

#include "support/clip.hpp"

namespace kes::track::video {
namespace {

using test::ChromaOf;
using test::Luminance;

std::uint8_t ByteAt(av::Frame const& picture, int plane, int x, int y) {
    return picture->data[plane][std::ptrdiff_t{y} * picture->linesize[plane] + x];
}

Size SizeOf(av::Frame const& picture) {
    return {static_cast<unsigned int>(picture->width), static_cast<unsigned int>(picture->height)};
}

struct Sides {
    int width, height;
};
constexpr Sides SomeSizes[] = {{1, 1}, {1, 7}, {8, 1}, {33, 17}, {64, 48}, {65, 48}};

TEST(Nv12Converter, SharesLuminanceOfBytesAndGathersChroma) {
    struct Case {
        AVPixelFormat format;
        bool hasChroma;
    };
    Case const cases[] = {
        {AV_PIX_FMT_YUV420P, true}, {AV_PIX_FMT_YUVJ420P, true}, {AV_PIX_FMT_YUV422P, true},
        {AV_PIX_FMT_YUV444P, true}, {AV_PIX_FMT_YUV411P, true},  {AV_PIX_FMT_YUV440P, true},
        {AV_PIX_FMT_YUV410P, true}, {AV_PIX_FMT_YUVA420P, true}, {AV_PIX_FMT_NV12, true},
        {AV_PIX_FMT_GRAY8, false},
    };
    Nv12Converter converter;
    for (Case const& c : cases) {
        for (Sides const& sides : SomeSizes) {
            SCOPED_TRACE(testing::Message() << av_get_pix_fmt_name(c.format) << " " << sides.width
                                            << " x " << sides.height);
            av::Frame const decoded = test::MakePicture(c.format, sides.width, sides.height, 3);
            av::Frame const picture = converter.Convert(*decoded, SizeOf(decoded));
            EXPECT_EQ(picture->format, AV_PIX_FMT_NV12);
            EXPECT_EQ(picture->data[0], decoded->data[0]) << "luminance was copied";
            EXPECT_EQ(picture->linesize[0], decoded->linesize[0]);
            for (int y = 0; y < (sides.height + 1) / 2; ++y) {
                for (int x = 0; x < (sides.width + 1) / 2; ++x) {
                    ASSERT_EQ(ByteAt(picture, 1, 2 * x, y), c.hasChroma ? ChromaOf(1, 3) : 128);
                    ASSERT_EQ(ByteAt(picture, 1, 2 * x + 1, y), c.hasChroma ? ChromaOf(2, 3) : 128);
                }
            }
        }
    }
}

TEST(Nv12Converter, KeepsTheChromaOfEachBlockApart) {
    av::Frame const decoded = test::MakePicture(AV_PIX_FMT_YUV420P, 9, 5, 0);
    for (int y = 0; y < 3; ++y) {
        for (int x = 0; x < 5; ++x) {
            decoded->data[1][y * decoded->linesize[1] + x] = static_cast<std::uint8_t>(10 * y + x);
            decoded->data[2][y * decoded->linesize[2] + x] =
                static_cast<std::uint8_t>(100 + 10 * y + x);
        }
    }
    av::Frame const picture = Nv12Converter().Convert(*decoded, SizeOf(decoded));
    for (int y = 0; y < 3; ++y) {
        for (int x = 0; x < 5; ++x) {
            EXPECT_EQ(ByteAt(picture, 1, 2 * x, y), 10 * y + x);
            EXPECT_EQ(ByteAt(picture, 1, 2 * x + 1, y), 100 + 10 * y + x);
        }
    }
}

TEST(Nv12Converter, ConvertsWhatHasNoLuminancePlaneOfBytes) {
    Nv12Converter converter;
    for (AVPixelFormat const format :
         {AV_PIX_FMT_YUYV422, AV_PIX_FMT_UYVY422, AV_PIX_FMT_NV21, AV_PIX_FMT_RGB24,
          AV_PIX_FMT_BGR24, AV_PIX_FMT_GBRP, AV_PIX_FMT_YUV420P10, AV_PIX_FMT_GRAY16,
          AV_PIX_FMT_YA8, AV_PIX_FMT_MONOWHITE, AV_PIX_FMT_PAL8, AV_PIX_FMT_RGB565}) {
        for (Sides const& sides : {Sides{33, 17}, Sides{64, 48}}) {
            SCOPED_TRACE(av_get_pix_fmt_name(format));
            av::Frame const decoded = test::MakePicture(format, sides.width, sides.height, 0);
            av::Frame const picture = converter.Convert(*decoded, SizeOf(decoded));
            EXPECT_EQ(picture->format, AV_PIX_FMT_NV12);
            EXPECT_EQ(SizeOf(picture), SizeOf(decoded));
            EXPECT_NE(picture->data[0], decoded->data[0]);
            EXPECT_GE(picture->linesize[0], sides.width);
        }
    }
    // The luminance of packed 4:2:2 comes through as it is.
    av::Frame const decoded = test::MakePicture(AV_PIX_FMT_YUYV422, 64, 48, 0);
    av::Frame const picture = converter.Convert(*decoded, SizeOf(decoded));
    for (int x = 0; x < 64; ++x) EXPECT_EQ(ByteAt(picture, 0, x, 5), ByteAt(decoded, 0, 2 * x, 5));
}

TEST(Nv12Converter, TurnsAPictureStoredBottomUp) {
    av::Frame const upright = test::MakePicture(AV_PIX_FMT_YUV420P, 16, 8, 0);
    av::Frame const flipped(av_frame_clone(upright.get()));
    for (int plane = 0; plane < 3; ++plane) {
        int const rows = plane == 0 ? 8 : 4;
        flipped->data[plane] += std::ptrdiff_t{rows - 1} * upright->linesize[plane];
        flipped->linesize[plane] = -upright->linesize[plane];
    }
    av::Frame const picture = Nv12Converter().Convert(*flipped, SizeOf(flipped));
    ASSERT_GT(picture->linesize[0], 0);
    for (int y = 0; y < 8; ++y) {
        for (int x = 0; x < 16; ++x) EXPECT_EQ(ByteAt(picture, 0, x, y), Luminance(x, 7 - y, 0));
    }
}

TEST(Upright, TurnsLuminanceAndChromaClockwise) {
    using media::video::frame::Rotation;
    struct Case {
        Rotation rotation;
        Sides sides;    // afterwards
        int left, top;  // where the picture's upper left pixel goes
    };
    for (Case const& c :
         {Case{Rotation::None, {32, 18}, 0, 0}, Case{Rotation::Clockwise90, {18, 32}, 17, 0},
          Case{Rotation::Clockwise180, {32, 18}, 31, 17},
          Case{Rotation::Clockwise270, {18, 32}, 0, 31}}) {
        SCOPED_TRACE(static_cast<int>(c.rotation));
        av::Frame lying = test::MakePicture(AV_PIX_FMT_NV12, 32, 18, 0);
        for (int y = 0; y < 18; ++y) std::fill_n(lying->data[0] + y * lying->linesize[0], 32, 50);
        lying->data[0][0] = 200;
        lying->data[1][0] = 201;
        lying->data[1][1] = 202;
        av::Frame const upright = Upright(std::move(lying), c.rotation);
        EXPECT_EQ(upright->width, c.sides.width);
        EXPECT_EQ(upright->height, c.sides.height);
        EXPECT_EQ(ByteAt(upright, 0, c.left, c.top), 200);
        EXPECT_EQ(ByteAt(upright, 1, c.left / 2 * 2, c.top / 2), 201);
        EXPECT_EQ(ByteAt(upright, 1, c.left / 2 * 2 + 1, c.top / 2), 202);
    }
}

TEST(Nv12Converter, TellsWhichRangeLuminanceHas) {
    Nv12Converter converter;
    for (auto const& [format, range] : {std::pair{AV_PIX_FMT_YUV420P, AVCOL_RANGE_MPEG},
                                        std::pair{AV_PIX_FMT_YUVJ422P, AVCOL_RANGE_JPEG},
                                        std::pair{AV_PIX_FMT_GRAY8, AVCOL_RANGE_JPEG},
                                        std::pair{AV_PIX_FMT_RGB24, AVCOL_RANGE_MPEG}}) {
        av::Frame const decoded = test::MakePicture(format, 32, 16, 0);
        EXPECT_EQ(converter.Convert(*decoded, {32, 16})->color_range, range)
            << av_get_pix_fmt_name(format);
    }
    av::Frame const decoded = test::MakePicture(AV_PIX_FMT_YUV420P, 32, 16, 0);
    decoded->color_range = AVCOL_RANGE_JPEG;
    EXPECT_EQ(converter.Convert(*decoded, {32, 16})->color_range, AVCOL_RANGE_JPEG);
    av::Frame const grey = test::MakePicture(AV_PIX_FMT_GRAY8, 32, 16, 0);
    grey->color_range = AVCOL_RANGE_MPEG;
    EXPECT_EQ(converter.Convert(*grey, {32, 16})->color_range, AVCOL_RANGE_MPEG);
}

// The frame's memory is watched by the address sanitizer; here the picture's content is.
TEST(Wrap, KeepsThePictureForAsLongAsAnyCopyOfTheFrame) {
    auto const timestamp =
        media::video::FrameBase<void const>::TimePoint(std::chrono::nanoseconds(1234567890));
    std::vector<media::video::FrameBase<void const>> copies;
    {
        auto const frame = Wrap(test::MakePicture(AV_PIX_FMT_NV12, 33, 17, 2), timestamp);
        copies.assign(8, frame);
        EXPECT_TRUE(copies[0] == frame);
    }
    std::vector<std::thread> threads;
    for (int i = 0; i < 2; ++i) {
        threads.emplace_back([copy = copies[0]] {
            for (int round = 0; round < 1000; ++round) auto const another = copy;
        });
    }
    for (std::thread& thread : threads) thread.join();
    copies.resize(1);

    auto const& frame = copies[0];
    EXPECT_EQ(frame.GetColourFormat(), media::ColourFormat::Nv12);
    EXPECT_EQ(frame.GetSize(), (Size{33, 17}));
    EXPECT_EQ(frame.GetTimestamp(), timestamp);
    EXPECT_GE(frame.GetPlane(1).GetStride(), 34);
    EXPECT_EQ(frame.GetPlane(1).GetSize(),
              static_cast<unsigned long>(9 * frame.GetPlane(1).GetStride()));
    auto const* const luminance = static_cast<std::uint8_t const*>(frame.GetPlane(0).GetBuffer());
    EXPECT_EQ(luminance[16 * frame.GetPlane(0).GetStride() + 32], Luminance(32, 16, 2));
}

}  // namespace
}  // namespace kes::track::video
