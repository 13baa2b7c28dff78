#!/usr/bin/env python3
"""Checks the machine code of the real interval arithmetic: on every path
through a function that writes MXCSR, each floating-point arithmetic
instruction must come after the first MXCSR write (the switch to upward
rounding) and before the second (the restore), and no path writes MXCSR more
than twice. An optimiser that hoists an operation above the switch, or sinks
one below the restore, computes that bound in the caller's mode; the MPFR
tests only see it when the misplaced operation happens to be inexact.

Usage: codegen_check.py <library.so>   (prints "N passed, M failed")
       codegen_check.py --expect-fault <library.so>
           succeeds only if some framed function is rejected: the check of the
           check, on a library built with a misplaced operation."""
import re
import subprocess
import sys

ARITH = re.compile(r'\s(v?(add|sub|mul|div|sqrt)(s|p)(s|d))\s')
# The functions whose whole arithmetic belongs inside the frame: the real
# arithmetic entry points and the bodies they share, and the rounded measures.
CHECKED = re.compile(
    r'^(ruf_interval_(si|di|sr|dr)_\w+'
    r'|ruf_interval_[sd]_(rad|wid|dist|mid)'
    r'|ruf::(add|sub|mult|mult_point|divi|point_divi|divi_point|sqr)<.*)$')


def functions(lib):
    out = subprocess.run(['objdump', '-d', '-C', '--no-show-raw-insn', lib], check=True,
                         capture_output=True, text=True).stdout
    name, body = None, []
    for line in out.splitlines():
        m = re.match(r'^[0-9a-f]+ <(.+)>:$', line)
        if m:
            if name:
                yield name, body
            name, body = m.group(1), []
        elif name and line.strip():
            body.append(line)
    if name:
        yield name, body


INSN = re.compile(r'^\s*([0-9a-f]+):\s+(\S+)\s*(.*)$')
BEFORE, INSIDE, AFTER = 0, 1, 2
# Calls that never return (sanitizer reports in an instrumented build): the
# code after them belongs to another path.
NORETURN = re.compile(r'<(__asan_report|__ubsan_handle\w*_abort|__stack_chk_fail|abort)')


def faults(body):
    """Walks every path from the entry, tracking the frame state."""
    insns = []
    for line in body:
        m = INSN.match(line)
        if m:
            insns.append((int(m.group(1), 16), m.group(2), m.group(3), line.strip()))
    index = {addr: k for k, (addr, _, _, _) in enumerate(insns)}
    seen, found, work = set(), [], [(0, BEFORE)]
    while work:
        k, state = work.pop()
        if k >= len(insns) or (k, state) in seen:
            continue
        seen.add((k, state))
        addr, op, args, text = insns[k]
        if op == 'ldmxcsr':
            if state == AFTER:
                found.append('a third MXCSR write: ' + text)
                continue
            state += 1
        elif ARITH.search(' ' + op + ' ') and state != INSIDE:
            found.append(('before the switch: ' if state == BEFORE else 'after the restore: ') + text)
        if op.startswith('ret') or (op.startswith('call') and NORETURN.search(args)):
            continue
        target = re.match(r'([0-9a-f]+) <', args)
        dest = index.get(int(target.group(1), 16)) if target else None
        if op == 'jmp':
            if dest is not None:
                work.append((dest, state))
            continue  # a tail call ends the path here
        if op.startswith('j') and dest is not None:
            work.append((dest, state))
        work.append((k + 1, state))
    return sorted(set(found))


def main():
    expect_fault = sys.argv[1] == '--expect-fault'
    lib = sys.argv[-1]
    passed = failed = 0
    for name, body in functions(lib):
        base = re.sub(r'\(.*$', '', name)
        if not CHECKED.match(base) or not any('ldmxcsr' in l for l in body):
            continue
        bad = faults(body)
        if bad:
            failed += 1
            print(f'FAILED: {name}:', *bad, sep='\n    ')
        else:
            passed += 1
    if expect_fault:
        print(f'{int(failed > 0)} passed, {int(failed == 0)} failed')
        return 0 if failed else 1
    if passed == 0:
        failed += 1
        print('FAILED: no framed function found in', lib)
    print(f'{passed} passed, {failed} failed')
    return 1 if failed else 0


if __name__ == '__main__':
    sys.exit(main())
