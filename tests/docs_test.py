#!/usr/bin/env python3
"""Runs the commands in the manual and checks that the manual is complete.

In the AsciiDoc sources under --docs, a block marked [source,KIND,file=NAME] is a
file. A block marked [source,console] contains commands, each after "$ ", and their
output. The commands of a source run in order in a folder with its files. Outputs
are compared with CPU times masked, and a line "..." matches any lines. Every text,
option and status in the code of the program, and every example, must appear in the
manual. --update writes the outputs into the sources. The two blocks of text in
README.md are a model and its report.
"""

import argparse
import os
import pathlib
import re
import subprocess
import sys
import tempfile

BLOCK = re.compile(r'^\[source,([^\]]*)\]\n----\n(.*?)^----$', re.M | re.S)
TIME = re.compile(r'\d+\.\d\d(?=\(s\)|/\d+\.\d\d\(s\))')
MARK = '\x01'


def split(console):
    """The commands of a block, each with the lines shown for it."""
    commands = []
    for line in console.splitlines():
        if line.startswith('$ '):
            commands.append((line[2:], []))
        else:
            commands[-1][1].append(line)
    return commands


def run(commands, folder, environment):
    """What each command prints; the status of one is $? to the next."""
    script = 's=0\n' + ''.join(
        f"printf '{MARK}'\n(exit $s)\n{command}\ns=$?\n"
        for command, _ in commands)
    output = subprocess.run(['bash', '-c', script], cwd=folder, check=False,
                            env=environment, stdin=subprocess.DEVNULL,
                            stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                            timeout=600).stdout.decode('latin-1')
    return re.sub(r' +\n', '\n', output).split(MARK)[1:]


def matches(shown, printed):
    pattern = ''.join(r'(?:.*\n)*?' if line == '...'
                      else re.escape(TIME.sub('T', line)) + '\n'
                      for line in shown)
    return re.fullmatch(pattern, TIME.sub('T', printed))


def test_source(path, environment, update):
    """Returns the number of commands run and the failures."""
    text = path.read_text('utf-8')
    failures, count, new_text, end = [], 0, '', 0
    blocks = list(BLOCK.finditer(text))
    with tempfile.TemporaryDirectory() as folder:
        os.symlink(environment['EXAMPLES'], f'{folder}/examples')
        os.symlink(environment['PROGRAM'], f'{folder}/solve')
        for block in blocks:
            if name := re.search(r'file=(.+)', block[1]):
                pathlib.Path(folder, name[1]).write_text(block[2], 'utf-8')
        for block in (b for b in blocks if b[1] == 'console'):
            commands = split(block[2])
            count += len(commands)
            new_text += text[end:block.start(2)]
            end = block.end(2)
            outputs = run(commands, folder, environment)
            for (command, shown), printed in zip(commands, outputs):
                new_text += f'$ {command}\n'
                if matches(shown, printed):
                    new_text += ''.join(line + '\n' for line in shown)
                else:
                    new_text += printed
                    failures.append(f'{path.name}: $ {command}\n{printed}')
    if update:
        path.write_text(new_text + text[end:], 'utf-8')
    return count, failures


def test_readme(readme, wcsp):
    model, shown = re.findall(r'^```text\n(.*?)^```$',
                              readme.read_text('utf-8'), re.M | re.S)
    printed = subprocess.run([wcsp], input=model, check=False, text=True,
                             stdout=subprocess.PIPE).stdout
    # The README leaves the log out.
    report = printed[printed.find('[best solution]'):]
    return [] if matches(shown.splitlines(), report) else [
        f'{readme.name}: the model prints\n{printed}']


def texts(code):
    """The lines of all string literals that hold a word, blanks trimmed."""
    code = re.sub(r'^\s*(?:#include.*|//.*)$', '', code, flags=re.M)
    for literal in re.finditer(r'R"\((.*?)\)"|"((?:[^"\\\n]|\\.)*)"', code,
                               re.S):
        text = literal[1] or re.sub(r'\\[tvfr]', '', literal[2] or '')
        for line in re.split(r'\n|\\n', text):
            if re.search(r'\w', line):
                yield line.strip()


def missing(docs, root):
    manual = ''.join(p.read_text('utf-8') for p in docs.glob('manual/*.adoc'))
    for path in [*root.glob('front/*.cpp'), *root.glob('solver/*.cpp')]:
        code = path.read_text('utf-8')
        yield from (f'{path}: the manual lacks "{text}"'
                    for text in texts(code) if text not in manual)
        for body in re.findall(r'enum Status \{(.*?)\}', code, re.S):
            yield from (f'{path}: the manual lacks status {status}'
                        for status in re.findall(r'= (-?\d+)', body)
                        if f'\n{int(status) % 256}::\n' not in manual)
    yield from (f'{path}: not in the manual'
                for path in root.glob('examples/*.model')
                if f'`{path.stem}`' not in manual)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    for name in ('wcsp', 'check', 'docs', 'source'):
        parser.add_argument('--' + name, required=True, type=pathlib.Path)
    parser.add_argument('--update', action='store_true')
    options = parser.parse_args()
    root, wcsp = options.source.resolve(), options.wcsp.resolve()
    failures, count = list(missing(options.docs, root)), 0
    failures += test_readme(root / 'README.md', wcsp)
    with tempfile.TemporaryDirectory() as programs:
        os.symlink(wcsp, f'{programs}/wcsp')
        for tool in options.check.resolve().parent.glob('wcsp-*'):
            os.symlink(tool, f'{programs}/{tool.name}')
        environment = dict(os.environ, LC_ALL='C', PROGRAM=str(wcsp),
                           EXAMPLES=f'{root}/examples',
                           PYTHONPATH=f'{root}/python', PYTHONDONTWRITEBYTECODE='1',
                           PYTHONUTF8='1',
                           PATH=f'{programs}:{os.environ["PATH"]}')
        for path in sorted(options.docs.glob('ma[nu]*/*.adoc')):
            ran, failed = test_source(path, environment, options.update)
            count += ran
            failures += failed
    print('\n'.join(failures + [f'{count} commands, {len(failures)} failures']))
    return 1 if failures or count == 0 else 0


if __name__ == '__main__':
    sys.exit(main())
