'use strict';

// Builds the contenders, lets them run and writes the results.
//   node bench/run.js [--quick] [--scenario S1 ...] [--rounds N]
// --quick is for trying out: few rounds, less work. Only a full run of all scenarios is written.

const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const { parseArgs } = require('node:util');

const { compile } = require('../libzaxbase/prebuilt');
const { build, ensureModules, nodeFolder, nodeGyp, run } = require('../scripts/toolchain');
const { check, load } = require('./lib/contenders');
const { table } = require('./lib/report');
const scenarios = require('./lib/scenarios');

const all = Object.keys(scenarios);

function readOptions() {
  const { values } = parseArgs({
    options: {
      quick: { type: 'boolean', default: false },
      scenario: { type: 'string', multiple: true, default: all },
      rounds: { type: 'string' },
    },
  });
  const unknown = values.scenario.find((name) => !all.includes(name));
  if (unknown) throw new Error(`no scenario ${unknown}: there are ${all.join(', ')}`);
  return { ...values, rounds: Number(values.rounds ?? (values.quick ? 2 : 9)) };
}

function prepare() {
  ensureModules();
  const installed = path.join(__dirname, 'node_modules/.package-lock.json');
  const wanted = path.join(__dirname, 'package-lock.json');
  if (!fs.existsSync(installed) || fs.statSync(installed).mtimeMs < fs.statSync(wanted).mtimeMs) {
    run('npm', ['ci', '--ignore-scripts', '--no-audit', '--no-fund'], { cwd: __dirname });
  }
  const env = nodeFolder() ? { npm_config_nodedir: nodeFolder() } : {};
  const command = [process.execPath, nodeGyp()];
  if (compile({ native: true, command, env }) !== 0) throw new Error('nothing prebuilt');
  for (const folder of ['bench', 'examples/sqlite', 'examples/sqlite/comparison']) build(folder);
}

function write(rows, rounds) {
  const folder = path.join(__dirname, 'results');
  const major = process.versions.node.split('.')[0];
  const processors = os.cpus().map(({ model }) => model);
  const results = { node: process.version, processors, rounds, rows };
  fs.mkdirSync(folder, { recursive: true });
  fs.writeFileSync(
    path.join(folder, `node-${major}.json`),
    `${JSON.stringify(results, null, 1)}\n`,
  );
  fs.writeFileSync(path.join(folder, `table-${major}.md`), `${table(rows)}\n`);
  if (major === '26') require('./lib/chart').write();
}

async function main() {
  const { quick, scenario, rounds } = readOptions();
  prepare();
  const contenders = load();
  await check(contenders);
  const rows = [];
  for (const name of scenario) {
    console.error(`${name} ...`);
    const found = await scenarios[name]({ contenders, rounds, quick, scale: quick ? 0.1 : 1 });
    rows.push(...found.map((row) => ({ scenario: name, ...row })));
  }
  console.log(table(rows));
  if (!quick && scenario.length === all.length) write(rows, rounds);
  process.exit(); // The framework's queue of notifications keeps the event loop alive.
}

main();
