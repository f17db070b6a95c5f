"""Conic models: norms, powers, exponentials and matrices, in units from millionths to hundreds of billions.

The optimum is a formula of geometry or economics, or the zero of a function of one variable, which is
found by bisection.
"""
import itertools
import math

from campaigns.everyday_models.exact import Program, linear_optimum, unit
from campaigns.everyday_models.modelfile import Case, Model, power_of_ten


def bisect(is_below, low, high):
    """Where a monotone test turns from true to false."""
    for _ in range(300):
        middle = (low + high) / 2
        low, high = (middle, high) if is_below(middle) else (low, middle)
    return (low + high) / 2


def largest_box(draw):
    """The largest volume of a box with a surface, as its cubic root under a power cone: the cube."""
    metre = unit(draw)
    surface = draw.randint(10, 99) * metre ** 2
    stretch = [draw.randint(1, 5) for _ in range(3)]
    model = Model("Maximize")
    sides = [model.variable() for _ in range(3)]
    root = model.free(1)
    for side, factor in zip(sides, stretch):
        model.row([(factor, side)], "<=", math.sqrt(surface))
    model.row(list(zip(stretch, sides)), "<=", 2 * math.sqrt(surface))
    model.cone("power 1 1 1", *sides, root)
    return Case(model, 2 / 3 * math.sqrt(surface) / math.prod(stretch) ** (1 / 3))


def posynomial(draw):
    """A box of given volume whose walls, floor and lid have prices: the least cost by logarithms."""
    metre, euro = unit(draw), unit(draw)
    volume = draw.randint(2, 90) * metre ** 3
    prices = [euro / metre ** 2 * draw.randint(1, 20) for _ in range(3)]
    model = Model()
    logs = [model.free() for _ in range(3)]
    for price, pair in zip(prices, itertools.combinations(logs, 2)):
        cost, exponent = model.variable(2), model.free()
        model.row([*((1, name) for name in pair), (-1, exponent)], "=", -math.log(price))
        model.exponential(cost, exponent)
    model.total(logs, ">=", math.log(volume))
    return Case(model, 6 * (math.prod(prices) * volume ** 2) ** (1 / 3))


def square_of_places(draw):
    """The point with the least sum of distances from four places: where the diagonals of a kite meet."""
    metre, cost = unit(draw), unit(draw)
    shift = [metre * draw.choice([0, 1, 1e3, 1e6]) * draw.randint(-5, 5) for _ in range(2)]
    arms = [metre * draw.randint(1, 50) for _ in range(4)]
    ends = [(arms[0], 0), (-arms[1], 0), (0, arms[2]), (0, -arms[3])]
    model = Model()
    point = [model.free(), model.free()]
    for end in ends:
        distance, parts = model.variable(cost), [model.free(), model.free()]
        for name, part, place, origin in zip(point, parts, end, shift):
            model.row([(1, name), (-1, part)], "=", place + origin)
        model.cone("quadratic", distance, *parts)
    return Case(model, cost * sum(arms), cost * (sum(arms) + 1e-3 * sum(map(abs, shift))))


def disc(draw):
    """The farthest point of a disc or ball in a direction, as a quadratic row or as a cone."""
    # Squares of 1e30 and more would be infinite.
    count, metre, cost = draw.randint(2, 5), power_of_ten(draw, -6, 9), power_of_ten(draw, -6, 6)
    centre = [metre * draw.choice([0, 1, 1e2, 1e4]) * draw.randint(-9, 9) for _ in range(count)]
    radius, direction = metre * draw.randint(1, 30), [draw.randint(-9, 9) * cost for _ in range(count)]
    direction[0] = cost
    model = Model("Maximize")
    point = [model.free(c) for c in direction]
    if draw.random() < .5:
        model.row([(-2 * c, name) for c, name in zip(centre, point)], "<=",
                  radius ** 2 - sum(c * c for c in centre), products=[(1, name, name) for name in point])
    else:
        parts = [model.free() for _ in point]
        for name, part, c in zip(point, parts, centre):
            model.row([(1, name), (-1, part)], "=", c)
        model.cone("quadratic", model.fixed(radius), *parts)
    reach = radius * math.hypot(*direction)
    return Case(model, sum(map(math.prod, zip(direction, centre))) + reach,
                reach + sum(abs(a * b) for a, b in zip(direction, centre)))


def chance_constraint(draw):
    """The most that is expected of free positions that keep a budget and, with a probability, a loss."""
    count, euro = draw.randint(2, 5), unit(draw)
    budget, returns = euro * draw.randint(1, 90), [draw.randint(1, 20) / 100 for _ in range(count)]
    spreads = [draw.randint(1, 30) / 100 for _ in range(count)]
    quantile = 1.6448536269514722
    weights = [spread ** -2 for spread in spreads]
    total = sum(weights)
    mean = sum(w * r for w, r in zip(weights, returns)) / total
    variance = sum(w * (r - mean) ** 2 for w, r in zip(weights, returns))
    limit = draw.choice([1.05, 1.5, 4]) / math.sqrt(total)  # of the deviation of one euro
    model = Model("Maximize")
    shares, deviation = [model.free(r) for r in returns], model.variable()
    model.total(shares, "=", budget)
    model.row([(quantile, deviation)], "<=", quantile * limit * budget)
    own = model.copies(shares, 1)
    parts = [model.free() for _ in own]
    for part, copy, spread in zip(parts, own, spreads):
        model.row([(spread, copy), (-1, part)], "=", 0)
    model.cone("quadratic", deviation, *parts)
    return Case(model, budget * (mean + math.sqrt(variance * (limit ** 2 - 1 / total))))


def robust_budget(draw):
    """Amounts of a single free plan whose uncertain weights must not pass a load."""
    count, kilo, euro = draw.randint(2, 4), unit(draw), unit(draw)
    weights, gains = [draw.randint(5, 20) for _ in range(count)], [draw.randint(5, 20) for _ in range(count)]
    spread = draw.choice([.1, .5, .9]) * min(weights)
    load = draw.randint(10, 90)
    model = Model("Maximize")
    amounts = [model.variable(euro * gain / kilo) for gain in gains]
    deviation = model.variable()
    model.row([*zip(weights, amounts), (spread, deviation)], "<=", load * kilo)
    model.cone("quadratic", deviation, *model.copies(amounts, 1))

    def norm(price):
        """Of the parts that pay at a price of the load."""
        return math.hypot(*(max(0, gain / price - weight) for gain, weight in zip(gains, weights)))

    price = bisect(lambda p: norm(p) > spread, 1e-9, 1e3)
    return Case(model, euro * price * load)


def entropy(draw):
    """How a large total is likeliest spread over classes with a given mean."""
    count, unit_of_count = draw.randint(3, 6), power_of_ten(draw, -6, 9)
    total, mean = unit_of_count * draw.randint(1, 9), draw.uniform(.3, count - 1.3)
    model = Model("Maximize")
    amounts = []
    for _ in range(count):
        gain, amount = model.free(1), model.variable()
        model.cone("exponential", model.fixed(total), amount, gain)
        amounts.append(amount)
    model.total(amounts, "=", total)
    model.row([(i, name) for i, name in enumerate(amounts) if i], "=", mean * total)

    def shares(slope):
        parts = [math.exp(slope * i) for i in range(count)]
        return [part / sum(parts) for part in parts]

    slope = bisect(lambda s: sum(i * p for i, p in enumerate(shares(s))) < mean, -50, 50)
    return Case(model, -total * sum(p * math.log(p) for p in shares(slope) if p))


def logistic_odds(draw):
    """The likeliest chance of an event in two groups, fitted by a logistic curve through both."""
    groups = [(draw.randint(1, 40), draw.randint(1, 40)) for _ in range(2)]
    count, second = power_of_ten(draw, -6, 9), unit(draw)
    times = [0, second]
    model = Model()
    start, slope = model.free(), model.free()
    for (hits, misses), time in zip(groups, times):
        for weight, sign in ((hits, -1), (misses, 1)):
            loss = model.free(weight * count)
            sides = [model.variable(), model.variable()]
            exponents = [model.free(), model.free()]
            model.total(sides, "<=", 1)
            model.row([(1, exponents[0]), (1, loss)], "=", 0)
            model.row([(1, exponents[1]), (1, loss), (-sign, start), *([(-sign * time, slope)] if time else [])],
                      "=", 0)
            for side, exponent in zip(sides, exponents):
                model.exponential(side, exponent)
    return Case(model, -count * sum(part * math.log(part / sum(group)) for group in groups for part in group))


def growth(draw):
    """Bets on a race, in money: the shares are the chances of the winners (Kelly)."""
    count, euro, weight = draw.randint(2, 5), unit(draw), power_of_ten(draw, -6, 9)
    chances = [draw.randint(1, 9) for _ in range(count)]
    odds = [draw.uniform(1.1, 9) for _ in chances]
    budget = euro * draw.randint(1, 90)
    chances = [chance / sum(chances) for chance in chances]
    model = Model("Maximize")
    bets = [model.variable() for _ in chances]
    model.total(bets, "=", budget)
    for chance, odd, bet in zip(chances, odds, bets):
        wealth = model.variable()
        model.row([(odd, bet), (-1, wealth)], "=", 0)
        model.exponential(wealth, model.free(weight * chance))
    terms = [chance * math.log(chance * odd * budget) for chance, odd in zip(chances, odds)]
    return Case(model, weight * sum(terms), weight * sum(map(abs, terms)))


def production_function(draw):
    """The most that labour and capital make for a budget: output is a product of their powers."""
    euro, amounts = unit(draw), [unit(draw), unit(draw)]
    share = draw.choice([.1, .25, .5, .7])
    prices = [euro * draw.randint(1, 20) / amount for amount in amounts]
    budget = euro * draw.randint(10, 90)
    model = Model("Maximize")
    used, output = [model.variable(), model.variable()], model.free(1)
    model.row(list(zip(prices, used)), "<=", budget)
    model.cone(f"power {share} {1 - share}", *used, output)
    return Case(model, (share * budget / prices[0]) ** share * ((1 - share) * budget / prices[1]) ** (1 - share))


def stiffest_truss(draw):
    """Bars from a wall to a loaded point: volumes for the least compliance, a linear model by duality."""
    bars, newton, volume_unit = draw.randint(3, 5), unit(draw), unit(draw)
    directions = [(draw.randint(1, 5), draw.randint(-5, 5)) for _ in range(bars - 2)] + [(3, 4), (3, -4)]
    load = draw.randint(-9, 9), draw.randint(-9, 9) or 1
    volume = draw.randint(1, 50)
    # A bar of direction d has the length |d| and the force q |d|, so that its work is (q |d|^2)^2 / volume.
    squares = [a * a + b * b for a, b in directions]
    program = Program(squares * 2, [])
    for side, k in zip(load, range(2)):
        row = [d[k] for d in directions]
        program.row(row + [-a for a in row], "=", side)
    work = float(sum(a * x for a, x in zip(squares * 2, linear_optimum(program))))
    model = Model()
    forces, volumes = [model.free() for _ in directions], [model.variable() for _ in directions]
    for k in range(2):
        model.row([(d[k], q) for d, q in zip(directions, forces) if d[k]], "=", load[k] * newton)
    model.total(volumes, "<=", volume * volume_unit)
    for square, force, amount in zip(squares, forces, volumes):
        loss, scaled = model.variable(2), model.free()
        model.row([(square, force), (-1, scaled)], "=", 0)
        model.cone("rotated_quadratic", loss, amount, scaled)
    return Case(model, work ** 2 / volume * newton ** 2 / volume_unit)


def circle_of(points):
    """Centre and radius of the circle through two or three points, or None."""
    if len(points) == 2:
        centre = [sum(pair) / 2 for pair in zip(*points)]
        return centre, math.dist(centre, points[0])
    (a, b), (c, d), (e, f) = points
    det = 2 * ((c - a) * (f - b) - (e - a) * (d - b))
    if not det:
        return None
    p, q = (c - a) ** 2 + (d - b) ** 2, (e - a) ** 2 + (f - b) ** 2
    centre = [a + ((f - b) * p - (d - b) * q) / det, b + ((c - a) * q - (e - a) * p) / det]
    return centre, math.dist(centre, points[0])


def enclosing_circle(draw):
    """The least circle around places of a map: two or three of them fix it."""
    count, metre = draw.randint(2, 6), unit(draw)
    places = list({(draw.randint(-40, 40), draw.randint(-40, 40)) for _ in range(count)} | {(1, 2), (3, 4)})
    circles = [circle_of(chosen) for size in (2, 3) for chosen in itertools.combinations(places, size)]
    best = min(found[1] for found in circles if found
               and all(math.dist(found[0], place) <= found[1] * (1 + 1e-12) for place in places))
    model = Model()
    radius, centre = model.variable(1), [model.free(), model.free()]
    for place in places:
        reach, parts = model.variable(), [model.free(), model.free()]
        model.row([(1, radius), (-1, reach)], "=", 0)
        for name, part, value in zip(centre, parts, place):
            model.row([(1, name), (-1, part)], "=", value * metre)
        model.cone("quadratic", reach, *parts)
    return Case(model, best * metre)


def enclosing_ellipse(draw):
    """The ellipse of least area around points on the axes: |A p| <= 1 with the largest determinant of A.

    Its square root is the geometric mean of the diagonal of a triangular matrix Z with
    (A Z; Z' diag Z) positive semidefinite (Ben-Tal and Nemirovski).
    """
    metre, ratio = power_of_ten(draw, -6, 6), 10.0 ** draw.randint(-2, 2)
    axes = [metre * draw.randint(1, 9), metre * ratio * draw.randint(1, 9)]
    model = Model("Maximize")
    matrix, root = model.matrix(4), model.free(1)
    diagonal = [model.variable(), model.variable()]
    for k in range(2):
        model.row([(1, diagonal[k]), (-1, f"{matrix}({k + 3},{k + 1})")], "=", 0)
        model.row([(1, diagonal[k]), (-1, f"{matrix}({k + 3},{k + 3})")], "=", 0)
    model.row([(1, f"{matrix}(3,2)")], "=", 0)
    model.row([(1, f"{matrix}(4,3)")], "=", 0)
    model.cone("power 1 1", *diagonal, root)
    for axis, length in enumerate(axes):
        parts = [model.free(), model.free()]
        for k, part in enumerate(parts):
            model.row([(length, f"{matrix}({max(axis, k) + 1},{min(axis, k) + 1})"), (-1, part)], "=", 0)
        model.cone("quadratic", model.fixed(1), *parts)
    return Case(model, 1 / math.sqrt(math.prod(axes)))


def missing_mark(draw):
    """The missing element of a table of two by two that makes the sum of its singular values least."""
    size = unit(draw)
    a, b, c = (draw.choice([-1, 1]) * draw.randint(1, 9) for _ in range(3))
    x = b * c / a if abs(b * c) <= a * a else math.copysign(abs(a), b * c / a)
    norm = math.sqrt(a * a + b * b + c * c + x * x + 2 * abs(a * x - b * c))
    model = Model()
    matrix = model.matrix(4)
    half_trace = model.free(1)
    model.row([(1, half_trace), *((-.5, f"{matrix}({k},{k})") for k in range(1, 5))], "=", 0)
    for value, row, column in ((a, 3, 1), (b, 4, 1), (c, 3, 2)):
        model.row([(1, f"{matrix}({row},{column})")], "=", value * size)
    return Case(model, norm * size)


def cut_of_a_ring(draw):
    """The relaxation of the largest cut of a ring of odd length, with amounts on the diagonal."""
    count, weight, size = draw.choice([3, 5, 7]), unit(draw), unit(draw)
    model = Model()
    matrix, total = model.matrix(count), model.free(weight)
    pairs = [(k + 1, k) for k in range(1, count)] + [(count, 1)]
    model.row([(1, total), *((-1, f"{matrix}({i},{j})") for i, j in pairs)], "=", 0)
    for k in range(1, count + 1):
        model.row([(1, f"{matrix}({k},{k})")], "=", size)
    return Case(model, weight * size * count * math.cos(math.pi * (count - 1) / count))


FAMILIES = (largest_box, posynomial, square_of_places, disc, chance_constraint, robust_budget, entropy, logistic_odds,
            growth, production_function, stiffest_truss, enclosing_circle, enclosing_ellipse, missing_mark,
            cut_of_a_ring)
