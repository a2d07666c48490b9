"""Life of a problem: construction, elements, name, copy, reset, context, release."""

import gc
import sys
import weakref

import numpy as np
import pytest

import tavlo as tv

ERRONEOUS = (
    r"^Erroneous problem declaration; argument contained object that was not a variable, constraint, or expression$"
)
NOT_INITIALIZED = r"^Problem is not initialized$"


def test_empty_problem(agrees):
    for p in (tv.problem(), tv.problem([]), tv.problem([], (), {}, iter(()))):
        assert (p.name(), str(p), p.attributes.rows, p.attributes.cols) == ("noname", "noname", 0, 0)
        assert p.getOutputEnabled() is True
        assert agrees(p) == ([], [])


def test_elements_in_their_order(stored, agrees):
    x, y = tv.var(), tv.var()
    c = x + y <= 3
    p = tv.problem(x, [y], (c,), x + 2 * y, name="p", sense=tv.maximize)
    assert [list(map(id, objects)) for objects in agrees(p)] == [[id(x), id(y)], [id(c)]]
    m = stored(p)
    assert (m.objective.tolist(), m.sense, p.name()) == ([1, 2], -1, "p")
    with pytest.raises(tv.ModelError, match=r"^Variable in linear part of constraint has not been added"):
        tv.problem(x + 1 <= y, x, y)


def test_generators_are_walked_once_and_whole(agrees):
    x = [tv.var() for _ in range(6)]
    p = tv.problem((v for v in x[:3]), iter([x[3:5]]), [iter(x[5:])], (v <= 1 for v in x), (v >= 0 for v in x))
    variables, constraints = agrees(p)
    assert list(map(id, variables)) == list(map(id, x))
    assert len(constraints) == 12


def test_objective_elements(stored):
    x = tv.var()
    assert stored(tv.problem(x, x)).objective.tolist() == [1]
    assert stored(tv.problem(x, np.array([3 * x], dtype=object))).objective.tolist() == [3]
    for elements, text in [
        ((x, 2 * x, 3 * x), "At most one expression can be used as an objective function"),
        ((x, x, 3 * x), "At most one expression can be used as an objective function"),
        ((x, [2 * x]), "Incorrect way of defining an objective function (it should not be in an aggregate structure)"),
        (
            (x, np.array([2 * x, 3 * x])),
            "Only one objective can be set, but a sequence or NumPy array of expressions was passed",
        ),
    ]:
        with pytest.raises(tv.ModelError) as error:
            tv.problem(*elements)
        assert str(error.value) == text


def test_names():
    assert tv.problem("a", name="b").name() == "a"
    assert tv.problem(b"a").name() == "a"
    assert tv.problem(name="große Lösung").name() == "große Lösung"
    with pytest.raises(tv.ModelError, match=r"^More than one string passed in problem declaration$"):
        tv.problem("a", "b")
    with pytest.raises(tv.ModelError, match="zero byte"):
        tv.problem("a\0b")


@pytest.mark.parametrize("element", [3, None, ["a"], [[None]], object(), (i for i in [4])])
def test_elements_of_no_kind(element):
    with pytest.raises(tv.ModelError, match=ERRONEOUS):
        tv.problem(tv.var(), element)


def test_failing_walks():
    deep = []
    for _ in range(40):
        deep = [deep or tv.var()]
    with pytest.raises(tv.ModelError, match=ERRONEOUS) as error:
        tv.problem(deep)
    assert "recursion" in str(error.value.__cause__)

    def fails_at_once():
        raise ValueError("mine")
        yield

    def fails_later():
        yield tv.var()
        raise ValueError("mine")

    def interrupted():
        raise KeyboardInterrupt
        yield

    with pytest.raises(tv.ModelError, match=ERRONEOUS):
        tv.problem(fails_at_once())
    with pytest.raises(ValueError, match="mine"):
        tv.problem(fails_later())
    with pytest.raises(KeyboardInterrupt):
        tv.problem(interrupted())


def test_constructor_called_again_and_bad_senses():
    p = tv.problem(tv.var())
    with pytest.raises(tv.ModelError, match=r"^Problem is already initialized$"):
        p.__init__()
    assert p.attributes.cols == 1
    for sense in (0, 2):
        with pytest.raises(tv.ModelError, match=r"^Invalid optimization sense$"):
            tv.problem(sense=sense)
    for bad in ({"sense": "min"}, {"elements": []}, {"nothing": 1}, {"name": 3}):
        with pytest.raises(TypeError):
            tv.problem(**bad)


def test_copies_share_objects_and_are_independent(stored, agrees):
    x, y = tv.var(ub=3), tv.var(vartype=tv.integer)
    p = tv.problem(x, y, x + y <= 2.5, 3 * x + 4, name="p", sense=tv.maximize)
    p.setControl("timelimit", 7)
    p.setOutputEnabled(False)
    q = p.copy()
    assert q.getVariable(0) is x
    assert stored(p).difference(stored(q)) == ""
    assert (q.name(), q.getControl("timelimit"), q.getOutputEnabled()) == ("", 7, False)
    q.delVariable(x)
    q.addConstraint(y <= 1)
    assert [len(objects) for objects in agrees(p)] == [2, 1]
    assert [len(objects) for objects in agrees(q)] == [1, 2]
    p.solve()
    assert p.getObjVal() == pytest.approx(3 * 2.5 + 4)


def test_reset_and_reuse(agrees):
    x = tv.var()
    p = tv.problem(x, x <= 1, name="p")
    p.setControl("timelimit", 7)
    assert p.reset() is None
    assert (p.name(), agrees(p)) == ("noname", ([], []))
    assert p.getControl("timelimit") != 7
    p.addVariable(x)
    assert len(agrees(p)[0]) == 1


def methods(p):
    x = tv.var()
    return [
        p.name, p.copy, p.reset, p.__enter__, p.solve, p.getObjVal, p.getProbStatus, p.getProbStatusString,
        p.getSolution, p.getDual, p.getSlack, p.getRCost, p.getVariable, p.getConstraint, p.getSOS,
        p.getOutputEnabled, p.getControl, p.getAttrib, p.__str__,
        lambda: p.addVariable(x), lambda: p.addConstraint(x <= 1), lambda: p.setObjective(x),
        lambda: p.delVariable(0), lambda: p.delConstraint(0), lambda: p.getIndex(x), lambda: p.read("f"),
        lambda: p.write("f"), lambda: p.setOutputEnabled(1), lambda: p.setControl("threads", 1),
    ]  # fmt: skip


def test_released_problems_refuse_everything(stopped_library):
    with tv.problem(tv.var()) as exited:
        pass
    freed = tv.problem(tv.var())
    tv.free()
    failed = tv.problem.__new__(tv.problem)
    with pytest.raises(tv.ModelError):
        failed.__init__(3)
    for p in (exited, freed, failed, tv.problem.__new__(tv.problem)):
        for method in methods(p):
            with pytest.raises(tv.ModelError, match=NOT_INITIALIZED):
                method()
        assert p.controls is None and p.attributes is None
        assert p.__exit__(None, None, None) is None
    exited.__init__(name="again")
    assert exited.name() == "again"


def test_block_lets_exceptions_through():
    with pytest.raises(ZeroDivisionError), tv.problem() as p:
        assert isinstance(p, tv.problem)
        1 / 0  # noqa: B018


def test_subclasses():
    class Model(tv.problem):
        def __init__(self, *elements):
            self.extra = 3
            super().__init__(*elements)

    p = Model(tv.var())
    assert (p.extra, p.attributes.cols, type(p.copy())) == (3, 1, tv.problem)
    with pytest.raises(AttributeError):
        p.controls = None


def test_problems_hold_their_objects_only_as_long_as_they_live():
    x = tv.var()
    c = x <= 1
    before = sys.getrefcount(x), sys.getrefcount(c)
    p = tv.problem(x, c)
    assert (sys.getrefcount(x), sys.getrefcount(c)) == (before[0] + 1, before[1] + 1)
    for withdraw in (lambda: p.delConstraint(c), lambda: p.delVariable(x), lambda: p.addVariable(x), p.reset):
        withdraw()
    gc.collect()
    assert (sys.getrefcount(x), sys.getrefcount(c)) == before
    for _ in range(10):
        with pytest.raises(tv.ModelError):
            p.addVariable(x, [x])
        with pytest.raises(tv.ModelError):
            p.addConstraint(c)
    assert (sys.getrefcount(x), sys.getrefcount(c)) == before


class Model:
    """The everyday model: an object that holds a problem whose user function is its own method."""

    def __init__(self, problem=tv.problem):
        self.x = tv.var(lb=-1, ub=1)
        self.p = problem(self.x)
        self.p.setObjective(tv.user(self.f, self.x))
        self.p.addConstraint(tv.user(self.f, self.x) <= 3)

    def f(self, x):
        return (x - 0.5) ** 2


class Kept(tv.problem):
    """A problem of a type that can hold itself."""

    def __init__(self, *elements):
        super().__init__(*elements)
        self.me = self


class Variable(tv.var):
    pass


def model_in_a_copy():
    model = Model()
    model.p = model.p.copy()
    return model


def variable_that_holds_its_problem():
    x = Variable()
    x.p = tv.problem(x)
    return x


@pytest.mark.parametrize(
    "make", [Model, lambda: Model(Kept), model_in_a_copy, variable_that_holds_its_problem, lambda: Kept(tv.var())]
)
def test_problems_in_cycles_are_collected(make):
    made = make()
    p = made if isinstance(made, tv.problem) else made.p
    p.solve()
    alive, value = weakref.ref(made), p.getSolution()[0]
    gc.collect()
    assert alive() is made and p.getSolution()[0] == value, "what is in use stays"
    del made, p
    gc.collect()
    assert alive() is None


def test_a_problem_in_a_cycle_is_kept_by_its_solve():
    """The only reference from outside is that of the call that solves it."""
    collected = []

    class Collecting(Model):
        def f(self, x):
            if not collected:
                collected.append(gc.collect())
            return super().f(x)

    def start():
        model = Collecting()
        return weakref.ref(model), model.p.solve

    alive, solve = start()
    solve()
    assert collected and alive() is not None
    del solve
    gc.collect()
    assert alive() is None


def test_library_stops_with_problems_that_hold_others(run_python):
    """Each release may let go of the next problem, or make another one."""
    code = """
import gc
import tavlo as tv

class Holder(tv.problem):
    pass

class Last(tv.var):
    __slots__ = ()
    def __del__(self):
        made.append(tv.problem(tv.var()))

gc.disable()
made = []
for _ in range(50):
    first, second = tv.problem(tv.var()), Holder(Last())
    second.me, second.other = second, first
    second.addVariable(Last())
    del first, second
print(tv.free())
names = []
for p in made:
    try:
        names.append(p.name())
    except tv.ModelError as error:
        names.append(str(error))
print(len(made), set(names))
gc.enable()
gc.collect()
"""
    assert run_python(code).splitlines() == ["False", "100 {'Problem is not initialized'}"]
