"""Pictures, videos and files of assets."""
import unittest

import serving


class Assets(serving.ServerCase):
    def test_a_thumbnail_is_a_jpeg_that_fits(self):
        name = next(name for name in self.assets() if name.lower().endswith('.jpg'))
        target = self.asset(name) + '/thumbnail?size=64'
        status, headers, body = self.server.get(target)
        self.assertEqual((status, headers['Content-Type']), (200, 'image/jpeg'))
        self.assertEqual((body[:2], body[-2:]), (b'\xff\xd8', b'\xff\xd9'))
        self.assertEqual(len(body), int(headers['Content-Length']))
        self.assertIn('private', headers['Cache-Control'])
        tag = headers['ETag']
        self.assertEqual(self.server.get(target, {'If-None-Match': tag})[0], 304)

    def test_sizes_have_limits(self):
        asset = self.asset(next(iter(self.assets())))
        for query in ('', '?size=', '?size=0', '?size=-1', '?size=2049', '?size=9e2', '?size=x'):
            self.assertEqual(self.server.get(asset + '/thumbnail' + query)[0], 400, query)

    def test_what_is_not_there_is_not_found(self):
        for target in ('/asset/nobody/thumbnail?size=64', '/asset/nobody/original',
                       '/asset/..%2F..%2Fetc%2Fpasswd/original', '/asset//original', '/asset/x',
                       '/asset/x/nothing', '/nothing', '/asset/x/original/more'):
            self.assertEqual(self.server.get(target)[0], 404, target)


if __name__ == '__main__':
    unittest.main()
