"""Classes of the stub file that stubtest cannot reach, because the module does not export them."""

import ast
from pathlib import Path

import pytest

import tavlo

STUB = ast.parse((Path(tavlo.__file__).parent / "tavlolib.pyi").read_text())
CLASSES = {node.name: node for node in STUB.body if isinstance(node, ast.ClassDef)}


def stub_members(name):
    node = CLASSES[name]
    members = {item.name for item in node.body if isinstance(item, ast.FunctionDef)}
    members |= {item.target.id for item in node.body if isinstance(item, ast.AnnAssign)}
    return members.union(*(stub_members(base.id) for base in node.bases if base.id in CLASSES))


def unexported():
    x = tavlo.var()
    p = tavlo.problem()
    return {"linterm": 2 * x, "quadterm": x * x, "control": p.controls, "attribute": p.attributes}


@pytest.mark.parametrize("name", ["linterm", "quadterm", "control", "attribute"])
def test_unexported_class_has_the_members_of_its_stub(name):
    cls = type(unexported()[name])
    assert f"{cls.__module__}.{cls.__name__}" == f"tavlo.{name}"
    assert {m for m in stub_members(name) if not m.startswith("_")} == {m for m in vars(cls) if not m.startswith("_")}
    own = {m for m in stub_members(name) if m.startswith("__")} - {"__getattr__"}  # __getattribute__ at run time
    assert not [m for m in own if not hasattr(cls, m)]
