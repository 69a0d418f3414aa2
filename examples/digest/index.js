'use strict';

const runtime = require('zaxbase/runtime');

runtime.install();
const addon = require('./build/Release/digest.node');

/**
 * digest(algorithm, path, onProgress?): a promise for a file's digest in hexadecimal digits.
 * Notifications are numbers, the percentage done; the reply is a text.
 */
const digest = runtime.promisify(addon.digest, { settles: (value) => typeof value === 'string' });

module.exports = { digest };

if (require.main === module) {
  // The first notification keeps the event loop alive from then on, so the end is said.
  require('./cli')(process.argv.slice(2)).then(process.exit);
}
