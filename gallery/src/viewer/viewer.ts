import PhotoSwipe from 'photoswipe';
import 'photoswipe/style.css';
import type { Asset } from 'quorvin-client';
import type { Kind } from '../library/kinds.js';
import type { Listing, ListingListener, Watched } from '../library/listing.js';
import '../styles/viewer.css';
import { LivePlayer } from './live_player.js';
import { mediaElement, pause, play, release, slideOf } from './slides.js';

export interface ViewerOptions {
  readonly listing: Listing;
  readonly index: number;
  readonly kindOf: (asset: Asset) => Kind;
  /** The picture in the grid that the viewer grows from. */
  readonly pictureOf: (index: number) => HTMLImageElement | null;
  /** Another asset is shown, or the first one; null: nothing is known of it yet. */
  readonly shown: (asset: Asset | null, index: number) => void;
  /** It begins to close; nothing that is done from then on is meant for it. */
  readonly closing: () => void;
  readonly closed: () => void;
  readonly keyPressed: (event: KeyboardEvent) => void;
}

/** Records that are asked for on both sides of what is shown. */
const kBeside = 40;

/** One asset after another in full size, in the order of a listing. */
export class Viewer implements ListingListener {
  readonly #options: ViewerOptions;
  readonly #swipe: PhotoSwipe;
  readonly #live = new LivePlayer();
  readonly #end: () => void;
  #current: Watched | null = null;
  #isClosing = false;

  constructor(options: ViewerOptions) {
    this.#options = options;
    const isStill = matchMedia('(prefers-reduced-motion: reduce)').matches;
    this.#swipe = new PhotoSwipe({
      index: options.index,
      loop: false,
      bgOpacity: 1,
      trapFocus: false,
      returnFocus: false,
      close: false,
      zoom: false,
      counter: false,
      arrowPrevTitle: 'Previous',
      arrowNextTitle: 'Next',
      errorMsg: 'This picture cannot be shown.',
      showHideAnimationType: isStill ? 'none' : 'zoom',
      wheelToZoom: true,
      mainClass: 'viewer',
    });
    this.#describeSlides();
    this.#handleMedia();
    this.#handleEvents();
    this.#end = options.listing.listen(this);
    this.#swipe.init();
  }

  /** The root, that bars and panels are put into. */
  get element(): HTMLElement {
    return this.#swipe.element as HTMLElement;
  }

  get current(): Asset | null {
    return this.#current?.asset ?? null;
  }

  watched(): readonly Watched[] {
    return this.#current === null ? [] : [this.#current];
  }

  learned(): void {
    // Slides whose record was not there are drawn now.
    for (const { slide } of this.#swipe.mainScroll.itemHolders) {
      if (slide === undefined || slide.data['asset'] !== undefined) continue;
      if (this.#options.listing.record(slide.index) !== undefined) this.#redraw(slide.index);
    }
    if (this.#current === null) this.#tellShown();
  }

  replaced(places: ReadonlyMap<string, number>): void {
    const { listing } = this.#options;
    if (listing.count === 0) return this.close();
    const asset = this.#current?.asset;
    const index = (asset && places.get(asset.id)) ?? Math.min(this.#swipe.currIndex, listing.count - 1);
    this.#moveTo(index);
    this.#tellShown();
  }

  close(): void {
    this.#beginToClose();
    // While it opens it would not hear of it.
    if (this.#swipe.opener.isOpen) this.#swipe.close();
    else this.#swipe.on('openingAnimationEnd', () => this.#swipe.close());
  }

  /** Ends it at once. */
  destroy(): void {
    this.#end();
    this.#live.stop();
    if (!this.#swipe.isDestroying) this.#swipe.destroy();
  }

  goTo(index: number): void {
    this.#swipe.goTo(index);
  }

  toggleZoom(): void {
    this.#swipe.toggleZoom();
  }

  playLive(): void {
    const { currSlide } = this.#swipe;
    const asset = this.current;
    if (asset === null || currSlide === undefined) return;
    const { container, content, width, height, zoomLevels } = currSlide;
    const shownWidth = content.displayedImageWidth || width * zoomLevels.fit;
    const shownHeight = content.displayedImageHeight || height * zoomLevels.fit;
    this.#live.start(asset.id, container, shownWidth, shownHeight);
  }

  stopLive(): void {
    this.#live.stop();
  }

  #describeSlides(): void {
    const { listing, kindOf, pictureOf } = this.#options;
    this.#swipe.addFilter('numItems', () => listing.count);
    this.#swipe.addFilter('itemData', (_, index) => {
      const asset = listing.record(index);
      const kind = asset === undefined ? 'photo' : kindOf(asset);
      return slideOf(asset, kind, pictureOf(index)?.src ?? null);
    });
    this.#swipe.addFilter('thumbEl', (element, _, index) => pictureOf(index) ?? (element as HTMLElement));
  }

  #handleMedia(): void {
    const swipe = this.#swipe;
    swipe.on('contentLoad', (event) => {
      const { content } = event;
      if (content.type !== 'media') return;
      event.preventDefault();
      const asset = content.data['asset'] as Asset;
      content.element = mediaElement(asset, this.#options.kindOf(asset)) as HTMLDivElement;
      content.state = 'loaded';
      content.onLoaded();
    });
    swipe.on('contentActivate', ({ content }) => {
      if (content.type === 'media') play(content.element);
    });
    swipe.on('contentDeactivate', ({ content }) => {
      this.#live.stop();
      if (content.type === 'media') pause(content.element);
    });
    swipe.on('contentDestroy', ({ content }) => {
      if (content.type === 'media') release(content.element);
    });
    // The controls of a video are the browser's.
    swipe.addFilter('preventPointerEvent', (isPrevented, event) => isPrevented && !isOfControls(event));
    swipe.on('pointerDown', (event) => isOfControls(event.originalEvent) && event.preventDefault());
    swipe.addFilter('isContentZoomable', (isZoomable, content) =>
      content.type === 'media' ? false : isZoomable,
    );
  }

  #handleEvents(): void {
    const swipe = this.#swipe;
    swipe.on('change', () => this.#tellShown());
    swipe.on('close', () => this.#beginToClose());
    swipe.on('destroy', () => {
      this.#end();
      this.#live.stop();
      this.#options.closed();
    });
    swipe.on('keydown', (event) => {
      const { originalEvent } = event;
      const isOfMedia = originalEvent.target instanceof HTMLMediaElement;
      if (isOfMedia && originalEvent.key !== 'Escape') event.preventDefault();
      else this.#options.keyPressed(originalEvent);
      if (originalEvent.key === 'Escape' && !originalEvent.defaultPrevented) {
        originalEvent.preventDefault();
        this.close();
      }
      if (originalEvent.defaultPrevented) event.preventDefault();
    });
    swipe.on('afterInit', () => {
      this.element.setAttribute('aria-label', 'Viewer');
      this.element.setAttribute('aria-modal', 'true');
      this.element.focus();
    });
  }

  #beginToClose(): void {
    if (this.#isClosing) return;
    this.#isClosing = true;
    this.#live.stop();
    this.#options.closing();
  }

  #tellShown(): void {
    if (this.#isClosing) return;
    const { listing, shown } = this.#options;
    const index = this.#swipe.currIndex;
    listing.want(Math.max(index - kBeside, 0), index + kBeside);
    const asset = listing.record(index) ?? null;
    this.#current = asset === null ? null : { asset, index };
    shown(asset, index);
  }

  /** What is shown lies elsewhere now; only what is another than before is drawn anew. */
  #moveTo(index: number): void {
    const swipe = this.#swipe;
    const moved = index - swipe.currIndex;
    // Contents are held by index, and would be taken for others.
    for (const { slide } of swipe.mainScroll.itemHolders) {
      if (slide !== undefined) swipe.contentLoader.removeByIndex(slide.index);
    }
    swipe.contentLoader.destroy();
    swipe.currIndex += moved;
    swipe.potentialIndex += moved;
    for (const { slide } of swipe.mainScroll.itemHolders) {
      if (slide === undefined) continue;
      slide.index += moved;
      slide.content.index += moved;
      swipe.contentLoader.addToCache(slide.content);
    }
    for (const at of [index - 1, index, index + 1]) this.#redrawIfOther(at);
  }

  #redrawIfOther(index: number): void {
    const held = this.#swipe.mainScroll.itemHolders.find(({ slide }) => slide?.index === index);
    const shown = held?.slide?.data['asset'] as Asset | undefined;
    const now = this.#options.listing.record(index);
    if (shown?.id !== now?.id || now === undefined) this.#redraw(index);
  }

  #redraw(index: number): void {
    this.#swipe.refreshSlideContent(index);
  }
}

/** Pixels at the lower edge of a video in which its controls lie. */
const kControls = 64;

function isOfControls(event: Event): boolean {
  if (!(event instanceof PointerEvent) || !(event.target instanceof HTMLMediaElement)) return false;
  const { bottom } = event.target.getBoundingClientRect();
  return event.target instanceof HTMLAudioElement || event.clientY > bottom - kControls;
}
