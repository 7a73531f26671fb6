"""The 22 methods of the channel: what is sent, and how the reply is read."""
import operator
import os
from dataclasses import dataclass
from typing import Any, Callable, Dict, Generic, Iterable, List, Optional, TypeVar, Union

from . import _record_replies as records
from ._engine import PathLike
from ._replies import anything, boolean, data, done, list_of, nothing, or_none, read_reply, text
from .arguments import ContentMode, MediaFilter, SortOrder, VideoFormat
from .codec import ErrorReply, MethodCall, decode_envelope, encode_method_call
from .errors import LibraryClosedError, MethodNotImplementedError, QuorvinError
from .records import Asset, ExportedFile, Gallery, GalleryAssetCount
from .values import Value

T = TypeVar('T')

CHANNEL = 'quorvin'
CHANGE_CHANNEL = 'quorvin/changes'


@dataclass(frozen=True)
class Request(Generic[T]):
    """One call. `read` takes what the reply holds."""

    method: str
    arguments: Value
    read: Callable[[Any], T]
    channel: str = CHANNEL

    def message(self) -> bytes:
        return encode_method_call(MethodCall(self.method, self.arguments))

    def result(self, reply: Optional[bytes]) -> T:
        """What the call answers with: of no bytes, and of None for the end, an error."""
        if reply is None:
            raise LibraryClosedError('The library was closed before the reply came.')
        if not reply:
            raise MethodNotImplementedError(self.channel, self.method)
        return read_reply(self.method, result_of(reply), self.read)


def result_of(message: bytes) -> Any:
    """What the envelope holds; raises a QuorvinError when it is an error."""
    envelope = decode_envelope(message)
    if isinstance(envelope, ErrorReply):
        raise QuorvinError(envelope.code, envelope.message or '', envelope.details)
    return envelope.result


def any_call(method: str, arguments: Value) -> Request[Any]:
    return Request(method, arguments, anything)


def listen() -> Request[None]:
    return Request('listen', None, nothing, CHANGE_CHANNEL)


def cancel() -> Request[None]:
    return Request('cancel', None, nothing, CHANGE_CHANNEL)


def get_platform_version() -> Request[str]:
    return Request('getPlatformVersion', None, text)


def get_permission() -> Request[bool]:
    return Request('getPermission', None, boolean)


def clear_all_cache() -> Request[None]:
    return Request('clearAllCache', None, done)


def start_caching_images() -> Request[None]:
    return Request('startCachingImages', None, done)


def stop_caching_images() -> Request[None]:
    return Request('stopCachingImages', None, done)


def stop_all_caching_images() -> Request[None]:
    return Request('stopAllCachingImages', None, done)


def get_gallery_list(filter_empty_asset: bool, with_smart_album: bool,
                     media_type: MediaFilter) -> Request[List[Gallery]]:
    # The first must be there, and has no effect.
    return Request('getGalleryList', {
        'withAllPhotos': True,
        'filterEmptyAsset': filter_empty_asset,
        'withSmartAlbum': with_smart_album,
        'mediaType': operator.index(media_type),
    }, list_of(records.gallery))


def get_gallery_asset_count(collection_id: str, sort: SortOrder,
                            media_type: MediaFilter) -> Request[GalleryAssetCount]:
    return Request('getGalleryAssetCount', _selection(collection_id, sort, media_type),
                   records.gallery_asset_count)


def get_gallery_first_asset_id(collection_id: str, sort: SortOrder,
                               media_type: MediaFilter) -> Request[str]:
    return Request('getGalleryFirstAssetId', _selection(collection_id, sort, media_type), text)


def get_asset_list(collection_id: str, start: int, end: int, sort: SortOrder,
                   media_type: MediaFilter) -> Request[List[Asset]]:
    page = {'start': operator.index(start), 'end': operator.index(end)}
    return Request('getAssetList', {**_selection(collection_id, sort, media_type), **page},
                   list_of(records.asset))


def get_asset_info(asset_id: str) -> Request[Asset]:
    return Request('getAssetInfo', {'assetId': asset_id}, records.asset)


def get_thumbnail(asset_id: str, width: Union[int, float], height: Union[int, float],
                  content_mode: ContentMode, jpeg_format: bool) -> Request[Optional[bytes]]:
    return Request('getThumbnail', {
        'assetId': asset_id,
        'width': width,
        'height': height,
        'contentMode': operator.index(content_mode),
        'jpegFormat': jpeg_format,
    }, or_none(data))


def get_image_data(asset_id: str, convert_jpeg: bool) -> Request[bytes]:
    return Request('getImageData', {'assetId': asset_id, 'convertJpeg': convert_jpeg}, data)


def get_image_url(asset_id: str, convert_jpeg: bool, medium_quality: bool) -> Request[ExportedFile]:
    return Request('getImageUrl', {
        'assetId': asset_id,
        'convertJpeg': convert_jpeg,
        'mediumQuality': medium_quality,
    }, records.exported_file)


def get_live_photo_url(asset_id: str) -> Request[ExportedFile]:
    # The second must be there, and has no effect.
    return Request('getLivePhotoUrl', {'assetId': asset_id, 'mediumQuality': False},
                   records.exported_file)


def get_video_url(asset_id: str, medium_quality: bool,
                  video_format: VideoFormat) -> Request[ExportedFile]:
    return Request('getVideoUrl', {
        'assetId': asset_id,
        'mediumQuality': medium_quality,
        'videoFormat': operator.index(video_format),
    }, records.exported_file)


def get_burst_asset_list(asset_id: str) -> Request[List[Asset]]:
    return Request('getBurstAssetList', {'assetId': asset_id}, list_of(records.asset))


def get_asset_original_filename(asset_id: str) -> Request[Optional[str]]:
    return Request('getAssetOriginalFilename', {'assetId': asset_id}, or_none(text))


def delete_assets(asset_ids: Iterable[str]) -> Request[None]:
    return Request('deleteAssets', {'assetIds': list(asset_ids)}, done)


def create_album(title: str) -> Request[Gallery]:
    return Request('createAlbum', {'title': title}, records.gallery)


def save_image(file_path: PathLike, collection_id: Optional[str]) -> Request[Asset]:
    return Request('saveImage', _file(file_path, collection_id), records.asset)


def save_video(file_path: PathLike, collection_id: Optional[str]) -> Request[Asset]:
    return Request('saveVideo', _file(file_path, collection_id), records.asset)


def _selection(collection_id: str, sort: SortOrder, media_type: MediaFilter) -> Dict[str, Value]:
    return {'collectionId': collection_id, 'sort': operator.index(sort),
            'mediaType': operator.index(media_type)}


def _file(file_path: PathLike, collection_id: Optional[str]) -> Dict[str, Value]:
    arguments: Dict[str, Value] = {'filePath': os.fspath(file_path)}
    if collection_id is not None:
        arguments['collectionId'] = collection_id
    return arguments
