import { useEffect } from 'preact/hooks';
import { AlbumsPage } from '../albums/albums_page.js';
import { useApp } from '../app.js';
import { Dialogs } from '../dialogs/dialogs.js';
import { AlbumPage, BurstPage, PhotosPage } from '../grid/pages.js';
import { SelectionBar } from '../selection/selection_bar.js';
import { DropTarget } from '../upload/drop_target.js';
import { UploadList } from '../upload/upload_list.js';
import { ConnectionBanner } from './connection_banner.js';
import { listenToShortcuts } from './shortcuts.js';
import { TopBar } from './top_bar.js';
import { ToastList } from './toast_list.js';

/** The page: bars, what they lead to, and what lies above all of it. */
export function Shell() {
  const app = useApp();
  const { page } = app.router.route.value;
  const place = 'id' in page ? `${page.name}/${page.id}` : page.name;
  useEffect(() => () => app.selection.clear(), [place]);
  useEffect(() => listenToShortcuts(app), []);
  return (
    <>
      <TopBar />
      <SelectionBar />
      <main>
        {page.name === 'photos' && <PhotosPage />}
        {page.name === 'albums' && <AlbumsPage />}
        {page.name === 'album' && <AlbumPage key={page.id} id={page.id} />}
        {page.name === 'burst' && <BurstPage key={page.id} id={page.id} />}
      </main>
      <ConnectionBanner />
      <UploadList />
      <Dialogs />
      <ToastList />
      <DropTarget />
    </>
  );
}
