"""The photo library of a quorvin engine.

    with quorvin.open('/home/me/Photos/library') as library:
        for gallery in library.get_gallery_list():
            print(gallery.title, gallery.asset_count.total_count)

`quorvin.aio` has the same for asyncio.
"""
from . import aio, codec
from .arguments import Authorization, ContentMode, MediaFilter, SortOrder, VideoFormat
from .errors import (Error, LibraryClosedError, MalformedMessageError, MethodNotImplementedError,
                     OpenError, QuorvinError, UnencodableValueError, UnexpectedReplyError,
                     WrongThreadError)
from .library import Changes, Library, open
from .records import (Asset, AssetCount, Change, ExportedFile, Gallery, GalleryAssetCount,
                      MediaType)
from .values import LargeInteger, Pairs, Value

__all__ = [
    'Asset', 'AssetCount', 'Authorization', 'Change', 'Changes', 'ContentMode', 'Error',
    'ExportedFile', 'Gallery', 'GalleryAssetCount', 'LargeInteger', 'Library', 'LibraryClosedError',
    'MalformedMessageError', 'MediaFilter', 'MediaType', 'MethodNotImplementedError', 'OpenError',
    'Pairs', 'QuorvinError', 'SortOrder', 'UnencodableValueError', 'UnexpectedReplyError', 'Value',
    'VideoFormat', 'WrongThreadError', 'aio', 'codec', 'open',
]
