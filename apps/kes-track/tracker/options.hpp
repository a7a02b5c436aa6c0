// Options: what a user of the tracker would tune. The defaults serve a yard, a street and a hall.
#pragma once

#include <kes/algorithm/bit_mask.hpp>
#include <kes/media/video/frame.hpp>

namespace kes::tracker {

using Frame = media::video::FrameBase<void const>;

struct Options {
    double framesPerSecond = 15;      // of the stream; every time below is counted with it
    float threshold = 4;              // of the segmenter, in standard deviations
    float thresholdFactor = 1;        // on it
    float minimumHeight = 1.0F / 12;  // of an object, as a share of the frame's height
    float minimumThing = 1.0F / 40;   // sides of a thing that stands, of the frame's height
    double persistence = 0.4;         // seconds that an object is seen before it counts
    double concealment = 2;           // seconds that an object is followed behind another
    double memory = 5;                // seconds that an object out of sight keeps its number
    float reach = 0.6F;               // how far it may come back, in own heights a second
    double stationaryTime = 5;        // seconds at rest that make something stationary
    double holdOnTime = 60;           // seconds after which what is stationary joins the background
    // The segmenter's masks, of half the frames' size; none where of another size.
    algorithm::BitMask exclude{};  // no foreground is seen here
    algorithm::BitMask freeze{};   // foreground here does not grow older
    algorithm::BitMask reset{};    // every frame is learnt as background here
};

}  // namespace kes::tracker
