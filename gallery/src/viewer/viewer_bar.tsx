import { useEffect, useState } from 'preact/hooks';
import type { Asset } from 'quorvin-client';
import { deleteAssets } from '../actions.js';
import { useApp } from '../app.js';
import { kindOf } from '../library/kinds.js';
import { Icon } from '../shell/icon.js';
import type { IconName } from '../shell/icon_paths.js';
import { momentText } from '../timeline/date_texts.js';
import { Details } from './details.js';
import type { Viewer } from './viewer.js';

interface ViewerBarProps {
  readonly viewer: Viewer;
  readonly asset: Asset | null;
  readonly areDetailsOpen: boolean;
  readonly showDetails: (areOpen: boolean) => void;
}

/** What can be done with what the viewer shows. */
export function ViewerBar({ viewer, asset, areDetailsOpen, showDetails }: ViewerBarProps) {
  const app = useApp();
  if (asset === null) return <Close viewer={viewer} />;
  const kind = kindOf(asset, app.extras.isSlow(asset.id));
  const assetIds = [asset.id];
  const showBurst = () => app.router.go({ page: { name: 'burst', id: asset.id }, asset: null });
  return (
    <>
      <div class="viewer-bar">
        <Close viewer={viewer} />
        <div class="viewer-title">
          <span>{momentText(asset.creationDate)}</span>
          {asset.isFavorite && (
            <span class="viewer-favorite" role="img" aria-label="Favourite">
              <Icon name="favorite" isFilled />
            </span>
          )}
        </div>
        <div class="viewer-actions">
          {kind === 'live' && <LiveButton viewer={viewer} id={asset.id} />}
          {kind === 'burst' && <Action name="Show burst" icon="burst" run={showBurst} />}
          <Action name="Details" icon="details" isPressed={areDetailsOpen}
            run={() => showDetails(!areDetailsOpen)} />
          <Action name="Add to album" icon="addToAlbum"
            run={() => (app.dialog.value = { name: 'addToAlbum', assetIds })} />
          <Action name="Download" icon="download"
            run={() => (app.dialog.value = { name: 'download', assetIds })} />
          <Action name="Delete" icon="delete" run={() => void deleteAssets(app, assetIds)} />
        </div>
      </div>
      {areDetailsOpen && <Details asset={asset} kind={kind} close={() => showDetails(false)} />}
    </>
  );
}

function Close({ viewer }: { viewer: Viewer }) {
  return <Action name="Close" icon="back" run={() => viewer.close()} />;
}

interface ActionProps {
  readonly name: string;
  readonly icon: IconName;
  readonly run: () => void;
  readonly isPressed?: boolean;
}

function Action({ name, icon, run, isPressed }: ActionProps) {
  return (
    <button class="icon-button" aria-label={name} title={name} aria-pressed={isPressed} onClick={run}>
      <Icon name={icon} />
    </button>
  );
}

/** Plays while the pointer is over it, it is pressed, or it has the focus of the keyboard. */
function LiveButton({ viewer, id }: { viewer: Viewer; id: string }) {
  const [isPlaying, setPlaying] = useState(false);
  const start = () => {
    setPlaying(true);
    viewer.playLive();
  };
  const stop = () => {
    setPlaying(false);
    viewer.stopLive();
  };
  useEffect(() => stop, [id]);
  return (
    <button class="live-button" aria-pressed={isPlaying} onPointerEnter={start} onPointerLeave={stop}
      onPointerDown={start} onClick={start} onFocus={(event) =>
        (event.target as HTMLElement).matches(':focus-visible') && start()} onBlur={stop}>
      <Icon name="live" />
      <span>Live</span>
    </button>
  );
}
