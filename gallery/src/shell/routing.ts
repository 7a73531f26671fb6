/** Where one is, as the address tells it. */
import { signal, type ReadonlySignal } from '@preact/signals';

export type Page =
  | { readonly name: 'photos' }
  | { readonly name: 'albums' }
  | { readonly name: 'album'; readonly id: string }
  | { readonly name: 'burst'; readonly id: string };

export interface Route {
  readonly page: Page;
  /** The asset that is open in the viewer. */
  readonly asset: string | null;
}

export function parseRoute(hash: string): Route {
  const parts = hash.replace(/^#?\/?/, '').split('/').map(decoded);
  const [name, id] = parts;
  if ((name === 'album' || name === 'burst') && id) {
    const asset = parts[2] === 'asset' && parts[3] ? parts[3] : null;
    return { page: { name, id }, asset };
  }
  if (name === 'asset' && id) return { page: { name: 'photos' }, asset: id };
  return { page: { name: name === 'albums' ? 'albums' : 'photos' }, asset: null };
}

export function formatRoute({ page, asset }: Route): string {
  const path: string[] = [];
  if (page.name === 'albums') path.push('albums');
  if (page.name === 'album' || page.name === 'burst') path.push(page.name, page.id);
  if (asset !== null) path.push('asset', asset);
  return `#/${path.map(encodeURIComponent).join('/')}`;
}

function decoded(part: string): string {
  try {
    return decodeURIComponent(part);
  } catch {
    return '';
  }
}

export class Router {
  readonly #route = signal<Route>(parseRoute(location.hash));

  constructor() {
    addEventListener('popstate', () => (this.#route.value = parseRoute(location.hash)));
  }

  get route(): ReadonlySignal<Route> {
    return this.#route;
  }

  go(route: Route): void {
    history.pushState({ isOurs: true }, '', formatRoute(route));
    this.#route.value = route;
  }

  /** The same place in other words: no step that "back" undoes. */
  replace(route: Route): void {
    history.replaceState(history.state, '', formatRoute(route));
    this.#route.value = route;
  }

  /** Back to where one came from, or to `parent` when that was elsewhere. */
  leave(parent: Route): void {
    const state: unknown = history.state;
    if (typeof state === 'object' && state !== null && 'isOurs' in state) history.back();
    else this.replace(parent);
  }
}
