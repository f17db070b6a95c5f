"""A small writer of models, and what a family of models gives: a model and the optimum that it must have.

The writer shares nothing with the project's own readers and writers. Every number is written with all
digits of its double, so that the model that is solved is the one whose optimum is known.
"""
import dataclasses
import math

INFINITY = math.inf


@dataclasses.dataclass
class Row:
    terms: list
    relation: str
    right_side: float
    condition: tuple  # a binary variable and the value at which the row holds, or None
    products: list


@dataclasses.dataclass
class Case:
    """The optimum is None where the model has no point, and infinite where its objective has no end.

    Errors are told as multiples of the scale. A model without a point may have a ray of its objective.
    """
    model: object
    optimum: float
    scale: float = None
    has_ray: bool = False

    def __post_init__(self):
        if self.scale is None:
            self.scale = abs(self.optimum or 1.0)


def signed(coefficient, name):
    return f"{'-' if coefficient < 0 else '+'} {abs(float(coefficient))!r} {name}"


def linear(terms):
    return " ".join(signed(coefficient, name) for coefficient, name in terms)


def quadratic(products):
    return " ".join(signed(coefficient, f"{first}^2" if first == second else f"{first} * {second}")
                    for coefficient, first, second in products)


class Model:
    def __init__(self, sense="Minimize"):
        self.sense = sense
        self.costs = []
        self.bounds = {}
        self.rows = []
        self.integers = []
        self.semicontinuous = []
        self.matrices = []
        self.cones = []
        self.quadratic_costs = []  # (coefficient, name, name), halved by the format

    def variable(self, cost=0.0, lower=0.0, upper=INFINITY):
        name = f"x{len(self.bounds)}"
        self.costs.append((cost, name))
        self.bounds[name] = (lower, upper)
        return name

    def free(self, cost=0.0):
        return self.variable(cost, -INFINITY)

    def fixed(self, value):
        return self.variable(0.0, value, value)

    def integer(self, cost=0.0, lower=0.0, upper=INFINITY):
        name = self.variable(cost, lower, upper)
        self.integers.append(name)
        return name

    def binary(self, cost=0.0):
        return self.integer(cost, 0.0, 1.0)

    def semi(self, cost, lower, upper):
        """A variable that is 0 or between its bounds."""
        name = self.variable(cost, lower, upper)
        self.semicontinuous.append(name)
        return name

    def matrix(self, size):
        name = f"X{len(self.matrices)}"
        self.matrices.append((name, size))
        return name

    def row(self, terms, relation, right_side, condition=None, products=()):
        self.rows.append(Row(terms, relation, right_side, condition, products))

    def total(self, names, relation, right_side):
        self.row([(1, name) for name in names], relation, right_side)

    def copies(self, names, factor):
        """A free variable for each name that is the factor times it: a variable may be in one cone only."""
        found = [self.free() for _ in names]
        for copy, name in zip(found, names):
            self.row([(factor, name), (-1, copy)], "=", 0)
        return found

    def cone(self, kind, *members):
        self.cones.append(" ".join([kind, *members]))

    def exponential(self, bound, exponent):
        """bound >= exp(exponent)."""
        self.cone("exponential", bound, self.fixed(1), exponent)

    def is_linear(self):
        """Whether it has linear costs and rows alone."""
        return not (self.integers or self.semicontinuous or self.matrices or self.cones or self.quadratic_costs
                    or any(row.products or row.condition for row in self.rows))

    def text(self):
        lines = ["Minimize ] extended problem 1"]
        if self.matrices:
            lines += ["Matrix Variables", *(f" {name}({size})" for name, size in self.matrices)]
        lines += [self.sense, self._objective_text(), "Subject To"]
        lines += [self._row_text(number, row) for number, row in enumerate(self.rows)]
        lines += ["Bounds", *(self._bound_text(name) for name in self.bounds)]
        for heading, names in (("Generals", self.integers), ("Semi-continuous", self.semicontinuous)):
            if names:
                lines += [heading, " " + " ".join(names)]
        if self.cones:
            lines += ["Cones", *(f" k{number}: {cone}" for number, cone in enumerate(self.cones))]
        return "\n".join([*lines, "End", ""])

    def _objective_text(self):
        text = " o: " + linear(self.costs)
        return text + f" + [ {quadratic(self.quadratic_costs)} ] / 2" if self.quadratic_costs else text

    @staticmethod
    def _row_text(number, row):
        text = f" r{number}: "
        if row.condition:
            text += f"{row.condition[0]} = {row.condition[1]} -> "
        text += linear(row.terms)
        if row.products:
            text += f" + [ {quadratic(row.products)} ]"
        return f"{text} {row.relation} {float(row.right_side)!r}"

    def _bound_text(self, name):
        lower, upper = (float(bound) for bound in self.bounds[name])
        if lower == upper:
            return f" {name} = {lower!r}"
        if (lower, upper) == (-INFINITY, INFINITY):
            return f" {name} free"
        return f" {lower!r} <= {name} <= {upper!r}"


def power_of_ten(draw, least, most):
    """A unit: euros or millions of them, millimetres or kilometres."""
    return 10.0 ** draw.randint(least, most)


def subsets(count):
    """Every set of the numbers below the count, as a list."""
    for mask in range(1 << count):
        yield [i for i in range(count) if mask >> i & 1]


def cheapest_fill(order, lower, upper, amount):
    """How much each member takes when all take their lower amount and the first ones the rest."""
    taken = {i: lower[i] for i in order}
    rest = max(0.0, amount - sum(taken.values()))
    for i in order:
        more = min(rest, upper[i] - lower[i])
        taken[i] += more
        rest -= more
    return taken
