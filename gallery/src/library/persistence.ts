import { ConnectionLostError } from 'quorvin-client';

/** Asks again whenever the connection goes before the reply: for what only reads. */
export async function persistently<T>(ask: () => Promise<T>): Promise<T> {
  for (;;) {
    try {
      return await ask();
    } catch (error) {
      if (!(error instanceof ConnectionLostError)) throw error;
    }
  }
}
