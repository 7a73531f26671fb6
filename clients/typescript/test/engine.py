#!/usr/bin/env python3
"""engine.py LIBQUORVIN LIBRARY TEMPORARY: an engine that is talked to by standard input and output.

Each message is a frame as the WebSocket transport has it, behind its size in 4 bytes, little-endian. Ends
with its input.
"""
import ctypes
import os
import select
import struct
import sys

REPLY = ctypes.CFUNCTYPE(None, ctypes.c_void_p, ctypes.c_size_t, ctypes.c_void_p)
MESSAGE = ctypes.CFUNCTYPE(None, ctypes.c_char_p, ctypes.c_void_p, ctypes.c_size_t, ctypes.c_void_p)
AUTHORIZED = 3


class Options(ctypes.Structure):
    _fields_ = [('struct_size', ctypes.c_size_t), ('library_path', ctypes.c_char_p),
                ('temporary_path', ctypes.c_char_p), ('system_version', ctypes.c_char_p),
                ('authorization', ctypes.c_int32), ('request_authorization', ctypes.c_void_p),
                ('user_data', ctypes.c_void_p), ('confirm_deletion', ctypes.c_void_p)]


def load(path):
    quorvin = ctypes.CDLL(path)
    quorvin.quorvin_engine_create.restype = ctypes.c_void_p
    quorvin.quorvin_engine_create.argtypes = [ctypes.POINTER(Options),
                                              ctypes.POINTER(ctypes.c_char_p)]
    quorvin.quorvin_engine_destroy.argtypes = [ctypes.c_void_p]
    quorvin.quorvin_engine_send.argtypes = [ctypes.c_void_p, ctypes.c_char_p, ctypes.c_char_p,
                                            ctypes.c_size_t, REPLY, ctypes.c_void_p]
    quorvin.quorvin_engine_receive.argtypes = [ctypes.c_void_p, MESSAGE, ctypes.c_void_p]
    quorvin.quorvin_engine_fd.argtypes = [ctypes.c_void_p]
    quorvin.quorvin_engine_run.argtypes = [ctypes.c_void_p, ctypes.c_int]
    quorvin.quorvin_engine_run.restype = ctypes.c_size_t
    return quorvin


def write(number, channel, message, size):
    body = ctypes.string_at(message, size) if size > 0 else b''
    frame = struct.pack('<IB', number, len(channel)) + channel + body
    sys.stdout.buffer.write(struct.pack('<I', len(frame)) + frame)
    sys.stdout.buffer.flush()


def read_whole(size):
    """Reads no more than that, so that select sees all that is left; less at the end."""
    data = b''
    while len(data) < size:
        part = os.read(sys.stdin.fileno(), size - len(data))
        if not part:
            break
        data += part
    return data


def read_frame():
    head = read_whole(4)
    return read_whole(struct.unpack('<I', head)[0]) if len(head) == 4 else None


def main():
    quorvin = load(sys.argv[1])
    options = Options(struct_size=ctypes.sizeof(Options), library_path=os.fsencode(sys.argv[2]),
                      temporary_path=os.fsencode(sys.argv[3]), system_version=b'17.2',
                      authorization=AUTHORIZED)
    error = ctypes.c_char_p()
    engine = quorvin.quorvin_engine_create(ctypes.byref(options), ctypes.byref(error))
    if engine is None:
        sys.exit(error.value.decode())
    callbacks = {}  # they must live until they are called

    @MESSAGE
    def receive(channel, message, size, _):
        write(0, channel, message, size)

    def send(frame):
        number, length = struct.unpack_from('<IB', frame)
        channel = frame[5:5 + length]
        message = frame[5 + length:]
        callbacks[number] = REPLY(lambda reply, size, _: write(number, channel, reply, size))
        quorvin.quorvin_engine_send(engine, channel, message, len(message), callbacks[number], None)

    quorvin.quorvin_engine_receive(engine, receive, None)
    while True:
        readable, _, _ = select.select([sys.stdin, quorvin.quorvin_engine_fd(engine)], [], [])
        if sys.stdin in readable:
            frame = read_frame()
            if frame is None:
                break
            send(frame)
        quorvin.quorvin_engine_run(engine, 0)
    quorvin.quorvin_engine_destroy(engine)


if __name__ == '__main__':
    main()
