// Random pictures, masks and blobs for the appearance model, shaped to reach its branches.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include <kes/algorithm/bit_mask.hpp>
#include <kes/geometry/rectangle.hpp>
#include <kes/media/colour_format.hpp>

#include "support/colour_picture.hpp"
#include "support/generated.hpp"
#include "support/mask.hpp"

namespace kes::test {

constexpr std::array<media::ColourFormat, 4> ColourFormats{
    media::ColourFormat::Rgb, media::ColourFormat::Bgr, media::ColourFormat::Yuv,
    media::ColourFormat::Nv12};

class SmogCases {
public:
    explicit SmogCases(std::uint64_t seed) : random(seed) {}

    // first to last, both among them.
    int Uniform(int first, int last) {
        return first + static_cast<int>(random.Below(static_cast<std::uint32_t>(last - first + 1)));
    }

    // In turn: noise, a few flat patches, nearly black, black and full channels. A model learns
    // patches well, and the darkest sums are where the shares of a colour are the touchiest.
    void Paint(ColourPicture& picture) {
        int const kind = Uniform(0, 3);
        auto const paint = [&](std::vector<unsigned char>& bytes) {
            int const patch = Uniform(1, 64);
            for (std::size_t i = 0; i < bytes.size(); ++i) {
                switch (kind) {
                    case 0: bytes[i] = Byte(0, 255); break;
                    case 1:
                        bytes[i] = static_cast<unsigned char>(
                            i / 3 % static_cast<std::size_t>(patch) < 7 ? 40 + i % 3 * 60
                                                                        : 200 - i % 3 * 30);
                        break;
                    case 2: bytes[i] = Byte(0, 2); break;
                    case 3: bytes[i] = Byte(0, 1) == 0 ? 0 : 255; break;
                }
            }
        };
        paint(picture.plane0);
        paint(picture.plane1);
        // Chroma close to none leaves dark luma dark.
        if (kind == 2 && picture.format == media::ColourFormat::Nv12) {
            for (unsigned char& byte : picture.plane1) byte = Byte(126, 130);
        }
        if (kind == 2 && picture.format == media::ColourFormat::Yuv) {
            for (std::size_t y = 0; y < picture.height; ++y) {
                for (std::size_t x = 0; x < picture.width; ++x) {
                    // Drawn in braces, whose order is the same for every compiler.
                    auto const [luma, u, v] =
                        std::array{Byte(0, 2), Byte(126, 130), Byte(126, 130)};
                    picture.SetPacked(x, y, luma, u, v);
                }
            }
        }
    }

    // From empty to full, with padding bits set at random.
    Mask AnyMask(unsigned int width, unsigned int height) {
        int const density = std::clamp(Uniform(-20, 120), 0, 100);
        Mask mask(width, height, density == 100 ? ~0U : 0U);
        if (density == 0 || density == 100) return mask;
        for (std::uint32_t& word : mask.words) {
            for (int bit = 0; bit < 32; ++bit) {
                word = word << 1 | static_cast<std::uint32_t>(Uniform(1, 100) <= density);
            }
        }
        return mask;
    }

    // Anywhere around the mask, over its edges, outside it, sometimes reversed or empty.
    geometry::Rectangle<int> Blob(algorithm::BitMask const& mask) {
        int const w = static_cast<int>(mask.width);
        int const h = static_cast<int>(mask.height);
        geometry::Rectangle<int> blob{Uniform(-w / 2 - 2, w), Uniform(-h / 2 - 2, h), 0, 0};
        blob.right = blob.left + Uniform(0, w + 8);
        blob.bottom = blob.top + Uniform(0, h + 8);
        if (Uniform(0, 19) == 0) std::swap(blob.left, blob.right);
        if (Uniform(0, 19) == 0) std::swap(blob.top, blob.bottom);
        return blob;
    }

    // Inside the mask, corners in order, not empty. The mask has a cell.
    geometry::Rectangle<int> BlobInside(algorithm::BitMask const& mask) {
        int const w = static_cast<int>(mask.width);
        int const h = static_cast<int>(mask.height);
        int const left = Uniform(0, w - 1);
        int const top = Uniform(0, h - 1);
        return {left, top, Uniform(left + 1, w), Uniform(top + 1, h)};
    }

private:
    unsigned char Byte(int first, int last) {
        return static_cast<unsigned char>(Uniform(first, last));
    }

    Generator random;
};

}  // namespace kes::test
