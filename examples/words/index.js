'use strict';

const runtime = require('zaxbase/runtime');

runtime.install();
const addon = require('./build/Release/words.node');

const start = runtime.promisify(addon.words);

/** A promise for how often each word occurs in the files: an object of counts. */
const words = (files, options) => start(files, options);

/** The same, at once. */
function wordsSync(files, options) {
  let counts;
  addon.wordsSync(files, options, (_, result) => {
    counts = result;
  });
  return counts;
}

module.exports = { words, wordsSync };
