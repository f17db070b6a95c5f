"""Models of machines, sites and jobs that are switched on or ordered: mixed-integer models with few choices.

The optimum is the best over all choices. For each of them what remains is closed: the cheapest are
filled first, a job begins as soon as it may, or one price clears all.
"""
import itertools

from campaigns.everyday_models.modelfile import INFINITY, Case, Model, cheapest_fill, power_of_ten, subsets


def case_of(model, best):
    return Case(model, None if best == INFINITY else best)


def filled_cost(members, costs, lower, upper, amount):
    """The least cost of an amount from members that are all on."""
    taken = cheapest_fill(sorted(members, key=lambda i: costs[i]), lower, upper, amount)
    return sum(costs[i] * amount_of_one for i, amount_of_one in taken.items())


def best_schedule(demands, least, most, costs, running, starting):
    """The least cost over all sequences of sets of running plants, period after period."""
    best = {(): 0.0}
    for demand in demands:
        following = {}
        for members in subsets(len(costs)):
            if not sum(least[i] for i in members) <= demand <= sum(most[i] for i in members):
                continue
            cost = filled_cost(members, costs, least, most, demand) + sum(running[i] for i in members)
            following[tuple(members)] = cost + min(
                before + sum(starting[i] for i in members if i not in earlier) for earlier, before in best.items())
        if not following:
            return INFINITY
        best = following
    return min(best.values())


def unit_commitment(draw):
    """Power plants with least and greatest outputs, costs of running and of starting; watts and euros."""
    count, periods = draw.randint(2, 3), draw.randint(1, 3)
    watt, euro = power_of_ten(draw, 0, 9), power_of_ten(draw, -3, 6)
    most = [watt * draw.randint(5, 20) for _ in range(count)]
    least = [output * draw.choice([.2, .3, .5]) for output in most]
    costs = [euro / watt * draw.randint(10, 90) for _ in range(count)]
    running = [euro * draw.randint(10, 200) for _ in range(count)]
    starting = [euro * draw.randint(10, 300) for _ in range(count)]
    demands = [sum(most) * draw.uniform(.3, .95) for _ in range(periods)]
    model = Model()
    output = [[model.variable(cost) for _ in demands] for cost in costs]
    is_on = [[model.binary(cost) for _ in demands] for cost in running]
    starts = [[model.binary(cost) for _ in demands] for cost in starting]
    for t, demand in enumerate(demands):
        model.total([outputs[t] for outputs in output], "=", demand)
        for i in range(count):
            model.row([(1, output[i][t]), (-most[i], is_on[i][t])], "<=", 0)
            model.row([(1, output[i][t]), (-least[i], is_on[i][t])], ">=", 0)
            was_on = [(1, is_on[i][t - 1])] if t else []
            model.row([(1, starts[i][t]), (-1, is_on[i][t]), *was_on], ">=", 0)
    return case_of(model, best_schedule(demands, least, most, costs, running, starting))


def outputs_at(price, members, most, costs, growths):
    return {i: min(most[i], max(0.0, (price - costs[i]) / (2 * growths[i]))) for i in members}


def cleared(members, demand, most, costs, growths):
    """The outputs at the price at which they meet the demand, by bisection."""
    low, high = 0.0, max(costs) + 2 * max(growth * output for growth, output in zip(growths, most))
    for _ in range(200):
        price = (low + high) / 2
        if sum(outputs_at(price, members, most, costs, growths).values()) < demand:
            low = price
        else:
            high = price
    return outputs_at(high, members, most, costs, growths)


def quadratic_commitment(draw):
    """Plants whose cost grows with the square of their output."""
    count, watt, euro = draw.randint(2, 4), power_of_ten(draw, 0, 9), power_of_ten(draw, -3, 6)
    most = [watt * draw.randint(5, 20) for _ in range(count)]
    costs = [euro / watt * draw.randint(10, 50) for _ in range(count)]
    growths = [euro / watt / watt * draw.uniform(.5, 5) for _ in range(count)]
    running = [euro * draw.randint(10, 300) for _ in range(count)]
    demand = sum(most) * draw.uniform(.3, .9)
    model = Model()
    output = [model.variable(cost) for cost in costs]
    is_on = [model.binary(cost) for cost in running]
    model.quadratic_costs = [(2 * growth, name, name) for growth, name in zip(growths, output)]
    model.total(output, "=", demand)
    for i in range(count):
        model.row([(1, output[i]), (-most[i], is_on[i])], "<=", 0)
    best = INFINITY
    for members in subsets(count):
        if sum(most[i] for i in members) >= demand:
            taken = cleared(members, demand, most, costs, growths)
            best = min(best, sum(running[i] + costs[i] * x + growths[i] * x ** 2 for i, x in taken.items()))
    return case_of(model, best)


def semi_continuous_caps(draw):
    """Orders of nothing or of a least amount, with caps that may be far above all demand."""
    count, unit = draw.randint(2, 4), power_of_ten(draw, -3, 6)
    demand = unit * draw.randint(20, 100)
    least = [unit * draw.randint(5, 40) for _ in range(count)]
    far = 1e7 * min(unit, 1)
    most = [max(amount, draw.choice([amount * draw.uniform(1, 3), far])) for amount in least]
    costs = [draw.randint(1, 9) / unit for _ in range(count)]
    model = Model()
    model.total([model.semi(*figures) for figures in zip(costs, least, most)], ">=", demand)
    return case_of(model, min((filled_cost(members, costs, least, most, demand) for members in subsets(count)
                               if sum(most[i] for i in members) >= demand), default=INFINITY))


def indicators_of_large_values(draw):
    """Contracts that are kept at a cost or left at a penalty; some of them have to be kept."""
    count, unit = draw.randint(2, 5), power_of_ten(draw, 0, 9)
    amounts = [unit * draw.randint(1, 9) for _ in range(count)]
    costs = [draw.randint(1, 9) for _ in range(count)]
    penalties = [unit * cost * draw.randint(1, 9) for cost in costs]
    fewest = draw.randint(0, count)
    model = Model()
    supplied = [model.variable(cost) for cost in costs]
    kept = [model.binary(-penalty) for penalty in penalties]
    for i in range(count):
        model.row([(1, supplied[i])], ">=", amounts[i], condition=(kept[i], 1))
    model.total(kept, ">=", fewest)
    model.total(supplied, "<=", sum(amounts) * 2)
    losses = sorted(cost * amount - penalty for cost, amount, penalty in zip(costs, amounts, penalties))
    best = sum(losses[:fewest]) + sum(min(0, loss) for loss in losses[fewest:])
    return Case(model, best, max(abs(best), unit))  # gains and losses may cancel


def indicators_of_fixed_charges(draw):
    """Suppliers with a fixed charge, switched on by indicators, with caps near or far."""
    count, unit = draw.randint(2, 4), power_of_ten(draw, -3, 6)
    demand = unit * draw.randint(5, 50)
    cap = draw.choice([2, 100, 1e4]) * demand
    costs = [draw.randint(1, 20) / unit for _ in range(count)]
    charges = [draw.randint(10, 200) for _ in range(count)]
    near = [demand * draw.uniform(.3, 1.2) for _ in range(count)]
    most = [cap] * count if draw.random() < .5 else near
    model = Model()
    supplied = [model.variable(cost, 0, upper) for cost, upper in zip(costs, most)]
    is_on = [model.binary(charge) for charge in charges]
    for name, switch in zip(supplied, is_on):
        model.row([(1, name)], "<=", 0, condition=(switch, 0))
    model.total(supplied, ">=", demand)
    return case_of(model, min((
        sum(charges[i] for i in members) + filled_cost(members, costs, [0.0] * count, most, demand)
        for members in subsets(count) if sum(most[i] for i in members) >= demand), default=INFINITY))


def facilities(draw):
    """Sites that are opened at a charge, and the flows from them to customers."""
    sites, customers = draw.randint(2, 4), draw.randint(2, 4)
    euro, unit = power_of_ten(draw, -6, 9), power_of_ten(draw, -6, 9)
    demands = [unit * draw.randint(1, 30) for _ in range(customers)]
    charges = [euro * draw.randint(20, 300) for _ in range(sites)]
    costs = [[euro / unit * draw.randint(1, 20) for _ in demands] for _ in charges]
    model = Model()
    is_open = [model.binary(charge) for charge in charges]
    flows = [[model.variable(cost) for cost in row] for row in costs]
    large = sum(demands) * draw.choice([1, 1, 10, 1e4])
    for j, demand in enumerate(demands):
        model.total([row[j] for row in flows], "=", demand)
    for row, switch in zip(flows, is_open):
        model.row([*((1, flow) for flow in row), (-large, switch)], "<=", 0)
    return Case(model, min(
        sum(charges[i] for i in members)
        + sum(demand * min(costs[i][j] for i in members) for j, demand in enumerate(demands))
        for members in subsets(sites) if members))


def shortage(draw):
    """Sites beside penalties, or emergency sources, whose costs are beyond all others."""
    sites, customers = draw.randint(2, 6), draw.randint(1, 5)
    euro, far = power_of_ten(draw, -3, 6), 10.0 ** draw.randint(4, 12)
    demands = [draw.randint(1, 30) for _ in range(customers)]
    charges = [euro * draw.randint(1, 300) * draw.choice([1, 1, far / 1e3]) for _ in range(sites)]
    costs = [[euro * draw.randint(1, 20) * draw.choice([1, 1, far]) for _ in demands] for _ in charges]
    penalty = euro * far * draw.choice([1, 10, 100])
    model = Model()
    is_open = [model.binary(charge) for charge in charges]
    flows = [[model.variable(cost) for cost in row] for row in costs]
    missing = [model.variable(penalty) for _ in demands]
    for j, demand in enumerate(demands):
        model.total([*(row[j] for row in flows), missing[j]], "=", demand)
    for row, switch in zip(flows, is_open):
        for flow, demand in zip(row, demands):
            model.row([(1, flow), (-demand * draw.choice([1, 1, 1e3]), switch)], "<=", 0)
    return Case(model, min(
        sum(charges[i] for i in members)
        + sum(demand * min([penalty, *(costs[i][j] for i in members)]) for j, demand in enumerate(demands))
        for members in subsets(sites)))


class Jobs:
    """Jobs of one machine with release dates, in seconds since a day or since 1970."""

    def __init__(self, draw):
        count, self.origin = draw.randint(2, 4), draw.choice([0, 1e6, 1.7e9])
        self.times = [draw.randint(60, 7200) for _ in range(count)]
        self.releases = [self.origin + draw.randint(0, 7200) for _ in range(count)]
        self.weights = [draw.randint(1, 9) for _ in range(count)]

    def starts(self, model):
        latest = self.origin + 5e4
        return [model.variable(weight, release, latest) for weight, release in zip(self.weights, self.releases)]

    def case(self, model):
        """The best order of all, each job as early as it can be; errors count beside the time past the origin."""
        best = min(self.cost(order) for order in itertools.permutations(range(len(self.times))))
        return Case(model, best, max(best - sum(self.weights) * self.origin, 1))

    def cost(self, order):
        now, cost = -INFINITY, 0.0
        for i in order:
            now = max(now, self.releases[i])
            cost += self.weights[i] * now
            now += self.times[i]
        return cost


def one_machine_by_dates(draw):
    """Jobs ordered by binaries with a large constant."""
    jobs = Jobs(draw)
    large = max(draw.choice([1e5, 1e6, 1e9, 2e9]), 1e5)
    model = Model()
    starts = jobs.starts(model)
    for i in range(len(starts)):
        for j in range(i):
            first = model.binary()
            model.row([(1, starts[i]), (-1, starts[j]), (large, first)], ">=", jobs.times[j])
            model.row([(1, starts[j]), (-1, starts[i]), (-large, first)], ">=", jobs.times[i] - large)
    return jobs.case(model)


def either_or_by_indicators(draw):
    """The same jobs ordered by indicators."""
    jobs = Jobs(draw)
    model = Model()
    starts = jobs.starts(model)
    for i in range(len(starts)):
        for j in range(i):
            first = model.binary()
            model.row([(1, starts[i]), (-1, starts[j])], ">=", jobs.times[j], condition=(first, 0))
            model.row([(1, starts[j]), (-1, starts[i])], ">=", jobs.times[i], condition=(first, 1))
    return jobs.case(model)


FAMILIES = (unit_commitment, quadratic_commitment, semi_continuous_caps, indicators_of_large_values,
            indicators_of_fixed_charges, facilities, shortage, one_machine_by_dates, either_or_by_indicators)
