/** A library of a test's own, and the program that serves it. */
import { execFile, spawn, type ChildProcess } from 'node:child_process';
import { cpSync, mkdirSync, mkdtempSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { createInterface } from 'node:readline';
import { promisify } from 'node:util';

export const build = process.env['QUORVIN_BUILD'] ?? '';
if (build === '') throw new Error('QUORVIN_BUILD must name a folder in which quorvin was built');

export const program = join(build, 'bin/quorvin');
export const media = join(build, 'media/good');
export const outputs = join(build, 'gallery');
mkdirSync(outputs, { recursive: true });

const environment = {
  ...process.env,
  QUORVIN_MEDIA_WORKER: join(build, 'bin/quorvin-media'),
  // What one test makes a worker fail over is nothing to the next one.
  XDG_STATE_HOME: '/dev/null',
};

export interface Asset {
  readonly id: string;
  readonly mediaType: number;
  readonly creationDate: number;
  readonly isLivePhoto: boolean;
  readonly representsBurst: boolean;
}

interface Gallery {
  readonly id: string;
  readonly title: string;
  readonly assetCount: { readonly totalCount: number };
}

/** A library: somebody's, a copy of the one that all tests share, or one that is not made yet. */
export class ServedLibrary {
  #folder: string | null = null;
  #server: ChildProcess | null = null;
  #port = 0;

  private constructor(readonly path: string) {}

  static at(path: string): ServedLibrary {
    return new ServedLibrary(path);
  }

  static make(what: 'full' | 'none'): ServedLibrary {
    const folder = mkdtempSync(join(tmpdir(), 'quorvin-gallery-'));
    const library = new ServedLibrary(join(folder, 'library'));
    library.#folder = folder;
    if (what === 'full') cpSync(join(build, 'library'), library.path, { recursive: true });
    return library;
  }

  /** The process that serves it. */
  get process(): number {
    return this.#server!.pid!;
  }

  /** The first start chooses a port, and later ones take the same. Resolves with the address. */
  async start(): Promise<string> {
    const args = ['--library', this.path, 'serve', '--port', String(this.#port)];
    const server = spawn(program, args, { env: environment, stdio: ['ignore', 'pipe', 'inherit'] });
    this.#server = server;
    for await (const line of createInterface(server.stdout)) {
      const found = /^Serving (http:\/\/127\.0\.0\.1:(\d+)\/\?token=\S+)$/.exec(line);
      if (!found) break;
      this.#port = Number(found[2]);
      return found[1]!;
    }
    throw new Error('quorvin serve did not say where it serves');
  }

  /** Ends it as a terminal does, and resolves with its exit status. */
  async stop(signal: NodeJS.Signals = 'SIGINT'): Promise<number | null> {
    const server = this.#server;
    if (!server) return null;
    this.#server = null;
    if (server.exitCode !== null) return server.exitCode;
    const ended = new Promise<number | null>((resolve) => server.once('exit', resolve));
    server.kill(signal);
    return ended;
  }

  async remove(): Promise<void> {
    await this.stop('SIGTERM');
    if (this.#folder) rmSync(this.#folder, { recursive: true, force: true });
  }

  /** Runs the program as another process would. */
  async tool(...args: string[]): Promise<string> {
    const all = ['--library', this.path, ...args];
    return (await promisify(execFile)(program, all, { env: environment })).stdout;
  }

  async call<T>(method: string, args: unknown): Promise<T> {
    const reply = JSON.parse(await this.tool('call', method, JSON.stringify(args)));
    if (!('result' in reply)) throw new Error(JSON.stringify(reply));
    return reply.result;
  }

  galleries(): Promise<Gallery[]> {
    const args = { withAllPhotos: true, filterEmptyAsset: false, withSmartAlbum: true, mediaType: 0 };
    return this.call('getGalleryList', args);
  }

  /** Of a gallery, newest first. */
  async assets(title = 'Recents'): Promise<Asset[]> {
    const gallery = (await this.galleries()).find((each) => each.title === title);
    if (!gallery) throw new Error(`There is no gallery ${title}`);
    const page = { collectionId: gallery.id, start: 0, end: 1000, sort: 0, mediaType: 0 };
    return this.call('getAssetList', page);
  }
}
