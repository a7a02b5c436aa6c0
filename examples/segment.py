"""Segment a video and draw what moves in green, what has come to stand in red.

usage: segment.py VIDEO PICTURE.png [FRAME]
"""

import sys

import cv2
import numpy as np

import kes_tracking as kes


def main(video: str, picture: str, last: int = 400) -> None:
    capture = cv2.VideoCapture(video)
    segmenter = kes.Segmenter(stationary_time=3)
    colours = np.array([[0, 0, 0], [0, 160, 0], [0, 0, 200]], np.uint8)  # BGR
    for _ in range(last):
        ok, frame = capture.read()
        if not ok:
            break
        grey = cv2.cvtColor(frame, cv2.COLOR_BGR2GRAY)
        young, stationary = segmenter.apply(grey, form="full")
        drawn = frame // 2 + colours[(young != 0) + 2 * (stationary != 0)]
    cv2.imwrite(picture, drawn)
    print(f"{np.mean(young != 0):.1%} young, {np.mean(stationary != 0):.1%} stationary: {picture}")


if __name__ == "__main__":
    main(sys.argv[1], sys.argv[2], *map(int, sys.argv[3:]))
