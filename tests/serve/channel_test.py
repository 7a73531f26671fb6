"""Calls and events over a WebSocket."""
import unittest

import serving
from standard_codec import ErrorReply, NotImplementedReply, envelope, method_call


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


if __name__ == '__main__':
    unittest.main()
