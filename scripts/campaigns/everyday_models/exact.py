"""Small linear and quadratic models in exact rational numbers, and the same models in everyday units.

A program is: minimize c'x + x'Qx/2, where each row a'x is <=, = or >= its side, and x >= 0 but for the
columns that are free. Linear ones are solved by the simplex method with Bland's rule, which ends; strictly
convex ones by trying every set of active inequalities. Both work in fractions, without any tolerance.
"""
import dataclasses
import itertools
from fractions import Fraction

from campaigns.everyday_models.modelfile import INFINITY, Case, Model, power_of_ten

LEAST_UNIT, LARGEST_UNIT = -6, 11


@dataclasses.dataclass
class Program:
    costs: list
    rows: list  # (coefficients, relation, side)
    free: set = dataclasses.field(default_factory=set)
    squares: list = None  # Q, as a list of rows

    def row(self, coefficients, relation, side):
        self.rows.append((coefficients, relation, side))


def eliminate(table, row, column):
    """Gives the row a 1 in the column, and all other rows a 0."""
    divisor = table[row][column]
    table[row] = [value / divisor for value in table[row]]
    for i, other in enumerate(table):
        if i != row and other[column]:
            factor = other[column]
            table[i] = [a - factor * b for a, b in zip(other, table[row])]


def solve_system(matrix, sides):
    """The solution of a square system by Gauss, or None where it is singular."""
    table = [[*map(Fraction, row), Fraction(side)] for row, side in zip(matrix, sides)]
    count = len(table)
    for k in range(count):
        pivot = next((i for i in range(k, count) if table[i][k]), None)
        if pivot is None:
            return None
        table[k], table[pivot] = table[pivot], table[k]
        eliminate(table, k, k)
    return [row[count] for row in table]


def pivot_on(table, base, row, column):
    eliminate(table, row, column)
    base[row] = column


def simplex(table, base, columns):
    """Minimizes the last row of a table in canonical form over its first columns; False if unbounded."""
    while True:
        entering = next((j for j in range(columns) if table[-1][j] < 0), None)
        if entering is None:
            return True
        leaving = [(table[i][-1] / table[i][entering], base[i], i)
                   for i in range(len(base)) if table[i][entering] > 0]
        if not leaving:
            return False
        pivot_on(table, base, min(leaving)[2], entering)


def linear_optimum(program):
    """A best point, INFINITY where the costs fall without end, None where there is no point."""
    parts = [(j, sign) for j in range(len(program.costs)) for sign in ((1, -1) if j in program.free else (1,))]
    slacks = [i for i, (_, relation, _) in enumerate(program.rows) if relation != "="]
    columns = len(parts) + len(slacks)
    table = []
    for i, (coefficients, relation, side) in enumerate(program.rows):
        row = [Fraction(sign * coefficients[j]) for j, sign in parts]
        row += [Fraction((1 if relation == "<=" else -1) * (i == k)) for k in slacks]
        row += [Fraction(0)] * len(program.rows) + [Fraction(side)]
        row = [-value for value in row] if side < 0 else row
        row[columns + i] = Fraction(1)
        table.append(row)
    base = [columns + i for i in range(len(table))]
    width = columns + len(program.rows) + 1
    table.append([-sum(row[j] for row in table) * (j < columns or j == width - 1) for j in range(width)])
    simplex(table, base, columns)
    if table[-1][-1]:
        return None
    for i, member in enumerate(base):
        entering = next((j for j in range(columns) if table[i][j]), None)
        if member >= columns and entering is not None:
            pivot_on(table, base, i, entering)
    kept = [i for i, member in enumerate(base) if member < columns]
    table, base = [table[i] for i in kept] + [table[-1]], [base[i] for i in kept]
    costs = [Fraction(sign * program.costs[j]) for j, sign in parts]
    costs += [Fraction(0)] * (len(table[-1]) - len(costs))
    for i, member in enumerate(base):
        factor = costs[member]
        costs = [a - factor * b for a, b in zip(costs, table[i])]
    table[-1] = costs
    if not simplex(table, base, columns):
        return INFINITY
    values = {member: table[i][-1] for i, member in enumerate(base)}
    point = [Fraction(0)] * len(program.costs)
    for k, (j, sign) in enumerate(parts):
        point[j] += sign * values.get(k, 0)
    return point


def quadratic_optimum(program):
    """The best point of a strictly convex program, or None where there is no point."""
    count = len(program.costs)
    equations = [(row, side) for row, relation, side in program.rows if relation == "="]
    limits = [([-a for a in row], -side) if relation == "<=" else (row, side)
              for row, relation, side in program.rows if relation != "="]
    limits += [([int(j == k) for k in range(count)], 0) for j in range(count) if j not in program.free]
    for size in range(min(len(limits), count - len(equations)) + 1):
        for chosen in itertools.combinations(limits, size):
            active = [*equations, *chosen]
            matrix = [[*program.squares[j], *(-row[j] for row, _ in active)] for j in range(count)]
            matrix += [[*row, *[0] * len(active)] for row, _ in active]
            found = solve_system(matrix, [*(-cost for cost in program.costs), *(side for _, side in active)])
            if found is None:
                continue
            point, multipliers = found[:count], found[count + len(equations):]
            if min(multipliers, default=0) >= 0 and all(
                    sum(a * x for a, x in zip(row, point)) >= side for row, side in limits):
                return point
    return None


def best_point(program):
    return quadratic_optimum(program) if program.squares else linear_optimum(program)


def cost_terms(program, point):
    """The terms of the objective at a point."""
    terms = [cost * x for cost, x in zip(program.costs, point)]
    for j, row in enumerate(program.squares or []):
        terms += [a * point[j] * point[k] / 2 for k, a in enumerate(row)]
    return terms


def unit(draw):
    return power_of_ten(draw, LEAST_UNIT, LARGEST_UNIT)


def in_units(program, columns, rows, money, sense="Minimize"):
    """The program with a unit for each column, each row and the objective, and its optimum.

    Errors are measured against the terms of the objective, which may cancel. "Maximize" turns its signs.
    """
    sign = -1 if sense == "Maximize" else 1
    model = Model(sense)
    count = len(program.costs)
    names = [(model.free if j in program.free else model.variable)(float(sign * program.costs[j]) * money / columns[j])
             for j in range(count)]
    for (coefficients, relation, side), size in zip(program.rows, rows):
        model.row([(float(a) * size / columns[j], names[j]) for j, a in enumerate(coefficients) if a],
                  relation, float(side) * size)
    for j, row in enumerate(program.squares or []):
        model.quadratic_costs += [(float(sign * row[k]) * (1 if j == k else 2) * money / columns[j] / columns[k],
                                   names[j], names[k]) for k in range(j + 1) if row[k]]
    point = best_point(program)
    if point is None:
        homogeneous = Program(program.costs, [(row, relation, 0) for row, relation, _ in program.rows], program.free)
        return Case(model, None, has_ray=not program.squares and linear_optimum(homogeneous) == INFINITY)
    if point == INFINITY:
        return Case(model, -sign * INFINITY, 1.0)
    terms = cost_terms(program, point)
    size = max(sum(map(abs, terms)), max(map(abs, program.costs)) * max(map(abs, point)) / 1000)
    return Case(model, float(sign * sum(terms)) * money, (float(size) or 1.0) * money)
