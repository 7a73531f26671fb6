/** How many assets a gallery lists. */
import { MediaFilter, type Library } from 'quorvin-client';

/**
 * Pages list every kind, and counts tell of images, videos and audio alone. So what lies behind the
 * counted end is looked at too.
 */
export async function galleryLength(library: Library, id: string): Promise<number> {
  const [seen, heard] = await Promise.all([
    library.getGalleryAssetCount(id, { mediaType: MediaFilter.all }),
    library.getGalleryAssetCount(id, { mediaType: MediaFilter.audio }),
  ]);
  const counted = seen.totalCount + heard.totalCount;
  const exists = async (index: number) =>
    (await library.getAssetList(id, { start: index, end: index + 1 })).length > 0;
  let low = counted;
  let step = 1;
  while (await exists(low + step - 1)) {
    low += step;
    step *= 2;
  }
  let high = low + step - 1;
  while (low < high) {
    const middle = Math.floor((low + high) / 2);
    if (await exists(middle)) low = middle + 1;
    else high = middle;
  }
  return low;
}
