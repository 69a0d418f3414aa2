#!/usr/bin/env node
'use strict';

// zaxbase new NAME: makes an add-on from the template, in a folder of that name.

const fs = require('node:fs');
const { isBuiltin } = require('node:module');
const path = require('node:path');

const template = path.join(__dirname, '../template');
const validName = /^(@[a-z0-9][a-z0-9._-]*\/)?[a-z0-9][a-z0-9._-]*$/;

/** Ends this process. */
function fail(message) {
  console.error(message);
  process.exit(1);
}

function checkName(name) {
  if (!validName.test(name) || name.length > 214) {
    fail(`"${name}" is no valid package name: use lower-case letters, digits and "-", "_", "."`);
  }
  if (isBuiltin(name) || /(^|\/)(zaxbase|node_modules)$/.test(name)) fail(`"${name}" is taken`);
}

function isFree(folder) {
  const found = fs.statSync(folder, { throwIfNoEntry: false });
  return !found || (found.isDirectory() && fs.readdirSync(folder).length === 0);
}

function create(name) {
  const baseName = path.basename(name);
  if (!isFree(baseName)) fail(`The folder ${baseName} exists and is not empty`);
  for (const entry of fs.readdirSync(template, { recursive: true, withFileTypes: true })) {
    if (!entry.isFile()) continue;
    const source = path.join(entry.parentPath, entry.name);
    // A package cannot carry a .gitignore: npm leaves it out.
    const file = path.relative(template, source).replace(/^gitignore$/, '.gitignore');
    const text = fs.readFileSync(source, 'utf8');
    fs.mkdirSync(path.dirname(path.join(baseName, file)), { recursive: true });
    fs.writeFileSync(
      path.join(baseName, file),
      text.replaceAll('ADDON_PACKAGE', name).replaceAll('ADDON_NAME', baseName),
    );
  }
  console.log(`The add-on stands in ${baseName}. To build and test it:

  cd ${baseName}
  npm install
  npm test`);
}

const [command, name, ...rest] = process.argv.slice(2);
if (command !== 'new' || name === undefined || rest.length > 0) fail('Usage: zaxbase new NAME');
checkName(name);
create(name);
