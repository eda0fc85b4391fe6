"""The C++ on the pages, compiled as if a reader had typed it into a copy of the tree.

A block belongs to the first file that the paragraph before it names, or to the file of the block directly before it.
If there is no such file yet, the block is the whole file. Otherwise it goes after the last line that begins in the same
way, or, if it is a function, to the end of the namespace. A block without a file is the body of a function that sees
all components.

On a page that makes a file, every path must be in the tree, or belong to that example and lie in a folder of the tree.
"""
import concurrent.futures
import json
import pathlib
import re
import shlex
import shutil
import subprocess

BLOCK = re.compile(r'^```(\w+)\n(.*?)^```$', re.M | re.S)
SOURCE = re.compile(r'`(src_native/[\w./-]+)`')
PATH = re.compile(r'`([\w.-]+/[\w./-]*|[\w-]+\.(?:cpp|h|d\.ts|md|mjs|txt))`')
BODY = '''#include "bridge/components.h"

namespace zeb {{
using namespace common;
void onPage() {{
{}}}
}}  // namespace zeb
'''


def merged(text, block):
    """`text` with the block in it, or None if nothing in it looks like the block."""
    lines = text.splitlines(keepends=True)
    start = re.match(r'#include ("\w+/|<)|\s+(///|\w+)|', block)[0] or '}  // namespace'
    like = [number for number, line in enumerate(lines) if line.startswith(start)]
    if not like:
        return None
    at = like[-1] + (not start.endswith(('///', 'namespace')))  # a comment and what it explains stay together
    return ''.join([*lines[:at], block, *lines[at:]])


def typed(root, page, text):
    """({file: content} after a reader has done what the page says, the new ones among them, errors)."""
    files, new, errors, name, end = {}, set(), [], None, 0
    for block in BLOCK.finditer(text):
        before, end = text[end:block.start()].strip(), block.end()
        if before:
            named = SOURCE.search(before.split('\n\n')[-1])
            name = named and named[1]
        if block[1] not in ('cpp', 'cmake'):
            continue
        where = f'{page}:{text.count(chr(10), 0, block.start()) + 2}'
        if name is None:
            indented = re.sub(r'^(?=.)', '    ', block[2], flags=re.M)
            files[f'line-{where.split(":")[1]}.cpp'] = BODY.format(indented)
        elif name in files or (root / name).exists():
            content = merged(files.get(name) or (root / name).read_text(encoding='utf-8'), block[2])
            if content is None:
                errors.append(f'{where}: {name} has no line that begins like this')
            files[name] = content or files.get(name, '')
        elif '}  // namespace' in block[2]:
            new.add(name)
            files[name] = block[2]
        else:
            errors.append(f'{where}: {name} is not in the tree, and this is no whole file')
    return files, new, errors


def path_errors(root, page, text, new, tracked):
    examples = {pathlib.Path(name).stem for name in new}
    for found in PATH.finditer(text) if new else ():
        path = pathlib.Path(found[1])
        in_tree = (root / path).exists() or any(name.endswith(f'/{path}') for name in tracked)
        if not in_tree and not (path.name.split('.')[0] in examples and (root / path.parent).is_dir()):
            yield f'{page}:{text.count(chr(10), 0, found.start()) + 1}: {path} is not in the tree'


def compile_command(build):
    """That of a component, without its output and its source."""
    entries = json.loads((build / 'compile_commands.json').read_text())
    command = next(each['command'] for each in entries if each['file'].endswith('bridge/diagnostics_component.cpp'))
    return shlex.split(command.split(' -o ')[0])


def check(root, llvm, build, cache, tracked, parallel):
    scratch, errors, jobs = build / 'pages', [], []
    shutil.rmtree(scratch, ignore_errors=True)
    compiler, *flags = compile_command(build)
    launcher = ['env', f'CCACHE_DIR={cache}', 'ccache'] if shutil.which('ccache') else []
    for page in (name for name in tracked if name.endswith('.md')):
        text = (root / page).read_text(encoding='utf-8')
        files, new, wrong = typed(root, page, text)
        errors += [*wrong, *path_errors(root, page, text, new, tracked)]
        include = scratch / page / 'src_native'
        for name, content in files.items():
            path = scratch / page / name
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(content, encoding='utf-8')
            if path.suffix not in ('.h', '.cpp'):
                continue
            jobs.append([f'clang-format-{llvm}', '--dry-run', '-Werror', f'--style=file:{root}/.clang-format', path])
            if path.suffix == '.h' and f'{name[:-2]}.cpp' in files:  # which includes it first
                continue
            if path.suffix == '.h':
                path = path.with_suffix('.h.cpp')
                path.write_text(f'#include "{name.removeprefix("src_native/")}"\n', encoding='utf-8')
            jobs.append([*launcher, compiler, f'-I{include}', *flags, '-c', path, '-o', path.with_suffix('.o')])
    with concurrent.futures.ThreadPoolExecutor(parallel) as pool:
        for done in pool.map(lambda job: subprocess.run(job, cwd=scratch, capture_output=True, text=True), jobs):
            if done.returncode:
                errors += done.stderr.replace(f'{scratch}/', '').replace(f'{root}/', '').splitlines()
    return errors
