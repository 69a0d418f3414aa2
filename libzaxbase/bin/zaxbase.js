#!/usr/bin/env node
'use strict';

// zaxbase new NAME: makes an add-on from the template, in a folder of that name.
// zaxbase types FILE.node: prints the TypeScript declarations of an add-on on ZAX_MODULE.
// In the folder of an add-on on ZAX_MODULE:
// zaxbase prebuild [OPTION...]: builds it for publishing, as one binary for every Node.
// zaxbase install: builds it, unless it was published with a binary that can be loaded here.
// zaxbase backend: compiles what such a binary needs for the Node that runs, where that is missing.

const fs = require('node:fs');
const { isBuiltin } = require('node:module');
const path = require('node:path');

const { backend, install, prebuild } = require('../shipping');

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

/** Makes an add-on. */
function create(name) {
  checkName(name);
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

/** Prints the declarations that the add-on itself knows. */
function types(file) {
  const binary = path.resolve(file);
  if (!fs.existsSync(binary)) fail(`There is no ${binary}: build the add-on first`);
  const declarations = exportsOf(binary)?.[Symbol.for('zaxbase.declarations')];
  if (!declarations) fail(`${binary} has no declarations: it does not register with ZAX_MODULE`);
  process.stdout.write(declarations());
}

function exportsOf(binary) {
  const module = { exports: {} };
  try {
    process.dlopen(module, binary);
  } catch (error) {
    fail(`${binary} cannot be loaded: ${error.message}`);
  }
  return module.exports;
}

/** Each command and how many arguments it takes; what it returns is the exit status. */
const commands = {
  new: [create, 1, 1],
  types: [types, 1, 1],
  prebuild: [prebuild, 0, Infinity],
  install: [install, 0, 0],
  backend: [backend, 0, 0],
};

const usage =
  'Usage: zaxbase new NAME, zaxbase types FILE.node, zaxbase prebuild, zaxbase install or zaxbase backend';

const [name, ...args] = process.argv.slice(2);
const [command, least, most] = Object.hasOwn(commands, name ?? '') ? commands[name] : [];
if (!command || args.length < least || args.length > most) fail(usage);
process.exitCode = command(...args);
