"""What the readme shows runs as it stands."""
import os
import re
import subprocess
import sys
import unittest

from engines import JPEG, LibraryTest, contents

SHOWN_LIBRARY = '/home/me/Photos/library'
README = os.path.join(os.path.dirname(os.path.abspath(__file__)), '..', 'README.md')


class Readme(LibraryTest):
    def setUp(self):
        super().setUp()
        text = contents(README).decode()
        self.examples = [example.replace(SHOWN_LIBRARY, self.path)
                         for example in re.findall(r'```python\n(.*?)```', text, re.DOTALL)]
        self.folder = os.path.dirname(self.path)

    def start(self, example):
        self.assertIn(self.path, example)
        child = subprocess.Popen([sys.executable, '-u', '-c', example], cwd=self.folder,
                                 stdout=subprocess.PIPE, text=True)
        self.addCleanup(child.stdout.close)
        self.addCleanup(child.wait)
        self.addCleanup(child.kill)
        return child

    def test_lists_galleries_and_makes_a_thumbnail(self):
        child = self.start(self.examples[0])
        galleries = child.stdout.read().splitlines()
        self.assertEqual(child.wait(), 0)
        self.assertIn('Holidays 2', galleries)
        self.assertTrue(contents(os.path.join(self.folder, 'newest.jpg')).startswith(JPEG))

    def test_makes_thumbnails_side_by_side_and_tells_changes(self):
        child = self.start(self.examples[1])
        self.assertEqual(child.stdout.readline(), '2 thumbnails\n')
        album = self.told('createAlbum', {'title': 'new'})
        self.assertEqual(child.stdout.readline(), f"() () ('{album['id']}',)\n")


if __name__ == '__main__':
    unittest.main()
