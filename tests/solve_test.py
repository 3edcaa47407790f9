#!/usr/bin/env python3
"""Tests ./solve and the arguments of ./test in temporary folders, with programs
that only print how they were called."""

import os
import pathlib
import pty
import shutil
import subprocess
import tempfile

SOURCE = pathlib.Path(__file__).resolve().parents[1]
PROGRAM = '#!/bin/sh\necho "$@"\nexit 3\n'


def write_program(path, text):
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_text(text, 'utf-8')
    path.chmod(0o755)


def make_tree(root, is_built):
    """The script with sources that are older than its program."""
    for name in ('solve', 'scripts/setup.sh', 'CMakeLists.txt', 'CMakePresets.json'):
        (root / name).parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(SOURCE / name, root / name)
    for name in ('solver', 'constraints', 'front', 'examples', 'tools/check',
                 'python/wcsp/_shared'):
        (root / name).mkdir(parents=True)
    if is_built:
        write_program(root / 'build/release/wcsp', PROGRAM)
        (root / 'build/release/solve.stamp').touch()


def solve(root, *arguments, **options):
    return run(root / 'solve', *arguments, **options)


def run(script, *arguments, stdin=subprocess.DEVNULL, path=''):
    environment = dict(os.environ, PATH=path + os.environ['PATH'])
    done = subprocess.run([script, *arguments], stdin=stdin, text=True, timeout=60,
                          capture_output=True, check=False, env=environment)
    return done.returncode, done.stdout, done.stderr


# Arguments of ./test, and whether they are handed to ctest.
TEST_ARGUMENTS = [
    ('', True), ('-L fast', True), ('-R solve -j4 -V', True), ('--all -LE slow', True),
    ('my.model', False), ('-inputfile my.model', False), ('-V my.model', False),
    ('-L fast my.model', False), ('--all my.model', False), ('-L', False),
]


def check_arguments_of_test(root, programs):
    """What ctest would ignore is refused before anything is built."""
    make_tree(root, False)
    shutil.copy(SOURCE / 'test', root / 'test')
    for name, text in (('cmake', '#!/bin/sh\n'), ('ctest', '#!/bin/sh\necho "$@"\n'),
                       ('dpkg-query', '#!/bin/sh\necho installed\n')):
        write_program(programs / name, text)
    for arguments, is_taken in TEST_ARGUMENTS:
        status, out, err = run(root / 'test', *arguments.split(), path=f'{programs}:')
        is_refused = 'not an option of ctest' in err or 'needs a value' in err
        equal(f'./test {arguments}', (status, bool(out), is_refused),
              (0, True, False) if is_taken else (2, False, True))
        if 'my.model' in arguments:
            equal(f'hint of {arguments}', 'wcsp-check MODEL' in err, True)


def equal(what, got, expected):
    if got != expected:
        raise SystemExit(f'{what}: expected {expected!r}, got {got!r}')


def main():
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        root = folder / 'it\'s $1 & more'
        make_tree(root, True)
        model = folder / 'my.model'
        model.write_text('variable x in {a}\n', 'utf-8')
        example = f'-inputfile {root}/examples/nurse-roster.model\n'
        equal('nothing given', solve(root), (3, example, ''))
        with model.open() as stream:
            equal('a file on standard input', solve(root, stdin=stream), (3, '\n', ''))
        reader, writer = os.pipe()
        os.close(writer)
        equal('a pipe', solve(root, stdin=reader), (3, example, ''))
        os.close(reader)
        leader, terminal = pty.openpty()
        equal('a terminal', solve(root, '-time', '5', stdin=terminal),
              (3, '-time 5\n', 'reading the model from standard input\n'))
        equal('a terminal with a model', solve(root, '-inputfile', 'm', stdin=terminal),
              (3, '-inputfile m\n', ''))
        os.close(terminal)
        os.close(leader)

        for bad in ('a;b', 'a#b', 'a[b', 'a\\b', 'a"b'):
            make_tree(folder / bad, False)
            status, out, err = solve(folder / bad)
            equal(bad, (status, out, 'cannot build in ' in err), (125, '', True))
        done = subprocess.run(['cmake', '-S', folder / 'a#b', '-B', folder / 'made'], timeout=60,
                              capture_output=True, text=True, check=False)
        equal('cmake', 'cannot build in a folder' in done.stderr, True)
        failing = folder / 'failing'
        make_tree(failing, False)
        write_program(folder / 'bin/cmake', '#!/bin/sh\necho broken >&2\nexit 1\n')
        write_program(folder / 'bin/dpkg-query', '#!/bin/sh\necho installed\n')
        equal('a failing build', solve(failing, path=f'{folder}/bin:'), (125, '', 'broken\n'))
        for i, source in enumerate(('front/new.cpp', 'tools/show/new.py', 'scripts/zipped',
                                    'python/wcsp/_shared/new.py')):
            changed = folder / f'changed{i}'
            make_tree(changed, True)
            write_program(changed / source, '')
            now = (changed / 'build/release/solve.stamp').stat().st_mtime
            os.utime(changed / source, (now + 1, now + 1))
            equal(f'{source} is newer', solve(changed, path=f'{folder}/bin:'), (125, '', 'broken\n'))
        check_arguments_of_test(folder / 'checked', folder / 'programs')


if __name__ == '__main__':
    main()
