"""Mathematical optimisation: build, solve and query linear, mixed-integer, quadratic and nonlinear models."""

from . import tavlolib as _tavlolib
from .tavlolib import *  # noqa: F403
from .tavlolib import _getcontrols, _init

TYPE_CHECKING = False  # as typing's, without importing it
if TYPE_CHECKING:
    from .tavlolib import control

    controls: control

__all__ = [name for name in dir(_tavlolib) if not name.startswith("_")]
__all__ += ["controls", "init"]


def init() -> None:
    """Starts the solver library once more; each start is undone by one call of free()."""
    _init(None)


def __getattr__(name: str) -> object:
    if name == "controls":  # made on first use: it fills the control tables
        globals()["controls"] = _getcontrols()
        return globals()["controls"]
    raise AttributeError(f"module 'tavlo' has no attribute {name!r}")


def __dir__() -> list[str]:
    return sorted({*globals(), *__all__})
