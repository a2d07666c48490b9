"""Random programs of operators, functions and aggregates against plain Python arithmetic on the same values."""

from hypothesis import given
from hypothesis import strategies as st
from random_objects import NODE, VALUES, VARIABLES, Program, agrees, extracted, is_number, pairwise, plus

import tavlo as tv

PROGRAMS = st.binary(min_size=30, max_size=134)


@given(PROGRAMS)
def test_values_texts_and_parts(code):
    program = Program(code)
    objects = [o for o, _ in program.pool]
    values = tv.evaluate(objects, solution=program.point)
    for obj, value, (_, known) in zip(objects, values, program.pool):
        assert agrees(value, known), (str(obj), value, known)
        if known.parts is not None:
            check_parts(obj, known)
    # Whatever happened after an object was made did not change it.
    assert list(map(str, objects)) == program.texts


def check_parts(obj, known):
    found = extracted(obj)
    for key in {**found, **known.parts}:
        if key or not isinstance(obj, NODE):
            a, b = found.get(key, 0), known.parts.get(key, 0)
            slack = 0 if known.error == 0 else 1e-12 * known.scale + 1e-12 * abs(b)
            assert abs(a - float(b)) <= slack, (str(obj), key, a, b)


@given(PROGRAMS)
def test_polynomials_have_the_derivatives_of_their_parts(code):
    program = Program(code)
    for obj, known in program.pool:
        if isinstance(obj, NODE) or is_number(obj):
            continue
        (vars1, linear), (first, second, products) = obj.extractLinear(), obj.extractQuadratic()
        for v in VARIABLES:
            ends = [tv.evaluate(obj, solution={**program.point, v: program.point[v] + h}) for h in (1, -1)]
            slope = sum(c for u, c in zip(vars1, linear) if u is v)
            for a, b, c in zip(first, second, products):
                slope += c * float(program.point[b]) * (a is v) + c * float(program.point[a]) * (b is v)
            assert abs((ends[0] - ends[1]) / 2 - slope) <= 1e-10 * (known.scale + sum(map(abs, linear + products)))


def apart(c, point):
    """How far a constraint's body is inside its only bound, or from both when they are equal, and which it is."""
    body = tv.evaluate(c.body, solution=point)
    if c.lb == c.ub:
        return "==", abs(body - c.ub)
    assert (c.lb == -1e20) != (c.ub == 1e20)
    return "<=", c.ub - body if c.lb == -1e20 else body - c.lb


@given(PROGRAMS)
def test_comparisons(code):
    program = Program(code)
    for (a, p), (b, q) in pairwise(reversed(program.pool)):
        if is_number(a) and is_number(b):
            continue
        room = plus(q, p, -1)
        for made, sense in ((a <= b, 1), (b >= a, 1), (a >= b, -1), (b <= a, -1), (a == b, 0)):
            kind, distance = apart(made, program.point)
            known = plus(q, p, -1)
            known.value = sense * room.value if sense else abs(room.value)
            assert kind == ("<=" if sense else "==") and agrees(distance, known), (str(a), str(b), str(made.body))
    assert [str(o) for o, _ in program.pool] == program.texts


@given(st.lists(st.integers(0, 255), max_size=12), st.sampled_from(VALUES))
def test_builtin_sum_is_the_same_as_the_aggregate(choice, shift):
    members = [VARIABLES[b % 4] * (b % 5 - 2.0) if b % 3 else VARIABLES[b % 4] * VARIABLES[b // 4 % 4] for b in choice]
    total = 0.0 + float(shift) + tv.expression()
    assert str(sum(members, total)) == str(total + tv.Sum(members)) == str(tv.Sum(total, *members))
