import { videoAddress } from '../library/addresses.js';

/** Plays the motion of a live photo over its still, as long as somebody holds it. */
export class LivePlayer {
  #video: HTMLVideoElement | null = null;

  /** Covers a still of this size in the element. */
  start(assetId: string, element: HTMLElement, width: number, height: number): void {
    if (this.#video !== null) return;
    const video = document.createElement('video');
    video.className = 'live-motion';
    video.muted = true;
    video.playsInline = true;
    video.loop = true;
    video.style.width = `${width}px`;
    video.style.height = `${height}px`;
    video.addEventListener('playing', () => video.classList.add('playing'));
    video.src = videoAddress(assetId);
    element.append(video);
    this.#video = video;
    video.play().catch(() => {});
  }

  stop(): void {
    const video = this.#video;
    this.#video = null;
    if (video === null) return;
    video.pause();
    video.removeAttribute('src');
    video.load();
    video.remove();
  }
}
