'use strict';

const assert = require('node:assert');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const { after, test } = require('node:test');
const { words } = require('..');

const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'words-'));
after(() => fs.rmSync(folder, { recursive: true }));

function makeFile(name, text) {
  fs.writeFileSync(path.join(folder, name), text);
  return path.join(folder, name);
}

const first = makeFile('first', 'The cat, the dog and THE well-known cat');
const second = makeFile('second', 'café 42 cat');
const missing = path.join(folder, 'missing');

const all = { The: 1, the: 1, THE: 1, cat: 3, dog: 1, and: 1, well: 1, known: 1, café: 1, 42: 1 };
const joined = { ignoreCase: true, stopWords: ['cat', 'dog', 'and'], letters: '-' };

const counts = [
  [[first, second], undefined, all],
  [[second, second], { minLength: 4 }, { café: 2 }],
  [[first], { ignoreCase: true, minLength: 5 }, { known: 1 }],
  [[first], joined, { the: 3, 'well-known': 1 }],
  [[second], { replace: { cat: 'dog', café: 'tea' } }, { 42: 1, dog: 1, tea: 1 }],
];
const failures = [
  [[[first, missing]], 'open-ENOENT', `cannot open ${missing}`],
  [[[folder]], 'read-EISDIR', `cannot read ${folder}`],
  [[first], 'EBADARG', /^words: argument 1 \(files\): array expected, got "/],
  [[[first], { minLength: -1 }], 'EBADARG', /^words: argument 2 \(options\)\.minLength: integer /],
];

test('words are counted', () => {
  for (const [files, options, expected] of counts) {
    const total = Object.values(expected).reduce((sum, count) => sum + count);
    assert.deepStrictEqual(words(files, options), { total, counts: expected });
  }
});

test('failures', () => {
  for (const [args, code, message] of failures) {
    assert.throws(() => words(...args), { code, message });
  }
});
