"""Linear problems in rational arithmetic: small ones, with a certificate for every outcome that is checked by itself.

A problem is max c x, A x <= b, x >= 0 with Fractions. `Model` brings bounds, two-sided rows and whole numbers into
that form.
"""

from __future__ import annotations

import math
from dataclasses import dataclass, field
from fractions import Fraction

INFINITY = 1e20
OPTIMAL, INFEASIBLE, UNBOUNDED, UNKNOWN = "optimal", "infeasible", "unbounded", "unknown"
Vector = list[Fraction]


def dot(a, b):
    return sum((p * q for p, q in zip(a, b)), Fraction(0))


class Dictionary:
    """Bland's simplex method: basic variables in terms of the others, whose values are 0."""

    def __init__(self, A: list[Vector], b: Vector, columns: int):
        self.n, self.m = columns, len(A)
        self.nonbasic = list(range(columns))
        self.basic = list(range(columns, columns + self.m))
        self.rows = [[-a for a in row] for row in A]
        self.value = list(b)

    def pivot(self, r: int, s: int, costs: list[tuple[Vector, list]]) -> None:
        row, entry = self.rows[r], self.rows[r][s]
        new = [-a / entry for a in row]
        new[s] = 1 / entry
        constant = -self.value[r] / entry
        self.rows[r], self.value[r] = new, constant
        for i in range(self.m):
            factor = self.rows[i][s]
            if i == r or factor == 0:
                continue
            old = self.rows[i]
            self.rows[i] = [a + factor * q for a, q in zip(old, new)]
            self.rows[i][s] = factor * new[s]
            self.value[i] += factor * constant
        for cost, total in costs:
            factor = cost[s]
            if factor:
                for k in range(len(cost)):
                    cost[k] = factor * new[k] + (0 if k == s else cost[k])
                total[0] += factor * constant
        self.nonbasic[s], self.basic[r] = self.basic[r], self.nonbasic[s]

    def improve(self, cost: Vector, total: list, others: list, banned: int = -1) -> int | None:
        """To an optimum of the cost: None; or the position of the column along which it is unbounded."""
        while True:
            choices = [s for s in range(len(cost)) if cost[s] > 0 and self.nonbasic[s] != banned]
            if not choices:
                return None
            s = min(choices, key=lambda k: self.nonbasic[k])
            best, r = None, -1
            for i in range(self.m):
                if self.rows[i][s] < 0:
                    ratio = self.value[i] / -self.rows[i][s]
                    if best is None or ratio < best or (ratio == best and self.basic[i] < self.basic[r]):
                        best, r = ratio, i
            if r < 0:
                return s
            self.pivot(r, s, [(cost, total), *others])


def solve_standard(A: list[Vector], b: Vector, c: Vector):
    """Status and certificate: (x, y), y or (x, ray)."""
    n, m = len(c), len(A)
    zero = Fraction(0)
    d = Dictionary([[*row, Fraction(-1)] for row in A], b, n + 1)
    # The columns are 0..n-1, the artificial one n, the slacks follow.
    phase1 = [zero] * n + [Fraction(-1)]
    total1, total2 = [zero], [zero]
    phase2 = [*c, zero]
    if m and min(b) < 0:
        r = min(range(m), key=lambda i: b[i])
        d.pivot(r, n, [(phase1, total1), (phase2, total2)])
        d.improve(phase1, total1, [(phase2, total2)])
        if total1[0] < 0:
            return INFEASIBLE, multipliers(d, phase1, n + 1, m)
        if n in d.basic:
            r = d.basic.index(n)
            s = next((k for k in range(n + 1) if d.rows[r][k] != 0), None)
            if s is not None:
                d.pivot(r, s, [(phase1, total1), (phase2, total2)])
    s = d.improve(phase2, total2, [], banned=n)
    x = [zero] * (n + 1 + m)
    for i, k in enumerate(d.basic):
        x[k] = d.value[i]
    if s is None:
        return OPTIMAL, (x[:n], multipliers(d, phase2, n + 1, m))
    ray = [zero] * (n + 1 + m)
    ray[d.nonbasic[s]] = Fraction(1)
    for i, k in enumerate(d.basic):
        ray[k] = d.rows[i][s]
    return UNBOUNDED, (x[:n], ray[:n])


def multipliers(d: Dictionary, cost: Vector, first: int, m: int) -> Vector:
    y = [Fraction(0)] * m
    for s, k in enumerate(d.nonbasic):
        if k >= first:
            y[k - first] = -cost[s]
    return y


def verify(A: list[Vector], b: Vector, c: Vector, status: str, certificate) -> None:
    """By the definitions, with no part of the simplex method."""
    columns = list(zip(*A)) if A else [()] * len(c)
    if status == INFEASIBLE:
        y = certificate
        assert min(y, default=0) >= 0 and dot(y, b) < 0
        assert all(dot(y, column) >= 0 for column in columns)
        return
    x, other = certificate
    assert min(x, default=0) >= 0 and all(dot(row, x) <= side for row, side in zip(A, b))
    if status == OPTIMAL:
        assert min(other, default=0) >= 0 and dot(other, b) == dot(c, x)
        assert all(dot(other, column) >= cost for column, cost in zip(columns, c))
    else:
        assert min(other) >= 0 and all(dot(row, other) <= 0 for row in A) and dot(c, other) > 0


@dataclass
class Model:
    """Columns: (lower, upper, cost, whole). Rows: (lower, upper, {column: coefficient}). Minimise or maximise."""

    columns: list = field(default_factory=list)
    rows: list = field(default_factory=list)
    sense: int = 1

    def relaxed(self, by: float) -> Model:
        """Every bound and side wider by this much of its size."""

        def wider(lower, upper):
            low, high = Fraction(lower), Fraction(upper)
            low -= Fraction(by) * max(1, abs(low)) if lower > -INFINITY else 0
            high += Fraction(by) * max(1, abs(high)) if upper < INFINITY else 0
            return low, high

        columns = [(*wider(lower, upper), cost, whole) for lower, upper, cost, whole in self.columns]
        return Model(columns, [(*wider(lower, upper), terms) for lower, upper, terms in self.rows], self.sense)

    def within(self, reach: int) -> Model:
        """Where no column goes farther than this."""
        columns = [(max(lower, -reach), min(upper, reach), cost, whole) for lower, upper, cost, whole in self.columns]
        return Model(columns, self.rows, self.sense)

    def standard(self, bounds):
        """A, b, c, constant, and for each column the (index, sign, shift) that it is made of."""
        zero = Fraction(0)
        parts, n = [], 0
        for lower, upper in bounds:
            if lower > -INFINITY:
                parts.append(([(n, 1)], Fraction(lower)))
            elif upper < INFINITY:
                parts.append(([(n, -1)], Fraction(upper)))
            else:
                parts.append(([(n, 1), (n + 1, -1)], zero))
            n += len(parts[-1][0])
        A, b = [], []

        def add(terms, side, sign):
            row, rhs = [zero] * n, Fraction(side)
            for j, value in terms:
                for k, s in parts[j][0]:
                    row[k] += Fraction(value) * s
                rhs -= Fraction(value) * parts[j][1]
            A.append([sign * a for a in row])
            b.append(sign * rhs)

        for j, (lower, upper) in enumerate(bounds):
            if lower > -INFINITY and upper < INFINITY:
                add([(j, 1)], upper, 1)
        for lower, upper, terms in self.rows:
            if upper < INFINITY:
                add(terms.items(), upper, 1)
            if lower > -INFINITY:
                add(terms.items(), lower, -1)
        c, constant = [zero] * n, zero
        for j, column in enumerate(self.columns):
            cost = -self.sense * Fraction(column[2])
            for k, s in parts[j][0]:
                c[k] += cost * s
            constant += cost * parts[j][1]
        return A, b, c, constant, parts

    def solve_relaxation(self, bounds=None):
        """Status, objective value and point, each certified."""
        bounds = [column[:2] for column in self.columns] if bounds is None else bounds
        if any(lower > upper for lower, upper in bounds):
            return INFEASIBLE, None, None
        A, b, c, constant, parts = self.standard(bounds)
        status, certificate = solve_standard(A, b, c)
        verify(A, b, c, status, certificate)
        if status != OPTIMAL:
            return status, None, None
        x = [shift + sum(s * certificate[0][k] for k, s in pieces) for pieces, shift in parts]
        return status, -self.sense * (dot(c, certificate[0]) + constant), x

    def solve(self, nodes: int = 400):
        """The same with whole numbers, by branch and bound; unknown after so many nodes."""
        whole = [j for j, column in enumerate(self.columns) if column[3]]
        if not whole:
            return self.solve_relaxation()[:2]
        status = self.solve_relaxation()[0]
        if status == UNBOUNDED:  # so is the problem where it has a point: data are rational
            free = Model([(lo, up, 0, w) for lo, up, _, w in self.columns], self.rows, 1)
            found = free.solve(nodes)[0]
            return (UNBOUNDED if found == OPTIMAL else found), None
        best, work = None, [[column[:2] for column in self.columns]]
        feasibility = all(column[2] == 0 for column in self.columns)
        while work:
            nodes -= 1
            if nodes < 0:
                return UNKNOWN, None
            bounds = work.pop()
            status, value, x = self.solve_relaxation(bounds)
            if status != OPTIMAL or (best is not None and self.sense * value >= self.sense * best):
                continue
            j = next((j for j in whole if x[j].denominator != 1), None)
            if j is None:
                best = value
                if feasibility:
                    break
                continue
            lower, upper = bounds[j]
            for part in ((lower, math.floor(x[j])), (math.ceil(x[j]), upper)):
                work.append([*bounds[:j], part, *bounds[j + 1 :]])
        return (OPTIMAL, best) if best is not None else (INFEASIBLE, None)
