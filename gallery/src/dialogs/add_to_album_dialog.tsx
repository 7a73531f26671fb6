import { addToAlbum, itemsText } from '../actions.js';
import { useApp } from '../app.js';
import { Cover } from '../albums/cover.js';
import { Icon } from '../shell/icon.js';
import { titleOf } from '../shell/top_bar.js';
import type { DialogProps } from './dialogs.js';
import { Modal } from './modal.js';

export function AddToAlbumDialog({ assetIds, close }: DialogProps) {
  const app = useApp();
  const albums = app.galleries.list.value?.albums ?? [];
  const add = (album: { id: string; title: string }) => {
    close();
    void addToAlbum(app, album, assetIds);
  };
  return (
    <Modal title="Add to album" close={close}>
      <p class="muted">{itemsText(assetIds.length)}</p>
      <ul class="album-choices">
        <li>
          <button class="album-choice" onClick={() => (app.dialog.value = { name: 'newAlbum', assetIds })}>
            <span class="cover new"><Icon name="add" /></span>
            <span>New album</span>
          </button>
        </li>
        {albums.map((album) => (
          <li key={album.id}>
            <button class="album-choice" onClick={() => add(album)}>
              <Cover id={album.id} />
              <span>{titleOf(album)}</span>{' '}
              <span class="muted">{album.assetCount.totalCount.toLocaleString()}</span>
            </button>
          </li>
        ))}
      </ul>
      <div class="modal-actions">
        <button class="button" onClick={close}>Cancel</button>
      </div>
    </Modal>
  );
}
