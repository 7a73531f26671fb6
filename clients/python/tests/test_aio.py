"""The flavour for asyncio: many calls at once, cancelled ones, and an end under load."""
import asyncio
import gc
import threading
import unittest
import weakref

import quorvin.aio
from engines import LibraryTest
from quorvin import Authorization, LibraryClosedError, QuorvinError, WrongThreadError


class Asynchronous(LibraryTest):
    def opened(self, **others):
        return quorvin.aio.open(**self.options(**others))

    def run_async(self, coroutine):
        """Nothing may wait for longer than a minute."""
        async def in_time():
            asyncio.get_running_loop().set_exception_handler(
                lambda _, context: self.problems.append(context))
            return await asyncio.wait_for(coroutine, 60)
        self.problems = []
        return asyncio.run(in_time())


class Calls(Asynchronous):
    def test_wait_side_by_side(self):
        async def ask():
            async with self.opened() as library:
                assets = [asset async for asset in library.assets(await all_of(library))]
                names = await asyncio.gather(
                    *(library.get_asset_original_filename(asset.id) for asset in assets))
                thumbnails = await asyncio.gather(
                    *(library.get_thumbnail(asset.id, 32, 32) for asset in assets))
                return names, thumbnails
        names, thumbnails = self.run_async(ask())
        self.assertIn('IMG_0002.jpg', names)
        self.assertEqual([thumbnail for name, thumbnail in zip(names, thumbnails)
                          if (thumbnail is None) != name.endswith(('.mp3', '.m4a'))], [])

    def test_that_are_cancelled_disturb_no_others(self):
        async def ask():
            async with self.opened() as library:
                assets = [asset async for asset in library.assets(await all_of(library))]
                tasks = [asyncio.ensure_future(library.get_thumbnail(asset.id, 40, 40))
                         for asset in assets]
                await asyncio.sleep(0)
                for task in tasks[::2]:
                    task.cancel()
                results = await asyncio.gather(*tasks, return_exceptions=True)
                while library._engine._calls._waiting:
                    await asyncio.sleep(0.01)
                with self.assertRaises(asyncio.TimeoutError):
                    await asyncio.wait_for(library.get_image_data(assets[0].id), 0)
                return results
        results = self.run_async(ask())
        self.assertTrue(all(isinstance(one, asyncio.CancelledError) for one in results[::2]))
        self.assertTrue(all(one is None or isinstance(one, bytes) for one in results[1::2]))
        self.assertEqual(self.problems, [])

    def test_raise_what_the_plugin_answers(self):
        async def ask():
            async with self.opened() as library:
                await library.get_asset_info('no asset')
        with self.assertRaises(QuorvinError):
            self.run_async(ask())

    def test_on_other_threads_and_loops_are_refused(self):
        async def ask():
            async with self.opened() as library:
                def elsewhere():
                    for call in (library.close, library.changes):
                        with self.assertRaises(WrongThreadError):
                            call()
                    with self.assertRaises(WrongThreadError):
                        asyncio.run(library.get_permission())
                    refused.append(True)
                thread = threading.Thread(target=elsewhere)
                thread.start()
                await asyncio.get_running_loop().run_in_executor(None, thread.join)
                return await library.get_permission()
        refused = []
        self.assertTrue(self.run_async(ask()))
        self.assertEqual(refused, [True])

    def test_may_be_asked_of_the_user(self):
        async def ask():
            async with self.opened(authorization=Authorization.NOT_DETERMINED,
                                   request_authorization=lambda: Authorization.LIMITED) as library:
                return await library.get_permission()
        self.assertIs(self.run_async(ask()), False)

    def test_survive_a_prompt_that_raises(self):
        async def ask():
            async with self.opened(authorization=Authorization.NOT_DETERMINED,
                                   request_authorization=lambda: 1 // 0) as library:
                return await library.get_permission()
        self.assertIs(self.run_async(ask()), False)
        self.assertEqual([type(problem['exception']) for problem in self.problems],
                         [ZeroDivisionError])


class Ends(Asynchronous):
    def test_fail_all_calls_that_wait(self):
        async def ask():
            async with self.opened() as library:
                assets = [asset async for asset in library.assets(await all_of(library))]
                tasks = [asyncio.ensure_future(library.get_thumbnail(asset.id, 50 + size, 50))
                         for asset in assets for size in range(20)]
                await tasks[0]
            with self.assertRaises(LibraryClosedError):
                await library.get_permission()
            library.close()
            return await asyncio.gather(*tasks, return_exceptions=True)
        for _ in range(5):
            results = self.run_async(ask())
            self.assertGreater(len(results), 500)
            closed = [one for one in results if isinstance(one, LibraryClosedError)]
            self.assertGreater(len(closed), 0)
            self.assertEqual([one for one in results if isinstance(one, BaseException)], closed)
            self.assertEqual(self.problems, [])

    def test_leave_nothing_behind(self):
        async def ask():
            async with self.opened() as library:
                changes = library.changes()
                task = asyncio.ensure_future(library.get_image_data('no asset'))
                await library.create_album('new')
                await changes.__anext__()
                left = [weakref.ref(library), weakref.ref(library._engine), weakref.ref(changes),
                        weakref.ref(library._engine._callbacks)]
            await asyncio.gather(task, return_exceptions=True)
            return left
        left = self.run_async(ask())
        gc.collect()
        self.assertEqual([reference() for reference in left], [None] * len(left))

    def test_by_an_error_close_the_library(self):
        async def ask():
            async with self.opened() as library:
                opened.append(library)
                raise ZeroDivisionError
        opened = []
        with self.assertRaises(ZeroDivisionError):
            self.run_async(ask())
        self.assertTrue(opened[0]._engine.closed)


class Changes(Asynchronous):
    def test_by_others_and_by_itself_are_told(self):
        async def ask():
            async with self.opened() as library:
                changes = library.changes()
                loop = asyncio.get_running_loop()
                outside = await loop.run_in_executor(
                    None, self.told, 'createAlbum', {'title': 'elsewhere'})
                inside = await library.create_album('here')
                wanted = {outside['id'], inside.id}
                async for change in changes:
                    wanted -= set(change.galleries)
                    if not wanted:
                        return True
        self.assertTrue(self.run_async(ask()))

    def test_end_with_the_library_and_by_closing(self):
        async def rest(changes):
            return [change async for change in changes]

        async def ask():
            async with self.opened() as library:
                closed = library.changes()
                waits = asyncio.ensure_future(rest(closed))
                await asyncio.sleep(0)
                closed.close()
                self.assertEqual(await waits, [])
                ended = asyncio.ensure_future(rest(library.changes()))
                await asyncio.sleep(0)
            return await ended
        self.assertEqual(self.run_async(ask()), [])

    def test_go_on_after_somebody_gave_up(self):
        async def ask():
            async with self.opened() as library:
                changes = library.changes()
                for _ in range(3):
                    with self.assertRaises(asyncio.TimeoutError):
                        await asyncio.wait_for(changes.__anext__(), 0.01)
                self.assertEqual(changes._waiting, [])
                both = [asyncio.ensure_future(changes.__anext__()) for _ in range(2)]
                first = await library.create_album('first')
                await asyncio.wait(both, return_when=asyncio.FIRST_COMPLETED)
                second = await library.create_album('second')
                told = await asyncio.gather(*both)
                self.assertEqual({change.galleries for change in told},
                                 {(first.id,), (second.id,)})
        self.run_async(ask())

    def test_end_when_a_loop_is_left(self):
        async def ask():
            async with self.opened() as library:
                await library.create_album('new')
                listening = library.changes()
                queue = weakref.ref(listening._queue)
                await library.create_album('newer')
                async for _ in listening:
                    break
                del listening
                self.assertIsNone(queue())
                self.assertEqual(library._changes._queues, [])
        self.run_async(ask())


async def all_of(library):
    """The gallery of all assets."""
    return next(gallery.id for gallery in await library.get_gallery_list()
                if gallery.type == 'user')


if __name__ == '__main__':
    unittest.main()
