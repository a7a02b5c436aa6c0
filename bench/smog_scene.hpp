// What the appearance model is timed on: a coloured picture that is all foreground, and a model
// that knows it, beside its plain twin.
#pragma once

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
        : picture(format, 2 * Cells[0], 2 * Cells[1]), mask(Cells[0], Cells[1], ~0U) {
        test::Generator random(1);
        for (unsigned char& byte : picture.plane0) {
            byte = static_cast<unsigned char>(30 + random.Below(180));
        }
        for (unsigned char& byte : picture.plane1) {
            byte = static_cast<unsigned char>(90 + random.Below(80));
        }
        for (int i = 0; i < 10; ++i) {
            smog.Update(Blob, mask, picture.View());
            plain.Update(Blob, mask, picture.View());
        }
    }

    algorithm::tracking_base::appearance::BlobScore Search() const {
        return smog.PartitionAndScoreBlob(Crowd, 0, mask, picture.View(), Predicted, Expected);
    }
    algorithm::tracking_base::appearance::BlobScore SearchPlainly() const {
        return plain.PartitionAndScoreBlob(Crowd, 0, mask, picture.View(), Predicted, Expected);
    }

    static constexpr geometry::Dimension<unsigned int, 2> Cells{200, 300};
    static constexpr geometry::Rectangle<int> Blob{20, 20, 60, 140};  // 1200 samples
    static constexpr geometry::Rectangle<int> Crowd{0, 0, 200, 300};  // searched whole
    static constexpr geometry::Point<float, 2> Predicted{100, 150};
    static constexpr geometry::Dimension<float, 2> Expected{100, 150};

    test::ColourPicture picture;
    test::Mask mask;
    algorithm::tracking_base::appearance::Smog smog;
    test::PlainSmog plain;
};

}  // namespace kes::bench
