#!/usr/bin/env python3
"""Writes the Fortran module ruf_interval from the routine table.

Input: the table run through the C preprocessor with
    #define RUF_ROUTINE(UPPER, lower, ret, params, args) @ lower | ret | params
(cmake/fortran_table.c), so every routine is one "@ name | return | (params)"
record with its C parameter types. Output: a module with the six element
types as bind(c) derived types and an explicit interface for every routine,
in the gfortran calling convention the library's lower-case-with-underscore
spelling follows (arguments by reference, the lengths of character arguments
passed hidden after the others, which gfortran does by itself): a caller gets
every argument checked at compile time.

Usage: gen_fortran_module.py TABLE.i OUTPUT.f90
"""
import re
import sys

TYPES = {
    "ruf_si": "type(ruf_si)", "ruf_di": "type(ruf_di)", "ruf_cr": "type(ruf_cr)",
    "ruf_zr": "type(ruf_zr)", "ruf_cc": "type(ruf_cc)", "ruf_zc": "type(ruf_zc)",
    "int": "integer(c_int)", "float": "real(c_float)", "double": "real(c_double)",
    "ruf_c": "complex(c_float_complex)", "ruf_z": "complex(c_double_complex)",
}
ELEMENTS = {"ruf_si", "ruf_di", "ruf_cr", "ruf_zr", "ruf_cc", "ruf_zc"}
# In the solvers these arguments are arrays (of elements, or of real or
# complex points for the fast verified solver's approximation); every other
# one is a scalar.
ARRAYS = {"a", "b", "x"}

HEADER = """\
! Generated from the routine table by tools/gen_fortran_module.py: do not edit.
!
! Explicit interfaces for every routine of ruf-interval, through its
! lower-case-with-underscore spelling: arguments by reference, the lengths of
! character arguments passed hidden after the others, as gfortran does.
!
!   use ruf_interval
!   type(ruf_di) :: a(3, 3), b(3, 1)
!   integer(c_int) :: n = 3, nrhs = 1, info
!   call digegas('N', n, nrhs, a, n, b, n, info)
module ruf_interval
  use, intrinsic :: iso_c_binding, only: c_int, c_float, c_double, c_float_complex, &
                                         c_double_complex
  implicit none
  private :: c_int, c_float, c_double, c_float_complex, c_double_complex

  ! The element types, laid out as the C header's.
  type, bind(c) :: ruf_si
    real(c_float) :: inf, sup
  end type ruf_si
  type, bind(c) :: ruf_di
    real(c_double) :: inf, sup
  end type ruf_di
  type, bind(c) :: ruf_cr
    type(ruf_si) :: re, im
  end type ruf_cr
  type, bind(c) :: ruf_zr
    type(ruf_di) :: re, im
  end type ruf_zr
  type, bind(c) :: ruf_cc
    real(c_float) :: re, im, rad
  end type ruf_cc
  type, bind(c) :: ruf_zc
    real(c_double) :: re, im, rad
  end type ruf_zc

  ! Status values.
  integer(c_int), parameter :: ruf_info_ok = 0, ruf_info_no_workspace = 1000

  interface
"""

FOOTER = """\
  end interface
end module ruf_interval
"""


def declaration(ctype, name, solver):
    const = ctype.startswith("const ")
    base = ctype.replace("const ", "").replace("*", "").strip()
    if base == "char":
        return f"character(len=*), intent(in) :: {name}"
    if base not in TYPES:
        raise SystemExit(f"no Fortran type for C type '{ctype}' ({name})")
    array = base in ELEMENTS or base in ("float", "double", "ruf_c", "ruf_z")
    dims = "(*)" if solver and array and name in ARRAYS else ""
    intent = "in" if const else "inout"
    return f"{TYPES[base]}, intent({intent}) :: {name}{dims}"


def main():
    text = open(sys.argv[1]).read()
    records = [r.strip() for r in text.split("@") if r.strip()]
    body = []
    for record in records:
        name, ret, params = (part.strip() for part in record.split("|", 2))
        inner = params.strip()[1:-1].strip()
        args = []
        for p in ([] if inner in ("", "void") else [s.strip() for s in inner.split(",")]):
            m = re.match(r"(.*?)([A-Za-z_][A-Za-z_0-9]*)$", p)
            args.append((m.group(1).strip(), m.group(2)))
        # Hidden lengths are gfortran's business: the interface leaves them out.
        args = [(t, n) for t, n in args if t != "ruf_strlen"]
        solver = any(n == "lda" for _, n in args)
        names = ", ".join(n for _, n in args)
        kind = "subroutine" if ret == "void" else "function"
        result = "" if ret == "void" else f" result(r_{name})"
        lines = [f"    {kind} {name}({names}){result}"]
        if any(t in TYPES or t.replace("const ", "").replace("*", "").strip() in TYPES
               for t, _ in args) or ret != "void":
            lines.append("      import")
        for t, n in args:
            lines.append("      " + declaration(t, n, solver))
        if ret != "void":
            lines.append(f"      {TYPES[ret]} :: r_{name}")
        lines.append(f"    end {kind} {name}")
        body.append("\n".join(wrap(l) for l in lines))
    with open(sys.argv[2], "w") as out:
        out.write(HEADER + "\n\n".join(body) + "\n" + FOOTER)


def wrap(line, width=100):
    """Fortran free form: continue long lines with '&'."""
    if len(line) <= width:
        return line
    cut = line.rfind(", ", 0, width - 2) + 1
    return line[:cut] + " &\n" + wrap("        " + line[cut:].lstrip(), width)


if __name__ == "__main__":
    main()
