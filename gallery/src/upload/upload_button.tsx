import { useRef } from 'preact/hooks';
import { useApp } from '../app.js';
import { Icon } from '../shell/icon.js';

export const kAccepted = 'image/*,video/*,.heic,.heif,.dng,.mov,.mp4';

export function UploadButton() {
  const app = useApp();
  const input = useRef<HTMLInputElement>(null);
  const add = () => {
    const { current } = input;
    if (current?.files) app.uploads.add([...current.files], uploadAlbum(app));
    if (current) current.value = '';
  };
  return (
    <>
      <button class="button" aria-label="Upload" onClick={() => input.current?.click()}>
        <Icon name="upload" />
        <span>Upload</span>
      </button>
      <input ref={input} class="file-input" type="file" multiple accept={kAccepted} tabIndex={-1}
        aria-label="Files to upload" onChange={add} />
    </>
  );
}

/** The album that is open gets what is uploaded, when it is one of the user's. */
export function uploadAlbum(app: ReturnType<typeof useApp>): string | null {
  const { page } = app.router.route.value;
  if (page.name !== 'album') return null;
  return app.galleries.find(page.id)?.type === 'user' ? page.id : null;
}
