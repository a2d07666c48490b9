"""A model as the solver library stores it, read through its C interface: what checks compare and recompute from.

The package is not asked: `StoredModel.read` loads a file into a problem of its own in the same library.
"""

from __future__ import annotations

import ctypes
from ctypes import byref, c_char, c_double, c_int, c_int64
from dataclasses import dataclass
from pathlib import Path
from typing import Any

import numpy as np

import tavlo

ROW_NAMES, COLUMN_NAMES = 1, 2
INFINITY = 1e20


class Library:
    """The C functions, each checked: a nonzero result raises with the library's text."""

    def __init__(self) -> None:
        path = Path(tavlo.tavlolib.__file__).parent / "lib" / "libtvlo.so"
        self.functions = ctypes.CDLL(str(path))
        if self.functions.TVLOinit():
            raise RuntimeError("the solver library does not start")
        ids, names, types = ctypes.POINTER(c_int)(), ctypes.POINTER(ctypes.c_char_p)(), ctypes.POINTER(c_int)()
        self.functions.TVLOgetcalist_c(byref(ids), byref(names), byref(types))
        count = next(k for k in range(10**6) if not ids[k])
        self.ids = {names[k].decode(): ids[k] for k in range(count)}  # of controls and attributes

    def call(self, name: str, prob: ctypes.c_void_p, *arguments: Any) -> None:
        if getattr(self.functions, name)(prob, *arguments):
            text = ctypes.create_string_buffer(512)
            self.functions.TVLOgetlasterror(prob, text)
            raise RuntimeError(f"{name}: {text.value.decode()}")


def handle(p: tavlo.problem) -> ctypes.c_void_p:
    """The library's problem behind one of the package: the first field of its record."""
    return ctypes.c_void_p.from_address(id(p) + object.__basicsize__)


@dataclass
class StoredModel:
    sense: int
    constant: float
    objective: np.ndarray
    lower: np.ndarray
    upper: np.ndarray
    column_type: list[str]
    threshold: np.ndarray
    column_name: list[str]
    row_type: list[str]
    rhs: np.ndarray
    range: np.ndarray
    row_name: list[str]
    start: np.ndarray
    column: np.ndarray
    coefficient: np.ndarray
    quadratic: dict[int, dict[tuple[int, int], float]]  # row, -1 for the objective: symmetric, of x'Qx/2 and x'Qx

    @classmethod
    def read(cls, library: Library, filename: str) -> StoredModel:
        prob = ctypes.c_void_p()
        if library.functions.TVLOcreateprob(byref(prob)):
            raise RuntimeError("no problem can be made")
        try:
            library.call("TVLOreadprob", prob, filename.encode(), b"")
            return cls.of(library, prob)
        finally:
            library.functions.TVLOdestroyprob(prob)

    @classmethod
    def of(cls, library: Library, prob: ctypes.c_void_p) -> StoredModel:
        def attribute(name: str) -> int:
            value = c_int()
            library.call("TVLOgetintattrib", prob, library.ids[name], byref(value))
            return value.value

        nrows, ncols, width = attribute("rows"), attribute("cols"), 8 * attribute("namelength") + 1

        def doubles(function: str, n: int, first: int = 0, last: int | None = None) -> np.ndarray:
            values = (c_double * max(n, 1))()
            if n:
                library.call(function, prob, values, first, n - 1 if last is None else last)
            return np.array(values[:n])

        def letters(function: str, n: int) -> list[str]:
            values = (c_char * max(n, 1))()
            if n:
                library.call(function, prob, values, 0, n - 1)
            return list(values.raw[:n].decode())

        def names(kind: int, n: int) -> list[str]:
            text = (c_char * max(n * width, 1))()
            if n:
                library.call("TVLOgetnames", prob, kind, text, 0, n - 1)
            return [text.raw[i * width : (i + 1) * width].split(b"\0")[0].decode() for i in range(n)]

        count = c_int64()
        start = (c_int64 * (nrows + 1))()
        if nrows:
            library.call("TVLOgetrows64", prob, None, None, None, c_int64(0), byref(count), 0, nrows - 1)
        column, coefficient = (c_int * max(count.value, 1))(), (c_double * max(count.value, 1))()
        if nrows:
            library.call("TVLOgetrows64", prob, start, column, coefficient, count, byref(count), 0, nrows - 1)

        def triplets(row: int) -> dict[tuple[int, int], float]:
            n = c_int64()
            library.call("TVLOgetqrowqmatrixtriplets64", prob, row, byref(n), None, None, None)
            first, second, value = (c_int * n.value)(), (c_int * n.value)(), (c_double * n.value)()
            if n.value:
                library.call("TVLOgetqrowqmatrixtriplets64", prob, row, byref(n), first, second, value)
            return {(i, j): v for i, j, v in zip(first, second, value)}

        def objective_triplets() -> dict[tuple[int, int], float]:
            n = c_int64()
            if ncols:
                library.call("TVLOgetmqobj64", prob, None, None, None, c_int64(0), byref(n), 0, ncols - 1)
            begin, second, value = (c_int64 * (ncols + 1))(), (c_int * n.value)(), (c_double * n.value)()
            if n.value:
                library.call("TVLOgetmqobj64", prob, begin, second, value, n, byref(n), 0, ncols - 1)
            return {(i, second[k]): value[k] for i in range(ncols) for k in range(begin[i], begin[i + 1])}

        forms = {-1: objective_triplets(), **{i: triplets(i) for i in range(nrows)}}
        return cls(
            quadratic={row: form for row, form in forms.items() if form},
            sense=attribute("objsense"),
            constant=-float(doubles("TVLOgetobj", 1, -1, -1)[0]),
            objective=doubles("TVLOgetobj", ncols),
            lower=doubles("TVLOgetlb", ncols),
            upper=doubles("TVLOgetub", ncols),
            column_type=letters("TVLOgetcoltype", ncols),
            threshold=doubles("TVLOgetglblimit", ncols),
            column_name=names(COLUMN_NAMES, ncols),
            row_type=letters("TVLOgetrowtype", nrows),
            rhs=doubles("TVLOgetrhs", nrows),
            range=doubles("TVLOgetrhsrange", nrows),
            row_name=names(ROW_NAMES, nrows),
            start=np.array(start[: nrows + 1]),
            column=np.array(column[: count.value], dtype=int),
            coefficient=np.array(coefficient[: count.value]),
        )

    def row(self, i: int) -> dict[int, float]:
        span = slice(self.start[i], self.start[i + 1])
        return dict(zip(self.column[span].tolist(), self.coefficient[span].tolist()))

    def row_bounds(self, i: int) -> tuple[float, float]:
        rhs, letter = self.rhs[i], self.row_type[i]
        lower = {"G": rhs, "E": rhs, "R": rhs - self.range[i]}.get(letter, -INFINITY)
        return lower, {"L": rhs, "E": rhs, "R": rhs}.get(letter, INFINITY)

    def value(self, x: np.ndarray) -> float:
        return self.constant + float(self.objective @ x) + sum(self.terms(-1, x)) / 2

    def terms(self, row: int, x: np.ndarray) -> list[float]:
        form = self.quadratic.get(row, {})
        return [float(q * x[i] * x[j] * (1 if i == j else 2)) for (i, j), q in form.items()]

    def gradient(self, row: int, x: np.ndarray) -> np.ndarray:
        """Of the objective (row -1) or of a row's activity."""
        result = self.objective.copy() if row < 0 else np.zeros(len(x))
        for j, coefficient in self.row(row).items() if row >= 0 else ():
            result[j] += coefficient
        factor = 1 if row < 0 else 2
        for (i, j), q in self.quadratic.get(row, {}).items():
            result[i] += factor * q * x[j]
            if i != j:
                result[j] += factor * q * x[i]
        return result

    def activity(self, i: int, x: np.ndarray) -> tuple[float, float]:
        """A row's activity and the size of its largest term."""
        span = slice(self.start[i], self.start[i + 1])
        terms = np.append(self.coefficient[span] * x[self.column[span]], self.terms(i, x))
        return float(terms.sum()), max(1.0, float(np.abs(terms).max(initial=0.0)))

    def residuals(self, x: np.ndarray, dual: np.ndarray, redcost: np.ndarray) -> tuple[float, float]:
        """How far the duals are from proving a continuous problem's point optimal: by stationarity and signs, and by
        complementarity, each divided by the size of what it concerns."""
        gradient = self.gradient(-1, x)
        size = max(1.0, float(np.abs(gradient).max(initial=0.0)))
        for i in np.flatnonzero(dual):
            gradient -= dual[i] * self.gradient(int(i), x)
        stationarity = float(np.abs(gradient - redcost).max(initial=0.0)) / size
        pairs = [(redcost[j], x[j], 1.0, self.lower[j], self.upper[j]) for j in range(len(x))]
        pairs += [(dual[i], *self.activity(i, x), *self.row_bounds(i)) for i in range(len(dual))]
        lost = 0.0
        for d, value, scale, lower, upper in pairs:
            d *= self.sense
            bound = lower if d > 0 else upper
            if abs(bound) < INFINITY:
                lost += abs(d) * max(0.0, abs(value - bound) - 1e-6 * max(scale, abs(bound)))
            else:
                stationarity = max(stationarity, abs(d) / size)
        return stationarity, lost / max(1.0, abs(self.value(x)))

    def violation(self, x: np.ndarray) -> float:
        """The largest violation of a bound, a row or integrality, each divided by the size of what it violates."""
        worst = 0.0
        for j, letter in enumerate(self.column_type):
            value, lower = x[j], self.lower[j]
            if letter in "SR":  # zero, or at least the threshold
                if abs(value) <= 1e-9:
                    continue
                lower = max(lower, self.threshold[j])
            worst = max(
                worst, (lower - value) / max(1.0, abs(lower)), (value - self.upper[j]) / max(1.0, abs(self.upper[j]))
            )
            if letter in "BIR":
                worst = max(worst, abs(value - round(value)))
        for i in range(len(self.row_type)):
            activity, size = self.activity(i, x)
            lower, upper = self.row_bounds(i)
            for excess, bound in ((lower - activity, lower), (activity - upper, upper)):
                if abs(bound) < INFINITY:
                    worst = max(worst, excess / max(size, abs(bound)))
        return worst

    def difference(self, other: StoredModel) -> str:
        """The first thing in which the two models differ, in words; empty when they are the same to the last bit."""
        for name in ("sense", "constant", "column_name", "row_name", "column_type", "row_type"):
            if getattr(self, name) != getattr(other, name):
                return f"{name}s differ"
        if self.quadratic != other.quadratic:
            return "quadratic parts differ"
        for name in ("objective", "lower", "upper", "threshold", "rhs"):
            mine, theirs = getattr(self, name), getattr(other, name)
            different = np.flatnonzero(mine != theirs)
            if different.size:
                k = int(different[0])
                return f"{name}[{k}] is {mine[k]!r} and {theirs[k]!r}"
        for i, name in enumerate(self.row_name):
            if self.row_bounds(i) != other.row_bounds(i):
                return f"bounds of row {name} are {self.row_bounds(i)} and {other.row_bounds(i)}"
            if self.row(i) != other.row(i):
                return f"coefficients of row {name} differ"
        return ""
