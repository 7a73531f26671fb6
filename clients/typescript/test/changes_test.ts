import assert from 'node:assert/strict';
import { describe, test } from 'node:test';
import {
  ConnectionLostError,
  encodeErrorEnvelope,
  encodeSuccessEnvelope,
  Library,
  MalformedMessageError,
  QuorvinError,
  TransportClosedError,
  UnexpectedReplyError,
  type Change,
} from 'quorvin-client';
import { FakeTransport, mapOf, replying, settled } from './fake_transport.js';

const channel = 'quorvin/changes';

function event(sequence: number, inserted: string[] = []): Uint8Array {
  return encodeSuccessEnvelope(
    mapOf({
      sequence: BigInt(sequence),
      inserted,
      changed: ['C'],
      removed: [],
      galleries: ['G'],
      complete: true,
    }),
  );
}

function changeOf(sequence: number, inserted: string[] = []): Change {
  return { sequence, inserted, changed: ['C'], removed: [], galleries: ['G'], complete: true };
}

function incomplete(sequence: number): Change {
  return { sequence, inserted: [], changed: [], removed: [], galleries: [], complete: false };
}

function opened(answer = replying(null)) {
  const transport = new FakeTransport(answer);
  return { transport, library: new Library(transport) };
}

const done = { done: true, value: undefined };

describe('changes', () => {
  test('are listened to at once, and told in order', async () => {
    const { transport, library } = opened();
    const changes = library.changes();
    assert.deepEqual(transport.methods(channel), ['listen']);
    assert.equal(transport.sent[0]?.arguments, null);
    transport.tell(channel, event(1, ['A']));
    const later = changes.next();
    const last = changes.next();
    transport.tell('quorvin/other', event(9));
    transport.tell(channel, event(2));
    transport.tell(channel, event(3));
    assert.deepEqual(await later, { done: false, value: changeOf(1, ['A']) });
    assert.deepEqual(await last, { done: false, value: changeOf(2) });
    assert.deepEqual(await changes.next(), { done: false, value: changeOf(3) });
  });

  test('end when a loop is left', async () => {
    const { transport, library } = opened();
    const changes = library.changes();
    transport.tell(channel, event(1));
    for await (const change of changes) {
      assert.deepEqual(change, changeOf(1));
      break;
    }
    assert.deepEqual(transport.methods(channel), ['listen', 'cancel']);
    assert.equal(transport.listeners.size, 0);
    assert.deepEqual(await changes.next(), done);
  });

  test('end while somebody waits for the next one', async () => {
    const { transport, library } = opened();
    const changes = library.changes();
    const next = changes.next();
    const after = changes.next();
    assert.deepEqual(await changes.return(), done);
    assert.deepEqual([await next, await after], [done, done]);
    await changes.return();
    assert.deepEqual(transport.methods(channel), ['listen', 'cancel']);
  });

  test('are told to everybody, until the last one leaves', async () => {
    const { transport, library } = opened();
    const first = library.changes();
    const second = library.changes();
    transport.tell(channel, event(1));
    assert.deepEqual((await first.next()).value, changeOf(1));
    await first.return();
    assert.deepEqual(transport.methods(channel), ['listen', 'listen']);
    transport.tell(channel, event(2));
    assert.deepEqual((await second.next()).value, changeOf(1));
    assert.deepEqual((await second.next()).value, changeOf(2));
    await second.return();
    assert.deepEqual(transport.methods(channel), ['listen', 'listen', 'cancel']);
  });

  test('can be listened to again', async () => {
    const { transport, library } = opened();
    await library.changes().return();
    const again = library.changes();
    transport.tell(channel, event(5));
    assert.deepEqual((await again.next()).value, changeOf(5));
    assert.deepEqual(transport.methods(channel), ['listen', 'cancel', 'listen']);
  });

  test('that nobody takes become one that is incomplete', async () => {
    const { transport, library } = opened();
    const changes = library.changes({ limit: 3 });
    for (let i = 1; i <= 3; ++i) transport.tell(channel, event(i));
    assert.deepEqual((await changes.next()).value, changeOf(1));
    transport.tell(channel, event(4));
    transport.tell(channel, event(5));
    assert.deepEqual((await changes.next()).value, incomplete(5));
    transport.tell(channel, event(6));
    assert.deepEqual((await changes.next()).value, changeOf(6));
  });

  test('go on behind one that is incomplete', async () => {
    const { transport, library } = opened();
    const changes = library.changes({ limit: 1 });
    for (let i = 1; i <= 1000; ++i) transport.tell(channel, event(i));
    assert.deepEqual((await changes.next()).value, incomplete(1000));
    transport.tell(channel, event(1001));
    assert.deepEqual((await changes.next()).value, changeOf(1001));
  });

  test('need room for one', () => {
    const { library } = opened();
    for (const limit of [0, -1, NaN]) assert.throws(() => library.changes({ limit }), RangeError);
  });
});

describe('changes that cannot be told', () => {
  const fault = { code: 'Error', message: 'Failed to watch the library', details: 'why' };

  test('throw the reason, once', async () => {
    const { transport, library } = opened(() => encodeErrorEnvelope(fault));
    const changes = library.changes();
    await assert.rejects(changes.next(), (error) => {
      assert(error instanceof QuorvinError);
      assert.equal(error.message, 'Failed to watch the library');
      return true;
    });
    assert.deepEqual(await changes.next(), done);
    assert.equal(transport.listeners.size, 0);
  });

  test('end those alone that asked in vain', async () => {
    let answers = 0;
    const { transport, library } = opened(() =>
      ++answers === 1 ? encodeErrorEnvelope(fault) : encodeSuccessEnvelope(null),
    );
    const first = library.changes();
    const second = library.changes();
    await assert.rejects(first.next(), QuorvinError);
    transport.tell(channel, event(1));
    assert.deepEqual((await second.next()).value, changeOf(1));
  });

  test('are told of by an event, behind the others', async () => {
    const { transport, library } = opened();
    const changes = library.changes();
    await settled();
    transport.tell(channel, event(1));
    transport.tell(channel, encodeErrorEnvelope(fault));
    transport.tell(channel, event(2));
    assert.deepEqual((await changes.next()).value, changeOf(1));
    await assert.rejects(changes.next(), QuorvinError);
    assert.deepEqual(await changes.next(), done);
  });

  test('are those that are no events', async () => {
    const other = encodeSuccessEnvelope(mapOf({ sequence: 1n }));
    for (const [message, type] of [
      [new Uint8Array(), MalformedMessageError],
      [new Uint8Array([0, 77]), MalformedMessageError],
      [other, UnexpectedReplyError],
    ] as const) {
      const { transport, library } = opened();
      const changes = library.changes();
      const next = changes.next();
      transport.tell(channel, message);
      await assert.rejects(next, type);
      assert.deepEqual(transport.methods(channel), ['listen', 'cancel']);
    }
  });
});

describe('changes over a connection that goes', () => {
  test('are listened to again, and what was missed is told', async () => {
    const { transport, library } = opened();
    const changes = library.changes();
    transport.tell(channel, event(7));
    await settled();
    for (const listener of [...transport.listeners]) listener.reconnected?.();
    await settled();
    transport.tell(channel, event(1));
    assert.deepEqual(transport.methods(channel), ['listen', 'listen']);
    assert.deepEqual((await changes.next()).value, changeOf(7));
    assert.deepEqual((await changes.next()).value, incomplete(7));
    assert.deepEqual((await changes.next()).value, changeOf(1));
  });

  test('outlive the call that was lost', async () => {
    let answers = 0;
    const { transport, library } = opened(() => {
      if (++answers === 1) throw new ConnectionLostError('lost');
      return encodeSuccessEnvelope(null);
    });
    const changes = library.changes();
    await settled();
    for (const listener of [...transport.listeners]) listener.reconnected?.();
    assert.deepEqual((await changes.next()).value, incomplete(0));
  });

  test('are done when the transport is closed', async () => {
    const { transport, library } = opened();
    const changes = library.changes();
    transport.tell(channel, event(1));
    for (const listener of [...transport.listeners]) listener.closed?.();
    assert.deepEqual((await changes.next()).value, changeOf(1));
    assert.deepEqual(await changes.next(), done);
    assert.equal(transport.listeners.size, 0);
  });

  test('are done at once over a closed transport', async () => {
    const { library } = opened(() => {
      throw new TransportClosedError('closed');
    });
    assert.deepEqual(await library.changes().next(), done);
  });
});
