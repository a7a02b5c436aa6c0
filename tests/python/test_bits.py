"""The same bits as C++: over the golden inputs, and over the whole real clip."""

import os
import subprocess
from pathlib import Path

import golden_inputs
import numpy as np
import pytest
from support import clip, grey, hash_of, needs_clip

import kes_tracking as kes

RECORDED = dict(
    line.split()
    for line in Path(__file__).parent.with_name("golden").joinpath("bits.txt").open()
)


def recorded(name):
    return int(RECORDED[name], 16)


@pytest.mark.parametrize(
    "name, width, height, padding, frames, hold_on, stationary, threshold, factor",
    [
        ("as-it-comes", 182, 51, 3, 60, 60, 5, 4, 1),
        ("short-times", 131, 47, 0, 150, 0.4, 0.2, 4, 1),
        ("strict", 96, 40, 16, 100, 0.9, 0.3, 2.25, 0.7),
        ("lenient", 67, 40, 1, 100, 0.9, 0.3, 4, 3),
        ("all-stationary", 40, 30, 0, 60, 1, 0, 4, 1),
        ("no-ages", 40, 30, 0, 30, 0, 0, 4, 1),
        ("negative-times", 40, 30, 0, 60, -1, -1, 4, 1),
        ("few-cells", 5, 9, 2, 60, 0.4, 0.2, 4, 1),
        ("absorbed", 30, 12, 0, 1200, 60, 5, 4, 1),
    ],
)
def test_masks_of_golden_videos(
    name, width, height, padding, frames, hold_on, stationary, threshold, factor
):
    video = golden_inputs.Video(width, width, height, padding)
    segmenter = kes.Segmenter(
        threshold=threshold,
        threshold_factor=factor,
        stationary_time=stationary,
        hold_on_time=hold_on,
    )
    masks = []
    for _ in range(frames):
        masks += segmenter.apply(video.frame, *video.masks, form="packed")
        video.advance()
    assert hash_of(*masks) == recorded(f"segmenter/{name}/masks")


@pytest.mark.parametrize("number, name", enumerate(["rgb", "bgr", "yuv", "nv12"], start=1))
def test_appearance_of_golden_pictures(number, name):
    cases = golden_inputs.Cases(number)
    texts, scores, searches, sections = [], [], [], []

    def below(cells):
        return cases.uniform(0, cells * 16) / 16

    for _ in range(16):
        width, height, padding = cases.uniform(80, 420), cases.uniform(80, 340), cases.uniform(0, 3)
        picture = golden_inputs.Picture(number, width, height, padding)
        model = kes.Appearance()
        for frame in range(6):
            cases.paint(picture)
            mask = cases.mask(width // 2, height // 2)
            around, inside = cases.blob(mask), cases.blob_inside(mask)
            words, pixels = mask.words, picture.frame
            model.update(around if frame % 2 else inside, words, pixels, format=name)
            texts.append(np.frombuffer(str(model).encode(), np.uint8))
            for blob in (inside, around):
                scores.append(np.float32(model.score(blob, words, pixels, format=name)))
            for _ in range(3):
                centre = below(width // 2), below(height // 2)
                size = below(inside[2] - inside[0]), below(inside[3] - inside[1])
                found = model.search(inside, words, pixels, centre, size, format=name, tag=7)
                searches.append(
                    np.float32([found.score, *found.centre, *found.size, found.tag])
                )
            scale_x, scale_y = cases.uniform(0, 15), cases.uniform(0, 15)
            sections.append(model.bands((width << scale_x, height << scale_y)))
    for kind, answers in {
        "texts": texts,
        "scores": scores,
        "searches": searches,
        "sections": sections,
    }.items():
        assert hash_of(*answers) == recorded(f"appearance/{name}/{kind}"), kind


def halved(random):
    cost = np.float32(1 + random.below(99))
    for _ in range(random.below(50)):
        cost /= np.float32(2)
    return cost


@pytest.mark.parametrize(
    "name, cost",
    [
        ("ties", lambda random: random.below(5)),
        ("shares", lambda random: np.float32(random.below(60000)) / np.float32(59999)),
        (
            "mostly-one",
            lambda random: np.float32(random.below(1000)) / np.float32(999)
            if random.one_in(4)
            else 1,
        ),
        ("forbidden", lambda random: np.inf if random.one_in(3) else random.below(100)),
        ("far-apart", halved),
        ("negative", lambda random: random.below(40) - 20),
    ],
)
@pytest.mark.parametrize("order", "CF")
def test_marks_of_golden_matrices(name, cost, order):
    random = golden_inputs.Generator(ord(name[0]))
    answers = []
    for matrix in range(40):
        bound = 20 if matrix % 8 else 70
        rows, columns = random.below(bound), random.below(bound)
        costs = np.array([cost(random) for _ in range(rows * columns)], np.float32)
        marks = kes.mark_pairs(np.array(costs.reshape((rows, columns), order="F"), order=order))
        answers += [np.int64(rows), np.int64(columns), marks.ravel(order="F")]
    assert hash_of(*answers) == recorded(f"assignment/{name}")


def objects_in(tracks):
    reals = np.column_stack((tracks.boxes, tracks.confidences)).view(np.uint32)
    whole = (tracks.ids, tracks.kinds, tracks.states, tracks.confirmed, tracks.standing)
    for numbers, bits in zip(zip(*whole), reals):
        yield "/".join([*(f"{number:d}" for number in numbers), *(f"{word:08x}" for word in bits)])


@needs_clip
def test_answers_to_the_whole_clip(tmp_path):
    segmenter, appearance = kes.Segmenter(), kes.Appearance()
    tracker = kes.Tracker(frames_per_second=10)
    blob = (50, 60, 150, 200)
    answers = ""
    expected = tmp_path / "answers"
    command = [os.environ["KES_FRAME_ANSWERS"], "768", "576"]
    with expected.open("w") as out, subprocess.Popen(
        command, stdin=subprocess.PIPE, stdout=out
    ) as program:
        for frame in clip():
            luma = grey(frame)
            program.stdin.write(luma)
            program.stdin.write(frame)
            young, stationary = segmenter.apply(luma, form="packed")
            found = appearance.search(blob, young, frame, (100, 120), (20, 50))
            score = appearance.score(blob, young, frame)
            appearance.update(blob, young, frame)
            marks = kes.mark_pairs(luma[::16, ::16].astype(np.float32))
            scores = np.float32([score, found.score, found.centre[0]])
            parts = young, stationary, marks.T, scores, appearance.variances[3]
            words = [f"{hash_of(part):x}" for part in parts]
            tracks = tracker.update(frame)
            words += objects_in(tracks)
            words += [f"{event.type:d}:{event.id}" for event in tracks.events]
            answers += " ".join(words) + "\n"
        program.stdin.close()
    assert expected.read_text() == answers
    assert answers.count("\n") == 795
