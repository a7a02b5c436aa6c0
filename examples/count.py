"""Count who crosses a line, by direction.

usage: count.py VIDEO X1 Y1 X2 Y2   (in pixels)
"""

import sys
from collections import Counter

import cv2

import kes_tracking as kes


def main(video: str, *line: float) -> None:
    capture = cv2.VideoCapture(video)
    rate = capture.get(cv2.CAP_PROP_FPS)
    tracker = kes.Tracker(frames_per_second=rate)
    counter = kes.Counter(lines={"line": line})
    counts = []
    for _, tracks in kes.follow(capture, tracker, delay=round(rate)):
        counts += counter.process(tracks)
    counts += counter.finish()
    for count in counts:
        print(f"{count.time:6.1f} s  {count.type.name.lower():16} {count.id}")
    print(dict(Counter(count.type.name for count in counts)))


if __name__ == "__main__":
    main(sys.argv[1], *map(float, sys.argv[2:6]))
