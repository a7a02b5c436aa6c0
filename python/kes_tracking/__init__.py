"""Building blocks for video object trackers, and a tracker.

Segmenter       what in a video is foreground, and what of it has stood still
Appearance      what an object looks like, and where in a crowd it stands
solve           which tracks go with which detections
LabelCollapser  which class labels mean the same

Tracker         which objects are where in a video, under identities that last
Counter         who crosses a line, and who enters and leaves a zone
evaluate        how well tracks agree with the truth

Frames, masks and costs are NumPy arrays, and frames are read where they lie.
Results are the same bits as those of the C++ library.
"""

from ._enums import CountType, EventType, Kind, Visibility
from ._native import (
    Appearance,
    BlobScore,
    Boxes,
    Count,
    Counter,
    Event,
    LabelCollapser,
    Object,
    Scores,
    Segmenter,
    Smoother,
    Tracker,
    Tracks,
    evaluate,
    mark_pairs,
    read_mot,
    solve,
)
from ._video import follow

__all__ = [
    "Appearance",
    "BlobScore",
    "Boxes",
    "Count",
    "CountType",
    "Counter",
    "Event",
    "EventType",
    "Kind",
    "LabelCollapser",
    "Object",
    "Scores",
    "Segmenter",
    "Smoother",
    "Tracker",
    "Tracks",
    "Visibility",
    "evaluate",
    "follow",
    "mark_pairs",
    "read_mot",
    "solve",
]
