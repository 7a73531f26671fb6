"""Calls and events over a WebSocket."""
import os
import struct
import unittest

import serving
from standard_codec import ErrorReply, NotImplementedReply, encode, envelope, method_call


class Channels(serving.ServerCase):
    def setUp(self):
        self.channel = self.server.connect()
        self.addCleanup(self.channel.close)

    def test_methods_are_answered(self):
        galleries = self.channel.call('getGalleryList', {
            'withAllPhotos': True, 'filterEmptyAsset': True, 'withSmartAlbum': True,
            'mediaType': 0})
        self.assertIn('Recents', [each['title'] for each in galleries])
        with self.assertRaises(ErrorReply):
            self.channel.call('getAssetInfo', {'assetId': 'nobody'})
        with self.assertRaises(NotImplementedReply):
            self.channel.call('nothing')

    def test_replies_come_with_number_and_channel(self):
        asked = {self.channel.ask('quorvin', method_call('getPermission')): 'quorvin',
                 self.channel.ask('nowhere', b'x'): 'nowhere', self.channel.ask('', b''): ''}
        answered = {}
        for _ in asked:
            number, channel, _ = self.channel.frame()
            answered[number] = channel
        self.assertEqual(answered, asked)

    def test_clients_are_told_of_changes_as_they_listen(self):
        other = self.server.connect()
        self.addCleanup(other.close)
        self.assertIsNone(self.channel.call('listen', channel='quorvin/changes'))
        self.assertIsNone(other.call('listen', channel='quorvin/changes'))
        album = self.channel.call('createAlbum', {'title': 'Told'})['id']
        for channel in (self.channel, other):
            event = envelope(channel.event()[1])
            self.assertIn(album, event['galleries'])
        self.assertIsNone(other.call('cancel', channel='quorvin/changes'))
        album = self.channel.call('createAlbum', {'title': 'Told again'})['id']
        self.assertIn(album, envelope(self.channel.event()[1])['galleries'])
        self.assertTrue(other.call('getPermission'))
        self.assertEqual(other.events, [])

    def test_a_client_that_comes_later_is_told_too(self):
        self.assertIsNone(self.channel.call('listen', channel='quorvin/changes'))
        self.channel.close()
        later = self.server.connect()
        self.addCleanup(later.close)
        self.assertIsNone(later.call('listen', channel='quorvin/changes'))
        self.assertIsNone(later.call('listen', channel='quorvin/changes'))
        album = later.call('createAlbum', {'title': 'Later'})['id']
        self.assertIn(album, envelope(later.event()[1])['galleries'])

    def test_an_import_of_another_process_is_told(self):
        self.assertIsNone(self.channel.call('listen', channel='quorvin/changes'))
        path = os.path.join(self.folder, 'imported.jpg')
        with open(os.path.join(serving.MEDIA, 'good', 'IMG_0002.jpg'), 'rb') as file:
            content = file.read() + b'\0'
        with open(path, 'wb') as file:
            file.write(content)
        self.assertEqual(self.tool('import', path)[0], 0)
        inserted = []
        while not inserted:
            inserted = envelope(self.channel.event()[1])['inserted']
        name = self.channel.call('getAssetOriginalFilename', {'assetId': inserted[0]})
        self.assertEqual(name, 'imported.jpg')

    def test_who_does_not_read_is_told_to_ask_anew(self):
        self.assertIsNone(self.channel.call('listen', channel='quorvin/changes'))
        # More than lies between the two: from now on nothing goes through.
        asset = next(each for name, each in self.assets().items() if name == 'PANORAMA.jpg')['id']
        image = {'assetId': asset, 'convertJpeg': False}
        size = len(self.channel.call('getImageData', image))
        asked = [self.channel.ask('quorvin', method_call('getImageData', image))
                 for _ in range((16 << 20) // size)]
        other = self.server.connect()
        self.addCleanup(other.close)
        albums = [other.call('createAlbum', {'title': 'x'})['id'] for _ in range(40)]
        replies = [self.channel.reply(number) for number in asked]
        self.assertEqual({len(each) for each in replies}, {len(replies[0])})
        # What is told afterwards is later than all that was merged.
        last = other.call('createAlbum', {'title': 'last'})['id']
        told = []
        while not told or last not in told[-1]['galleries']:
            told.append(envelope(self.channel.event()[1]))
        known = {each for event in told for each in event['galleries']}
        complete = all(event['complete'] for event in told)
        self.assertTrue(not complete or known.issuperset(albums), told)
        sequences = [event['sequence'] for event in told]
        self.assertEqual(sequences, sorted(set(sequences)))

    def test_what_is_no_frame_ends_the_connection(self):
        head = struct.pack('<I', 1)
        for payload, opcode, code in ((b'', 2, 1007), (b'\1\0\0\0', 2, 1007),
                                      (struct.pack('<IB', 0, 0), 2, 1007),
                                      (head + b'\x05abc', 2, 1007), (b'text', 1, 1003),
                                      (b'', 7, 1002)):
            channel = self.server.connect()
            self.addCleanup(channel.close)
            with self.assertRaises(serving.Closed) as closed:
                channel.send(payload, opcode)
                channel.message()
            self.assertEqual(closed.exception.code, code, (payload[:10], opcode))

    def test_messages_are_at_most_a_mebibyte(self):
        channel = self.server.connect()
        self.addCleanup(channel.close)
        channel.socket.sendall(b'\x82\xff' + struct.pack('>Q', (1 << 20) + 1) + bytes(4))
        with self.assertRaises(serving.Closed) as closed:
            channel.message()
        self.assertEqual(closed.exception.code, 1009)
        largest = (1 << 20) - 4 - 1 - len('quorvin')
        number = self.channel.ask('quorvin', b'x' * largest)
        self.assertEqual(self.channel.reply(number), b'')

    def test_messages_of_any_bytes_do_no_harm(self):
        for message in (b'', b'\0', b'\x07', b'\x07\xff\xff\xff\xff\xff', b'\x0d' * 1000,
                        method_call('getAssetList', {'start': 'x'})[:-1]):
            for channel in ('quorvin', 'quorvin/changes', 'quorvin/gallery', 'other', 'n' * 255):
                number = self.channel.ask(channel, message)
                self.assertEqual(self.channel.reply(number), b'', (channel, message[:9]))

    def test_texts_that_are_no_utf_8_do_no_harm(self):
        texts = b'\x0c\x01\x07\x03a\xffb'
        for method, channel in (('restoreAssets', 'quorvin/gallery'), ('deleteAssets', 'quorvin')):
            message = method_call(method)[:-1] + b'\x0d\x01' + encode('assetIds') + texts
            self.assertEqual(self.channel.reply(self.channel.ask(channel, message)), b'', method)
        self.assertIs(self.channel.call('getPermission'), True)

    def test_many_calls_at_once_are_all_answered(self):
        asked = [self.channel.ask('quorvin', method_call('getPermission')) for _ in range(500)]
        for number in asked:
            self.assertIs(envelope(self.channel.reply(number)), True)

    def test_a_client_that_goes_leaves_its_calls(self):
        asset = next(iter(self.assets().values()))['id']
        for _ in range(5):
            channel = self.server.connect()
            for _ in range(20):
                channel.ask('quorvin', method_call('getImageData', {'assetId': asset,
                                                                    'convertJpeg': True}))
            channel.close()
        self.assertIs(self.channel.call('getPermission'), True)


if __name__ == '__main__':
    unittest.main()
