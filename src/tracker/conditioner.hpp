// Conditioner: brings each picture to the place and light in which the background was learnt, so
// that shake, a nudge, clouds, lamps and automatic exposure do not become foreground; and says when
// it cannot.
#pragma once

#include <opencv2/core.hpp>

#include "tracker/background_picture.hpp"
#include "tracker/ego_motion.hpp"
#include "tracker/illumination.hpp"

namespace kes::tracker {

class Conditioner {
public:
    // Takes this picture for the background.
    void Begin(cv::Mat1b const& picture);

    // The picture as it would look in the background's place and light; it itself where that is the
    // same. Good until the next call. foreground: 255 where the picture before had some, at any
    // size.
    cv::Mat1b const& Process(cv::Mat1b const& picture, cv::Mat1b const& foreground);

    // Takes what was returned last into the background where it has no foreground.
    void Learn(cv::Mat1b const& foreground);

    // Takes the next picture for the background.
    void Forget() { isKnown = false; }

    // Where the background's origin lies in the last picture, in pixels.
    cv::Point2f Offset() const { return offset; }

    // How much the light differs from the background's, in grey levels; 0 where that is too little
    // to be made up for.
    float LightDifference() const { return lightDifference; }

    // Whether the last picture shows the background but for place, light and objects.
    bool IsFollowed() const { return isFollowed; }

private:
    void Align(cv::Mat1b const& picture);

    BackgroundPicture background;
    EgoMotion egoMotion;
    Illumination illumination;
    cv::Mat1b aligned;
    cv::Mat1b corrected;
    cv::Mat1b result;  // a view of one of those or of the picture
    cv::Point2f offset{};
    float lightDifference = 0;
    bool isKnown = false;
    bool isFollowed = true;
    int pictures = 0;  // since the background began
};

}  // namespace kes::tracker
