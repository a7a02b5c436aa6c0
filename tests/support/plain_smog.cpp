#include "support/plain_smog.hpp"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <sstream>
#include <stdexcept>

#include <kes/media/colour_format.hpp>

namespace kes::test {
namespace {

using algorithm::BitMask;
using media::ColourFormat;

int Clamp(int value) { return value < 0 ? 0 : value > 255 ? 255 : value; }

bool Bit(BitMask const& mask, int x, int y) {
    std::size_t const wordsPerRow = (mask.width + 31) / 32;
    std::uint32_t const word =
        mask.words[static_cast<std::size_t>(y) * wordsPerRow + static_cast<std::size_t>(x) / 32];
    return (word >> (31 - x % 32) & 1) == 1;
}

// In 32 bits, which wrap.
unsigned int Squared(int value, int mean) {
    unsigned int const distance =
        static_cast<unsigned int>(value) - static_cast<unsigned int>(mean);
    return distance * distance;
}

bool InBand(int value, int mean, unsigned int variance) { return Squared(value, mean) < variance; }

bool ColourFits(PlainSmog const& smog, std::size_t k, std::array<int, 3> const& colour) {
    return InBand(colour[0], smog.means[k][0], smog.variances[k][0]) &&
           InBand(colour[1], smog.means[k][1], smog.variances[k][1]) &&
           InBand(colour[2], smog.means[k][2], smog.variances[k][2]);
}

int Truncate16(float value) { return static_cast<int>(value * 65536.0F); }

}  // namespace

std::array<int, 3> PlainColour(media::video::FrameBase<void const> const& frame, int cellX,
                               int cellY) {
    long const stride = frame.GetPlane(0).GetStride();
    auto const* const first = static_cast<unsigned char const*>(frame.GetPlane(0).GetBuffer());
    bool const isNv12 = frame.GetColourFormat() == ColourFormat::Nv12;
    int const pixelBytes = isNv12 ? 1 : 3;
    auto const mean = [&](int byte) {
        int sum = 0;
        for (int y = 2 * cellY; y < 2 * cellY + 2; ++y) {
            for (int x = 2 * cellX; x < 2 * cellX + 2; ++x) {
                sum += first[y * stride + x * pixelBytes + byte];
            }
        }
        return sum / 4;
    };
    std::array<int, 3> value{};
    if (isNv12) {
        auto const* const chroma =
            static_cast<unsigned char const*>(frame.GetPlane(1).GetBuffer()) + cellY * stride;
        value = {mean(0), chroma[2 * cellX], chroma[2 * cellX + 1]};
    } else {
        value = {mean(0), mean(1), mean(2)};
    }
    if (frame.GetColourFormat() == ColourFormat::Bgr) std::swap(value[0], value[2]);
    if (isNv12 || frame.GetColourFormat() == ColourFormat::Yuv) {
        int const y = value[0] * 2097152;
        int const u = value[1] - 128;
        int const v = value[2] - 128;
        auto const scale = [](int fixed) { return Clamp(fixed >> 21); };
        value = {scale(y + 2685046 * v), scale(y - 450510 * u - 798155 * v),
                 scale(y + 4462697 * u)};
    }
    int const sum = value[0] + value[1] + value[2];
    if (sum == 0) return {0, 0, 0};
    return {value[0] * 256 / sum, value[1] * 256 / sum, (sum - 1) / 3};
}

std::vector<std::array<int, 4>> PlainSamples(geometry::Rectangle<int> const& blob,
                                             BitMask const& mask,
                                             media::video::FrameBase<void const> const& frame) {
    int const left = std::max(0, blob.left);
    int const right = std::max(left, std::min(static_cast<int>(mask.width), blob.right));
    int const top = std::max(0, blob.top);
    int const bottom = std::max(top, std::min(static_cast<int>(mask.height), blob.bottom));
    int const w = right - left;
    int const h = bottom - top;
    std::vector<std::array<int, 4>> samples;
    samples.reserve(1200);
    if (w == 0 || h == 0) return samples;

    unsigned int const blobHeight =
        static_cast<unsigned int>(blob.bottom) - static_cast<unsigned int>(blob.top);
    int const rows = std::min(h, 60);
    int const columns = std::min(w, 20);
    int const rowStep = h * 65536 / rows;
    int const columnStep = w * 65536 / columns;
    unsigned int height16 = (static_cast<unsigned int>(top) - static_cast<unsigned int>(blob.top)) *
                            65536U / blobHeight;
    for (int k = 0; k < rows; ++k) {
        int const y = top + k * rowStep / 65536;
        for (int j = 0; j < columns; ++j) {
            int const x = left + j * columnStep / 65536;
            if (!Bit(mask, x, y)) continue;
            std::array<int, 3> const colour = PlainColour(frame, x, y);
            samples.push_back({colour[0], colour[1], colour[2], static_cast<int>(height16 / 256)});
        }
        height16 += static_cast<unsigned int>(rowStep) / blobHeight;
    }
    return samples;
}

PlainSmog::PlainSmog() {
    for (int k = 0; k < 8; ++k) {
        means[static_cast<std::size_t>(k)] = {128, 128, 128, 16 + 32 * k};
        variances[static_cast<std::size_t>(k)] = {128 * 128, 128 * 128, 128 * 128, 32 * 32};
    }
}

void PlainSmog::Update(Rectangle const& blob, BitMask const& mask, Frame const& frame) {
    auto const samples = PlainSamples(blob, mask, frame);
    if (samples.empty()) return;

    std::array<std::vector<std::array<int, 4>>, 8> assigned;
    for (auto const& sample : samples) {
        std::size_t nearest = 0;
        int best = 0;
        for (std::size_t k = 0; k < 8; ++k) {
            unsigned int distance = 0;
            for (std::size_t c = 0; c < 4; ++c) distance += Squared(sample[c], means[k][c]);
            if (k == 0 || static_cast<int>(distance) < best) {
                best = static_cast<int>(distance);
                nearest = k;
            }
        }
        assigned[nearest].push_back(sample);
    }
    unsigned int const a = untrained ? 256 : 25;
    unsigned int const b = 256 - a;
    for (std::size_t k = 0; k < 8; ++k) {
        unsigned int const n = static_cast<unsigned int>(assigned[k].size());
        for (std::size_t c = 0; c < 4; ++c) {
            if (n > 0) {
                unsigned int sum = 0;
                unsigned int squares = 0;
                for (auto const& sample : assigned[k]) {
                    sum += static_cast<unsigned int>(sample[c]);
                    squares += static_cast<unsigned int>(sample[c] * sample[c]);
                }
                unsigned int const mean = sum / n;
                unsigned int const accepted = (squares / n - mean * mean) * 576 / 256;
                means[k][c] =
                    static_cast<int>((b * static_cast<unsigned int>(means[k][c]) + a * mean) / 256);
                variances[k][c] = (b * variances[k][c] + a * accepted) / 256;
            }
            variances[k][c] = std::max(variances[k][c], 1U);
        }
    }
    untrained = false;
}

float PlainSmog::ScoreBlob(Rectangle const& blob, BitMask const& mask, Frame const& frame) const {
    auto const samples = PlainSamples(blob, mask, frame);
    if (samples.empty()) return 0.0F;
    int fitting = 0;
    for (auto const& sample : samples) {
        for (std::size_t k = 0; k < 8; ++k) {
            if (ColourFits(*this, k, {sample[0], sample[1], sample[2]}) &&
                InBand(sample[3], means[k][3], variances[k][3])) {
                ++fitting;
                break;
            }
        }
    }
    return std::min(static_cast<float>(fitting) / static_cast<float>(samples.size()), 1.0F);
}

std::array<geometry::Rectangle<unsigned int>, 8> PlainSmog::Sections(int width, int height) const {
    std::array<geometry::Rectangle<unsigned int>, 8> sections{};
    for (std::size_t k = 0; k < 8; ++k) {
        long const centre =
            static_cast<long>(std::floor(static_cast<double>(means[k][3]) * height / 256.0));
        float const root = ::sqrtf(static_cast<float>(variances[k][3]) / 65536.0F);
        long const half = static_cast<long>(static_cast<float>(height) * root);
        long const a = std::min(std::max(centre - half, 0L), static_cast<long>(height));
        long const b = std::min(std::max(centre + half, 0L), static_cast<long>(height));
        sections[k] = {0, static_cast<unsigned int>(std::min(a, b)),
                       static_cast<unsigned int>(width), static_cast<unsigned int>(std::max(a, b))};
    }
    return sections;
}

PlainSmog::Images PlainSmog::Integrate(Rectangle const& area, BitMask const& mask,
                                       Frame const& frame) const {
    int const w = area.GetWidth();
    int const h = area.GetHeight();
    std::size_t const cells = static_cast<std::size_t>(w + 1) * static_cast<std::size_t>(h + 1);
    if (frame.GetColourFormat() != ColourFormat::Nv12 && cells > 65535) {
        throw std::invalid_argument("Search rectangle is too large");
    }
    Images images;
    for (Image& image : images.fits) image.resize(cells);
    images.mask.resize(cells);
    for (int y = 0; y < h; ++y) {
        std::array<std::uint16_t, 9> inRow{};
        for (int x = 0; x < w; ++x) {
            if (Bit(mask, area.left + x, area.top + y)) {
                std::array<int, 3> const colour = PlainColour(frame, area.left + x, area.top + y);
                for (std::size_t k = 0; k < 8; ++k) {
                    if (ColourFits(*this, k, colour)) ++inRow[k];
                }
                ++inRow[8];
            }
            std::size_t const above = static_cast<std::size_t>(y * (w + 1) + x + 1);
            std::size_t const here = above + static_cast<std::size_t>(w + 1);
            for (std::size_t k = 0; k < 8; ++k) {
                images.fits[k][here] = static_cast<std::uint16_t>(images.fits[k][above] + inRow[k]);
            }
            images.mask[here] = static_cast<std::uint16_t>(images.mask[above] + inRow[8]);
        }
    }
    return images;
}

PlainSmog::BlobScore PlainSmog::PartitionAndScoreBlob(
    Rectangle const& blob, unsigned int tag, BitMask const& mask, Frame const& frame,
    geometry::Point<float, 2> const& centre, geometry::Dimension<float, 2> const& size) const {
    placementsAcross = placementsDown = 0;
    if (blob.right == blob.left || blob.bottom == blob.top) return {};
    float const blobWidth = static_cast<float>(blob.right - blob.left);
    float const blobHeight = static_cast<float>(blob.bottom - blob.top);
    bool const larger =
        blobWidth > size.width || (blobWidth == size.width && blobHeight > size.height);
    if (!larger) {
        return {ScoreBlob(blob, mask, frame),
                {static_cast<float>(blob.left + std::abs(blob.right - blob.left) / 2),
                 static_cast<float>(blob.top + std::abs(blob.bottom - blob.top) / 2)},
                {blobWidth, blobHeight},
                static_cast<float>(tag)};
    }

    int const x1 = static_cast<int>(centre.x - size.width);
    int const x2 = static_cast<int>(centre.x + size.width);
    int const y1 = static_cast<int>(centre.y - size.height);
    int const y2 = static_cast<int>(centre.y + size.height);
    int const left = std::max(std::min(x1, x2), blob.left);
    int const right = std::max(std::min(std::max(x1, x2), blob.right), left);
    int const top = std::max(std::min(y1, y2), blob.top);
    int const bottom = std::max(std::min(std::max(y1, y2), blob.bottom), top);
    int const w16 = Truncate16(size.width);
    int const h16 = Truncate16(size.height);
    int const xo = left * 65536 + w16 / 2;
    int const yo = top * 65536 + h16 / 2;
    int const dxp = Truncate16(centre.x) - xo;
    int const dyp = Truncate16(centre.y) - yo;
    auto const place = [](int cells, float expected, int& count, int& step) {
        float const room = static_cast<float>(cells) - expected;
        count = room < 0.0F ? 0 : room < 10.0F ? static_cast<int>(room) : 10;
        step = room < 10.0F ? 65536 : Truncate16(room) / 9;
    };
    int nx = 0;
    int ny = 0;
    int xs = 0;
    int ys = 0;
    place(right - left, size.width, nx, xs);
    place(bottom - top, size.height, ny, ys);
    placementsAcross = nx;
    placementsDown = ny;

    bool const isTried = nx > 0 && ny > 0;
    Images const images = isTried ? Integrate({left, top, right, bottom}, mask, frame) : Images();
    auto const sections = Sections(w16, h16);
    unsigned int const penalty = isTried ? 67108864U / (mask.width + mask.height) : 0;
    auto const boxSum = [&](Image const& image, int ox, int oy,
                            geometry::Rectangle<unsigned int> const& box) -> std::uint16_t {
        auto const corner = [&](unsigned int x, unsigned int y) {
            std::size_t const column = (static_cast<unsigned int>(ox) + x) >> 16;
            std::size_t const row = (static_cast<unsigned int>(oy) + y) >> 16;
            return image.at(row * static_cast<std::size_t>(right - left + 1) + column);
        };
        return static_cast<std::uint16_t>(corner(box.right, box.bottom) +
                                          corner(box.left, box.top) - corner(box.right, box.top) -
                                          corner(box.left, box.bottom));
    };
    std::uint64_t best = 0;
    int bestX = 0;
    int bestY = 0;
    float bestColour = 0.0F;
    for (int j = 0; j < ny; ++j) {
        for (int i = 0; i < nx; ++i) {
            int const ox = i * xs;
            int const oy = j * ys;
            std::uint64_t const total =
                boxSum(images.mask, ox, oy,
                       {0, 0, static_cast<unsigned int>(w16), static_cast<unsigned int>(h16)});
            std::uint32_t fits = 0;
            for (std::size_t k = 0; k < 8; ++k) {
                fits += boxSum(images.fits[k], ox, oy, sections[k]);
            }
            std::uint64_t const colour = total == 0 ? 0 : std::uint64_t{fits} * 67108864U / total;
            unsigned int const distance =
                static_cast<unsigned int>(std::abs(ox - dxp) + std::abs(oy - dyp)) >> 16;
            std::uint64_t const value = 67108864U - distance * penalty + colour;
            if (value > best) {
                best = value;
                bestX = ox;
                bestY = oy;
                bestColour = static_cast<float>(colour) / 67108864.0F;
            }
        }
    }
    return {std::min(bestColour, 1.0F),
            {static_cast<float>(xo + bestX) / 65536.0F, static_cast<float>(yo + bestY) / 65536.0F},
            size,
            0.0F};
}

std::string PlainSmog::Text() const {
    std::ostringstream out;
    auto const array = [&out](auto const& values) {
        out << '[' << values[0] << ',' << values[1] << ',' << values[2] << ',' << values[3] << ']';
    };
    out << "{\"gaussians\":[";
    for (std::size_t k = 0; k < 8; ++k) {
        out << (k == 0 ? "" : ",") << "{\"means\":";
        array(means[k]);
        out << ",\"variances\":";
        array(variances[k]);
        out << '}';
    }
    out << "]}";
    return out.str();
}

}  // namespace kes::test
