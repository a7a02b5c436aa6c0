// OcclusionMap: the parts of the picture where objects pass unseen, behind a post or a sign.
// There, missing foreground says nothing.
#pragma once

#include <vector>

#include <opencv2/core.hpp>

#include "tracker/track.hpp"

namespace kes::tracker {

class OcclusionMap {
public:
    void Begin(cv::Size size);

    // Notes what is seen of an object whose place is certain.
    void Learn(Track const& track, cv::Mat1b const& foreground);

    // 255 where several objects have passed and hardly anything of them was seen.
    cv::Mat1b const& Cells() const { return cells; }

private:
    struct Passage {
        float covered = 0;  // frames in which an object should have been seen here
        float seen = 0;     // and was
        int lastId = -1;
        int objects = 0;
    };

    cv::Mat1b cells;
    std::vector<Passage> passages;  // row after row
};

}  // namespace kes::tracker
