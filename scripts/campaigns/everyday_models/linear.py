"""Linear models of trade and production, some of them without a point or without an end of their gains.

Amounts, money and each nutrient have units of their own, from millionths to hundreds of billions. The
data are whole numbers before they get their units, and are solved exactly then.
"""
from campaigns.everyday_models.exact import Program, in_units, unit


def transport(draw):
    """From works to markets; a third of the models ask for more than there is."""
    works, markets = draw.randint(2, 3), draw.randint(2, 4)
    demands = [draw.randint(5, 60) for _ in range(markets)]
    share = draw.choice([.9, 1.1, 1.5])
    supplies = [int(sum(demands) * share / works) + draw.randint(0, 3) for _ in range(works)]
    program = Program([draw.randint(1, 40) for _ in range(works * markets)], [])
    for i, supply in enumerate(supplies):
        program.row([int(k // markets == i) for k in range(works * markets)], "<=", supply)
    for j, demand in enumerate(demands):
        program.row([int(k % markets == j) for k in range(works * markets)], ">=", demand)
    tonne = unit(draw)
    return in_units(program, [tonne] * works * markets, [tonne] * (works + markets), unit(draw))


def diet(draw):
    """The cheapest food with enough of each nutrient, at times with a limit on the weight or one nutrient."""
    foods, nutrients = draw.randint(3, 5), draw.randint(2, 4)
    content = [[draw.randint(0, 30) for _ in range(foods)] for _ in range(nutrients)]
    program = Program([draw.randint(2, 30) for _ in range(foods)], [])
    for row in content:
        program.row(row, ">=", draw.randint(20, 200))
    gram = unit(draw)
    rows = [unit(draw) for _ in content]
    if draw.random() < .6:
        program.row([1] * foods, "<=", draw.randint(4, 30))
        rows.append(gram)
    if draw.random() < .4:
        program.row(content[0], "<=", draw.randint(150, 400))
        rows.append(rows[0])
    return in_units(program, [gram] * foods, rows, unit(draw))


def blending(draw):
    """Products mixed from raw materials of which each has a quality; a mix needs a quality at least."""
    raws, products = draw.randint(2, 3), 2
    quality = [draw.randint(70, 110) for _ in range(raws)]
    prices, costs = [draw.randint(40, 90) for _ in range(products)], [draw.randint(20, 70) for _ in range(raws)]
    program = Program([costs[i] - prices[p] for p in range(products) for i in range(raws)], [])
    for p in range(products):
        wanted = draw.randint(80, 105)
        program.row([(quality[k % raws] - wanted) * (k // raws == p) for k in range(raws * products)], ">=", 0)
        if draw.random() < .8:
            program.row([int(k // raws == p) for k in range(raws * products)], "<=", draw.randint(10, 60))
    for i in range(raws):
        if draw.random() < .7:
            program.row([int(k % raws == i) for k in range(raws * products)], "<=", draw.randint(10, 60))
    barrel, octane = unit(draw), unit(draw)
    rows = [barrel * octane if relation == ">=" else barrel for _, relation, _ in program.rows]
    return in_units(program, [barrel] * raws * products, rows, unit(draw), "Maximize")


def production_over_periods(draw):
    """Production, store and overtime in each period; money that the machines may cost in all is limited, too."""
    periods = draw.randint(2, 4)
    program = Program([], [])
    for _ in range(periods):
        program.costs += [draw.randint(3, 20), draw.randint(20, 40), draw.randint(1, 5)]
    count = 3 * periods
    for t in range(periods):
        program.row([(1 if k // 3 == t and k % 3 < 2 else -1 if k == 3 * t + 2 else int(k == 3 * t - 1))
                     for k in range(count)], "=", draw.randint(10, 50))
        program.row([int(k == 3 * t) for k in range(count)], "<=", draw.randint(10, 40))
        program.row([int(k == 3 * t + 1) for k in range(count)], "<=", draw.randint(5, 30))
    has_budget = draw.random() < .5
    if has_budget:
        program.row(list(program.costs), "<=", draw.randint(150, 700) * periods)
    piece, euro = unit(draw), unit(draw)
    return in_units(program, [piece] * count, [piece] * 3 * periods + [euro], euro)


def cash_flow(draw):
    """Bills paid from income, a loan with interest and savings with less; in some, savings earn more."""
    periods = draw.randint(2, 5)
    lent, borrowed = draw.randint(101, 103), draw.choice([102, 104, 106])
    count, interest = 2 * periods, 100
    program = Program([0] * count, [])
    program.costs[-2:] = [-lent, borrowed]
    for t in range(periods):
        row = [0] * count
        row[2 * t:2 * t + 2] = [-interest, interest]
        if t:
            row[2 * t - 2:2 * t] = [lent, -borrowed]
        program.row(row, "=", interest * draw.randint(-50, 50))
    limit = draw.choice([None, 60, 200])
    for t in range(periods if limit else 0):
        program.row([int(k == 2 * t + 1) for k in range(count)], "<=", limit)
    euro = unit(draw)
    return in_units(program, [euro] * count, [euro] * len(program.rows), euro, "Maximize")


def network_flow(draw):
    """A flow through a network whose arcs have small capacities, very large ones, or none."""
    nodes = draw.randint(4, 5)
    arcs = [(i, j) for i in range(nodes) for j in range(nodes) if i != j and j and i < nodes - 1 and draw.random() < .7]
    arcs = arcs or [(0, nodes - 1)]
    program = Program([draw.randint(1, 30) for _ in arcs], [])
    demand = draw.randint(1, 40)
    for node in range(1, nodes):
        program.row([int(j == node) - int(i == node) for i, j in arcs], "=", demand if node == nodes - 1 else 0)
    for k in range(len(arcs)):
        capacity = draw.choice([None, draw.randint(5, 40), 10 ** draw.randint(3, 11)])
        if capacity:
            program.row([int(k == arc) for arc in range(len(arcs))], "<=", capacity)
    litre = unit(draw)
    return in_units(program, [litre] * len(arcs), [litre] * len(program.rows), unit(draw))


def without_end_or_point(draw):
    """Rows at random in which each column and row has a unit of its own: most have no point or no end."""
    rows, columns = draw.randint(2, 4), draw.randint(2, 5)
    program = Program([draw.randint(-9, 9) for _ in range(columns)], [],
                      free={j for j in range(columns) if draw.random() < .3})
    for _ in range(rows):
        program.row([draw.randint(-9, 9) * (draw.random() < .8) for _ in range(columns)],
                    draw.choice(["<=", ">=", "="]), draw.randint(-50, 50))
    program.rows = [row for row in program.rows if any(row[0])]
    return in_units(program, [unit(draw) for _ in range(columns)], [unit(draw) for _ in program.rows], unit(draw))


FAMILIES = (transport, diet, blending, production_over_periods, cash_flow, network_flow, without_end_or_point)
