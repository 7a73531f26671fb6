/** Where the server has an asset's pictures and files. */

function asset(id: string, what: string): string {
  return `asset/${encodeURIComponent(id)}/${what}`;
}

export const kThumbnailSizes = [256, 512] as const;

/** What a photo is shown with in a square of so many device pixels, or hardly less. */
export function thumbnailSize(pixels: number): number {
  return kThumbnailSizes.find((size) => size >= pixels) ?? 512;
}

export const thumbnailAddress = (id: string, size: number) => asset(id, `thumbnail?size=${size}`);
export const imageAddress = (id: string) => asset(id, 'image');
export const videoAddress = (id: string) => asset(id, 'video');
export const originalAddress = (id: string) => asset(id, 'original');
