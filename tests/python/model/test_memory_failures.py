"""Every operation with the n-th allocation failing, for every n: MemoryError or a clear error, and nothing lost."""

import sys

import numpy as np
import pytest

import tavlo as tv

testcapi = pytest.importorskip("_testcapi")

OPERATIONS = {
    "variables": lambda v, e: [tv.var(lb=-3.5, ub=7.25, threshold=2, name="n", vartype=2) for _ in range(9)],
    "sum": lambda v, e: v[0] + v[1] - 3 * v[2] + v[0] * v[3] + v[1] ** 2 - 4,
    "product": lambda v, e: (v[0] + v[1] + 1) * (v[2] - v[3] - 2) - v[0] * v[2],
    "many": lambda v, e: tv.Sum((i + 1) * w for i, w in enumerate(v)),
    "products": lambda v, e: tv.Sum(u * w for u, w in zip(v, v[5:])),
    "copy": lambda v, e: -e * 2 + e,
    "text": lambda v, e: str(e + 2 * v[1]),
    "lists": lambda v, e: (e.extractLinear(), e.extractQuadratic()),
    "comparison": lambda v, e: (e <= 3.5).copy(),
    "constraint": lambda v, e: tv.constraint(body=e, lb=-2.5, ub=12, name="n"),
    "node": lambda v, e: tv.sin(v[0]) + e - tv.exp(v[1]) * 2 + v[2] / v[3] + v[0] + 3.5,
    "logic": lambda v, e: (v[0] & v[1] & tv.max(v[2], v[3])) | tv.And(v[:5]) | tv.Or(v[:3]),
    "nodes": lambda v, e: tv.Sum(tv.sin(w) + w for w in v[:20]) - tv.Prod(v[:9]),
    "functions": lambda v, e: tv.log(np.array(v[:3] + [e])),
    "extrema": lambda v, e: tv.max(np.array(v[:3])) + tv.min(v[:3]) + tv.user(max, *v[:4], derivatives=True),
    "pieces": lambda v, e: str(tv.pwl({(i, i + 1): i * v[0] + i * i for i in range(9)})),
    "node text": lambda v, e: str(tv.sin(e) * 3 + tv.max(v[0], tv.user(max, e) / v[1]) ** 2),
    "node parts": lambda v, e: ((tv.sin(v[0]) + e) * 2 - v[1]).extractQuadratic()[0].append(e.extractLinear()),
    "node comparison": lambda v, e: (tv.sin(e) + 3.5 + v[0] <= tv.cos(v[0])).copy(),
    "evaluation": lambda v, e: tv.evaluate(
        {"a": [tv.user(max, *v[:3]) + e, (v[0] / 3, np.array(v[:2]))]}, solution=dict.fromkeys(v, 0.5)
    ),
    "set": lambda v, e: tv.sos(v, list(range(len(v))), 1, "n").copy(),
}


@pytest.mark.parametrize("name", OPERATIONS)
def test_running_out_of_memory(name):
    operation = OPERATIONS[name]
    variables = [tv.var() for _ in range(600)]
    e = tv.Sum((i + 2.0) * v for i, v in enumerate(variables[::7])) + variables[0] * variables[5] + variables[3] ** 2
    operation(variables, e)  # what is only made once
    text = str(e)
    before = [sys.getrefcount(v) for v in variables]
    failures = 0
    for n in range(1, 5000):
        try:
            testcapi.set_nomemory(n, n + 1)
            try:
                operation(variables, e)
            finally:
                testcapi.remove_mem_hooks()
        except (MemoryError, tv.ModelError):
            failures += 1
        else:
            if n > failures + 40:  # past the last allocation; some failures are survived, as in a shrinking buffer
                break
    assert failures > 0
    assert str(e) == text
    assert [sys.getrefcount(v) for v in variables] == before
