'use strict';

// Makes a database of sales in a temporary folder and reports on it: `node report.js [ROWS]`, by
// default of a million rows.

const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');

const { Database, sqliteVersion } = require('.');
const progressOf = require('./progress');

const rows = Number(process.argv[2] ?? 1_000_000);
const sample = Math.ceil(rows / 20);

const schema = `
  CREATE TABLE shop (id INTEGER PRIMARY KEY, city TEXT UNIQUE NOT NULL);
  INSERT INTO shop (city) VALUES ('Athens'), ('Bergen'), ('Cadiz'), ('Dublin'), ('Évora');
  CREATE TABLE sale (id INTEGER PRIMARY KEY, day TEXT, shop INTEGER, amount REAL, note TEXT);
`;
const insertSales = `
  WITH RECURSIVE n (i) AS (SELECT ? UNION ALL SELECT i + 1 FROM n WHERE i < ?)
  INSERT INTO sale
  SELECT i, date('2026-01-01', (i * 7919 % 365) || ' days'), 1 + i * 31 % 7 % 5,
         (i * 104729 % 100000) / 100.0, CASE WHEN i % 4 = 0 THEN 'gift ' || i END
  FROM n`;
const salesByCity = `
  SELECT city, count(*) AS sales, round(sum(amount)) AS turnover, round(avg(amount), 2) AS mean
  FROM sale JOIN shop ON shop.id = sale.shop
  WHERE sale.id BETWEEN ? AND ? GROUP BY city ORDER BY turnover DESC`;
const bestDays = `
  SELECT day, count(*) AS sales, max(amount) AS highest, count(note) AS gifts
  FROM sale WHERE id BETWEEN ? AND ? GROUP BY day ORDER BY sum(amount) DESC LIMIT 5`;
const someSales = 'SELECT * FROM sale WHERE id BETWEEN ? AND ?';
const endless = 'SELECT count(*) FROM sale a, sale b WHERE a.amount + b.amount < ?';

/**
 * Runs a statement over ids in two parts. Of the first, which is small, SQLite's instructions are
 * counted: they tell how many there will be for the other.
 */
async function runOver(ids, title, run) {
  const show = progressOf(title, process.stderr);
  let instructions = 0;
  await run([1, sample], { onProgress: (work) => ({ instructions } = work) });
  const expected = (instructions * ids.length) / sample;
  const onProgress = (work) => show(Math.min(99, (work.instructions / expected) * 100));
  const result = await run([ids.first, ids.first + ids.length - 1], { onProgress });
  show(100);
  return result;
}

async function timed(work) {
  const start = performance.now();
  const result = await work();
  return { result, seconds: ((performance.now() - start) / 1000).toFixed(2) };
}

async function report(database) {
  await database.exec(schema);
  const insert = await database.prepare(insertSales);
  const rest = { first: sample + 1, length: rows - sample };
  const made = await timed(() => runOver(rest, 'sales are made', (...call) => insert.run(...call)));
  console.log(`SQLite ${sqliteVersion}: a table of ${rows} rows, made in ${made.seconds} s`);

  const all = { first: 1, length: rows };
  for (const [title, sql] of Object.entries({
    'sales by city': salesByCity,
    'best days': bestDays,
  })) {
    const statement = await database.prepare(sql);
    const { result, seconds } = await timed(() =>
      runOver(all, title, (...call) => statement.all(...call)),
    );
    console.log(`\n${title}, in ${seconds} s`);
    console.table(result);
  }

  const some = await database.prepare(someSales);
  const few = Math.min(rows, 100_000);
  const { result, seconds } = await timed(() => some.all([1, few]));
  console.log(`\n${result.length} rows as objects, in ${seconds} s; the last one:`);
  console.log(result.at(-1));

  console.log('\nWhat fails:');
  const pairs = await database.prepare(endless);
  const signal = AbortSignal.timeout(200);
  await pairs.get([0.01], { signal }).catch(({ name, message }) => console.log(name, '-', message));
  const again = database.exec("INSERT INTO shop (city) VALUES ('Bergen')");
  await again.catch(({ code, message }) => console.log(code, '-', message));
}

async function main() {
  const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'sqlite-'));
  const database = new Database(path.join(folder, 'sales.db'));
  try {
    await report(database);
  } finally {
    database.close();
    fs.rmSync(folder, { recursive: true });
  }
}

main();
