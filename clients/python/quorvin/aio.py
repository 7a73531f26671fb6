"""The photo library for asyncio: the same methods, awaited."""
import asyncio
import contextlib
from types import TracebackType
from typing import Any, AsyncIterator, Callable, Iterable, List, Optional, Type, TypeVar, Union

from . import _requests as requests
from ._changes import ChangeChannel, ChangeQueue
from ._engine import Engine, EngineOptions, PathLike
from ._requests import Request
from .arguments import Authorization, ContentMode, MediaFilter, SortOrder, VideoFormat
from .errors import WrongThreadError
from .library import CHANGES_HELD, PAGE_SIZE
from .records import Asset, Change, ExportedFile, Gallery, GalleryAssetCount
from .values import Value

T = TypeVar('T')


@contextlib.asynccontextmanager
async def open(library_path: Optional[PathLike] = None, *,
               temporary_path: Optional[PathLike] = None,
               system_version: Optional[str] = None,
               authorization: Optional[Authorization] = None,
               request_authorization: Optional[Callable[[], Authorization]] = None,
               confirm_deletion: Optional[Callable[[int], bool]] = None,
               libquorvin: Optional[PathLike] = None) -> AsyncIterator['Library']:
    """Opens a library for `async with`, with what `quorvin.open` takes, on the running event loop.

    Opening and closing hold up the loop; no method does.
    """
    library = Library(EngineOptions(
        library_path, temporary_path, system_version, authorization, request_authorization,
        confirm_deletion, libquorvin))
    try:
        yield library
    finally:
        library.close()


class Library:
    """The methods are those of `quorvin.Library`, which tells of them; several may wait at once.

    Whoever no longer waits for a call may cancel: the call is carried out all the same. What a
    prompt of the application raises goes to the loop's exception handler.
    """

    def __init__(self, options: EngineOptions) -> None:
        self._loop = asyncio.get_running_loop()
        self._engine = Engine(options)
        self._changes = ChangeChannel(self._engine)
        self._fd = self._engine.fileno()
        self._loop.add_reader(self._fd, self._run)

    def close(self) -> None:
        """Ends all that is under way; what waits gets a LibraryClosedError. Again: does nothing."""
        self._engine.check_thread()
        if self._engine.closed:
            return
        self._loop.remove_reader(self._fd)
        try:
            self._engine.close()
        finally:
            self._changes.end()

    async def call(self, method: str, arguments: Value = None) -> Any:
        return await self._ask(requests.any_call(method, arguments))

    def changes(self, limit: int = CHANGES_HELD) -> 'Changes':
        """Changes of the library, by whomever, from this call on: later replies are not older.

        What was not asked for yet is held; one more than `limit` makes all of it one change with
        `complete` False and empty lists.
        """
        return Changes(self._loop, self._engine, self._changes, ChangeQueue(limit))

    async def assets(self, collection_id: str, *, sort: SortOrder = SortOrder.NEWEST_FIRST,
                     media_type: MediaFilter = MediaFilter.ALL,
                     page_size: int = PAGE_SIZE) -> AsyncIterator[Asset]:
        start = 0
        while True:
            page = await self.get_asset_list(collection_id, start, start + page_size, sort=sort,
                                             media_type=media_type)
            for asset in page:
                yield asset
            if len(page) < page_size:
                return
            start += page_size

    async def get_platform_version(self) -> str:
        return await self._ask(requests.get_platform_version())

    async def get_permission(self) -> bool:
        return await self._ask(requests.get_permission())

    async def clear_all_cache(self) -> None:
        await self._ask(requests.clear_all_cache())

    async def start_caching_images(self) -> None:
        await self._ask(requests.start_caching_images())

    async def stop_caching_images(self) -> None:
        await self._ask(requests.stop_caching_images())

    async def stop_all_caching_images(self) -> None:
        await self._ask(requests.stop_all_caching_images())

    async def get_gallery_list(self, *, filter_empty_asset: bool = False,
                               with_smart_album: bool = True,
                               media_type: MediaFilter = MediaFilter.ALL) -> List[Gallery]:
        return await self._ask(
            requests.get_gallery_list(filter_empty_asset, with_smart_album, media_type))

    async def get_gallery_asset_count(
            self, collection_id: str, *, sort: SortOrder = SortOrder.NEWEST_FIRST,
            media_type: MediaFilter = MediaFilter.ALL) -> GalleryAssetCount:
        return await self._ask(requests.get_gallery_asset_count(collection_id, sort, media_type))

    async def get_gallery_first_asset_id(self, collection_id: str, *,
                                         sort: SortOrder = SortOrder.NEWEST_FIRST,
                                         media_type: MediaFilter = MediaFilter.ALL) -> str:
        return await self._ask(requests.get_gallery_first_asset_id(collection_id, sort, media_type))

    async def get_asset_list(self, collection_id: str, start: int, end: int, *,
                             sort: SortOrder = SortOrder.NEWEST_FIRST,
                             media_type: MediaFilter = MediaFilter.ALL) -> List[Asset]:
        return await self._ask(requests.get_asset_list(collection_id, start, end, sort, media_type))

    async def get_asset_info(self, asset_id: str) -> Asset:
        return await self._ask(requests.get_asset_info(asset_id))

    async def get_thumbnail(self, asset_id: str, width: Union[int, float],
                            height: Union[int, float], *,
                            content_mode: ContentMode = ContentMode.FIT,
                            jpeg_format: bool = True) -> Optional[bytes]:
        return await self._ask(
            requests.get_thumbnail(asset_id, width, height, content_mode, jpeg_format))

    async def get_image_data(self, asset_id: str, *, convert_jpeg: bool = False) -> bytes:
        return await self._ask(requests.get_image_data(asset_id, convert_jpeg))

    async def get_image_url(self, asset_id: str, *, convert_jpeg: bool = False,
                            medium_quality: bool = False) -> ExportedFile:
        return await self._ask(requests.get_image_url(asset_id, convert_jpeg, medium_quality))

    async def get_live_photo_url(self, asset_id: str) -> ExportedFile:
        return await self._ask(requests.get_live_photo_url(asset_id))

    async def get_video_url(self, asset_id: str, *, medium_quality: bool = False,
                            video_format: VideoFormat = VideoFormat.ORIGINAL) -> ExportedFile:
        return await self._ask(requests.get_video_url(asset_id, medium_quality, video_format))

    async def get_burst_asset_list(self, asset_id: str) -> List[Asset]:
        return await self._ask(requests.get_burst_asset_list(asset_id))

    async def get_asset_original_filename(self, asset_id: str) -> Optional[str]:
        return await self._ask(requests.get_asset_original_filename(asset_id))

    async def delete_assets(self, asset_ids: Iterable[str]) -> None:
        await self._ask(requests.delete_assets(asset_ids))

    async def create_album(self, title: str) -> Gallery:
        return await self._ask(requests.create_album(title))

    async def save_image(self, file_path: PathLike, *,
                         collection_id: Optional[str] = None) -> Asset:
        return await self._ask(requests.save_image(file_path, collection_id))

    async def save_video(self, file_path: PathLike, *,
                         collection_id: Optional[str] = None) -> Asset:
        return await self._ask(requests.save_video(file_path, collection_id))

    async def _ask(self, request: Request[T]) -> T:
        _check_loop(self._loop)
        reply: 'asyncio.Future[Optional[bytes]]' = self._loop.create_future()

        def deliver(message: Optional[bytes]) -> None:
            # Who cancelled does not wait any more.
            if not reply.done():
                reply.set_result(message)

        self._engine.send(request.channel, request.message(), deliver)
        return request.result(await reply)

    def _run(self) -> None:
        try:
            self._engine.run()
        except Exception as error:
            self._loop.call_exception_handler(
                {'message': 'A prompt of a quorvin library failed.', 'exception': error})


class Changes(AsyncIterator[Change]):
    """Changes as they come; ends with the library, and by `with` or `close`.

    Raises a QuorvinError when the engine cannot watch the library.
    """

    def __init__(self, loop: asyncio.AbstractEventLoop, engine: Engine, channel: ChangeChannel,
                 queue: ChangeQueue) -> None:
        self._loop = loop
        self._engine = engine
        self._channel = channel
        self._queue = queue
        waiting: 'List[asyncio.Future[None]]' = []
        self._waiting = waiting
        # The queue must not know this: it goes when nobody iterates it any more.
        queue.on_news = lambda: _wake(waiting)
        channel.add(queue)

    def __enter__(self) -> 'Changes':
        return self

    def __exit__(self, kind: Optional[Type[BaseException]], error: Optional[BaseException],
                 traceback: Optional[TracebackType]) -> None:
        self.close()

    async def __anext__(self) -> Change:
        _check_loop(self._loop)
        while True:
            change = self._queue.take()
            if change is not None:
                return change
            if self._queue.ended:
                raise StopAsyncIteration
            await self._news()

    def close(self) -> None:
        """Ends it, also while somebody waits for the next change, and drops what is held."""
        self._engine.check_thread()
        self._channel.remove(self._queue)
        self._queue.drop()
        self._queue.end()

    def __del__(self) -> None:
        if hasattr(self, '_waiting') and self._engine.is_on_its_thread():
            self.close()

    async def _news(self) -> None:
        waiter: 'asyncio.Future[None]' = self._loop.create_future()
        self._waiting.append(waiter)
        try:
            await waiter
        finally:
            if waiter in self._waiting:
                self._waiting.remove(waiter)


def _wake(waiting: 'List[asyncio.Future[None]]') -> None:
    """Each looks for itself, so that nothing goes with one that is cancelled meanwhile."""
    for waiter in waiting:
        if not waiter.done():
            waiter.set_result(None)
    waiting.clear()


def _check_loop(loop: asyncio.AbstractEventLoop) -> None:
    if asyncio.get_running_loop() is not loop:
        raise WrongThreadError(
            'The library was opened with another event loop and is used with that alone.')
