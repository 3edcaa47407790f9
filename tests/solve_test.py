#!/usr/bin/env python3
"""Tests ./solve in folders of its own, with a program and a cmake that only say how they were called."""

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
    for name in ('solve', 'tools/setup.sh', 'CMakeLists.txt', 'CMakePresets.json'):
        (root / name).parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(SOURCE / name, root / name)
    for name in ('solver', 'constraints', 'front', 'examples', 'tools/check'):
        (root / name).mkdir()
    if is_built:
        write_program(root / 'build/release/wcsp', PROGRAM)
        (root / 'build/release/solve.stamp').touch()


def solve(root, *arguments, stdin=subprocess.DEVNULL, path=''):
    environment = dict(os.environ, PATH=path + os.environ['PATH'])
    done = subprocess.run([root / 'solve', *arguments], stdin=stdin, text=True, timeout=60,
                          capture_output=True, check=False, env=environment)
    return done.returncode, done.stdout, done.stderr


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


if __name__ == '__main__':
    main()
