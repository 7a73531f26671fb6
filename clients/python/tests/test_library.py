"""How a library is opened, used by its thread and closed."""
import gc
import os
import select
import signal
import subprocess
import sys
import threading
import unittest
import warnings
import weakref

import quorvin
from engines import BUILD, LibraryTest
from quorvin import Authorization, LibraryClosedError, OpenError, WrongThreadError


class Opening(LibraryTest):
    def test_of_a_new_folder_makes_a_library(self):
        self.path = os.path.join(self.path, 'Täglich', 'new')
        os.makedirs(os.path.dirname(self.path))
        with quorvin.open(self.path, authorization=Authorization.AUTHORIZED) as library:
            self.assertEqual(library.get_gallery_list()[-1].asset_count.total_count, 0)
        self.assertTrue(os.path.exists(os.path.join(self.path, 'library.sqlite')))

    def test_that_fails_says_why(self):
        file = os.path.join(self.path, 'library.lock')
        with self.assertRaises(OpenError) as caught:
            quorvin.open(file)
        self.assertIn(file, str(caught.exception))

    def test_gives_the_version_that_was_asked_for(self):
        with self.open(system_version='17.2') as library:
            self.assertEqual(library.get_platform_version(), 'iOS 17.2')

    def test_refuses_what_is_no_authorization(self):
        with self.assertRaises(ValueError):
            self.open(authorization=9)

    def test_without_libquorvin_says_how_to_name_it(self):
        with self.assertRaises(OpenError) as caught:
            self.open(libquorvin='/nonexistent/libquorvin.so')
        self.assertIn('/nonexistent/libquorvin.so', str(caught.exception))
        self.assertIn('LIBQUORVIN', str(caught.exception))
        with self.assertRaises(OpenError):
            self.open(libquorvin='libc.so.6')

    def test_finds_libquorvin_by_argument_and_by_the_system(self):
        program = ('import sys, quorvin\n'
                   'with quorvin.open(sys.argv[1], libquorvin=sys.argv[2] or None) as library:\n'
                   '    print(library.get_platform_version())\n')
        environment = {name: value for name, value in os.environ.items() if name != 'LIBQUORVIN'}
        folder = os.path.join(BUILD, 'bin')
        for file, path in ((os.path.join(folder, 'libquorvin.so'), ''), ('', folder)):
            done = subprocess.run([sys.executable, '-c', program, self.path, file], check=True,
                                  env={**environment, 'LD_LIBRARY_PATH': path},
                                  stdout=subprocess.PIPE)
            self.assertTrue(done.stdout.startswith(b'iOS '))


class Closing(LibraryTest):
    def test_ends_all_calls(self):
        with self.open() as library:
            changes = library.changes()
        library.close()
        self.assertEqual(list(changes), [])
        for call in (library.get_permission, library.changes, library.fileno, library.run):
            with self.assertRaises(LibraryClosedError):
                call()

    def test_in_a_prompt_fails_the_call_that_waits(self):
        def confirm(_):
            library.close()
            return True
        library = self.open(confirm_deletion=confirm)
        asset = next(library.assets(library.get_gallery_list()[-1].id))
        with self.assertRaises(LibraryClosedError):
            library.delete_assets([asset.id])
        with self.open() as again:
            self.assertEqual(again.get_asset_info(asset.id).id, asset.id)

    def test_leaves_nothing_behind(self):
        library = self.open()
        changes = library.changes()
        library.create_album('new')
        left = [weakref.ref(library), weakref.ref(library._engine), weakref.ref(changes),
                weakref.ref(library._engine._callbacks), weakref.ref(library._engine._calls)]
        library.close()
        self.doCleanups()
        del library, changes
        self.assertEqual([reference() for reference in left], [None] * len(left))

    def test_that_is_forgotten_is_done_with_a_warning(self):
        for listens in (False, True):
            library = quorvin.open(self.path)
            changes = library.changes() if listens else None
            engine = weakref.ref(library._engine)
            with warnings.catch_warnings(record=True) as told:
                warnings.simplefilter('always')
                del library, changes
                gc.collect()
            self.assertIsNone(engine())
            self.assertEqual([warning.category for warning in told], [ResourceWarning])

    def test_forgets_what_was_answered(self):
        library = self.open()
        for _ in range(100):
            library.get_permission()
        self.assertEqual(library._engine._calls._waiting, {})


class Waiting(LibraryTest):
    def test_ends_by_a_signal(self):
        program = ('import sys, quorvin\n'
                   'with quorvin.open(sys.argv[1]) as library:\n'
                   '    changes = library.changes()\n'
                   '    print("waits", flush=True)\n'
                   '    next(changes)\n')
        with subprocess.Popen([sys.executable, '-c', program, self.path], text=True,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE) as child:
            self.assertEqual(child.stdout.readline(), 'waits\n')
            child.send_signal(signal.SIGINT)
            _, error = child.communicate(timeout=60)
        self.assertIn('KeyboardInterrupt', error)
        self.assertEqual(child.returncode, -signal.SIGINT)


class Threads(LibraryTest):
    def test_other_than_its_own_are_refused(self):
        library = self.open()
        changes = library.changes()
        refused = []

        def use():
            for call in (library.get_permission, library.run, library.close, library.changes,
                         changes.get, changes.close):
                try:
                    call()
                except WrongThreadError as error:
                    refused.append(str(error))
        thread = threading.Thread(target=use, name='another')
        thread.start()
        thread.join()
        self.assertEqual(len(refused), 6)
        self.assertIn('"MainThread"', refused[0])
        self.assertIn('"another"', refused[0])
        self.assertTrue(library.get_permission())

    def test_each_have_a_library_of_their_own(self):
        counts = []

        def use():
            with quorvin.open(self.path) as library:
                counts.append(len(list(library.assets(library.get_gallery_list()[-1].id))))
        threads = [threading.Thread(target=use) for _ in range(4)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(len(counts), 4)
        self.assertEqual(len(set(counts)), 1)

    def test_that_poll_find_it_readable_when_there_is_something_to_run(self):
        library = self.open()
        changes = library.changes()
        library.create_album('new')
        poll = select.poll()
        poll.register(library, select.POLLIN)
        change = changes.get(0)
        while change is None:
            self.assertNotEqual(poll.poll(60_000), [])
            self.assertTrue(library.run())
            change = changes.get(0)
        self.assertEqual(len(change.galleries), 1)


class Prompts(LibraryTest):
    def test_grant_access(self):
        asked = []

        def ask():
            asked.append(library.get_platform_version())
            return Authorization.AUTHORIZED
        library = self.open(authorization=Authorization.NOT_DETERMINED, request_authorization=ask)
        self.assertTrue(library.get_permission())
        self.assertTrue(library.get_permission())
        self.assertEqual(len(asked), 1)

    def test_that_raise_leave_all_as_it_is(self):
        def ask(*_):
            raise ZeroDivisionError('of the application')
        library = self.open(authorization=Authorization.NOT_DETERMINED, request_authorization=ask)
        with self.assertRaises(ZeroDivisionError):
            library.get_permission()
        library.close()
        library = self.open(confirm_deletion=ask)
        asset = next(library.assets(library.get_gallery_list()[-1].id))
        with self.assertRaises(ZeroDivisionError):
            library.delete_assets([asset.id])
        library.clear_all_cache()
        self.assertEqual(library.get_asset_info(asset.id).id, asset.id)

    def test_confirm_deletions(self):
        asked = []
        answers = [False, True]

        def confirm(count):
            asked.append(count)
            return answers.pop(0)
        library = self.open(confirm_deletion=confirm)
        assets = list(library.assets(library.get_gallery_list()[-1].id))[:2]
        with self.assertRaises(quorvin.QuorvinError):
            library.delete_assets([asset.id for asset in assets])
        library.delete_assets([asset.id for asset in assets])
        self.assertEqual(asked, [2, 2])


if __name__ == '__main__':
    unittest.main()
