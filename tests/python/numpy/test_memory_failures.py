"""Array operations with the n-th allocation failing, for every n: an exception or the right result, never a crash.

Whether references are lost can't be asked here: NumPy loses some itself then, also those of plain object arrays. Its
reductions, casts and copies of whole arrays crash or forget the exception, so these are left out with what uses them
(elementary functions and the evaluation of arrays).
"""

import numpy as np
import pytest

import tavlo as tv

testcapi = pytest.importorskip("_testcapi")
if tuple(map(int, np.__version__.split(".")[:2])) < (2, 0):
    pytest.skip("this NumPy crashes when it looks up a cast without memory", allow_module_level=True)

OPERATIONS = {
    "arithmetic": lambda a, e: (a * 2.5 + e).tolist(),
    "either side": lambda a, e: [e - np.arange(5), np.float64(2) * a[0], a / a[1], 3 - a, a**2, -a],
    "comparison": lambda a, e: (a * 2.5 <= e).tolist() + (a >= e).tolist() + [np.float64(3) >= a[0]],
    "logic": lambda a, e: [a & a, a | e],
    "functions": lambda a, e: [tv.Sum(a.tolist()), tv.Prod(a.tolist()), tv.max(a)],
    "in place": lambda a, e: np.add(a, e, out=np.empty(5, tv.npexpr)),
    "array": lambda a, e: tv.vars(3, 4, name="", lb=-1.5),
    "names": lambda a, e: [v.name for v in tv.vars(3, 2, name="n").flat],
    "dictionary": lambda a, e: [v.name for v in tv.vars(["a", "b"], range(3), ub=7.5).values()],
    "dot": lambda a, e: [tv.Dot(np.arange(30.0).reshape(6, 5), a), tv.Dot(a, a * 1 + e), tv.Dot(a, np.eye(5), a)],
}


def texts(result, values):
    """The values of what is left, whatever its structure; of variables that are new their bounds."""
    if isinstance(result, (list, np.ndarray)):
        members = result.ravel().tolist() if isinstance(result, np.ndarray) else result
        return [texts(o, values) for o in members]
    if isinstance(result, tv.constraint):
        return result.lb, result.ub, texts(result.body, values)
    if isinstance(result, tv.var) and result not in values:
        return result.lb, result.ub
    return result if isinstance(result, str) else tv.evaluate(result, solution=values)


@pytest.mark.filterwarnings("ignore::pytest.PytestUnraisableExceptionWarning")
@pytest.mark.parametrize("name", OPERATIONS)
def test_running_out_of_memory(name):
    operation, a = OPERATIONS[name], np.array([tv.var() for _ in range(5)], dtype=tv.npvar)
    e, values = a[0] + 2 * a[1] + 1, {v: 1.25 * i for i, v in enumerate(a.tolist())}
    expected, failures = texts(operation(a, e), values), 0
    for n in range(1, 200):
        try:
            testcapi.set_nomemory(n, n + 1)
            try:
                result = operation(a, e)
            finally:
                testcapi.remove_mem_hooks()
        except (MemoryError, tv.ModelError):
            failures += 1
        else:
            assert texts(result, values) == expected, n
    assert failures > 0
