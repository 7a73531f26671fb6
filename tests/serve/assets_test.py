"""Pictures, videos and files of assets."""
import json
import os
import subprocess
import threading
import unittest
import urllib.parse

import serving


def streams(content, folder):
    """What ffprobe says of the streams of a file, by their kinds, and its container."""
    path = os.path.join(folder, 'probed')
    with open(path, 'wb') as file:
        file.write(content)
    out = subprocess.run(['ffprobe', '-v', 'error', '-show_streams', '-show_format', '-of', 'json',
                          path], capture_output=True, check=True).stdout
    os.remove(path)
    told = json.loads(out)
    return {each['codec_type']: each for each in told['streams']}, told['format']


class Pictures(serving.ServerCase):
    def picture(self, target):
        """Of a JPEG that is there: its width and height."""
        status, headers, body = self.server.get(target)
        self.assertEqual((status, headers['Content-Type']), (200, 'image/jpeg'), target)
        self.assertEqual((body[:2], body[-2:]), (b'\xff\xd8', b'\xff\xd9'))
        self.assertEqual(len(body), int(headers['Content-Length']))
        stream = streams(body, self.folder)[0]['video']
        return stream['width'], stream['height']

    def test_a_thumbnail_fits(self):
        for name in ('IMG_0001.jpg', 'IMG_0010.HEIC', 'CLIP.mp4', 'transparent.png', 'scan.tif',
                     'still.avif', 'drawing.webp'):
            for size in (1, 64, 2048):
                target = f'{self.asset(name)}/thumbnail?size={size}'
                self.assertLessEqual(max(self.picture(target)), size, target)

    def test_an_image_has_its_full_size_and_is_upright(self):
        for name in ('IMG_0001.jpg', 'IMG_0010.HEIC', 'orientation_6.jpg', 'scan.tif',
                     'still.avif', 'animation.gif', 'PANORAMA.jpg'):
            record = self.known_assets()[name]
            self.assertEqual(self.picture(self.asset(name) + '/image'),
                             (record['width'], record['height']), name)

    def test_what_is_known_is_not_sent_again(self):
        for what in ('thumbnail?size=64', 'thumbnail?size=65', 'image', 'original'):
            target = self.asset('IMG_0001.jpg') + '/' + what
            status, headers, _ = self.server.get(target)
            self.assertEqual(status, 200)
            self.assertIn('private', headers['Cache-Control'])
            tag = headers['ETag']
            status, headers, body = self.server.get(target, {'If-None-Match': f'"x", {tag}'})
            self.assertEqual((status, headers['ETag'], body), (304, tag, b''))
            self.assertEqual(self.server.get(target, {'If-None-Match': '"x"'})[0], 200)

    def test_tags_differ(self):
        tags = [self.server.get(self.asset(name) + '/' + what)[1]['ETag']
                for name in ('IMG_0001.jpg', 'IMG_0002.jpg')
                for what in ('thumbnail?size=64', 'thumbnail?size=65', 'image', 'original')]
        self.assertEqual(len(set(tags)), len(tags))

    def test_sizes_have_limits(self):
        asset = self.asset('IMG_0001.jpg')
        for query in ('', '?size=', '?size=0', '?size=-1', '?size=2049', '?size=9e2', '?size=x',
                      '?size=99999999999', '?size=64%20', '?size=%2064'):
            self.assertEqual(self.server.get(asset + '/thumbnail' + query)[0], 400, query)

    def test_sounds_have_no_picture(self):
        for what in ('thumbnail?size=64', 'image', 'video'):
            self.assertEqual(self.server.get(self.asset('song.mp3') + '/' + what)[0], 404)

    def test_what_is_not_there_is_not_found(self):
        for target in ('/asset/nobody/thumbnail?size=64', '/asset/nobody/original',
                       '/asset/nobody/image', '/asset/nobody/video', '/asset//original', '/asset',
                       '/asset/x', '/asset/x/nothing', '/nothing', '/asset/x/original/more', '//',
                       '/assets/', '/index.html/'):
            self.assertEqual(self.server.get(target)[0], 404, target)

    def test_identifiers_lead_to_no_files(self):
        inside = self.asset('IMG_0001.jpg')[len('/asset/'):].split('%2F')[0]
        for identifier in ('..%2F..%2Fetc%2Fpasswd', '%2Fetc%2Fpasswd', '..', '.', '%2E%2E',
                           f'originals%2F{inside[:2]}%2F{inside}.jpg', inside, '*', "' OR 1=1 --"):
            target = '/asset/' + identifier.replace(' ', '%20') + '/original'
            self.assertEqual(self.server.get(target)[0], 404, target)
        for identifier in ('%00', '%', '%4', '%XX', 'a%00', '%FF', '%C0%AE%C0%AE'):
            self.assertEqual(self.server.get(f'/asset/{identifier}/original')[0], 400, identifier)

    def test_a_request_for_the_head_gets_it_alone(self):
        for target in ('/', self.asset('IMG_0001.jpg') + '/thumbnail?size=64',
                       self.asset('IMG_0001.jpg') + '/original'):
            status, headers, body = self.server.get(target)
            self.assertEqual(status, 200)
            got, head, nothing = self.server.request('HEAD', target)
            self.assertEqual((got, nothing), (200, b''))
            self.assertEqual(head['Content-Length'], str(len(body)))
            self.assertEqual(head['ETag'], headers['ETag'])

    def test_other_methods_are_not_allowed(self):
        for method in ('POST', 'PUT', 'DELETE', 'OPTIONS', 'PATCH'):
            for target in ('/', self.asset('IMG_0001.jpg') + '/original', '/channel'):
                status, headers, _ = self.server.request(method, target)
                self.assertEqual((status, headers['Allow']), (405, 'GET, HEAD'), method)
        status, headers, _ = self.server.get('/upload?name=a.jpg')
        self.assertEqual((status, headers['Allow']), (405, 'POST'))

    def known_assets(self):
        self.asset('IMG_0001.jpg')
        return type(self).known


class Files(serving.ServerCase):
    def test_an_original_is_the_file_itself_under_its_own_name(self):
        for name in ('IMG_0010.HEIC', 'IMG_0011.HEIC', 'SLOWMO.mov', 'CLIP.mp4', 'song.mp3',
                     'scan.tif'):
            status, headers, body = self.server.get(self.asset(name) + '/original')
            self.assertEqual(status, 200, name)
            with open(os.path.join(serving.MEDIA, 'good', name), 'rb') as file:
                self.assertEqual(body, file.read(), name)
            self.assertEqual(headers['Content-Disposition'],
                             f"attachment; filename=\"{name}\"; filename*=UTF-8''{name}")
            self.assertEqual(headers['Content-Type'], 'application/octet-stream')

    def test_names_of_all_kinds_are_carried(self):
        name = 'ä "b" %41;\'c\'.jpg'
        path = os.path.join(self.folder, name)
        with open(os.path.join(serving.MEDIA, 'good', 'IMG_0002.jpg'), 'rb') as file:
            content = file.read() + b'\0'
        with open(path, 'wb') as file:
            file.write(content)
        self.assertEqual(self.tool('import', path)[0], 0)
        asset = '/asset/' + serving.quoted(self.assets()[name]['id'])
        _, headers, body = self.server.get(asset + '/original')
        self.assertEqual(body, content)
        told = headers['Content-Disposition'].split("filename*=UTF-8''")[1]
        self.assertEqual(urllib.parse.unquote(told), name)

    def test_a_file_is_given_in_parts(self):
        target = self.asset('CLIP.mp4') + '/original'
        _, headers, whole = self.server.get(target)
        self.assertEqual(headers['Accept-Ranges'], 'bytes')
        size = len(whole)
        for asked, first, end in (('0-0', 0, 1), ('0-', 0, size), (f'{size - 1}-', size - 1, size),
                                  ('10-19', 10, 20), ('-5', size - 5, size),
                                  (f'10-{size + 5}', 10, size)):
            status, headers, body = self.server.get(target, {'Range': f'bytes={asked}'})
            self.assertEqual((status, body), (206, whole[first:end]), asked)
            self.assertEqual(headers['Content-Range'], f'bytes {first}-{end - 1}/{size}')
        for asked in (f'bytes={size}-', 'bytes=-0'):
            status, headers, _ = self.server.get(target, {'Range': asked})
            self.assertEqual((status, headers['Content-Range']), (416, f'bytes */{size}'))
        for asked in ('bytes=5-2', 'bytes=0-1,4-5', 'lines=1-2', 'bytes=x'):
            status, headers, body = self.server.get(target, {'Range': asked})
            self.assertEqual((status, body), (200, whole), asked)
        tag = self.server.get(target)[1]['ETag']
        for known, expected in ((tag, 206), ('"x"', 200), ('W/' + tag, 200)):
            status = self.server.get(target, {'Range': 'bytes=0-9', 'If-Range': known})[0]
            self.assertEqual(status, expected, known)

    def test_a_deleted_asset_is_not_found(self):
        asset = self.assets()['NO_DATE.jpg']['id']
        target = '/asset/' + serving.quoted(asset)
        self.assertEqual(self.server.get(target + '/thumbnail?size=64')[0], 200)
        self.assertEqual(self.result('deleteAssets', {'assetIds': [asset]}), True)
        for what in ('thumbnail?size=64', 'image', 'original'):
            self.assertEqual(self.server.get(target + '/' + what)[0], 404, what)


class Videos(serving.ServerCase):
    def video(self, name):
        status, headers, body = self.server.get(self.asset(name) + '/video')
        self.assertEqual((status, headers['Content-Type']), (200, 'video/mp4'), (name, body[:200]))
        found, container = streams(body, self.folder)
        self.assertIn('mp4', container['format_name'])
        self.assertEqual(body[4:8], b'ftyp')
        self.assertLess(body.find(b'moov'), body.find(b'mdat'))
        return found

    def test_a_video_plays_in_every_browser(self):
        for name in ('CLIP.mp4', 'MOVIE.mov', 'TURNED.mp4', 'capture.mkv', 'SLOWMO.mov',
                     'IMG_0011.HEIC', 'PAIR_STILL.jpg'):
            found = self.video(name)
            self.assertEqual((found['video']['codec_name'], found['video']['pix_fmt']),
                             ('h264', 'yuv420p'), name)
            if 'audio' in found:
                self.assertEqual(found['audio']['codec_name'], 'aac', name)

    def test_what_browsers_play_is_not_encoded_again(self):
        def pictures(content):
            path = os.path.join(self.folder, 'copied')
            with open(path, 'wb') as file:
                file.write(content)
            return subprocess.run(['ffmpeg', '-v', 'error', '-i', path, '-map', '0:v', '-c', 'copy',
                                   '-f', 'md5', '-'], capture_output=True, check=True).stdout

        for name in ('CLIP.mp4', 'MOVIE.mov', 'TURNED.mp4', 'capture.mkv'):
            with open(os.path.join(serving.MEDIA, 'good', name), 'rb') as file:
                stored = file.read()
            played = self.server.get(self.asset(name) + '/video')[2]
            self.assertEqual(pictures(stored), pictures(played), name)

    def test_what_browsers_do_not_play_is_encoded_again(self):
        path = os.path.join(self.folder, 'ten bits.mp4')
        subprocess.run(['ffmpeg', '-v', 'error', '-f', 'lavfi', '-i', 'testsrc=s=160x120:d=1:r=10',
                        '-pix_fmt', 'yuv420p10le', '-c:v', 'libx264', path], check=True)
        self.assertEqual(self.tool('import', path)[0], 0)
        asset = '/asset/' + serving.quoted(self.assets()['ten bits.mp4']['id'])
        status, _, body = self.server.get(asset + '/video')
        self.assertEqual(status, 200, body)
        self.assertEqual(streams(body, self.folder)[0]['video']['pix_fmt'], 'yuv420p')

    def test_a_still_has_no_video(self):
        self.assertEqual(self.server.get(self.asset('IMG_0001.jpg') + '/video')[0], 404)

    def test_a_video_is_made_once_for_all_who_ask(self):
        target = self.asset('capture.mkv') + '/video'
        answers = []

        def ask(first):
            answers.append((first, self.server.get(target, {'Range': f'bytes={first}-'})))

        threads = [threading.Thread(target=ask, args=(first,)) for first in range(0, 600, 100)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        whole = self.server.get(target)[2]
        tags = set()
        for first, (status, headers, body) in answers:
            # Of two encodings of a video no two are alike in time and so in their bytes.
            self.assertEqual((status, body), (206, whole[first:]))
            tags.add(headers['ETag'])
        self.assertEqual(len(tags), 1)

    def test_nothing_is_left_of_what_was_made(self):
        self.video('MOVIE.mov')
        left = [name for _, _, names in os.walk(self.temporary) for name in names]
        self.assertEqual(left, [])


if __name__ == '__main__':
    unittest.main()
