// A transport to an engine in a process of its own, by engine.py.
import { spawn } from 'node:child_process';
import { once } from 'node:events';
import type { Transport, TransportListener } from 'quorvin-client';

export interface EngineTransport extends Transport {
  /** Ends the engine; answers with the status of its process. */
  end(): Promise<number>;
}

export function startEngine(
  script: string,
  libquorvin: string,
  library: string,
  temporary: string,
): EngineTransport {
  const arguments_ = [script, libquorvin, library, temporary];
  const child = spawn('python3', arguments_, { stdio: ['pipe', 'pipe', 'inherit'] });
  const closed = once(child, 'close');
  const pending = new Map<number, (reply: Uint8Array | null) => void>();
  const listeners = new Set<TransportListener>();
  let read = Buffer.alloc(0);
  let lastNumber = 0;

  function receive(frame: Buffer) {
    const end = 5 + frame.readUInt8(4);
    const number = frame.readUInt32LE(0);
    const message = frame.subarray(end);
    if (number !== 0) return pending.get(number)?.(message.length === 0 ? null : message);
    const channel = frame.toString('utf8', 5, end);
    for (const listener of [...listeners]) listener.message(channel, message);
  }

  child.stdout.on('data', (data: Buffer) => {
    read = Buffer.concat([read, data]);
    while (read.length >= 4 && read.length >= 4 + read.readUInt32LE(0)) {
      const end = 4 + read.readUInt32LE(0);
      receive(read.subarray(4, end));
      read = read.subarray(end);
    }
  });

  return {
    send(channel, message) {
      const name = Buffer.from(channel);
      const head = Buffer.alloc(9);
      head.writeUInt32LE(5 + name.length + message.length, 0);
      head.writeUInt32LE(++lastNumber, 4);
      head.writeUInt8(name.length, 8);
      const number = lastNumber;
      return new Promise((resolve) => {
        pending.set(number, resolve);
        child.stdin.write(Buffer.concat([head, name, message]));
      });
    },
    listen(listener) {
      listeners.add(listener);
      return () => void listeners.delete(listener);
    },
    async end() {
      child.stdin.end();
      const [status] = (await closed) as [number];
      return status;
    },
  };
}
