"""LabelCollapser: a Python function inside the library's constructor."""

import pytest

import kes_tracking as kes


def test_collapses_by_a_python_function():
    asked = []

    def collapse(name):
        asked.append(name)
        return {"truck": "car", "Lkw \u00fc": "car"}.get(name, "animal")

    collapser = kes.LabelCollapser(["dog", "car", "truck", "Lkw \u00fc", "animal"], collapse)
    assert asked == ["dog", "car", "truck", "Lkw \u00fc", "animal"]
    assert [collapser.process(label) for label in range(7)] == [4, 4, 1, 1, 4, 0, 0]
    assert kes.LabelCollapser().process(4_000_000_000) == 4_000_000_000


def failing(name):
    raise KeyError(name)


@pytest.mark.parametrize(
    "labels, collapse, error, text",
    [
        (["a", "b"], failing, KeyError, "a"),
        (["a"], lambda name: 7, TypeError, "returned a int; it must return a str"),
        (["a"] * 129, str, ValueError, "Maximum label size exceeded"),
        (["a"], None, TypeError, "incompatible"),
    ],
)
def test_what_goes_wrong_leaves_the_constructor(labels, collapse, error, text):
    with pytest.raises(error, match=text):
        kes.LabelCollapser(labels, collapse)


def test_labels_out_of_range():
    collapser = kes.LabelCollapser(["a"], str)
    for label in (-1, 128, 2**40):
        with pytest.raises(IndexError):
            collapser.process(label)
