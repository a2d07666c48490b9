"""Random programs over modelling objects, and beside every object what it is worth by plain Python arithmetic.

A program is a string of bytes: four values of variables, then steps of five bytes, each of which puts one object into
the pool. Zero bytes do nothing, so a failing program shrinks to the steps that matter.
"""

from __future__ import annotations

import dataclasses
import itertools
import math
import operator
from fractions import Fraction

import numpy as np

import tavlo as tv

VARIABLES = [tv.var(name=f"v{i}", lb=-1e20) for i in range(4)]
NODE = type(tv.sin(VARIABLES[0]))
MODELLING = (tv.var, type(2 * VARIABLES[0]), type(VARIABLES[0] ** 2), tv.expression, NODE)
VALUES = [Fraction(v) for v in (1, -2, -0.5, 0, 0.25, 1.5, 3)]
NUMBERS = [2, 0, 1, -1, 3.0, 0.5, -0.25, 0.1, True, 100, *(t(2) for t in (np.float16, np.float32, np.int16))]
NUMBERS += [np.float64(1.0), np.float64(-1.5), np.float32(0.75), np.float16(0.0), np.int8(100), np.int8(-3)]
NUMBERS += [np.int32(4), np.int64(-2)]
TOLERANCE = 5e-6  # of the logical operators


@dataclasses.dataclass
class Known:
    """The value of an object, exact as long as no order of operations could have rounded.

    `error` bounds what rounding can do to a right answer, 0 for none; `scale` is the value with every part taken
    positive, `bits` the binary places. `parts` has the coefficients by sorted tuples of indices; None when unknown.
    """

    value: Fraction | float
    error: float
    scale: float
    bits: int
    parts: dict | None
    size: int = 1

    @classmethod
    def number(cls, n):
        value = Fraction(float(n))
        bits = value.denominator.bit_length() - 1
        return cls(value, 0.0, max(abs(float(n)), 2.0**-bits), bits, {(): value})

    def bounds(self):
        v = float(self.value)
        return (v - self.error, v, v + self.error) if self.error else (v,)


class Unsuitable(Exception):
    """An operation without a value, or with one that rounding decides."""


def settled(value, error, scale, bits, parts=None, size=1):
    """A Known with the rounding of its own operation added."""
    if not scale < 1e9 or size > 300:
        raise Unsuitable
    if error == 0 and isinstance(value, Fraction) and scale * 2.0**bits < 2.0**48:
        return Known(value, 0.0, scale, bits, parts, size)
    return Known(float(value), error + scale * 1e-13 + 1e-300, scale, bits, parts, size)


def is_number(obj):
    return not isinstance(obj, MODELLING)


def scaled(parts, factor):
    return None if parts is None else {k: factor * c for k, c in parts.items()}


def extracted(obj):
    """The parts of an object as it tells them; the constant of a number or polynomial too."""
    if is_number(obj):
        return {(): Fraction(float(obj))}
    parts = {} if isinstance(obj, NODE) else {(): 0 - (obj <= 0).ub}
    parts |= {(hash(v),): c for v, c in zip(*obj.extractLinear())}
    return parts | {(hash(u), hash(v)): c for u, v, c in zip(*obj.extractQuadratic())}


def added(a, b, sign):
    if a is None or b is None:
        return None
    return {k: a.get(k, 0) + sign * b.get(k, 0) for k in {**a, **b}}


def plus(a, b, sign=1):
    return settled(
        a.value + sign * b.value,
        a.error + b.error,
        a.scale + b.scale,
        max(a.bits, b.bits),
        added(a.parts, b.parts, sign),
        a.size + b.size,
    )


def times(a, b):
    error = abs(float(a.value)) * b.error + abs(float(b.value)) * a.error + a.error * b.error
    return settled(a.value * b.value, error, a.scale * b.scale, a.bits + b.bits, None, a.size + b.size)


def over(a, b):
    v = abs(float(b.value))
    if v < 1e-3 + 2 * b.error:
        raise Unsuitable
    scale = a.scale * b.scale / v**2
    exact = b.error == 0 and v == 2.0 ** round(math.log2(v))
    error = (a.error + abs(float(a.value)) / v * b.error) / (v - b.error)
    bits = a.bits + b.bits + max(0, round(math.log2(v)))
    value = a.value / b.value if exact else float(a.value) / float(b.value)
    return settled(value, error, scale, bits, None, a.size + b.size)


def through(function, *operands):
    """A continuous function of its operands by its values at the ends of their ranges."""
    try:
        corners = [function(*c) for c in itertools.product(*(k.bounds() for k in operands))]
        middle = function(*(float(k.value) for k in operands))
        if isinstance(middle, complex) or not all(abs(c) < 1e6 for c in corners):
            raise Unsuitable
    except (ValueError, OverflowError, ZeroDivisionError):
        raise Unsuitable from None
    error = 4 * max(abs(c - middle) for c in corners)
    return settled(middle, error, max(abs(middle), 1e-9), 0, {}, sum(k.size for k in operands))


def power(a, b, exponent):
    n = None if exponent is None else float(exponent)
    if n in (0, 1, 2, 3):
        result = Known.number(1)
        for _ in range(int(n)):
            result = times(result, a)
        return result
    if not (float(a.value) > 0.01 + 2 * a.error or (n == int(n or 0.5) and abs(float(a.value)) > 0.01 + 2 * a.error)):
        raise Unsuitable
    return through(lambda x, y: x**y, a, b)


def decided(k, threshold):
    if k.error and abs(float(k.value) - threshold) <= k.error:
        raise Unsuitable
    return k.value > threshold


def logical(both, operands):
    threshold = TOLERANCE if both else 1 - TOLERANCE
    value = (all if both else any)([decided(k, threshold) for k in operands])
    return settled(Fraction(int(value)), 0.0, 1.0, 0, {}, 1 + sum(k.size for k in operands))


def extreme(function, operands):
    return settled(
        function(k.value for k in operands),
        max(k.error for k in operands),
        max(k.scale for k in operands),
        max(k.bits for k in operands),
        {},
        sum(k.size for k in operands),
    )


def product_parts(result, factors):
    """Parts of a product: a polynomial's all, a node's only with one factor that is no constant."""
    if any(k.parts is None for _, k in factors):
        return None
    if not isinstance(result, NODE):
        if any(isinstance(o, NODE) for o, _ in factors):
            return extracted(result)
        parts = {(): 1}
        for _, k in factors:
            merged = {}
            for (m, c), (n, d) in itertools.product(parts.items(), k.parts.items()):
                key = tuple(sorted(m + n))
                merged[key] = merged.get(key, 0) + c * d
            parts = {key: c for key, c in merged.items() if c}
        return parts
    others = [(o, k) for o, k in factors if not is_number(o)]
    if any(isinstance(o, tv.expression) and not any(m and c for m, c in k.parts.items()) for o, k in others):
        return None  # its maps may be there, and empty, or not: whether it is a constant can't be seen
    numbers = math.prod(Fraction(float(o)) for o, _ in factors if is_number(o))
    return scaled(others[0][1].parts, numbers) if len(others) == 1 else {}


SIGNS = {"+": operator.add, "-": operator.sub, "*": operator.mul, "/": operator.truediv, "**": operator.pow}
SIGNS |= {"&": operator.and_, "|": operator.or_}
IN_PLACE = {"+": operator.iadd, "-": operator.isub, "*": operator.imul, "/": operator.itruediv, "**": operator.ipow}
IN_PLACE |= {"&": operator.iand, "|": operator.ior}
FUNCTIONS = ["sin", "cos", "tan", "asin", "acos", "atan", "exp", "log", "log10", "sqrt", "erf", "erfc"]
AGGREGATES = {"Sum": tv.Sum, "Prod": tv.Prod, "And": tv.And, "Or": tv.Or, "max": tv.max, "min": tv.min, "sum": sum}
FORMS = [list, tuple, iter, lambda m: dict(enumerate(m)), lambda m: (o for o in m), lambda m: [None, *m, None]]
FORMS += [lambda m: np.array(m, dtype=object)]
LOGIC = {"&", "|", "&=", "|=", "And", "Or", "user"}
OPERATIONS = [None, *SIGNS, *SIGNS, "+", "-", "*", *(s + "=" for s in SIGNS), *(s + "[]" for s in "+-*/"), *"+-*/"]
OPERATIONS += ["neg", "abs", "sign", *FUNCTIONS, *AGGREGATES, "Sum", "Prod", "pwl", "user"]


class Program:
    """Runs a program; `pool` has pairs of an object and what is known of it, the variables first."""

    def __init__(self, code, logic=True):
        self.point = {v: VALUES[b % len(VALUES)] for v, b in zip(VARIABLES, code)}
        self.pool = [(v, Known(x, 0.0, max(abs(float(x)), 1.0), 2, {(hash(v),): 1})) for v, x in self.point.items()]
        self.texts = [str(v) for v in VARIABLES]
        for at in range(4, len(code) - 4, 5):
            name = OPERATIONS[code[at] % len(OPERATIONS)]
            if name is None or (not logic and name in LOGIC):
                continue
            try:
                obj, known = self.step(name, *code[at + 1 : at + 5])
            except Unsuitable:
                continue
            if is_number(obj):
                known = dataclasses.replace(known, parts=extracted(obj))
            self.pool.append((obj, known))
            self.texts.append(str(obj))

    def operand(self, byte):
        if byte % 3 == 2:
            number = NUMBERS[byte // 3 % len(NUMBERS)]
            return number, Known.number(number)
        return self.pool[-1 - byte // 3 % len(self.pool)]

    def step(self, name, i, j, k, variant):
        a, b = self.operand(i), self.operand(j)
        sign = name.rstrip("=[]")
        if sign in SIGNS:
            return self.binary(sign, name[len(sign) :], a, b, variant)
        if name in AGGREGATES:
            members = [a, b, self.operand(k), self.operand(variant)][: 1 + variant % 4]
            return self.aggregate(name, members, variant)
        obj, known = a
        if name == "pwl":
            v, known = self.pool[i % 4]
            t = known.value
            value = -t if t < 0 else 2 * t if t < 1 else 3 - t
            return tv.pwl({(-4, 0): -v, (0, 1): 2 * v, (1, 8): 3 - v}), settled(value, 0.0, known.scale + 3, 2, {})
        if name == "user":
            return tv.user(math.hypot, obj, b[0]), through(math.hypot, known, b[1])
        if name == "neg":
            if is_number(obj):
                raise Unsuitable
            return -obj, dataclasses.replace(known, value=-known.value, parts=scaled(known.parts, -1))
        if name == "abs":
            return tv.abs(obj) if variant % 2 else abs(obj), self.unary(obj, abs, known)
        if name == "sign":
            value = decided(known, 0) - (1 - decided(known, 0)) * (known.value != 0)
            return tv.sign(obj), settled(Fraction(int(value)), 0.0, 1.0, 0, {}, known.size)
        return getattr(tv, name)(obj), through(getattr(math, name), known)

    @staticmethod
    def unary(obj, function, known):
        return dataclasses.replace(known, value=function(known.value), parts={} if not is_number(obj) else None)

    def binary(self, sign, form, a, b, variant):
        (x, p), (y, q) = a, b
        if is_number(x) and is_number(y):
            raise Unsuitable
        known = {
            "+": lambda: plus(p, q),
            "-": lambda: plus(p, q, -1),
            "*": lambda: times(p, q),
            "/": lambda: over(p, q),
            "**": lambda: power(p, q, y if is_number(y) else None),
            "&": lambda: logical(True, (p, q)),
            "|": lambda: logical(False, (p, q)),
        }[sign]()
        if form == "[]":
            result = self.by_array(SIGNS[sign], x, y, variant)
        elif form == "=":
            target = x + 0.0 if isinstance(x, tv.expression) else x * 1 if isinstance(x, NODE) else x
            result = IN_PLACE[sign](target, y)
            if isinstance(x, tv.expression) and sign in "+-" and not isinstance(y, NODE):
                assert result is target
        else:
            result = SIGNS[sign](x, y)
        if sign == "*":
            known.parts = product_parts(result, (a, b))
        elif sign == "/" and is_number(y):
            known.parts = scaled(p.parts, 1 / Fraction(float(y)) if known.error == 0 else 1 / float(y))
        elif sign == "**" and is_number(y) and float(y) in (0, 1, 2):
            known.parts = product_parts(result, [a] * int(y)) if y != 2 or not isinstance(result, NODE) else {}
        elif sign in "/**":
            hidden = isinstance(y, tv.expression) and not any(m and c for m, c in (q.parts or {}).items())
            known.parts = extracted(result) if not isinstance(result, NODE) else None if hidden or form else {}
        return result, known

    def by_array(self, op, x, y, variant):
        """The operation with one operand as an element of an array."""
        swap, place = variant & 1, variant >> 1 & 1
        inner = x if swap else y
        if is_number(inner) and variant & 4:
            dtype = inner.dtype if isinstance(inner, np.generic) else float
        else:
            dtype = tv.npexpr if variant & 8 and not is_number(inner) else object
        if variant & 16:
            array, place = np.array(inner, dtype=dtype), ()
        else:
            array = np.array([inner, inner], dtype=dtype)
            array[1 - place] = VARIABLES[0] if dtype in (object, tv.npexpr) else 2
        result = op(array, y) if swap else op(x, array)
        return result[place] if isinstance(result, np.ndarray) else result

    def aggregate(self, name, members, variant):
        objects, known = [o for o, _ in members], [k for _, k in members]
        if name == "sum" and sum(map(is_number, objects)) > 1:
            raise Unsuitable  # NumPy's own arithmetic
        if name in ("Sum", "sum", "Prod"):
            result = known[0]
            for k in known[1:]:
                result = times(result, k) if name == "Prod" else plus(result, k)
        elif name in ("And", "Or"):
            result = logical(name == "And", known)
        else:
            result = extreme(max if name == "max" else min, known)
        form = FORMS[variant // 4 % len(FORMS)] if name in ("Sum", "Prod", "And", "Or") else list
        function = AGGREGATES[name]
        obj = function(*objects) if name != "sum" and variant & 64 else function(form(objects))
        if name == "Prod":
            result = dataclasses.replace(result, parts=product_parts(obj, members))
        elif len(members) == 1 and name in ("And", "Or"):
            result = known[0]  # a single member is what it is
        elif len(members) == 1:
            result = dataclasses.replace(result, parts=known[0].parts)
        elif name in ("max", "min", "And", "Or") and not isinstance(obj, NODE):
            result.parts = extracted(obj)
        return obj, result


def agrees(value, known):
    """Whether a value is the known one, up to what rounding explains."""
    if known.error == 0:
        return value == known.value
    return abs(value - float(known.value)) <= known.error


def pairwise(items):
    """As itertools.pairwise, which Python 3.9 lacks."""
    items = list(items)
    return zip(items, items[1:])
