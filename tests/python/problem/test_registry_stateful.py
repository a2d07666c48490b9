"""Random additions, deletions and failing calls: after each, lists, maps and solver counts must agree."""

import math
import random

import pytest
from hypothesis import HealthCheck, settings
from hypothesis import strategies as st
from hypothesis.stateful import RuleBasedStateMachine, initialize, invariant, precondition, rule

import tavlo as tv


class Trouble(Exception):
    pass


def raising(objects):
    yield from objects
    raise Trouble


class Registry(RuleBasedStateMachine):
    """The model of the problem is two plain lists."""

    @initialize()
    def start(self):
        self.p = tv.problem(name="stateful")
        self.vars, self.cons = [], []

    def pick(self, data, objects, most=6):
        return data.draw(st.lists(st.sampled_from(objects), max_size=most, unique_by=id)) if objects else []

    # ---- what works ----
    @rule(n=st.integers(0, 40), shape=st.sampled_from(["list", "args", "generator", "dict", "nested"]))
    def add_variables(self, n, shape):
        new = [tv.var(name=f"v{i}") for i in range(n)]
        args = {
            "list": lambda: (new,),
            "args": lambda: tuple(new),
            "generator": lambda: ((v for v in new),),
            "dict": lambda: (dict(enumerate(new)),),
            "nested": lambda: ([[v] for v in new], ()),
        }[shape]()
        self.p.addVariable(*args)
        self.vars += new

    @precondition(lambda self: self.vars)
    @rule(data=st.data(), n=st.integers(0, 5))
    def add_constraints(self, data, n):
        new = []
        for _ in range(n):
            terms = self.pick(data, self.vars)
            new.append(tv.constraint(body=tv.Sum([2 * v for v in terms]), lb=-1, ub=data.draw(st.integers(0, 9))))
        self.p.addConstraint(new)
        self.cons += new

    @precondition(lambda self: self.vars)
    @rule(data=st.data(), how=st.sampled_from(["objects", "indices", "range", "iterator"]))
    def delete_variables(self, data, how):
        self.delete(data, how, self.vars, self.p.delVariable)

    @precondition(lambda self: self.cons)
    @rule(data=st.data(), how=st.sampled_from(["objects", "indices", "range", "iterator"]))
    def delete_constraints(self, data, how):
        self.delete(data, how, self.cons, self.p.delConstraint)

    def delete(self, data, how, objects, delete):
        if how == "range":
            first = data.draw(st.integers(0, len(objects) - 1))
            last = data.draw(st.integers(first, len(objects) - 1))
            delete(first=first, last=last)
            del objects[first : last + 1]
            return
        gone = self.pick(data, objects)
        index = [next(i for i, x in enumerate(objects) if x is o) for o in gone]
        delete({"objects": gone, "indices": index, "iterator": iter(gone)}[how])
        objects[:] = [o for i, o in enumerate(objects) if i not in set(index)]

    @precondition(lambda self: self.vars)
    @rule(data=st.data(), n=st.integers(1, 30), hows=st.lists(st.sampled_from("oin"), min_size=1, max_size=3))
    def delete_one_by_one(self, data, n, hows):
        """Without a look at the whole in between, which would close the holes."""
        for i in range(n):
            objects, delete = [(self.vars, self.p.delVariable), (self.cons, self.p.delConstraint)][i % 2]
            if not objects:
                continue
            at = data.draw(st.integers(0, len(objects) - 1))
            gone = objects.pop(at)
            assert self.p.getIndex(gone) == at
            names = sum(o.name == gone.name for o in objects)
            how = "o" if names else hows[i % len(hows)]
            delete({"o": gone, "i": at, "n": gone.name}[how])

    @precondition(lambda self: self.vars)
    @rule(data=st.data(), sense=st.sampled_from([1, -1]))
    def set_objective(self, data, sense):
        self.p.setObjective(tv.Sum([3 * v for v in self.pick(data, self.vars)]) + 1, sense=sense)

    # ---- what fails ----
    @rule(data=st.data(), fault=st.sampled_from(["type", "again", "twice", "raise", "nan", "threshold", "name"]))
    def failing_variables(self, data, fault):
        new = [tv.var() for _ in range(3)]
        bad = {
            "type": lambda: [3],
            "again": lambda: self.vars[:1] or [None],
            "twice": lambda: new[:1],
            "raise": lambda: raising([]),
            "nan": lambda: [tv.var(lb=math.nan)],
            "threshold": lambda: [tv.var(vartype=tv.semicontinuous)],
            "name": lambda: [tv.var(name="a\0b")],
        }[fault]()
        with pytest.raises(Trouble if fault == "raise" else tv.ModelError):
            self.p.addVariable(new, bad)

    @rule(
        data=st.data(),
        fault=st.sampled_from(["type", "again", "twice", "raise", "stranger", "nan", "inf", "crossed"]),
    )
    def failing_constraints(self, data, fault):
        some = tv.Sum(self.pick(data, self.vars))
        good = tv.constraint(body=some, ub=1)
        crossed = tv.constraint(body=some, lb=0, ub=1)
        crossed.lb = 2
        bad = {
            "type": lambda: ["c"],
            "again": lambda: self.cons[:1] or [4],
            "twice": lambda: [good],
            "raise": lambda: raising([tv.constraint(body=some, lb=0)]),
            "stranger": lambda: [some + tv.var() <= 3],
            "nan": lambda: [tv.constraint(body=some + math.nan, ub=1)],
            "inf": lambda: [tv.constraint(body=some + math.inf, ub=1)],
            "crossed": lambda: [crossed],
        }[fault]()
        with pytest.raises(Trouble if fault == "raise" else tv.ModelError):
            self.p.addConstraint(good, bad)

    @rule(bad=st.sampled_from([{"first": 3, "last": 1}, {"index": 10**6}, {"last": 0}, {}, {"index": 1.5}]))
    def failing_deletions(self, bad):
        for delete in (self.p.delVariable, self.p.delConstraint):
            with pytest.raises((tv.ModelError, tv.InterfaceError)):
                delete(**bad)

    @precondition(lambda self: self.vars)
    @rule(data=st.data())
    def reentrant_addition(self, data):
        """A generator that changes the very problem that walks it."""
        inner, outer = tv.var(), tv.var()
        gone = data.draw(st.sampled_from(self.vars))

        def items():
            self.p.addVariable(inner)
            yield outer
            self.p.delVariable(gone)

        self.p.addVariable(items())
        self.vars = [v for v in self.vars if v is not gone] + [inner, outer]

    @precondition(lambda self: self.vars)
    @rule(data=st.data(), fault=st.sampled_from([None, "delete", "raise", "again"]))
    def reentrant_constraints(self, data, fault):
        """A generator of constraints that makes columns and rows as it goes, and may spoil its own call."""
        made, inner, outer = [], [], []

        def rows():
            for k in range(3):
                made.append(tv.var())
                self.p.addVariable(made[-1])
                inner.append(made[-1] >= k)
                self.p.addConstraint(inner[-1])
                outer.append(made[-1] + self.vars[0] <= k)
                yield outer[-1]
            if fault == "delete":
                self.p.delVariable(made.pop())
            elif fault == "raise":
                raise Trouble
            elif fault == "again":
                self.p.addConstraint(outer[0])
                inner.append(outer[0])

        if fault is None:
            self.p.addConstraint(rows())
        else:
            with pytest.raises(Trouble if fault == "raise" else tv.ModelError):
                self.p.addConstraint(rows())
            outer.clear()
        self.vars += made
        self.cons += inner + outer

    @rule(data=st.data())
    def solve(self, data):
        self.p.setControl("timelimit", 1)
        self.p.solve()

    @rule(bad=st.sampled_from(["x", [1], None, math.nan, tv.var(), math.inf * tv.var()]))
    def failing_objective(self, bad):
        with pytest.raises(tv.ModelError):
            self.p.setObjective(bad)

    @rule()
    def copy(self):
        self.p = self.p.copy()

    # ---- what must hold ----
    @invariant()
    def agrees(self):
        if not hasattr(self, "p"):
            return
        for objects, listed, count in (
            (self.vars, self.p.getVariable(), self.p.attributes.cols),
            (self.cons, self.p.getConstraint(), self.p.attributes.rows),
        ):
            assert count == len(listed) == len(objects)
            assert all(a is b for a, b in zip(objects, listed))
            assert [self.p.getIndex(o) for o in objects] == list(range(count))


def test_deletions_from_a_large_problem(agrees):
    """Many blocks of positions, with holes in all of them and few looks in between."""
    chance, n = random.Random(1), 20000
    p = tv.problem()
    objects = [tv.var(name=f"v{i}") for i in range(n)]
    p.addVariable(objects)
    for step in range(1500):
        at = chance.choice([0, len(objects) - 1, chance.randrange(len(objects)), chance.randrange(len(objects))])
        how = chance.randrange(8)
        if how == 0:
            new = [tv.var(name=f"w{step}_{i}") for i in range(chance.randrange(9))]
            p.addVariable(new)
            objects += new
        elif how == 1:
            last = min(at + chance.randrange(40), len(objects) - 1)
            p.delVariable(first=at, last=last)
            del objects[at : last + 1]
        else:
            gone = objects.pop(at)
            p.delVariable([gone, at, gone.name, [at, at]][how % 4])
        at = chance.randrange(len(objects))
        assert p.getVariable(at) is objects[at] and p.getIndex(objects[at]) == at
    p.delVariable(chance.sample(range(len(objects)), len(objects) // 2 - 50))
    variables, _ = agrees(p)
    assert len(variables) < n / 2 and set(map(id, variables)) <= set(map(id, objects))
    q = p.copy()
    q.delVariable(variables[5:])
    assert (q.getVariable(), p.getIndex(variables[-1])) == (variables[:5], len(variables) - 1)


Registry.TestCase.settings = settings(
    max_examples=60, stateful_step_count=30, deadline=None, suppress_health_check=list(HealthCheck)
)
TestRegistry = Registry.TestCase
