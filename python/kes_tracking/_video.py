"""Iterators over video."""

from collections import deque
from collections.abc import Iterable, Iterator
from typing import Any, Optional, Protocol, Union

import numpy as np
from numpy.typing import NDArray

from ._native import Smoother, Tracker, Tracks

Frame = NDArray[np.uint8]


class Capture(Protocol):
    """What of cv2.VideoCapture is needed."""

    def read(self) -> tuple[bool, Any]: ...

    def get(self, propId: int) -> float: ...


_POSITION_IN_MILLISECONDS = 0  # cv2.CAP_PROP_POS_MSEC


def _timed(source: Union[Capture, Iterable[Frame]]) -> Iterator[tuple[Frame, Optional[float]]]:
    if isinstance(source, Iterable):
        for frame in source:
            yield frame, None
        return
    while True:
        ok, frame = source.read()
        if not ok:
            return
        yield frame, source.get(_POSITION_IN_MILLISECONDS) / 1000


def follow(
    source: Union[Capture, Iterable[Frame]],
    tracker: Tracker,
    *,
    delay: int = 0,
    smoothing: int = 0,
) -> Iterator[tuple[Frame, Tracks]]:
    """Follow the objects of a video to its end.

    Parameters
    ----------
    source : cv2.VideoCapture or iterable of numpy.ndarray
        Where the frames come from: something with `read` and `get`, or frames
        themselves, (h, w, 3) BGR or (h, w), uint8.
    tracker : Tracker
        It goes on from where it is: one that has seen the place before knows
        its background.
    delay : int
        Frames by which results come later than they could, so that more is
        known: see `Smoother`.
    smoothing : int
        Frames to either side over which boxes are evened out.

    Yields
    ------
    frame : numpy.ndarray
        A frame, the one that the tracks belong to.
    tracks : Tracks
        The objects in it that count.
    """
    smoother = Smoother(delay, smoothing)
    waiting: deque[Frame] = deque()
    for frame, time in _timed(source):
        waiting.append(frame)
        tracks = smoother.push(tracker.update(frame, time))
        if tracks is not None:
            yield waiting.popleft(), tracks
    while (last := smoother.pop()) is not None:
        yield waiting.popleft(), last
