"""The NumPy binding: every dtype round-trips through the library, one call
per family goes through the generated declarations, solve() gives the C
results bit for bit (as ruf-solve prints them), and errors become exceptions
while the process lives on."""
import ctypes
import json
import os
import subprocess

import numpy as np
import pytest

import ruf_interval as ri


@pytest.mark.parametrize("dtype", [ri.si, ri.di, ri.cr, ri.zr, ri.cc, ri.zc])
def test_every_dtype_round_trips(dtype):
    x = np.zeros(3, dtype=dtype)
    x.view(np.uint8)[:] = np.arange(x.nbytes, dtype=np.uint8) % 61 + 1  # arbitrary bits
    code = ri._CODE[dtype]
    y = np.zeros_like(x)
    for k in range(3):
        getattr(ri.lib, code.upper() + "_COPY")(y[k:].ctypes.data, x[k:].ctypes.data)
    assert x.tobytes() == y.tobytes()


def test_one_call_per_family():
    x, y, r = ri.interval(-1, 2), ri.interval(-3, 4), ri.interval(0)
    ri.lib.DI_DI_MULT(r, x, y)  # arithmetic, the library's rule
    assert (r["inf"], r["sup"]) == (-4, 8)
    assert ri.lib.d_mid(x) == 0.5  # measures
    assert ri.lib.D_LT(x, y) in (0, 1)  # relations
    c = np.zeros(1, dtype=ri.zr)
    ri.lib.d_d_zr_convert(c, ctypes.c_double(1), ctypes.c_double(2))  # conversions
    assert (c["re"]["inf"][0], c["re"]["sup"][0]) == (1, 2)  # the real part [1, 2]
    z = np.array([(3.0, 4.0, 1.0)], dtype=ri.zc)
    assert ri.lib.ZC_MAG(z) == 6  # discs
    assert ri.lib.zr_mid(c).re == 1.5  # a complex point returned by value


def ruf_solve_json(text, method):
    path = os.path.join(os.environ.get("TMPDIR", "/tmp"), "ruf_py_system.txt")
    with open(path, "w") as f:
        f.write(text)
    out = subprocess.run([os.environ["RUF_SOLVE"], "--json", "--method", method, path],
                         check=True, capture_output=True, text=True).stdout
    return json.loads(out)["methods"][0]


@pytest.mark.parametrize("method", ["gegas", "gekws", "gemip+gegss", "gehbs", "vsv", "hull"])
def test_solve_matches_the_c_results_bit_for_bit(method):
    # Dyadic data: the file's decimals are these doubles exactly.
    A = ri.interval([[3.875, -1, 0.5], [1, 5, -0.625], [-0.125, 2, 6]],
                    [[4.125, 1, 0.5], [1, 5.5, -0.375], [0.25, 2, 7]])
    b = ri.interval([[0.875], [2], [2.875]], [[1.125], [2], [3.125]])
    x, info = ri.solve(A, b, method=method)
    assert info == 0
    text = "3 1\n" + "\n".join(
        " ".join(f"[{A['inf'][i, j]!r}, {A['sup'][i, j]!r}]" for j in range(3)) for i in range(3))
    text += "\n" + "\n".join(f"[{b['inf'][i, 0]!r}, {b['sup'][i, 0]!r}]" for i in range(3)) + "\n"
    c = ruf_solve_json(text, "gepps" if method == "hull" else method)
    want = np.array([[tuple(float(v) for v in e) for e in row] for row in c["enclosure"]],
                    dtype=ri.di)
    assert x.tobytes() == np.asfortranarray(want).tobytes()


def test_errors_become_exceptions_and_the_process_lives_on():
    A, b = ri.interval([[1, 2], [3, 4]]), ri.interval([[1], [1]])
    with pytest.raises(ValueError, match="DIGEGAS: argument 1"):
        ri._checked("DIGEGAS", lambda: ri.lib.digegas(b"X", ctypes.c_int(2), ctypes.c_int(1), A,
                                                      ctypes.c_int(2), b, ctypes.c_int(2),
                                                      ctypes.c_int(0), 1))
    with pytest.raises(ValueError, match="no method"):
        ri.solve(A, b, method="hull-less")
    singular = ri.interval([[0, 0], [0, 0]])
    assert ri.solve(singular, b)[1] == 1  # info is returned ...
    with pytest.raises(ri.SolverInfo) as e:  # ... or raised, when asked
        ri.solve(singular, b, raise_info=True)
    assert e.value.info == 1


def test_the_multiplication_rule_and_elementwise_arrays():
    x, y = ri.interval([-1, 1], [2, 3]), ri.interval([-3, 1], [4, 1])
    assert ri.mul(x, y)["inf"][0] == -4
    ri.set_multiplication("textbook")
    try:
        assert ri.mul(x, y)["inf"][0] == -6
    finally:
        ri.set_multiplication("default")
    s = ri.add(x, y)
    assert (s["inf"] == [-4, 2]).all() and (s["sup"] == [6, 4]).all()
