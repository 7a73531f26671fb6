#!/usr/bin/env python3
"""check_rooms.py: fails when folders include one another in a ring, or hold too much.

Product code alone has arrows: tests and what they share may include everything.
"""
import collections
import os
import re
import subprocess
import sys

FILES_A_FOLDER = 40
LINES_A_FILE = 350
INCLUDE = re.compile(r'^\s*#\s*include\s*"([^"]+)"', re.MULTILINE)


def is_test(path):
    return path.endswith('_test.cc') or path.startswith(('testing/', 'tests/'))


def arrows(files):
    """Folder to folder, with one include that makes the arrow."""
    known = set(files)
    found = collections.defaultdict(dict)
    for path in files:
        if is_test(path) or not path.endswith(('.cc', '.h', '.c')):
            continue
        folder = os.path.dirname(path)
        with open(path, encoding='utf-8') as file:
            for included in INCLUDE.findall(file.read()):
                target = os.path.dirname(included)
                if included in known and target != folder:
                    found[folder].setdefault(target, f'{path} includes {included}')
    return found


def ring(found):
    """The folders of one ring, or none."""
    done = set()

    def search(folder, way):
        if folder in way:
            return way[way.index(folder):] + [folder]
        if folder not in done:
            done.add(folder)
            for target in sorted(found[folder]):
                folders = search(target, way + [folder])
                if folders:
                    return folders
        return None

    for folder in sorted(found):
        folders = search(folder, [])
        if folders:
            return folders
    return []


def main():
    os.chdir(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
    listed = subprocess.run(['git', 'ls-files'], check=True, capture_output=True, text=True).stdout
    files = [path for path in listed.splitlines() if os.path.exists(path)]
    faults = []

    found = arrows(files)
    folders = ring(found)
    for folder, target in zip(folders, folders[1:]):
        faults.append(f'in a ring: {found[folder][target]}')
    for folder, count in collections.Counter(map(os.path.dirname, files)).items():
        if count > FILES_A_FOLDER:
            faults.append(f'{folder or "the top folder"} holds {count} files, more than {FILES_A_FOLDER}')
    for path in files:
        if path.endswith(('.cc', '.h', '.hpp', '.c', '.sh', '.py')):
            with open(path, encoding='utf-8') as file:
                lines = sum(1 for _ in file)
            if lines > LINES_A_FILE:
                faults.append(f'{path} has {lines} lines, more than {LINES_A_FILE}')

    print('\n'.join(faults), end='\n' if faults else '')
    sys.exit(1 if faults else 0)


if __name__ == '__main__':
    main()
