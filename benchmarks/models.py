"""The same models written with the operators of each contender.

Every builder returns what it built, so that releasing it is not measured. highspy and pyoptinterface pass each column
and row to HiGHS as it is added; tavlo stores them and hands the whole over at the solve.
"""

from __future__ import annotations

import random
from functools import cache
from typing import Any

import highspy
import numpy as np
import pyoptinterface as poi
from pyoptinterface import highs as poi_highs

import tavlo as tv


@cache
def distances(n: int) -> list[list[float]]:
    rng = random.Random(n)
    return [[rng.uniform(1, 100) for _ in range(n)] for _ in range(n)]


# ---- p-median: n customers, n locations, assignment rows, linking rows, one cardinality row ----------------------


def p_median_tavlo(n: int, binary: bool) -> Any:
    d, r = distances(n), range(n)
    kind = tv.binary if binary else tv.continuous
    x = [[tv.var(ub=1, vartype=kind) for _ in r] for _ in r]
    y = [tv.var(ub=1, vartype=kind) for _ in r]
    p = tv.problem()
    p.addVariable(x, y)
    p.addConstraint(tv.Sum(x[i]) == 1 for i in r)
    p.addConstraint(x[i][j] <= y[j] for i in r for j in r)
    p.addConstraint(tv.Sum(y) == n // 10)
    p.setObjective(tv.Sum(d[i][j] * x[i][j] for i in r for j in r))
    return p


def p_median_highspy(n: int, binary: bool) -> Any:
    d, r = distances(n), range(n)
    kind = highspy.HighsVarType.kInteger if binary else highspy.HighsVarType.kContinuous
    h = highspy.Highs()
    h.silent()
    x = h.addVariables(n, n, ub=1, type=kind)
    y = h.addVariables(n, ub=1, type=kind)
    h.addConstrs(h.qsum(x[i, j] for j in r) == 1 for i in r)
    h.addConstrs(x[i, j] <= y[j] for i in r for j in r)
    h.addConstr(h.qsum(y[j] for j in r) == n // 10)
    h.setObjective(h.qsum(d[i][j] * x[i, j] for i in r for j in r), highspy.ObjSense.kMinimize)
    return h


def p_median_poi(n: int, binary: bool) -> Any:
    d, r = distances(n), range(n)
    kind = poi.VariableDomain.Binary if binary else poi.VariableDomain.Continuous
    m = poi_highs.Model()
    m.set_model_attribute(poi.ModelAttribute.Silent, True)
    x = [[m.add_variable(lb=0, ub=1, domain=kind) for _ in r] for _ in r]
    y = [m.add_variable(lb=0, ub=1, domain=kind) for _ in r]
    for i in r:
        m.add_linear_constraint(poi.quicksum(x[i]), poi.Eq, 1)
    for i in r:
        for j in r:
            m.add_linear_constraint(x[i][j] - y[j], poi.Leq, 0)
    m.add_linear_constraint(poi.quicksum(y), poi.Eq, n // 10)
    m.set_objective(poi.quicksum(d[i][j] * x[i][j] for i in r for j in r), poi.ObjectiveSense.Minimize)
    return m


# ---- transport: every plant to every customer, supply and demand rows, so two nonzeros an arc -------------------


def transport_tavlo(plants: int, customers: int) -> Any:
    d, rows, cols = distances(max(plants, customers)), range(plants), range(customers)
    x = [[tv.var() for _ in cols] for _ in rows]
    p = tv.problem()
    p.addVariable(x)
    p.addConstraint(tv.Sum(x[i]) <= 10 * customers for i in rows)
    p.addConstraint(tv.Sum(x[i][j] for i in rows) >= 7 for j in cols)
    p.setObjective(tv.Sum(d[i][j] * x[i][j] for i in rows for j in cols))
    return p


def transport_highspy(plants: int, customers: int) -> Any:
    d, rows, cols = distances(max(plants, customers)), range(plants), range(customers)
    h = highspy.Highs()
    h.silent()
    x = h.addVariables(plants, customers)
    h.addConstrs(h.qsum(x[i, j] for j in cols) <= 10 * customers for i in rows)
    h.addConstrs(h.qsum(x[i, j] for i in rows) >= 7 for j in cols)
    h.setObjective(h.qsum(d[i][j] * x[i, j] for i in rows for j in cols), highspy.ObjSense.kMinimize)
    return h


def transport_poi(plants: int, customers: int) -> Any:
    d, rows, cols = distances(max(plants, customers)), range(plants), range(customers)
    m = poi_highs.Model()
    m.set_model_attribute(poi.ModelAttribute.Silent, True)
    x = [[m.add_variable(lb=0) for _ in cols] for _ in rows]
    for i in rows:
        m.add_linear_constraint(poi.quicksum(x[i]), poi.Leq, 10 * customers)
    for j in cols:
        m.add_linear_constraint(poi.quicksum(x[i][j] for i in rows), poi.Geq, 7)
    m.set_objective(poi.quicksum(d[i][j] * x[i][j] for i in rows for j in cols), poi.ObjectiveSense.Minimize)
    return m


# ---- dense products: the expressions of A x, and the quadratic form x' A x; no row is passed to a solver ---------


@cache
def dense(n: int) -> Any:
    return np.asarray(distances(n))


def product_tavlo(n: int) -> Any:
    return tv.Dot(dense(n), tv.vars(n))


def product_highspy(n: int) -> Any:
    h = highspy.Highs()
    h.silent()
    x = h.addVariables(n)
    return [h.qsum(a * x[j] for j, a in enumerate(row)) for row in distances(n)]


def product_poi(n: int) -> Any:
    m = poi_highs.Model()
    x = [m.add_variable() for _ in range(n)]
    return [poi.quicksum(a * v for a, v in zip(row, x)) for row in distances(n)]


def form_tavlo(n: int) -> Any:
    x = tv.vars(n)
    return tv.Dot(x, dense(n), x).item()


def form_poi(n: int) -> Any:
    m = poi_highs.Model()
    x = [m.add_variable() for _ in range(n)]
    return poi.quicksum(a * v * w for row, v in zip(distances(n), x) for a, w in zip(row, x))


P_MEDIAN = {"tavlo": p_median_tavlo, "highspy": p_median_highspy, "pyoptinterface": p_median_poi}
TRANSPORT = {"tavlo": transport_tavlo, "highspy": transport_highspy, "pyoptinterface": transport_poi}
PRODUCT = {"tavlo": product_tavlo, "highspy": product_highspy, "pyoptinterface": product_poi}
FORM = {"tavlo": form_tavlo, "pyoptinterface": form_poi}
