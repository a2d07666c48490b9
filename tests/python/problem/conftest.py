"""What the solver holds of a live problem, read past the package."""

import ctypes
import sys
from ctypes import byref, c_double, c_int, c_int64
from pathlib import Path

import pytest

import tavlo as tv

sys.path.insert(0, str(Path(__file__).resolve().parents[3] / "scripts"))

import stored_model
from stored_model import handle


@pytest.fixture(autouse=True)
def quiet():
    tv.setOutputEnabled(False)
    yield
    tv.setOutputEnabled(True)


@pytest.fixture
def printing(quiet):
    tv.setOutputEnabled(True)


@pytest.fixture(scope="session")
def library():
    return stored_model.Library()


@pytest.fixture
def stored(library):
    """The stored model of a problem."""
    return lambda p: stored_model.StoredModel.of(library, handle(p))


@pytest.fixture
def quadratic(library):
    """Quadratic entries {(i, j): value} of a row, or of the objective for row None."""

    def read(p, row):
        prob, n, count = handle(p), p.attributes.cols, c_int64(0)
        if row is not None:
            library.call("TVLOgetqrowqmatrixtriplets64", prob, row, byref(count), None, None, None)
            first, second, value = (c_int * count.value)(), (c_int * count.value)(), (c_double * count.value)()
            library.call("TVLOgetqrowqmatrixtriplets64", prob, row, byref(count), first, second, value)
            return {(i, j): c for i, j, c in zip(first, second, value)}
        library.call("TVLOgetmqobj64", prob, None, None, None, c_int64(0), byref(count), 0, n - 1)
        start, second, value = (c_int64 * (n + 1))(), (c_int * count.value)(), (c_double * count.value)()
        library.call("TVLOgetmqobj64", prob, start, second, value, count, byref(count), 0, n - 1)
        return {(i, second[k]): value[k] for i in range(n) for k in range(start[i], start[i + 1])}

    return read


@pytest.fixture
def formulas(library):
    """Coefficients {column: (factor, tokens without the end)} of a row; column -1 stands for 1."""

    def read(p, row):
        slp = ctypes.c_void_p.from_address(id(p) + object.__basicsize__ + ctypes.sizeof(ctypes.c_void_p))
        call, count = library.functions, c_int()
        assert call.TSLPgetcoefs(slp, byref(count), None, None) == 0
        rows, columns = (c_int * count.value)(), (c_int * count.value)()
        assert call.TSLPgetcoefs(slp, byref(count), rows, columns) == 0
        result = {}
        for column in (j for i, j in zip(rows, columns) if i == row):
            factor, kinds, values = c_double(), (c_int * 1000)(), (c_double * 1000)()
            assert call.TSLPgetcoefformula(slp, row, column, byref(factor), 1, 1000, byref(count), kinds, values) == 0
            assert kinds[count.value - 1] == 0
            result[column] = factor.value, list(zip(kinds, values))[: count.value - 1]
        return result

    return read


@pytest.fixture
def agrees(stored):
    """Checks that lists, maps and the solver's counts of a problem agree; returns the objects."""

    def check(p):
        m, variables, constraints = stored(p), p.getVariable(), p.getConstraint()
        assert [p.getIndex(o) for o in variables] == list(range(len(m.lower)))
        assert [p.getIndex(o) for o in constraints] == list(range(len(m.row_type)))
        return variables, constraints

    return check


@pytest.fixture
def xy():
    x, y = tv.var(name="x", ub=10), tv.var(name="y", ub=10)
    p = tv.problem(x, y, name="p")
    return p, x, y
