"""Segmenter: what is taken without a copy, what is refused and how, forms, buffers, threads."""

import gc
import sys
import threading

import numpy as np
import pytest

import kes_tracking as kes


def video(frames=30, height=61, width=133):
    """A bright square that moves over noise, and stops."""
    random = np.random.default_rng(1)
    planes = random.integers(90, 94, (frames, height, width), np.uint8)
    for i, plane in enumerate(planes[5:]):
        x = 10 + 4 * min(i, 12)
        plane[20:40, x : x + 20] = 200
    return planes


def masks_of(frames, **options):
    segmenter = kes.Segmenter(stationary_time=0.5)
    return [np.copy(mask) for frame in frames for mask in segmenter.apply(frame, **options)]


def unpacked(words, width):
    bits = np.unpackbits(words.astype(">u4").view(np.uint8), axis=-1)
    return bits[..., :width] * np.uint8(255)


def spread(frames):
    """The same frames in a larger array: rows further apart, more before and after."""
    larger = np.full((frames.shape[0], 100, 200), 255, np.uint8)
    larger[:, 7:68, 9:142] = frames
    return larger[:, 7:68, 9:142]


def upside_down(frames):
    return np.ascontiguousarray(frames[:, ::-1])[:, ::-1]


@pytest.mark.parametrize("layout", [spread, upside_down])
def test_reads_rows_where_they_lie(layout):
    frames = video()
    laid_out = layout(frames)
    assert laid_out.strides != frames.strides
    expected = masks_of(frames)
    assert np.any(expected[::2]) and np.any(expected[1::2])
    np.testing.assert_array_equal(masks_of(laid_out), expected)


def test_forms_agree():
    frames = video()
    half = masks_of(frames)
    full = masks_of(frames, form="full")
    packed = masks_of(frames, form="packed")
    assert half[0].shape == (30, 66) and full[0].shape == (61, 133) and packed[0].shape == (30, 3)
    for cells, pixels, words in zip(half, full, packed):
        np.testing.assert_array_equal(unpacked(words, 66), cells)
        np.testing.assert_array_equal(pixels[:60, :132], cells.repeat(2, 0).repeat(2, 1))
        assert not pixels[60].any() and not pixels[:, 132].any()


@pytest.mark.parametrize("form", ["half", "full", "packed"])
def test_out_and_all_at_once_give_the_same(form):
    frames = video()
    expected = masks_of(frames, form=form)
    canvas = np.full((2, 70, 140), 77, expected[0].dtype)
    out = tuple(canvas[:, 3 : 3 + expected[0].shape[0], 5 : 5 + expected[0].shape[1]])
    segmenter = kes.Segmenter(stationary_time=0.5)
    for young, stationary in zip(expected[::2], expected[1::2]):
        returned = segmenter.apply(frames[0], form=form, out=out)
        frames = frames[1:]
        assert returned[0] is out[0] and returned[1] is out[1]
        np.testing.assert_array_equal(out, [young, stationary])
    assert (canvas == 77).sum() == canvas.size - 2 * expected[0].size

    young, stationary = kes.Segmenter(stationary_time=0.5).apply_all(video(), form=form)
    np.testing.assert_array_equal(young, expected[::2])
    np.testing.assert_array_equal(stationary, expected[1::2])


def test_masks_in_every_form_say_the_same():
    frames = video()
    cells = np.zeros((30, 66), np.uint8)
    cells[5:15, 8:41] = 1
    packed = np.packbits(np.pad(cells, ((0, 0), (0, 30))), axis=1).view(">u4").astype(np.uint32)
    pixels = np.zeros((61, 133), np.uint8)
    pixels[1:60:2, 1:132:2] = cells * 9  # one of a cell's four is enough
    expected = masks_of(frames, exclude=packed)
    assert any(mask.any() for mask in expected)
    assert not any((mask[cells != 0]).any() for mask in expected)
    for mask in (cells, cells.astype(bool), pixels, pixels != 0):
        np.testing.assert_array_equal(masks_of(frames, exclude=mask), expected)
    reset = np.ones((30, 66), bool)
    assert not any(mask.any() for mask in masks_of(frames, reset=reset))


PLANE = np.zeros((6, 8), np.uint8)


@pytest.mark.parametrize(
    "frame, error, advice",
    [
        (PLANE.astype(float), ValueError, "float64; it must be uint8.*astype"),
        (np.asfortranarray(PLANE), ValueError, "ascontiguousarray"),
        (PLANE[:, ::2], ValueError, r"strides \(8, 2\).*ascontiguousarray"),
        (PLANE[:, ::-1], ValueError, "ascontiguousarray"),
        (np.zeros((6, 8, 3), np.uint8), ValueError, r"\(6, 8, 3\).*COLOR_BGR2GRAY"),
        (PLANE.tolist(), TypeError, "list; it must be a numpy.ndarray.*asarray"),
        (None, TypeError, "NoneType"),
    ],
)
def test_refuses_what_would_need_a_copy(frame, error, advice):
    with pytest.raises(error, match=advice):
        kes.Segmenter().apply(frame)


FROZEN = np.zeros((3, 4), np.uint8)
FROZEN.flags.writeable = False
SHARED = np.zeros((4, 4), np.uint8)


@pytest.mark.parametrize(
    "options, error, advice",
    [
        ({"form": "whole"}, ValueError, "'half', 'full' or 'packed'"),
        ({"exclude": np.zeros((2, 4), bool)}, ValueError, r"\(3, 4\) or \(6, 8\).*\(3, 1\)"),
        ({"freeze": np.zeros((3, 4))}, ValueError, "freeze has dtype float64"),
        ({"reset": np.zeros((3, 8), bool)[:, ::2]}, ValueError, "reset.*contiguous"),
        ({"out": np.zeros((2, 3, 4), np.uint8)}, TypeError, "tuple of two"),
        ({"out": (np.zeros((3, 4)), None)}, ValueError, r"out\[0\].*uint8.*\(3, 4\)"),
        ({"out": (None, FROZEN)}, ValueError, r"out\[1\].*writable"),
        ({"out": (SHARED[:3], SHARED[1:])}, ValueError, "share memory"),
        ({"out": (SHARED[1:], SHARED[3:0:-1])}, ValueError, "share memory"),
    ],
)
def test_refuses_other_arguments(options, error, advice):
    with pytest.raises(error, match=advice):
        kes.Segmenter().apply(PLANE, **options)


def test_parameters_are_properties():
    segmenter = kes.Segmenter(threshold=3, hold_on_time=-1)
    assert segmenter.threshold == 3 and segmenter.hold_on_time == -1
    assert segmenter.threshold_factor == 1 and segmenter.stationary_time == 5
    segmenter.stationary_time = 0.0335
    assert segmenter.stationary_time == 0.034
    with pytest.raises(ValueError, match="SetStdDevThreshold out of range"):
        segmenter.threshold = 256
    with pytest.raises(ValueError, match="hold_on_time must be a finite"):
        segmenter.hold_on_time = float("inf")
    assert segmenter.threshold == 3 and segmenter.hold_on_time == -1


def test_sizes_may_change_and_vanish():
    segmenter = kes.Segmenter()
    for height, width in [(6, 8), (1, 9), (0, 0), (61, 133), (7, 1), (2, 2)]:
        for form in ("half", "full", "packed"):
            plane = np.zeros((height, width), np.uint8)
            young, stationary = segmenter.apply(plane, exclude=plane, form=form)
            assert not young.any() and not stationary.any()


def test_holds_on_to_no_argument():
    frame, out = np.zeros((6, 8), np.uint8), (np.zeros((3, 4), np.uint8), None)
    segmenter = kes.Segmenter()
    before = [sys.getrefcount(thing) for thing in (frame, out, out[0])]
    for _ in range(10):
        segmenter.apply(frame, out=out, exclude=out[0])
        with pytest.raises(ValueError):
            segmenter.apply(frame, out=out, form="packed")
    gc.collect()
    assert [sys.getrefcount(thing) for thing in (frame, out, out[0])] == before


def test_threads_with_a_segmenter_each_do_not_meet():
    frames = video(40, 600, 800)
    expected = masks_of(frames)
    results = {}
    threads = [
        threading.Thread(target=lambda i=i: results.update({i: masks_of(frames)}))
        for i in range(3)
    ]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    for masks in results.values():
        np.testing.assert_array_equal(masks, expected)
    assert len(results) == 3


def test_a_second_thread_in_one_segmenter_is_refused():
    frames = np.zeros((50, 1200, 1600), np.uint8)
    segmenter = kes.Segmenter()
    thread = threading.Thread(target=segmenter.apply_all, args=(frames,))
    refusals = 0
    thread.start()
    while thread.is_alive():
        try:
            segmenter.reset()
        except RuntimeError as error:
            assert "in use by another thread" in str(error)
            refusals += 1
    assert refusals > 0
    segmenter.apply(frames[0])
