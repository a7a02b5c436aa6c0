"""Prints the median time, in microseconds, of SciPy's linear_sum_assignment on a square matrix.

usage: solve_scipy.py FILE SIZE; the file holds single-precision costs, column after column.
"""
import statistics
import sys
import time

import numpy
from scipy.optimize import linear_sum_assignment

path, size = sys.argv[1], int(sys.argv[2])
costs = numpy.fromfile(path, numpy.float32).reshape(size, size).T.astype(numpy.float64)
# SciPy gives a matrix up that has no complete assignment, so what is forbidden is only dear here.
costs[costs > 3e38] = 1e5
costs = numpy.ascontiguousarray(costs)
times = []
end = time.perf_counter() + 0.3
while len(times) < 5 or time.perf_counter() < end:
    start = time.perf_counter()
    linear_sum_assignment(costs)
    times.append(time.perf_counter() - start)
print(statistics.median(times) * 1e6)
