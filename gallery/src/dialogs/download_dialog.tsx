import { download, itemsText, type DownloadKind } from '../actions.js';
import { useApp } from '../app.js';
import type { DialogProps } from './dialogs.js';
import { Modal } from './modal.js';

export function DownloadDialog({ assetIds, close }: DialogProps) {
  const app = useApp();
  const run = (kind: DownloadKind) => {
    close();
    void download(app, assetIds, kind);
  };
  return (
    <Modal title="Download" close={close}>
      <p class="muted">{itemsText(assetIds.length)}</p>
      <div class="choices">
        <button class="choice" onClick={() => run('original')}>
          <strong>Original</strong>{' '}
          <span class="muted">The file as it is stored</span>
        </button>
        <button class="choice" onClick={() => run('jpeg')}>
          <strong>JPEG</strong>{' '}
          <span class="muted">A picture that opens everywhere</span>
        </button>
      </div>
      <div class="modal-actions">
        <button class="button" onClick={close}>Cancel</button>
      </div>
    </Modal>
  );
}
