"""Random constraints as the solver holds them, worth what the objects are worth."""

import math
import operator

from hypothesis import HealthCheck, given, settings
from hypothesis import strategies as st
from random_objects import VARIABLES, Program, agrees, is_number, pairwise, plus

import tavlo as tv

UNARY = {14: math.log10, 15: math.log, 16: math.exp, 17: abs, 18: math.sqrt, 27: math.sin, 28: math.cos, 29: math.tan}
UNARY |= {30: math.asin, 31: math.acos, 32: math.atan, 46: lambda v: (v > 0) - (v < 0), 49: math.erf, 50: math.erfc}
BINARY = {2: pow, 3: operator.mul, 4: operator.truediv, 5: operator.add, 6: operator.sub}


def piecewise(arguments):
    """Arguments y_n, x_n, ..., y_1, x_1, t."""
    *points, t = arguments
    for (y1, x1), (y0, x0) in pairwise(zip(points[::2], points[1::2])):
        if t >= x0:
            return y0 + (t - x0) * (y1 - y0) / (x1 - x0)
    raise AssertionError("before the first point")


def reverse_polish(tokens, values):
    stack = []
    for kind, value in tokens:
        if kind == 1:
            stack.append(value)
        elif kind == 10:
            stack.append(values[int(value)])
        elif kind == 22:
            stack.append("mark")
        elif kind == 31 and value == 1:
            stack.append(-stack.pop())
        elif kind == 31:
            right, left = stack.pop(), stack.pop()
            stack.append(BINARY[value](left, right))
        else:
            at = len(stack) - 1 - stack[::-1].index("mark")
            arguments = stack[at + 1 :]
            function = {33: min, 34: max, 35: piecewise}.get(value, lambda a, value=value: UNARY[value](*a))
            stack[at:] = [function(arguments)]
    assert len(stack) <= 1
    return stack[0] if stack else 1.0


@settings(suppress_health_check=[HealthCheck.function_scoped_fixture])
@given(st.binary(min_size=30, max_size=134))
def test_rows_are_worth_what_their_constraints_are(stored, quadratic, formulas, code):
    program = Program(code, logic=False)
    pairs = [(a, b) for a, b in pairwise(reversed(program.pool)) if not (is_number(a[0]) and is_number(b[0]))]
    p = tv.problem(VARIABLES)
    p.addConstraint(a <= b for (a, _), (b, _) in pairs)
    m, values = stored(p), [float(v) for v in program.point.values()]
    for row, ((a, known), (b, other)) in enumerate(pairs):
        activity = sum(c * values[j] for j, c in m.row(row).items())
        activity += sum(c * values[i] * values[j] * (1 if i == j else 2) for (i, j), c in quadratic(p, row).items())
        for column, (factor, tokens) in formulas(p, row).items():
            activity += factor * reverse_polish(tokens, values) * (1 if column < 0 else values[column])
        assert m.row_type[row] in "LG"
        inside = m.rhs[row] - activity if m.row_type[row] == "L" else activity - m.rhs[row]
        room = plus(other, known, -1)
        room.error += 1e-12 * room.scale  # the translation may order operations otherwise
        assert agrees(inside, room), (str(a), str(b), inside, room)
