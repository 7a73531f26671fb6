// Packs the package and compiles projects against it that know nothing of this folder: what the
// readme shows, and a program that runs. Needs no network.
import { execFileSync } from 'node:child_process';
import { cpSync, mkdirSync, mkdtempSync, readFileSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { fileURLToPath } from 'node:url';

const root = fileURLToPath(new URL('..', import.meta.url));
const tsc = join(root, 'node_modules/typescript/bin/tsc');

const program = `
import {
  decodeMethodCall,
  encodeSuccessEnvelope,
  Library,
  QuorvinError,
  type Asset,
  type Change,
  type Transport,
} from 'quorvin-client';

const transport: Transport = {
  send: async (_channel, message) => encodeSuccessEnvelope(decodeMethodCall(message).method),
  listen: () => () => {},
};
const library = new Library(transport);
export const first = async (id: string): Promise<Asset | undefined> =>
  (await library.getAssetList(id, { start: 0, end: 1 }))[0];
export const watch = async (tell: (change: Change) => void) => {
  for await (const change of library.changes({ limit: 10 })) tell(change);
};
export const reason = (error: unknown) => (error instanceof QuorvinError ? error.code : null);
// @ts-expect-error: a text is no number
void (() => library.getAssetList('id', { start: '0', end: 1 }));
// @ts-expect-error: there is no such sort order
void (() => library.getGalleryAssetCount('id', { sort: 9 }));
if ((await library.getPlatformVersion()) !== 'getPlatformVersion') throw new Error('no version');
`;

function run(folder, command, ...args) {
  try {
    return execFileSync(command, args, { cwd: folder, encoding: 'utf8', stdio: 'pipe' });
  } catch (error) {
    console.error(`${command} ${args.join(' ')}\n${error.stdout}${error.stderr}`);
    process.exit(1);
  }
}

function compile(folder, name, source, options) {
  const project = join(folder, name);
  mkdirSync(project);
  writeFileSync(join(project, 'main.ts'), source);
  const compilerOptions = {
    target: 'ES2022',
    strict: true,
    exactOptionalPropertyTypes: true,
    noUncheckedIndexedAccess: true,
    skipLibCheck: false,
    types: [],
    ...options,
  };
  writeFileSync(join(project, 'tsconfig.json'), JSON.stringify({ compilerOptions }));
  run(project, process.execPath, tsc, '-p', '.');
  console.log(`compiled: ${name}`);
}

const folder = mkdtempSync(join(tmpdir(), 'quorvin-client-'));
try {
  const [packed] = JSON.parse(run(root, 'npm', 'pack', '--json', '--pack-destination', folder));
  const strangers = packed.files
    .map(({ path }) => path)
    .filter((path) => !/^(dist\/\w+\.(js|d\.ts)|package\.json|README\.md)$/.test(path));
  if (strangers.length > 0) throw new Error(`the package should not hold ${strangers.join(', ')}`);
  console.log(`packed: ${packed.filename}, ${packed.files.length} files, ${packed.size} bytes`);

  writeFileSync(join(folder, 'package.json'), JSON.stringify({ type: 'module' }));
  run(folder, 'npm', 'install', '--offline', '--no-audit', '--no-fund', packed.filename);
  for (const name of ['ws', '@types/ws', '@types/node', 'undici-types']) {
    const place = join('node_modules', name);
    cpSync(join(root, place), join(folder, place), { recursive: true });
  }

  const lib = ['ES2022'];
  compile(folder, 'program', program, { lib, module: 'NodeNext' });
  run(join(folder, 'program'), process.execPath, 'main.js');
  console.log('ran: program');

  const readme = readFileSync(join(root, 'README.md'), 'utf8');
  const [page, server] = [...readme.matchAll(/```ts\n(.*?)```/gs)].map(([, source]) => source);
  const dom = ['ES2022', 'DOM', 'DOM.Iterable'];
  compile(folder, 'page', page, { lib: dom, module: 'ESNext', moduleResolution: 'bundler' });
  compile(folder, 'server', server, { lib, module: 'NodeNext', types: ['node'] });
  const browser = 'new WebSocketTransport("ws://x/", { WebSocket });';
  const imported = `import { WebSocketTransport } from 'quorvin-client';\n${browser}`;
  compile(folder, 'browser', imported, { lib: dom, module: 'NodeNext' });
} finally {
  rmSync(folder, { recursive: true });
}
