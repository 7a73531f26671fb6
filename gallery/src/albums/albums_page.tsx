import type { Gallery } from 'quorvin-client';
import { useApp } from '../app.js';
import { NoAccess, Problem } from '../grid/empty_states.js';
import { Icon } from '../shell/icon.js';
import { formatRoute } from '../shell/routing.js';
import { reasonOf } from '../shell/toasts.js';
import { titleOf } from '../shell/top_bar.js';
import { Cover } from './cover.js';

export function AlbumsPage() {
  const app = useApp();
  const list = app.galleries.list.value;
  const error = app.galleries.error.value;
  if (list === null && error !== null) return <Problem text={reasonOf(error)} />;
  if (list === null) return <div class="waiting" aria-busy="true" />;
  if (app.isPermitted.value === false && list.all === null) return <NoAccess />;
  return (
    <div class="viewport albums-page">
      <section aria-labelledby="own-albums">
        <header>
          <h2 id="own-albums">My albums</h2>
          <button class="button" onClick={() => (app.dialog.value = { name: 'newAlbum', assetIds: [] })}>
            <Icon name="add" />
            <span>New album</span>
          </button>
        </header>
        {list.albums.length === 0 && (
          <p class="muted">There are none yet. Make one, or select photos and choose “Add to album”.</p>
        )}
        <AlbumCards galleries={list.albums} />
      </section>
      {list.smart.length > 0 && (
        <section aria-labelledby="smart-albums">
          <header>
            <h2 id="smart-albums">Kinds</h2>
          </header>
          <AlbumCards galleries={list.smart} />
        </section>
      )}
    </div>
  );
}

function AlbumCards({ galleries }: { galleries: readonly Gallery[] }) {
  const { router } = useApp();
  return (
    <ul class="album-cards">
      {galleries.map((gallery) => {
        const route = { page: { name: 'album', id: gallery.id }, asset: null } as const;
        const open = (event: MouseEvent) => {
          if (event.ctrlKey || event.metaKey || event.shiftKey) return;
          event.preventDefault();
          router.go(route);
        };
        return (
          <li key={gallery.id}>
            <a class="album-card" href={formatRoute(route)} onClick={open}>
              <Cover id={gallery.id} />
              <span class="album-title">{titleOf(gallery)}</span>{' '}
              <span class="muted">{gallery.assetCount.totalCount.toLocaleString()}</span>
            </a>
          </li>
        );
      })}
    </ul>
  );
}
