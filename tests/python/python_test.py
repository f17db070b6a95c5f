#!/usr/bin/env python3
"""The Python module and the adapter of PuLP on models whose answers are known, or found by cbc.

usage: python_test.py PROGRAM MODULE_FOLDER [unittest's words]
"""
import math
import os
import random
import shutil
import sys
import unittest

try:
    import pulp
except ImportError:
    pulp = None
try:
    import numpy
except ImportError:
    numpy = None


class Arrays(unittest.TestCase):
    def solve(self, *arguments, **named):
        return vorlan.solve(*arguments, **named)

    def test_linear_with_bounds_and_duals(self):
        answer = self.solve([-45, -80], [[-5, -20], [-10, -10]], [-400, -350], [("nonnegative", 2)],
                            lower=[0, 0])
        self.assertTrue(answer.is_optimal)
        self.assertAlmostEqual(answer.objective, -2100, places=6)
        for found, true in zip(answer.x + answer.y, [20, 15, 7 / 3, 10 / 3]):
            self.assertAlmostEqual(found, true, places=6)

    def test_each_cone(self):
        # min x0 over the boundary of each cone: the closed forms are the cones' definitions.
        for cone, b, optimum in ((("quadratic", 3), [0, -3, -4], 5), (("exponential", 3), [0, -1, -2], math.e ** 2),
                                 (("rotated quadratic", 3), [0, -2, -4], 4), (("power", 3, 0.5), [0, -4, -2], 1),
                                 (("dual exponential", 3), [0, 0, 1], 1 / math.e),
                                 (("dual power", 3, 0.5), [0, -1, -2], 1)):
            with self.subTest(cone=cone):
                answer = self.solve([1], [[1], [0], [0]], b, [cone])
                self.assertTrue(answer.is_optimal, answer)
                self.assertAlmostEqual(answer.objective, optimum, places=5)

    def test_semidefinite(self):
        # The largest eigenvalue of [[2, 1, 0], [1, 2, 1], [0, 1, 2]] is 2 + sqrt(2): min t, t I - M psd.
        identity = [[1], [0], [0], [1], [0], [1]]
        answer = self.solve([1], identity, [2, 1, 0, 2, 1, 2], [("semidefinite", 3)])
        self.assertAlmostEqual(answer.objective, 2 + math.sqrt(2), places=6)

    def test_integers_have_no_duals(self):
        answer = self.solve([1, 1], [[2, 2]], [3.5], [("nonnegative", 1)], lower=[0, 0], integer=[0, 1])
        self.assertEqual((answer.status, answer.y), ("integer optimal", None))
        self.assertAlmostEqual(answer.objective, 2)

    def test_maximization_and_what_is_unbounded_or_infeasible(self):
        self.assertAlmostEqual(self.solve([1], [[-1]], [-7], [("nonnegative", 1)], maximize=True).objective, 7)
        self.assertEqual(self.solve([1], [[1], [-1]], [1, 1], [("nonnegative", 2)]).problem, "primal infeasible")
        self.assertEqual(self.solve([-1], [[1]], [1], [("nonnegative", 1)]).problem, "dual infeasible")

    def test_sizes_that_do_not_fit_are_errors(self):
        for arguments in (([1], [[1]], [1, 2], [("zero", 2)]), ([1], [[1, 2]], [1], [("zero", 1)]),
                          ([1], [[1]], [1], []), ([1], [[1]], [1], [("zero", 2)]), ([1], [[1]], [1], [("cube", 1)]),
                          ([1], [[1]], [1], [("power", 1)])):
            with self.assertRaises(ValueError, msg=arguments):
                self.solve(*arguments)
        with self.assertRaises(ValueError):
            self.solve([1], [[1]], [1], [("zero", 1)], lower=[0, 0])

    def test_numbers_that_do_not_fit_are_errors(self):
        nan, inf = float("nan"), float("inf")
        for c, a, b in ((nan, 1, 1), (1, inf, 1), (1, nan, 1), (1, 1, nan), (inf, 1, 1)):
            with self.assertRaises(ValueError, msg=(c, a, b)):
                self.solve([c], [[a]], [b], [("nonnegative", 1)])
        for words in ({"lower": [nan]}, {"integer": [1]}, {"integer": [-1]}):
            with self.assertRaises(ValueError, msg=words):
                self.solve([1], [[1]], [1], [("nonnegative", 1)], **words)
        self.assertEqual(self.solve([1], [[1], [1]], [1, -inf], [("nonnegative", 2)]).x, [1])

    def test_the_programs_reason_is_the_error(self):
        with self.assertRaisesRegex(vorlan.SolveError, "VLN_IPAR_PRESOLVE"):
            self.solve([1], [[1]], [1], [("zero", 1)], parameters={"VLN_IPAR_PRESOLV": 1})
        with self.assertRaisesRegex(vorlan.SolveError, "not found"):
            self.solve([1], [[1]], [1], [("zero", 1)], program="/nothing/here")

    @unittest.skipIf(numpy is None, "numpy is not installed")
    def test_arrays_of_numpy_and_sparse_matrices(self):
        class Coordinates:  # what a scipy.sparse matrix offers of itself
            shape = (2, 2)
            row, col, data = numpy.array([0, 1, 1]), numpy.array([0, 1, 1]), numpy.array([1.0, 1.0, 1.0])

            def tocoo(self):
                return self

        dense = numpy.array([[1.0, 0.0], [0.0, 2.0]])
        for matrix in (dense, Coordinates()):
            answer = self.solve(numpy.array([1.0, 1.0]), matrix, numpy.array([3.0, 4.0]), [("zero", 2)])
            self.assertAlmostEqual(answer.objective, 5)


@unittest.skipIf(pulp is None, "PuLP is not installed")
class Pulp(unittest.TestCase):
    def solver(self, **named):
        from vorlan.pulp_solver import VorlanSolver
        return VorlanSolver(msg=False, **named)

    def random_problem(self, seed):
        chance = random.Random(seed)
        problem = pulp.LpProblem("mixed", chance.choice([pulp.LpMaximize, pulp.LpMinimize]))
        count = chance.randrange(3, 9)
        variables = [pulp.LpVariable(f"x {j}", 0, chance.randrange(2, 9), chance.choice(["Integer", "Continuous"]))
                     for j in range(count)]
        problem += pulp.lpSum(chance.randrange(-9, 10) * x for x in variables) + chance.randrange(5)
        for i in range(chance.randrange(2, 6)):
            sum_of = pulp.lpSum(chance.randrange(-5, 10) * x for x in variables)
            side = chance.randrange(0, 40)
            problem += (sum_of <= side if chance.random() < 0.7 else sum_of >= side // 4), f"row {i}"
        return problem

    @unittest.skipIf(shutil.which("cbc") is None, "cbc is not installed")
    def test_answers_are_those_of_cbc(self):
        solved = 0
        for seed in range(25):
            problem = self.random_problem(seed)
            theirs = pulp.LpStatus[problem.solve(pulp.COIN_CMD(msg=False, path=shutil.which("cbc")))]
            objective = pulp.value(problem.objective)
            ours = pulp.LpStatus[problem.solve(self.solver())]
            self.assertEqual(ours == "Optimal", theirs == "Optimal", seed)
            if ours == "Optimal":
                solved += 1
                self.assertAlmostEqual(pulp.value(problem.objective), objective, places=5, msg=seed)
                self.assertTrue(problem.valid(1e-5), seed)
        self.assertGreater(solved, 5)

    def test_prices_and_reduced_costs(self):
        problem = pulp.LpProblem("furniture", pulp.LpMaximize)
        chairs, tables = pulp.LpVariable("chairs", 0), pulp.LpVariable("tables", 0)
        lamps = pulp.LpVariable("lamps", 0)
        problem += 45 * chairs + 80 * tables + lamps
        problem += 5 * chairs + 20 * tables + lamps <= 400, "wood"
        problem += 10 * chairs + 10 * tables <= 350, "work"
        self.assertEqual(problem.solve(self.solver()), pulp.LpStatusOptimal)
        self.assertAlmostEqual(problem.constraints["wood"].pi, 7 / 3, places=6)
        self.assertAlmostEqual(problem.constraints["work"].pi, 10 / 3, places=6)
        self.assertAlmostEqual(lamps.dj, 1 - 7 / 3, places=6)

    def test_infeasible_unbounded_and_a_wrong_parameter(self):
        x = pulp.LpVariable("x", 0)
        problem = pulp.LpProblem("no", pulp.LpMinimize)
        problem += x
        problem += x <= -1
        self.assertEqual(pulp.LpStatus[problem.solve(self.solver())], "Infeasible")
        problem = pulp.LpProblem("free", pulp.LpMaximize)
        problem += x
        problem += x >= 1
        self.assertEqual(pulp.LpStatus[problem.solve(self.solver())], "Unbounded")
        with self.assertRaisesRegex(pulp.PulpSolverError, "VLN_IPAR_PRESOLVE"):
            problem.solve(self.solver(options={"VLN_IPAR_PRESOLV": 1}.items()))


if __name__ == "__main__":
    os.environ["VORLANCLI"] = os.path.abspath(sys.argv.pop(1))
    sys.path.insert(0, sys.argv.pop(1))
    import vorlan
    unittest.main()
