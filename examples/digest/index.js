'use strict';

module.exports = require('zaxbase/runtime').load(__dirname);

if (require.main === module) {
  require('./cli')(process.argv.slice(2)).then((status) => (process.exitCode = status));
}
