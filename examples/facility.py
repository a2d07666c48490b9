"""Chooses which warehouses to open and whom they serve: capacitated facility location, a mixed-integer model."""

from __future__ import annotations

import math
import random
from typing import NamedTuple

import tavlo as tv


class Plan(NamedTuple):
    fixed: list[float]
    capacity: list[float]
    demand: list[float]
    cost: list[list[float]]  # [site][customer], of serving the whole demand


def generate(sites: int = 12, customers: int = 40, seed: int = 11) -> Plan:
    rng = random.Random(seed)
    site_at = [(rng.uniform(0, 100), rng.uniform(0, 100)) for _ in range(sites)]
    customer_at = [(rng.uniform(0, 100), rng.uniform(0, 100)) for _ in range(customers)]
    demand = [float(rng.randint(10, 50)) for _ in range(customers)]
    capacity = [float(rng.randint(150, 300)) for _ in range(sites)]
    fixed = [float(rng.randint(1500, 3000)) for _ in range(sites)]
    cost = [[round(0.6 * math.dist(s, c) * d, 2) for c, d in zip(customer_at, demand)] for s in site_at]
    return Plan(fixed, capacity, demand, cost)


def build(plan: Plan) -> tuple[tv.problem, list[tv.var], list[list[tv.var]]]:
    sites, customers = range(len(plan.fixed)), range(len(plan.demand))
    opened = [tv.var(name=f"open{i}", vartype=tv.binary) for i in sites]
    share = [[tv.var(name=f"share{i}_{j}", ub=1) for j in customers] for i in sites]
    p = tv.problem(name="facility")
    p.addVariable(opened, share)
    p.addConstraint(tv.Sum(share[i][j] for i in sites) == 1 for j in customers)
    p.addConstraint(
        tv.Sum(plan.demand[j] * share[i][j] for j in customers) <= plan.capacity[i] * opened[i] for i in sites
    )
    p.addConstraint(share[i][j] <= opened[i] for i in sites for j in customers)
    p.setObjective(
        tv.Sum(plan.fixed[i] * opened[i] for i in sites)
        + tv.Sum(plan.cost[i][j] * share[i][j] for i in sites for j in customers)
    )
    return p, opened, share


def main() -> float:
    plan = generate()
    p, opened, _ = build(plan)
    p.setOutputEnabled(False)
    p.controls.miprelstop = 1e-9
    p.solve()
    cost = p.getObjVal()
    chosen = [i for i, is_open in enumerate(p.getSolution(opened)) if is_open > 0.5]
    print(f"Warehouses for {len(plan.demand)} customers: {p.getProbStatusString()}, cost {cost:.2f}")
    print(f"  opened {len(chosen)} of {len(opened)} sites: {chosen}")
    print(f"  proven bound {p.attributes.bestbound:.2f} after {p.attributes.nodes} nodes")
    return cost


if __name__ == "__main__":
    main()
