'use strict';

// The declarations: what a program may do with them, and that they declare what is there.

const assert = require('node:assert');
const fs = require('node:fs');
const path = require('node:path');
const test = require('node:test');
const { diagnose } = require('../../scripts/typescript');

test('the sample compiles, but for the calls that must not', () => {
  assert.deepStrictEqual(diagnose([path.join(__dirname, 'sample.ts')]), {});
});

test('what is declared is what is exported', () => {
  const same = ['zaxbase', 'zaxbase/runtime', 'echo', 'echo/promises'].map((name, i) => {
    const names = Object.keys(require(name)).map((key) => JSON.stringify(key));
    return `import m${i} = require('${name}');
      const same${i}: Same<keyof typeof m${i}, ${names.join(' | ')}> = true;`;
  });
  const type = 'type Same<A, B> = [A] extends [B] ? ([B] extends [A] ? true : never) : never;';
  const file = path.join(__dirname, '../build/exports.ts');
  fs.writeFileSync(file, [type, ...same].join('\n'));
  assert.deepStrictEqual(diagnose([file]), {});
});
