/** What listings are made of. */
import { SortOrder, type Asset, type Library } from 'quorvin-client';
import { galleryLength } from './gallery_length.js';
import type { ListingSource } from './listing.js';
import { persistently } from './persistence.js';

export function gallerySource(library: Library, id: string, isByDate: boolean): ListingSource {
  const sort = isByDate ? SortOrder.newestFirst : SortOrder.gallery;
  return {
    isByDate,
    read: (start, end) => persistently(() => library.getAssetList(id, { start, end, sort })),
    length: () => persistently(() => galleryLength(library, id)),
  };
}

/** The members of a burst, which come all at once. */
export function burstSource(library: Library, id: string): ListingSource {
  const ask = () => persistently(() => library.getBurstAssetList(id));
  let members: Promise<readonly Asset[]> = ask();
  return {
    isByDate: false,
    read: async (start, end) => (await members).slice(start, end),
    length: async () => {
      members = ask();
      return (await members).length;
    },
  };
}
