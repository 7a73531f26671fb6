/** What methods reply and events tell, and how it is read. */
import {
  boolean,
  double,
  integer,
  listOf,
  mapOf,
  milliseconds,
  oneOf,
  text,
  type Read,
} from './replies.js';

/** What an asset is. */
export const MediaType = { unknown: 0, image: 1, video: 2, audio: 3 } as const;
export type MediaType = (typeof MediaType)[keyof typeof MediaType];

/** One asset of the library. What is unknown is 0, `""` or false. */
export interface Asset {
  /** Names the asset for as long as it exists. */
  readonly id: string;
  readonly mediaType: MediaType;
  /** Pixels, upright. */
  readonly width: number;
  readonly height: number;
  /** Whole milliseconds since 1970-01-01 00:00 UTC, as `new Date` takes them. */
  readonly creationDate: number;
  readonly modificationDate: number;
  /** Milliseconds with their fraction; 0 for a still. */
  readonly duration: number;
  readonly isFavorite: boolean;
  readonly isHidden: boolean;
  /** `""` outside any burst. */
  readonly burstIdentifier: string;
  readonly representsBurst: boolean;
  /** Bit 0: picked automatically; bit 1: picked by the user. */
  readonly burstSelectionTypes: number;
  readonly isLivePhoto: boolean;
}

/**
 * Under the filter of one type, its count and the total are the same, and the other two are 0. What
 * stands there under "all" is each method's own.
 */
export interface AssetCount {
  readonly photoCount: number;
  readonly videoCount: number;
  readonly audioCount: number;
  readonly totalCount: number;
}

export interface Gallery {
  /** `user` for the gallery of all assets and the user's albums. */
  readonly type: 'smart' | 'user';
  readonly id: string;
  /** `""` when there is none. */
  readonly title: string;
  readonly assetCount: AssetCount;
}

export interface GalleryAssetCount extends AssetCount {
  /** The first asset in the order asked for; `""` in an empty gallery. */
  readonly firstAssetId: string;
}

/** A file on the machine of the engine. */
export interface ExportedFile {
  /** The plain path. */
  readonly url: string;
  /** False for a file of the library's own; every other one is the caller's to delete. */
  readonly deletable: boolean;
}

/** What a commit, or several close together, changed in the library. */
export interface Change {
  /** Rises with each event of a connection. One that the client makes has that of the last event. */
  readonly sequence: number;
  /** Identifiers of assets that are new, or restored. */
  readonly inserted: readonly string[];
  /** Those whose record differs, or that were deleted and restored in between. */
  readonly changed: readonly string[];
  /** Those that were deleted. */
  readonly removed: readonly string[];
  /** Identifiers of galleries that are new, gone or of another title, or list other assets. */
  readonly galleries: readonly string[];
  /** False: there was more than the lists tell; ask for everything anew. */
  readonly complete: boolean;
}

const mediaType = oneOf(0n, 1n, 2n, 3n);

export const asset: Read<Asset> = mapOf((at) => ({
  id: at('id', text),
  mediaType: Number(at('mediaType', mediaType)) as MediaType,
  width: at('width', integer),
  height: at('height', integer),
  creationDate: at('creationDate', milliseconds),
  modificationDate: at('modificationDate', milliseconds),
  duration: at('duration', double),
  isFavorite: at('isFavorite', boolean),
  isHidden: at('isHidden', boolean),
  burstIdentifier: at('burstIdentifier', text),
  representsBurst: at('representsBurst', boolean),
  burstSelectionTypes: at('burstSelectionTypes', integer),
  isLivePhoto: at('isLivePhoto', boolean),
}));

type At = <E>(key: string, read: Read<E>) => E;

const countsAt = (at: At): AssetCount => ({
  photoCount: at('photoCount', integer),
  videoCount: at('videoCount', integer),
  audioCount: at('audioCount', integer),
  totalCount: at('totalCount', integer),
});

export const gallery: Read<Gallery> = mapOf((at) => ({
  type: at('type', oneOf('smart', 'user')),
  id: at('id', text),
  title: at('title', text),
  assetCount: at('assetCount', mapOf(countsAt)),
}));

export const galleryAssetCount: Read<GalleryAssetCount> = mapOf((at) => ({
  ...countsAt(at),
  firstAssetId: at('firstAssetId', text),
}));

export const exportedFile: Read<ExportedFile> = mapOf((at) => ({
  url: at('url', text),
  deletable: at('deletable', boolean),
}));

export const change: Read<Change> = mapOf((at) => ({
  sequence: at('sequence', integer),
  inserted: at('inserted', listOf(text)),
  changed: at('changed', listOf(text)),
  removed: at('removed', listOf(text)),
  galleries: at('galleries', listOf(text)),
  complete: at('complete', boolean),
}));
