import type { Asset } from 'quorvin-client';
import { thumbnailAddress } from '../library/addresses.js';
import { kKindNames, type Kind } from '../library/kinds.js';
import { iconElement } from '../shell/icon.js';
import type { IconName } from '../shell/icon_paths.js';
import { durationText, momentText } from '../timeline/date_texts.js';

/** What a cell shows of an asset. */
export interface CellContent {
  readonly asset: Asset;
  readonly kind: Kind;
  /** Members of a burst, where that is known. */
  readonly members: number | null;
  readonly isGone: boolean;
}

const kBadges: Readonly<Record<Kind, IconName>> = {
  photo: 'photos',
  live: 'live',
  burst: 'burst',
  video: 'play',
  slow: 'slow',
  audio: 'audio',
  file: 'file',
};

type PictureState = 'empty' | 'loading' | 'ready' | 'broken';

/** One square of the grid. It shows one asset after another. */
export class Cell {
  readonly element = document.createElement('div');
  readonly #image = document.createElement('img');
  readonly #badge = document.createElement('span');
  readonly #favorite = document.createElement('span');
  readonly #check = document.createElement('button');
  index = -1;
  id: string | null = null;
  #address = '';
  #hasNoPicture = false;
  #state: PictureState = 'empty';
  #shown: string | null = null;
  #column = -1;
  #indent = 0;
  #isReachable = false;
  #isSelected = false;

  constructor() {
    this.element.className = 'cell';
    this.element.setAttribute('role', 'gridcell');
    this.element.setAttribute('aria-selected', 'false');
    this.element.tabIndex = -1;
    this.#image.alt = '';
    this.#image.decoding = 'async';
    // Pictures of low priority wait until others are there.
    this.#image.fetchPriority = 'high';
    this.#image.draggable = false;
    this.#image.addEventListener('load', () => this.#setState('ready'));
    this.#image.addEventListener('error', () => {
      if (this.#state === 'loading') this.#setState('broken');
    });
    this.#badge.className = 'badge';
    this.#favorite.className = 'favorite';
    this.#favorite.append(iconElement('favorite', true));
    this.#check.className = 'check';
    this.#check.type = 'button';
    this.#check.tabIndex = -1;
    this.#check.setAttribute('aria-label', 'Select');
    this.#check.setAttribute('aria-pressed', 'false');
    this.#check.append(iconElement('check'));
    this.element.append(this.#image, this.#badge, this.#favorite, this.#check);
  }

  get isLoading(): boolean {
    return this.#state === 'loading';
  }

  /** `indent`: pixels to the cell before, beside the usual ones. */
  place(index: number, column: number, indent: number): void {
    this.index = index;
    // What is written to the document without need costs time when many cells move.
    if (column !== this.#column) this.element.setAttribute('aria-colindex', String(column + 1));
    if (indent !== this.#indent) this.element.style.marginLeft = indent > 0 ? `${indent}px` : '';
    this.#column = column;
    this.#indent = indent;
  }

  /** Null: nothing is known yet of what lies there. */
  show(content: CellContent | null): void {
    const { id } = content?.asset ?? { id: null };
    if (id !== this.id) {
      this.id = id;
      this.#forgetPicture();
    }
    const shown = content === null ? '' : descriptionOf(content);
    if (shown === this.#shown) return;
    this.#shown = shown;
    if (content === null) return this.#showNothing();
    const { asset, kind, isGone } = content;
    this.#hasNoPicture = kind === 'audio' || kind === 'file';
    if (this.#hasNoPicture) {
      this.#image.remove();
      this.#setState('broken');
    } else if (this.#image.parentElement === null) {
      this.element.prepend(this.#image);
    }
    this.element.dataset['asset'] = asset.id;
    this.element.dataset['kind'] = kind;
    this.element.setAttribute('aria-label', labelOf(content));
    this.element.classList.toggle('gone', isGone);
    this.#favorite.hidden = !asset.isFavorite;
    this.#showBadge(content);
  }

  /** Begins to load the thumbnail, unless it is there. */
  load(size: number): void {
    if (this.id === null || this.#hasNoPicture) return;
    const address = thumbnailAddress(this.id, size);
    if (this.#address === address && this.#state !== 'empty') return;
    this.#address = address;
    this.#setState('loading');
    this.#image.src = address;
  }

  /** Gives up what is not there yet. */
  stop(): void {
    if (this.#state === 'loading') this.#forgetPicture();
  }

  /** A picture that failed is asked for again when it is loaded next. */
  retry(): void {
    if (this.#state === 'broken') this.#forgetPicture();
  }

  setSelected(isSelected: boolean): void {
    const value = String(isSelected);
    if (isSelected === this.#isSelected) return;
    this.#isSelected = isSelected;
    this.element.setAttribute('aria-selected', value);
    this.#check.setAttribute('aria-pressed', value);
  }

  setReachable(isReachable: boolean): void {
    if (isReachable === this.#isReachable) return;
    this.#isReachable = isReachable;
    this.element.tabIndex = isReachable ? 0 : -1;
  }

  #showNothing(): void {
    delete this.element.dataset['asset'];
    delete this.element.dataset['kind'];
    this.element.setAttribute('aria-label', 'Not loaded yet');
    this.element.classList.remove('gone');
    this.#favorite.hidden = true;
    this.#badge.hidden = true;
  }

  #showBadge({ asset, kind, members }: CellContent): void {
    const icon = kBadges[kind];
    this.#badge.hidden = false;
    const hasDuration = asset.duration > 0 && kind !== 'live';
    const text = hasDuration ? durationText(asset.duration) : (members ?? '');
    this.#badge.replaceChildren(iconElement(icon, icon === 'play'), String(text));
  }

  #forgetPicture(): void {
    if (this.#state === 'empty') return;
    this.#setState('empty');
    this.#image.removeAttribute('src');
    this.#address = '';
  }

  #setState(state: PictureState): void {
    this.#state = state;
    this.element.dataset['picture'] = state;
  }
}

function labelOf({ asset, kind, members }: CellContent): string {
  const parts = [kKindNames[kind], momentText(asset.creationDate)];
  if (asset.duration > 0 && kind !== 'live') parts.push(durationText(asset.duration));
  if (members !== null) parts.push(`${members} photos`);
  if (asset.isFavorite) parts.push('favourite');
  return parts.join(', ');
}

/** Differs when anything that is drawn does. */
function descriptionOf({ asset, kind, members, isGone }: CellContent): string {
  const { id, creationDate, duration, isFavorite } = asset;
  return [id, kind, members, isGone, creationDate, duration, isFavorite].join();
}
