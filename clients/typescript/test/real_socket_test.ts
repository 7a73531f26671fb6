// The transport over a real connection.
import assert from 'node:assert/strict';
import type { AddressInfo } from 'node:net';
import { describe, test } from 'node:test';
import {
  ConnectionLostError,
  decodeMethodCall,
  encodeSuccessEnvelope,
  Library,
  WebSocketTransport,
  type Value,
} from 'quorvin-client';
import { WebSocket, WebSocketServer } from 'ws';
import { mapOf } from './fake_transport.js';

/** Begins a server that answers each call with what the function replies; undefined: not at all. */
async function served(reply: (method: string) => Value | undefined) {
  const server = new WebSocketServer({ port: 0, host: '127.0.0.1' });
  await new Promise((resolve) => server.once('listening', resolve));
  server.on('connection', (socket) => {
    socket.on('message', (data: Buffer) => {
      const end = 5 + data.readUInt8(4);
      const { method } = decodeMethodCall(data.subarray(end));
      const result = reply(method);
      if (result === undefined) return;
      socket.send(Buffer.concat([data.subarray(0, end), encodeSuccessEnvelope(result)]));
    });
  });
  const { port } = server.address() as AddressInfo;
  const url = `ws://127.0.0.1:${port}/channel`;
  const transport = new WebSocketTransport(url, { WebSocket, firstPause: 1 });
  const end = () => {
    transport.close();
    server.close();
    for (const client of server.clients) client.terminate();
  };
  return { server, transport, library: new Library(transport), end };
}

function sendToAll(server: WebSocketServer, channel: string, message: Uint8Array): void {
  const head = Buffer.from([0, 0, 0, 0, channel.length]);
  for (const client of server.clients) {
    client.send(Buffer.concat([head, Buffer.from(channel), message]));
  }
}

const change = {
  sequence: 1n,
  inserted: ['A'],
  changed: [],
  removed: [],
  galleries: [],
  complete: true,
};

describe('a real WebSocket', () => {
  test('carries a large reply', async () => {
    const bytes = new Uint8Array(3_000_000).map((_, i) => i * 7);
    const { library, end } = await served(() => bytes);
    assert.deepEqual(await library.getImageData('A'), bytes);
    end();
  });

  test('carries many calls at once', async () => {
    const { library, end } = await served((method) => method);
    const names = Array.from({ length: 500 }, (_, i) => `method ${i}`);
    assert.deepEqual(await Promise.all(names.map((name) => library.call(name))), names);
    end();
  });

  test('carries changes', async () => {
    const { server, library, end } = await served(() => null);
    const changes = library.changes();
    await library.call('until it is listened to');
    sendToAll(server, 'quorvin/changes', encodeSuccessEnvelope(mapOf(change)));
    assert.deepEqual((await changes.next()).value, { ...change, sequence: 1 });
    end();
    assert.equal((await changes.next()).done, true);
  });

  test('comes back when the server drops it', async () => {
    const { server, library, end } = await served((method) =>
      method === 'hang' ? undefined : method,
    );
    const changes = library.changes({ limit: 5 });
    await library.call('first');
    const lost = library.call('hang');
    // Both ends are here: once this is answered, the call above has arrived.
    await library.call('second');
    for (const client of server.clients) client.terminate();
    await assert.rejects(lost, ConnectionLostError);
    assert.equal(await library.call('third'), 'third');
    await changes.return();
    end();
  });
});
