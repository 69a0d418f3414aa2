'use strict';

// For build files: where the framework is. Paths are relative to the caller's folder, as gyp wants
// them; those in `flags` are absolute, because the compiler runs elsewhere.

const fs = require('node:fs');
const path = require('node:path');

const prebuilt = require('./prebuilt');

const folder = path.relative(process.cwd(), __dirname) || '.';

/** A path as it must stand in `flags`: gyp splits the text, and then the shell does. */
const escape = (file) => file.replace(/[^\w./@+-]/g, '\\\\\\$&');

const here = escape(__dirname);

/**
 * A file that stands for one of the framework's units among an add-on's sources. Asking for it writes
 * it, into the `build` folder: gyp puts an object file as far outside of that folder as its source is.
 */
function unit(name) {
  const file = path.join('build', name);
  if (!fs.existsSync(file)) {
    fs.mkdirSync('build', { recursive: true });
    fs.writeFileSync(file, `#include <${name}>\n`);
  }
  return file;
}

/** Whether make and the shell can take a path as it is. */
const isPlain = (file) => /^[\w./@+-]+$/.test(file);

/**
 * A file that stands for prebuilt parts of the framework among an add-on's sources: a script that tells
 * the linker to take them. Undefined where the framework must be compiled, also because the author asks
 * for that or has flags for the compiler in the environment.
 */
function prebuiltUnit(name, options) {
  const { ZAXBASE_COMPILE, CPPFLAGS, CXXFLAGS } = process.env;
  // Absolute: gyp takes a path to an object file as relative to `build`, unlike all others.
  const file = path.resolve('build', `${name}.o`);
  if (ZAXBASE_COMPILE || CPPFLAGS || CXXFLAGS || !isPlain(file)) return undefined;
  const parts = prebuilt.objects(options);
  if (!parts) return undefined;
  const state = parts.map((part) => fs.statSync(part)).map(({ size, mtimeMs }) => [size, mtimeMs]);
  const quoted = parts.map((part) => JSON.stringify(part)).join(' ');
  const script = `/* ${module.exports.version} ${state} */ INPUT(${quoted})\n`;
  const written = fs.existsSync(file) && fs.readFileSync(file, 'utf8');
  if (written !== script) fs.writeFileSync(file, script);
  return file;
}

module.exports = {
  include_dir: folder,
  targets: `${path.join(folder, 'zaxbase.gyp')}:zaxbase`,
  version: require('./package.json').version,

  /** The framework, for an add-on on zax.h; with ZAXBASE_SPLIT only its half without V8. */
  get source() {
    const split = Boolean(process.env.ZAXBASE_SPLIT);
    const name = split ? 'zaxbase-native' : 'zaxbase';
    return prebuiltUnit(name, { split }) ?? unit(`${name}.cpp`);
  },

  /** The framework, for an add-on with jobs by hand. */
  get frameSource() {
    return unit('zaxbase-frame.cpp');
  },

  flags: [
    `-I${here}`,
    '-isystem',
    escape(path.dirname(require.resolve('nan'))),
    '-fexceptions',
    '-frtti',
    '-fvisibility=hidden',
    // Linked with --gc-sections an add-on carries only what it uses.
    '-ffunction-sections',
    '-fdata-sections',
    // node.h's NODE_MODULE casts the registration function, whatever its parameters.
    '-Wno-cast-function-type',
    // In errors the add-on's own files begin with its name, and the framework's with its folder.
    '-fmacro-prefix-map=../=>(_target_name)/',
    `-fmacro-prefix-map=${here}/=libzaxbase/`,
  ],
};
