"""What several tests share."""

import os
from collections.abc import Iterator

import cv2
import numpy as np
import pytest
from golden_inputs import Hash

CLIP = os.environ["KES_CLIP"]
needs_clip = pytest.mark.skipif(not os.path.exists(CLIP), reason="the real clip is not there")


def clip(count: int = 10**6) -> Iterator[np.ndarray]:
    """The clip's frames, BGR."""
    capture = cv2.VideoCapture(CLIP)
    for _ in range(count):
        ok, frame = capture.read()
        if not ok:
            break
        yield frame


def grey(frame: np.ndarray) -> np.ndarray:
    return cv2.cvtColor(frame, cv2.COLOR_BGR2GRAY)


def hash_of(*arrays: np.ndarray) -> int:
    """That of the C++ tests, over the arrays' elements in order."""
    total = Hash()
    for array in arrays:
        total.add(np.asarray(array).tobytes())
    return total.value
