#!/usr/bin/env python3
"""The examples, used on a screen as people use them.

QUORVIN_BUILD is the build tree, which holds the imported library.
"""
import json
import os
import subprocess
import unittest

from screen import BUILD, TIMEOUT, ScreenTest, waited_for

PINK = (230, 60, 180)
GREEN = (60, 200, 40)


def has(name):
    return os.path.exists(os.path.join(BUILD, 'examples', name))


@unittest.skipUnless(has('photos'), 'there is no GTK 4')
class Photos(ScreenTest):
    def ends(self, photos, window):
        self.type(window, 'ctrl+q')
        self.assertEqual(photos.wait(TIMEOUT), 0)

    def test_shows_thumbnails_and_what_changes(self):
        self.import_picture(PINK, 'pink.jpg')
        photos = self.start('photos')
        window = self.window('Photos')
        self.wait_for_colour(PINK)
        self.import_picture(GREEN, 'green.jpg')
        self.wait_for_colour(GREEN)
        self.assertTrue(self.shows(PINK))
        self.ends(photos, window)

    def test_shows_one_picture_large_and_deletes_it_when_that_is_allowed(self):
        self.import_picture(GREEN, 'green.jpg')
        self.import_picture(PINK, 'pink.jpg')
        photos = self.start('photos')
        window = self.window('Photos')
        self.wait_for_colour(GREEN)
        self.wait_for_colour(PINK)
        # The first one, which is the newest.
        self.type(window, 'Down', 'Home', 'Return')
        self.wait_until_gone(GREEN)
        self.assertTrue(self.shows(PINK, least=500))
        self.type(window, 'Right')
        waited_for(lambda: self.shows(GREEN, least=500), lambda: 'the next one is not shown')
        self.type(window, 'Left')
        waited_for(lambda: self.shows(PINK, least=500), lambda: 'the last one is not shown')

        self.type(window, 'Delete')
        self.type(self.window('Delete this photo'), 'Escape')
        self.type(window, 'Delete')
        self.assertEqual(self.trashed(), [])
        self.type(self.window('Delete this photo'), 'Return')
        self.wait_until_gone(PINK)
        self.assertEqual(['pink.jpg' in line for line in self.trashed()], [True])
        self.wait_for_colour(GREEN)
        self.ends(photos, window)

    def test_asks_for_permission(self):
        self.import_picture(PINK, 'pink.jpg')
        self.quorvin('authorize', 'not-determined')
        photos = self.start('photos')
        window = self.window('Photos')
        question = self.window('Show your photos')
        self.assertFalse(self.shows(PINK))
        # The other button.
        self.type(question, 'alt+d')
        waited_for(lambda: not self.xdotool('search', '--onlyvisible', '--name', 'Show your'),
                   lambda: 'the question stays')
        self.assertFalse(self.shows(PINK))
        self.ends(photos, window)
        self.assertEqual(json.loads(self.quorvin('info', '--json'))['status'], 'denied')

        self.quorvin('authorize', 'not-determined')
        photos = self.start('photos')
        window = self.window('Photos')
        self.type(self.window('Show your photos'), 'Return')
        self.wait_for_colour(PINK)
        self.ends(photos, window)
        self.assertEqual(json.loads(self.quorvin('info', '--json'))['status'], 'authorized')

    def test_may_be_closed_while_it_asks(self):
        self.quorvin('authorize', 'not-determined')
        photos = self.start('photos')
        self.window('Show your photos')
        photos.terminate()
        self.assertEqual(photos.wait(TIMEOUT), -15)
        self.assertEqual(json.loads(self.quorvin('info', '--json'))['status'], 'not-determined')


@unittest.skipUnless(has('slideshow'), 'there is no SDL 2')
class Slideshow(ScreenTest):
    def test_shows_one_picture_after_the_other(self):
        self.import_picture(GREEN, 'green.jpg')
        self.import_picture(PINK, 'pink.jpg')
        slideshow = self.start('slideshow')
        window = waited_for(lambda: self.xdotool('search', '--onlyvisible', '--class', 'slideshow'),
                            lambda: 'there is no window')[-1]
        self.wait_for_colour(PINK)
        self.type(window, 'Left')
        self.type(window, 'Right')
        self.wait_for_colour(GREEN)
        self.type(window, 'Left')
        self.wait_for_colour(PINK)
        self.type(window, 'Escape')
        self.assertEqual(slideshow.wait(TIMEOUT), 0)


class Galleries(ScreenTest):
    def test_are_listed_again_when_the_library_changes(self):
        galleries = self.start('galleries', stdout=subprocess.PIPE, text=True)
        before = [galleries.stdout.readline().split(maxsplit=1)]
        while before[-1][1] != 'Holidays\n':
            before.append(galleries.stdout.readline().split(maxsplit=1))
        told = json.loads(self.quorvin('info', '--json'))
        titles = {line[1].strip(): int(line[0]) for line in before}
        for album in told['albums']:
            self.assertEqual(titles[album['title']], album['assets'])
        self.import_picture(PINK, 'pink.jpg')
        self.assertEqual(galleries.stdout.readline(), '\n')
        after = {}
        while 'Holidays' not in after:
            count, title = galleries.stdout.readline().split(maxsplit=1)
            after[title.strip()] = int(count)
        self.assertEqual(after['Recents'], titles['Recents'] + 1)
        galleries.terminate()
        self.assertEqual(galleries.wait(TIMEOUT), 0)


del ScreenTest

if __name__ == '__main__':
    unittest.main()
