import { useApp } from '../app.js';
import { AddToAlbumDialog } from './add_to_album_dialog.js';
import { DownloadDialog } from './download_dialog.js';
import { NewAlbumDialog } from './new_album_dialog.js';

/** The dialog that is open, if there is one. */
export function Dialogs() {
  const { dialog } = useApp();
  const open = dialog.value;
  if (open === null) return null;
  const { assetIds } = open;
  const close = () => (dialog.value = null);
  switch (open.name) {
    case 'newAlbum':
      return <NewAlbumDialog assetIds={assetIds} close={close} />;
    case 'addToAlbum':
      return <AddToAlbumDialog assetIds={assetIds} close={close} />;
    case 'download':
      return <DownloadDialog assetIds={assetIds} close={close} />;
  }
}

export interface DialogProps {
  readonly assetIds: readonly string[];
  readonly close: () => void;
}
