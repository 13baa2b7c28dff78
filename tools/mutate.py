#!/usr/bin/env python3
"""The mutation check: how many plausible faults does the test suite catch?

Copies the source tree (tracked files as they are in the working tree) into a
scratch directory, builds it once, and checks that the suite passes. Then, for
each mutant of the list (tools/mutants.txt), alone: applies it, rebuilds,
runs ctest, and restores the file. A mutant whose build or tests fail (or time
out) is KILLED; one that passes every test SURVIVED. A mutant whose original
text is no longer found exactly once is STALE: the list must follow the code.

Usage: tools/mutate.py [--work DIR] [--only ID[,ID...]] [--list FILE]
                       [--timeout SECONDS] [--jobs N] [--fail-on-survivor] [--every]
With --every the whole suite runs for each mutant and every killing test is
named: what only one test catches is what that test is for.
The run takes a while (one incremental build and one test run per mutant);
it is not part of CI. docs/testing.md records the latest count."""
import argparse
import os
import re
import shutil
import subprocess
import sys
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))


class Mutant:
    def __init__(self, ident, what, path):
        self.ident, self.what, self.path, self.edits = ident, what, path, []


def read_list(path):
    """Mutant blocks: '== id: what', 'file: path', then runs of '- old' lines
    each followed by a run of '+ new' lines (a bare '+' deletes)."""
    mutants, current = [], None
    for number, line in enumerate(open(path, encoding='utf-8'), 1):
        line = line.rstrip('\n')
        if not line.strip() or line.startswith('#'):
            continue
        if line.startswith('== '):
            ident, _, what = line[3:].partition(':')
            current = Mutant(ident.strip(), what.strip(), None)
            mutants.append(current)
        elif line.startswith('file: ') and current:
            current.path = line[6:].strip()
        elif line.startswith('- ') and current:
            if not current.edits or current.edits[-1][1]:
                current.edits.append(([], []))
            current.edits[-1][0].append(line[2:].strip())
        elif (line.startswith('+ ') or line == '+') and current and current.edits:
            current.edits[-1][1].append(line[2:])
        else:
            sys.exit(f'{path}:{number}: cannot read "{line}"')
    for m in mutants:
        if not m.path or not m.edits:
            sys.exit(f'mutant {m.ident}: needs a file and at least one edit')
    idents = [m.ident for m in mutants]
    if len(set(idents)) != len(idents):
        sys.exit('mutant identifiers must be unique')
    return mutants


def apply(text, old_lines, new_lines):
    """The text with the one occurrence of the old lines replaced (leading
    blanks of continuation lines ignored), or a reason why not."""
    pattern = re.compile(r'\n[ \t]*'.join(re.escape(l) for l in old_lines))
    found = pattern.findall(text)
    if len(found) != 1:
        return None, f'"{old_lines[0]}" found {len(found)} times'
    return pattern.sub(lambda _: '\n'.join(new_lines), text), ''


def run(cmd, cwd=None, timeout=None):
    return subprocess.run(cmd, cwd=cwd, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          text=True, timeout=timeout)


def copy_tree(dst):
    """Makes dst hold exactly the project's files as they are now (files
    deleted since an earlier run go too); unchanged files keep their times,
    so the scratch build stays incremental."""
    listed = run(['git', 'ls-files', '--cached', '--others', '--exclude-standard'], cwd=ROOT)
    wanted = {rel for rel in listed.stdout.split('\n')
              if rel and os.path.isfile(os.path.join(ROOT, rel))}
    for base, _, files in os.walk(dst):
        for name in files:
            rel = os.path.relpath(os.path.join(base, name), dst)
            if rel not in wanted:
                os.remove(os.path.join(base, name))
    for rel in wanted:
        target = os.path.join(dst, rel)
        os.makedirs(os.path.dirname(target), exist_ok=True)
        src = os.path.join(ROOT, rel)
        if not os.path.exists(target) or open(src, 'rb').read() != open(target, 'rb').read():
            shutil.copy(src, target)  # a new time: the build must see the change


def build(build_dir, jobs):
    return run(['cmake', '--build', build_dir, f'-j{jobs}']).returncode == 0


def test(build_dir, jobs, timeout, every=False):
    """(passed, the failing tests or a reason): the first one, or with every
    all of them (the whole suite runs)."""
    cmd = ['ctest', '--test-dir', build_dir, f'-j{jobs}', '--timeout', str(timeout)]
    r = run(cmd + ([] if every else ['--stop-on-failure']))
    if r.returncode == 0:
        return True, ''
    failed = re.findall(r'^\s*\d+ - (\S+)', r.stdout, re.M)
    if not failed:
        return False, 'ctest failed'
    return False, ' '.join(sorted(set(failed))) if every else failed[0]


def main():
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawTextHelpFormatter)
    ap.add_argument('--work', default=os.path.join(ROOT, 'build-mutate'))
    ap.add_argument('--list', default=os.path.join(ROOT, 'tools', 'mutants.txt'))
    ap.add_argument('--only', default='')
    ap.add_argument('--timeout', type=int, default=120)
    ap.add_argument('--jobs', type=int, default=2)
    ap.add_argument('--fail-on-survivor', action='store_true')
    ap.add_argument('--every', action='store_true',
                    help='run the whole suite per mutant and name every test that kills it')
    args = ap.parse_args()

    mutants = read_list(args.list)
    if args.only:
        wanted = set(args.only.split(','))
        mutants = [m for m in mutants if m.ident in wanted]
    src, build_dir = os.path.join(args.work, 'src'), os.path.join(args.work, 'build')
    os.makedirs(src, exist_ok=True)
    copy_tree(src)
    # A run stopped while a mutant was applied: its file is restored now, but
    # the build still holds the mutant unless the file looks changed.
    marker = os.path.join(args.work, 'applied')
    if os.path.exists(marker):
        stale = os.path.join(src, open(marker, encoding='utf-8').read().strip())
        if os.path.exists(stale):
            os.utime(stale)
        os.remove(marker)
    configure = run(['cmake', '-S', src, '-B', build_dir, '-DCMAKE_BUILD_TYPE=Release',
                     '-DRUF_BUILD_TESTS=ON', '-DRUF_BUILD_BENCH=OFF', '-DRUF_BUILD_EXAMPLES=OFF'])
    if configure.returncode != 0:
        sys.exit(configure.stdout)
    if not build(build_dir, args.jobs):
        sys.exit('the unmutated tree does not build')
    ok, why = test(build_dir, args.jobs, args.timeout)
    if not ok:
        sys.exit(f'the unmutated tree fails its tests ({why}): nothing to measure')

    killed = survived = stale = 0
    for m in mutants:
        path = os.path.join(src, m.path)
        original = open(path, encoding='utf-8').read()
        text, problem = original, ''
        for old, new in m.edits:
            text, problem = apply(text, old, new)
            if problem:
                break
        if problem:
            stale += 1
            print(f'STALE     {m.ident}: {problem}', flush=True)
            continue
        start = time.time()
        open(marker, 'w', encoding='utf-8').write(m.path)
        open(path, 'w', encoding='utf-8').write(text)
        try:
            if not build(build_dir, args.jobs):
                ok, why = False, 'build failed'
            else:
                ok, why = test(build_dir, args.jobs, args.timeout, args.every)
        finally:
            open(path, 'w', encoding='utf-8').write(original)
            os.remove(marker)
        seconds = time.time() - start
        if ok:
            survived += 1
            print(f'SURVIVED  {m.ident}: {m.what} ({seconds:.0f} s)', flush=True)
        else:
            killed += 1
            print(f'KILLED    {m.ident} by {why} ({seconds:.0f} s)', flush=True)
    build(build_dir, args.jobs)  # leave the scratch build unmutated
    total = killed + survived
    print(f'\n{killed} of {total} mutants killed, {survived} survived'
          + (f', {stale} stale' if stale else ''))
    return 1 if (args.fail_on_survivor and survived) or stale else 0


if __name__ == '__main__':
    sys.exit(main())
