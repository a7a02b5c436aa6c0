"""Building blocks for video object trackers, and a tracker.

Segmenter       what in a video is foreground, and what of it has stood still
Appearance      what an object looks like, and where in a crowd it stands
solve           which tracks go with which detections
LabelCollapser  which class labels mean the same

Frames, masks and costs are NumPy arrays, and frames are read where they lie.
Results are the same bits as those of the C++ library.
"""

from ._native import (
    Appearance,
    BlobScore,
    LabelCollapser,
    Segmenter,
    mark_pairs,
    solve,
)

__all__ = [
    "Appearance",
    "BlobScore",
    "LabelCollapser",
    "Segmenter",
    "mark_pairs",
    "solve",
]
