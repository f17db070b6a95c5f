"""Choices with quadratic costs, risks or rows: few shares, least lots, sites with congestion, few columns.

The optimum is the best over all choices. What remains for one is solved in fractions, or is the zero of
a function of one variable, found by bisection.
"""
import math

from campaigns.everyday_models.curves import bisect
from campaigns.everyday_models.exact import Program, quadratic_optimum, unit
from campaigns.everyday_models.modelfile import INFINITY, Case, Model, power_of_ten, subsets


def shares_of(draw):
    count = draw.randint(3, 5)
    return count, [draw.randint(2, 20) for _ in range(count)], [draw.randint(2, 30) for _ in range(count)]


def few(model, names, most, top):
    """At most so many of the names are not 0, and none is above the top."""
    held = [model.binary() for _ in names]
    for name, switch in zip(names, held):
        model.row([(1, name), (-top, switch)], "<=", 0)
    model.total(held, "<=", most)


def exact_value(squares, costs, rows):
    """The least value of a strictly convex program, or INFINITY."""
    program = Program(costs, rows, squares=squares)
    point = quadratic_optimum(program)
    if point is None:
        return INFINITY
    return float(sum(c * x for c, x in zip(costs, point))
                 + sum(squares[j][k] * point[j] * point[k] for j in range(len(point)) for k in range(len(point))) / 2)


def least_risk_of_few(draw):
    """The least variance of at most two or three shares of a budget with a return."""
    count, returns, deviations = shares_of(draw)
    market = [draw.randint(-5, 20) for _ in range(count)]
    most, wanted, euro, risk = draw.randint(1, 3), draw.randint(3, 12), unit(draw), draw.choice([1, 1e-4])
    budget = euro * 100
    squares = [[2 * (market[j] * market[k] + deviations[j] ** 2 * (j == k)) for k in range(count)]
               for j in range(count)]
    model = Model()
    amounts = [model.variable() for _ in returns]
    model.total(amounts, "=", budget)
    model.row([(r / 100, name) for r, name in zip(returns, amounts)], ">=", wanted * euro)
    few(model, amounts, most, budget)
    model.quadratic_costs = [(squares[j][k] * (1 if j == k else 2) * risk, amounts[j], amounts[k])
                             for j in range(count) for k in range(j + 1)]
    best = min(exact_value([[squares[j][k] for k in chosen] for j in chosen], [0] * len(chosen),
                           [([1] * len(chosen), "=", 100), ([returns[j] for j in chosen], ">=", 100 * wanted)])
               for chosen in subsets(count) if 1 <= len(chosen) <= most)
    return Case(model, None if best == INFINITY else best * euro ** 2 * risk)


def best_return(returns, deviations, risk):
    """The largest return of parts of 1 whose own deviations have a root of squares of at most the risk.

    With a price of money the parts are as (return - price)+ / deviation^2, so large that they take the
    whole risk; the price is 0 or the one at which they sum to 1.
    """
    def parts(price):
        raw = [max(0.0, r - price) / d ** 2 for r, d in zip(returns, deviations)]
        size = math.hypot(*(x * d for x, d in zip(raw, deviations)))
        return [x * risk / size for x in raw] if size else raw

    price = bisect(lambda p: sum(parts(p)) > 1, 0.0, max(returns) * (1 - 1e-15))
    found = parts(0.0 if sum(parts(0.0)) <= 1 else price)
    if sum(found) > 1 + 1e-9:  # all in the best share takes less than the risk
        leaders = [d for r, d in zip(returns, deviations) if r == max(returns)]
        return max(returns) if len(leaders) == 1 else None
    return sum(r * x for r, x in zip(returns, found))


def return_of_few(draw):
    """The largest return of at most so many shares of a budget, with a limit on the risk as a row or a cone."""
    count, _, _ = shares_of(draw)
    returns, deviations = draw.sample(range(2, 25), count), [draw.randint(2, 30) for _ in range(count)]
    most, euro, risk = draw.randint(1, 3), unit(draw), draw.choice([1, 3, 6])
    budget = euro * draw.randint(1, 90)
    model = Model("Maximize")
    amounts = [model.variable(r / 100) for r in returns]
    model.total(amounts, "<=", budget)
    few(model, amounts, most, budget)
    if draw.random() < .5:
        model.row([], "<=", (risk / 100 * budget) ** 2,
                  products=[((d / 100) ** 2, name, name) for d, name in zip(deviations, amounts)])
    else:
        parts = [model.free() for _ in amounts]
        for name, part, d in zip(amounts, parts, deviations):
            model.row([(d / 100, name), (-1, part)], "=", 0)
        model.cone("quadratic", model.fixed(risk / 100 * budget), *parts)
    best = max(best_return([returns[i] for i in chosen], [deviations[i] for i in chosen], risk)
               for chosen in subsets(count) if 1 <= len(chosen) <= most)
    return Case(model, best / 100 * budget)


def filled(lower, upper, slopes, total):
    """The amounts between limits with the least sum of slope x^2 / 2 and a total, all at one price."""
    def amounts(price):
        return [min(u, max(l, price / s)) for l, u, s in zip(lower, upper, slopes)]
    if not sum(lower) <= total <= sum(upper):
        return None
    price = bisect(lambda p: sum(amounts(p)) < total, 0.0, max(s * u for s, u in zip(slopes, upper)))
    return amounts(price)


def least_lots(draw):
    """A budget over shares that are bought from a least lot on or not at all, for the least variance."""
    count, euro, risk = draw.randint(2, 5), power_of_ten(draw, -6, 6), draw.choice([1, 1e-4])
    lower = [draw.randint(5, 40) for _ in range(count)]
    upper = [least + draw.randint(5, 50) for least in lower]
    slopes, total = [draw.randint(1, 40) for _ in range(count)], draw.randint(20, 120)
    model = Model()
    amounts = [model.semi(0, least * euro, most * euro) for least, most in zip(lower, upper)]
    model.total(amounts, "=", total * euro)
    model.quadratic_costs = [(slope * risk, name, name) for slope, name in zip(slopes, amounts)]
    best = INFINITY
    for chosen in subsets(count):
        own = [slopes[i] for i in chosen]
        found = filled([lower[i] for i in chosen], [upper[i] for i in chosen], own, total) if chosen else None
        if found:
            best = min(best, sum(s * x * x for s, x in zip(own, found)) / 2)
    return Case(model, None if best == INFINITY else best * euro ** 2 * risk)


def congested_sites(draw):
    """Sites that are opened at a charge; the costs of each grow with the square of what it serves.

    Each square stands in the objective, in a quadratic row or in a rotated cone with the switch.
    """
    sites, euro, unit_of_count = draw.randint(2, 4), unit(draw), unit(draw)
    charges, slopes = [draw.randint(20, 400) for _ in range(sites)], [draw.randint(1, 9) for _ in range(sites)]
    demand, kind = draw.randint(5, 30), draw.choice(["objective", "row", "cone"])
    price = euro / unit_of_count / unit_of_count
    model = Model()
    is_open = [model.binary(charge * euro) for charge in charges]
    served = [model.variable() for _ in charges]
    model.total(served, "=", demand * unit_of_count)
    for switch, amount, slope in zip(is_open, served, slopes):
        model.row([(1, amount), (-demand * unit_of_count, switch)], "<=", 0)
        if kind == "objective":
            model.quadratic_costs.append((slope * price, amount, amount))
            continue
        cost = model.variable(euro)
        if kind == "row":
            model.row([(-1, cost)], "<=", 0, products=[(slope / 2 / unit_of_count ** 2, amount, amount)])
        else:
            scaled, copy = model.free(), model.free()
            model.row([(math.sqrt(slope) / unit_of_count, amount), (-1, scaled)], "=", 0)
            model.row([(1, switch), (-1, copy)], "=", 0)
            model.cone("rotated_quadratic", cost, copy, scaled)
    best = min(sum(charges[i] for i in chosen) + demand ** 2 / 2 / sum(1 / slopes[i] for i in chosen)
               for chosen in subsets(sites) if chosen)
    return Case(model, best * euro)


def fit_with_few(draw):
    """Least squares with at most so many of the columns, switched by a bound that all solutions keep."""
    columns, measured = draw.randint(2, 4), draw.randint(4, 6)
    matrix = [[draw.randint(-9, 9) for _ in range(columns)] for _ in range(measured)]
    values, most = [draw.randint(-50, 50) for _ in range(measured)], draw.randint(1, 2)
    metre, part = power_of_ten(draw, -6, 6), power_of_ten(draw, -6, 6)
    best = INFINITY
    for chosen in subsets(columns):
        if len(chosen) > most:
            continue
        gram = [[2 * sum(row[j] * row[k] for row in matrix) + 2 * (j == k) for k in chosen] for j in chosen]
        right = [-2 * sum(row[j] * v for row, v in zip(matrix, values)) for j in chosen]
        program = Program(right, [], set(range(len(chosen))), gram)
        point = quadratic_optimum(program) if chosen else []
        best = min(best, float(sum(v * v for v in values) + sum(r * x for r, x in zip(right, point)) / 2))
    model = Model()
    factors = [model.free() for _ in range(columns)]
    residuals = [model.free() for _ in range(measured)]
    for row, residual, value in zip(matrix, residuals, values):
        model.row([*((a * metre / part, name) for a, name in zip(row, factors) if a), (1, residual)], "=",
                  value * metre)
    held = [model.binary() for _ in factors]
    limit = math.sqrt(sum(v * v for v in values)) * part  # a larger factor costs more than none
    for name, switch in zip(factors, held):
        model.row([(1, name), (-limit, switch)], "<=", 0)
        model.row([(1, name), (limit, switch)], ">=", 0)
    model.total(held, "<=", most)
    model.quadratic_costs = [(2, name, name) for name in residuals]
    model.quadratic_costs += [(2 * (metre / part) ** 2, name, name) for name in factors]
    return Case(model, best * metre ** 2, sum(v * v for v in values) * metre ** 2)


FAMILIES = (least_risk_of_few, return_of_few, least_lots, congested_sites, fit_with_few)
