'use strict';

const assert = require('node:assert');
const { spawnSync } = require('node:child_process');
const { createHash } = require('node:crypto');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const { after, test } = require('node:test');
const { digest } = require('..');

const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'digest-'));
after(() => fs.rmSync(folder, { recursive: true }));

function makeFile(name, size) {
  const file = path.join(folder, name);
  fs.writeFileSync(file, size === 0 ? '' : 'x');
  fs.truncateSync(file, size); // A large file is a sparse one.
  return file;
}

const empty = makeFile('empty', 0);
const one = makeFile('one', 1);
const chunk = makeFile('chunk', 1 << 20);
const large = makeFile('large', 300e6);
const missing = path.join(folder, 'missing');

function run(command, ...args) {
  const options = { cwd: path.join(__dirname, '..'), encoding: 'utf8' };
  const { status, stdout, stderr } = spawnSync(command, args, options);
  return { status, stdout, stderr };
}

test('the program prints what sha256sum prints', () => {
  const files = [empty, one, chunk, large];
  const expected = run('sha256sum', ...files);
  assert.deepStrictEqual(run(process.execPath, '.', 'sha256', ...files), expected);
  const failed = run(process.execPath, '.', 'sha1', missing, empty);
  assert.deepStrictEqual(failed, {
    status: 1,
    stdout: `da39a3ee5e6b4b0d3255bfef95601890afd80709  ${empty}\n`,
    stderr: `open-ENOENT: cannot open ${missing}\n`,
  });
  assert.strictEqual(run(process.execPath, '.', 'sha256').status, 2);
});

test('digests, with a progress that rises to 100, each percentage at most once', async () => {
  const told = [];
  const onProgress = (percent) => told.push(percent);
  const digested = await digest('sha512', large, { onProgress });
  const expected = createHash('sha512').update(fs.readFileSync(large)).digest('hex');
  assert.strictEqual(digested, expected);
  assert.deepStrictEqual(told, [...Array(101).keys()].slice(1));
});

test('an aborted signal ends it', async () => {
  const controller = new AbortController();
  const { signal } = controller;
  const digested = digest('sha512', large, { signal, onProgress: () => controller.abort() });
  await assert.rejects(digested, { name: 'AbortError' });
});

test('errors', async () => {
  for (const [algorithm, file, error] of [
    ['sha256', missing, { code: 'open-ENOENT', message: `cannot open ${missing}` }],
    ['sha256', folder, { code: 'read-EISDIR', message: `cannot read ${folder}` }],
    ['sha0', one, { code: 'EBADARG', message: 'digest: unknown algorithm sha0' }],
    ['sha256', null, { code: 'EBADARG', message: /^digest: argument 2 \(path\): string exp/ }],
  ]) {
    await assert.rejects(digest(algorithm, file), error);
  }
});

test('a terminal shows a bar for each file', () => {
  const shell = `stty rows 24 cols 100; exec ${process.execPath} . sha256 ${large} ${empty}`;
  const { stdout } = run('python3', '-c', `import pty; pty.spawn(['sh', '-c', '${shell}'])`);
  const frames = stdout.split('\x1b[2A');
  const line = (bar, percent, file) => `\x1b[2K[${bar}] ${percent}% ${file}\r\n`;
  const none = '.'.repeat(30);
  const full = '#'.repeat(30);
  assert.strictEqual(frames[0], line(none, '  0', large) + line(none, '  0', empty));
  assert.ok(stdout.includes(line('#'.repeat(15) + '.'.repeat(15), ' 50', large)));
  const done = line(full, '100', large) + line(full, '100', empty);
  assert.ok(frames.at(-1).startsWith(done));
});
