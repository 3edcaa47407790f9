#!/usr/bin/env python3
"""Installs the project and its Debian package and uses both as a user would.

Builds the preset `package` in a temporary folder. Checks the installed programs and
the completion, the worked example built against the installed library by CMake and
by pkg-config, the exported symbols of the library, and the package unpacked into an
empty folder, with the commands of the manual's first page. --root DIR installs the
package in a Debian root made by debootstrap instead, and removes it again.
"""

import argparse
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

SOURCE = pathlib.Path(__file__).resolve().parents[2]
sys.path[:0] = [str(SOURCE / 'tests'), str(SOURCE / 'tests/shared')]
import docs_test  # pylint: disable=wrong-import-position
from compiler import copies_of_release  # pylint: disable=wrong-import-position

HIDDEN = ('RealWcsp', 'Tabulist', 'LabelIndex', 'BoundedSum', 'IdLists',
          'handler')


def run(*command, **keywords):
    """Standard output of a command that must succeed."""
    result = subprocess.run([str(word) for word in command], text=True,
                            stdin=subprocess.DEVNULL, check=False,
                            stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                            **keywords)
    if result.returncode != 0:
        sys.exit(f'{command}: status {result.returncode}\n{result.stdout}')
    return result.stdout


def equal(got, expected, what):
    if got != expected:
        sys.exit(f'{what}: expected\n{expected}\ngot\n{got}')


def installed(prefix, version):
    equal(run(prefix / 'bin/wcsp-check', '--version').split()[-1], version,
          'version')
    for tool in ('wcsp-show', 'wcsp-plot', 'wcsp-many', 'wcsp-polish', 'wcsp-convert'):
        equal(run(prefix / 'bin' / tool, '--version').split()[-1], version, tool)
    completion = prefix / 'share/bash-completion/completions/wcsp'
    words = run('bash', '-c', f'. {completion}; COMP_WORDS=(wcsp -); '
                'COMP_CWORD=1; _wcsp; printf "%s\\n" "${COMPREPLY[@]}"')
    options = (SOURCE / 'front/options.cpp').read_text('utf-8')
    equal(sorted(words.split()), sorted(re.findall(r'\{"(-\w+)"', options)),
          'completed options')
    files = run('bash', '-c', f'. {completion}; COMP_CWORD=2; COMP_WORDS=(wcsp '
                '-inputfile sud); _wcsp; echo "${COMPREPLY[@]}"',
                cwd=prefix / 'share/doc/wcsp/examples')
    equal(files, 'sudoku.model\n', 'completed files')


def library(prefix, folder, version):
    """The worked example, built both ways; its output must be that in the manual."""
    example = prefix / 'share/doc/wcsp/examples/library'
    manual = (SOURCE / 'docs/manual/library.adoc').read_text('utf-8')
    expected = re.search(r'^----\n(opening: .*?)----$', manual, re.M | re.S)[1]
    run('cmake', '-S', example, '-B', folder / 'example',
        f'-DCMAKE_PREFIX_PATH={prefix}')
    run('cmake', '--build', folder / 'example')
    equal(run(folder / 'example/talks'), expected, 'example by CMake')

    shared = next(prefix.glob('lib/**/libwcsp.so'))
    environment = dict(os.environ, LD_LIBRARY_PATH=str(shared.parent),
                       PKG_CONFIG_PATH=str(shared.parent / 'pkgconfig'))
    equal(run('pkg-config', '--modversion', 'wcsp', env=environment).strip(),
          version, 'version of the library')
    flags = run('pkg-config', '--cflags', '--libs', 'wcsp', env=environment)
    run('g++', '-std=c++20', '-o', folder / 'talks', example / 'talks.cpp',
        *flags.split(), env=environment)
    equal(run(folder / 'talks', env=environment), expected,
          'example by pkg-config')
    shown = run('nm', '-DC', '--defined-only', shared)
    equal([name for name in HIDDEN if re.search(rf'\b{name}\b', shown)], [],
          'internals that the library shows')


def first_page(program, examples, folder):
    """The first page of the manual, with `program` for ./solve."""
    environment = dict(os.environ, LC_ALL='C', PROGRAM=str(program),
                       EXAMPLES=str(examples))
    tempfile.tempdir = str(folder)
    count, failures = docs_test.test_source(
        SOURCE / 'docs/manual/start.adoc', environment, False)
    tempfile.tempdir = None
    equal((count > 0, failures), (True, []), 'the first page')


def of_python(package, folder, unpacked):
    """The Python package solves with the programs of the other one."""
    run('dpkg-deb', '-x', package, folder / 'python')
    equal((folder / 'python/usr/share/doc/python3-wcsp/copyright').exists(), True, 'copyright')
    printed = run('/usr/bin/python3', '-c', 'from wcsp import Model; m = Model(); x = m.variable("x",'
                  ' "ab"); m.add(x == "b"); print(m.solve(time=5, seeds=1)[x])', cwd=folder,
                  env=dict(os.environ, PYTHONPATH=str(folder / 'python/usr/lib/python3/dist-packages'),
                           WCSP=str(unpacked / 'usr/bin/wcsp'), PYTHONDONTWRITEBYTECODE='1'))
    equal(printed, 'b\n', 'the Python package')


def ways_of_python(packages, folder, wcsp):
    """The ways to the Python package that the manual names, as it names them."""
    manual = (SOURCE / 'docs/manual/python.adoc').read_text('utf-8')
    blocks = re.findall(r'^\[source,sh\]\n----\n(.*?)^----$', manual, re.M | re.S)
    installing, in_clone, in_venv = blocks
    clone = folder / 'clone'
    (clone / 'build/package').mkdir(parents=True)
    shutil.copytree(SOURCE / 'python', clone / 'python',
                    ignore=shutil.ignore_patterns('__pycache__', '*.egg-info', 'build'))
    for package in packages:
        shutil.copy(package, clone / 'build/package')
    environment = dict(os.environ, PATH='/usr/bin:/bin', WCSP=str(wcsp), PYTHONDONTWRITEBYTECODE='1',
                       PIP_NO_INDEX='1', PIP_DISABLE_PIP_VERSION_CHECK='1')
    environment.pop('PYTHONPATH', None)
    shown = run('bash', '-ec', installing.replace('install', 'install --simulate', 1), cwd=clone,
                env=environment)
    equal(sorted(set(re.findall(r'^Inst (python3-wcsp|wcsp) ', shown, re.M))),
          ['python3-wcsp', 'wcsp'], 'what apt-get would install')
    solving = ('from wcsp import Model; m = Model(); x = m.variable("x", "ab"); m.add(x == "b"); '
               'print(m.solve(time=5, seeds=1)[x])')
    run('bash', '-ec', in_clone, cwd=clone, env=environment)
    equal(run('python3', '-c', solving, cwd=clone, env=environment | {'PYTHONPATH': 'python'}),
          'b\n', 'the package in a clone')
    run('bash', '-ec', in_venv, cwd=clone, env=environment)
    equal(run(clone / 'venv/bin/python', '-c', solving, cwd=folder, env=environment), 'b\n',
          'the package in a virtual environment')


def in_root(package, root, folder):
    """Through all of dpkg: installed, run and removed without a trace."""
    def listing():
        return [line for line in run('find', 'usr', 'etc', cwd=root).split('\n')
                if '/ld.so.cache' not in line]
    before = listing()
    shutil.copy(package, root / 'tmp/wcsp.deb')
    run('chroot', root, 'dpkg', '-i', '/tmp/wcsp.deb')
    program = folder / 'in_root'
    program.write_text(f'#!/bin/sh\nexec chroot {root} sh -c \'cd "$0" && exec '
                       f'wcsp "$@"\' "${{PWD#{root}}}" "$@"\n', 'utf-8')
    program.chmod(0o755)
    first_page(program, '/usr/share/doc/wcsp/examples', root / 'tmp')
    run('chroot', root, 'dpkg', '--purge', 'wcsp')
    (root / 'tmp/wcsp.deb').unlink()
    equal(listing(), before, 'files after removal')


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument('--root', type=pathlib.Path)
    root = parser.parse_args().root
    os.umask(0o077)
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        prefix, build = folder / 'prefix', folder / 'build'
        environment = os.environ | copies_of_release(folder)
        run('cmake', '--preset', 'package', '-B', build, cwd=SOURCE, env=environment)
        run('cmake', '--build', build, '-j', '2', env=environment)
        run('cmake', '--install', build, '--prefix', prefix)
        version = re.search(r'project\(wcsp VERSION (\S+)', (
            SOURCE / 'CMakeLists.txt').read_text('utf-8'))[1]
        installed(prefix, version)
        library(prefix, folder, version)

        run('cpack', cwd=build)
        package = next(build.glob(f'wcsp_{version}-*.deb'))
        if shutil.which('lintian'):
            print(run('lintian', '--fail-on', 'error', '--allow-root', package))
        unpacked = folder / 'unpacked'
        run('dpkg-deb', '-x', package, unpacked)
        held = run('dpkg-deb', '-c', package).splitlines()
        equal([line for line in held if not re.match('.r..r..r|drwxr-xr-x', line)
               or line[0] == 'd' and line[9] != 'x'], [], 'closed to others')
        documents = ['changelog.Debian.gz', 'copyright', 'README.md']
        if shutil.which('asciidoctor'):
            documents += ['manual.html', 'manual/index.html', '../../man/man1/wcsp.1.gz',
                          '../../man/man1/wcsp-check.1.gz',
                          '../../man/man1/wcsp-show.1.gz', '../../man/man1/wcsp-plot.1.gz',
                          '../../man/man1/wcsp-many.1.gz', '../../man/man1/wcsp-polish.1.gz',
                          '../../man/man5/wcsp-model.5.gz']
        doc = unpacked / 'usr/share/doc/wcsp'
        equal([d for d in documents if not (doc / d).exists()], [], 'missing')
        of_package = next(build.glob(f'python3-wcsp_{version}-*_all.deb'))
        of_python(of_package, folder, unpacked)
        ways_of_python([package, of_package], folder, unpacked / 'usr/bin/wcsp')
        first_page(unpacked / 'usr/bin/wcsp', doc / 'examples', folder)
        if root:
            in_root(package, root.resolve(), folder)


if __name__ == '__main__':
    main()
