"""Models of whole numbers whose optimum is found by trying all of them, in exact integers.

Amounts reach billions: an optimizer that works in doubles, to an absolute tolerance, meets here what
differs in the last unit.
"""
import itertools

from campaigns.everyday_models.modelfile import Case, Model


def weights(draw, count, top):
    return [draw.randint(int(top / 10), int(top)) for _ in range(count)]


def value(factors, amounts):
    return sum(factor * amount for factor, amount in zip(factors, amounts))


def least(values):
    return min(values, default=None)


def equality_knapsack(draw):
    """Cheapest numbers of parts of which the weights add up to an amount exactly."""
    count, top, most = draw.randint(2, 4), draw.choice([1e3, 1e6, 1e9, 1e9, 1e10]), draw.randint(2, 6)
    sizes, costs = weights(draw, count, top), [draw.randint(1, 100) for _ in range(count)]
    amount = value(sizes, [draw.randint(0, most) for _ in range(count)])
    if draw.random() < .5:
        amount += draw.choice([1, -1, 2, 3])
    model = Model()
    numbers = [model.integer(cost, 0, most) for cost in costs]
    model.row(list(zip(sizes, numbers)), "=", amount)
    points = itertools.product(range(most + 1), repeat=count)
    return Case(model, least(value(costs, point) for point in points if value(sizes, point) == amount))


def knapsack_to_the_cent(draw):
    """Bills that come as near to a budget as can be."""
    count, top = draw.randint(3, 9), draw.choice([1e4, 1e7, 1e9, 1e11])
    sizes = weights(draw, count, top)
    budget = draw.randint(int(top), int(3 * top))
    model = Model("Maximize")
    taken = [model.binary(size) for size in sizes]
    model.row(list(zip(sizes, taken)), "<=", budget)
    sums = (value(sizes, point) for point in itertools.product((0, 1), repeat=count))
    best = max(total for total in sums if total <= budget)
    # What is left of the budget is looked at more closely than to the tolerance of the sum.
    return Case(model, best, max(best * 1e-3, 1))


def covering_to_the_cent(draw):
    """Cheapest bids that reach an amount, or that miss it by one unit."""
    count, top = draw.randint(3, 9), draw.choice([1e4, 1e7, 1e9])
    sizes, costs = weights(draw, count, top), [draw.randint(1, 50) for _ in range(count)]
    amount = sum(size for size in sizes if draw.random() < .6) + draw.choice([0, 1])
    model = Model()
    taken = [model.binary(cost) for cost in costs]
    model.row(list(zip(sizes, taken)), ">=", amount)
    points = itertools.product((0, 1), repeat=count)
    return Case(model, least(value(costs, point) for point in points if value(sizes, point) >= amount))


def integer_lots(draw):
    """Whole shares for a budget, whose rest stays as cash; counted in the least unit, thus exactly."""
    count, unit = draw.randint(2, 3), draw.choice([.01, 1, 1e3])
    prices = [draw.randint(1000, 9999) for _ in range(count)]
    gains = [draw.uniform(1.0, 1.3) for _ in range(count)]
    budget = draw.randint(20000, 60000)
    model = Model("Maximize")
    shares = [model.integer(unit * price * gain) for price, gain in zip(prices, gains)]
    cash = model.variable(1.0)
    model.row([*((unit * price, share) for price, share in zip(prices, shares)), (1, cash)], "=", unit * budget)
    points = itertools.product(*(range(budget // price + 1) for price in prices))
    worth = [price * (gain - 1) for price, gain in zip(prices, gains)]
    return Case(model, unit * (budget + max(value(worth, point) for point in points
                                            if value(prices, point) <= budget)))


def infeasible_by_integers(draw):
    """Even numbers that are to add up to an odd one."""
    count, top = draw.randint(2, 4), draw.choice([10, 1e4, 1e7, 1e8])
    sizes = [2 * draw.randint(1, int(top)) for _ in range(count)]
    model = Model()
    numbers = [model.integer(1, 0, draw.choice([1, 3, 10])) for _ in range(count)]
    model.row(list(zip(sizes, numbers)), "=", 2 * draw.randint(1, int(top)) + 1)
    return Case(model, None)


FAMILIES = (equality_knapsack, knapsack_to_the_cent, covering_to_the_cent, integer_lots, infeasible_by_integers)
