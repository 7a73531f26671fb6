"""Files that come in, and what the page does beyond the methods."""
import json
import os
import socket
import unittest

import serving
from standard_codec import ErrorReply, NotImplementedReply


def content_of(name):
    with open(os.path.join(serving.MEDIA, name), 'rb') as file:
        return file.read()


class Uploads(serving.ServerCase):
    def upload(self, name, body, headers=None, album=None):
        target = '/upload?name=' + serving.quoted(name)
        if album is not None:
            target += '&album=' + serving.quoted(album)
        return self.server.request('POST', target, headers, body)

    def test_a_photo_and_a_video_come_in_under_their_own_names(self):
        for source, name in (('good/IMG_0002.jpg', 'ä "1".jpg'), ('good/IMG_0010.HEIC', 'b.HEIC'),
                             ('good/CLIP.mp4', 'c.mp4'), ('good/IMG_0002.jpg', 'no ending'),
                             ('good/CLIP.mp4', 'picture.jpg')):
            body = content_of(source)
            status, headers, answer = self.upload(name, body)
            self.assertEqual((status, headers['Content-Type']), (201, 'application/json'), answer)
            asset = json.loads(answer)['id']
            self.assertEqual(self.result('getAssetOriginalFilename', {'assetId': asset}), name)
            original = self.server.get(f'/asset/{serving.quoted(asset)}/original')[2]
            self.assertEqual(original, body)
        self.nothing_is_left()

    def test_blanks_in_names_come_as_forms_send_them(self):
        body = content_of('good/IMG_0002.jpg')
        answer = self.server.request('POST', '/upload?name=a+b%2Bc.jpg', body=body)[2]
        asset = json.loads(answer)['id']
        name = self.result('getAssetOriginalFilename', {'assetId': asset})
        self.assertEqual(name, 'a b+c.jpg')

    def test_a_photo_comes_into_an_album(self):
        album = self.result('createAlbum', {'title': 'Uploaded'})['id']
        answer = self.upload('d.jpg', content_of('good/IMG_0002.jpg'), album=album)[2]
        self.assertEqual([each['id'] for each in self.assets('Uploaded').values()],
                         [json.loads(answer)['id']])
        status, _, answer = self.upload('d.jpg', content_of('good/IMG_0002.jpg'), album='nobody')
        self.assertEqual(status, 404, answer)

    def test_what_is_no_photo_or_video_is_refused(self):
        before = len(self.assets())
        for name, body in (('a.txt', b'text'), ('a.jpg', b''), ('b.jpg', b'\xff\xd8\xff'),
                           ('c.jpg', content_of('bad/header_only.png')),
                           ('d.mp4', content_of('good/song.mp3'))):
            status, headers, answer = self.upload(name, body)
            self.assertEqual((status, headers['Content-Type']),
                             (422, 'text/plain; charset=utf-8'), (name, answer))
            self.assertIn(name.encode(), answer)
        self.assertEqual(len(self.assets()), before)
        self.nothing_is_left()

    def test_names_are_those_of_files(self):
        for name in ('', '.', '..', '../a.jpg', '/etc/a.jpg', 'a/b.jpg', 'n' * 256):
            self.assertEqual(self.upload(name, b'x')[0], 400, name)
        for target in ('/upload', '/upload?name', '/upload?name=%00.jpg', '/upload?name=%FF'):
            self.assertEqual(self.server.request('POST', target, body=b'x')[0], 400, target)

    def test_what_is_too_large_is_refused_before_it_comes(self):
        for name, size, expected in (('a.jpg', (512 << 20) + 1, 413), ('a.mp4', (4 << 30) + 1, 413),
                                     ('a.mp4', 1 << 62, 413), ('a.jpg', -1, 400)):
            answer = self.server.raw(
                f'POST /upload?name={name} HTTP/1.1\r\nHost: {self.server.host}\r\n'
                f'Cookie: {self.server.cookie}\r\nContent-Length: {size}\r\n'
                'Expect: 100-continue\r\nConnection: close\r\n\r\n'.encode())
            self.assertEqual(int(answer.split()[1]), expected, (name, size))

    def test_a_size_is_told_before(self):
        def pieces():
            yield b'x'
        self.assertEqual(self.upload('a.jpg', pieces())[0], 411)

    def test_who_waits_for_leave_gets_it(self):
        body = content_of('good/IMG_0002.jpg')
        head = (f'POST /upload?name=waits.jpg HTTP/1.1\r\nHost: {self.server.host}\r\n'
                f'Cookie: {self.server.cookie}\r\nContent-Length: {len(body)}\r\n'
                'Expect: 100-continue\r\nConnection: close\r\n\r\n')
        with socket.create_connection(('127.0.0.1', self.server.port),
                                      serving.PATIENCE) as connection:
            connection.sendall(head.encode())
            self.assertEqual(connection.recv(100), b'HTTP/1.1 100 Continue\r\n\r\n')
            connection.sendall(body)
            self.assertEqual(connection.recv(12), b'HTTP/1.1 201')

    def test_an_upload_that_ends_early_is_nothing(self):
        before = len(self.assets())
        with socket.create_connection(('127.0.0.1', self.server.port),
                                      serving.PATIENCE) as connection:
            connection.sendall(
                f'POST /upload?name=a.jpg HTTP/1.1\r\nHost: {self.server.host}\r\n'
                f'Cookie: {self.server.cookie}\r\nContent-Length: 1000000\r\n\r\n'.encode())
            connection.sendall(content_of('good/IMG_0002.jpg')[:1000])
        # An answer to a later request: the server has seen the end by then.
        self.assertEqual(self.server.get('/')[0], 200)
        self.assertEqual(len(self.assets()), before)
        self.nothing_is_left()

    def test_pages_of_others_upload_nothing(self):
        for headers, cookie, expected in (({'Origin': 'http://example.org'}, True, 403),
                                          ({'Origin': 'null'}, True, 403), ({}, False, 401),
                                          ({'Origin': f'http://{self.server.host}'}, True, 422)):
            status = self.server.request('POST', '/upload?name=a.jpg', headers, b'x', cookie)[0]
            self.assertEqual(status, expected)

    def nothing_is_left(self):
        left = [name for _, _, names in os.walk(self.temporary) for name in names]
        self.assertEqual(left, [])


class Gallery(serving.ServerCase):
    def setUp(self):
        self.channel = self.server.connect()
        self.addCleanup(self.channel.close)

    def gallery_call(self, method, arguments):
        return self.channel.call(method, arguments, channel='quorvin/gallery')

    def test_a_deletion_is_taken_back(self):
        known = self.assets()
        some = [known[name]['id'] for name in ('IMG_0002.jpg', 'NO_DATE.jpg')]
        self.assertTrue(self.channel.call('deleteAssets', {'assetIds': some}))
        self.assertEqual(len(self.assets()), len(known) - 2)
        self.assertIs(self.gallery_call('restoreAssets', {'assetIds': some}), True)
        self.assertEqual(self.assets(), known)
        with self.assertRaises(ErrorReply) as error:
            self.gallery_call('restoreAssets', {'assetIds': some})
        code, message, details = error.exception.args
        self.assertEqual((code, message), ('Error', 'Restoring assets error'))
        self.assertIn('is not in the trash', details)

    def test_assets_come_into_an_album(self):
        known = self.assets()
        album = self.channel.call('createAlbum', {'title': 'Chosen'})['id']
        some = [known[name]['id'] for name in ('IMG_0003.JPG', 'CLIP.mp4')]
        arguments = {'collectionId': album, 'assetIds': some}
        self.assertIs(self.gallery_call('addToAlbum', arguments), True)
        self.assertEqual(sorted(self.assets('Chosen')), ['CLIP.mp4', 'IMG_0003.JPG'])
        for collection, assets in ((album, some[:1] + ['nobody']), ('nobody', some),
                                   (self.gallery('Recents'), some)):
            with self.assertRaises(ErrorReply) as error:
                self.gallery_call('addToAlbum', {'collectionId': collection, 'assetIds': assets})
            self.assertEqual(error.exception.args[1], 'Adding to album error')
            self.assertTrue(error.exception.args[2])
        self.assertEqual(sorted(self.assets('Chosen')), ['CLIP.mp4', 'IMG_0003.JPG'])

    def test_arguments_are_checked(self):
        for method, arguments in (
                ('restoreAssets', None), ('restoreAssets', {}), ('restoreAssets', {'assetIds': 'x'}),
                ('restoreAssets', {'assetIds': [1]}), ('addToAlbum', {'assetIds': []}),
                ('addToAlbum', {'assetIds': [], 'collectionId': 1}),
                ('addToAlbum', {'assetIds': [None], 'collectionId': 'x'})):
            with self.assertRaises(ErrorReply) as error:
                self.gallery_call(method, arguments)
            self.assertEqual(error.exception.args, ('Error', 'Error arguments', None))
        with self.assertRaises(NotImplementedReply):
            self.gallery_call('other', {})

    def test_without_access_nothing_changes(self):
        known = self.assets()
        asset = known['PANORAMA.jpg']['id']
        album = self.channel.call('createAlbum', {'title': 'Closed'})['id']
        self.assertTrue(self.channel.call('deleteAssets', {'assetIds': [asset]}))
        self.assertEqual(self.tool('authorize', 'denied')[0], 0)
        try:
            for method, arguments in (
                    ('restoreAssets', {'assetIds': [asset]}),
                    ('addToAlbum', {'collectionId': album, 'assetIds': [asset]})):
                with self.assertRaises(ErrorReply):
                    self.gallery_call(method, arguments)
            target = '/asset/' + serving.quoted(known['IMG_0002.jpg']['id'])
            self.assertEqual(self.server.get(target + '/original')[0], 404)
        finally:
            self.assertEqual(self.tool('authorize', 'authorized')[0], 0)
        self.assertIs(self.gallery_call('restoreAssets', {'assetIds': [asset]}), True)


if __name__ == '__main__':
    unittest.main()
