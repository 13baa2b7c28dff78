#!/usr/bin/env python3
"""Writes the ctypes declarations of the Python binding from the routine table.

Input: the table run through the C preprocessor with cmake/fortran_table.c
("@ name | return | (params)" records). Output: a module with one entry per
routine, ROUTINES[name] = (return code, [argument codes]), the codes naming
ctypes types the package maps: "p" a pointer, "s" a character option (a
C string), "i" an int by value (the hidden lengths), "f"/"d" float/double,
"c"/"z" a complex float/double returned as a pair, "v" nothing.

Usage: gen_python_decls.py TABLE.i OUTPUT.py
"""
import re
import sys

RETURNS = {"void": "v", "int": "i", "float": "f", "double": "d", "ruf_c": "c", "ruf_z": "z"}


def code(ctype):
    t = ctype.strip()
    if t == "ruf_strlen":
        return "i"
    if t == "const char *":
        return "s"
    if t.endswith("*"):
        return "p"
    raise SystemExit(f"no ctypes code for C type '{ctype}'")


def main():
    records = [r.strip() for r in open(sys.argv[1]).read().split("@") if r.strip()]
    lines = ['"""Generated from the routine table by tools/gen_python_decls.py: do not edit."""',
             "", "ROUTINES = {"]
    for record in records:
        name, ret, params = (part.strip() for part in record.split("|", 2))
        inner = params.strip()[1:-1].strip()
        args = []
        for p in ([] if inner in ("", "void") else [s.strip() for s in inner.split(",")]):
            m = re.match(r"(.*?)([A-Za-z_][A-Za-z_0-9]*)$", p)
            args.append(code(m.group(1)))
        lines.append(f'    "{name}": ("{RETURNS[ret]}", "{"".join(args)}"),')
    lines.append("}")
    with open(sys.argv[2], "w") as out:
        out.write("\n".join(lines) + "\n")


if __name__ == "__main__":
    main()
