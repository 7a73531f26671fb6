"""How records are read from replies."""
from typing import Any, Dict

from ._replies import boolean, double, integer, map_of, one_of, text, tuple_of
from .records import Asset, AssetCount, Change, ExportedFile, Gallery, GalleryAssetCount, MediaType

_media_type = one_of(*map(int, MediaType))
_gallery_type = one_of('smart', 'user')
_identifiers = tuple_of(text)


def _asset(at: Any) -> Asset:
    return Asset(
        id=at('id', text),
        media_type=MediaType(at('mediaType', _media_type)),
        width=at('width', integer),
        height=at('height', integer),
        creation_date=at('creationDate', integer),
        modification_date=at('modificationDate', integer),
        duration=at('duration', double),
        is_favorite=at('isFavorite', boolean),
        is_hidden=at('isHidden', boolean),
        burst_identifier=at('burstIdentifier', text),
        represents_burst=at('representsBurst', boolean),
        burst_selection_types=at('burstSelectionTypes', integer),
        is_live_photo=at('isLivePhoto', boolean))


def _counts(at: Any) -> Dict[str, int]:
    return {
        'photo_count': at('photoCount', integer),
        'video_count': at('videoCount', integer),
        'audio_count': at('audioCount', integer),
        'total_count': at('totalCount', integer),
    }


asset = map_of(_asset)
asset_count = map_of(lambda at: AssetCount(**_counts(at)))
gallery = map_of(lambda at: Gallery(
    type=at('type', _gallery_type),
    id=at('id', text),
    title=at('title', text),
    asset_count=at('assetCount', asset_count)))
gallery_asset_count = map_of(
    lambda at: GalleryAssetCount(**_counts(at), first_asset_id=at('firstAssetId', text)))
exported_file = map_of(
    lambda at: ExportedFile(url=at('url', text), deletable=at('deletable', boolean)))
change = map_of(lambda at: Change(
    sequence=at('sequence', integer),
    inserted=at('inserted', _identifiers),
    changed=at('changed', _identifiers),
    removed=at('removed', _identifiers),
    galleries=at('galleries', _identifiers),
    complete=at('complete', boolean)))
