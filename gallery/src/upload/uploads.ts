import { signal, type ReadonlySignal } from '@preact/signals';

export type UploadState = 'waiting' | 'sending' | 'done' | 'failed';

export interface Upload {
  readonly id: number;
  readonly name: string;
  readonly state: UploadState;
  /** From 0 to 1. */
  readonly progress: number;
  /** Why it failed. */
  readonly reason: string;
}

interface Waiting {
  readonly id: number;
  readonly file: File;
  readonly albumId: string | null;
}

/** Files on their way into the library, one after another. One that fails stops no other. */
export class Uploads {
  readonly #added: (assetId: string) => void;
  readonly #list = signal<readonly Upload[]>([]);
  readonly #waiting: Waiting[] = [];
  #isSending = false;
  #last = 0;

  constructor(added: (assetId: string) => void) {
    this.#added = added;
  }

  get list(): ReadonlySignal<readonly Upload[]> {
    return this.#list;
  }

  add(files: Iterable<File>, albumId: string | null): void {
    for (const file of files) {
      const id = ++this.#last;
      this.#waiting.push({ id, file, albumId });
      const upload: Upload = { id, name: file.name, state: 'waiting', progress: 0, reason: '' };
      this.#list.value = [...this.#list.value, upload];
    }
    void this.#sendAll();
  }

  /** Forgets what has ended. */
  clear(): void {
    this.#list.value = this.#list.value.filter(
      ({ state }) => state === 'waiting' || state === 'sending',
    );
  }

  async #sendAll(): Promise<void> {
    if (this.#isSending) return;
    this.#isSending = true;
    for (let next = this.#waiting.shift(); next !== undefined; next = this.#waiting.shift()) {
      const { id } = next;
      this.#change(id, { state: 'sending' });
      try {
        const assetId = await send(next, (progress) => this.#change(id, { progress }));
        this.#change(id, { state: 'done', progress: 1 });
        this.#added(assetId);
      } catch (error) {
        this.#change(id, { state: 'failed', reason: (error as Error).message });
      }
    }
    this.#isSending = false;
  }

  #change(id: number, change: Partial<Upload>): void {
    this.#list.value = this.#list.value.map((upload) =>
      upload.id === id ? { ...upload, ...change } : upload,
    );
  }
}

function send({ file, albumId }: Waiting, tell: (progress: number) => void): Promise<string> {
  const album = albumId === null ? '' : `&album=${encodeURIComponent(albumId)}`;
  const request = new XMLHttpRequest();
  request.open('POST', `upload?name=${encodeURIComponent(file.name)}${album}`);
  request.upload.onprogress = ({ loaded, total }) => tell(total > 0 ? loaded / total : 0);
  return new Promise((resolve, reject) => {
    request.onload = () => {
      if (request.status === 201) resolve(JSON.parse(request.responseText).id);
      else reject(new Error(refusalText(request.status, request.responseText)));
    };
    request.onerror = () => reject(new Error('The connection was lost while it was sent.'));
    request.send(file);
  });
}

/** Why the server did not take a file. */
export function refusalText(status: number, text: string): string {
  if (status === 401) return 'The session has ended; open the address that quorvin serve prints.';
  if (status === 413) return text.trim() || 'The file is larger than the server takes.';
  return text.trim() || `The server refused it (${status}).`;
}
