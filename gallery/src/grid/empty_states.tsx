import { Icon } from '../shell/icon.js';

export function NoPhotos() {
  return (
    <div class="notice">
      <Icon name="photos" />
      <h2>No photos yet</h2>
      <p>Drop photos and videos here, or bring in a whole folder:</p>
      <p><code>quorvin import ~/Pictures</code></p>
      <p>To have new ones come by themselves:</p>
      <p><code>quorvin watch ~/Pictures</code></p>
    </div>
  );
}

export function EmptyAlbum() {
  return (
    <div class="notice">
      <Icon name="albums" />
      <h2>Nothing in this album</h2>
      <p>Select photos and choose “Add to album”, or drop files here.</p>
    </div>
  );
}

export function NoAccess() {
  return (
    <div class="notice">
      <Icon name="details" />
      <h2>No access to this library</h2>
      <p>Its photos are not allowed to be shown. To allow it:</p>
      <p><code>quorvin authorize authorized</code></p>
    </div>
  );
}

export function Problem({ text }: { text: string }) {
  return (
    <div class="notice" role="alert">
      <Icon name="details" />
      <h2>This cannot be shown</h2>
      <p>{text}</p>
    </div>
  );
}
