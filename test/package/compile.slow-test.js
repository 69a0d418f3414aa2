'use strict';

// What must not compile: the compiler's first error says what to do instead, and it is the only one.

const assert = require('node:assert');
const { spawnSync } = require('node:child_process');
const path = require('node:path');
const { test } = require('node:test');
const { nodeFolder, root } = require('../../scripts/toolchain');

const include = ['libzaxbase', 'node_modules/nan'].map((folder) => path.join(root, folder));
include.push(path.join(nodeFolder() ?? '/usr', 'include/node'));

/** The compiler's errors for a source, each with the line before that says where it is. */
function errorsOf(source) {
  const flags = ['-std=c++20', '-fsyntax-only', '-x', 'c++', '-'];
  const { stderr } = spawnSync('g++', [...include.map((folder) => `-I${folder}`), ...flags], {
    input: `#include "zax-v8-argument-list.h"\n${source}`,
    env: { ...process.env, LC_ALL: 'C' },
    encoding: 'utf8',
  });
  return (stderr.match(/In instantiation of .*|error: .*/g) ?? []).join('\n');
}

const bound = (type, params) =>
  `${type} fn(${params}); auto entry = zax::BindFunction<${type}(${params}), fn>::entry;`;
const call = (...values) =>
  `void reply(zax::Callback callback) { ${values.map((value) => `callback.call(${value});`).join(' ')} }`;
const ready =
  /^(In .*\nerror: .*: make any other value ready, as in call\(Nan::New\(1\.5\)\)\n?){3}$/;

for (const [source, errors] of [
  [bound('int', 'int'), /^In .*\nerror: .*: its result goes to a zax::Callback parameter$/],
  [
    bound('void', 'double'),
    /^In .*ArgumentConverter<double>'.*\nerror: .*: specialise zax::\S+ for it$/,
  ],
  [
    bound('void', 'std::string&'),
    /^In .*\nerror: .* its parameters by value or by const reference$/,
  ],
  [bound('void', 'const int&, std::string&&, const zax::StringMap'), /^$/],
  [call('1.5', 'true', 'nullptr'), ready],
  [call('2L', "'c'", '"text"', 'Nan::New(1.5)'), /^$/],
]) {
  test(source, () => assert.match(errorsOf(source), errors));
}
