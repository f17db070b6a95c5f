"""Solve conic and mixed-integer models given as arrays, with the program vorlancli.

    import numpy, vorlan
    # minimize x0 + x1 subject to x0 + 2 x1 >= 3, (x0, x1) of norm at most 4
    answer = vorlan.solve(
        c=[1, 1],
        A=[[1, 2], [0, 0], [1, 0], [0, 1]],
        b=[3, -4, 0, 0],
        cones=[("nonnegative", 1), ("quadratic", 3)])
    answer.status, answer.objective, answer.x

The module needs the standard library alone. `A` may be a list of rows, a numpy array or any scipy.sparse
matrix. vorlan.pulp_solver has an adapter for PuLP.
"""
from .model import CONES, Answer, SolveError, solve

__all__ = ["CONES", "Answer", "SolveError", "solve"]
