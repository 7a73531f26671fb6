"""What methods are asked with."""
from enum import IntEnum


class MediaFilter(IntEnum):
    """Which assets count. What ALL means is each method's own."""

    ALL = 0
    IMAGES = 1
    VIDEOS = 2
    AUDIO = 3


class SortOrder(IntEnum):
    """By creation date, or as the gallery has them: the order of addition, or the album's own."""

    NEWEST_FIRST = 0
    OLDEST_FIRST = 1
    GALLERY = 2


class ContentMode(IntEnum):
    """How a thumbnail meets its target: it fits inside, or covers it."""

    FIT = 0
    COVER = 1


class VideoFormat(IntEnum):
    ORIGINAL = 0
    QUICK_TIME = 1
    MPEG4 = 2


class Authorization(IntEnum):
    """What the user lets an engine see."""

    NOT_DETERMINED = 0
    RESTRICTED = 1
    DENIED = 2
    AUTHORIZED = 3
    LIMITED = 4
