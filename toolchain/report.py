#!/usr/bin/env python3
"""report.py BUILD_FOLDER TOTALS: counts the cases of the last ctest run in BUILD_FOLDER and appends one line to TOTALS for
each runtime that ran some: "passed failed skipped WHAT".

BUILD_FOLDER/ctest.xml has one entry per test program. If BUILD_FOLDER/results/NAME.xml exists, it has the program's own
cases, and these count instead. A program that failed without naming a case (a crash, a time-out, a failure after the last
case) counts as one more failure.
"""
import collections
import json
import pathlib
import re
import subprocess
import sys
import xml.etree.ElementTree as ElementTree


def cases(path):
    passed = failed = skipped = 0
    try:
        root = ElementTree.parse(path).getroot()
    except (OSError, ElementTree.ParseError):
        return 0, 0, 0
    for case in root.iter('testcase'):
        if case.find('failure') is not None or case.find('error') is not None:
            failed += 1
        elif case.find('skipped') is not None or case.get('status') in ('notrun', 'disabled'):
            skipped += 1
        else:
            passed += 1
    return passed, failed, skipped


def labels(build):
    """The labels that CMake gave each test program."""
    listing = subprocess.run(['ctest', '--test-dir', str(build), '--show-only=json-v1'], check=True, capture_output=True)
    return {test['name']: next((entry['value'] for entry in test['properties'] if entry['name'] == 'LABELS'), [])
            for test in json.loads(listing.stdout)['tests']}


def runner(marks, build):
    """What runs a test program, according to its labels: a release of Node.js, or the system itself."""
    for mark in marks:
        if mark == 'linux-engine':
            return "Linux engine with the product's flags"
        found = re.fullmatch(r'(windows|linux)-node-(\d+)', mark)
        if found:
            return f'{found.group(1).capitalize()} Node.js {found.group(2)}'
    if 'package' in marks:
        return 'checks of the package'
    return 'Windows programs' if build.name.startswith('windows') else 'Linux programs'


def main():
    build, totals = pathlib.Path(sys.argv[1]), sys.argv[2]
    sums = collections.defaultdict(lambda: [0, 0, 0])
    marks = labels(build)
    for program in ElementTree.parse(build / 'ctest.xml').getroot().iter('testcase'):
        status = program.get('status')
        counts = list(cases(build / 'results' / (program.get('name') + '.xml')))
        if status == 'run' and not any(counts):
            counts[0] = 1
        elif status == 'fail' and counts[1] == 0:
            counts[1] = 1
        elif status in ('notrun', 'disabled'):
            counts[2 if status == 'disabled' else 1] += 1
        what = runner(marks.get(program.get('name'), []), build)
        sums[what] = [total + count for total, count in zip(sums[what], counts)]
    with open(totals, 'a', encoding='ascii') as out:
        for what, counts in sums.items():
            print(*counts, what, file=out)


if __name__ == '__main__':
    main()
