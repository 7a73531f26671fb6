"""The photo library for programs that wait for each reply."""
import select
import time
from types import TracebackType
from typing import Any, Callable, Iterable, Iterator, List, Optional, Type, TypeVar, Union

from . import _requests as requests
from ._changes import ChangeChannel, ChangeQueue
from ._engine import Engine, EngineOptions, PathLike
from ._requests import Request
from .arguments import Authorization, ContentMode, MediaFilter, SortOrder, VideoFormat
from .records import Asset, Change, ExportedFile, Gallery, GalleryAssetCount
from .values import Value

T = TypeVar('T')

PAGE_SIZE = 500
CHANGES_HELD = 100


def open(library_path: Optional[PathLike] = None, *,
         temporary_path: Optional[PathLike] = None,
         system_version: Optional[str] = None,
         authorization: Optional[Authorization] = None,
         request_authorization: Optional[Callable[[], Authorization]] = None,
         confirm_deletion: Optional[Callable[[int], bool]] = None,
         libquorvin: Optional[PathLike] = None) -> 'Library':
    """Opens a library, to be closed by `with` or `close`. Raises an OpenError.

    library_path: its folder; one that is missing becomes a new library. None: the user's default
    one.
    temporary_path: the folder below which exported files are written. None: a private one.
    system_version: the text behind "iOS " in what `get_platform_version` answers with.
    authorization: what is to be seen, for this opening alone. None: as the library stores it.
    request_authorization: asks the user for it when nothing was decided yet.
    confirm_deletion: asks the user whether so many assets may be deleted.
    libquorvin: the file of the library. None: the environment variable LIBQUORVIN, else the
    system's.
    """
    return Library(EngineOptions(
        library_path, temporary_path, system_version, authorization, request_authorization,
        confirm_deletion, libquorvin))


class Library:
    """One method for each of the channel's, which waits for its reply.

    All is used on the thread that opened the library. Besides what they answer, methods raise a
    QuorvinError (the texts are in quorvin's `docs/errors.md`), and the other errors of this
    package. What a prompt of the application raises, they raise too.
    """

    def __init__(self, options: EngineOptions) -> None:
        self._engine = Engine(options)
        self._changes = ChangeChannel(self._engine)

    def __enter__(self) -> 'Library':
        return self

    def __exit__(self, kind: Optional[Type[BaseException]], error: Optional[BaseException],
                 traceback: Optional[TracebackType]) -> None:
        self.close()

    def close(self) -> None:
        """Ends all that is under way. Again: does nothing."""
        try:
            self._engine.close()
        finally:
            self._changes.end()

    def fileno(self) -> int:
        """For select and event loops: readable while `run` has something to do."""
        return self._engine.fileno()

    def run(self, timeout: Optional[float] = 0) -> bool:
        """Does what waits to be done on this thread; waits at most so many seconds for it.

        None: as long as it takes. False when there was nothing.
        """
        # Not in C, where no signal would come through.
        poll = select.poll()
        poll.register(self._engine.fileno(), select.POLLIN)
        if not poll.poll(None if timeout is None else max(0.0, timeout) * 1000):
            return False
        self._engine.run()
        return True

    def call(self, method: str, arguments: Value = None) -> Any:
        """Any method, with its arguments and result as values of the codec."""
        return self._ask(requests.any_call(method, arguments))

    def changes(self, limit: int = CHANGES_HELD) -> 'Changes':
        """Changes of the library, by whomever, from this call on: later replies are not older.

        They come while this thread waits in any method. What was not asked for yet is held; one
        more than `limit` makes all of it one change with `complete` False and empty lists.
        """
        return Changes(self, self._engine, self._changes, ChangeQueue(limit))

    def assets(self, collection_id: str, *, sort: SortOrder = SortOrder.NEWEST_FIRST,
               media_type: MediaFilter = MediaFilter.ALL,
               page_size: int = PAGE_SIZE) -> Iterator[Asset]:
        """All assets of a gallery, asked for by pages: one that changes in between moves them."""
        start = 0
        while True:
            page = self.get_asset_list(collection_id, start, start + page_size, sort=sort,
                                       media_type=media_type)
            yield from page
            if len(page) < page_size:
                return
            start += page_size

    def get_platform_version(self) -> str:
        """The text 'iOS ' and the system's version."""
        return self._ask(requests.get_platform_version())

    def get_permission(self) -> bool:
        """True when the library may be used in full; asks the user when nothing was decided yet."""
        return self._ask(requests.get_permission())

    def clear_all_cache(self) -> None:
        """Empties the cache from identifiers to assets."""
        self._ask(requests.clear_all_cache())

    def start_caching_images(self) -> None:
        """Is accepted and does nothing: previews come by themselves."""
        self._ask(requests.start_caching_images())

    def stop_caching_images(self) -> None:
        """Is accepted and does nothing."""
        self._ask(requests.stop_caching_images())

    def stop_all_caching_images(self) -> None:
        """Is accepted and does nothing."""
        self._ask(requests.stop_all_caching_images())

    def get_gallery_list(self, *, filter_empty_asset: bool = False, with_smart_album: bool = True,
                         media_type: MediaFilter = MediaFilter.ALL) -> List[Gallery]:
        """The smart albums, the gallery of all assets, then the user's albums.

        `filter_empty_asset` leaves out galleries without a matching asset, and
        `with_smart_album=False` the gallery of all assets, and no other.
        """
        return self._ask(
            requests.get_gallery_list(filter_empty_asset, with_smart_album, media_type))

    def get_gallery_asset_count(self, collection_id: str, *,
                                sort: SortOrder = SortOrder.NEWEST_FIRST,
                                media_type: MediaFilter = MediaFilter.ALL) -> GalleryAssetCount:
        """How much a gallery holds. Under ALL it is images and videos, each under its key."""
        return self._ask(requests.get_gallery_asset_count(collection_id, sort, media_type))

    def get_gallery_first_asset_id(self, collection_id: str, *,
                                   sort: SortOrder = SortOrder.NEWEST_FIRST,
                                   media_type: MediaFilter = MediaFilter.ALL) -> str:
        """The identifier of a gallery's first asset; ALL means images and videos."""
        return self._ask(requests.get_gallery_first_asset_id(collection_id, sort, media_type))

    def get_asset_list(self, collection_id: str, start: int, end: int, *,
                       sort: SortOrder = SortOrder.NEWEST_FIRST,
                       media_type: MediaFilter = MediaFilter.ALL) -> List[Asset]:
        """The assets from the index `start` to below `end`; ALL filters nothing.

        An unknown gallery and a page beyond the end are empty.
        """
        return self._ask(requests.get_asset_list(collection_id, start, end, sort, media_type))

    def get_asset_info(self, asset_id: str) -> Asset:
        return self._ask(requests.get_asset_info(asset_id))

    def get_thumbnail(self, asset_id: str, width: Union[int, float], height: Union[int, float], *,
                      content_mode: ContentMode = ContentMode.FIT,
                      jpeg_format: bool = True) -> Optional[bytes]:
        """The encoded image: upright, in sRGB, never larger than the original; PNG if not JPEG.

        Of a video it is the first frame. None for an audio item, and when it cannot be encoded.
        """
        return self._ask(requests.get_thumbnail(asset_id, width, height, content_mode, jpeg_format))

    def get_image_data(self, asset_id: str, *, convert_jpeg: bool = False) -> bytes:
        """The bytes of an image's file, or of its latest edit's; of HEIC as a JPEG if asked so."""
        return self._ask(requests.get_image_data(asset_id, convert_jpeg))

    def get_image_url(self, asset_id: str, *, convert_jpeg: bool = False,
                      medium_quality: bool = False) -> ExportedFile:
        """Exports an image: as it is, HEIC and HEIF as JPEG, or any as one within 1024 pixels."""
        return self._ask(requests.get_image_url(asset_id, convert_jpeg, medium_quality))

    def get_live_photo_url(self, asset_id: str) -> ExportedFile:
        """Exports the motion part of a live photo, as it is stored."""
        return self._ask(requests.get_live_photo_url(asset_id))

    def get_video_url(self, asset_id: str, *, medium_quality: bool = False,
                      video_format: VideoFormat = VideoFormat.ORIGINAL) -> ExportedFile:
        """The library's own file of a video that is asked for as it is, else an exported one."""
        return self._ask(requests.get_video_url(asset_id, medium_quality, video_format))

    def get_burst_asset_list(self, asset_id: str) -> List[Asset]:
        """All members of a burst, by creation date and name, for the one that represents it."""
        return self._ask(requests.get_burst_asset_list(asset_id))

    def get_asset_original_filename(self, asset_id: str) -> Optional[str]:
        """The name of the first photo or video file, else of the first one; None without any."""
        return self._ask(requests.get_asset_original_filename(asset_id))

    def delete_assets(self, asset_ids: Iterable[str]) -> None:
        """Takes assets out of the library, in one change. They stay restorable for 30 days."""
        self._ask(requests.delete_assets(asset_ids))

    def create_album(self, title: str) -> Gallery:
        """Makes an album. Any title will do, also one that another album has."""
        return self._ask(requests.create_album(title))

    def save_image(self, file_path: PathLike, *, collection_id: Optional[str] = None) -> Asset:
        """Copies an image into the library, and into a user album if one is named."""
        return self._ask(requests.save_image(file_path, collection_id))

    def save_video(self, file_path: PathLike, *, collection_id: Optional[str] = None) -> Asset:
        """The same for a video."""
        return self._ask(requests.save_video(file_path, collection_id))

    def _ask(self, request: Request[T]) -> T:
        replies: List[Optional[bytes]] = []
        self._engine.send(request.channel, request.message(), replies.append)
        while not replies:
            self.run(None)
        return request.result(replies[0])


class Changes(Iterator[Change]):
    """Changes as they come; ends with the library, and by `with` or `close`.

    Raises a QuorvinError when the engine cannot watch the library.
    """

    def __init__(self, library: Library, engine: Engine, channel: ChangeChannel,
                 queue: ChangeQueue) -> None:
        self._library = library
        self._engine = engine
        self._channel = channel
        self._queue = queue
        channel.add(queue)

    def __enter__(self) -> 'Changes':
        return self

    def __exit__(self, kind: Optional[Type[BaseException]], error: Optional[BaseException],
                 traceback: Optional[TracebackType]) -> None:
        self.close()

    def __next__(self) -> Change:
        change = self.get()
        if change is None:
            raise StopIteration
        return change

    def get(self, timeout: Optional[float] = None) -> Optional[Change]:
        """The next change; None when none came within so many seconds, and at the end."""
        self._engine.check_thread()
        deadline = None if timeout is None else time.monotonic() + timeout
        while True:
            change = self._queue.take()
            if change is not None or self._queue.ended:
                return change
            left = None if deadline is None else deadline - time.monotonic()
            if not self._library.run(left) and left is not None and left <= 0:
                return None

    def close(self) -> None:
        """Ends it, and drops what is held."""
        self._engine.check_thread()
        self._channel.remove(self._queue)
        self._queue.drop()
        self._queue.end()

    def __del__(self) -> None:
        if hasattr(self, '_queue') and self._engine.is_on_its_thread():
            self.close()
