"""Models given as arrays, written as task files."""
import dataclasses
import json
import math
import pathlib
import tempfile

from .worker import SolveError, best_solution, run

#: The cones that a block of rows may lie in, each with what A x - b satisfies in it.
CONES = {
    "zero": "each is 0",
    "nonnegative": "each is at least 0",
    "quadratic": "the first is at least the norm of the others",
    "rotated quadratic": "2 times the product of the first two is at least the sum of the others' squares",
    "exponential": "x0 >= x1 exp(x2 / x1), x1 >= 0; three rows",
    "dual exponential": "the dual of the exponential cone; three rows",
    "power": "x0^a x1^(1-a) >= the norm of the others, given as (\"power\", rows, a)",
    "dual power": "the dual of the power cone, given as (\"dual power\", rows, a)",
    "semidefinite": "the lower triangle, column by column, of a positive semidefinite matrix of this dimension",
}
# The numbers of the task file.
_KINDS = {"quadratic": 0, "rotated quadratic": 1, "exponential": 2, "dual exponential": 3, "power": 4,
          "dual power": 5}


@dataclasses.dataclass
class Answer:
    """What came of a solve.

    status: the solution status of the JSON solution ("optimal", "integer optimal", "primal infeasible
    certificate", ...; "unknown" where there is no solution). x: a value for each variable. y: a dual for
    each row of A, None for an integer solution. Of a certificate they are the ray. problem: the
    problem status.
    """

    status: str
    problem: str
    objective: float | None
    x: list
    y: list | None

    @property
    def is_optimal(self):
        """Whether x is an optimum."""
        return self.status in ("optimal", "integer optimal")


def solve(c, A, b, cones, *, lower=None, upper=None, integer=(), maximize=False, parameters=(),
          time_limit=None, program=None, show_log=False):
    """Minimizes c'x subject to A x - b in K and lower <= x <= upper.

    c: n numbers. A: m x n, as a list of rows, a numpy array or a scipy.sparse matrix. b: m numbers.
    cones: pairs of a name of CONES and a number of rows (of "semidefinite": the dimension d, for
    d (d + 1) / 2 rows; of the power cones a third item, the exponent), in the order of the rows.
    lower, upper: n numbers, free when missing. integer: indices of integer variables. parameters:
    names and values of the optimizer's parameters. time_limit: seconds. Returns an Answer; raises
    ValueError where sizes or numbers do not fit and SolveError where the program refuses.
    """
    costs = [_finite(value, "c") for value in c]
    model = _Model(costs, list(map(float, b)), *_columns(A, len(costs)))
    if any(map(math.isnan, model.b)):
        raise ValueError("b has a NaN")
    row = 0
    for cone in cones:
        row = model.add_block(row, *cone)
    if row != len(model.b):
        raise ValueError(f"the cones have {row} rows, b has {len(model.b)}")
    document = model.document(lower, upper, integer, maximize)
    with tempfile.TemporaryDirectory(prefix="vorlan-") as folder:
        path = pathlib.Path(folder) / "model.jtask"
        path.write_text(json.dumps(document), encoding="utf-8")
        result = run(folder, path.name, program=program, parameters=parameters, time_limit=time_limit,
                     show_log=show_log)
    return _answer(result, len(model.c), len(model.b))


def _answer(document, variables, rows):
    kind, solution = best_solution(document)
    if kind is None:
        return Answer("unknown", "unknown", None, [], None)
    duals = None if kind == "integer" else solution["y"][:rows]
    return Answer(solution["solution status"], solution["problem status"], solution.get("primal objective"),
                  solution["xx"][:variables], duals)


def _columns(A, width):
    """The number of rows, and for each column its pairs of row and value, of any form of A."""
    if hasattr(A, "tocoo"):
        entries = A.tocoo()
        shape, triples = entries.shape, zip(entries.row, entries.col, entries.data)
    else:
        rows = [list(row) for row in A]
        if any(len(row) != width for row in rows):
            raise ValueError(f"a row of A has not {width} elements, as c has")
        shape = (len(rows), width)
        triples = ((i, j, value) for i, row in enumerate(rows) for j, value in enumerate(row))
    if shape[1] != width:
        raise ValueError(f"A has {shape[1]} columns, c has {width} elements")
    sums = [{} for _ in range(width)]
    for i, j, value in triples:
        sums[j][int(i)] = sums[j].get(int(i), 0.0) + _finite(value, "A")
    return shape[0], [[(i, value) for i, value in sorted(column.items()) if value != 0.0] for column in sums]


def _finite(value, name):
    value = float(value)
    if not math.isfinite(value):
        raise ValueError(f"{name} has the element {value}")
    return value


def _bound(value):
    value = float(value)
    if math.isnan(value):
        raise ValueError("a bound is a NaN")
    return value if abs(value) != float("inf") else ("inf" if value > 0 else "-inf")


class _Model:
    """The rows of A x - b, block by block: a row outside the linear cones gets a variable of its own
    that is equal to it, and is in the cone; a semidefinite block gets a matrix variable."""

    def __init__(self, c, b, rows, columns):
        if rows != len(b):
            raise ValueError(f"A has {rows} rows, b has {len(b)} elements")
        self.c, self.b, self.columns = c, b, columns
        self.added = []  # the rows whose variable is in a cone
        self.cones = {"kind": [], "size": [], "members": [], "exponents": [], "exponent count": []}
        self.upper = [float(value) for value in b]
        self.dimensions = []
        self.entries = {"constraint": [], "variable": [], "row": [], "col": [], "value": []}

    def add_block(self, row, name, size, exponent=None):
        """Puts the next rows into a cone; returns the row after them."""
        if name not in CONES:
            raise ValueError(f"there is no cone {name!r}; the names are {', '.join(CONES)}")
        count = size * (size + 1) // 2 if name == "semidefinite" else size
        if size < 1 or row + count > len(self.b):
            raise ValueError(f"the cone {name!r} of size {size} does not fit into {len(self.b)} rows")
        if ("power" in name) != (exponent is not None):
            raise ValueError(f"the cone {name!r} takes {'an' if 'power' in name else 'no'} exponent")
        if name == "nonnegative":
            self.upper[row:row + count] = [float("inf")] * count
        elif name == "semidefinite":
            self._add_matrix(row, size)
        elif name != "zero":
            self._add_cone(row, _KINDS[name], count, exponent)
        return row + count

    def _add_matrix(self, row, dimension):
        for column in range(dimension):
            for line in range(column, dimension):
                # The element of a symmetric matrix off the diagonal counts twice.
                value = -1.0 if line == column else -0.5
                for key, item in zip(self.entries, (row, len(self.dimensions), line, column, value)):
                    self.entries[key].append(item)
                row += 1
        self.dimensions.append(dimension)

    def _add_cone(self, row, kind, count, exponent):
        first = len(self.c) + len(self.added)
        self.added += range(row, row + count)
        self.cones["kind"].append(kind)
        self.cones["size"].append(count)
        self.cones["members"] += range(first, first + count)
        self.cones["exponents"] += [] if exponent is None else [float(exponent), 1.0 - float(exponent)]
        self.cones["exponent count"].append(0 if exponent is None else 2)

    def document(self, lower, upper, integer, maximize):
        """The task file as a document."""
        own, added = len(self.c), len(self.added)
        columns = self.columns + [[(row, -1.0)] for row in self.added]
        start = [0]
        for column in columns:
            start.append(start[-1] + len(column))
        kinds = [0] * (own + added)
        for j in integer:
            if not 0 <= j < own:
                raise ValueError(f"integer has the index {j} of {own} variables")
            kinds[j] = 1
        variables = {"lower": self._bounds(lower, "-inf") + ["-inf"] * added,
                     "upper": self._bounds(upper, "inf") + ["inf"] * added, "kind": kinds}
        if self.cones["kind"]:
            variables["cones"] = self.cones
        constraints = {"lower": list(map(_bound, self.b)), "upper": list(map(_bound, self.upper))}
        document = {"format": "vorlan task", "version": 1,
                    "objective": {"sense": "maximize" if maximize else "minimize",
                                  "linear": self.c + [0.0] * added},
                    "variables": variables, "constraints": constraints,
                    "coefficients": {"start": start, "row": [row for column in columns for row, _ in column],
                                     "value": [value for column in columns for _, value in column]}}
        if self.dimensions:
            constraints["matrices"] = self.entries
            document["matrix variables"] = {"dimension": self.dimensions}
        return document

    def _bounds(self, given, missing):
        if given is None:
            return [missing] * len(self.c)
        bounds = [_bound(value) for value in given]
        if len(bounds) != len(self.c):
            raise ValueError(f"there are {len(bounds)} bounds for {len(self.c)} variables")
        return bounds
