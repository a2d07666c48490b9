"""Ships goods from plants to a few hundred customers at least cost: a linear model on a generated network."""

from __future__ import annotations

import math
import random
from typing import NamedTuple

import tavlo as tv


class Network(NamedTuple):
    supply: list[float]
    demand: list[float]
    cost: dict[tuple[int, int], float]  # (plant, customer): cost a ton


def generate(plants: int = 40, customers: int = 260, reach: int = 8, seed: int = 7) -> Network:
    """Places everything on a 100 km square; a customer is served by the `reach` plants nearest to it."""
    rng = random.Random(seed)
    plant_at = [(rng.uniform(0, 100), rng.uniform(0, 100)) for _ in range(plants)]
    customer_at = [(rng.uniform(0, 100), rng.uniform(0, 100)) for _ in range(customers)]
    demand = [float(rng.randint(5, 40)) for _ in range(customers)]
    supply = [math.ceil(1.6 * sum(demand) / plants * rng.uniform(0.7, 1.3)) * 1.0 for _ in range(plants)]
    cost = {}
    for j, there in enumerate(customer_at):
        nearest = sorted((math.dist(here, there), i) for i, here in enumerate(plant_at))[:reach]
        cost.update({(i, j): round(4.0 + 0.35 * km, 2) for km, i in nearest})
    return Network(supply, demand, cost)


def build(network: Network) -> tuple[tv.problem, dict[tuple[int, int], tv.var], list[tv.constraint]]:
    ship = {arc: tv.var(name=f"ship_{arc[0]}_{arc[1]}") for arc in network.cost}
    leaving: list[list[tv.var]] = [[] for _ in network.supply]
    arriving: list[list[tv.var]] = [[] for _ in network.demand]
    for (i, j), tons in ship.items():
        leaving[i].append(tons)
        arriving[j].append(tons)
    p = tv.problem(name="transport")
    p.addVariable(ship)
    plants = [tv.Sum(tons) <= supply for tons, supply in zip(leaving, network.supply)]
    p.addConstraint(plants)
    p.addConstraint(tv.Sum(tons) >= demand for tons, demand in zip(arriving, network.demand))
    p.setObjective(tv.Sum(cost * ship[arc] for arc, cost in network.cost.items()))
    return p, ship, plants


def main() -> float:
    network = generate()
    p, ship, plants = build(network)
    p.setOutputEnabled(False)
    p.solve()
    cost = p.getObjVal()
    print(
        f"Transport, {len(network.supply)} plants, {len(network.demand)} customers, {len(ship)} arcs: "
        f"{p.getProbStatusString()}, cost {cost:.2f}"
    )
    used = sum(tons > 1e-6 for tons in p.getSolution(ship).values())
    print(f"  {used} arcs used, {p.attributes.simplexiter} iterations")
    dual, plant = min((dual, i) for i, dual in enumerate(p.getDual(plants)))
    print(f"  the plant worth extending is {plant}: {-dual:.2f} saved with each further ton")
    return cost


if __name__ == "__main__":
    main()
