'use strict';

// What stands between an add-on's folder and its exports: `load`, `zaxbase types` and `zaxbase doctor`.

const assert = require('node:assert');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const { after, test } = require('node:test');
const { pathToFileURL } = require('node:url');
const { load } = require('zaxbase/runtime');
const { nodeFolder, root } = require('../../scripts/toolchain');
const { run } = require('../support');

const words = path.join(root, 'examples/words');
const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'load '));
after(() => fs.rmSync(folder, { recursive: true }));

const contents = {
  'main.node': fs.readFileSync(path.join(words, 'build/Release/words.node')),
  'binding.gyp': "{ 'targets': [{ 'target_name': 'main' }] }",
  'package.json': '{ "name": "@scope/main" }',
  // An add-on that says that it is of another Node: a record with its version, and nothing else.
  'old.c': `void node_module_register(void*);
    static long record[16] = {1};
    __attribute__((constructor)) static void hand(void) { node_module_register(record); }`,
};

/** Makes the folder of an add-on with some files. */
function addOn(...files) {
  const made = fs.mkdtempSync(`${folder}/`);
  for (const file of files) {
    fs.mkdirSync(path.dirname(path.join(made, file)), { recursive: true });
    fs.writeFileSync(path.join(made, file), contents[path.basename(file)] ?? 'x');
  }
  return made;
}

const program = path.join(root, 'libzaxbase/bin/zaxbase.js');
const [a, main, old] = ['a', 'main', 'old'].map((name) => `build/Release/${name}.node`);

/** Makes one that was built for another Node. */
async function outdatedAddOn() {
  const made = addOn('binding.gyp', 'old.c', old);
  await run('gcc', ['-shared', '-fPIC', '-o', old, 'old.c'], { cwd: made });
  return made;
}

test('load finds the binary, or says what is missing or wrong', async () => {
  for (const place of [
    ...[words, path.relative('', words), pathToFileURL(`${words}/`)],
    pathToFileURL(`${words}/index.js`).href,
    addOn('build/Debug/main.node'),
    ...[addOn('package.json', a, main), addOn('binding.gyp', a, main)],
  ]) {
    assert.strictEqual(load(place).words.name, 'words');
  }
  const outdated = await outdatedAddOn();
  const versions = `another Node (NODE_MODULE_VERSION 1). This is Node ${process.versions.node} `;
  for (const [place, code, ...texts] of [
    [addOn('binding.gyp'), 'MODULE_NOT_FOUND', main, 'build/Debug/main.node', 'node-gyp rebuild'],
    [addOn(a, main), undefined, 'Which of a.node, main.node '],
    [outdated, 'ERR_DLOPEN_FAILED', versions, 'npx node-gyp rebuild'],
  ]) {
    assert.throws(
      () => load(place),
      (error) => error.code === code && texts.every((text) => error.message.includes(text)),
    );
  }
});

test('zaxbase types prints declarations and finds stale ones, or says why there are none', async () => {
  const stale = addOn('index.d.ts');
  const current = path.join(stale, 'current.d.ts');
  for (const [args, status, printed] of [
    [['build/Release/words.node'], 0, /^export interface Opt.*function words\(/s],
    [['--write', current], 0, /^$/],
    [['--check', current], 0, /^$/],
    [['--check', path.join(stale, 'index.d.ts')], 1, / write it anew: npm run types\n$/],
    [[path.join(root, 'echo/build/Release/echo.node')], 1, / does not register with ZAX_MODULE\n$/],
    [['none.node'], 1, /^There is no \S+none.node: build the add-on first\n$/],
    [['package.json'], 1, / cannot be loaded: /],
    [['--wrong'], 1, /^Usage:\n/],
  ]) {
    const result = await run(process.execPath, [program, 'types', ...args], { cwd: words });
    assert.match(result.stdout + result.stderr, printed);
    assert.strictEqual(result.status, status);
  }
});

test('zaxbase doctor says what is wrong, each with what mends it', async () => {
  const nodedir = nodeFolder() ?? folder;
  const nothing = { CXX: 'none', MAKE: 'none', PYTHON: 'none', npm_config_nodedir: '/none' };
  const rebuild = /npx node-gyp rebuild$/;
  const cases = [
    [words, { npm_config_nodedir: nodedir }, nodeFolder() ? [] : ["Node's headers"]],
    [
      folder,
      nothing,
      ['C++ compiler', 'make', 'Python 3', "Node's headers"],
      /^sudo |^npm config /,
    ],
    [addOn('binding.gyp'), { npm_config_nodedir: nodedir }, ['the add-on'], rebuild],
    [await outdatedAddOn(), { npm_config_nodedir: nodedir }, ['the add-on'], rebuild],
    [
      path.join(root, 'echo'),
      { npm_config_nodedir: nodedir },
      ['Workers'],
      /^register with ZAX_MODULE/,
    ],
  ];
  for (const [cwd, env, expected, cure] of cases) {
    const { status, stdout } = await run(process.execPath, [program, 'doctor'], { cwd, env });
    const wrong = [...stdout.matchAll(/^wrong +(.+?): /gm)].map(([, name]) => name);
    const cures = [...stdout.matchAll(/^ +mend it: (.*)$/gm)].map(([, text]) => text);
    assert.deepStrictEqual(
      [wrong, cures.length, status],
      [expected, wrong.length, wrong.length && 1],
    );
    for (const text of cures) assert.match(text, cure);
  }
});
