"""Quadratic objectives: portfolios, fits, separating lines and control; solved exactly in plain numbers.

Money, lengths and times have units of their own, from millionths to hundreds of billions.
"""
from campaigns.everyday_models.exact import LARGEST_UNIT, LEAST_UNIT, Program, in_units, solve_system, unit
from campaigns.everyday_models.modelfile import Case, Model, power_of_ten


def sum_of_squares(vectors, own):
    """The matrix of sum (v'x)^2 + sum own_j x_j^2."""
    count = len(own)
    return [[sum(v[j] * v[k] for v in vectors) + own[j] * (j == k) for k in range(count)] for j in range(count)]


def portfolio(draw):
    """The least variance of a budget's shares with a return; some ask for more than any share returns."""
    count, budget = draw.randint(3, 5), 100
    returns = [draw.randint(-2, 15) for _ in range(count)]
    program = Program([0] * count, [], squares=sum_of_squares(
        [[draw.randint(-9, 20) for _ in range(count)] for _ in range(2)], [draw.randint(1, 200) for _ in range(count)]))
    program.row([1] * count, "=", budget)
    program.row(returns, ">=", budget * draw.randint(2, 12))
    euro, risk = unit(draw), draw.choice([1, 1e-4, 1e4])
    return in_units(program, [euro] * count, [euro, euro / 100], euro * euro * risk)


def markowitz_gain(draw):
    """Expected gains less a multiple of the variance, in money; what is not spent stays as cash."""
    count = draw.randint(2, 5)
    program = Program([-draw.randint(1, 15) * 100 for _ in range(count)], [], squares=sum_of_squares(
        [[draw.randint(-9, 20) for _ in range(count)]], [draw.randint(1, 100) for _ in range(count)]))
    program.row([1] * count, "<=", draw.randint(5, 200))
    euro = unit(draw)
    return in_units(program, [euro] * count, [euro], euro, "Maximize")


def residual_program(matrix, values, weight=0, free=True):
    """min sum r^2 + weight sum x^2 with r = values - matrix x, over the columns x, then r."""
    measured, count = len(matrix), len(matrix[0])
    squares = [[0] * (count + measured) for _ in range(count + measured)]
    for j in range(count + measured):
        squares[j][j] = 2 * (weight if j < count else 1)
    program = Program([0] * (count + measured), [], squares=squares,
                      free=set(range(0 if free else count, count + measured)))
    for i, (row, value) in enumerate(zip(matrix, values)):
        program.row([*row, *(int(i == k) for k in range(measured))], "=", value)
    return program


def measured_line(draw, count):
    places = draw.sample(range(-20, 40), count)
    slope, start = draw.randint(-9, 9), draw.randint(-50, 50)
    return [[1, place] for place in places], [start + slope * place + draw.randint(-9, 9) for place in places]


def least_squares(draw):
    """A line through points: lengths against times, each in units of its own."""
    matrix, values = measured_line(draw, draw.randint(4, 7))
    metre, second = unit(draw), unit(draw)
    program = residual_program(matrix, values)
    columns = [metre, metre / second] + [metre] * len(matrix)
    return in_units(program, columns, [metre] * len(matrix), metre ** 2)


def nonnegative_parts(draw):
    """A measured mixture of parts that cannot be negative."""
    count = draw.randint(2, 3)
    matrix = [[draw.randint(0, 9) for _ in range(count)] for _ in range(count + 2)]
    values = [draw.randint(-5, 60) for _ in matrix]
    mole, signal = unit(draw), unit(draw)
    program = residual_program(matrix, values, weight=0, free=False)
    for j in range(count):
        program.squares[j][j] = 1  # keeps the optimum unique
    columns = [mole] * count + [signal] * len(matrix)
    return in_units(program, columns, [signal] * len(matrix), signal ** 2)


def ridge(draw):
    """Least squares with a price on large coefficients."""
    count = draw.randint(2, 4)
    matrix = [[draw.randint(-9, 9) for _ in range(count)] for _ in range(draw.randint(2, 5))]
    values = [draw.randint(-50, 50) for _ in matrix]
    metre, part = unit(draw), unit(draw)
    program = residual_program(matrix, values, weight=draw.choice([1, 10, 1000]))
    return in_units(program, [part] * count + [metre] * len(matrix), [metre] * len(matrix), metre ** 2)


def spline(draw):
    """A smooth curve beside points: squares of second differences against squares of distances."""
    count, stiffness = draw.randint(4, 6), draw.choice([1, 10, 1000])
    bends = [[(k == i) - 2 * (k == i + 1) + (k == i + 2) for k in range(count)] for i in range(count - 2)]
    values = [draw.randint(-40, 40) for _ in range(count)]
    squares = sum_of_squares(bends * stiffness if stiffness < 20 else
                             [[30 * b for b in row] for row in bends], [1] * count)
    program = Program([-value for value in values], [], free=set(range(count)), squares=squares)
    metre = unit(draw)
    return in_units(program, [metre] * count, [], metre ** 2)


def support_vectors(draw):
    """The widest street between two kinds of points in the plane, with a price on points inside of it."""
    count, price = draw.randint(3, 4), draw.randint(1, 50)
    kinds = [1, -1, *(draw.choice([1, -1]) for _ in range(count - 2))]
    points = [(kind * 3 + draw.randint(-6, 6), draw.randint(-9, 9)) for kind in kinds]
    squares = [[0] * (3 + count) for _ in range(3 + count)]
    for j in range(3 + count):
        squares[j][j] = 1
    program = Program([0, 0, 0, *[price] * count], [], free={0, 1, 2}, squares=squares)
    for i, (kind, point) in enumerate(zip(kinds, points)):
        program.row([kind * point[0], kind * point[1], kind, *(int(i == k) for k in range(count))], ">=", 1)
    metre, amount = unit(draw), power_of_ten(draw, LEAST_UNIT, 6)
    columns = [1 / metre, 1 / metre, 1, *[1] * count]
    return in_units(program, columns, [1] * count, amount)


def control(draw):
    """A cart that is to stand at a place soon, by pushes within limits; places and pushes have their units."""
    periods, push = draw.randint(2, 4), draw.randint(1, 6)
    count = 3 * periods  # place, speed, push of each period
    squares = [[0] * count for _ in range(count)]
    for j in range(count):
        squares[j][j] = (10, 1, 2)[j % 3]
    program = Program([0] * count, [], free=set(range(count)), squares=squares)
    start = draw.randint(-10, 10), draw.randint(-3, 3)
    for t in range(periods):
        place, speed = [0] * count, [0] * count
        place[3 * t] = speed[3 * t + 1] = 1
        speed[3 * t + 2] = -1
        if t:
            place[3 * t - 3:3 * t - 1] = [-1, -1]
            speed[3 * t - 2] = -1
        program.row(place, "=", start[0] + start[1] if not t else 0)
        program.row(speed, "=", start[1] if not t else 0)
    for t in range(periods):
        for sign in (1, -1):
            program.row([sign * (k == 3 * t + 2) for k in range(count)], "<=", push)
    metre, newton = unit(draw), unit(draw)
    columns = [metre, metre, newton] * periods
    return in_units(program, columns, [metre] * 2 * periods + [newton] * 2 * periods, unit(draw))


def large_total(draw):
    """Squares of free amounts of a given total: the least distance of a plane from the origin."""
    count, side, cost = draw.randint(2, 6), unit(draw) * draw.randint(1, 9), unit(draw)
    slopes = [draw.randint(1, 9) * power_of_ten(draw, -2, 2) for _ in range(count)]
    model = Model()
    names = [model.free() for _ in slopes]
    model.row(list(zip(slopes, names)), "=", side)
    model.quadratic_costs = [(cost, name, name) for name in names]
    return Case(model, cost / 2 * side ** 2 / sum(slope ** 2 for slope in slopes))


FAMILIES = (portfolio, markowitz_gain, least_squares, nonnegative_parts, ridge, spline, support_vectors, control,
            large_total)
