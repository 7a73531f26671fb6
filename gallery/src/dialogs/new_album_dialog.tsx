import { useRef, useState } from 'preact/hooks';
import { addToAlbum } from '../actions.js';
import { useApp } from '../app.js';
import { reasonOf } from '../shell/toasts.js';
import type { DialogProps } from './dialogs.js';
import { Modal } from './modal.js';

/** Makes an album, with the assets in it that there are. */
export function NewAlbumDialog({ assetIds, close }: DialogProps) {
  const app = useApp();
  const title = useRef<HTMLInputElement>(null);
  const [error, setError] = useState('');
  const [isBusy, setBusy] = useState(false);
  const create = async (event: Event) => {
    event.preventDefault();
    const wanted = title.current?.value.trim() ?? '';
    if (wanted === '') return setError('Give the album a title.');
    setBusy(true);
    try {
      const album = await app.library.createAlbum(wanted);
      app.galleries.changed([album.id]);
      close();
      if (assetIds.length > 0) await addToAlbum(app, album, assetIds);
    } catch (fault) {
      setBusy(false);
      setError(`The album was not made. ${reasonOf(fault)}`);
    }
  };
  return (
    <Modal title="New album" close={close}>
      <form onSubmit={(event) => void create(event)}>
        <label class="field">
          <span>Title</span>
          <input ref={title} type="text" autoComplete="off" maxLength={200}
            aria-invalid={error !== ''} onInput={() => setError('')} />
        </label>
        {error && <p class="fault" role="alert">{error}</p>}
        <div class="modal-actions">
          <button type="button" class="button" onClick={close}>Cancel</button>
          <button type="submit" class="button primary" disabled={isBusy}>Create</button>
        </div>
      </form>
    </Modal>
  );
}
