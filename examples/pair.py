"""A tracker of one's own: blobs of foreground, paired with the tracks by a matrix of costs.

A pair costs what its boxes do not overlap and its colours do not match.

usage: pair.py VIDEO [FRAMES]
"""

import sys
from dataclasses import dataclass, field
from itertools import count

import cv2
import numpy as np
from numpy.typing import NDArray

import kes_tracking as kes

Box = tuple[int, int, int, int]  # left, top, right, bottom in cells of 2 x 2 pixels
SMALLEST = 150  # cells
LONGEST_AWAY = 5  # frames
identities = count(1)


@dataclass
class Track:
    box: Box
    looks: kes.Appearance = field(default_factory=kes.Appearance)
    id: int = field(default_factory=identities.__next__)
    away: int = 0


def blobs(mask: NDArray[np.uint8]) -> list[Box]:
    closed = cv2.morphologyEx(mask, cv2.MORPH_CLOSE, np.ones((9, 5), np.uint8))
    _, _, stats, _ = cv2.connectedComponentsWithStats(closed)
    return [(x, y, x + w, y + h) for x, y, w, h, area in stats[1:].tolist() if area >= SMALLEST]


def overlap(a: Box, b: Box) -> float:
    width = min(a[2], b[2]) - max(a[0], b[0])
    height = min(a[3], b[3]) - max(a[1], b[1])
    if width <= 0 or height <= 0:
        return 0
    areas = [(c[2] - c[0]) * (c[3] - c[1]) for c in (a, b)]
    return width * height / (sum(areas) - width * height)


def main(video: str, frames: int = 400) -> None:
    capture = cv2.VideoCapture(video)
    segmenter = kes.Segmenter()
    tracks: list[Track] = []
    for number in range(frames):
        ok, frame = capture.read()
        if not ok:
            break
        young, stationary = segmenter.apply(cv2.cvtColor(frame, cv2.COLOR_BGR2GRAY))
        mask = young | stationary
        found = blobs(mask)
        costs = np.full((len(tracks), len(found)), np.inf)  # inf: may not be paired
        for i, track in enumerate(tracks):
            for j, box in enumerate(found):
                if overlap(track.box, box) > 0.1:
                    likeness = track.looks.score(box, mask, frame)
                    costs[i, j] = 2 - overlap(track.box, box) - likeness
        rows, columns = kes.solve(costs)
        for track in tracks:
            track.away += 1
        for i, j in zip(rows, columns):
            tracks[i].box, tracks[i].away = found[j], 0
        unpaired = set(range(len(found))) - set(columns.tolist())
        tracks += [Track(found[j]) for j in sorted(unpaired)]
        tracks = [track for track in tracks if track.away <= LONGEST_AWAY]
        for track in tracks:
            if track.away == 0:
                track.looks.update(track.box, mask, frame)
    print(f"{number + 1} frames; now there:")
    for track in tracks:
        print(f"  {track.id} at {tuple(2 * side for side in track.box)}")


if __name__ == "__main__":
    main(sys.argv[1], *map(int, sys.argv[2:]))
