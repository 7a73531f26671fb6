"""Every method, in both flavours, beside what `quorvin call` says."""
import asyncio
import dataclasses
import inspect
import os
import unittest

import quorvin
from engines import JPEG, MEDIA, PNG, LibraryTest, as_told, contents
from quorvin import ContentMode, MediaFilter, MediaType, QuorvinError, SortOrder, VideoFormat


class Waiting:
    """A library for asyncio as one that waits, so that both are asked the same."""

    def __init__(self, options):
        self._loop = asyncio.new_event_loop()
        self._opening = quorvin.aio.open(**options)
        self._library = self._loop.run_until_complete(self._opening.__aenter__())

    def __getattr__(self, name):
        method = getattr(self._library, name)
        if inspect.isasyncgenfunction(method):
            return lambda *arguments, **others: self._all(method(*arguments, **others))
        return lambda *arguments, **others: self._loop.run_until_complete(
            method(*arguments, **others))

    def _all(self, iterator):
        async def everything():
            return [element async for element in iterator]
        return self._loop.run_until_complete(everything())

    def close(self):
        self._loop.run_until_complete(self._opening.__aexit__(None, None, None))
        self._loop.close()


class Asked:
    """A library that keeps which methods were answered."""

    def __init__(self, library):
        self.library = library
        self.methods = set()

    def __getattr__(self, name):
        method = getattr(self.library, name)

        def ask(*arguments, **others):
            result = method(*arguments, **others)
            self.methods.add(name)
            return result
        return ask


METHODS = {
    'get_platform_version', 'get_permission', 'clear_all_cache', 'start_caching_images',
    'stop_caching_images', 'stop_all_caching_images', 'get_gallery_list', 'get_gallery_asset_count',
    'get_gallery_first_asset_id', 'get_asset_list', 'get_asset_info', 'get_thumbnail',
    'get_image_data', 'get_image_url', 'get_live_photo_url', 'get_video_url',
    'get_burst_asset_list', 'get_asset_original_filename', 'delete_assets', 'create_album',
    'save_image', 'save_video'}


class Methods(LibraryTest):
    def opened(self):
        return self.open()

    def setUp(self):
        super().setUp()
        self.library = Asked(self.opened())
        self.all = next(gallery for gallery in self.library.get_gallery_list()
                        if gallery.type == 'user')

    def asset(self, name):
        return next(asset for asset in self.library.assets(self.all.id)
                    if self.library.get_asset_original_filename(asset.id) == name)

    def test_answer_as_the_program_says(self):
        library = self.library
        self.ask_of_the_library(library)
        self.ask_of_galleries(library)
        self.ask_of_assets(library)
        self.ask_for_files(library)
        self.ask_for_changes(library)
        self.assertEqual(library.methods - {'assets'}, METHODS)

    def ask_of_the_library(self, library):
        self.assertEqual(library.get_platform_version(), self.told('getPlatformVersion'))
        self.assertIs(library.get_permission(), self.told('getPermission'))
        for method in (library.clear_all_cache, library.start_caching_images,
                       library.stop_caching_images, library.stop_all_caching_images):
            self.assertIsNone(method())

    def ask_of_galleries(self, library):
        arguments = {'withAllPhotos': True, 'filterEmptyAsset': False, 'withSmartAlbum': True,
                     'mediaType': 0}
        galleries = library.get_gallery_list()
        self.assertEqual(as_told(galleries), self.told('getGalleryList', arguments))
        self.assertGreater(len(galleries), 10)
        arguments = {'withAllPhotos': True, 'filterEmptyAsset': True, 'withSmartAlbum': False,
                     'mediaType': 2}
        videos = library.get_gallery_list(filter_empty_asset=True, with_smart_album=False,
                                          media_type=MediaFilter.VIDEOS)
        self.assertEqual(as_told(videos), self.told('getGalleryList', arguments))
        self.assertTrue(0 < len(videos) < len(galleries))
        arguments = {'collectionId': self.all.id, 'sort': 1, 'mediaType': 2}
        oldest = {'sort': SortOrder.OLDEST_FIRST, 'media_type': MediaFilter.VIDEOS}
        count = library.get_gallery_asset_count(self.all.id, **oldest)
        self.assertEqual(as_told(count), self.told('getGalleryAssetCount', arguments))
        self.assertGreater(count.video_count, 0)
        first = library.get_gallery_first_asset_id(self.all.id, **oldest)
        self.assertEqual(first, self.told('getGalleryFirstAssetId', arguments))
        self.assertEqual(first, count.first_asset_id)

    def ask_of_assets(self, library):
        arguments = {'collectionId': self.all.id, 'start': 3, 'end': 20, 'sort': 0, 'mediaType': 0}
        page = library.get_asset_list(self.all.id, 3, 20)
        self.assertEqual(as_told(page), self.told('getAssetList', arguments))
        self.assertEqual(len(page), 17)
        asset = page[0]
        self.assertIsInstance(asset.media_type, MediaType)
        self.assertEqual(library.get_asset_info(asset.id), asset)
        self.assertEqual(as_told(asset), self.told('getAssetInfo', {'assetId': asset.id}))
        burst = next(asset for asset in library.assets(self.all.id) if asset.represents_burst)
        members = library.get_burst_asset_list(burst.id)
        self.assertEqual(as_told(members), self.told('getBurstAssetList', {'assetId': burst.id}))
        self.assertGreater(len(members), 1)

    def ask_for_files(self, library):
        photo, heic = self.asset('IMG_0002.jpg'), self.asset('IMG_0011.HEIC')
        song, movie = self.asset('song.mp3'), self.asset('MOVIE.mov')
        arguments = {'assetId': photo.id, 'width': 64, 'height': 48.5, 'contentMode': 1,
                     'jpegFormat': True}
        thumbnail = library.get_thumbnail(photo.id, 64, 48.5, content_mode=ContentMode.COVER)
        self.assertTrue(thumbnail.startswith(JPEG))
        self.assertEqual(thumbnail, self.bytes_told('getThumbnail', arguments))
        self.assertTrue(library.get_thumbnail(photo.id, 9, 9, jpeg_format=False).startswith(PNG))
        self.assertIsNone(library.get_thumbnail(song.id, 64, 64))
        self.assertEqual(library.get_image_data(photo.id),
                         contents(os.path.join(MEDIA, 'IMG_0002.jpg')))
        self.assertEqual(library.get_image_data(heic.id, convert_jpeg=True),
                         self.bytes_told('getImageData', {'assetId': heic.id, 'convertJpeg': True}))
        self.assertEqual(library.get_asset_original_filename(heic.id),
                         self.told('getAssetOriginalFilename', {'assetId': heic.id}))
        self.assert_same_file(library.get_image_url(photo.id, medium_quality=True), 'getImageUrl', {
            'assetId': photo.id, 'convertJpeg': False, 'mediumQuality': True})
        self.assert_same_file(library.get_live_photo_url(heic.id), 'getLivePhotoUrl', {
            'assetId': heic.id, 'mediumQuality': False})
        self.assert_same_file(library.get_video_url(movie.id), 'getVideoUrl', {
            'assetId': movie.id, 'mediumQuality': False, 'videoFormat': 0})
        mp4 = library.get_video_url(movie.id, video_format=VideoFormat.MPEG4)
        self.assertTrue(mp4.deletable and mp4.url.endswith('.mp4') and contents(mp4.url))

    def assert_same_file(self, file, method, arguments):
        # The program exports to a folder of its own.
        told = self.told(method, arguments)
        self.assertEqual(os.path.basename(file.url), os.path.basename(told['url']))
        self.assertEqual(file.deletable, told['deletable'])
        self.assertEqual(contents(file.url), contents(told['url']))

    def ask_for_changes(self, library):
        album = library.create_album('Täglich 😀')
        told = self.told('createAlbum', {'title': 'Täglich 😀'})
        self.assertEqual({**as_told(album), 'id': ''}, {**told, 'id': ''})
        video = os.path.join(MEDIA, 'CLIP.mp4')
        saved = library.save_image(os.path.join(MEDIA, 'IMG_0002.jpg'), collection_id=album.id)
        clip = library.save_video(video, collection_id=album.id)
        self.assertEqual(as_told(clip), self.told('getAssetInfo', {'assetId': clip.id}))
        twice = self.told('saveVideo', {'filePath': video})
        lasting = {'id': '', 'modificationDate': 0}
        self.assertEqual({**as_told(clip), **lasting}, {**twice, **lasting})
        self.assertEqual([asset.id for asset in library.assets(album.id)], [clip.id, saved.id][
            ::1 if clip.creation_date >= saved.creation_date else -1])
        self.assertIsNone(library.delete_assets([saved.id, 'no asset']))
        self.assertEqual([asset.id for asset in library.assets(album.id)], [clip.id])
        self.assertIs(self.told('deleteAssets', {'assetIds': [clip.id]}), True)
        self.assertEqual(list(library.assets(album.id)), [])

    def test_raise_the_errors_of_the_plugin(self):
        with self.assertRaises(QuorvinError) as caught:
            self.library.get_asset_info('no asset')
        error = caught.exception
        self.assertEqual((error.code, error.message, error.details),
                         ('Error', 'Asset not found id = no asset', None))
        with self.assertRaises(QuorvinError) as caught:
            self.library.save_image('/nonexistent.jpg')
        self.assertEqual(caught.exception.message, 'Save image error')
        self.assertIn('nonexistent.jpg', caught.exception.details)

    def test_that_nobody_implements_say_so(self):
        with self.assertRaises(quorvin.MethodNotImplementedError) as caught:
            self.library.call('getEverything')
        self.assertIn('getEverything', str(caught.exception))

    def test_of_any_name_are_called_with_values(self):
        result = self.library.call('getAssetInfo', {'assetId': self.asset('CLIP.mp4').id})
        self.assertEqual(result['mediaType'], 2)
        self.assertIs(type(result['duration']), float)

    def test_refuse_arguments_that_are_no_integers(self):
        with self.assertRaises(TypeError):
            self.library.get_asset_list(self.all.id, 0, 1.5)
        with self.assertRaises(quorvin.UnencodableValueError):
            self.library.create_album('\ud800')

    def test_give_all_assets_by_pages(self):
        whole = self.library.get_asset_list(self.all.id, 0, 1000, sort=SortOrder.OLDEST_FIRST)
        for size in (1, 7, len(whole), 1000):
            paged = list(self.library.assets(self.all.id, sort=SortOrder.OLDEST_FIRST,
                                             page_size=size))
            self.assertEqual(paged, whole)

    def test_give_records_that_do_not_change(self):
        asset = next(iter(self.library.assets(self.all.id)))
        with self.assertRaises(dataclasses.FrozenInstanceError):
            asset.width = 1
        self.assertEqual(len({asset, dataclasses.replace(asset)}), 1)


class AwaitedMethods(Methods):
    def opened(self):
        library = Waiting(self.options())
        self.addCleanup(library.close)
        return library


if __name__ == '__main__':
    unittest.main()
