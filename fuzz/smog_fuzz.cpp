// Any picture, mask, rectangle and order of operations, against the appearance model written a
// second time; what lies outside the contract must end in a documented exception or in nothing.
#include <array>
#include <bit>
#include <cmath>
#include <optional>
#include <sstream>
#include <stdexcept>

#include <kes/algorithm/tracking_base/smog.hpp>

#include "bytes.hpp"
#include "support/colour_picture.hpp"
#include "support/plain_smog.hpp"
#include "support/smog_cases.hpp"

namespace {

using kes::algorithm::BitMask;
using kes::algorithm::tracking_base::appearance::BlobScore;
using kes::algorithm::tracking_base::appearance::Smog;
using kes::fuzz::Bytes;
using kes::fuzz::Check;
using kes::media::ColourFormat;
using kes::test::ColourPicture;
using kes::test::PlainSmog;
using kes::test::SmogCases;

using Frame = kes::media::video::FrameBase<void const>;
using Rectangle = kes::geometry::Rectangle<int>;

struct Scene {
    ColourPicture picture;
    BitMask mask;
    bool hasHalfSize;
    bool hasWords;  // all of them: a blob may need none of those that are missing
};

Scene TakeScene(Bytes& bytes) {
    // One format too many: one without colours.
    auto const format = static_cast<ColourFormat>(bytes.Below(6));
    auto const [width, height, padding] =
        std::array{bytes.Below(130), bytes.Below(100), bytes.Below(3)};
    SmogCases cases(bytes.Take<std::uint16_t>());
    Scene scene{ColourPicture(format, width, height, padding), {}, true, true};
    cases.Paint(scene.picture);

    BitMask& mask = scene.mask;
    auto const [wider, higher] = std::array{bytes.Below(32), bytes.Below(32)};
    scene.hasHalfSize = wider > 2 && higher > 2;
    mask = cases.AnyMask(width / 2 + (wider > 2 ? 0 : wider + 1),
                         height / 2 + (higher > 2 ? 0 : higher + 1));
    if (bytes.Below(32) == 1 && !mask.words.empty()) {
        mask.words.pop_back();
        scene.hasWords = false;
    }
    return scene;
}

// Around the mask, or inside it with the corners in order, or anywhere at all.
Rectangle TakeBlob(Bytes& bytes, BitMask const& mask) {
    unsigned int const kind = bytes.Below(8);
    if (kind == 0) return bytes.Take<Rectangle>();
    SmogCases cases(bytes.Take<std::uint16_t>());
    bool const hasInside = mask.width > 0 && mask.height > 0;
    return hasInside && kind > 2 ? cases.BlobInside(mask) : cases.Blob(mask);
}

// Whether the second model covers this blob: its ints overflow where the library's do not.
bool IsPlain(Rectangle const& blob) {
    for (int const corner : {blob.left, blob.top, blob.right, blob.bottom}) {
        if (corner < -4096 || corner > 4096) return false;
    }
    return true;
}

std::string TextOf(Smog const& smog) {
    std::ostringstream out;
    out << smog;
    return out.str();
}

bool SameBits(float a, float b) { return std::bit_cast<unsigned>(a) == std::bit_cast<unsigned>(b); }

// The result of `operation`, or none where it refused.
template <typename Operation>
auto Try(Operation const& operation, std::string& refusal) -> std::optional<decltype(operation())> {
    try {
        return operation();
    } catch (std::invalid_argument const& error) {
        refusal = error.what();
        return std::nullopt;
    }
}

// Whether a whole-blob operation may refuse with this, which is empty where it does not.
bool IsWholeRefusal(Scene const& scene, std::string const& refusal) {
    ColourFormat const format = scene.picture.format;
    if (!scene.hasHalfSize) return refusal == "Blob mask dimensions must be half the frame size";
    if (format == ColourFormat::Grey || format > ColourFormat::Nv12) {
        return refusal == "Unspported colour format";
    }
    return refusal.empty() || (!scene.hasWords && refusal == "Blob mask has too few words");
}

struct Models {
    Smog smog;
    PlainSmog plain;

    void CheckEqual() const { Check(TextOf(smog) == plain.Text(), "text"); }

    void Update(Scene const& scene, Rectangle const& blob) {
        Smog const before = smog;
        std::string refusal;
        Frame const frame = scene.picture.View();
        Try([&] { return smog.Update(blob, scene.mask, frame), 0; }, refusal);
        Check(IsWholeRefusal(scene, refusal), "what Update refuses");
        if (!refusal.empty()) {
            Check(TextOf(smog) == TextOf(before), "a refusal changes nothing");
        } else if (IsPlain(blob)) {
            plain.Update(blob, scene.mask, frame);
        } else {
            smog = before;
        }
        CheckEqual();
    }

    void Score(Scene const& scene, Rectangle const& blob) const {
        std::string refusal;
        Frame const frame = scene.picture.View();
        auto const score = Try([&] { return smog.ScoreBlob(blob, scene.mask, frame); }, refusal);
        Check(IsWholeRefusal(scene, refusal), "what ScoreBlob refuses");
        if (!score) return;
        Check(*score >= 0 && *score <= 1, "a score's range");
        if (IsPlain(blob)) {
            Check(SameBits(*score, plain.ScoreBlob(blob, scene.mask, frame)), "score");
        }
    }

    // Half of the time for what the model has just learnt, near where it is and a little smaller:
    // little else scores at all.
    void Search(Bytes& bytes, Scene const& scene, Rectangle const& blob) {
        auto const tag = bytes.Take<std::uint32_t>();
        auto const length = [&](unsigned int bound) {
            return bytes.Below(8) == 0 ? bytes.Take<float>()
                                       : static_cast<float>(bytes.Below(bound * 16)) / 16;
        };
        kes::geometry::Point<float, 2> centre{length(70), length(60)};
        kes::geometry::Dimension<float, 2> expected{length(40), length(40)};
        if (tag % 2 == 1) {
            Update(scene, blob);
            auto const [left, top, right, bottom] = std::array<float, 4>{
                static_cast<float>(blob.left), static_cast<float>(blob.top),
                static_cast<float>(blob.right), static_cast<float>(blob.bottom)};
            centre = {(left + right + centre.x / 8) / 2, (top + bottom + centre.y / 8) / 2};
            expected = {right - left - expected.width / 8, bottom - top - expected.height / 8};
        }
        Frame const frame = scene.picture.View();
        std::string refusal;
        auto const result = Try(
            [&] {
                return smog.PartitionAndScoreBlob(blob, tag, scene.mask, frame, centre, expected);
            },
            refusal);
        CheckEqual();
        if (!result) {
            Check(refusal.size() > 20, "a refusal has words");
            return;
        }
        Check(result->score >= 0 && result->score <= 1, "a search's range");
        bool const isEmpty = blob.left == blob.right || blob.top == blob.bottom;
        if (isEmpty || !IsPlain(blob)) return;
        for (float const value : {centre.x, centre.y, expected.width, expected.height}) {
            if (!(std::abs(value) < 4096)) return;
        }
        BlobScore const wanted =
            plain.PartitionAndScoreBlob(blob, tag, scene.mask, frame, centre, expected);
        Check(SameBits(result->score, wanted.score), "a search's score");
        Check(SameBits(result->centre.x, wanted.centre.x) &&
                  SameBits(result->centre.y, wanted.centre.y),
              "a search's centre");
        Check(result->size == wanted.size && SameBits(result->tag, wanted.tag),
              "a search's size and tag");
    }

    void Sections(Bytes& bytes) const {
        auto const width = static_cast<int>(bytes.Take<std::uint32_t>() >> 1);
        auto const height = static_cast<int>(bytes.Take<std::uint32_t>() >> 1 >> bytes.Below(31));
        Check(
            smog.ComputeGaussianSectionRectangles({width, height}) == plain.Sections(width, height),
            "sections");
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    Bytes bytes(data, size);
    Models models;
    Scene scene = TakeScene(bytes);
    for (int operations = 0; !bytes.IsEmpty() && operations < 30; ++operations) {
        switch (bytes.Below(5)) {
            case 0: scene = TakeScene(bytes); break;
            case 1: models.Update(scene, TakeBlob(bytes, scene.mask)); break;
            case 2: models.Score(scene, TakeBlob(bytes, scene.mask)); break;
            case 3: {
                Rectangle const blob = TakeBlob(bytes, scene.mask);
                models.Search(bytes, scene, blob);
                break;
            }
            case 4: models.Sections(bytes); break;
        }
    }
    return 0;
}
