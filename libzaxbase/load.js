'use strict';

// Finds the binary of an add-on and hands out its exports.

const fs = require('node:fs');
const path = require('node:path');
const { fileURLToPath } = require('node:url');

const prebuilt = require('./prebuilt');

/** Where the binary for every Node stands that an add-on was published with. */
const published = `prebuilds/${process.platform}-${process.arch}`;

/** Where a binary can stand in the folder of an add-on; the first that has one counts. */
const places = ['build/Release', 'build/Debug', published];

/** The Node lines by the version of their binary interface. */
const lines = { 115: 'Node 20', 127: 'Node 22', 137: 'Node 24', 147: 'Node 26' };
const lineOf = (version) => `${lines[version] ?? 'another Node'} (NODE_MODULE_VERSION ${version})`;

/** The folder that a path or a `file:` URL names, or that of the file that it names. */
function folderOf(place) {
  const isUrl = place instanceof URL || String(place).startsWith('file:');
  const file = isUrl ? fileURLToPath(place) : path.resolve(place);
  const isFile = fs.statSync(file, { throwIfNoEntry: false })?.isFile();
  return isFile ? path.dirname(file) : path.resolve(file);
}

function readIfThere(file) {
  return fs.existsSync(file) ? fs.readFileSync(file, 'utf8') : '';
}

/** The names that the add-on may have: that of the package, and the targets of its build file. */
function namesOf(folder) {
  const { name = '' } = JSON.parse(readIfThere(path.join(folder, 'package.json')) || '{}');
  const gyp = readIfThere(path.join(folder, 'binding.gyp'));
  const targets = [...gyp.matchAll(/["']target_name["']\s*:\s*["']([^"']+)["']/g)];
  return [...new Set([path.basename(name), ...targets.map(([, target]) => target)])].filter(
    Boolean,
  );
}

/** The binary in a folder, if there is one. Of several, one has the add-on's name. */
function binaryIn(folder, names) {
  const entries = fs.existsSync(folder) ? fs.readdirSync(folder) : [];
  const binaries = entries.filter((entry) => entry.endsWith('.node'));
  const [named] = names.map((name) => `${name}.node`).filter((name) => binaries.includes(name));
  if (binaries.length > 1 && !named) {
    throw new Error(`Which of ${binaries.join(', ')} in ${folder}? None is named as the package`);
  }
  const binary = named ?? binaries[0];
  return binary && path.join(folder, binary);
}

function failure(message, folder, properties, command = 'npx node-gyp rebuild') {
  const cure = `To build it: cd ${JSON.stringify(folder)} && ${command}`;
  const error = Object.assign(new Error(`${message}\n${cure}`), properties);
  Error.captureStackTrace(error, load);
  return error;
}

/** The binary for every Node in an add-on's folder, if there is one. */
const publishedIn = (folder) => binaryIn(path.resolve(folder, published), namesOf(folder));

/** The binary of an add-on, and how its exports are had. */
function find(folder) {
  const names = namesOf(folder);
  for (const place of places) {
    const binary = binaryIn(path.join(folder, place), names);
    if (binary) return [binary, place === published ? open : require];
  }
  const files = places.flatMap((place) =>
    (names.length > 0 ? names : ['*']).map((name) => path.join(folder, place, `${name}.node`)),
  );
  const message = `The add-on in ${folder} is not built. Looked for:\n  ${files.join('\n  ')}`;
  throw failure(message, folder, { code: 'MODULE_NOT_FOUND' });
}

/** What `require` is for other binaries: opens one that was linked without V8's half. */
function open(binary) {
  const file = fs.realpathSync(binary);
  if (require.cache[file]) return require.cache[file].exports;
  const code = 'ERR_DLOPEN_FAILED';
  const backend = prebuilt.backendOf(process.arch, process.versions.modules);
  if (!fs.existsSync(backend)) {
    const message = `zaxbase has no backend for ${lineOf(process.versions.modules)}, and ${file} needs one`;
    throw failure(message, path.dirname(__dirname), { code }, 'npx zaxbase backend');
  }
  const module = { id: file, filename: file, exports: {}, children: [], loaded: true };
  const reason = require(backend).open(file, module.exports);
  if (reason !== undefined) {
    const message = `${reason}: install the zaxbase that its package asks for, or build it here`;
    throw failure(message, path.resolve(binary, '../../..'), { code });
  }
  require.cache[file] = module;
  return module.exports;
}

/**
 * The exports of the add-on in a folder. Throws an Error that says how to build it where it has no
 * binary (code "MODULE_NOT_FOUND") or one that does not fit this Node or this framework
 * ("ERR_DLOPEN_FAILED").
 */
function load(place) {
  const folder = folderOf(place);
  const [binary, exportsOf] = find(folder);
  try {
    return exportsOf(binary);
  } catch (error) {
    const [, built] = /using\s+NODE_MODULE_VERSION (\d+)/.exec(error?.message) ?? [];
    if (error?.code !== 'ERR_DLOPEN_FAILED' || !built) throw error;
    const message =
      `${binary} was built for ${lineOf(built)}. ` +
      `This is Node ${process.versions.node} (NODE_MODULE_VERSION ${process.versions.modules})`;
    throw failure(message, folder, { code: error.code, cause: error });
  }
}

module.exports = { lines, load, open, publishedIn };
