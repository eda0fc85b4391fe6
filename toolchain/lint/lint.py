#!/usr/bin/env python3
"""lint.py LLVM_VERSION TOOLS MODULE CACHE TOTALS BUILD_FOLDER...: the static checks of `./zeb test lint`.

  format     C++ sources are formatted as clang-format does it
  layers     includes point one way: utils, com, v8binding, bridge, platform; engine and system headers stay in their layers
  scripts    JavaScript and TypeScript are formatted, and the linter finds nothing; see biome.json
  snippets   the same for the scripts on the pages and in the examples of the types
  guides     the C++ on the pages compiles and is formatted; the guides' paths fit the tree; see guides.py
  shell      shellcheck finds nothing; see .shellcheckrc
  catches    exceptions of the standard library are caught by reference
  words      no paths of one machine, no address of a package registry, nothing that only its authors understand
  tidy       clang-tidy over the product, the projection's headers in it, the start-up code, the stand-ins and the add-ons
             for tests, each as the first build that has it compiles it and with the nearest .clang-tidy, without what
             own_code.cpp, the MODULE, keeps them out of; results are kept in CACHE

Each check is one case; "passed failed skipped" is appended to TOTALS.
"""
import concurrent.futures
import hashlib
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

import guides

ROOT = pathlib.Path(__file__).resolve().parents[2]
JOBS = int(os.environ.get('ZEB_JOBS') or os.cpu_count())


def tracked(*suffixes):
    """The checkout's files, including new ones that are not added yet."""
    listing = subprocess.run(['git', 'ls-files', '-z', '--cached', '--others', '--exclude-standard'], cwd=ROOT,
                             check=True, capture_output=True, text=True).stdout
    names = {name for name in listing.split('\0') if name and (not suffixes or name.endswith(suffixes))}
    return sorted(name for name in names if (ROOT / name).is_file())


def check_format(llvm):
    files = tracked('.cpp', '.h')
    done = subprocess.run([f'clang-format-{llvm}', '--dry-run', '-Werror', *files], cwd=ROOT, capture_output=True,
                          text=True)
    if done.returncode == 0:
        return []
    wrong = sorted(set(re.findall(r'^([^\s:]+):\d+:\d+: error', done.stderr, re.M)))
    return [f'{name}: not formatted' for name in wrong] + ['to fix: ./zeb format']


def run_biome(tools, folder, *options):
    biome = tools / 'node_modules/@biomejs/cli-linux-x64/biome'
    done = subprocess.run([biome, 'ci', '--error-on-warnings', '--colors=off', '--max-diagnostics=50', *options],
                          cwd=folder, capture_output=True, text=True)
    return (done.stdout + done.stderr).splitlines() if done.returncode else []


def check_scripts(tools):
    errors = run_biome(tools, ROOT)
    return errors and errors + ['to fix: ./zeb format']


SCRIPT_ON_PAGE = re.compile(r'^```([jt]s)\n(.*?)^```$', re.M | re.S)
EXAMPLE_IN_TYPES = re.compile(r'^ *\* @(example)\n(.*?)^ *\*/', re.M | re.S)


def snippets():
    """(name, text) of each script on a page or in the types. The name tells where it starts."""
    for name in tracked('.md', '.d.ts'):
        text = (ROOT / name).read_text(encoding='utf-8')
        for found in (SCRIPT_ON_PAGE if name.endswith('.md') else EXAMPLE_IN_TYPES).finditer(text):
            kind, script = found.groups()
            if kind == 'example':
                script = re.sub(r'^ *\* ?', '', script, flags=re.M)
            line = text.count('\n', 0, found.start()) + 2
            yield f'{name}/line-{line}.{"ts" if kind == "ts" else "js"}', script


def check_snippets(tools):
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        shutil.copy(ROOT / 'biome.json', folder)
        for path, script in snippets():
            (folder / path).parent.mkdir(parents=True, exist_ok=True)
            (folder / path).write_text(script, encoding='utf-8')
        # No checkout; and what a script defines, its reader uses.
        return run_biome(tools, folder, '--vcs-enabled=false', '--skip=correctness/noUnusedVariables')


def check_shell():
    files = [name for name in tracked() if name.endswith('.sh') or
             re.match(rb'#!.*\b(ba)?sh\b', (ROOT / name).open('rb').readline())]
    done = subprocess.run(['shellcheck', '--format=gcc', *files], cwd=ROOT, capture_output=True, text=True)
    return done.stdout.splitlines()


# Who may include whom. The layer of a file is the longest key that its path starts with.
LAYERS = {
    'src_native/common/utils/': ['common/utils/'],
    'src_native/common/include/common/com/': ['common/utils/', 'common/com/'],
    'src_native/common/com/': ['common/utils/', 'common/com/'],
    'src_native/common/include/common/v8binding/': ['common/utils/', 'common/com/', 'common/v8binding/'],
    'src_native/common/v8binding/': ['common/utils/', 'common/com/', 'common/v8binding/'],
    'src_native/common/platform/': ['common/utils/', 'common/com/', 'common/platform/'],
    'src_native/bridge/': ['common/utils/', 'common/com/', 'common/v8binding/', 'bridge/'],
    'src_native/bridge/platform/': ['common/', 'bridge/'],
}
ENGINE_LAYERS = ('src_native/common/include/common/v8binding/', 'src_native/common/v8binding/', 'src_native/bridge/')
ENGINE_HEADER = re.compile(r'(v8[\w-]*|node\w*|uv)\.h')
PLATFORM_TEST = re.compile(r'^\s*#\s*(el)?if.*\b(_WIN32|_WIN64|WIN32|_MSC_VER|__linux__|__MINGW32__)\b')


def layer_errors(name, lines):
    layer = max((key for key in LAYERS if name.startswith(key)), key=len, default=None)
    if layer is None:
        return
    in_platform = '/platform/' in name
    for number, line in enumerate(lines, 1):
        where = f'{name}:{number}'
        if not in_platform and PLATFORM_TEST.match(line):
            yield f'{where}: portable files do not ask for the platform; put the difference under platform/'
        include = re.match(r'\s*#\s*include\s*([<"])([^>"]+)[>"]', line)
        if not include:
            continue
        kind, header = include.groups()
        if kind == '"':
            if not header.startswith(tuple(LAYERS[layer])):
                yield f'{where}: {layer} may not include "{header}"'
            elif not in_platform and '/platform/' in header:
                yield f'{where}: portable files do not include "{header}"'
        elif ENGINE_HEADER.fullmatch(header):
            if not name.startswith(ENGINE_LAYERS):
                yield f'{where}: only the binding layer and the bridge know the engine: <{header}>'
        elif not in_platform and (header.endswith('.h') or header.startswith('winrt/')):
            yield f'{where}: system headers belong under platform/: <{header}>'


def check_layers():
    errors = []
    for name in tracked('.cpp', '.h'):
        errors += layer_errors(name, (ROOT / name).read_text(encoding='utf-8').splitlines())
    return errors


# std::bad_cast, std::bad_typeid and std::bad_exception may come from the C runtime, whose objects have another layout
# than the C++ library's. A reference finds what() in both; a copy would follow the wrong one's rules.
CAUGHT_BY_VALUE = re.compile(r'\bcatch\s*\(\s*(const\s+)?std::\w+(\s+const)?\s*\w*\s*\)')


def check_catches():
    errors = []
    for name in tracked('.cpp', '.h'):
        for number, line in enumerate((ROOT / name).read_text(encoding='utf-8').splitlines(), 1):
            if CAUGHT_BY_VALUE.search(line):
                errors.append(f'{name}:{number}: catch it by reference')
    return errors


# Written so that this file does not match.
FORBIDDEN = [
    (re.compile(r'\b[s]pec(ification)?s?\.md\b|\bthe [s]pec(ification)?\b|\b[P]arts? \d+\.\d+|\b[s]eed document', re.I),
     'explain why, without naming papers that readers do not have'),
    (re.compile(r'/w[o]rk/|/f[a]rm/|/r[o]ot/|/h[o]me/\w+/'), 'a path of one machine'),
    (re.compile(r'https?://[^ "]*(n[p]m|d[e]bian)', re.I), "a package registry's address"),
]


def check_words():
    errors = []
    for name in tracked():
        data = (ROOT / name).read_bytes()
        if b'\0' in data or '/corpus/' in name:
            continue
        for number, line in enumerate(data.decode('utf-8', 'replace').splitlines(), 1):
            errors += [f'{name}:{number}: {why}' for pattern, why in FORBIDDEN if pattern.search(line)]
    return errors


TIDY = [ROOT / folder for folder in ('src_native', 'tests/standins', 'toolchain/sysroot/runtime')]


def tidy_jobs(build):
    """(source, entry) of every compile command for a source of ours."""
    for entry in json.loads((build / 'compile_commands.json').read_text()):
        source = pathlib.Path(entry['directory'], entry['file']).resolve()
        if any(folder in source.parents for folder in TIDY) and not source.name.endswith('.test.cpp'):
            yield source, entry


def dependencies(build):
    """{source: the checkout's files that it is compiled from}, according to the last build."""
    listing = subprocess.run(['ninja', '-C', str(build), '-t', 'deps'], capture_output=True, text=True)
    result = {}
    for block in listing.stdout.split('\n\n'):
        # Most of these many lines are the engine's and the library's headers, so paths stay text until they are ours.
        paths = (os.path.normpath(os.path.join(build, line.strip())) for line in block.splitlines()[1:])
        own = [pathlib.Path(path) for path in paths if path.startswith(f'{ROOT}/')]
        if own:
            result[own[0]] = own
    return result


# clang-tidy takes this for the name of an output and removes it, so that -Xclang stands before something else.
OBJECT_NAME = re.compile(r'-Xclang -object-file-name=\S+ ')


def run_tidy(llvm, module, entry, source):
    # A database of its own for each, because clang-tidy runs over a source as often as it finds a command for it.
    with tempfile.TemporaryDirectory() as folder:
        entry = {**entry, 'command': OBJECT_NAME.sub('', entry['command'])}
        pathlib.Path(folder, 'compile_commands.json').write_text(json.dumps([entry]), encoding='utf-8')
        done = subprocess.run([f'clang-tidy-{llvm}', '--quiet', '--load', str(module), '--checks=zeb-own-code', '-p', folder,
                               str(source)], capture_output=True, text=True)
    return done.stdout.strip() or done.stderr.strip() or f'{source}: ended with {done.returncode}' if done.returncode else ''


# The module must not hide what is ours.
CANARY = {'own.h': 'inline int* first() { return 0; }\n', 'own.cpp': '#include "own.h"\nint* second() { return 0; }\n'}


def check_module(llvm, module):
    with tempfile.TemporaryDirectory() as folder:
        for name, text in CANARY.items():
            pathlib.Path(folder, name).write_text(text, encoding='ascii')
        done = subprocess.run([f'clang-tidy-{llvm}', '--quiet', '--load', str(module),
                               '--checks=-*,modernize-use-nullptr,zeb-own-code', '--header-filter=own', f'{folder}/own.cpp', '--'],
                              capture_output=True, text=True)
    return [f'clang-tidy does not see what is wrong in {name}' for name in CANARY
            if not re.search(rf'/{re.escape(name)}:\d+:\d+: warning: use nullptr', done.stdout)]


def check_tidy(llvm, module, builds, cache):
    cache.mkdir(parents=True, exist_ok=True)
    version = subprocess.run([f'clang-tidy-{llvm}', '--version'], check=True, capture_output=True).stdout
    version += (ROOT / 'toolchain/lint/own_code.cpp').read_bytes()
    todo, seen = {}, set()
    for build in builds:
        used = dependencies(build)
        for source, entry in tidy_jobs(build):
            if source in seen:
                continue
            seen.add(source)
            digest = hashlib.sha256(version)
            for folder in source.parents:
                if ROOT in (folder, *folder.parents) and (folder / '.clang-tidy').exists():
                    digest.update((folder / '.clang-tidy').read_bytes())
            digest.update(entry['command'].replace(str(build), '').replace(str(ROOT), '').encode())
            for path in used.get(source) or sorted(filter(pathlib.Path.is_file, source.parent.iterdir())):
                digest.update(path.read_bytes())
            stamp = cache / digest.hexdigest()
            if not stamp.exists():
                todo[source] = (entry, stamp)
    if not todo:
        return []
    print(f'clang-tidy: {len(todo)} of {len(seen)} sources are new or changed')
    errors = check_module(llvm, module)
    with concurrent.futures.ThreadPoolExecutor(JOBS) as pool:
        results = zip(todo, pool.map(lambda path: run_tidy(llvm, module, todo[path][0], path), todo))
        for number, (source, output) in enumerate(results, 1):
            if sys.stdout.isatty():
                print(f'\r\033[Kclang-tidy: {number} of {len(todo)}', end='' if number < len(todo) else '\n', flush=True)
            if output:
                errors.append(output.replace(f'{ROOT}/', ''))
            else:
                todo[source][1].touch()
    return errors


def main():
    llvm = sys.argv[1]
    tools, module, cache, totals, *builds = map(pathlib.Path, sys.argv[2:])
    checks = {
        'format': lambda: check_format(llvm),
        'layers': check_layers,
        'scripts': lambda: check_scripts(tools),
        'snippets': lambda: check_snippets(tools),
        'guides': lambda: guides.check(ROOT, llvm, builds[0], cache.parent / 'objects', tracked(), JOBS),
        'shell': check_shell,
        'catches': check_catches,
        'words': check_words,
        'tidy': lambda: check_tidy(llvm, module, builds, cache),
    }
    failed = 0
    with concurrent.futures.ThreadPoolExecutor(JOBS) as pool:
        for name, errors in zip(checks, pool.map(lambda check: check(), checks.values())):
            failed += bool(errors)
            print(f'{name}: {"failed" if errors else "passed"}')
            print(''.join(f'  {error}\n' for error in errors), end='', flush=True)
    with open(totals, 'a', encoding='ascii') as out:
        print(len(checks) - failed, failed, 0, 'static checks', file=out)
    sys.exit(bool(failed))


if __name__ == '__main__':
    main()
