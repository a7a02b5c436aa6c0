"""read_mot and evaluate, on a case worked by hand."""

import numpy as np
import pytest

import kes_tracking as kes

TRUTH = """# frame, id, left, top, width, height, confidence
1,1,0,0,10,20,1
2,1,5,0,10,20,1
3,1,10,0,10,20,1
3,9,100,0,10,20,0
"""


@pytest.fixture(name="truth")
def fixture_truth(tmp_path):
    path = tmp_path / "truth.txt"
    path.write_text(TRUTH)
    return kes.read_mot(path)


def test_reads(truth):
    assert len(truth) == 4 and truth.frames.tolist() == [1, 2, 3, 3]
    assert truth.ids.tolist() == [1, 1, 1, 9] and truth.labels == [""] * 4
    np.testing.assert_array_equal(truth.boxes[1], [5, 0, 15, 20])
    np.testing.assert_array_equal(truth.confidences, [1, 1, 1, 0])


def test_scores(truth):
    # Found in frames 1 and 2, under another identity in the second; a false one in the third.
    boxes = np.array([[0, 0, 10, 20], [5, 0, 15, 20], [50, 0, 60, 20]])
    scores = kes.evaluate(truth, kes.Boxes([1, 2, 3], [4, 5, 5], boxes))
    assert (scores.true_boxes, scores.result_boxes, scores.matches) == (3, 3, 2)
    assert (scores.misses, scores.false_positives, scores.switches) == (1, 1, 1)
    assert scores.mota == 1 - 3 / 3 and scores.idf1 == 2 * 1 / 6
    assert scores.precision == scores.recall == 2 / 3
    first = kes.evaluate(truth, kes.Boxes([1], [4], boxes[:1]), last=1)
    assert first.mota == 1 and first.precision == 1
    nothing = kes.evaluate(truth, kes.Boxes([], [], np.empty((0, 4))), first=1)
    assert nothing.precision is None and repr(nothing).startswith("Scores(mota=0, idf1=0, prec")


def test_refuses(truth, tmp_path):
    with pytest.raises(FileNotFoundError, match="nowhere"):
        kes.read_mot(tmp_path / "nowhere")
    wrong = tmp_path / "wrong.txt"
    wrong.write_text("1,1,0,0,10,20\n1,1\n")
    with pytest.raises(ValueError, match="wrong.txt:2: expected frame,id,left"):
        kes.read_mot(str(wrong))
    twice = kes.Boxes([1, 1], [4, 4], np.zeros((2, 4)))
    with pytest.raises(ValueError, match="frame 1 has two boxes of id 4"):
        kes.evaluate(truth, twice)
    with pytest.raises(ValueError, match="truth holds no box"):
        kes.evaluate(kes.Boxes([], [], np.empty((0, 4))), twice)
    with pytest.raises(ValueError, match=r"boxes \(n, 4\)"):
        kes.Boxes([1], [1, 2], np.zeros((1, 4)))
