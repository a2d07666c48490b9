"""Keyword parsing with former names, fixed messages, texts of strings, and the allocator, called directly."""

import importlib.util
import os
from pathlib import Path

import pytest

import tavlo

BUILD = Path(tavlo.tavlolib.__file__).parents[2]


@pytest.fixture(scope="module")
def probe():
    found = sorted((BUILD / "tests").glob("runtime_probe*.so"))
    if not found:
        pytest.skip("built without -DTAVLO_TESTS=ON")
    spec = importlib.util.spec_from_file_location("runtime_probe", found[0])
    module = importlib.util.module_from_spec(spec)
    spec.loader.exec_module(module)
    return module


def test_current_and_former_names_are_accepted_but_not_mixed(probe):
    assert probe.parse(1) == (1, -1.0, None)
    assert probe.parse(1, rowcoef="c", rowind=2.5) == (1, 2.5, "c")
    assert probe.parse(first=1, mrwind=2.5, dmatval="c") == (1, 2.5, "c")
    assert probe.parse(1, 2, dmatval="c") == (1, 2.0, "c")
    with pytest.raises(TypeError, match="mrwind"):  # the error of the current names
        probe.parse(1, mrwind=1, rowcoef=2)
    with pytest.raises(TypeError, match="other"):
        probe.parse(1, other=3)
    with pytest.raises(TypeError, match="first"):
        probe.parse(mrwind=1)
    with pytest.raises(TypeError, match="mrwind"):
        probe.parse_now(1, mrwind=1)


def test_parse_failures_leak_no_references(probe, reference_growth):
    key, value = "mrwind", 3.25

    def calls():
        probe.parse(1, mrwind=value)
        with pytest.raises(TypeError):
            probe.parse(1, mrwind=value, rowcoef=value)

    assert all(abs(n) < 20 for n in reference_growth(calls, [None, key, value, TypeError]))


@pytest.mark.parametrize(
    ("call", "text"),
    [
        (lambda m: m.missing("rowind"), "Must provide argument rowind"),
        (lambda m: m.missing("rowind", "rowcoef"), "Must provide arguments rowind, rowcoef"),
        (lambda m: m.missing("a", "b", "c"), "Must provide arguments a, b, c"),
        (lambda m: m.missing_range(0, 1), "Must provide argument a"),
        (lambda m: m.missing_range(0, 3), "Must provide arguments a, b, c"),
        (lambda m: m.missing_range(1, 3), "Must provide arguments b, c"),
        (lambda m: m.missing_range(2, 2), "Must provide arguments"),
        (lambda m: m.missing("x" * 400), ("Must provide argument " + "x" * 400)[:255]),
        (lambda m: m.missing("x" * 200, "y" * 200, "z"), f"Must provide arguments {'x' * 200}, {'y' * 200}"[:255]),
    ],
)
def test_missing_arguments_are_named(probe, call, text):
    with pytest.raises(probe.InterfaceError) as caught:
        call(probe)
    assert str(caught.value) == text


class Text(str):
    __slots__ = ()


def test_texts_of_strings(probe):
    for obj, utf8 in [("abc", b"abc"), (b"abc", b"abc"), ("", b""), ("ü", b"\xc3\xbc"), (Text("sub"), b"sub")]:
        assert probe.text(obj) == (utf8, utf8, len(utf8))
    for obj, error in [(5, TypeError), (None, TypeError), ("\ud800", UnicodeError), (Text("\ud800"), UnicodeError)]:
        with pytest.raises(error):
            probe.text(obj)
    assert probe.length("ü") == 2
    assert probe.length(b"a\0b") == 3
    assert probe.length(7) == 0
    with pytest.raises(UnicodeError):
        probe.length(Text("\ud800"))


@pytest.mark.skipif("TAVLO_SANITIZED" in os.environ, reason="the sanitizer ends the process on a huge request")
def test_heap_keeps_the_block_when_memory_is_short(probe):
    assert probe.heap() == (0, 0, 0, True, -1, True, 0, True, 1)
