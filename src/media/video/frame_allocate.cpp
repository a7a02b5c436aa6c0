// One block holds the reference count and every plane:
//
//   byte 0      4               16                  16 + size of plane 0
//   | count | not used | plane 0 ...      | plane 1 ... (Nv12)  |
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <stdexcept>
#include <utility>

#include <kes/export.hpp>
#include <kes/geometry/dimension.hpp>
#include <kes/media/colour_format.hpp>
#include <kes/media/video/frame.hpp>
#include <kes/media/video/frame/plane.hpp>
#include <kes/media/video/frame/rotation.hpp>

namespace kes::media::video {
namespace {

using ReferenceCount = std::atomic<std::uint32_t>;

constexpr std::size_t BlockAlignment = 16;
constexpr std::uint64_t PixelOffset = 16;  // from the block's start; keeps plane 0 aligned
static_assert(sizeof(ReferenceCount) == 4);

// Each holds one pointer, which std::function keeps without allocating: once there is a block,
// making and copying its frames cannot fail.
struct AddReference {
    ReferenceCount* count;
    void operator()() const { count->fetch_add(1); }
};

struct DropReference {
    ReferenceCount* count;  // at the block's start
    void operator()() const {
        if (count->fetch_sub(1) == 1) std::free(count);
    }
};

struct PlaneLayout {
    std::uint64_t size;
    std::uint64_t stride;
};

struct BlockLayout {
    PlaneLayout plane0;
    PlaneLayout plane1;
};

constexpr std::uint64_t AlignTo4(std::uint64_t bytes) { return (bytes + 3) & ~std::uint64_t{3}; }

PlaneLayout LayOutPlane(std::uint64_t rowBytes, std::uint64_t rows) {
    std::uint64_t const stride = AlignTo4(rowBytes);
    std::uint64_t size = 0;
    if (__builtin_mul_overflow(rows, stride, &size)) throw std::bad_alloc();
    return {size, stride};
}

BlockLayout LayOutBlock(ColourFormat format, geometry::Dimension<unsigned int, 2> frameSize) {
    std::uint32_t const width = frameSize.width;
    std::uint32_t const height = frameSize.height;
    switch (format) {
        case ColourFormat::Grey: return {LayOutPlane(width, height), {}};
        case ColourFormat::Rgb:
        case ColourFormat::Bgr:
        case ColourFormat::Yuv: return {LayOutPlane(std::uint64_t{width} * 3, height), {}};
        case ColourFormat::Nv12: {
            // In 32 bits: the largest width and height wrap to chroma planes of no size.
            std::uint32_t const chromaRowBytes = (width + 1) & ~std::uint32_t{1};
            std::uint32_t const chromaRows = (height + 1) >> 1;
            return {LayOutPlane(width, height), LayOutPlane(chromaRowBytes, chromaRows)};
        }
    }
    throw std::invalid_argument("Unsupported colour format");
}

unsigned char* AllocateBlock(BlockLayout const& layout) {
    std::uint64_t length = PixelOffset;
    if (__builtin_add_overflow(length, layout.plane0.size, &length) ||
        __builtin_add_overflow(length, layout.plane1.size, &length)) {
        throw std::bad_alloc();
    }
    void* block = nullptr;
    if (posix_memalign(&block, BlockAlignment, length) != 0) throw std::bad_alloc();
    return static_cast<unsigned char*>(block);
}

template <typename T>
frame::PlaneBase<T> PlaneAt(unsigned char* first, PlaneLayout const& layout) {
    return {layout.size, first, static_cast<long>(layout.stride)};
}

}  // namespace

template <typename T>
FrameBase<T> Allocate(ColourFormat colourFormat, geometry::Dimension<unsigned int, 2> size,
                      typename FrameBase<T>::TimePoint timestamp, frame::Rotation rotation) {
    BlockLayout const layout = LayOutBlock(colourFormat, size);
    unsigned char* const block = AllocateBlock(layout);
    auto* const count = new (block) ReferenceCount;
    count->store(0);  // sequentially consistent, as every later change
    unsigned char* const pixels = block + PixelOffset;

    typename FrameBase<T>::Planes planes{};
    planes[0] = PlaneAt<T>(pixels, layout.plane0);
    if (colourFormat == ColourFormat::Nv12) {
        planes[1] = PlaneAt<T>(pixels + layout.plane0.size, layout.plane1);
    }

    return FrameBase<T>(planes, colourFormat, size, timestamp, rotation, AddReference{count},
                        DropReference{count});
}

template KES_EXPORT FrameBase<void> Allocate(ColourFormat, geometry::Dimension<unsigned int, 2>,
                                             FrameBase<void>::TimePoint, frame::Rotation);
template KES_EXPORT FrameBase<void const> Allocate(ColourFormat,
                                                   geometry::Dimension<unsigned int, 2>,
                                                   FrameBase<void const>::TimePoint,
                                                   frame::Rotation);

}  // namespace kes::media::video
