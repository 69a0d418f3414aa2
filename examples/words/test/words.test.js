'use strict';

const assert = require('node:assert');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const { after, test } = require('node:test');
const { words, wordsSync } = require('..');

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
  [[first, missing], {}, 'open-ENOENT', `cannot open ${missing}`],
  [[folder], {}, 'read-EISDIR', `cannot read ${folder}`],
  [first, {}, 'EBADARG', 'Array expected'],
  [[first], null, 'EBADARG', 'Object expected'],
  [[first], { minLength: -1 }, 'EBADARG', 'Unsigned 32-bit number expected'],
];

/** Both forms, which share their work. */
for (const count of [words, async (...args) => wordsSync(...args)]) {
  test(`${count.name || 'wordsSync'} counts words and fails`, async () => {
    for (const [files, options, expected] of counts) {
      assert.deepStrictEqual(await count(files, options), expected);
    }
    for (const [files, options, code, message] of failures) {
      await assert.rejects(count(files, options), { code, message });
    }
  });
}
