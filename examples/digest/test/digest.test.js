'use strict';

const assert = require('node:assert');
const { spawnSync } = require('node:child_process');
const { createHash } = require('node:crypto');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const { after, test } = require('node:test');
const { digest } = require('..');

const example = path.join(__dirname, '..');
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

function run(command, ...args) {
  const { status, stdout, stderr } = spawnSync(command, args, { cwd: example, encoding: 'utf8' });
  return { status, stdout, stderr };
}

test('the program prints what sha256sum prints', () => {
  const files = [empty, one, chunk, large];
  assert.deepStrictEqual(run(process.execPath, '.', 'sha256', ...files), {
    ...run('sha256sum', ...files),
    status: 0,
  });
});

test('other algorithms', async () => {
  for (const algorithm of ['md5', 'sha512', 'blake2b512']) {
    const expected = createHash(algorithm).update(fs.readFileSync(chunk)).digest('hex');
    assert.strictEqual(await digest(algorithm, chunk), expected);
  }
});

test('progress rises to 100, each percentage at most once', async () => {
  const told = [];
  await digest('sha256', large, (percent) => told.push(percent));
  assert.deepStrictEqual(
    told,
    Array.from({ length: 100 }, (_, i) => i + 1),
  );
});

test('errors', async () => {
  const missing = path.join(folder, 'missing');
  for (const [algorithm, file, error] of [
    ['sha256', missing, { code: 'open-ENOENT', message: `cannot open ${missing}` }],
    ['sha256', folder, { code: 'read-EISDIR', message: `cannot read ${folder}` }],
    ['sha0', one, { code: 'EBADARG', message: 'unknown algorithm sha0' }],
    ['sha256', undefined, { code: 'open-ENOENT', message: 'cannot open ' }],
    ['sha256', null, { code: 'EBADARG', message: 'String expected' }],
  ]) {
    await assert.rejects(digest(algorithm, file), error);
  }
  assert.deepStrictEqual(run(process.execPath, '.', 'sha1', missing, empty), {
    status: 1,
    stdout: `da39a3ee5e6b4b0d3255bfef95601890afd80709  ${empty}\n`,
    stderr: `open-ENOENT: cannot open ${missing}\n`,
  });
  assert.strictEqual(run(process.execPath, '.', 'sha256').status, 2);
});

test('a file without permission to read it', () => {
  fs.chmodSync(one, 0);
  // Root may read everything, so it becomes somebody else.
  const script = `
    const { digest } = require('.');
    if (process.getuid() === 0) {
      process.setgid(65534);
      process.setuid(65534);
    }
    digest('sha256', process.argv[1]).catch(({ code, message }) => console.log(code, message));`;
  const { stdout, stderr } = run(process.execPath, '-e', script, one);
  assert.strictEqual(stdout, `open-EACCES cannot open ${one}\n`, stderr);
});

test('a terminal shows a bar for each file, side by side', () => {
  const second = makeFile('second', 300e6);
  const terminal = 'import pty, sys; pty.spawn(sys.argv[1:])';
  const shell = 'stty rows 24 cols 100; exec "$0" . sha256 "$@"';
  const { stdout } = run(
    ...['python3', '-c', terminal, 'sh', '-c', shell, process.execPath, large, second, empty],
  );
  const frames = stdout.split('\x1b[3A');
  const bars = (frame) =>
    [...frame.matchAll(/\[([#.]{30})\] +(\d+)% (\S+)/g)].map(([, bar, percent, file]) => {
      assert.strictEqual(bar.indexOf('.') < 0 ? 30 : bar.indexOf('.'), Math.floor(percent * 0.3));
      return [file, Number(percent)];
    });
  assert.deepStrictEqual(bars(frames[0]), [
    [large, 0],
    [second, 0],
    [empty, 0],
  ]);
  assert.deepStrictEqual(bars(frames.at(-1)), [
    [large, 100],
    [second, 100],
    [empty, 100],
  ]);
  assert.ok(frames.map(bars).some(([[, a], [, b]]) => a > 0 && a < 100 && b > 0 && b < 100));
  assert.match(frames.at(-1), /\n[0-9a-f]{64} {2}\S+large\r\n[0-9a-f]{64} {2}\S+second\r\n/);
});
