import { decodeEnvelope, encodeMethodCall } from './codec.js';
import { NotImplementedError, QuorvinError } from './errors.js';
import type { Transport } from './transport.js';
import type { Value } from './value.js';

/**
 * Calls a method and answers with its result. Rejects with a `QuorvinError` when the reply is an
 * error, a `NotImplementedError` when there is none, a `MalformedMessageError` when it cannot be
 * read, and with the transport's errors.
 */
export async function callMethod(
  transport: Transport,
  channel: string,
  method: string,
  args: Value,
): Promise<Value> {
  const reply = await transport.send(channel, encodeMethodCall({ method, arguments: args }));
  if (reply === null || reply.length === 0) throw new NotImplementedError(channel, method);
  return resultOf(reply);
}

/** What the envelope holds; throws a `QuorvinError` when it is an error. */
export function resultOf(message: Uint8Array): Value {
  const { error, result } = decodeEnvelope(message);
  if (error === undefined) return result;
  throw new QuorvinError(error.code, error.message ?? '', error.details);
}
