'use strict';

// What must not compile: the compiler's first error says what to do instead, and it is the only one.

const assert = require('node:assert');
const { spawnSync } = require('node:child_process');
const path = require('node:path');
const { test } = require('node:test');
const { nodeFolder, root } = require('../../scripts/toolchain');

const include = ['libzaxbase', 'node_modules/nan'].map((folder) => path.join(root, folder));
include.push(path.join(nodeFolder() ?? '/usr', 'include/node'));

/** The errors for a source, each with the line that says where the compiler is. */
function errorsOf(source) {
  const flags = ['-std=c++20', '-fsyntax-only', '-x', 'c++', '-'];
  const { stderr } = spawnSync('g++', [...include.map((folder) => `-I${folder}`), ...flags], {
    input: `#include "zax-v8-argument-list.h"\n${source}`,
    env: { ...process.env, LC_ALL: 'C' },
    encoding: 'utf8',
  });
  return stderr.match(/In instantiation of .*|error: .*/g) ?? [];
}

const bound = (signature) => `
  void fn${signature};
  auto entry = zax::BindFunction<void${signature}, fn>::entry;`;
const call = (value) => `void fn(zax::Callback callback) { callback.call(${value}); }`;

const ready = /: make any other value ready, as in call\(Nan::New\(1\.5\)\)$/;
const converter = /: specialise zax::ArgumentConverter for it$/;
const reference = /: a bound function takes its parameters by value or by const reference$/;

for (const [source, sentence, place = ''] of [
  [
    'int fn(int); auto entry = zax::BindFunction<int(int), fn>::entry;',
    /: its result goes to a zax::Callback parameter$/,
  ],
  [call('1.5'), ready],
  [call('true'), ready],
  [call('nullptr'), ready],
  [bound('(double)'), converter, "'struct zax::ArgumentConverter<double>'"],
  [bound('(std::string&)'), reference],
]) {
  test(source, () => {
    const [where, error, ...others] = errorsOf(source);
    assert.match(error, sentence);
    assert.ok(where.includes(place), where);
    assert.deepStrictEqual(others, []);
  });
}

test('what must compile', () => {
  const values = ['1', '2L', "'c'", '"text"', 'std::set<std::string>()', 'Nan::New(1.5)'];
  const source =
    bound('(const int&, std::string&&, const zax::StringMap)') +
    values.map((value, i) => call(value).replace('fn', `call${i}`)).join('\n');
  assert.deepStrictEqual(errorsOf(source), []);
});
