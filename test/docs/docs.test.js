'use strict';

// Builds and runs every code block of the documentation: docs/README.md tells how it is marked.

const assert = require('node:assert');
const { spawnSync } = require('node:child_process');
const fs = require('node:fs');
const path = require('node:path');
const test = require('node:test');
const ts = require('typescript');

const { build, filesIn, root } = require('../../scripts/toolchain');

const workspace = path.join(__dirname, 'build');
const read = (file) => fs.readFileSync(path.resolve(root, file), 'utf8');

/** A page's stages, each with its files and what is to be run once they are built. */
function stagesOf(page) {
  const stages = [{ files: new Map(), runs: [] }];
  const fences = [...read(page).matchAll(/(?:^<!-- ([^\n]+) -->\n)?^```(\w*)\n(.*?)^```$/gms)];
  assert.strictEqual(read(page).match(/^ *```/gm)?.length ?? 0, 2 * fences.length, page);
  for (const { 1: mark, 2: language, 3: text, index } of fences) {
    const place = `${page}:${read(page).slice(0, index).split('\n').length}`;
    const [, verb, name] = /^(file|append|excerpt): (\S+)$/.exec(mark) ?? [];
    const stage = stages.at(-1);
    if (verb === 'excerpt') {
      const plain = (code) => code.replace(/\s+/g, ' ').trim();
      assert(plain(read(name)).includes(plain(text)), `${place}: not in ${name}`);
    } else if (verb === 'file') {
      if (stage.files.has(name)) stages.push({ files: new Map(), runs: [] });
      stages.at(-1).files.set(name, text);
    } else if (verb === 'append') {
      assert(stage.files.has(name), `${place}: nothing to append to`);
      stage.files.set(name, stage.files.get(name) + text);
    } else if (/^run( fails)?$/.test(mark) && ['js', 'sh'].includes(language)) {
      stage.runs.push({ place, language, text, fails: mark === 'run fails' });
    } else {
      assert(/^(sample )?output$/.test(mark) && stage.runs.length, `${place}: mark "${mark}"`);
      Object.assign(stage.runs.at(-1), { output: text, sample: mark !== 'output' });
    }
  }
  return stages;
}

function write(file, text) {
  fs.mkdirSync(path.dirname(file), { recursive: true });
  fs.writeFileSync(file, text);
}

/** Writes a stage's files, with a build file if the page shows none. */
function writeStage({ folder }, { files }) {
  for (const [name, text] of files) write(path.join(folder, name), text);
  const sources = [...files.keys()].filter((name) => name.endsWith('.cpp'));
  if (sources.length === 0 || fs.existsSync(path.join(folder, 'binding.gyp'))) return;
  const dependencies = [`<!(node -p "require('zaxbase').targets")`];
  const target = { target_name: path.parse(sources[0]).name, sources, dependencies };
  write(path.join(folder, 'binding.gyp'), JSON.stringify({ targets: [target] }));
}

/** Builds the add-ons of all pages at once, so that the framework is compiled once. */
function buildPages(pages) {
  const native = pages.filter(({ folder }) => fs.existsSync(path.join(folder, 'binding.gyp')));
  const dependencies = native.map(({ name }) => `${name}/binding.gyp:*`);
  const target = { target_name: 'docs', type: 'none', dependencies };
  write(path.join(workspace, 'binding.gyp'), JSON.stringify({ targets: [target] }));
  // File names in errors read as if each page were built alone.
  const maps = native.map(({ name, folder }) => {
    const [, own] = /target_name\W+([\w-]+)/.exec(read(path.join(folder, 'binding.gyp')));
    return `-fmacro-prefix-map=../${name}/=${own}/`;
  });
  const CXXFLAGS = ['-O0', '-Wno-cast-function-type', ...maps].join(' ');
  build(path.relative(root, workspace), { env: { CXXFLAGS } });
}

/** The commands that are run here. The others install, or are scripts that must exist. */
function commandsOf({ text, place }, { folder }) {
  const own = path.join(folder, 'package.json');
  const { scripts } = JSON.parse(read(fs.existsSync(own) ? own : 'package.json'));
  return text.split('\n').filter((command) => {
    const [, script] = /^npm (?:run )?(\S+)/.exec(command) ?? [];
    if (script && script !== 'install') assert(scripts[script], `${place}: no script ${script}`);
    if (script === 'test') return fs.existsSync(own);
    return !/^(cd|mkdir|npm|npx zaxbase new)\b/.test(command);
  });
}

/** Output without what differs from run to run: line numbers, times, the page's folder. */
function normalised(text, { folder }) {
  return text
    .replaceAll(folder, '/app')
    .replace(/:\d+(:\d+)?(?=\)?$)|(?<=\bline: )\d+/gm, ':N')
    .replace(/\(\d+\)(?= in )/g, '(N)')
    .replace(/^\[\d\d:\d\d:\d\d\.\d{3}\]/gm, '[TIME]')
    .trimEnd();
}

/** The expected output as a pattern. */
function patternOf(expected) {
  const lines = expected.split('\n').map((line) => {
    if (line.trim() === '...') return '(.*\n)*';
    return `${line.replace(/[\\^$.*+?()[\]{}|]/g, '\\$&').replaceAll('\\.\\.\\.', '.*')}\n`;
  });
  return new RegExp(`^${lines.join('')}$`);
}

/** Runs a script or commands and checks the status and what they print on both streams. */
function check(run, page) {
  let command = `exec '${process.execPath}' main.js`;
  if (run.language === 'js') write(path.join(page.folder, 'main.js'), run.text);
  else command = commandsOf(run, page).join('\n');
  if (run.output)
    assert.strictEqual(run.sample, !command, `${run.place}: what is not run is sampled`);
  if (!command) return;
  const { NODE_TEST_CONTEXT, ...env } = process.env;
  env.PATH = `${path.dirname(process.execPath)}:${env.PATH}`;
  const options = { cwd: page.folder, env, encoding: 'utf8', timeout: 60000 };
  const { status, stdout, error } = spawnSync('bash', ['-ec', `exec 2>&1\n${command}`], options);
  assert.ifError(error);
  assert.strictEqual(status !== 0, run.fails, `${run.place}: status ${status}\n${stdout}`);
  if (run.output === undefined) return;
  const printed = normalised(stdout, page);
  const expected = normalised(run.output, page);
  if (!patternOf(expected).test(`${printed}\n`)) assert.strictEqual(printed, expected, run.place);
}

test('the code of the documentation', async (t) => {
  const pages = ['README.md', ...filesIn('docs', /\.md$/)].map((file) => {
    const name = file.replace(/\W/g, '-');
    return { file, name, folder: path.join(workspace, name), stages: stagesOf(file) };
  });
  const framework = path.join(workspace, 'node_modules/zaxbase');
  fs.cpSync(path.join(root, 'libzaxbase'), framework, {
    recursive: true,
    preserveTimestamps: true,
  });
  for (const { folder } of pages) {
    fs.rmSync(folder, { recursive: true, force: true });
    fs.mkdirSync(folder, { recursive: true });
    fs.symlinkSync('../build', path.join(folder, 'build'));
  }
  for (let i = 0; i < Math.max(...pages.map(({ stages }) => stages.length)); ++i) {
    const current = pages.filter(({ stages }) => i < stages.length);
    for (const page of current) writeStage(page, page.stages[i]);
    buildPages(pages);
    for (const page of current) {
      await t.test(`${page.file}, stage ${i + 1}`, () => {
        for (const run of page.stages[i].runs) check(run, page);
      });
    }
  }

  await t.test('the declarations on the pages compile', () => {
    const declarations = pages.flatMap(({ folder, stages }) =>
      stages.flatMap(({ files }) =>
        [...files.keys()]
          .filter((name) => name.endsWith('.ts'))
          .map((name) => path.join(folder, name)),
      ),
    );
    assert(declarations.length > 0);
    const program = ts.createProgram(declarations, { strict: true, noEmit: true, types: [] });
    assert.deepStrictEqual(ts.getPreEmitDiagnostics(program), []);
  });

  await t.test('the first add-on ends as the scaffold begins', () => {
    const { folder } = pages.find(({ file }) => file === 'docs/first-add-on.md');
    for (const file of filesIn('libzaxbase/template', /(?<!README)\.\w+$/)) {
      const own = path.join(folder, path.relative('libzaxbase/template', file));
      assert.strictEqual(read(own), read(file).replace(/ADDON_(PACKAGE|NAME)/g, 'my-addon'), file);
    }
  });
});
