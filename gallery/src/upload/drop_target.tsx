import { useEffect, useState } from 'preact/hooks';
import { useApp } from '../app.js';
import { Icon } from '../shell/icon.js';
import { uploadAlbum } from './upload_button.js';

/** Files may be dropped anywhere. */
export function DropTarget() {
  const app = useApp();
  const [isOver, setOver] = useState(false);
  useEffect(() => {
    const ending = new AbortController();
    const { signal } = ending;
    const listen = (type: 'dragenter' | 'dragover' | 'dragleave' | 'drop', run: (event: DragEvent) => void) =>
      addEventListener(type, run, { signal });
    const ifFiles = (event: DragEvent) => {
      if (!event.dataTransfer?.types.includes('Files')) return;
      event.preventDefault();
      setOver(true);
    };
    listen('dragenter', ifFiles);
    listen('dragover', ifFiles);
    listen('dragleave', (event) => event.relatedTarget === null && setOver(false));
    listen('drop', (event) => {
      setOver(false);
      const files = event.dataTransfer?.files;
      if (files === undefined || files.length === 0) return;
      event.preventDefault();
      app.uploads.add([...files], uploadAlbum(app));
    });
    return () => ending.abort();
  }, []);
  return (
    <div class="drop-target" hidden={!isOver}>
      <Icon name="upload" />
      <p>Drop to upload</p>
    </div>
  );
}
