#!/usr/bin/env python3
"""Make a short-form import library (OUT.lib), from another import library or from an image's export table.

    make_import_library.py LLVM_LIB OUT.lib libfoo.a      mingw-w64's import library, which may name several DLLs
    make_import_library.py LLVM_LIB OUT.lib program.exe   the exports of a program
    make_import_library.py LLVM_LIB OUT.lib runtime.lib   a runtime's own import library, short-form too

mingw-w64's own import libraries are not linked: theirs are long-form objects, so that unused imports stay in the
product, and they bring in helpers compiled for another ABI without control-flow-guard marks.
"""
import pathlib
import struct
import subprocess
import sys
import tempfile

# The C runtime exports these, but mingw-w64 hides them behind functions of its own.
MISSING_FROM_MINGW = {'ucrtbase.dll': ['strtold', 'wcstold']}

# V8 takes spans of std::string_view. Microsoft's library and libc++ give it the same layout but different mangled
# names, because libc++'s is in an inline namespace. Such exports get a second name. Only these do: other types of the
# standard library differ in layout, so for them a missing name, and with it a link error, is right.
MICROSOFT_VIEW = '?$MemorySpan@$$CBV?$basic_string_view@DU?$char_traits@D@std@@@std@@@'
LIBCXX_VIEW = '?$MemorySpan@$$CBV?$basic_string_view@DU?$char_traits@D@__1@std@@@__1@std@@@'


def c_string(data, offset):
    return data[offset:data.index(b'\0', offset)].decode()


def archive_members(data):
    position = 8
    while position + 60 <= len(data):
        size = int(data[position + 48:position + 58])
        yield data[position + 60:position + 60 + size]
        position += 60 + size + (size & 1)


class CoffObject:
    """Section contents by name, and the names of defined and undefined symbols."""

    def __init__(self, data):
        section_count, _, symbols, symbol_count, optional = struct.unpack_from('<HIIIH', data, 2)
        self.sections, self.defined, self.undefined = {}, [], []
        for i in range(section_count):
            header = 20 + optional + 40 * i
            size, start = struct.unpack_from('<II', data, header + 16)
            name = data[header:header + 8].rstrip(b'\0').decode()
            self.sections[name] = data[start:start + size] if start else b''
        strings, i = symbols + 18 * symbol_count, 0
        while i < symbol_count:
            entry = data[symbols + 18 * i:symbols + 18 * i + 18]
            if entry[:4] == b'\0\0\0\0':
                name = c_string(data, strings + struct.unpack_from('<I', entry, 4)[0])
            else:
                name = entry[:8].rstrip(b'\0').decode()
            (self.defined if struct.unpack_from('<h', entry, 12)[0] > 0 else self.undefined).append(name)
            i += 1 + entry[17]


def mingw_exports(path):
    """{dll: {symbol: (exported name, is code)}} of a long-form import library."""
    dll_of_head, symbols_of_head = {}, {}
    for member in archive_members(path.read_bytes()):
        if len(member) < 20 or struct.unpack_from('<H', member)[0] != 0x8664:
            continue
        obj = CoffObject(member)
        for name in obj.defined:
            if name.endswith('_iname'):  # the member that holds the DLL's name
                dll_of_head[name[:-6].lstrip('_')] = c_string(obj.sections['.idata$7'], 0)
        if obj.sections.get('.idata$6'):  # a member that imports one symbol
            head = next(n for n in obj.undefined if n.startswith('_head_'))[6:].lstrip('_')
            exported, is_code = c_string(obj.sections['.idata$6'], 2), bool(obj.sections.get('.text'))
            for name in obj.defined:
                if name.startswith('__imp_'):
                    symbols_of_head.setdefault(head, {})[name[6:]] = (exported, is_code)
    exports = {}
    for head, symbols in symbols_of_head.items():
        dll = dll_of_head[head]
        if dll == 'ucrtbase.dll':  # it exports no data: mingw-w64 writes DATA for functions that it defines itself
            symbols = {name: (exported, True) for name, (exported, _) in symbols.items()}
        symbols.update({name: (name, True) for name in MISSING_FROM_MINGW.get(dll, [])})
        exports[dll] = symbols
    return exports


def with_views(symbols):
    views = {name.replace(MICROSOFT_VIEW, LIBCXX_VIEW): entry for name, entry in symbols.items() if MICROSOFT_VIEW in name}
    return {**symbols, **views}


def image_exports(path):
    """The same for an image's export table. Forwarders are left out; code is what lies in an executable section."""
    data = path.read_bytes()
    pe = struct.unpack_from('<I', data, 0x3C)[0]
    section_count, = struct.unpack_from('<H', data, pe + 6)
    optional_size, = struct.unpack_from('<H', data, pe + 20)
    table_rva, table_size = struct.unpack_from('<II', data, pe + 24 + 112)
    sections = [struct.unpack_from('<8sIIIIIIHHI', data, pe + 24 + optional_size + 40 * i)
                for i in range(section_count)]

    def section_of(rva):
        return next(s for s in sections if s[2] <= rva < s[2] + max(s[1], s[3]))

    def offset(rva):
        section = section_of(rva)
        return rva - section[2] + section[4]

    _, name_count, functions, names, ordinals = struct.unpack_from('<IIIII', data, offset(table_rva) + 20)
    symbols = {}
    for i in range(name_count):
        name = c_string(data, offset(struct.unpack_from('<I', data, offset(names) + 4 * i)[0]))
        ordinal, = struct.unpack_from('<H', data, offset(ordinals) + 2 * i)
        rva, = struct.unpack_from('<I', data, offset(functions) + 4 * ordinal)
        if not table_rva <= rva < table_rva + table_size:
            symbols[name] = (name, bool(section_of(rva)[9] & 0x20000000))
    return {path.name: with_views(symbols)}


def library_exports(path):
    """The same for a runtime's import library. Whatever it calls the program, modules call their host node.exe."""
    symbols = {}
    for member in archive_members(path.read_bytes()):
        if member[:4] == b'\0\0\xff\xff' and struct.unpack_from('<H', member, 6)[0] == 0x8664:
            kind, = struct.unpack_from('<H', member, 18)
            if kind >> 2 & 7 == 1:  # imported by name
                name = c_string(member, 20)
                symbols[name] = (name, kind & 3 == 0)
    if not symbols:
        sys.exit(f'{path} is no import library for x86-64')
    return {'node.exe': with_views(symbols)}


def definition(dll, symbols):
    lines = [f'LIBRARY {dll}', 'EXPORTS']
    for name, (exported, is_code) in sorted(symbols.items()):
        alias = f' == "{exported}"' if name != exported else ''
        lines.append(f'  "{name}"{alias}' + ('' if is_code else ' DATA'))
    return '\n'.join(lines) + '\n'


def main():
    llvm_lib, out, source = sys.argv[1], pathlib.Path(sys.argv[2]), pathlib.Path(sys.argv[3])
    read = {'.a': mingw_exports, '.lib': library_exports}.get(source.suffix, image_exports)
    exports = read(source)
    with tempfile.TemporaryDirectory() as folder:
        parts = []
        for dll, symbols in sorted(exports.items()):
            def_file = pathlib.Path(folder, dll + '.def')
            def_file.write_text(definition(dll, symbols))
            parts.append(f'{def_file}.lib')
            subprocess.run([llvm_lib, '/nologo', '/machine:x64', f'/def:{def_file}', f'/out:{parts[-1]}'], check=True)
        subprocess.run([llvm_lib, '/nologo', f'/out:{out}', *parts], check=True)


if __name__ == '__main__':
    main()
