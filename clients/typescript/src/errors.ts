import type { Value } from './value.js';

/** The plugin answered with an error. `docs/errors.md` of quorvin lists every message. */
export class QuorvinError extends Error {
  override readonly name = 'QuorvinError';

  /**
   * @param code `"Error"` for everything that the plugin itself answers.
   * @param message Names the fault; `""` when the reply had none.
   * @param details Mostly null, or the reason as a sentence.
   */
  constructor(
    readonly code: string,
    message: string,
    readonly details: Value,
  ) {
    super(message);
  }
}

/**
 * Nobody answers the method: there is no such method or channel, or the engine ended before it
 * answered.
 */
export class NotImplementedError extends Error {
  override readonly name = 'NotImplementedError';

  constructor(
    readonly channel: string,
    readonly method: string,
  ) {
    super(`Nobody answers the method "${method}" of the channel "${channel}".`);
  }
}

/** The bytes are no message of the codec. */
export class MalformedMessageError extends Error {
  override readonly name = 'MalformedMessageError';

  /** @param offset Where in the message, in bytes. */
  constructor(
    reason: string,
    readonly offset: number,
  ) {
    super(`The message is malformed at byte ${offset}: ${reason}.`);
  }
}

/** The codec has no bytes for the value. */
export class UnencodableValueError extends Error {
  override readonly name = 'UnencodableValueError';
}

/** The reply is a message of the codec, but not what the method replies. */
export class UnexpectedReplyError extends Error {
  override readonly name = 'UnexpectedReplyError';

  /**
   * @param method The method, or the channel of an event.
   * @param path Where in the reply, as `[3].width`; `""` for all of it.
   * @param expected What should be there.
   */
  constructor(
    readonly method: string,
    readonly path: string,
    readonly expected: string,
  ) {
    super(`The reply to "${method}"${path && ` at ${path}`} should be ${expected}.`);
  }
}

/** The message could not be brought to the other side, or its reply not back. */
export class TransportError extends Error {
  override readonly name: string = 'TransportError';
}

/** The connection went after the call was sent: it may have been carried out, or not. */
export class ConnectionLostError extends TransportError {
  override readonly name = 'ConnectionLostError';
}

/** The transport was closed: there will be no reply any more. */
export class TransportClosedError extends TransportError {
  override readonly name = 'TransportClosedError';
}

/** Too many calls wait for a connection already. This one was not sent. */
export class TooManyCallsError extends TransportError {
  override readonly name = 'TooManyCallsError';
}
