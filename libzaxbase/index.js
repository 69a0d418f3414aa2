'use strict';

// For build files: where the framework is. Paths are relative to the caller's folder, as gyp wants
// them; those in `flags` are absolute, because the compiler runs elsewhere.

const fs = require('node:fs');
const path = require('node:path');

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

module.exports = {
  include_dir: folder,
  targets: `${path.join(folder, 'zaxbase.gyp')}:zaxbase`,
  version: require('./package.json').version,

  /** The framework, for an add-on on zax.h. */
  get source() {
    return unit('zaxbase.cpp');
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
