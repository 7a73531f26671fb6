import { MediaType, type Asset } from 'quorvin-client';

export type Kind = 'photo' | 'live' | 'burst' | 'video' | 'slow' | 'audio' | 'file';

export const kKindNames: Readonly<Record<Kind, string>> = {
  photo: 'Photo',
  live: 'Live photo',
  burst: 'Burst',
  video: 'Video',
  slow: 'Slow motion video',
  audio: 'Audio',
  file: 'File',
};

/** Records do not tell of slow motion: the album of such videos does. */
export function kindOf(asset: Asset, isSlow: boolean): Kind {
  switch (asset.mediaType) {
    case MediaType.image:
      if (asset.representsBurst) return 'burst';
      return asset.isLivePhoto ? 'live' : 'photo';
    case MediaType.video:
      return isSlow ? 'slow' : 'video';
    case MediaType.audio:
      return 'audio';
    default:
      return 'file';
  }
}

export function isMoving(kind: Kind): boolean {
  return kind === 'video' || kind === 'slow';
}
