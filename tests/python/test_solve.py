"""solve: SciPy's interface, every memory order, forbidden pairs, refusals."""

import itertools
import threading

import numpy as np
import pytest

import kes_tracking as kes


def least_cost(costs):
    rows, columns = costs.shape
    if rows > columns:
        return least_cost(costs.T)
    return min(
        sum(costs[row, column] for row, column in enumerate(chosen))
        for chosen in itertools.permutations(range(columns), rows)
    )


@pytest.mark.parametrize("shape", [(1, 1), (3, 3), (2, 5), (6, 4), (0, 3), (3, 0), (0, 0)])
def test_pairs_cost_least_and_agree_with_the_marks(shape):
    random = np.random.default_rng(3)
    for _ in range(20):
        costs = random.integers(0, 50, shape).astype(np.float32)
        rows, columns = kes.solve(costs)
        assert rows.dtype == columns.dtype == np.intp
        assert len(rows) == min(shape) and list(rows) == sorted(set(rows))
        assert len(set(columns)) == len(columns)
        assert costs[rows, columns].sum() == least_cost(costs)
        np.testing.assert_array_equal(np.argwhere(kes.mark_pairs(costs) == 1).T, [rows, columns])


def test_memory_order_and_type_change_nothing():
    costs = np.random.default_rng(4).integers(0, 9, (37, 50)).astype(np.float32)
    expected = kes.mark_pairs(costs)
    larger = np.zeros((80, 120), np.float32)
    larger[2:76:2, 7:107:2] = costs
    for same in (
        np.asfortranarray(costs),
        costs.astype(np.float64),
        np.ascontiguousarray(costs.T).T,
        np.ascontiguousarray(costs[::-1, ::-1])[::-1, ::-1],
        larger[2:76:2, 7:107:2],
    ):
        np.testing.assert_array_equal(kes.mark_pairs(same), expected)


def test_forbidden_pairs():
    forbidden = np.inf
    costs = np.array([[forbidden, 1], [forbidden, 2], [5, forbidden]])
    np.testing.assert_array_equal(kes.solve(costs), [[0, 2], [1, 0]])
    np.testing.assert_array_equal(kes.solve(costs[:2]), [[0], [1]])
    assert kes.solve(np.full((2, 2), forbidden))[0].size == 0


@pytest.mark.parametrize(
    "costs, error, advice",
    [
        ([[1.0]], TypeError, "list; it must be a numpy.ndarray"),
        (np.zeros((2, 2), int), ValueError, r"int64; it must be float32.*astype"),
        (np.zeros(3), ValueError, r"\(3,\); it must be \(rows, columns\)"),
        (np.array([[np.nan]]), ValueError, "Cost matrix must not hold NaN or negative infinity"),
        (np.array([[-np.inf]]), ValueError, "Cost matrix must not hold NaN or negative infinity"),
        (np.array([[1e39]]), ValueError, "beyond the largest float32"),
    ],
)
def test_refusals(costs, error, advice):
    with pytest.raises(error, match=advice):
        kes.solve(costs)


def test_several_threads_at_once():
    costs = np.random.default_rng(5).random((200, 200))
    expected = kes.solve(costs)
    results = []
    threads = [threading.Thread(target=lambda: results.append(kes.solve(costs))) for _ in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    np.testing.assert_array_equal(results, [expected] * 4)
