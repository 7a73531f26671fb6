import { download, itemsText, type DownloadKind } from '../actions.js';
import type { DialogProps } from './dialogs.js';
import { Modal } from './modal.js';

export function DownloadDialog({ assetIds, close }: DialogProps) {
  const run = (kind: DownloadKind) => {
    close();
    void download(assetIds, kind);
  };
  return (
    <Modal title="Download" close={close}>
      <p class="muted">{itemsText(assetIds.length)}</p>
      <div class="choices">
        <button class="choice" aria-label="Original" onClick={() => run('original')}>
          <strong>Original</strong>
          <span class="muted">The file as it is stored</span>
        </button>
        <button class="choice" aria-label="JPEG" onClick={() => run('jpeg')}>
          <strong>JPEG</strong>
          <span class="muted">A picture that opens everywhere</span>
        </button>
      </div>
      <div class="modal-actions">
        <button class="button" onClick={close}>Cancel</button>
      </div>
    </Modal>
  );
}
