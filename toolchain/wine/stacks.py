#!/usr/bin/env python3
"""stacks.py: prints where each thread of the programs in WINEPREFIX is, for a test that stands still.

Nothing is installed for it, so a stack is what looks like one: the words on it that point into the code of a module,
innermost first, as module+offset, without those of the C library. Some are left over from calls that have returned. Only
root, or the user whose system lets processes look at each other, sees stacks; others see states.
"""
import os
import pathlib
import re
import struct

WORDS, SHOWN = 2048, 24
SILENT = ('libc.so.6', 'ld-linux-x86-64.so.2')


def read(path):
    try:
        return path.read_bytes().replace(b'\0', b' ').decode('utf-8', 'replace').strip()
    except OSError as error:
        return f'({error.strerror})'


def code(process):
    """(start, end, name, start of the module) of each range that can run."""
    ranges, first = [], {}
    for line in read(process / 'maps').splitlines():
        found = re.match(r'(\w+)-(\w+) (\S+) \S+ \S+ \S+ *(.*)', line)
        if found:
            start, end, name = int(found[1], 16), int(found[2], 16), os.path.basename(found[4])
            first.setdefault(name, start)
            if 'x' in found[3]:
                ranges.append((start, end, name or 'code', first[name] if name else start))
    return ranges


def named(address, ranges):
    for start, end, name, module in ranges:
        if start <= address < end:
            return None if name in SILENT else f'{name}+{address - module:x}'
    return None


def words(thread, address):
    try:
        with open(thread / 'mem', 'rb') as memory:
            memory.seek(address)
            data = memory.read1(WORDS * 8)
        return struct.unpack(f'<{len(data) // 8}Q', data[:len(data) // 8 * 8])
    except (OSError, OverflowError, ValueError):
        return ()


def stack(thread, ranges):
    registers = re.search(r' 0x(\w+) 0x(\w+)$', read(thread / 'syscall'))
    if not registers:  # it runs, or has ended
        return []
    top, current = (int(each, 16) for each in registers.groups())
    content = words(thread, top)
    places = [named(word, ranges) for word in (current, *content)]
    outer = []
    # Wine's system calls have a stack of their own. It begins with the caller's registers: rip, cs, eflags, rsp.
    for place, pointer in zip(places, content[2:]):
        if place and place.startswith(('ntdll.dll', 'win32u.dll')):
            outer = [named(word, ranges) for word in words(thread, pointer)]
            if any(outer):
                break
    return shown(places)[:10 if any(outer) else SHOWN] + shown(outer)[:SHOWN]


def threads(process):
    try:
        return [process / 'task' / name for name in sorted(os.listdir(process / 'task'), key=int)]
    except OSError:  # it has ended
        return []


def shown(places):
    return list(dict.fromkeys(place for place in places if place))


def main():
    prefix = f'WINEPREFIX={os.environ["WINEPREFIX"]}'.encode()
    for process in sorted(pathlib.Path('/proc').glob('[0-9]*'), key=lambda path: int(path.name)):
        try:
            if prefix not in (process / 'environ').read_bytes().split(b'\0'):
                continue
        except OSError:
            continue
        command, ranges = read(process / 'cmdline'), code(process)
        if command.startswith('C:\\windows\\system32\\') or not any(name == 'ntdll.dll' for _, _, name, _ in ranges):
            continue  # one of Wine's own programs, or a script
        print(f'{process.name}: {command[-300:]}')
        for thread in threads(process):
            state = re.search(r'^State:\s+(\S)', read(thread / 'status'), re.M)
            print(f'  {thread.name} {read(thread / "comm")} {state[1] if state else "?"} {read(thread / "wchan")}: '
                  f'{" ".join(stack(thread, ranges))}')


if __name__ == '__main__':
    main()
