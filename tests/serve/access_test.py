"""Who is let in, what everybody is told, and the page."""
import gzip
import re
import unittest

import serving


class Access(serving.ServerCase):
    def test_the_address_gives_a_cookie_and_leads_to_the_page(self):
        status, headers, _ = self.server.get('/?token=' + self.server.token, cookie=False)
        self.assertEqual((status, headers['Location']), (303, '/'))
        self.assertEqual(headers['Set-Cookie'],
                         self.server.cookie + '; HttpOnly; SameSite=Strict; Path=/')
        status, headers, page = self.server.get('/')
        self.assertEqual((status, headers['Content-Type']), (200, 'text/html; charset=utf-8'))
        self.assertIn(b'<!doctype html>', page.lower())

    def test_nothing_is_there_without_token_or_cookie(self):
        for target in ('/', '/index.html', '/asset/x/thumbnail?size=1', '/nothing', '/upload',
                       '/?token=', '/?token=' + 'f' * 64, '/channel'):
            self.assertEqual(self.server.get(target, cookie=False)[0], 401, target)
        for cookie in ('quorvin=' + self.server.token, self.server.cookie + '0', 'x'):
            self.assertEqual(self.server.get('/', {'Cookie': cookie}, cookie=False)[0], 401)
        with self.assertRaises(serving.Refused) as refused:
            self.server.connect(cookie=False)
        self.assertEqual(refused.exception.status, 401)

    def test_a_cookie_counts_among_others(self):
        cookies = f'a=b; {self.server.cookie}; c=d'
        self.assertEqual(self.server.get('/', {'Cookie': cookies})[0], 200)

    def test_it_answers_to_its_own_names_alone(self):
        port = self.server.port
        for host in (f'127.0.0.1:{port}', f'localhost:{port}', f'[::1]:{port}'):
            self.assertEqual(self.server.get('/', {'Host': host})[0], 200, host)
        for host in ('example.org', f'example.org:{port}', '127.0.0.1', f'127.0.0.1:{port + 1}',
                     f'127.0.0.1.example.org:{port}', f'x@127.0.0.1:{port}', ''):
            with self.subTest(host=host):
                target = '/?token=' + self.server.token
                self.assertEqual(self.server.get(target, {'Host': host})[0], 403)

    def test_a_request_that_names_no_host_or_two_is_forbidden(self):
        cookie = f'Cookie: {self.server.cookie}\r\nConnection: close\r\n'
        own = f'Host: {self.server.host}\r\n'
        for hosts in ('', own + own, own + 'Host: example.org\r\n'):
            answer = self.server.raw(f'GET / HTTP/1.1\r\n{hosts}{cookie}\r\n'.encode())
            self.assertEqual(answer[:12], b'HTTP/1.1 403', hosts)

    def test_pages_of_others_open_no_channel(self):
        for origin in ('http://example.org', 'null', f'https://{self.server.host}',
                       f'http://127.0.0.1:{self.server.port + 1}', 'http://127.0.0.1'):
            with self.assertRaises(serving.Refused) as refused:
                self.server.connect(headers={'Origin': origin})
            self.assertEqual(refused.exception.status, 403, origin)
        for origin in (f'http://{self.server.host}', f'http://localhost:{self.server.port}'):
            self.server.connect(headers={'Origin': origin}).close()

    def test_a_program_opens_a_channel_with_the_token(self):
        channel = self.server.connect(target='/channel?token=' + self.server.token, cookie=False)
        self.assertTrue(channel.call('getPlatformVersion').startswith('iOS '))
        channel.close()

    def test_every_answer_forbids_what_is_from_elsewhere(self):
        for target, cookie in (('/', True), ('/', False), ('/nothing', True)):
            _, headers, _ = self.server.get(target, cookie=cookie)
            policy = headers['Content-Security-Policy'].split('; ')
            self.assertIn("default-src 'none'", policy)
            self.assertIn("script-src 'self'", policy)
            self.assertIn("frame-ancestors 'none'", policy)
            self.assertEqual(headers['X-Content-Type-Options'], 'nosniff')
            self.assertEqual(headers['Referrer-Policy'], 'no-referrer')
            self.assertEqual(headers['Cross-Origin-Resource-Policy'], 'same-origin')
            self.assertEqual(headers['Cross-Origin-Opener-Policy'], 'same-origin')

    def test_files_of_the_page_are_kept_and_packed(self):
        page = self.server.get('/')[2].decode()
        names = re.findall(r'assets/[\w.-]+', page)
        self.assertTrue(names)
        for target, kept in [('/', 'private, no-cache')] + [
                ('/' + name, 'private, max-age=31536000, immutable') for name in names]:
            status, headers, plain = self.server.get(target)
            self.assertEqual((status, headers['Cache-Control']), (200, kept), target)
            self.assertEqual(headers['Vary'], 'Accept-Encoding')
            tag = headers['ETag']
            self.assertEqual(self.server.get(target, {'If-None-Match': tag})[0], 304)
            _, headers, packed = self.server.get(target, {'Accept-Encoding': 'br, gzip'})
            self.assertEqual(headers['Content-Encoding'], 'gzip')
            self.assertNotEqual(headers['ETag'], tag)
            self.assertEqual(gzip.decompress(packed), plain)
            self.assertLess(len(packed), len(plain))


if __name__ == '__main__':
    unittest.main()
