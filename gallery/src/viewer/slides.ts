/** What the viewer shows of an asset. */
import type { SlideData } from 'photoswipe';
import type { Asset } from 'quorvin-client';
import {
  imageAddress,
  originalAddress,
  thumbnailAddress,
  videoAddress,
} from '../library/addresses.js';
import { kKindNames, type Kind } from '../library/kinds.js';
import { momentText } from '../timeline/date_texts.js';

export interface Slide extends SlideData {
  readonly asset?: Asset;
}

/** Of an asset whose size nobody knows. */
const kUnknownSize = { width: 1600, height: 1200 };
const kThumbnail = 512;

export function slideOf(asset: Asset | undefined, kind: Kind, thumbnail: string | null): Slide {
  // It is drawn again once its record has come.
  if (asset === undefined) return { type: 'html', html: '' };
  const { width, height } = asset.width > 0 && asset.height > 0 ? asset : kUnknownSize;
  const alt = `${kKindNames[kind]}, ${momentText(asset.creationDate)}`;
  if (kind === 'video' || kind === 'slow' || kind === 'audio') {
    return { type: 'media', asset, width, height, alt };
  }
  return {
    type: 'image',
    asset,
    src: imageAddress(asset.id),
    msrc: thumbnail ?? thumbnailAddress(asset.id, kThumbnail),
    width,
    height,
    alt,
    thumbCropped: true,
  };
}

/** A video or a sound with the browser's controls. */
export function mediaElement(asset: Asset, kind: Kind): HTMLElement {
  const frame = document.createElement('div');
  frame.className = 'viewer-media';
  const media = document.createElement(kind === 'audio' ? 'audio' : 'video');
  media.controls = true;
  media.preload = 'metadata';
  media.setAttribute('aria-label', kKindNames[kind]);
  media.src = kind === 'audio' ? originalAddress(asset.id) : videoAddress(asset.id);
  if (media instanceof HTMLVideoElement) {
    media.playsInline = true;
    media.poster = thumbnailAddress(asset.id, kThumbnail);
  }
  const fault = document.createElement('p');
  fault.className = 'viewer-fault';
  media.addEventListener('error', () => {
    if (media.getAttribute('src') === null) return;
    fault.textContent = 'This cannot be played.';
    fault.setAttribute('role', 'alert');
  });
  frame.append(media, fault);
  return frame;
}

/** Plays, as far as the browser lets a page begin by itself. */
export function play(element: HTMLElement | undefined): void {
  mediaIn(element)?.play().catch(() => {});
}

export function pause(element: HTMLElement | undefined): void {
  mediaIn(element)?.pause();
}

/** Ends loading too. */
export function release(element: HTMLElement | undefined): void {
  const media = mediaIn(element);
  if (media === null) return;
  media.pause();
  media.removeAttribute('src');
  media.load();
}

function mediaIn(element: HTMLElement | undefined): HTMLMediaElement | null {
  return element?.querySelector<HTMLMediaElement>('video, audio') ?? null;
}
