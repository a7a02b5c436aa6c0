"""Prints the time, in microseconds a matrix, of SciPy's linear_sum_assignment on square matrices.

usage: solve_scipy.py FILE SIZE; the file holds the matrices' single-precision costs, column after
column. What is printed is the median of many passes through all of them, calls included.
"""
import statistics
import sys
import time

import numpy
from scipy.optimize import linear_sum_assignment

path, size = sys.argv[1], int(sys.argv[2])
matrices = numpy.fromfile(path, numpy.float32).reshape(-1, size, size).transpose(0, 2, 1)
matrices = [numpy.ascontiguousarray(costs, numpy.float64) for costs in matrices]
for costs in matrices:
    # SciPy gives a matrix up that has no complete assignment, so what is forbidden is only dear.
    costs[costs > 3e38] = 1e5
times = []
end = time.perf_counter() + 0.3
while len(times) < 5 or time.perf_counter() < end:
    start = time.thread_time()
    for costs in matrices:
        linear_sum_assignment(costs)
    times.append(time.thread_time() - start)
print(statistics.median(times) * 1e6 / len(matrices))
