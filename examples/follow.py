"""Follow the people in a video: boxes as MOT text, paths as a picture, scores against the truth.

usage: follow.py VIDEO TRACKS.txt PICTURE.png [TRUTH.txt]
"""

import sys
from collections import defaultdict
from itertools import islice

import cv2
import numpy as np

import kes_tracking as kes


def main(video: str, text: str, picture: str, truth: str = "") -> None:
    rate = cv2.VideoCapture(video).get(cv2.CAP_PROP_FPS)
    tracker = kes.Tracker(frames_per_second=rate)
    # First learn the place: its background, and how large people are where.
    for _ in islice(kes.follow(cv2.VideoCapture(video), tracker), round(60 * rate)):
        pass
    tracker.forget_objects()

    delay = round(rate)
    paths = defaultdict(list)
    with open(text, "w", encoding="ascii") as out:
        following = kes.follow(cv2.VideoCapture(video), tracker, delay=delay, smoothing=delay)
        for number, (frame, tracks) in enumerate(following, start=1):
            for one in tracks:
                left, top, right, bottom = one.box
                size = f"{right - left:.2f},{bottom - top:.2f}"
                out.write(f"{number},{one.id},{left:.2f},{top:.2f},{size},{one.confidence:.4g}\n")
                paths[one.id].append(((left + right) / 2, bottom))
            for event in tracks.events:
                print(f"{tracks.time:6.1f} s  {event.type.name.lower():9} {event.id}")
    for identity, path in paths.items():
        colour = cv2.applyColorMap(np.full((1, 1), 37 * identity % 256, np.uint8), cv2.COLORMAP_HSV)[0, 0]
        cv2.polylines(frame, [np.array(path, np.int32)], False, colour.tolist(), 2, cv2.LINE_AA)
    cv2.imwrite(picture, frame)
    print(f"{len(paths)} objects: {text}, {picture}")
    if truth:
        print(kes.evaluate(kes.read_mot(truth), kes.read_mot(text)))


if __name__ == "__main__":
    main(*sys.argv[1:])
