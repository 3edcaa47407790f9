#!/usr/bin/env python3
"""Runs every command of README.md in a fresh clone.

The commands after `./solve` must work without `./manual` and `./test`, so these two
run last. `./test` only builds, because it may be running this test. The compiler of
this test copies what build/release already has.
"""

import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).parent / 'shared'))
from compiler import copies_of_release  # pylint: disable=wrong-import-position

SOURCE = pathlib.Path(__file__).resolve().parents[1]
FENCED = re.compile(r'^```text\n(.*?)^```$', re.M | re.S)
# Lines indented as code, and code within the text.
CODE = re.compile(r'((?:^ {4}.*\n)+)|`([^`]+)`', re.M)
COMMAND = re.compile(r'(?:\./|build/release/wcsp)')
LAST = {'./manual': './manual', './test': './test -N'}


def clone(folder):
    """The files that git has of the source, as they are now."""
    if not (SOURCE / '.git').exists():
        shutil.copytree(SOURCE, folder, ignore=shutil.ignore_patterns('build'))
        return
    names = subprocess.run(['git', '-c', 'safe.directory=*', 'ls-files', '-z'], cwd=SOURCE,
                           check=True, stdout=subprocess.PIPE, text=True).stdout
    for name in filter(None, names.split('\0')):
        (folder / name).parent.mkdir(parents=True, exist_ok=True)
        shutil.copy2(SOURCE / name, folder / name)


def commands(readme):
    """The commands in their order, each once, without comments and without those
    that have a word in capitals, which stands for something else."""
    result = []
    for indented, inline in CODE.findall(FENCED.sub('', readme)):
        text = indented.replace('\\\n', ' ') if indented else inline.replace('\n', ' ')
        for line in text.splitlines():
            line = re.sub(r'\s+', ' ', line.split('#')[0]).strip()
            if COMMAND.match(line) and not re.search(r'\b[A-Z]{4,}\b', line):
                result.append(line)
    return list(dict.fromkeys(result))


def main():
    readme = (SOURCE / 'README.md').read_text('utf-8')
    every = commands(readme)
    last = [LAST[line] for line in every if line in LAST]
    first = [line for line in every if line not in LAST]
    if len(last) != len(LAST) or first[0] != './solve' or len(first) < 9:
        sys.exit(f'README.md: not the commands that this test expects: {every}')
    environment = {name: value for name, value in os.environ.items()
                   if name not in ('DISPLAY', 'WAYLAND_DISPLAY')}
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name, 'clone')
        clone(folder)
        for model in ('talks.model', 'my.model'):
            (folder / model).write_text(FENCED.search(readme)[1], 'utf-8')
        environment |= copies_of_release(folder.parent)
        for line in first + last:
            done = subprocess.run(['bash', '-c', line], cwd=folder, env=environment, check=False,
                                  stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                  stderr=subprocess.STDOUT, timeout=1500)
            if done.returncode != 0:
                sys.exit(f'{line}: status {done.returncode}\n{done.stdout.decode(errors="replace")}')
            for written in re.findall(r'(?:>|-o|-logfile) (\S+)', line):
                if not (folder / written).stat().st_size:
                    sys.exit(f'{line}: {written} is empty')
        for path in re.findall(r'`(build/release/[^ `]+)', readme):
            if not (folder / path).exists():
                sys.exit(f'README.md: there is no {path}')
    print(f'{len(first + last)} commands')


if __name__ == '__main__':
    main()
