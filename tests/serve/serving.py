"""A server of the gallery on a library of the test's own, and clients for it."""
import base64
import http.client
import json
import os
import re
import shutil
import signal
import socket
import struct
import subprocess
import tempfile
import unittest
import urllib.parse

from standard_codec import envelope, method_call

TOOL = os.environ['QUORVIN_TOOL']
LIBRARY = os.environ['QUORVIN_IMPORTED_LIBRARY']
MEDIA = os.environ['QUORVIN_GENERATED_MEDIA']
# Sanitizers keep what was freed, and need descriptors of their own.
IS_SANITIZED = os.environ.get('QUORVIN_SANITIZED', '') != ''
# Longer than anything takes: what is waited for so long does not come.
PATIENCE = 120


class Server:
    """The program; `stop` ends it and gives its exit status."""

    def __init__(self, library, temporary, arguments=(), prepare=None):
        self.temporary = temporary
        environment = dict(os.environ, TMPDIR=temporary)
        self.process = subprocess.Popen(
            [TOOL, '--library', library, 'serve', *arguments], env=environment, preexec_fn=prepare,
            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        self.line = self.process.stdout.readline()
        found = re.fullmatch(r'Serving http://127\.0\.0\.1:(\d+)/\?token=([0-9a-f]+)\n', self.line)
        if not found:
            raise AssertionError(f'no server: {self.line!r} {self.process.communicate()}')
        self.port = int(found[1])
        self.token = found[2]

    def stop(self, how=signal.SIGTERM):
        if self.process.poll() is None:
            self.process.send_signal(how)
        return self.ended()

    def ended(self):
        self.rest, self.complaints = self.process.communicate(timeout=PATIENCE)
        return self.process.returncode

    @property
    def host(self):
        return f'127.0.0.1:{self.port}'

    @property
    def cookie(self):
        return f'quorvin-{self.port}={self.token}'

    def request(self, method, target, headers=None, body=None, cookie=True):
        """One request on a connection of its own: (status, headers, body)."""
        connection = http.client.HTTPConnection('127.0.0.1', self.port, timeout=PATIENCE)
        try:
            sent = {'Cookie': self.cookie} if cookie else {}
            sent.update(headers or {})
            connection.request(method, target, body=body, headers=sent)
            response = connection.getresponse()
            return response.status, response.headers, response.read()
        finally:
            connection.close()

    def get(self, target, headers=None, cookie=True):
        return self.request('GET', target, headers, cookie=cookie)

    def raw(self, sent):
        """What comes for these bytes until the server closes."""
        with socket.create_connection(('127.0.0.1', self.port), PATIENCE) as connection:
            connection.sendall(sent)
            received = b''
            while piece := connection.recv(65536):
                received += piece
            return received

    def connect(self, **options):
        return Channel(self, **options)

    def status_number(self, key):
        """Of /proc/PID/status, in KiB where it is a size."""
        with open(f'/proc/{self.process.pid}/status', encoding='utf-8') as file:
            return int(re.search(rf'^{key}:\s+(\d+)', file.read(), re.MULTILINE)[1])

    def descriptors(self):
        return len(os.listdir(f'/proc/{self.process.pid}/fd'))


class Refused(Exception):
    """The upgrade was answered with another status."""

    def __init__(self, status):
        super().__init__(status)
        self.status = status


class Closed(Exception):
    """The server closed with this code; 0: without one."""

    def __init__(self, code):
        super().__init__(code)
        self.code = code


class Channel:
    """A WebSocket to the channels."""

    def __init__(self, server, headers=None, target='/channel', cookie=True):
        self.socket = socket.create_connection(('127.0.0.1', server.port), PATIENCE)
        self.received = b''
        self.number = 0
        self.events = []
        self.replies = {}
        sent = {'Host': server.host, 'Upgrade': 'websocket', 'Connection': 'Upgrade',
                'Sec-WebSocket-Version': '13',
                'Sec-WebSocket-Key': base64.b64encode(os.urandom(16)).decode()}
        if cookie:
            sent['Cookie'] = server.cookie
        sent.update(headers or {})
        lines = ''.join(f'{name}: {value}\r\n' for name, value in sent.items())
        self.socket.sendall(f'GET {target} HTTP/1.1\r\n{lines}\r\n'.encode())
        while b'\r\n\r\n' not in self.received:
            self.more()
        head, self.received = self.received.split(b'\r\n\r\n', 1)
        status = int(head.split()[1])
        if status != 101:
            self.socket.close()
            raise Refused(status)

    def more(self):
        piece = self.socket.recv(65536)
        if not piece:
            raise Closed(0)
        self.received += piece

    def send(self, payload, opcode=2):
        mask = os.urandom(4)
        size = len(payload)
        head = bytes([0x80 | opcode])
        if size < 126:
            head += bytes([0x80 | size])
        elif size < 65536:
            head += bytes([0x80 | 126]) + struct.pack('>H', size)
        else:
            head += bytes([0x80 | 127]) + struct.pack('>Q', size)
        pad = (mask * (size // 4 + 1))[:size]
        masked = (int.from_bytes(payload, 'big') ^ int.from_bytes(pad, 'big')).to_bytes(size, 'big')
        self.socket.sendall(head + mask + masked)

    def take(self, size):
        while len(self.received) < size:
            self.more()
        taken, self.received = self.received[:size], self.received[size:]
        return taken

    def message(self):
        """The next message, whole."""
        whole = b''
        while True:
            first, second = self.take(2)
            size = second & 127
            if size == 126:
                size = struct.unpack('>H', self.take(2))[0]
            elif size == 127:
                size = struct.unpack('>Q', self.take(8))[0]
            payload = self.take(size)
            opcode = first & 15
            if opcode == 8:
                raise Closed(struct.unpack('>H', payload[:2])[0] if payload else 0)
            if opcode == 9:
                self.send(payload, 10)
            elif opcode in (0, 1, 2):
                whole += payload
                if first & 128:
                    return whole

    def frame(self):
        """The next frame: its number, channel and message."""
        message = self.message()
        number, size = struct.unpack('<IB', message[:5])
        return number, message[5:5 + size].decode(), message[5 + size:]

    def ask(self, channel, message):
        """Sends a message, and gives the number that its reply will have."""
        self.number += 1
        name = channel.encode()
        self.send(struct.pack('<IB', self.number, len(name)) + name + message)
        return self.number

    def reply(self, number):
        """Of this call; what comes before it is kept."""
        while number not in self.replies:
            self.keep(*self.frame())
        return self.replies.pop(number)

    def keep(self, number, channel, message):
        if number == 0:
            self.events.append((channel, message))
        else:
            self.replies[number] = message

    def event(self):
        while not self.events:
            self.keep(*self.frame())
        return self.events.pop(0)

    def call(self, method, arguments=None, channel='quorvin'):
        """The result of a call, or the error as an Exception."""
        return envelope(self.reply(self.ask(channel, method_call(method, arguments))))

    def close(self):
        self.socket.close()


def quoted(identifier):
    return urllib.parse.quote(identifier, safe='')


class ServerCase(unittest.TestCase):
    """A server for all tests of a class, on a copy of the imported library."""

    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.mkdtemp()
        cls.library = os.path.join(cls.folder, 'library')
        shutil.copytree(LIBRARY, cls.library)
        cls.temporary = os.path.join(cls.folder, 'temporary')
        os.mkdir(cls.temporary)
        cls.server = Server(cls.library, cls.temporary)

    @classmethod
    def tearDownClass(cls):
        status = cls.server.stop()
        left = os.listdir(cls.temporary)
        shutil.rmtree(cls.folder)
        if status != 0 or left or cls.server.rest or cls.server.complaints:
            raise AssertionError((status, left, cls.server.rest, cls.server.complaints))

    @classmethod
    def tool(cls, *arguments):
        ran = subprocess.run([TOOL, '--library', cls.library, *arguments], capture_output=True,
                             text=True, check=False)
        return ran.returncode, ran.stdout

    @classmethod
    def result(cls, method, arguments):
        status, out = cls.tool('call', method, json.dumps(arguments))
        assert status == 0, out
        return json.loads(out)['result']

    @classmethod
    def gallery(cls, title):
        galleries = cls.result('getGalleryList', {'withAllPhotos': True, 'filterEmptyAsset': True,
                                                  'withSmartAlbum': True, 'mediaType': 0})
        return next(each['id'] for each in galleries if each['title'] == title)

    @classmethod
    def assets(cls, title='Recents'):
        """The records of a gallery, by the names of their files."""
        page = cls.result('getAssetList', {'collectionId': cls.gallery(title), 'start': 0,
                                           'end': 1000, 'sort': 0, 'mediaType': 0})
        return {cls.result('getAssetOriginalFilename', {'assetId': each['id']}): each
                for each in page}

    def memory(self):
        """Of the server, in KiB."""
        return self.server.status_number('VmRSS') if not IS_SANITIZED else 0

    def asset(self, name):
        """The path of the asset that came under this name."""
        if 'known' not in type(self).__dict__:
            type(self).known = self.assets()
        return '/asset/' + quoted(type(self).known[name]['id'])
