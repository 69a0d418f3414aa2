'use strict';

// An add-on's TypeScript declarations, which it knows itself.

const fs = require('node:fs');
const path = require('node:path');
const { parseArgs } = require('node:util');

const { load } = require('./load');

/** The exports of a binary that has its backend, or of the add-on in the current folder. */
function exportsOf(file) {
  if (file === undefined) return load('.');
  const binary = path.resolve(file);
  if (!fs.existsSync(binary)) throw new Error(`There is no ${binary}: build the add-on first`);
  const module = { exports: {} };
  try {
    process.dlopen(module, binary);
  } catch (error) {
    throw new Error(`${binary} cannot be loaded: ${error.message}`, { cause: error });
  }
  return module.exports;
}

function declarationsOf(file) {
  const declarations = exportsOf(file)?.[Symbol.for('zaxbase.declarations')];
  if (declarations) return declarations();
  throw new Error(
    `${file ?? 'The add-on'} has no declarations: it does not register with ZAX_MODULE`,
  );
}

/** Whether a file has a text, where not it is said what to do. */
function isCurrent(file, text) {
  if (fs.existsSync(file) && fs.readFileSync(file, 'utf8') === text) return true;
  console.error(`${file} is not what the add-on declares. To write it anew: npm run types`);
  return false;
}

/**
 * Prints the declarations, writes them to a file (--write FILE) or compares them with one (--check FILE).
 * Returns the exit status.
 */
function types(...args) {
  const options = { write: { type: 'string' }, check: { type: 'string' } };
  const { values, positionals } = parseArgs({ args, options, allowPositionals: true });
  if (positionals.length > 1) return undefined;
  let text;
  try {
    text = declarationsOf(positionals[0]);
  } catch ({ message }) {
    console.error(message);
    return 1;
  }
  if (values.check !== undefined) return isCurrent(values.check, text) ? 0 : 1;
  if (values.write !== undefined) fs.writeFileSync(values.write, text);
  else process.stdout.write(text);
  return 0;
}

module.exports = { types };
