/** What a transport tells by itself. */
export interface TransportListener {
  /** A message that came without having been asked for. */
  message(channel: string, message: Uint8Array): void;
  /** The connection went; it is tried again. */
  disconnected?(): void;
  /** There is a connection again, and the other side knows nothing of the one before. */
  reconnected?(): void;
  /** There will be no connection any more. */
  closed?(): void;
}

/**
 * Carries messages to an engine. What goes in and comes out are the bytes of `quorvin_engine_send`
 * and of `quorvin_engine_receive`; messages arrive in the order of sending.
 */
export interface Transport {
  /**
   * Sends one message and answers with its reply; null when nobody implements what it asks for.
   * Rejects with a `TransportError` when the message or its reply cannot be brought across; after a
   * `ConnectionLostError` the listeners are told of a new connection, or that there will be none.
   */
  send(channel: string, message: Uint8Array): Promise<Uint8Array | null>;

  /** Begins to tell the listener. Returns what ends that. */
  listen(listener: TransportListener): () => void;
}
