import assert from 'node:assert/strict';
import { describe, test } from 'node:test';
import { callMethod, encodeErrorEnvelope, NotImplementedError, QuorvinError } from 'quorvin-client';
import { FakeTransport, mapOf, one, replying } from './fake_transport.js';

describe('A method of any channel', () => {
  test('is called with values and answers with one', async () => {
    const transport = new FakeTransport(replying(7n));
    const args = mapOf({ assetIds: ['a'] });
    assert.equal(await callMethod(transport, 'another/channel', 'doThis', args), 7n);
    const call = one(transport.sent);
    assert.equal(call.channel, 'another/channel');
    assert.equal(call.method, 'doThis');
    assert.deepEqual(call.arguments, args);
  });

  test('rejects with the error that it is answered with', async () => {
    const reply = encodeErrorEnvelope({ code: 'Error', message: 'No', details: 'why' });
    const called = callMethod(new FakeTransport(() => reply), 'c', 'm', null);
    await assert.rejects(called, (error: unknown) =>
      error instanceof QuorvinError && error.message === 'No' && error.details === 'why');
  });

  test('that nobody answers is not implemented', async () => {
    await assert.rejects(callMethod(new FakeTransport(() => null), 'c', 'm', null), NotImplementedError);
  });
});
