"""What is told of changes: by queues, by this engine, and by other processes."""
import unittest
import weakref

from engines import LibraryTest
from quorvin import Change, QuorvinError
from quorvin._changes import ChangeQueue
from quorvin.codec import ErrorReply, Success, encode_envelope

FAULT = ErrorReply('Error', 'Failed to watch the library', 'why')


def change_of(sequence, **others):
    return Change(**{'sequence': sequence, 'inserted': (), 'changed': (), 'removed': (),
                     'galleries': (), 'complete': True, **others})


def event_of(sequence, inserted=()):
    return encode_envelope(Success({'sequence': sequence, 'inserted': list(inserted), 'changed': [],
                                    'removed': [], 'galleries': [], 'complete': True}))


class Queues(unittest.TestCase):
    def test_give_what_they_hold_in_order(self):
        queue = ChangeQueue(3)
        for sequence in (1, 2, 3):
            queue.push(change_of(sequence))
        self.assertEqual([queue.take().sequence for _ in range(3)], [1, 2, 3])
        self.assertIsNone(queue.take())

    def test_make_one_incomplete_change_of_too_many(self):
        queue = ChangeQueue(3)
        for sequence in range(1, 5):
            queue.push(change_of(sequence, inserted=('A',)))
        self.assertEqual(queue.take(), change_of(4, complete=False))
        queue.push(change_of(5))
        self.assertEqual(queue.take(), change_of(5))
        self.assertIsNone(queue.take())

    def test_hold_one_change_of_thousands(self):
        queue = ChangeQueue(1)
        for sequence in range(1, 1001):
            queue.push(change_of(sequence))
        self.assertEqual(queue.take(), change_of(1000, complete=False))

    def test_need_room_for_one(self):
        for limit in (0, -1):
            self.assertRaises(ValueError, ChangeQueue, limit)

    def test_raise_a_fault_once_behind_what_they_hold(self):
        queue = ChangeQueue(3)
        queue.push(change_of(1))
        queue.end(QuorvinError('Error', 'why'))
        self.assertEqual(queue.take(), change_of(1))
        self.assertRaises(QuorvinError, queue.take)
        self.assertIsNone(queue.take())
        self.assertTrue(queue.ended)


class ChangesOfALibrary(LibraryTest):
    def test_by_itself_are_told(self):
        library = self.open()
        with library.changes() as changes:
            album = library.create_album('new')
            change = changes.get(60)
            self.assertEqual((change.galleries, change.complete), ((album.id,), True))
            asset = next(library.assets(library.get_gallery_list()[-2].id))
            library.delete_assets([asset.id])
            later = changes.get(60)
            self.assertEqual(later.removed, (asset.id,))
            self.assertGreater(later.sequence, change.sequence)
        self.assertEqual(list(changes), [])

    def test_by_another_process_are_told(self):
        library = self.open()
        changes = library.changes()
        album = self.told('createAlbum', {'title': 'elsewhere'})
        for change in changes:
            if album['id'] in change.galleries:
                break
        self.assertIn(album['id'], [gallery.id for gallery in library.get_gallery_list()])

    def test_are_told_to_everybody_until_the_last_one_leaves(self):
        library = self.open()
        first, second = library.changes(), library.changes()
        library.create_album('new')
        self.assertEqual(first.get(60), second.get(60))
        first.close()
        library.create_album('newer')
        self.assertIsNotNone(second.get(60))
        self.assertIsNone(first.get(0))
        second.close()
        library.create_album('newest')
        again = library.changes()
        album = library.create_album('last')
        self.assertIn(album.id, again.get(60).galleries)

    def test_end_when_nobody_iterates_any_more(self):
        library = self.open()
        changes = library.changes()
        reference = weakref.ref(changes._queue)
        library.create_album('new')
        for _ in changes:
            break
        del changes
        self.assertIsNone(reference())

    def test_that_do_not_come_are_waited_for_no_longer_than_asked(self):
        with self.open().changes() as changes:
            self.assertIsNone(changes.get(0.05))

    def test_that_nobody_takes_become_one_that_is_incomplete(self):
        library = self.open()
        changes = library.changes(limit=2)
        for sequence in range(1, 4):
            library._changes._on_message('quorvin/changes', event_of(sequence, ['A']))
        self.assertEqual(changes.get(0), change_of(3, complete=False))

    def test_that_cannot_be_told_raise_the_reason(self):
        for message, error in ((encode_envelope(FAULT), 'QuorvinError'), (b'', 'Malformed'),
                               (encode_envelope(Success({'sequence': 1})), 'UnexpectedReply')):
            library = self.open()
            changes = library.changes()
            library._changes._on_message('quorvin/other', message)
            library._changes._on_message('quorvin/changes', event_of(1))
            library._changes._on_message('quorvin/changes', message)
            self.assertEqual(next(changes), change_of(1))
            with self.assertRaises(Exception) as caught:
                next(changes)
            self.assertTrue(type(caught.exception).__name__.startswith(error))
            self.assertEqual(list(changes), [])


if __name__ == '__main__':
    unittest.main()
