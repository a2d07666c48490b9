"""Sum: what it takes, what it gives, and that it changes none of its members."""

import random
import sys

import numpy as np
import pytest

import tavlo as tv


def test_operand_kinds(x, y, z, same):
    members = [x, 2 * y, None, x * z, 3, x + y, 1.5, z]
    expected = 2 * x + 3 * y + z + x * z + 4.5
    objects = np.array(members, dtype=object)
    for operand in (
        members,
        tuple(members),
        iter(members),
        (m for m in members),
        dict(enumerate(members)),
        dict(enumerate(members)).values(),
        objects,
        objects.reshape(2, 4),
        objects[::-1],
    ):
        assert same(tv.Sum(operand), expected)
    assert same(tv.Sum(*members), expected)


def test_small_sums(x, y, same, content):
    for empty in (tv.Sum([]), tv.Sum(), tv.Sum(iter(())), tv.Sum([None]), tv.Sum({}), tv.Sum(np.zeros(0))):
        assert type(empty) is tv.expression and content(empty) == (0, {}, {})
    assert tv.Sum([x]) is x and tv.Sum(x) is x
    assert same(tv.Sum(2 * x), 2 * x) and same(tv.Sum([x, x]), 2 * x)
    for number in (tv.Sum([1, 2.5]), tv.Sum(3.5), tv.Sum(np.array([1.5, 2])), tv.Sum([2 * x, -2 * x, 3.5])):
        assert type(number) is tv.expression and content(number) == (3.5, {}, {})
    assert same(tv.Sum([x * y, -x * y]), 0 * (x * y))
    assert same(tv.Sum(i * x for i in range(3)), tv.Sum([]) + x + 2 * x)


def test_numeric_arrays_of_every_type(content):
    for dtype in "?bhilBHILefd":
        assert content(tv.Sum(np.ones(5, dtype=dtype)))[0] == 5
    for array in (np.ones(2, dtype=complex), np.array(["a"]), np.array([1], dtype="M8[s]")):
        with pytest.raises(tv.ModelError, match="Incorrect objects used in Sum, Dot, Prod, or aggregate functions"):
            tv.Sum(array)


def test_members_stay_as_they_are(x, y, content):
    first, second = x + y, x + 1
    before = content(first), content(second)
    total = tv.Sum([first, second, first])
    assert content(total) == (1, {hash(x): 3, hash(y): 2}, {})
    total += 5
    assert (content(first), content(second)) == before
    assert tv.Sum([first]) is not first


def test_refused_operands(x):
    class Endless:
        def __getitem__(self, i):
            return x

    for operand, text in [
        (Endless(), "Invalid sequence of objects"),
        ([None, "text"], "Invalid object in Sum or Prod operators"),
        (None, "Invalid object in Sum or Prod operators"),
        ("text", "Invalid object in Sum or Prod operators"),
        (2j, "Invalid object in Sum or Prod operators"),
        ([[x, x]], "Invalid object in Sum or Prod operators"),
        (["text"], "Invalid object in Sum or Prod operators"),
        ([object()], "Invalid object being copied"),
        ([x, x + 1, np.uint8(3)], "Invalid object in operation"),
        ([x, x + 1, object()], "Invalid object in operation"),
        ([x, "text"], "Invalid operands in addition"),
    ]:
        with pytest.raises((tv.ModelError, TypeError), match=text):
            tv.Sum(operand)
    for product in ([2, "text"], [2, [x]], [x, (1,)]):
        with pytest.raises(tv.ModelError, match="Invalid object in Sum or Prod operators"):
            tv.Prod(product)

    def failing():
        yield x
        yield x + 1
        raise KeyError("inside")

    before = sys.getrefcount(x)
    for _ in range(100):
        with pytest.raises(KeyError):
            tv.Sum(failing())
    assert sys.getrefcount(x) == before


def test_containers_that_change_under_the_sum(x, y, content):
    members = [x, y, x + y]

    class Meddler:
        def __radd__(self, other):
            members.clear()
            return other

    members += [y] * 10
    growing = [x + y]

    def grow():
        for _i in range(5):
            growing.append(x)
            yield growing[-1]

    assert content(tv.Sum(grow()))[1] == {hash(x): 5}
    shrinking = [x + 1, y, x, y, x]

    def shrink():
        while shrinking:
            yield shrinking.pop()

    assert content(tv.Sum(shrink())) == (1, {hash(x): 3, hash(y): 2}, {})


def test_arrays_as_members(x, y):
    total = tv.Sum([np.array([1, 2]), np.array([x, y]), np.array([0.5, 0.5])])
    assert [str(e) for e in total] == ["1.5 + x", "2.5 + y"]


@pytest.mark.parametrize("order", ["ascending", "descending", "random"])
def test_large_sums_in_any_order(order):
    n = 100_000
    variables = [tv.var() for _ in range(n)]
    sequence = list(range(n))
    if order == "descending":
        sequence.reverse()
    elif order == "random":
        random.Random(3).shuffle(sequence)
    total = tv.Sum((i + 1.0) * variables[i] for i in sequence)
    listed, coefs = total.extractLinear()
    assert coefs == [i + 1.0 for i in range(n)]
    assert all(a is b for a, b in zip(listed, variables))
    for i in sequence[::-2]:  # cancel every other one, from the end of the order
        total -= (i + 1.0) * variables[i]
    kept = sorted(sequence[-2::-2])
    assert total.extractLinear()[1] == [i + 1.0 for i in kept]
    copy = total + 0
    for i in kept[: n // 4] + kept[: n // 4 : -1]:
        total -= (i + 1.0) * variables[i]
    assert total.extractLinear()[1] == [kept[n // 4] + 1.0]
    assert len(copy.extractLinear()[0]) == n // 2
    for i in sequence:
        total += variables[i]
    assert len(total.extractLinear()[0]) == n
    del listed, copy
    total *= 0
    del total
    assert {sys.getrefcount(v) for v in variables} == {3}


def test_a_million_terms():
    variables = [tv.var() for _ in range(1000)]
    total = tv.Sum(i % 7 * variables[i % 1000] for i in range(10**6))
    coefs = total.extractLinear()[1]
    assert coefs == [sum(i % 7 for i in range(k, 10**6, 1000)) for k in range(1000)]
    squares = tv.Sum(v * w for v in variables for w in variables)
    assert len(squares.extractQuadratic()[2]) == 1000 * 1001 // 2


def test_many_products(content):
    n = 60
    variables = [tv.var() for _ in range(n)]
    total = tv.Sum((i + j) * variables[i] * variables[j] for i in reversed(range(n)) for j in range(n))
    _, _, quadratic = content(total)
    index = [hash(v) for v in variables]
    for i in range(n):
        for j in range(i, n):
            assert quadratic.get((index[i], index[j]), 0) == (i + j) * (1 if i == j else 2)
    square = tv.Sum(variables) ** 2
    square -= tv.Sum(u * v for u in variables for v in variables)
    assert content(square) == (0, {}, {})


@pytest.mark.parametrize("number", [np.int8, np.int16, np.float16, np.float32, np.float64])
def test_numbers_of_narrow_types_are_summed_as_doubles(number, x, content):
    assert content(tv.Sum([number(100), number(100), 0.1, x]))[0] == 200.1
    assert content(tv.Prod([number(100), 1000, number(100), 0.1, x]))[1] == {hash(x): 1e6}
