import assert from 'node:assert/strict';
import { afterEach, beforeEach, describe, test } from 'node:test';
import {
  ConnectionLostError,
  encodeSuccessEnvelope,
  Library,
  TooManyCallsError,
  TransportClosedError,
  WebSocketTransport,
  type WebSocketTransportOptions,
} from 'quorvin-client';
import { hexadecimal } from './described_value.js';
import { FakeSocket } from './fake_socket.js';
import { FakeTimers } from './fake_timers.js';

const url = 'ws://localhost/channel';
/** The channel "q", of one byte. */
const channel = 'q';
const name = '0171';
const message = new Uint8Array([7, 1]);

function frame(number: number, body: string, channelName = name): string {
  const head = Buffer.alloc(4);
  head.writeUInt32LE(number);
  return head.toString('hex') + channelName + body;
}

function opened(options: WebSocketTransportOptions = {}): WebSocketTransport {
  return new WebSocketTransport(url, { WebSocket: FakeSocket, ...options });
}

/** What the promise was rejected with or fulfilled; "pending" for neither. */
async function stateOf(promise: Promise<unknown>): Promise<unknown> {
  const pending = new Promise((resolve) => setImmediate(resolve, 'pending'));
  return Promise.race([promise.catch((error: unknown) => error), pending]);
}

let timers: FakeTimers;

beforeEach(() => {
  FakeSocket.all = [];
  timers = new FakeTimers();
});
afterEach(() => timers.restore());

describe('a WebSocket transport', () => {
  test('connects at once', () => {
    opened();
    assert.equal(FakeSocket.last.url, url);
  });

  test('carries calls and their replies', async () => {
    const transport = opened();
    FakeSocket.last.open();
    const first = transport.send(channel, message);
    const second = transport.send(channel, new Uint8Array());
    assert.deepEqual(FakeSocket.last.sent, ['01000000' + '01' + '71' + '0701', frame(2, '')]);
    FakeSocket.last.receive(frame(2, '0102'));
    FakeSocket.last.receive(frame(1, '03'));
    assert.deepEqual(await second, new Uint8Array([1, 2]));
    assert.deepEqual(await first, new Uint8Array([3]));
  });

  test('answers null when nothing is replied', async () => {
    const transport = opened();
    FakeSocket.last.open();
    const call = transport.send(channel, message);
    FakeSocket.last.receive(frame(1, ''));
    assert.equal(await call, null);
  });

  test('carries names of every length', async () => {
    const transport = opened();
    FakeSocket.last.open();
    const longest = 'é'.repeat(127) + 'e';
    const call = transport.send(longest, message);
    const digits = hexadecimal(new TextEncoder().encode(longest));
    assert.equal(FakeSocket.last.sent[0], frame(1, '0701', 'ff' + digits));
    FakeSocket.last.receive(frame(1, '05', 'ff' + digits));
    assert.deepEqual(await call, new Uint8Array([5]));
    await assert.rejects(transport.send(longest + 'e', message), RangeError);
  });

  test('tells what comes by itself to all who listen', () => {
    const transport = opened();
    FakeSocket.last.open();
    const heard: string[] = [];
    const listener = {
      message: (from: string, bytes: Uint8Array) => heard.push(from + hexadecimal(bytes)),
    };
    const stop = transport.listen(listener);
    transport.listen(listener);
    FakeSocket.last.receive(frame(0, '0304'));
    assert.deepEqual(heard, ['q0304', 'q0304']);
    stop();
    FakeSocket.last.receive(frame(0, ''));
    assert.deepEqual(heard, ['q0304', 'q0304', 'q']);
  });

  test('needs a WebSocket', { skip: 'WebSocket' in globalThis }, () => {
    assert.throws(() => new WebSocketTransport(url), TypeError);
  });

  test('takes the global WebSocket', () => {
    const scope = globalThis as { WebSocket?: unknown };
    const before = scope.WebSocket;
    scope.WebSocket = FakeSocket;
    try {
      new WebSocketTransport(url);
      assert.equal(FakeSocket.all.length, 1);
    } finally {
      scope.WebSocket = before;
    }
  });

  test('throws what the socket throws at once', () => {
    class Refusing extends FakeSocket {
      constructor(address: string) {
        super(address);
        throw new SyntaxError('no URL');
      }
    }
    assert.throws(() => opened({ WebSocket: Refusing }), SyntaxError);
  });
});

describe('without a connection', () => {
  test('calls wait for one, in order', async () => {
    const transport = opened();
    const first = transport.send(channel, message);
    const second = transport.send(channel, new Uint8Array([9]));
    FakeSocket.last.open();
    assert.deepEqual(FakeSocket.last.sent, [frame(1, '0701'), frame(2, '09')]);
    FakeSocket.last.receive(frame(2, '02'));
    FakeSocket.last.receive(frame(1, '01'));
    assert.deepEqual(await Promise.all([first, second]), [
      new Uint8Array([1]),
      new Uint8Array([2]),
    ]);
  });

  test('only so many wait', async () => {
    const transport = opened({ maximumWaiting: 2 });
    const first = transport.send(channel, message);
    const second = transport.send(channel, message);
    await assert.rejects(transport.send(channel, message), TooManyCallsError);
    assert.equal(await stateOf(first), 'pending');
    assert.equal(await stateOf(second), 'pending');
    FakeSocket.last.open();
    assert.equal(FakeSocket.last.sent.length, 2);
  });

  test('attempts come after pauses that grow to the longest', () => {
    opened({ firstPause: 100, longestPause: 1000 });
    for (const pause of [100, 200, 400, 800, 1000, 1000]) {
      const attempts = FakeSocket.all.length;
      FakeSocket.last.lose();
      timers.tick(pause - 1);
      assert.equal(FakeSocket.all.length, attempts, `before ${pause} ms`);
      timers.tick(1);
      assert.equal(FakeSocket.all.length, attempts + 1, `after ${pause} ms`);
    }
  });

  test('pauses are short again once something came', () => {
    opened({ firstPause: 100, longestPause: 1000 });
    for (const pause of [100, 200, 400]) {
      FakeSocket.last.lose();
      timers.tick(pause);
    }
    FakeSocket.last.open();
    FakeSocket.last.receive(frame(0, ''));
    FakeSocket.last.lose();
    timers.tick(100);
    assert.equal(FakeSocket.all.length, 5);
  });

  test('pauses go on growing when nothing comes', () => {
    opened({ firstPause: 100 });
    FakeSocket.last.open();
    FakeSocket.last.lose();
    timers.tick(100);
    FakeSocket.last.open();
    FakeSocket.last.lose();
    timers.tick(199);
    assert.equal(FakeSocket.all.length, 2);
    timers.tick(1);
    assert.equal(FakeSocket.all.length, 3);
  });
});

describe('when the connection goes', () => {
  test('calls that were sent fail, and others wait for the next one', async () => {
    const transport = opened();
    FakeSocket.last.open();
    const sent = transport.send(channel, message);
    FakeSocket.last.lose();
    const waiting = transport.send(channel, new Uint8Array([9]));
    assert((await stateOf(sent)) instanceof ConnectionLostError);
    assert.equal(await stateOf(waiting), 'pending');
    timers.tick(500);
    FakeSocket.last.open();
    assert.deepEqual(FakeSocket.last.sent, [frame(2, '09')]);
    FakeSocket.last.receive(frame(2, '01'));
    assert.deepEqual(await waiting, new Uint8Array([1]));
  });

  test('listeners are told, once each time', () => {
    const transport = opened();
    const told: string[] = [];
    transport.listen({
      message: () => told.push('message'),
      disconnected: () => told.push('disconnected'),
      reconnected: () => told.push('reconnected'),
      closed: () => told.push('closed'),
    });
    FakeSocket.last.lose();
    timers.tick(500);
    FakeSocket.last.open();
    assert.deepEqual(told, []);
    FakeSocket.last.lose();
    timers.tick(1000);
    FakeSocket.last.lose();
    timers.tick(2000);
    FakeSocket.last.open();
    assert.deepEqual(told, ['disconnected', 'reconnected']);
    transport.close();
    assert.deepEqual(told, ['disconnected', 'reconnected', 'closed']);
  });

  test('a socket that was given up is not heard any more', async () => {
    const transport = opened();
    const old = FakeSocket.last;
    old.open();
    old.lose();
    timers.tick(500);
    FakeSocket.last.open();
    const call = transport.send(channel, message);
    old.receive(frame(1, '01'));
    old.lose();
    assert.equal(await stateOf(call), 'pending');
    assert.equal(FakeSocket.all.length, 2);
  });

  test('changes go on over the next one', async () => {
    const library = new Library(opened());
    const changes = library.changes();
    const listen = hexadecimal(new TextEncoder().encode('listen'));
    const listenSent = () => FakeSocket.last.sent.filter((digits) => digits.includes(listen));
    const reply = (digits: string) =>
      FakeSocket.last.receive(
        digits.slice(0, 10 + 2 * 'quorvin/changes'.length) +
          hexadecimal(encodeSuccessEnvelope(null)),
      );
    FakeSocket.last.open();
    assert.equal(listenSent().length, 1);
    listenSent().forEach(reply);
    FakeSocket.last.lose();
    timers.tick(500);
    FakeSocket.last.open();
    assert.equal(listenSent().length, 1);
    listenSent().forEach(reply);
    assert.equal((await changes.next()).value.complete, false);
  });
});

describe('frames that are none', () => {
  for (const [what, data] of [
    ['a text', 'hello'],
    ['a Blob', new Blob([])],
    ['no bytes', new ArrayBuffer(0)],
    ['four bytes', new ArrayBuffer(4)],
    ['a name beyond the end', new Uint8Array([1, 0, 0, 0, 2, 113]).buffer],
    ['a name that is not UTF-8', new Uint8Array([1, 0, 0, 0, 1, 255]).buffer],
    ['a number that nobody sent', new Uint8Array([9, 0, 0, 0, 1, 113]).buffer],
    ['a reply of another channel', new Uint8Array([1, 0, 0, 0, 1, 114]).buffer],
  ] as const) {
    test(`as ${what} cost the connection`, async () => {
      const transport = opened();
      const socket = FakeSocket.last;
      socket.open();
      const call = transport.send(channel, message);
      socket.receiveData(data);
      assert((await stateOf(call)) instanceof ConnectionLostError);
      assert(socket.isClosed);
      socket.lose();
      timers.tick(500);
      assert.equal(FakeSocket.all.length, 2);
    });
  }
});

describe('a closed transport', () => {
  test('ends what is sent, what waits and what comes', async () => {
    const transport = opened();
    const waiting = transport.send(channel, message);
    transport.close();
    assert((await stateOf(waiting)) instanceof TransportClosedError);
    assert(FakeSocket.last.isClosed);

    const other = opened();
    FakeSocket.last.open();
    const sent = other.send(channel, message);
    other.listen({ message: () => assert.fail('it is closed') });
    other.close();
    other.close();
    FakeSocket.last.receive(frame(0, ''));
    assert((await stateOf(sent)) instanceof TransportClosedError);
    await assert.rejects(other.send(channel, message), TransportClosedError);
  });

  test('connects no more', () => {
    const transport = opened();
    FakeSocket.last.lose();
    transport.close();
    timers.tick(60_000);
    assert.equal(FakeSocket.all.length, 1);

    opened().close();
    FakeSocket.last.lose();
    timers.tick(60_000);
    assert.equal(FakeSocket.all.length, 2);
  });
});
