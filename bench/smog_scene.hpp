// What the appearance model is timed on: coloured pictures that are all foreground, and a model
// that knows them, beside its plain twin.
#pragma once

#include <cstddef>
#include <vector>

#include <kes/algorithm/tracking_base/smog.hpp>
#include <kes/geometry/dimension.hpp>
#include <kes/geometry/point.hpp>
#include <kes/geometry/rectangle.hpp>
#include <kes/media/colour_format.hpp>
#include <kes/media/video/frame.hpp>

#include "support/colour_picture.hpp"
#include "support/generated.hpp"
#include "support/mask.hpp"
#include "support/plain_smog.hpp"

namespace kes::bench {

struct SmogScene {
    explicit SmogScene(media::ColourFormat format)
        : pictures(PictureCount, {format, 2 * Cells.width, 2 * Cells.height}),
          mask(Cells.width, Cells.height, ~0U) {
        test::Generator random(1);
        for (test::ColourPicture& picture : pictures) {
            for (unsigned char& byte : picture.plane0) {
                byte = static_cast<unsigned char>(30 + random.Below(180));
            }
            for (unsigned char& byte : picture.plane1) {
                byte = static_cast<unsigned char>(90 + random.Below(80));
            }
            frames.push_back(picture.View());
        }
        for (int i = 0; i < 10; ++i) {
            smog.Update(Blob, mask, frames[0]);
            plain.Update(Blob, mask, frames[0]);
        }
    }

    media::video::FrameBase<void const> const& Frame(std::size_t i) const {
        return frames[i % PictureCount];
    }
    algorithm::tracking_base::appearance::BlobScore Search(std::size_t i) const {
        return smog.PartitionAndScoreBlob(Crowd, 0, mask, Frame(i), Predicted, Expected);
    }
    algorithm::tracking_base::appearance::BlobScore SearchPlainly(std::size_t i) const {
        return plain.PartitionAndScoreBlob(Crowd, 0, mask, Frame(i), Predicted, Expected);
    }

    // Enough that a processor cannot learn by heart which of their samples fit.
    static constexpr std::size_t PictureCount = 32;
    static constexpr geometry::Dimension<unsigned int, 2> Cells{200, 300};
    static constexpr geometry::Rectangle<int> Blob{20, 20, 60, 140};  // 1200 samples
    static constexpr geometry::Rectangle<int> Crowd{0, 0, 200, 300};  // searched whole
    static constexpr geometry::Point<float, 2> Predicted{100, 150};
    static constexpr geometry::Dimension<float, 2> Expected{100, 150};

    std::vector<test::ColourPicture> pictures;
    std::vector<media::video::FrameBase<void const>> frames;  // views of the pictures
    test::Mask mask;
    algorithm::tracking_base::appearance::Smog smog;
    test::PlainSmog plain;
};

}  // namespace kes::bench
