'use strict';

const assert = require('node:assert');
const { execFileSync, spawnSync } = require('node:child_process');
const fs = require('node:fs');
const path = require('node:path');
const test = require('node:test');
const { Database } = require('..');

const folder = path.join(__dirname, '..');
const numbers = 'WITH RECURSIVE n (i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < ?)';

async function open(options) {
  const database = new Database(':memory:', options);
  await database.exec('CREATE TABLE t (id INTEGER PRIMARY KEY, name TEXT UNIQUE, x, bytes BLOB)');
  return { database, insert: await database.prepare('INSERT INTO t VALUES (?, ?, ?, ?)') };
}

test('what is written is read', async () => {
  const { database, insert } = await open();
  const bytes = Buffer.from('bytes');
  assert.deepStrictEqual(await insert.run([1, 'é\0', 2.5, bytes]), {
    changes: 1,
    lastInsertRowid: 1,
  });
  await insert.run([2n, null, -7, Buffer.alloc(5000, 'x')]);
  const first = { id: 1, name: 'é\0', x: 2.5, bytes };
  const second = { id: 2, name: null, x: -7, bytes: Buffer.alloc(5000, 'x') };
  const all = await database.prepare('SELECT * FROM t ORDER BY id; ');
  database.close();
  assert.deepStrictEqual(await all.all(), [first, second]);
  assert.deepStrictEqual(await all.get(), first);
  all.close();
  await assert.rejects(all.get(), { code: 'EDISPOSED' });
});

test('integers that a number does not hold are bigints where that is asked for', async () => {
  const sql = 'SELECT 9007199254740993 AS n, 0.5 AS x';
  const read = async (options) => {
    const { database } = await open(options);
    return (await database.prepare(sql)).all();
  };
  await assert.rejects(read(), { code: 'EOVERFLOW', message: /^9007199254740993 is beyond/ });
  assert.deepStrictEqual(await read({ bigints: true }), [{ n: 9007199254740993n, x: 0.5 }]);
});

test('errors have the codes of SQLite', async () => {
  const { database, insert } = await open();
  await insert.run([1, 'a', null, null]);
  for (const [work, code, message] of [
    [() => insert.run([2, 'a', 0, null]), 'SQLITE_CONSTRAINT_UNIQUE', /: t\.name$/],
    [() => insert.run([2]), 'EBADARG', 'Statement.run: the statement has 4 parameters, got 1'],
    [() => database.prepare('SELEC 1'), 'SQLITE_ERROR', 'near "SELEC": syntax error'],
    [() => database.prepare('SELECT 1; SELECT 2'), 'EBADARG', /one statement expected/],
    [async () => new Database(path.join(folder, 'no/such')), 'SQLITE_CANTOPEN', /^unable to open/],
  ]) {
    await assert.rejects(work(), { code, message });
  }
});

test('a statement tells its progress; cancelling ends it, and not the one beside it', async () => {
  const { database } = await open();
  const count = await database.prepare(`${numbers} SELECT count(*) AS n FROM n`);
  const told = [];
  assert.deepStrictEqual(await count.get([1e5], { onProgress: (work) => told.push(work) }), {
    n: 1e5,
  });
  assert.deepStrictEqual(told[1], { instructions: 100_000, rows: 0 });

  const other = await database.prepare(`${numbers} SELECT i FROM n`);
  const controller = new AbortController();
  const onProgress = () => controller.abort();
  const cancelled = count.get([1e12], { signal: controller.signal, onProgress });
  await Promise.all([
    assert.rejects(cancelled, { name: 'AbortError' }),
    other.all([1e5]).then((rows) => assert.deepStrictEqual(rows.at(-1), { i: 1e5 })),
  ]);
});

test('the report', () => {
  const { stdout, stderr } = spawnSync(process.execPath, ['report.js', '20000'], {
    cwd: folder,
    encoding: 'utf8',
  });
  assert.match(stdout, /a table of 20000 rows/);
  assert.match(stdout, /'Athens' .* 5714 /);
  assert.match(stdout, /id: 20000,\s+day: '2026-10-23',\s+shop: 4/);
  assert.match(
    stdout,
    /TimeoutError - .*\nSQLITE_CONSTRAINT_UNIQUE - UNIQUE constraint failed: shop.city/,
  );
  assert.match(stderr, /^sales are made: \d+%\n/);
  const shell = `import pty; pty.spawn(['${process.execPath}', 'report.js', '20000'])`;
  const terminal = execFileSync('python3', ['-c', shell], { cwd: folder, encoding: 'utf8' });
  assert.ok(terminal.includes(`\r\x1b[2K[${'#'.repeat(30)}] 100% sales by city\r\n`));
});

test('the declarations are those of the binary', () => {
  const zaxbase = path.join(require.resolve('zaxbase'), '../bin/zaxbase.js');
  const args = [zaxbase, 'types', 'build/Release/sqlite.node'];
  const printed = execFileSync(process.execPath, args, { cwd: folder, encoding: 'utf8' });
  assert.strictEqual(fs.readFileSync(path.join(folder, 'index.d.ts'), 'utf8'), printed);
});

test('what it is compared with compiles', () => {
  const config = fs.readFileSync(path.join(folder, 'build/config.gypi'), 'utf8');
  const { nodedir } = JSON.parse(config.replace(/^#.*/, '')).variables;
  const flags = [
    '-std=c++17',
    '-fsyntax-only',
    '-Wall',
    '-Wextra',
    '-Werror',
    '-DNAPI_CPP_EXCEPTIONS',
  ];
  const napi = require('node-addon-api').include_dir;
  const includes = ['-isystem', path.resolve(napi), '-isystem', path.join(nodedir, 'include/node')];
  execFileSync('g++', [...flags, ...includes, 'comparison/sqlite-napi.cpp'], { cwd: folder });
});
