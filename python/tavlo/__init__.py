"""Mathematical optimisation: build, solve and query linear, mixed-integer, quadratic and nonlinear models."""

from .tavlolib import *  # noqa: F403
from .tavlolib import __doc__ as __doc__
from .tavlolib import _getcontrols, _init


def init() -> None:
    """Starts the solver library once more; each start is undone by one call of free()."""
    _init(None)


def __getattr__(name: str) -> object:
    if name == "controls":  # made on first use: it fills the control tables
        globals()["controls"] = _getcontrols()
        return globals()["controls"]
    raise AttributeError(f"module 'tavlo' has no attribute {name!r}")
