import { callMethod, resultOf } from './call_method.js';
import { ChangeQueue, incompleteChange } from './change_queue.js';
import { ConnectionLostError, TransportClosedError } from './errors.js';
import { change } from './records.js';
import { nothing, readReply } from './replies.js';
import type { Transport, TransportListener } from './transport.js';

export const kChangeChannelName = 'quorvin/changes';

/** The engine's event channel. It is listened to while there are queues. */
export class ChangeChannel implements TransportListener {
  readonly #transport: Transport;
  readonly #queues = new Set<ChangeQueue>();
  #stopListening: (() => void) | null = null;
  #lastSequence = 0;

  constructor(transport: Transport) {
    this.#transport = transport;
  }

  /** A new queue. Messages are in order, so that a call made from now on sees no older state. */
  open(limit: number): ChangeQueue {
    const queue = new ChangeQueue(limit, (left) => this.#remove([left]));
    this.#queues.add(queue);
    this.#stopListening ??= this.#transport.listen(this);
    // Listening twice is one subscription; each queue learns so whether its own failed.
    this.#subscribe([queue]);
    return queue;
  }

  message(channel: string, message: Uint8Array): void {
    if (channel !== kChangeChannelName) return;
    try {
      const event = readReply(kChangeChannelName, resultOf(message), change);
      this.#lastSequence = event.sequence;
      for (const queue of this.#queues) queue.push(event);
    } catch (error) {
      this.#end([...this.#queues], { error });
    }
  }

  reconnected(): void {
    const queues = [...this.#queues];
    // What was committed meanwhile nobody told.
    this.#subscribe(queues, () => {
      const missed = incompleteChange(this.#lastSequence);
      for (const queue of queues) if (this.#queues.has(queue)) queue.push(missed);
    });
  }

  closed(): void {
    this.#end([...this.#queues], null);
  }

  #subscribe(queues: ChangeQueue[], then = () => {}): void {
    callMethod(this.#transport, kChangeChannelName, 'listen', null)
      .then((reply) => readReply('listen', reply, nothing))
      .then(then, (error: unknown) => {
        // The transport tells when there is a connection again, or never will be.
        if (error instanceof ConnectionLostError) return;
        this.#end(queues, error instanceof TransportClosedError ? null : { error });
      });
  }

  #end(queues: ChangeQueue[], fault: { readonly error: unknown } | null): void {
    const standing = queues.filter((queue) => this.#queues.has(queue));
    for (const queue of standing) queue.end(fault);
    this.#remove(standing);
  }

  #remove(queues: ChangeQueue[]): void {
    for (const queue of queues) this.#queues.delete(queue);
    if (this.#queues.size > 0 || this.#stopListening === null) return;
    this.#stopListening();
    this.#stopListening = null;
    // Nobody is left who would want to know of a failure.
    callMethod(this.#transport, kChangeChannelName, 'cancel', null).catch(() => {});
  }
}
