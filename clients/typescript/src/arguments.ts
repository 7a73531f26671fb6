/** What methods are asked with. What is left out is as the comments say. */

/** Which assets count. What "all" means is each method's own. */
export const MediaFilter = { all: 0, images: 1, videos: 2, audio: 3 } as const;
export type MediaFilter = (typeof MediaFilter)[keyof typeof MediaFilter];

/** By creation date, or as the gallery has them: the order of addition, or the album's own. */
export const SortOrder = { newestFirst: 0, oldestFirst: 1, gallery: 2 } as const;
export type SortOrder = (typeof SortOrder)[keyof typeof SortOrder];

/** How a thumbnail meets its target. */
export const ContentMode = {
  /** Fits inside. */
  fit: 0,
  /** Covers it. */
  cover: 1,
} as const;
export type ContentMode = (typeof ContentMode)[keyof typeof ContentMode];

export const VideoFormat = { original: 0, quickTime: 1, mpeg4: 2 } as const;
export type VideoFormat = (typeof VideoFormat)[keyof typeof VideoFormat];

export interface GalleryListOptions {
  /** Leaves out galleries without a matching asset; false. */
  readonly filterEmptyAsset?: boolean;
  /** False leaves out the gallery of all assets, and no other; true. */
  readonly withSmartAlbum?: boolean;
  /** The filter of the counts, under which "all" is images and videos; all. */
  readonly mediaType?: MediaFilter;
}

export interface AssetSelection {
  /** Newest first. */
  readonly sort?: SortOrder;
  /** All. */
  readonly mediaType?: MediaFilter;
}

export interface AssetPage extends AssetSelection {
  /** The first index; below 0 counts as 0. */
  readonly start: number;
  /** One past the last index: at least 1, and more than `start`. */
  readonly end: number;
}

export interface ThumbnailOptions {
  /** The target in pixels, which may have fractions. */
  readonly width: number;
  readonly height: number;
  /** Fits inside. */
  readonly contentMode?: ContentMode;
  /** JPEG at the best quality, else PNG; true. */
  readonly jpegFormat?: boolean;
}

export interface ImageDataOptions {
  /** An image that is stored as HEIC becomes a JPEG of the best quality; false. */
  readonly convertJpeg?: boolean;
}

export interface ImageUrlOptions {
  /** An image that is stored as HEIC or HEIF becomes a JPEG of the best quality; false. */
  readonly convertJpeg?: boolean;
  /** A JPEG that fits into 1024 × 1024 pixels, whatever the image is stored as; false. */
  readonly mediumQuality?: boolean;
}

export interface VideoUrlOptions {
  /** Encoded again, within 568 × 320 pixels, or 480 × 360; false. */
  readonly mediumQuality?: boolean;
  /** Original: as it is, where it is one file. */
  readonly videoFormat?: VideoFormat;
}

export interface SavingOptions {
  /** A user album that gets the new asset; none. */
  readonly collectionId?: string;
}

export interface ChangesOptions {
  /** How many changes are held until they are asked for; 100. */
  readonly limit?: number;
}
