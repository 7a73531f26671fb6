import type { ComponentChildren } from 'preact';
import { useApp } from '../app.js';
import { UploadButton } from '../upload/upload_button.js';
import { Icon } from './icon.js';
import type { IconName } from './icon_paths.js';
import { formatRoute, type Page } from './routing.js';

/** Where one can go. On small screens the links stand at the bottom. */
export function TopBar() {
  const { page } = useApp().router.route.value;
  return (
    <header class="top-bar">
      <PageTitle page={page} />
      <nav class="places" aria-label="Gallery">
        <PlaceLink page={{ name: 'photos' }} icon="photos" isHere={page.name === 'photos'}>
          Photos
        </PlaceLink>
        <PlaceLink page={{ name: 'albums' }} icon="albums" isHere={page.name !== 'photos'}>
          Albums
        </PlaceLink>
      </nav>
      <div class="top-actions">
        <UploadButton />
      </div>
    </header>
  );
}

function PageTitle({ page }: { page: Page }) {
  const app = useApp();
  // Titles and counts come with the list.
  void app.galleries.list.value;
  if (page.name === 'photos' || page.name === 'albums') {
    return (
      <div class="title">
        <img class="mark" src="./icon.svg" alt="" width="28" height="28" />
        <h1>{page.name === 'photos' ? 'Photos' : 'Albums'}</h1>
      </div>
    );
  }
  const gallery = page.name === 'album' ? app.galleries.find(page.id) : undefined;
  const leave = () =>
    app.router.leave({ page: { name: page.name === 'burst' ? 'photos' : 'albums' }, asset: null });
  return (
    <div class="title">
      <button class="icon-button" aria-label="Back" onClick={leave}>
        <Icon name="back" />
      </button>
      <h1>{page.name === 'burst' ? 'Burst' : titleOf(gallery)}</h1>
      {gallery && <span class="count">{gallery.assetCount.totalCount.toLocaleString()}</span>}
    </div>
  );
}

export function titleOf(gallery: { readonly title: string } | undefined): string {
  if (gallery === undefined) return 'Album';
  return gallery.title || 'Untitled album';
}

interface PlaceLinkProps {
  readonly page: Page;
  readonly icon: IconName;
  readonly isHere: boolean;
  readonly children: ComponentChildren;
}

function PlaceLink({ page, icon, isHere, children }: PlaceLinkProps) {
  const { router } = useApp();
  const go = (event: MouseEvent) => {
    if (event.ctrlKey || event.metaKey || event.shiftKey) return;
    event.preventDefault();
    if (formatRoute(router.route.value) !== formatRoute({ page, asset: null })) {
      router.go({ page, asset: null });
    }
  };
  return (
    <a href={formatRoute({ page, asset: null })} aria-current={isHere ? 'page' : undefined} onClick={go}>
      <Icon name={icon} />
      <span>{children}</span>
    </a>
  );
}
