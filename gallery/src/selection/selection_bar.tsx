import { deleteAssets } from '../actions.js';
import { useApp } from '../app.js';
import { Icon } from '../shell/icon.js';

/** What can be done with what is selected. It lies over the top bar. */
export function SelectionBar() {
  const app = useApp();
  void app.selectionVersion.value;
  const { selection } = app;
  const assetIds = [...selection.ids];
  if (assetIds.length === 0) return null;
  return (
    <section aria-label="Selected photos">
      <div class="selection-bar" role="toolbar" aria-label="Selection">
        <button class="icon-button" aria-label="Clear selection" onClick={() => selection.clear()}>
          <Icon name="close" />
        </button>
        <span class="count" aria-live="polite">{assetIds.length.toLocaleString()} selected</span>
        <div class="selection-actions">
          <button class="icon-button" aria-label="Add to album"
            onClick={() => (app.dialog.value = { name: 'addToAlbum', assetIds })}>
            <Icon name="addToAlbum" />
          </button>
          <button class="icon-button" aria-label="Download"
            onClick={() => (app.dialog.value = { name: 'download', assetIds })}>
            <Icon name="download" />
          </button>
          <button class="icon-button" aria-label="Delete" onClick={() => void deleteAssets(app, assetIds)}>
            <Icon name="delete" />
          </button>
        </div>
      </div>
    </section>
  );
}
