'use strict';

// The packages as their users get them: packed, then installed, built and run in a folder outside
// the repository whose path contains a space. Takes about a minute.

const assert = require('node:assert');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const { after, before, test } = require('node:test');
const { pack, run } = require('./npm');

const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'zaxbase packages '));
const tarballs = {};

before(() => {
  for (const name of ['zaxbase', 'echo']) {
    const { filename } = pack(name, `--pack-destination=${folder}`);
    tarballs[name] = `file:${path.join(folder, filename)}`;
  }
});
after(() => fs.rmSync(folder, { recursive: true }));

const install = (cwd) => run(cwd, 'npm', 'install', '--no-audit', '--no-fund');

function writeJson(file, content) {
  fs.mkdirSync(path.dirname(file), { recursive: true });
  fs.writeFileSync(file, JSON.stringify(content));
}

test('the packed echo installs, builds and runs', () => {
  const consumer = path.join(folder, 'consumer');
  writeJson(path.join(consumer, 'package.json'), { private: true, dependencies: tarballs });
  install(consumer);
  const script = `
    const echo = require('echo');
    const { asyncEchoWithNotifications } = require('echo/promises');
    const seen = [];
    const places = [];
    const place = (error) => places.push([error.details.file, error.code]);
    try { echo.syncEcho(1) } catch (error) { place(error) }
    echo.asyncEcho(1, 'job_failure', place);
    echo.syncEcho(1, 'x', (...reply) => seen.push(reply));
    asyncEchoWithNotifications(1, 'x', (text) => seen.push(text)).then((reply) => {
      seen.push(reply);
      console.log(JSON.stringify({ seen, places }));
      process.exit();
    });`;
  assert.deepStrictEqual(JSON.parse(run(consumer, process.execPath, '-e', script)), {
    seen: [[0, 'x'], 'x-0%', 'x-25%', 'x-50%', 'x-75%', 'x-100%', 'x'],
    places: [
      ['libzaxbase/zax-exception-common.cpp', 'EBADARG'],
      ['echo/zax-echo-worker.cpp', 'TEST-ERROR'],
    ],
  });
});

test('the add-on that zaxbase new makes installs, builds and passes its tests', () => {
  const addon = path.join(folder, 'my-addon');
  run(
    folder,
    'npm',
    'exec',
    '--yes',
    `--package=${tarballs.zaxbase}`,
    '--',
    'zaxbase',
    'new',
    'my-addon',
  );
  const manifest = path.join(addon, 'package.json');
  const content = JSON.parse(fs.readFileSync(manifest, 'utf8'));
  writeJson(manifest, { ...content, dependencies: { zaxbase: tarballs.zaxbase } });
  install(addon);
  assert.match(run(addon, 'npm', 'test'), /tests 3\n.*pass 3\n/s);
});
