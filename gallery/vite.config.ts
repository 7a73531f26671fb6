import { fileURLToPath } from 'node:url';
import { defineConfig } from 'vite';

const client = fileURLToPath(new URL('../clients/typescript/src/index.ts', import.meta.url));

export default defineConfig({
  base: './',
  resolve: { alias: { 'quorvin-client': client } },
  build: {
    outDir: '../build/web/gallery',
    emptyOutDir: true,
    target: 'es2022',
    // The server allows neither data: URLs nor inline scripts.
    assetsInlineLimit: 0,
    modulePreload: { polyfill: false },
    reportCompressedSize: false,
  },
});
