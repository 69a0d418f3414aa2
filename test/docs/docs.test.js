'use strict';

// Builds and runs every code block of the documentation: docs/README.md tells how it is marked.

const assert = require('node:assert');
const fs = require('node:fs');
const path = require('node:path');
const test = require('node:test');

const { build, filesIn, root } = require('../../scripts/toolchain');
const { run } = require('../support');

const workspace = path.join(__dirname, 'build');
const command = path.join(root, 'libzaxbase/bin/zaxbase.js');
const read = (file) => fs.readFileSync(path.resolve(root, file), 'utf8');
const plain = (code) => code.replace(/\s+/g, ' ').trim();

const verbs = /^(file|append|excerpt)(?=: )|^(run|run fails|output|sample output)$/;

/** A page's stages, each with its files and what is to be run once they are built. */
function stagesOf(page) {
  const text = read(page);
  const stages = [{ files: new Map(), runs: [] }];
  const fences = [...text.matchAll(/(?:^<!-- ([^\n]+) -->\n)?^```(\w*)\n(.*?)^```$/gms)];
  assert.strictEqual(text.match(/^ *```/gm)?.length ?? 0, 2 * fences.length, page);
  for (const { 1: mark = '', 2: language, 3: code, index } of fences) {
    const place = `${page}:${text.slice(0, index).split('\n').length}: ${mark}`;
    const [verb] = verbs.exec(mark) ?? [];
    const [, name] = mark.split(': ');
    const again = verb === 'file' && stages.at(-1).files.has(name);
    if (again) stages.push({ files: new Map(), runs: [] });
    const { files, runs } = stages.at(-1);
    assert(verb && (verb !== 'append' || files.has(name)), place);
    if (verb === 'excerpt') assert(plain(read(name)).includes(plain(code)), place);
    else if (name) files.set(name, (files.get(name) ?? '') + code);
    else if (verb.startsWith('run'))
      runs.push({ place, language, code, fails: verb === 'run fails' });
    else Object.assign(runs.at(-1), { output: code, sample: verb === 'sample output' });
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
  const unit = /<zax\.h>/.test([...files.values()].join()) ? 'source' : 'frameSource';
  const dependencies = [`../${unit}/binding.gyp:${unit}`];
  writeTarget(folder, { target_name: path.parse(sources[0]).name, sources, dependencies });
}

/** Writes the build file of a target that is compiled as `require('zaxbase')` says. */
function writeTarget(folder, target) {
  const cflags_cc = [`<!@(node -p "require('zaxbase').flags.join(' ')")`];
  write(path.join(folder, 'binding.gyp'), JSON.stringify({ targets: [{ ...target, cflags_cc }] }));
}

/** Builds the add-ons of all pages at once, so that a unit of the framework is compiled once. */
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
function commandsOf({ language, code, place }, { folder }) {
  if (language === 'js') {
    write(path.join(folder, 'main.js'), code);
    return `exec '${process.execPath}' main.js`;
  }
  const own = path.join(folder, 'package.json');
  const { scripts } = JSON.parse(read(fs.existsSync(own) ? own : 'package.json'));
  const isRun = (command) => {
    const [, script = 'install'] = /^npm (?:run )?(\S+)/.exec(command) ?? [];
    assert(script === 'install' || scripts[script], `${place}: no script ${script}`);
    if (script === 'test') return fs.existsSync(own);
    return !/^(cd|mkdir|npm|npx zaxbase new)\b/.test(command);
  };
  return code.split('\n').filter(isRun).join('\n');
}

/** Output without what differs from run to run: line numbers, times, the page's folder. */
const normalised = (text, { folder }) =>
  text
    .replaceAll(folder, '/app')
    .replace(/:\d+(:\d+)?(?=\)?$)|(?<=\bline: )\d+/gm, ':N')
    .replace(/\(\d+\)(?= in )/g, '(N)')
    .replace(/^\[\d\d:\d\d:\d\d\.\d{3}\]/gm, '[TIME]')
    .trimEnd();

/** The expected output as a pattern. */
function patternOf(expected) {
  const lines = expected.split('\n').map((line) => {
    if (line.trim() === '...') return '(.*\n)*';
    return `${line.replace(/[\\^$.*+?()[\]{}|]/g, '\\$&').replaceAll('\\.\\.\\.', '.*')}\n`;
  });
  return new RegExp(`^${lines.join('')}$`);
}

/** Runs a script or commands and checks the status and what they print on both streams. */
async function check({ place, output, sample = !output, fails, ...block }, page) {
  const commands = commandsOf(block, page);
  if (output) assert.strictEqual(sample, !commands, `${place}: what is not run is sampled`);
  if (!commands) return;
  const npx = `npx() { shift; node '${command}' "$@"; }`;
  const args = ['-ec', `exec 2>&1\n${npx}\n${commands}`];
  const { status, stdout } = await run('bash', args, { cwd: page.folder });
  assert.strictEqual(status !== 0, fails, `${place}: status ${status}\n${stdout}`);
  if (sample) return;
  const [printed, expected] = [stdout, output].map((text) => normalised(text, page));
  if (!patternOf(expected).test(`${printed}\n`)) assert.strictEqual(printed, expected, place);
}

test('the code of the documentation', async (t) => {
  const readmes = ['', 'libzaxbase/', 'echo/'].map((folder) => `${folder}README.md`);
  const pages = [...readmes, ...filesIn('docs', /\.md$/)].map((file) => {
    const name = file.replace(/\W/g, '-');
    return { file, name, folder: path.join(workspace, name), stages: stagesOf(file) };
  });
  const framework = path.join(workspace, 'node_modules/zaxbase');
  const options = { recursive: true, preserveTimestamps: true };
  fs.cpSync(path.join(root, 'libzaxbase'), framework, options);
  for (const target_name of ['source', 'frameSource']) {
    const sources = [`<!(node -p "require('zaxbase').${target_name}")`];
    const unit = { target_name, type: 'static_library', sources };
    writeTarget(path.join(workspace, target_name), unit);
  }
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
      await t.test(`${page.file}, stage ${i + 1}`, async () => {
        for (const block of page.stages[i].runs) await check(block, page);
      });
    }
  }

  await t.test('the first add-on ends as the scaffold begins', () => {
    const { folder } = pages.find(({ file }) => file === 'docs/first-add-on.md');
    const template = /^libzaxbase\/template\/(common|javascript)\/(?!README|\.github)(?=.*\.\w+$)/;
    for (const file of filesIn('libzaxbase/template', template)) {
      const own = path.join(folder, file.replace(template, '').replace('manifest', 'package'));
      assert.strictEqual(read(own), read(file).replace(/ADDON_(PACKAGE|NAME)/g, 'my-addon'), file);
    }
  });
});
