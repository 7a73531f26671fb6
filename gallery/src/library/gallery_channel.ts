import { callMethod, UnexpectedReplyError, type Transport, type Value } from 'quorvin-client';

const kChannelName = 'quorvin/gallery';

/** What the server does for the page beside the library's own methods. */
export class GalleryChannel {
  readonly #transport: Transport;

  constructor(transport: Transport) {
    this.#transport = transport;
  }

  /** Takes deleted assets back. */
  restoreAssets(assetIds: readonly string[]): Promise<void> {
    return this.#ask('restoreAssets', { assetIds });
  }

  /** Adds assets of the library to an album of the user's. */
  addToAlbum(collectionId: string, assetIds: readonly string[]): Promise<void> {
    return this.#ask('addToAlbum', { collectionId, assetIds });
  }

  async #ask(method: string, args: Record<string, Value>): Promise<void> {
    const values = new Map(Object.entries(args));
    const result = await callMethod(this.#transport, kChannelName, method, values);
    if (result !== true) throw new UnexpectedReplyError(method, '', 'true');
  }
}
