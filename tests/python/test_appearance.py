"""Appearance: views of its state, copies, pickles, and what is refused."""

import copy
import gc
import pickle

import numpy as np
import pytest

import kes_tracking as kes

FRAME = np.random.default_rng(2).integers(0, 256, (40, 60, 3), np.uint8)
MASK = np.ones((20, 30), bool)
BLOB = (3, 2, 20, 18)


def trained():
    appearance = kes.Appearance()
    appearance.update(BLOB, MASK, FRAME)
    return appearance


@pytest.mark.parametrize(
    "duplicate",
    [copy.copy, copy.deepcopy, lambda appearance: pickle.loads(pickle.dumps(appearance))],
)
def test_copies_are_equal_and_independent(duplicate):
    original = trained()
    other = duplicate(original)
    assert other == original and not other.untrained and str(other) == str(original)
    other.update(BLOB, MASK, 255 - FRAME)
    assert other != original and original == trained()


def test_state_is_a_view_that_lasts():
    appearance = kes.Appearance()
    means, variances = appearance.means, appearance.variances
    assert means.shape == variances.shape == (8, 4)
    assert means.dtype == np.int32 and variances.dtype == np.uint32
    np.testing.assert_array_equal(means[:, 3], range(16, 256, 32))
    np.testing.assert_array_equal(variances[5], [16384, 16384, 16384, 1024])
    means[2, 0] = 77
    assert '{"means":[77,128,128,80]' in str(appearance)
    means[2, 0] = 128
    appearance.update(BLOB, MASK, FRAME)
    del appearance
    gc.collect()
    np.testing.assert_array_equal(means, trained().means)


def test_formats_and_masks_say_the_same():
    appearance = trained()
    whole = appearance.score(BLOB, MASK, FRAME)
    assert 0 < whole <= 1
    rgb = np.ascontiguousarray(FRAME[..., ::-1])
    upside_down = np.ascontiguousarray(FRAME[::-1])[::-1]
    larger = np.zeros((45, 70, 3), np.uint8)
    larger[3:43, 4:64] = FRAME
    packed = np.full((20, 1), 0xFFFFFFFF, np.uint32)
    assert appearance.score(BLOB, packed, rgb, format="rgb") == whole
    assert appearance.score(BLOB, MASK, upside_down) == whole
    assert appearance.score(BLOB, np.ones((40, 60), np.uint8), larger[3:43, 4:64]) == whole
    luma, chroma = FRAME[..., 0].copy(), FRAME[:20, :, 1].copy()
    appearance.update(BLOB, MASK, (luma, chroma))
    both = appearance.score(BLOB, MASK, np.vstack([luma, chroma]), format="nv12")
    assert both == appearance.score(BLOB, MASK, (luma, chroma)) != whole


@pytest.mark.parametrize(
    "change, error, advice",
    [
        ({"frame": FRAME[..., 0].copy()}, ValueError, "Unspported colour format"),
        ({"frame": FRAME[..., :2]}, ValueError, r"\(40, 60, 2\).*\(height, width, 3\)"),
        ({"frame": FRAME[..., ::-1]}, ValueError, "ascontiguousarray"),
        ({"frame": FRAME, "format": "hsv"}, ValueError, "'bgr', 'rgb'"),
        ({"frame": np.zeros((40, 60), np.uint8), "format": "nv12"}, ValueError, "3 \\* height"),
        ({"frame": (FRAME[..., 0].copy(),) * 2}, ValueError, "half as high"),
        ({"mask": MASK[:, :20]}, ValueError, r"\(20, 30\) or \(40, 60\)"),
        ({"mask": None}, TypeError, "mask is None"),
        ({"blob": (1, 2, 3)}, TypeError, "blob"),
    ],
)
def test_refuses_and_stays_as_it_was(change, error, advice):
    appearance = trained()
    arguments = {"blob": BLOB, "mask": MASK, "frame": FRAME, **change}
    for method in (appearance.update, appearance.score):
        with pytest.raises(error, match=advice):
            method(**arguments)
    assert appearance == trained()


def test_search_says_what_it_cannot_search():
    with pytest.raises(ValueError, match="must be finite"):
        trained().search((0, 0, 30, 20), MASK, FRAME, (np.nan, 5), (4, 4))
    whole = trained().search(BLOB, MASK, FRAME, (10, 10), (30, 20), tag=9)
    assert (whole.centre, whole.size, whole.tag) == ([11, 10], [17, 16], 9)
    assert repr(whole).startswith("BlobScore(score=")
