'use strict';

// Finds the binary of an add-on and hands out its exports.

const fs = require('node:fs');
const path = require('node:path');
const { fileURLToPath } = require('node:url');

/** Where a binary can stand in the folder of an add-on; the first that has one counts. */
const places = ['build/Release', 'build/Debug'];

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

function failure(message, folder, properties) {
  const command = `To build it: cd ${JSON.stringify(folder)} && npx node-gyp rebuild`;
  const error = Object.assign(new Error(`${message}\n${command}`), properties);
  Error.captureStackTrace(error, load);
  return error;
}

/** The binary of an add-on. */
function find(folder) {
  const names = namesOf(folder);
  for (const place of places) {
    const binary = binaryIn(path.join(folder, place), names);
    if (binary) return binary;
  }
  const files = places.flatMap((place) =>
    (names.length > 0 ? names : ['*']).map((name) => path.join(folder, place, `${name}.node`)),
  );
  const message = `The add-on in ${folder} is not built. Looked for:\n  ${files.join('\n  ')}`;
  throw failure(message, folder, { code: 'MODULE_NOT_FOUND' });
}

/**
 * The exports of the add-on in a folder. Throws an Error that says how to build it where it has no
 * binary (code "MODULE_NOT_FOUND") or one for another Node ("ERR_DLOPEN_FAILED").
 */
function load(place) {
  const folder = folderOf(place);
  const binary = find(folder);
  try {
    return require(binary);
  } catch (error) {
    const [, built] = /using\s+NODE_MODULE_VERSION (\d+)/.exec(error?.message) ?? [];
    if (error?.code !== 'ERR_DLOPEN_FAILED' || !built) throw error;
    const message =
      `${binary} was built for ${lineOf(built)}. ` +
      `This is Node ${process.versions.node} (NODE_MODULE_VERSION ${process.versions.modules})`;
    throw failure(message, folder, { code: error.code, cause: error });
  }
}

module.exports = load;
