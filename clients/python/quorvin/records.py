"""What methods reply and events tell."""
from dataclasses import dataclass
from enum import IntEnum
from typing import Literal, Tuple


class MediaType(IntEnum):
    """What an asset is."""

    UNKNOWN = 0
    IMAGE = 1
    VIDEO = 2
    AUDIO = 3


@dataclass(frozen=True)
class Asset:
    """One asset of the library. What is unknown is 0, '' or False.

    `id` names it for as long as it exists. `width` and `height` are pixels, upright, the dates
    whole milliseconds since 1970-01-01 00:00 UTC, and `duration` milliseconds with their fraction,
    0 for a still. `burst_identifier` is '' outside any burst. Of `burst_selection_types` bit 0 says
    that the asset was picked automatically, and bit 1 by the user.
    """

    id: str
    media_type: MediaType
    width: int
    height: int
    creation_date: int
    modification_date: int
    duration: float
    is_favorite: bool
    is_hidden: bool
    burst_identifier: str
    represents_burst: bool
    burst_selection_types: int
    is_live_photo: bool


@dataclass(frozen=True)
class AssetCount:
    """Under the filter of one type, its count and the total are the same, and the other two are 0.

    What stands there under "all" is each method's own.
    """

    photo_count: int
    video_count: int
    audio_count: int
    total_count: int


@dataclass(frozen=True)
class Gallery:
    """The type is 'user' for the gallery of all assets and the user's albums; a title may be ''."""

    type: Literal['smart', 'user']
    id: str
    title: str
    asset_count: AssetCount


@dataclass(frozen=True)
class GalleryAssetCount(AssetCount):
    """`first_asset_id` is the first one in the order asked for, '' in an empty gallery."""

    first_asset_id: str


@dataclass(frozen=True)
class ExportedFile:
    """The plain path of a file, and whether it is the caller's to delete.

    One that is not is the library's own.
    """

    url: str
    deletable: bool


@dataclass(frozen=True)
class Change:
    """What a commit, or several close together, changed in the library.

    `inserted` are identifiers of assets that are new or restored, `changed` those whose record
    differs, or that were deleted and restored in between, `removed` those that were deleted, and
    `galleries` identifiers of galleries that are new, gone or of another title, or list other
    assets. `complete` is False when there was more than the lists tell: then ask for everything
    anew. `sequence` rises with each event of the engine.
    """

    sequence: int
    inserted: Tuple[str, ...]
    changed: Tuple[str, ...]
    removed: Tuple[str, ...]
    galleries: Tuple[str, ...]
    complete: bool


def incomplete_change(sequence: int) -> Change:
    """Says that something changed, and not what."""
    return Change(sequence, (), (), (), (), False)
