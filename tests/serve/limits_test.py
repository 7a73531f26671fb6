"""What the server withstands, and how it starts and ends."""
import http.client
import json
import os
import resource
import signal
import socket
import subprocess
import tempfile
import threading
import unittest

import serving
from standard_codec import method_call

# A run by hand may ask for more.
CONNECTIONS = int(os.environ.get('QUORVIN_SERVE_CONNECTIONS', '2000'))


def with_descriptors(count):
    resource.setrlimit(resource.RLIMIT_NOFILE, (count, count))


class Requests(serving.ServerCase):
    def test_what_is_no_request_is_refused(self):
        head = f'Host: {self.server.host}\r\nCookie: {self.server.cookie}\r\n'.encode()
        for sent in (b'nonsense\r\n\r\n', b'GET\r\n\r\n', b'GET / HTTP/9.9\r\n' + head + b'\r\n',
                     b'GET nothing HTTP/1.1\r\n' + head + b'\r\n',
                     b'GET http://' + self.server.host.encode() + b'/ HTTP/1.1\r\n' + head + b'\r\n',
                     b'GET /%zz HTTP/1.1\r\n' + head + b'\r\n',
                     b'GET / HTTP/1.1\r\n' + head + b'x: ' + b'y' * 20000 + b'\r\n\r\n',
                     b'GET /' + b'y' * 20000 + b' HTTP/1.1\r\n' + head + b'\r\n',
                     b'\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03' + bytes(500)):
            answer = self.server.raw(sent)
            self.assertEqual(answer[:12], b'HTTP/1.1 400', sent[:40])

    def test_requests_may_follow_one_another_at_once(self):
        head = f'Host: {self.server.host}\r\nCookie: {self.server.cookie}\r\n'
        answer = self.server.raw((f'GET / HTTP/1.1\r\n{head}\r\n'
                                  f'HEAD /nothing HTTP/1.1\r\n{head}\r\n'
                                  f'GET / HTTP/1.1\r\n{head}Connection: close\r\n\r\n').encode())
        self.assertEqual(answer.count(b'HTTP/1.1 200'), 2)
        self.assertEqual(answer.count(b'HTTP/1.1 404'), 1)

    def test_a_connection_serves_many_requests(self):
        connection = http.client.HTTPConnection('127.0.0.1', self.server.port, timeout=60)
        self.addCleanup(connection.close)
        connection.connect()
        port = connection.sock.getsockname()[1]
        for _ in range(100):
            connection.request('GET', '/', headers={'Cookie': self.server.cookie})
            self.assertEqual(connection.getresponse().read()[:9].lower(), b'<!doctype')
            self.assertEqual(connection.sock.getsockname()[1], port)

    def test_many_connections_leave_nothing(self):
        target = self.asset('IMG_0001.jpg') + '/thumbnail?size=64'

        def some(count):
            for number in range(count):
                if number % 20 == 0:
                    channel = self.server.connect()
                    channel.call('getPermission')
                    channel.close()
                self.assertEqual(self.server.get(target if number % 2 else '/')[0], 200)

        some(200)
        memory = self.memory()
        descriptors = self.server.descriptors()
        some(CONNECTIONS)
        self.assertLessEqual(self.server.descriptors(), descriptors + 4)
        self.assertLess(self.memory(), memory + 16 * 1024)

    def test_two_hundred_at_once_are_served(self):
        self.at_once(200)

    def test_more_than_there_is_room_for_wait(self):
        self.at_once(300)

    def at_once(self, count):
        """They are all open before the first one asks."""
        target = self.asset('IMG_0001.jpg') + '/thumbnail?size=64'
        sent = (f'GET {target} HTTP/1.1\r\nHost: {self.server.host}\r\n'
                f'Cookie: {self.server.cookie}\r\nConnection: close\r\n\r\n').encode()
        connections = [socket.create_connection(('127.0.0.1', self.server.port), serving.PATIENCE)
                       for _ in range(count)]
        for connection in connections:
            connection.sendall(sent)
        for connection in connections:
            with connection:
                received = b''
                while piece := connection.recv(65536):
                    received += piece
                self.assertEqual(received[:12], b'HTTP/1.1 200')

    def test_who_does_not_read_costs_little(self):
        target = self.asset('PANORAMA.jpg') + '/image'
        self.server.get(target)
        memory = self.memory()
        sent = (f'GET {target} HTTP/1.1\r\nHost: {self.server.host}\r\n'
                f'Cookie: {self.server.cookie}\r\n\r\n').encode() * 4
        connections = []
        for _ in range(100):
            connection = socket.socket()
            connection.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
            connection.connect(('127.0.0.1', self.server.port))
            connection.sendall(sent)
            connections.append(connection)
        channels = [self.server.connect() for _ in range(4)]
        image = {'assetId': type(self).known['PANORAMA.jpg']['id'], 'convertJpeg': False}
        for channel in channels:
            for _ in range(100):
                channel.ask('quorvin', method_call('getImageData', image))
        # Whoever reads is served beside them.
        self.assertEqual(self.server.get(target)[0], 200)
        self.assertLess(self.memory(), memory + 160 * 1024)
        for connection in connections:
            connection.close()
        for channel in channels:
            channel.close()
        self.assertEqual(self.server.get(target)[0], 200)

    def test_renderings_that_nobody_waits_for_are_not_made(self):
        asset = self.asset('PANORAMA.jpg')
        gone = []
        for size in range(200):
            connection = socket.create_connection(('127.0.0.1', self.server.port))
            connection.sendall((f'GET {asset}/thumbnail?size={1000 + size} HTTP/1.1\r\n'
                                f'Host: {self.server.host}\r\n'
                                f'Cookie: {self.server.cookie}\r\n\r\n').encode())
            gone.append(connection)
        for connection in gone:
            connection.close()
        self.assertEqual(self.server.get(asset + '/thumbnail?size=64')[0], 200)


class Ends(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.temporary = os.path.join(self.folder.name, 'temporary')
        os.mkdir(self.temporary)

    def serve(self, *arguments, prepare=None):
        server = serving.Server(serving.LIBRARY, self.temporary, arguments, prepare)
        self.addCleanup(server.stop, signal.SIGKILL)
        return server

    def test_either_signal_ends_it(self):
        for how in (signal.SIGINT, signal.SIGTERM):
            server = self.serve()
            self.assertEqual(server.get('/')[0], 200)
            self.assertEqual(server.stop(how), 0)
            self.assertEqual((server.rest, server.complaints), ('', ''))
            self.assertEqual(os.listdir(self.temporary), [])

    def test_what_a_killed_one_left_goes_with_the_next_start(self):
        killed, other = self.serve(), self.serve()
        self.assertEqual(len(os.listdir(self.temporary)), 2)
        killed.stop(signal.SIGKILL)
        self.assertEqual(len(os.listdir(self.temporary)), 2)
        last = self.serve()
        self.assertEqual(len(os.listdir(self.temporary)), 2)
        for server in (other, last):
            self.assertEqual(server.request('POST', '/upload?name=a.jpg', body=b'x')[0], 422)
            self.assertEqual(server.stop(), 0)
        self.assertEqual(os.listdir(self.temporary), [])

    def test_channels_are_told(self):
        server = self.serve()
        channel = server.connect()
        server.process.send_signal(signal.SIGTERM)
        with self.assertRaises(serving.Closed) as closed:
            channel.message()
        self.assertEqual(closed.exception.code, 1001)
        channel.close()
        self.assertEqual(server.ended(), 0)

    def test_it_ends_in_the_midst_of_work(self):
        server = self.serve()
        channel = server.connect()
        galleries = channel.call('getGalleryList', {
            'withAllPhotos': True, 'filterEmptyAsset': True, 'withSmartAlbum': True,
            'mediaType': 0})
        recents = next(each['id'] for each in galleries if each['title'] == 'Recents')
        assets = channel.call('getAssetList', {'collectionId': recents, 'start': 0, 'end': 100,
                                               'sort': 0, 'mediaType': 0})
        answered = threading.Event()

        def ask(target):
            try:
                while server.get(target)[0] != 503:
                    answered.set()
            except (OSError, http.client.HTTPException):
                pass

        targets = [f'/asset/{serving.quoted(each["id"])}/{what}' for each in assets
                   for what in ('image', 'video')]
        threads = [threading.Thread(target=ask, args=(target,)) for target in targets]
        for thread in threads:
            thread.start()
        for each in assets:
            channel.ask('quorvin', method_call('getImageData', {'assetId': each['id'],
                                                                'convertJpeg': True}))
        self.assertTrue(answered.wait(serving.PATIENCE))
        self.assertEqual(server.stop(), 0)
        for thread in threads:
            thread.join()
        channel.close()
        self.assertEqual(server.complaints, '')
        self.assertEqual(os.listdir(self.temporary), [])

    def test_it_goes_on_where_descriptors_ran_out(self):
        server = self.serve(prepare=lambda: with_descriptors(80))
        connections = [socket.create_connection(('127.0.0.1', server.port), serving.PATIENCE)
                       for _ in range(100)]
        request = (f'GET / HTTP/1.1\r\nHost: {server.host}\r\nCookie: {server.cookie}\r\n'
                   'Connection: close\r\n\r\n').encode()
        for connection in connections:
            connection.sendall(request)
        for connection in connections:
            with connection:
                self.assertEqual(connection.recv(12), b'HTTP/1.1 200')
        self.assertEqual(server.stop(), 0)

    @unittest.skipIf(serving.IS_SANITIZED, 'sanitizers need descriptors of their own')
    def test_it_says_that_it_has_too_few_descriptors(self):
        outcomes = set()
        for count in range(8, 64, 4):
            ran = subprocess.Popen([serving.TOOL, '--library', serving.LIBRARY, 'serve'],
                                   env=dict(os.environ, TMPDIR=self.temporary), text=True,
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                   preexec_fn=lambda count=count: with_descriptors(count))
            if ran.stdout.readline():
                ran.send_signal(signal.SIGTERM)
            complaints = ran.communicate(timeout=serving.PATIENCE)[1]
            self.assertIn(ran.returncode, (0, 1), complaints)
            self.assertEqual(complaints.count('\n'), ran.returncode, (count, complaints))
            outcomes.add(ran.returncode)
        self.assertEqual(outcomes, {0, 1})

    def test_a_port_may_be_named(self):
        first = self.serve()
        port = first.port
        self.refused(['--port', str(port)], f'Port {port} is taken by another program')
        first.stop()
        second = self.serve('--port', str(port))
        self.assertEqual(second.port, port)
        self.assertEqual(second.get('/')[0], 200)

    def test_ports_are_numbers(self):
        for port in ('65536', '-1', 'x', ''):
            ran = self.ran(serving.LIBRARY, ['--port', port])
            self.assertEqual((ran.returncode, ran.stdout), (2, ''))

    def test_two_servers_do_not_disturb_one_another(self):
        first, second = self.serve(), self.serve()
        both = {'Cookie': f'{first.cookie}; {second.cookie}'}
        for server in (first, second):
            self.assertEqual(server.get('/', both)[0], 200)
        self.assertEqual(first.get('/', {'Cookie': second.cookie})[0], 401)

    def test_a_library_that_is_missing_or_damaged_is_said(self):
        missing = os.path.join(self.folder.name, 'missing')
        self.refused([], 'missing', missing)
        self.assertFalse(os.path.exists(missing))
        damaged = os.path.join(self.folder.name, 'damaged')
        os.mkdir(damaged)
        os.mkdir(os.path.join(damaged, 'originals'))
        with open(os.path.join(damaged, 'library.sqlite'), 'wb') as file:
            file.write(b'x' * 5000)
        self.refused([], 'damaged', damaged)
        self.assertEqual(os.listdir(self.temporary), [])

    def test_the_users_own_library_is_made_when_it_is_missing(self):
        environment = {name: value for name, value in os.environ.items()
                       if name != 'QUORVIN_LIBRARY'}
        environment.update(XDG_DATA_HOME=os.path.join(self.folder.name, 'data'),
                           TMPDIR=self.temporary)
        process = subprocess.Popen([serving.TOOL, 'serve'], env=environment, text=True,
                                   stdout=subprocess.PIPE)
        self.addCleanup(process.stdout.close)
        self.assertIn('Serving ', process.stdout.readline())
        library = os.path.join(self.folder.name, 'data', 'quorvin', 'library')
        told = subprocess.run([serving.TOOL, '--library', library, 'info', '--json'], check=True,
                              capture_output=True, text=True).stdout
        self.assertEqual(json.loads(told)['status'], 'authorized')
        process.send_signal(signal.SIGTERM)
        self.assertEqual(process.wait(serving.PATIENCE), 0)

    def refused(self, arguments, told, library=serving.LIBRARY):
        ran = self.ran(library, arguments)
        self.assertEqual((ran.returncode, ran.stdout), (1, ''))
        self.assertEqual(ran.stderr.count('\n'), 1)
        self.assertIn(told, ran.stderr)

    def ran(self, library, arguments):
        return subprocess.run([serving.TOOL, '--library', library, 'serve', *arguments],
                              env=dict(os.environ, TMPDIR=self.temporary), text=True, check=False,
                              capture_output=True, timeout=serving.PATIENCE)

    def test_the_browser_is_opened(self):
        path = os.path.join(self.folder.name, 'bin')
        os.mkdir(path)
        told = os.path.join(self.folder.name, 'told')
        os.mkfifo(told)
        program = os.path.join(path, 'xdg-open')
        with open(program, 'w', encoding='utf-8') as file:
            file.write(f'#!/bin/sh\necho noise\nprintf %s "$1" >{told}\n')
        os.chmod(program, 0o700)
        before = os.environ['PATH']
        self.addCleanup(os.environ.__setitem__, 'PATH', before)
        os.environ['PATH'] = path + ':' + before
        server = self.serve('--open')
        with open(told, encoding='utf-8') as file:
            address = file.read()
        host, once = address.split('/?token=')
        self.assertEqual(host, f'http://{server.host}')
        # Others on the machine can read the browser's command line.
        self.assertNotEqual(once, server.token)
        self.assertEqual(server.get('/index.html?token=' + once, cookie=False)[0], 401)
        status, headers, _ = server.get('/?token=' + once, cookie=False)
        self.assertEqual((status, headers['Set-Cookie'].split(';')[0]), (303, server.cookie))
        self.assertEqual(server.get('/?token=' + once, cookie=False)[0], 401)
        self.assertEqual((server.stop(), server.rest), (0, ''))

    def test_a_browser_that_is_missing_is_said(self):
        before = os.environ['PATH']
        self.addCleanup(os.environ.__setitem__, 'PATH', before)
        os.environ['PATH'] = self.folder.name
        server = self.serve('--open')
        self.assertEqual(server.get('/')[0], 200)
        self.assertEqual(server.stop(), 0)
        self.assertIn('no browser could be started', server.complaints)


if __name__ == '__main__':
    unittest.main()
