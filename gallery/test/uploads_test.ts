import assert from 'node:assert/strict';
import { describe, test } from 'node:test';
import { refusalText } from '../src/upload/uploads.js';

describe('A file that the server refuses', () => {
  test('is told with what the server says', () => {
    assert.equal(refusalText(415, 'The file is not a photo or video.\n'), 'The file is not a photo or video.');
  });

  test('is told in words where the server says nothing', () => {
    assert.match(refusalText(413, ''), /larger than the server takes/);
    assert.match(refusalText(500, ' '), /500/);
  });

  test('for want of a session names what to open', () => {
    assert.match(refusalText(401, 'Unauthorized'), /quorvin serve/);
  });
});
