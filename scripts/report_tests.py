#!/usr/bin/env python3
"""report_tests.py LOG: prints what failed in ctest's log, and how many single tests passed.

LOG is Testing/Temporary/LastTest.log of a build tree. A test that began and never ended, as its
process died, has failed.
"""
import re
import sys

BLOCK = re.compile(r'^\d+/\d+ Testing: (.+)$', re.MULTILINE)
BEGIN = re.compile(r'\[ RUN      \] (\S+)')
COUNT = re.compile(r'^[#ℹ] (pass|skipped) (\d+)$', re.MULTILINE)
END = re.compile(r'\[(       OK |  FAILED  |  SKIPPED )\] ([^\s,]+)')


class Report:
    def __init__(self):
        self.passed = self.failed = self.skipped = 0

    def fail(self, name, lines):
        self.failed += 1
        print(f'--- {name} failed')
        print('\n'.join(lines))

    def program(self, name, output, succeeded):
        """Counts the single tests of a GoogleTest program."""
        failed_before, current, lines = self.failed, None, []
        for line in output.splitlines():
            begin, end = BEGIN.search(line), END.search(line)
            if begin:
                current, lines = begin.group(1), []
            elif end and end.group(2) == current:
                if 'OK' in end.group(1):
                    self.passed += 1
                elif 'SKIPPED' in end.group(1):
                    self.skipped += 1
                else:
                    self.fail(current, lines)
                current, lines = None, []
            else:
                lines.append(line)
        if current:
            self.fail(current, lines + ['The program ended in this test.'])
        elif not succeeded and self.failed == failed_before:
            self.fail(name, lines)

    def block(self, name, text):
        output = text.partition('\nOutput:\n')[2].partition('\n<end of output>')[0]
        succeeded = '\nTest Passed.' in text
        if BEGIN.search(output):
            self.program(name, output, succeeded)
        elif succeeded:
            self.passed += 1
            for what, count in COUNT.findall(output):
                if what == 'pass':
                    self.passed += int(count)
                else:
                    self.skipped += int(count)
        else:
            self.fail(name, output.splitlines())


def main():
    with open(sys.argv[1], encoding='utf-8', errors='replace') as file:
        parts = BLOCK.split(file.read())
    report = Report()
    for name, text in zip(parts[1::2], parts[2::2]):
        report.block(name, text)
    print(f'{report.passed} passed, {report.failed} failed, {report.skipped} skipped')


main()
