"""Libraries for tests: a copy of the imported one, and what the program `quorvin` says of it."""
import dataclasses
import json
import os
import re
import shutil
import subprocess
import tempfile
import unittest
from enum import Enum

import quorvin

# Where quorvin is built, and its tests' library imported.
BUILD = os.environ['QUORVIN_BUILD']
MEDIA = os.path.join(BUILD, 'media', 'good')
LIBRARY = os.environ['QUORVIN_IMPORTED_LIBRARY']
JPEG = b'\xff\xd8\xff'
PNG = b'\x89PNG'


class LibraryTest(unittest.TestCase):
    """Has `self.path`, a library to be changed."""

    def setUp(self):
        folder = tempfile.mkdtemp(prefix='quorvin-python-')
        self.addCleanup(shutil.rmtree, folder)
        self.path = os.path.join(folder, 'library')
        self.temporary = os.path.join(folder, 'temporary')
        shutil.copytree(LIBRARY, self.path)

    def options(self, **others):
        return {'library_path': self.path, 'temporary_path': self.temporary, **others}

    def open(self, **others):
        library = quorvin.open(**self.options(**others))
        self.addCleanup(library.close)
        return library

    def told(self, method, arguments=None, out=None):
        """The result that `quorvin call` prints."""
        command = [os.path.join(BUILD, 'bin', 'quorvin'), '--library', self.path, 'call', method]
        if arguments is not None:
            command.append(json.dumps(arguments))
        if out is not None:
            command += ['--out', out]
        done = subprocess.run(command, check=True, stdout=subprocess.PIPE)
        return json.loads(done.stdout)['result']

    def bytes_told(self, method, arguments):
        out = os.path.join(os.path.dirname(self.path), 'out')
        self.told(method, arguments, out)
        return contents(out)


def contents(path):
    with open(path, 'rb') as file:
        return file.read()


def as_told(record):
    """A record as `quorvin call` prints it."""
    if isinstance(record, (list, tuple)):
        return [as_told(element) for element in record]
    if isinstance(record, Enum):
        return record.value
    if not dataclasses.is_dataclass(record):
        return record
    return {re.sub('_(.)', lambda found: found[1].upper(), field.name):
            as_told(getattr(record, field.name)) for field in dataclasses.fields(record)}
