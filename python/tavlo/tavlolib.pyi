# Types of the compiled module. Classes marked type_check_only exist at run time but are not exported: they arise from
# operators and from members of other classes.
from collections.abc import Iterable, Iterator
from types import TracebackType
from typing import Any, ClassVar, Final, TypeVar, overload, type_check_only

import numpy as np
from numpy.typing import NDArray
from typing_extensions import Self, TypeAlias, disjoint_base

_Number: TypeAlias = float | np.floating[Any] | np.signedinteger[Any]
_Scalar: TypeAlias = var | linterm | quadterm | expression | nonlinear
_Operand: TypeAlias = _Number | _Scalar
# Objects that are walked: leaves, and lists, tuples, dictionaries, iterators and arrays of them, nested at will.
_Nested: TypeAlias = Any
_Index: TypeAlias = int | np.signedinteger[Any]
_Name: TypeAlias = str | bytes
_T = TypeVar("_T")

# What operators give. A result that cancels (x - x, 0 * x) is a float at run time; it is left out here, so that
# a model need not test for it.
@type_check_only
class _Arithmetic:
    def __array_ufunc__(self, ufunc: np.ufunc, method: str, /, *inputs: Any, **kwargs: Any) -> Any: ...
    @overload
    def __add__(self, other: _Operand, /) -> _Scalar: ...
    @overload
    def __add__(self, other: NDArray[Any], /) -> NDArray[Any]: ...
    @overload
    def __sub__(self, other: _Operand, /) -> _Scalar: ...
    @overload
    def __sub__(self, other: NDArray[Any], /) -> NDArray[Any]: ...
    @overload
    def __mul__(self, other: _Operand, /) -> _Scalar: ...
    @overload
    def __mul__(self, other: NDArray[Any], /) -> NDArray[Any]: ...
    @overload
    def __truediv__(self, other: _Operand, /) -> _Scalar: ...
    @overload
    def __truediv__(self, other: NDArray[Any], /) -> NDArray[Any]: ...
    def __pow__(self, other: _Operand, mod: None = None, /) -> _Scalar: ...
    def __radd__(self, other: _Operand, /) -> _Scalar: ...
    def __rsub__(self, other: _Operand, /) -> _Scalar: ...
    def __rmul__(self, other: _Operand, /) -> _Scalar: ...
    def __rtruediv__(self, other: _Operand, /) -> _Scalar: ...
    def __rpow__(self, other: _Operand, mod: None = None, /) -> _Scalar: ...
    def __iadd__(self, other: _Operand, /) -> _Scalar: ...  # type: ignore[misc]
    def __isub__(self, other: _Operand, /) -> _Scalar: ...  # type: ignore[misc]
    def __imul__(self, other: _Operand, /) -> _Scalar: ...  # type: ignore[misc]
    def __itruediv__(self, other: _Operand, /) -> _Scalar: ...  # type: ignore[misc]
    def __ipow__(self, other: _Operand, /) -> _Scalar: ...  # type: ignore[misc]
    def __and__(self, other: _Operand, /) -> nonlinear: ...
    def __or__(self, other: _Operand, /) -> nonlinear: ...
    def __rand__(self, other: _Operand, /) -> nonlinear: ...
    def __ror__(self, other: _Operand, /) -> nonlinear: ...
    def __iand__(self, other: _Operand, /) -> nonlinear: ...
    def __ior__(self, other: _Operand, /) -> nonlinear: ...
    def __neg__(self) -> _Scalar: ...
    def __abs__(self) -> nonlinear: ...
    def __lt__(self, other: _Operand, /) -> constraint: ...
    def __le__(self, other: _Operand, /) -> constraint: ...
    def __eq__(self, other: _Operand, /) -> constraint: ...  # type: ignore[override]
    def __ne__(self, other: _Operand, /) -> constraint: ...  # type: ignore[override]
    def __gt__(self, other: _Operand, /) -> constraint: ...
    def __ge__(self, other: _Operand, /) -> constraint: ...

@type_check_only
class _Polynomial(_Arithmetic):
    def extractLinear(self) -> tuple[list[var], list[float]]: ...
    def extractQuadratic(self) -> tuple[list[var], list[var], list[float]]: ...

@disjoint_base
class var(_Polynomial):
    name: Any
    lb: float
    ub: float
    threshold: float
    vartype: int
    def __init__(
        self, name: _Name = ..., lb: float = 0, ub: float = ..., threshold: float = ..., vartype: int = 0
    ) -> None: ...
    def __hash__(self) -> int: ...

@disjoint_base
class expression(_Polynomial):
    def __init__(self, content: _Number | var | linterm | quadterm | expression = 0, /) -> None: ...
    __hash__: ClassVar[None]  # type: ignore[assignment]

@type_check_only
class linterm(_Polynomial):
    __hash__: ClassVar[None]  # type: ignore[assignment]

@type_check_only
class quadterm(_Polynomial):
    __hash__: ClassVar[None]  # type: ignore[assignment]

@type_check_only
class nonlinear(_Polynomial):
    __hash__: ClassVar[None]  # type: ignore[assignment]

@disjoint_base
class constraint:
    name: Any
    lb: float
    ub: float
    body: Any
    def __init__(
        self,
        constraint: constraint | None = None,
        body: _Operand | NDArray[Any] | None = None,
        lb: float = ...,
        ub: float = ...,
        sense: int = ...,
        rhs: float = ...,
        name: Any = ...,
    ) -> None: ...
    def copy(self) -> constraint: ...

@disjoint_base
class sos:
    name: Any
    def __init__(self, indices: list[var], weights: list[float], type: int = 1, name: Any = "") -> None: ...
    def copy(self) -> sos: ...

class branchobj: ...
class poolcut: ...

# Controls and attributes are read, and controls assigned, by their names: p.controls.miprelstop.
@type_check_only
class control:
    def __getattr__(self, name: str, /) -> Any: ...
    def __setattr__(self, name: str, value: float | str, /) -> None: ...
    def copy(self) -> control: ...

@type_check_only
class attribute:
    def __getattr__(self, name: str, /) -> Any: ...
    def copy(self) -> attribute: ...

@disjoint_base
class problem:
    @property
    def controls(self) -> control: ...
    @property
    def attributes(self) -> attribute: ...
    def __init__(self, *elements: _Nested, name: str = ..., sense: int = 1) -> None: ...
    def __enter__(self) -> Self: ...
    def __exit__(
        self, exc_type: type[BaseException] | None, exc_value: BaseException | None, traceback: TracebackType | None, /
    ) -> None: ...
    def name(self) -> str: ...
    def copy(self) -> problem: ...
    def reset(self) -> None: ...
    def read(self, filename: str, options: str = "") -> None: ...
    def write(self, filename: str, flags: str = "") -> None: ...
    def addVariable(self, *args: _Nested) -> None: ...
    def addConstraint(self, *args: _Nested) -> None: ...
    def delVariable(self, index: _Nested = ..., first: int = ..., last: int = ...) -> None: ...
    def delConstraint(self, index: _Nested = ..., first: int = ..., last: int = ...) -> None: ...
    @overload
    def getVariable(self, index: _Index) -> var: ...
    @overload
    def getVariable(self, index: Iterable[Any] = ..., first: int = ..., last: int = ...) -> list[var]: ...
    @overload
    def getConstraint(self, index: _Index) -> constraint: ...
    @overload
    def getConstraint(self, index: Iterable[Any] = ..., first: int = ..., last: int = ...) -> list[constraint]: ...
    @overload
    def getSOS(self, index: _Index) -> sos: ...
    @overload
    def getSOS(self, index: Iterable[Any] = ..., first: int = ..., last: int = ...) -> list[sos]: ...
    def getIndex(self, obj: var | constraint | sos, /) -> int: ...
    def setObjective(self, objective: _Operand | NDArray[Any], sense: int = 1) -> None: ...
    @overload
    def getControl(self) -> dict[str, Any]: ...
    @overload
    def getControl(self, control: _Name | _Index, /) -> Any: ...
    @overload
    def getControl(
        self, controls: list[Any] | tuple[Any, ...] | Iterator[_Name | _Index], /
    ) -> dict[str | int, Any]: ...
    @overload
    def getControl(
        self, control1: _Name | _Index, control2: _Name | _Index, /, *controls: _Name | _Index
    ) -> dict[str | int, Any]: ...
    @overload
    def getAttrib(self) -> dict[str, Any]: ...
    @overload
    def getAttrib(self, attribute: _Name | _Index, /) -> Any: ...
    @overload
    def getAttrib(
        self, attributes: list[Any] | tuple[Any, ...] | Iterator[_Name | _Index], /
    ) -> dict[str | int, Any]: ...
    @overload
    def getAttrib(
        self, attribute1: _Name | _Index, attribute2: _Name | _Index, /, *attributes: _Name | _Index
    ) -> dict[str | int, Any]: ...
    @overload
    def setControl(self, controls: dict[Any, Any], /) -> None: ...
    @overload
    def setControl(self, control: _Name | _Index, value: float | str | _Index, /) -> None: ...
    def solve(self, flags: _Name = ...) -> None: ...
    def nlpoptimize(self, flags: _Name = ...) -> None: ...
    def chgvar(
        self,
        col: var | _Name | _Index,
        detrow: constraint | _Name | _Index | None = None,
        initstepbound: float | None = None,
        stepbound: float | None = None,
        penalty: float | None = None,
        damp: float | None = None,
        initial: float | None = None,
        value: float | None = None,
        tolset: _Index | None = None,
        history: _Index | None = None,
        converged: _Index | None = None,
        vartype: _Index | None = None,
    ) -> None: ...
    def getcoefformula(
        self, row: constraint | _Name | _Index, col: var | _Name | _Index, parsed: int, maxtypes: int
    ) -> tuple[float, int, list[int], list[float]]: ...
    def getrowstatus(self, row: constraint | _Name | _Index) -> int: ...
    @overload
    def getSolution(self) -> list[float]: ...
    @overload
    def getSolution(self, arg: _Operand | _Name, /) -> float: ...
    @overload
    def getSolution(self, arg: dict[_T, Any], /) -> dict[_T, Any]: ...
    @overload
    def getSolution(self, arg: NDArray[Any], /) -> NDArray[Any]: ...
    @overload
    def getSolution(self, *args: _Nested, flatten: bool = ...) -> Any: ...
    def getDual(self, *args: _Nested) -> Any: ...
    def getSlack(self, *args: _Nested) -> Any: ...
    def getRCost(self, *args: _Nested) -> Any: ...
    def getObjVal(self) -> float: ...
    def getProbStatus(self) -> int: ...
    def getProbStatusString(self) -> str: ...
    def getOutputEnabled(self) -> bool: ...
    def setOutputEnabled(self, enabled: bool | _Index, /) -> None: ...

class ModelError(Exception): ...
class InterfaceError(Exception): ...
class SolverError(Exception): ...

def Sum(*args: _Nested) -> Any: ...
def Prod(*args: _Nested) -> Any: ...
def sin(arg: Any, /) -> Any: ...
def cos(arg: Any, /) -> Any: ...
def tan(arg: Any, /) -> Any: ...
def asin(arg: Any, /) -> Any: ...
def acos(arg: Any, /) -> Any: ...
def atan(arg: Any, /) -> Any: ...
def exp(arg: Any, /) -> Any: ...
def log(arg: Any, /) -> Any: ...
def log10(arg: Any, /) -> Any: ...
def abs(arg: Any, /) -> Any: ...
def sqrt(arg: Any, /) -> Any: ...
def sign(arg: Any, /) -> Any: ...
def erf(arg: Any, /) -> Any: ...
def erfc(arg: Any, /) -> Any: ...
def max(*args: Any) -> Any: ...
def min(*args: Any) -> Any: ...
def user(*args: Any, derivatives: object = False) -> nonlinear: ...
def vars(
    *indices: Any, name: str = ..., lb: float = 0, ub: float = ..., threshold: float = ..., vartype: int = 0
) -> Any: ...
def Dot(*factors: Any, out: Any = None) -> Any: ...
def getlasterror() -> tuple[int, str]: ...
def getversion() -> str: ...
def setdefaultcontrol(ipar: str) -> None: ...
def setdefaults() -> None: ...
def getbanner(*args: Any, **kwargs: Any) -> str: ...
def _init(arg: object, /) -> None: ...
def free() -> bool: ...
def evaluate(
    *expressions: _Nested,
    problem: problem | None = None,
    solution: dict[Any, Any] | list[Any] | NDArray[Any] | None = None,
) -> Any: ...
def pwl(pieces: dict[Any, Any], /) -> nonlinear: ...
def And(*args: _Nested) -> Any: ...
def Or(*args: _Nested) -> Any: ...
def getOutputEnabled() -> bool: ...
def setOutputEnabled(enabled: bool | _Index, /) -> None: ...
def _getcontrols() -> control: ...

# Element types of NumPy arrays
npvar: Final[np.dtype[Any]]
npexpr: Final[np.dtype[Any]]
npconstraint: Final[np.dtype[Any]]

# Variable types
continuous: Final = 0
binary: Final = 1
integer: Final = 2
semicontinuous: Final = 3
semiinteger: Final = 4
partiallyinteger: Final = 5

# Objective sense
minimize: Final = 1
maximize: Final = -1

# Constraint types
leq: Final = 1
geq: Final = 2
eq: Final = 3
rng: Final = 4

# Infinity
infinity: Final = 1e20

# Solution-information kinds
solinfo_absprimalinfeas: Final = 0
solinfo_relprimalinfeas: Final = 1
solinfo_absdualinfeas: Final = 2
solinfo_reldualinfeas: Final = 3
solinfo_maxmipfractional: Final = 4

# Basis status
basis_nonbasic_lower: Final = 0
basis_basic: Final = 1
basis_nonbasic_upper: Final = 2
basis_superbasic: Final = 3

# LP status
lp_unstarted: Final = 0
lp_optimal: Final = 1
lp_infeas: Final = 2
lp_cutoff: Final = 3
lp_unfinished: Final = 4
lp_unbounded: Final = 5
lp_cutoff_in_dual: Final = 6
lp_unsolved: Final = 7
lp_nonconvex: Final = 8

# MIP status
mip_not_loaded: Final = 0
mip_lp_not_optimal: Final = 1
mip_lp_optimal: Final = 2
mip_no_sol_found: Final = 3
mip_solution: Final = 4
mip_infeas: Final = 5
mip_optimal: Final = 6
mip_unbounded: Final = 7

# NLP status
nlp_unstarted: Final = 0
nlp_solution: Final = 1
nlp_locally_optimal: Final = 1
nlp_globally_optimal: Final = 2
nlp_locally_infeasible: Final = 3
nlp_infeasible: Final = 4
nlp_unbounded: Final = 5
nlp_unfinished: Final = 6

# Stop reasons
stop_timelimit: Final = 1
stop_ctrlc: Final = 2
stop_nodelimit: Final = 3
stop_iterlimit: Final = 4
stop_mipgap: Final = 5
stop_sollimit: Final = 6
stop_user: Final = 9

# Parameter types
type_notdefined: Final = 0
type_int: Final = 1
type_int64: Final = 2
type_double: Final = 3
type_string: Final = 4

# Column information
colinfo_value: Final = 1
colinfo_rdj: Final = 2
colinfo_deltaindex: Final = 3
colinfo_delta: Final = 4
colinfo_deltadj: Final = 5
colinfo_updaterow: Final = 6
colinfo_sb: Final = 7
colinfo_sbdual: Final = 8

# Row information
rowinfo_slack: Final = 1
rowinfo_dual: Final = 2
rowinfo_numpenaltyerrors: Final = 3
rowinfo_maxpenaltyerror: Final = 4
rowinfo_totalpenaltyerror: Final = 5
rowinfo_currentpenaltyerror: Final = 6
rowinfo_currentpenaltyfactor: Final = 7
rowinfo_penaltycolumnplus: Final = 8
rowinfo_penaltycolumnplusvalue: Final = 9
rowinfo_penaltycolumnplusdj: Final = 10
rowinfo_penaltycolumnminus: Final = 11
rowinfo_penaltycolumnminusvalue: Final = 12
rowinfo_penaltycolumnminusdj: Final = 13

# Multistart sets
msset_initialvalues: Final = 0
msset_initialfiltered: Final = 6
msset_solvers: Final = 1
msset_slp_basic: Final = 2
msset_slp_extended: Final = 3
msset_knitro_basic: Final = 4
msset_knitro_extended: Final = 5

# General constraint types
gencons_max: Final = 0
gencons_min: Final = 1
gencons_and: Final = 2
gencons_or: Final = 3
gencons_abs: Final = 4

# Formula tokens
tok_eof: Final = 0
tok_con: Final = 1
tok_col: Final = 10
tok_fun: Final = 11
tok_ifun: Final = 12
tok_lb: Final = 21
tok_rb: Final = 22
tok_del: Final = 24
tok_op: Final = 31

# Operators and delimiters
op_uminus: Final = 1
op_exponent: Final = 2
op_multiply: Final = 3
op_divide: Final = 4
op_plus: Final = 5
op_minus: Final = 6
op_comma: Final = 1
op_colon: Final = 2

# Internal functions
ifun_log: Final = 13
ifun_log10: Final = 14
ifun_ln: Final = 15
ifun_exp: Final = 16
ifun_abs: Final = 17
ifun_sqrt: Final = 18
ifun_sin: Final = 27
ifun_cos: Final = 28
ifun_tan: Final = 29
ifun_arcsin: Final = 30
ifun_arccos: Final = 31
ifun_arctan: Final = 32
ifun_min: Final = 33
ifun_max: Final = 34
ifun_pwl: Final = 35
ifun_sign: Final = 46
ifun_erf: Final = 49
ifun_erfc: Final = 50
