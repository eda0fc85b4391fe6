#!/usr/bin/env python3
"""report.py BUILD_FOLDER TOTALS: counts the cases of the last ctest run there, appends "passed failed skipped" to TOTALS.

BUILD_FOLDER/ctest.xml has one entry per test program; BUILD_FOLDER/results/NAME.xml, where there is one, has the
program's own cases and then counts instead. A program that failed without saying which case (a crash, a time-out, a
failure after the last case) counts as one more failure.
"""
import pathlib
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


def main():
    build, totals = pathlib.Path(sys.argv[1]), sys.argv[2]
    sums = [0, 0, 0]
    for program in ElementTree.parse(build / 'ctest.xml').getroot().iter('testcase'):
        status = program.get('status')
        counts = list(cases(build / 'results' / (program.get('name') + '.xml')))
        if status == 'run' and not any(counts):
            counts[0] = 1
        elif status == 'fail' and counts[1] == 0:
            counts[1] = 1
        elif status in ('notrun', 'disabled'):
            counts[2 if status == 'disabled' else 1] += 1
        sums = [total + count for total, count in zip(sums, counts)]
    with open(totals, 'a', encoding='ascii') as out:
        print(*sums, file=out)


if __name__ == '__main__':
    main()
