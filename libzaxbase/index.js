'use strict';

// For build files: where the headers and the gyp target are, relative to the caller's folder as gyp
// wants them.

const path = require('node:path');

const folder = path.relative(process.cwd(), __dirname) || '.';

module.exports = {
  include_dir: folder,
  targets: `${path.join(folder, 'zaxbase.gyp')}:zaxbase`,
  version: require('./package.json').version,
};
