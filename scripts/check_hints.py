#!/usr/bin/env python3
"""check_hints.py: fails when a comment or a document names a file that is not there."""
import os
import re
import subprocess
import sys

COMMENT = re.compile(r'//[^\n]*|/\*.*?\*/', re.DOTALL)
# `name.{h,cc}` stands for both.
NAME = re.compile(r'(?<![\w.<"/*-])((?:[\w-]+/)*[\w-]+)\.(\{[\w,]+\}|cc|h|c|sh|py|md|cmake)(?!\w|\.\w)')


def names(text):
    for stem, ending in NAME.findall(text):
        for one in ending.strip('{}').split(','):
            yield f'{stem}.{one}'


def main():
    os.chdir(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
    listed = subprocess.run(['git', 'ls-files'], check=True, capture_output=True, text=True).stdout
    files = [path for path in listed.splitlines() if os.path.exists(path)]
    # A hint may leave out the folders before the last ones.
    ends = {'/'.join(path.split('/')[at:]) for path in files for at in range(path.count('/') + 1)}
    faults = []
    for path in files:
        if not path.endswith(('.cc', '.h', '.c', '.md')):
            continue
        with open(path, encoding='utf-8') as file:
            text = file.read()
        if not path.endswith('.md'):
            text = '\n'.join(COMMENT.findall(text))
        faults += [f'{path} names {name}, which is not there' for name in names(text) if name not in ends]
    print('\n'.join(faults), end='\n' if faults else '')
    sys.exit(1 if faults else 0)


if __name__ == '__main__':
    main()
