import { callMethod } from './call_method.js';
import { ChangeChannel } from './change_channel.js';
import type { Changes } from './change_queue.js';
import {
  asset,
  exportedFile,
  gallery,
  galleryAssetCount,
  type Asset,
  type ExportedFile,
  type Gallery,
  type GalleryAssetCount,
} from './records.js';
import { boolean, bytes, done, listOf, orNull, readReply, text, type Read } from './replies.js';
import {
  ContentMode,
  MediaFilter,
  SortOrder,
  VideoFormat,
  type AssetPage,
  type AssetSelection,
  type ChangesOptions,
  type GalleryListOptions,
  type ImageDataOptions,
  type ImageUrlOptions,
  type SavingOptions,
  type ThumbnailOptions,
  type VideoUrlOptions,
} from './arguments.js';
import type { Transport } from './transport.js';
import type { Bytes, Value } from './value.js';

export const kChannelName = 'quorvin';

const assets = listOf(asset);
const galleries = listOf(gallery);

/**
 * The photo library behind a transport: one method for each of the channel's. Each may reject with
 * a `QuorvinError` (the texts are in quorvin's `docs/errors.md`), a `NotImplementedError`, a
 * `MalformedMessageError` or `UnexpectedReplyError` for a reply that is none, an
 * `UnencodableValueError` or a `RangeError` for arguments that cannot be sent, and the transport's
 * errors. A transport serves one library.
 */
export class Library {
  readonly #transport: Transport;
  readonly #changes: ChangeChannel;

  constructor(transport: Transport) {
    this.#transport = transport;
    this.#changes = new ChangeChannel(transport);
  }

  /** Any method, with its arguments and result as values of the codec. */
  call(method: string, args: Value = null): Promise<Value> {
    return callMethod(this.#transport, kChannelName, method, args);
  }

  /**
   * Changes of the library, by whomever, from this call on: what is asked after it is not older.
   *
   *     for await (const change of library.changes()) show(change);
   *
   * Each iterator holds what was not asked for yet. One more than `limit` makes all of them one
   * change with `complete` false and empty lists; a new connection adds such a change, for what
   * happened in between. So nothing is passed over unnoticed. It throws when the engine cannot watch
   * the library, and is done when the transport is closed. One that is not iterated to its end needs
   * `return()`.
   */
  changes({ limit = 100 }: ChangesOptions = {}): Changes {
    if (!(limit >= 1)) throw new RangeError('The limit of changes must be at least 1.');
    return this.#changes.open(limit);
  }

  /** The text `iOS ` and the system's version. */
  getPlatformVersion(): Promise<string> {
    return this.#ask('getPlatformVersion', null, text);
  }

  /** True when the library may be used in full; asks the user when nothing was decided yet. */
  getPermission(): Promise<boolean> {
    return this.#ask('getPermission', null, boolean);
  }

  /** Empties the cache from identifiers to assets. */
  clearAllCache(): Promise<void> {
    return this.#ask('clearAllCache', null, done);
  }

  /** Is accepted and does nothing: previews come by themselves. */
  startCachingImages(): Promise<void> {
    return this.#ask('startCachingImages', null, done);
  }

  /** Is accepted and does nothing. */
  stopCachingImages(): Promise<void> {
    return this.#ask('stopCachingImages', null, done);
  }

  /** Is accepted and does nothing. */
  stopAllCachingImages(): Promise<void> {
    return this.#ask('stopAllCachingImages', null, done);
  }

  /** The smart albums, the gallery of all assets, then the user's albums. */
  async getGalleryList(options: GalleryListOptions = {}): Promise<Gallery[]> {
    const args = {
      withAllPhotos: true,
      filterEmptyAsset: options.filterEmptyAsset ?? false,
      withSmartAlbum: options.withSmartAlbum ?? true,
      mediaType: integer('mediaType', options.mediaType ?? MediaFilter.all),
    };
    return this.#ask('getGalleryList', args, galleries);
  }

  /** How much a gallery holds. Under "all" it is images and videos, each under its key. */
  async getGalleryAssetCount(
    collectionId: string,
    options: AssetSelection = {},
  ): Promise<GalleryAssetCount> {
    const args = { collectionId, ...selection(options) };
    return this.#ask('getGalleryAssetCount', args, galleryAssetCount);
  }

  /** The identifier of a gallery's first asset; "all" means images and videos. */
  async getGalleryFirstAssetId(
    collectionId: string,
    options: AssetSelection = {},
  ): Promise<string> {
    const args = { collectionId, ...selection(options) };
    return this.#ask('getGalleryFirstAssetId', args, text);
  }

  /**
   * A page of a gallery; "all" filters nothing. An unknown gallery and a page beyond the end are
   * empty.
   */
  async getAssetList(collectionId: string, page: AssetPage): Promise<Asset[]> {
    const args = {
      collectionId,
      start: integer('start', page.start),
      end: integer('end', page.end),
      ...selection(page),
    };
    return this.#ask('getAssetList', args, assets);
  }

  getAssetInfo(assetId: string): Promise<Asset> {
    return this.#ask('getAssetInfo', { assetId }, asset);
  }

  /**
   * The encoded image: upright, in sRGB, never larger than the original; of a video its first
   * frame. Null for an audio item, and when the image cannot be encoded.
   */
  async getThumbnail(assetId: string, options: ThumbnailOptions): Promise<Bytes | null> {
    const args = {
      assetId,
      width: options.width,
      height: options.height,
      contentMode: integer('contentMode', options.contentMode ?? ContentMode.fit),
      jpegFormat: options.jpegFormat ?? true,
    };
    return this.#ask('getThumbnail', args, orNull(bytes));
  }

  /** The bytes of an image's file, or of its latest edit's. */
  getImageData(assetId: string, options: ImageDataOptions = {}): Promise<Bytes> {
    const args = { assetId, convertJpeg: options.convertJpeg ?? false };
    return this.#ask('getImageData', args, bytes);
  }

  /** Exports an image. */
  getImageUrl(assetId: string, options: ImageUrlOptions = {}): Promise<ExportedFile> {
    const args = {
      assetId,
      convertJpeg: options.convertJpeg ?? false,
      mediumQuality: options.mediumQuality ?? false,
    };
    return this.#ask('getImageUrl', args, exportedFile);
  }

  /** Exports the motion part of a live photo, as it is stored. */
  getLivePhotoUrl(assetId: string): Promise<ExportedFile> {
    // It must be there, and has no effect.
    return this.#ask('getLivePhotoUrl', { assetId, mediumQuality: false }, exportedFile);
  }

  /**
   * The library's own file of a video that is asked for as it is, else an exported one. There is no
   * reply when an export ends in a status that is no end.
   */
  async getVideoUrl(assetId: string, options: VideoUrlOptions = {}): Promise<ExportedFile> {
    const args = {
      assetId,
      mediumQuality: options.mediumQuality ?? false,
      videoFormat: integer('videoFormat', options.videoFormat ?? VideoFormat.original),
    };
    return this.#ask('getVideoUrl', args, exportedFile);
  }

  /** All members of a burst, by creation date and name; `assetId` is the one that represents it. */
  getBurstAssetList(assetId: string): Promise<Asset[]> {
    return this.#ask('getBurstAssetList', { assetId }, assets);
  }

  /** The name of the asset's first photo or video file, else of its first; null without any. */
  getAssetOriginalFilename(assetId: string): Promise<string | null> {
    return this.#ask('getAssetOriginalFilename', { assetId }, orNull(text));
  }

  /** Takes assets out of the library, in one change. They stay restorable for 30 days. */
  deleteAssets(assetIds: readonly string[]): Promise<void> {
    return this.#ask('deleteAssets', { assetIds }, done);
  }

  /** Makes an album. Any title will do, also one that another album has. */
  createAlbum(title: string): Promise<Gallery> {
    return this.#ask('createAlbum', { title }, gallery);
  }

  /** Copies an image, a file on the machine of the engine, into the library. */
  saveImage(filePath: string, options: SavingOptions = {}): Promise<Asset> {
    return this.#ask('saveImage', { filePath, ...album(options) }, asset);
  }

  /** The same for a video. */
  saveVideo(filePath: string, options: SavingOptions = {}): Promise<Asset> {
    return this.#ask('saveVideo', { filePath, ...album(options) }, asset);
  }

  async #ask<T>(method: string, args: Record<string, Value> | null, read: Read<T>): Promise<T> {
    const result = await this.call(method, args && new Map(Object.entries(args)));
    return readReply(method, result, read);
  }
}

function selection({ sort = SortOrder.newestFirst, mediaType = MediaFilter.all }: AssetSelection) {
  return { sort: integer('sort', sort), mediaType: integer('mediaType', mediaType) };
}

function album({ collectionId }: SavingOptions): { collectionId?: string } {
  return collectionId === undefined ? {} : { collectionId };
}

function integer(name: string, value: number): bigint {
  if (Number.isSafeInteger(value)) return BigInt(value);
  throw new RangeError(`The argument "${name}" must be an integer, and is ${value}.`);
}
