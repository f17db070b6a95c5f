"""A solver for PuLP: `problem.solve(VorlanSolver(timeLimit=60))`."""
import pathlib
import tempfile

import pulp

from .worker import SolveError, best_solution, find_program, run

# What PuLP calls a problem whose solution has this status; what is missing is not solved.
_STATUSES = {
    "optimal": pulp.constants.LpStatusOptimal,
    "integer optimal": pulp.constants.LpStatusOptimal,
    "primal infeasible certificate": pulp.constants.LpStatusInfeasible,
    "dual infeasible certificate": pulp.constants.LpStatusUnbounded,
}
_WITH_POINT = ("primal feasible", "primal and dual feasible")


class VorlanSolver(pulp.LpSolver_CMD):
    """Solves with vorlancli; the argument `options` holds pairs of parameter and value.

    Variables get values, and where the model has no integers reduced costs (dj); constraints get
    prices (pi) and slacks.
    """

    name = "VORLAN"

    def __init__(self, path=None, keepFiles=False, mip=True, msg=True, options=None, timeLimit=None):
        super().__init__(mip=mip, msg=msg, options=options, path=path, timeLimit=timeLimit,
                         keepFiles=keepFiles)

    def defaultPath(self):
        """What PATH, or the variable VORLANCLI, has."""
        try:
            return find_program()
        except SolveError:
            return "vorlancli"

    def available(self):
        """Whether the program is there."""
        try:
            return find_program(self.path)
        except SolveError:
            return False

    def actualSolve(self, lp):
        """Solves the problem and gives its variables and constraints their values."""
        with tempfile.TemporaryDirectory(prefix="vorlan-") as folder:
            model = pathlib.Path(folder) / "model.mps"
            _, variables, constraints, _ = lp.writeMPS(str(model), rename=1, mip=self.mip)
            try:
                document = run(folder, model.name, program=self.path, parameters=self.options or (),
                               time_limit=self.timeLimit, show_log=self.msg)
            except SolveError as error:
                raise pulp.PulpSolverError(f"PuLP: {error}") from error
        kind, solution = best_solution(document)
        return self._take(lp, kind, solution, document, variables, constraints)

    def _take(self, lp, kind, solution, document, variables, constraints):
        reported = solution.get("solution status", "unknown")
        status = _STATUSES.get(reported, pulp.constants.LpStatusNotSolved)
        # An infeasible integer model has no certificate.
        if status == pulp.constants.LpStatusNotSolved and solution.get("problem status") == "primal infeasible":
            status = pulp.constants.LpStatusInfeasible
        has_point = reported in _WITH_POINT or status == pulp.constants.LpStatusOptimal
        if has_point:
            own = {renamed: name for name, renamed in variables.items()}
            names = [own.get(name, name) for name in document["variables"].get("names", [])]
            lp.assignVarsVals(dict(zip(names, solution["xx"])))
            if kind != "integer":
                costs = [low - high for low, high in zip(solution["slx"], solution["sux"])]
                lp.assignVarsDj(dict(zip(names, costs)))
                rows = {renamed: name for name, renamed in constraints.items()}
                row_names = [rows.get(name, name) for name in document["constraints"].get("names", [])]
                lp.assignConsPi(dict(zip(row_names, solution["y"])))
        if reported in _WITH_POINT:
            lp.assignStatus(pulp.constants.LpStatusOptimal, pulp.constants.LpSolutionIntegerFeasible)
            return pulp.constants.LpStatusOptimal
        lp.assignStatus(status)
        return status
