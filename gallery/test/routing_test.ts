import assert from 'node:assert/strict';
import { describe, test } from 'node:test';
import { formatRoute, parseRoute, type Route } from '../src/shell/routing.js';

const id = '98BA3C94-A68F/L0/040';

describe('An address', () => {
  const routes: [string, Route][] = [
    ['#/', { page: { name: 'photos' }, asset: null }],
    ['#/albums', { page: { name: 'albums' }, asset: null }],
    ['#/album/98BA3C94-A68F%2FL0%2F040', { page: { name: 'album', id }, asset: null }],
    ['#/burst/b', { page: { name: 'burst', id: 'b' }, asset: null }],
    ['#/asset/98BA3C94-A68F%2FL0%2F040', { page: { name: 'photos' }, asset: id }],
    ['#/album/a%20b/asset/c', { page: { name: 'album', id: 'a b' }, asset: 'c' }],
  ];
  for (const [hash, route] of routes) {
    test(`${hash} names a place`, () => {
      assert.deepEqual(parseRoute(hash), route);
      assert.equal(formatRoute(route), hash);
    });
  }

  test('that names none leads to the photos', () => {
    for (const hash of ['', '#', '#/album', '#/album/', '#/asset/', '#/no/such', '#/album/%', '#/%zz']) {
      assert.deepEqual(parseRoute(hash), { page: { name: 'photos' }, asset: null }, hash);
    }
  });
});
