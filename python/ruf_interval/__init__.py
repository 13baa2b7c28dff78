"""ruf-interval from Python: verified interval arithmetic and interval linear
solvers over NumPy arrays.

    import numpy as np, ruf_interval as ri
    A = ri.interval([[3.9, 1], [1, 5]], [[4.1, 1], [1, 5.5]])
    b = ri.interval([[1], [2]])
    x, info = ri.solve(A, b, method="gekws")

Every exported routine is also callable by its name through `lib`
(`ri.lib.DIGEGAS(...)`, `ri.lib.digegas(...)`), with the declarations the
build generated from the library's routine table. A bad argument raises
ValueError naming the routine and the argument's position; the process never
exits. docs/python.md has more.
"""
import ctypes
import os

import numpy as np

from . import _routines

__all__ = ["si", "di", "cr", "zr", "cc", "zc", "interval", "solve", "classify", "add", "sub",
           "mul", "div", "set_multiplication", "SolverInfo", "lib"]

# ---- element types, laid out as the C header's -----------------------------
si = np.dtype([("inf", "<f4"), ("sup", "<f4")])
di = np.dtype([("inf", "<f8"), ("sup", "<f8")])
cr = np.dtype([("re", si), ("im", si)])
zr = np.dtype([("re", di), ("im", di)])
cc = np.dtype([("re", "<f4"), ("im", "<f4"), ("rad", "<f4")])
zc = np.dtype([("re", "<f8"), ("im", "<f8"), ("rad", "<f8")])
_CODE = {si: "si", di: "di", cr: "cr", zr: "zr", cc: "cc", zc: "zc"}
_REAL = {si: np.float32, di: np.float64, cr: np.float32, zr: np.float64, cc: np.float32,
         zc: np.float64}
_MEMBER = {si: "SI", di: "DI", cr: "CR", zr: "ZR", cc: "CC", zc: "ZC"}


# ---- the libraries -----------------------------------------------------------
def _find(name, env):
    here = os.path.dirname(os.path.abspath(__file__))
    # The environment, the package itself, then prefix/lib when the package
    # is installed in prefix/lib/python3/dist-packages.
    for candidate in (os.environ.get(env), os.path.join(here, name),
                      os.path.join(here, "..", "..", "..", name)):
        if candidate and os.path.exists(candidate):
            return candidate
    return name  # the dynamic loader's search path


# The recording xerbla_ first, globally, so that the library binds to it.
_handler = ctypes.CDLL(_find("_xerbla.so", "RUF_INTERVAL_XERBLA"), mode=ctypes.RTLD_GLOBAL)
_handler.ruf_py_last_name.restype = ctypes.c_char_p
_service = ctypes.CDLL(_find("libruf_service.so.0", "RUF_SERVICE_LIB"), mode=ctypes.RTLD_GLOBAL)
_library = ctypes.CDLL(_find("libruf_interval.so.0", "RUF_INTERVAL_LIB"))


class _Pair64(ctypes.Structure):
    _fields_ = [("re", ctypes.c_double), ("im", ctypes.c_double)]


class _Pair32(ctypes.Structure):
    _fields_ = [("re", ctypes.c_float), ("im", ctypes.c_float)]


class _Pointer:
    """A by-reference argument: a NumPy array (its data), a ctypes object (by
    reference), an address, or ctypes.byref(...) itself."""

    @classmethod
    def from_param(cls, obj):
        if isinstance(obj, np.ndarray):
            return ctypes.c_void_p(obj.ctypes.data)
        if isinstance(obj, ctypes.c_void_p):
            return obj
        if isinstance(obj, (ctypes._SimpleCData, ctypes.Structure, ctypes.Array)):
            return ctypes.byref(obj)
        if isinstance(obj, int):
            return ctypes.c_void_p(obj)
        return obj


_TYPES = {"v": None, "i": ctypes.c_int, "f": ctypes.c_float, "d": ctypes.c_double,
          "c": _Pair32, "z": _Pair64, "p": _Pointer, "s": ctypes.c_char_p}


class _Lib:
    """Every routine of the table under its four wrapper spellings."""

    def __init__(self):
        for name, (ret, args) in _routines.ROUTINES.items():
            for spelling in (name, name + "_", name.upper(), name.upper() + "_"):
                f = getattr(_library, spelling)
                f.restype = _TYPES[ret]
                f.argtypes = [_TYPES[a] for a in args]
                setattr(self, spelling, f)


lib = _Lib()


class SolverInfo(Exception):
    """A solver returned a positive info (it is in .info); see the routine's
    reference for its meaning. solve() returns info instead unless asked."""

    def __init__(self, routine, info):
        super().__init__(f"{routine} returned info = {info}")
        self.routine, self.info = routine, info


def _checked(routine, call):
    """Runs call(); a report of the handler becomes ValueError."""
    before = _handler.ruf_py_reports()
    result = call()
    if _handler.ruf_py_reports() != before:
        name = _handler.ruf_py_last_name().decode()
        info = _handler.ruf_py_last_info()
        if info == 1000:
            raise MemoryError(f"{name}: the workspace could not be allocated")
        raise ValueError(f"{name}: argument {info} is invalid")
    return result


def set_multiplication(rule):
    """'default' (the library's rule for two zero-straddling factors) or
    'textbook' (the enclosing product), for the whole process."""
    value = {"default": 0, "textbook": 1}[rule]
    _service.ruf_serv_set_multiplication.argtypes = [ctypes.c_int]
    _service.ruf_serv_set_multiplication(value)


# ---- arrays ------------------------------------------------------------------
def interval(lo, hi=None, dtype=di):
    """A real interval array [lo, hi] (hi defaults to lo), in Fortran order."""
    lo = np.asarray(lo, dtype=np.float64)
    hi = lo if hi is None else np.asarray(hi, dtype=np.float64)
    out = np.empty(np.broadcast(lo, hi).shape, dtype=dtype, order="F")
    out["inf"], out["sup"] = lo, hi
    return out


def _fortran(a, dtype):
    a = np.asarray(a)
    if a.dtype != dtype:
        raise TypeError(f"expected elements of dtype {dtype}, got {a.dtype}")
    return np.asfortranarray(a)  # no copy when it already is


def _ptr(a):
    return ctypes.c_void_p(a.ctypes.data)


def _elementwise(op, x, y):
    x, y = np.broadcast_arrays(np.asarray(x), np.asarray(y))
    if x.dtype != y.dtype or x.dtype not in _CODE:
        raise TypeError("both operands must have the same interval dtype")
    code = _CODE[x.dtype]
    f = getattr(lib, f"{code}_{code}_{op}")
    out = np.empty(x.shape, dtype=x.dtype)
    xs, ys, rs = x.ravel(), y.ravel(), out.reshape(-1)
    size = x.dtype.itemsize
    bx, by, br = xs.ctypes.data, ys.ctypes.data, rs.ctypes.data
    sx = xs.strides[0] if xs.size > 1 else size
    sy = ys.strides[0] if ys.size > 1 else size
    for k in range(xs.size):
        f(br + k * size, bx + k * sx, by + k * sy)
    return out


def add(x, y):
    return _elementwise("addi", x, y)


def sub(x, y):
    return _elementwise("subt", x, y)


def mul(x, y):
    return _elementwise("mult", x, y)


def div(x, y):
    return _elementwise("divi", x, y)


# ---- solvers -----------------------------------------------------------------
def solve(A, B, method="gegas", eps=1e-10, maxit=100, raise_info=False):
    """Encloses the solutions of A X = B; returns (X, info).

    method: "gegas", "trtrs" (lower triangle), "gekws", "gemip+gegss", "vsv"
    (the fast verified solver) for every member; "gehbs", "gehss", "hull"
    (DIGEPPS per component and side: the outer box of the exact hull) for
    real ones. With raise_info, a positive
    info raises SolverInfo."""
    A = _fortran(A, np.asarray(A).dtype)
    dtype = A.dtype
    B = _fortran(B, dtype)
    if B.ndim == 1:
        B = B.reshape(-1, 1, order="F")
    n, nrhs = A.shape[0], B.shape[1]
    member = _MEMBER[dtype]
    X = B.copy(order="F")
    info = ctypes.c_int(0)
    N, NRHS = ctypes.c_int(n), ctypes.c_int(nrhs)
    LD = ctypes.c_int(max(1, n))
    tol = _REAL[dtype](eps)
    ctol = (ctypes.c_float if tol.dtype == np.float32 else ctypes.c_double)(float(tol))
    routine = f"{member}{method.upper()}"

    def call(name, *args):
        _checked(name, lambda: getattr(lib, name)(*args))

    if method == "gegas":
        call(routine, b"N", N, NRHS, _ptr(A), LD, _ptr(X), LD, ctypes.byref(info), 1)
    elif method == "trtrs":
        call(routine, b"L", b"N", b"N", N, NRHS, _ptr(A), LD, _ptr(X), LD, ctypes.byref(info), 1,
             1, 1)
    elif method == "gekws":
        call(routine, b"N", N, NRHS, _ptr(A), LD, _ptr(X), LD, ctypes.byref(ctol),
             ctypes.byref(info), 1)
    elif method == "gemip+gegss":
        a = A.copy(order="F")
        routine = f"{member}GEMIP"
        call(routine, N, NRHS, _ptr(a), LD, _ptr(X), LD, ctypes.byref(info))
        if info.value == 0:
            x0 = X.copy(order="F")
            routine = f"{member}GEGAS"
            call(routine, b"N", N, NRHS, _ptr(a), LD, _ptr(x0), LD, ctypes.byref(info), 1)
            if info.value == 0:
                sweeps = ctypes.c_int(maxit)
                routine = f"{member}GEGSS"
                call(routine, b"N", N, NRHS, _ptr(a), LD, _ptr(X), LD, _ptr(x0),
                     ctypes.byref(ctol), ctypes.byref(sweeps), ctypes.byref(info), 1)
    elif method == "vsv":
        point = _REAL[dtype] if member in ("SI", "DI") else np.result_type(_REAL[dtype], 1j)
        approx = np.zeros((max(1, n), nrhs), dtype=point, order="F")
        routine = f"{member}GEVSV"
        call(routine, b"N", N, NRHS, _ptr(A), LD, _ptr(X), LD, _ptr(approx), LD,
             ctypes.byref(info), 1)
    elif method in ("gehbs", "gehss") and member in ("SI", "DI"):
        if method == "gehss":
            call(routine, b"N", N, NRHS, _ptr(A), LD, _ptr(X), LD, ctypes.byref(info), 1)
        else:
            for c in range(nrhs):
                col = ctypes.c_void_p(X.ctypes.data + c * X.strides[1])
                call(routine, b"N", N, _ptr(A), LD, col, LD, ctypes.byref(info), 1)
                if info.value != 0:
                    break
    elif method == "hull" and member in ("SI", "DI"):
        routine = f"{member}GEPPS"
        for c in range(nrhs):
            bcol = np.ascontiguousarray(B[:, c])
            for k in range(1, n + 1):
                for side, field in ((b"L", "inf"), (b"U", "sup")):
                    bound = np.zeros(1, dtype=dtype)
                    K, M = ctypes.c_int(k), ctypes.c_int(100000)
                    call(routine, b"N", N, _ptr(A), LD, _ptr(bcol), ctypes.byref(K),
                         ctypes.byref(ctol), side, ctypes.byref(M), _ptr(bound), ctypes.byref(info),
                         1, 1)
                    X[field][k - 1, c] = bound[field][0]
                    if info.value >= 2:
                        break
    else:
        raise ValueError(f"no method {method!r} for {member} elements")
    if raise_info and info.value > 0:
        raise SolverInfo(routine, info.value)
    return X, info.value


def classify(A):
    """The regularity tests on a real interval matrix: a dict with the verdict
    of each ('regular', 'singular' or 'undecided'), from floating-point tests,
    not proofs."""
    A = _fortran(A, np.asarray(A).dtype)
    member = _MEMBER[A.dtype]
    real = ctypes.c_float if member == "SI" else ctypes.c_double
    n, ld = ctypes.c_int(A.shape[0]), ctypes.c_int(max(1, A.shape[0]))
    words = {1: "regular", -1: "singular", 0: "undecided"}
    out = {}
    r, flag, info = real(0), ctypes.c_int(0), ctypes.c_int(0)
    _checked("GERBR", lambda: getattr(lib, member + "GERBR")(
        n, _ptr(A), ld, ctypes.byref(r), ctypes.byref(flag), ctypes.byref(info)))
    out["gerbr"] = words[flag.value]
    sa, sd = np.zeros(1, dtype=A.dtype), np.zeros(1, dtype=A.dtype)
    _checked("GESVR", lambda: getattr(lib, member + "GESVR")(
        n, _ptr(A), ld, _ptr(sa), _ptr(sd), ctypes.byref(flag), ctypes.byref(info)))
    out["gesvr"] = words[flag.value]
    return out
