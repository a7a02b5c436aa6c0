#include <kes/media/video/frame.hpp>

#include <cstdint>
#include <functional>
#include <new>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

using kes::media::ColourFormat;
using kes::media::video::Allocate;
using kes::media::video::FrameBase;
using kes::media::video::frame::PlaneBase;
using kes::media::video::frame::Rotation;
using Nanoseconds = std::chrono::nanoseconds;

template <typename T>
typename FrameBase<T>::TimePoint At(long nanoseconds) {
    return typename FrameBase<T>::TimePoint(Nanoseconds(nanoseconds));
}

// Frames and planes behave alike for writable and read-only pixels.
template <typename T>
class PlaneBaseTest : public testing::Test {};
template <typename T>
class FrameBaseTest : public testing::Test {
public:
    using Frame = FrameBase<T>;
    using Plane = PlaneBase<T>;
    using Planes = typename Frame::Planes;

    static Planes OnePlane(unsigned long index = 0) {
        static unsigned char pixels[64];
        Planes planes{};
        planes[index] = Plane(64, pixels, 8);
        return planes;
    }

    static Frame View(Planes const& planes = OnePlane()) {
        return Frame(planes, ColourFormat::Grey, 8, 8, At<T>(40), Rotation::Clockwise90);
    }

    struct Calls {
        int ref = 0;
        int unref = 0;
    };

    static Frame Counted(Calls& calls) {
        return Frame(
            OnePlane(), ColourFormat::Grey, {8, 8}, At<T>(40), Rotation::Clockwise90,
            [&calls] { ++calls.ref; }, [&calls] { ++calls.unref; });
    }
};
using PixelTypes = testing::Types<void, void const>;
TYPED_TEST_SUITE(PlaneBaseTest, PixelTypes);
TYPED_TEST_SUITE(FrameBaseTest, PixelTypes);

std::string TextOf(auto const& value) {
    std::ostringstream out;
    out << value;
    return out.str();
}

TYPED_TEST(PlaneBaseTest, IsAPlainValue) {
    using Plane = PlaneBase<TypeParam>;
    unsigned char pixels[4];
    EXPECT_TRUE(Plane(1, pixels, 0)) << "the stride is not examined";
    EXPECT_FALSE(Plane(4, nullptr, 1));
    EXPECT_FALSE(Plane(0, pixels, 1));

    Plane a(4, pixels, -2);
    Plane b;
    EXPECT_NE(a, Plane(5, pixels, -2));
    EXPECT_NE(a, Plane(4, pixels + 1, -2));
    EXPECT_NE(a, Plane(4, pixels, 2));
    swap(a, b);
    EXPECT_EQ(a, Plane());
    EXPECT_EQ(b, Plane(4, pixels, -2));
}

TYPED_TEST(PlaneBaseTest, WritesItsAddressAndShape) {
    using Plane = PlaneBase<TypeParam>;
    auto* const address = reinterpret_cast<unsigned char*>(0x40010);
    EXPECT_EQ(TextOf(Plane(2400, address, 48)), R"({"size":2400,"buffer":"0x40010","stride":48})");
    EXPECT_EQ(TextOf(Plane(2400, address, -48)),
              R"({"size":2400,"buffer":"0x40010","stride":-48})");
    EXPECT_EQ(TextOf(Plane()), R"({"size":0,"buffer":"0","stride":0})");
}

TYPED_TEST(FrameBaseTest, EqualsWhatViewsTheSameMemoryAlike) {
    using Frame = FrameBase<TypeParam>;
    typename FrameBaseTest<TypeParam>::Calls calls;
    auto const planes = this->OnePlane();
    Frame const frame = this->View();
    EXPECT_EQ(frame, this->Counted(calls)) << "whoever manages the memory";

    auto strideOfPlane3 = planes;
    strideOfPlane3[3] = {0, nullptr, 1};
    auto const grey = ColourFormat::Grey;
    auto const quarter = Rotation::Clockwise90;
    auto const then = At<TypeParam>(40);
    EXPECT_NE(frame, Frame(strideOfPlane3, grey, 8, 8, then, quarter));
    EXPECT_NE(frame, Frame(planes, ColourFormat::Nv12, 8, 8, then, quarter));
    EXPECT_NE(frame, Frame(planes, grey, 9, 8, then, quarter));
    EXPECT_NE(frame, Frame(planes, grey, 8, 9, then, quarter));
    EXPECT_NE(frame, Frame(planes, grey, 8, 8, At<TypeParam>(41), quarter));
    EXPECT_NE(frame, Frame(planes, grey, 8, 8, then, Rotation::None));
}

TYPED_TEST(FrameBaseTest, WantsBothFunctionsOrNeither) {
    using Frame = FrameBase<TypeParam>;
    int calls = 0;
    std::function<void()> const count = [&calls] { ++calls; };
    using Functions = std::pair<std::function<void()>, std::function<void()>>;
    for (auto const& [ref, unref] : {Functions{count, {}}, Functions{{}, count}}) {
        try {
            Frame const frame(this->OnePlane(), ColourFormat::Grey, 8, 8, {}, Rotation::None, ref,
                              unref);
            FAIL() << "accepted one function";
        } catch (std::invalid_argument const& error) {
            EXPECT_STREQ(error.what(),
                         "Must provide both a reference and unreference function, or neither");
        }
    }
    EXPECT_EQ(calls, 0);
}

TYPED_TEST(FrameBaseTest, CountsConstructionsCopiesAndDestructionsOnly) {
    using Frame = FrameBase<TypeParam>;
    typename FrameBaseTest<TypeParam>::Calls calls;
    {
        Frame a = this->Counted(calls);
        EXPECT_EQ(calls.ref, 1);
        Frame b(a);
        EXPECT_EQ(calls.ref, 2);
        Frame c(std::move(b));
        EXPECT_FALSE(b.GetRef()) << "a moved-from frame is a view";
        EXPECT_EQ(b, c) << "of the same memory";
        swap(a, c);
        EXPECT_EQ(calls.ref, 2);
        EXPECT_EQ(calls.unref, 0);
        Frame const& self = a;
        a = self;
        EXPECT_EQ(calls.ref, 3);
        EXPECT_EQ(calls.unref, 1);
    }
    EXPECT_EQ(calls.ref, 3);
    EXPECT_EQ(calls.unref, 3);
}

struct Layout {
    char const* what;
    ColourFormat format;
    unsigned width;
    unsigned height;
    unsigned long size0;
    long stride0;
    unsigned long size1;
    long stride1;
};

TYPED_TEST(FrameBaseTest, IsAllocatedInOneBlockByFormat) {
    using Plane = PlaneBase<TypeParam>;
    for (Layout const& c : {
             Layout{"grey", ColourFormat::Grey, 641, 480, 309120, 644, 0, 0},
             Layout{"rgb", ColourFormat::Rgb, 5, 3, 48, 16, 0, 0},
             Layout{"bgr", ColourFormat::Bgr, 5, 3, 48, 16, 0, 0},
             Layout{"yuv", ColourFormat::Yuv, 5, 3, 48, 16, 0, 0},
             Layout{"odd nv12", ColourFormat::Nv12, 5, 3, 24, 8, 16, 8},
             Layout{"nv12", ColourFormat::Nv12, 640, 480, 307200, 640, 153600, 640},
             Layout{"no width", ColourFormat::Nv12, 0, 3, 0, 0, 0, 0},
             Layout{"no height", ColourFormat::Rgb, 5, 0, 0, 16, 0, 0},
         }) {
        SCOPED_TRACE(c.what);
        FrameBase<TypeParam> const frame(c.format, {c.width, c.height}, {}, Rotation::None);
        EXPECT_EQ(static_cast<bool>(frame), c.width != 0 && c.height != 0);

        Plane const plane0 = frame.GetPlane(0);
        auto const address = reinterpret_cast<std::uintptr_t>(plane0.GetBuffer());
        EXPECT_EQ(address % 16, 0U);
        EXPECT_EQ(plane0.GetSize(), c.size0);
        EXPECT_EQ(plane0.GetStride(), c.stride0);
        Plane const plane1 = frame.GetPlane(1);
        EXPECT_EQ(plane1.GetSize(), c.size1);
        EXPECT_EQ(plane1.GetStride(), c.stride1);
        if (c.format == ColourFormat::Nv12) {
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(plane1.GetBuffer()), address + c.size0);
        } else {
            EXPECT_EQ(plane1, Plane());
        }
        EXPECT_EQ(frame.GetPlane(2), Plane());
        EXPECT_EQ(frame.GetPlane(3), Plane());

        // The count stands in the block's first four bytes.
        auto const* const count = reinterpret_cast<std::uint32_t const*>(address - 16);
        EXPECT_EQ(*count, 1U);
        {
            auto const copy = frame;
            EXPECT_EQ(*count, 2U);
        }
        EXPECT_EQ(*count, 1U);
    }
}

TEST(Allocate, RefusesUnknownFormats) {
    for (int format : {-1, 5, 1000}) {
        try {
            // Too large for memory too: the format is looked at first.
            Allocate<void>(static_cast<ColourFormat>(format), {~0U, ~0U}, {}, Rotation::None);
            FAIL() << "accepted format " << format;
        } catch (std::invalid_argument const& error) {
            EXPECT_STREQ(error.what(), "Unsupported colour format");
        }
    }
}

TEST(Allocate, NeverGivesAShortBlock) {
    struct Case {
        char const* what;
        ColourFormat format;
        unsigned width;
        unsigned height;
    };
    for (Case const& c : {
             Case{"a plane of 2^65 bytes", ColourFormat::Rgb, 0xAAAAAAAC, ~0U},
             Case{"a plane that fits 64 bits and no machine", ColourFormat::Grey, ~0U - 3, ~0U},
             Case{"two planes whose sum wraps to 53752", ColourFormat::Nv12, 0xFFFB4F4C,
                  0xAAADCB31},
         }) {
        EXPECT_THROW(Allocate<void>(c.format, {c.width, c.height}, {}, Rotation::None),
                     std::bad_alloc)
            << c.what;
    }
}

TYPED_TEST(FrameBaseTest, WritesItselfAsJson) {
    using Frame = FrameBase<TypeParam>;
    typename Frame::Planes planes{};
    planes[0] = {307200, reinterpret_cast<unsigned char*>(0x40010), 640};
    planes[1] = {153600, reinterpret_cast<unsigned char*>(0x8b010), 640};
    Frame const frame(planes, ColourFormat::Nv12, 640, 480, At<TypeParam>(40'000'000),
                      Rotation::Clockwise270);
    std::string const text = TextOf(frame);
    EXPECT_EQ(text, R"({"planes":[{"size":307200,"buffer":"0x40010","stride":640},)"
                    R"({"size":153600,"buffer":"0x8b010","stride":640},)"
                    R"({"size":0,"buffer":"0","stride":0},{"size":0,"buffer":"0","stride":0}],)"
                    R"("colour_format":"nv12","width":640,"height":480,)"
                    R"("timestamp":"1970-01-01T00:00:00.040000000Z","rotation":"270"})");
    EXPECT_EQ(nlohmann::json::parse(text)["planes"][1]["size"], 153600);
    // What the text does not say.
    EXPECT_EQ(frame.GetSize(), (kes::geometry::Dimension<unsigned, 2>{640, 480}));
    EXPECT_EQ(frame.GetIteratorLength(), 480U);
    EXPECT_EQ(frame.GetPlane(1), planes[1]);
}

}  // namespace
