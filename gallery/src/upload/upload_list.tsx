import { useApp } from '../app.js';
import { Icon } from '../shell/icon.js';
import type { Upload } from './uploads.js';

export function UploadList() {
  const { uploads } = useApp();
  const list = uploads.list.value;
  const done = list.filter(({ state }) => state === 'done').length;
  const isBusy = list.some(({ state }) => state === 'waiting' || state === 'sending');
  return (
    <section class="uploads" aria-label="Uploads" hidden={list.length === 0}>
      <header>
        <h2 aria-live="polite">
          {isBusy ? 'Uploading' : 'Uploaded'} {done} of {list.length}
        </h2>
        <button class="icon-button" aria-label="Close uploads" onClick={() => uploads.clear()}>
          <Icon name="close" />
        </button>
      </header>
      <ul>
        {list.map((upload) => <Line key={upload.id} upload={upload} />)}
      </ul>
    </section>
  );
}

function Line({ upload: { name, state, progress, reason } }: { upload: Upload }) {
  return (
    <li class={state}>
      <span class="name">{name}</span>
      {state === 'waiting' && <span class="state">Waiting</span>}
      {state === 'done' && <span class="state">Done</span>}
      {state === 'sending' && <progress value={progress} max={1} aria-label={`Uploading ${name}`} />}
      {state === 'failed' && <span class="reason" role="alert">{reason}</span>}
    </li>
  );
}
