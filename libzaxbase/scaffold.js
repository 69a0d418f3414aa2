'use strict';

// Making an add-on from the template.

const fs = require('node:fs');
const { isBuiltin } = require('node:module');
const path = require('node:path');
const { parseArgs } = require('node:util');

const template = path.join(__dirname, 'template');
/** What has another name in the template: npm leaves out a .gitignore, and reads a manifest in a folder. */
const renamed = { gitignore: '.gitignore', 'manifest.json': 'package.json' };

const validName = /^(@[a-z0-9][a-z0-9._-]*\/)?[a-z0-9][a-z0-9._-]*$/;

function isFree(folder) {
  const found = fs.statSync(folder, { throwIfNoEntry: false });
  return !found || (found.isDirectory() && fs.readdirSync(folder).length === 0);
}

/** Why no add-on of a name can be made here, or undefined. */
function problemOf(name) {
  if (!validName.test(name) || name.length > 214) {
    return `"${name}" is no valid package name: use lower-case letters, digits and "-", "_", "."`;
  }
  if (isBuiltin(name) || /(^|\/)(zaxbase|node_modules)$/.test(name)) return `"${name}" is taken`;
  const folder = path.basename(name);
  return isFree(folder) ? undefined : `The folder ${folder} exists and is not empty`;
}

/** Copies a part of the template for the add-on of a name into its folder. */
function copy(part, name) {
  const from = path.join(template, part);
  const baseName = path.basename(name);
  for (const entry of fs.readdirSync(from, { recursive: true, withFileTypes: true })) {
    if (!entry.isFile()) continue;
    const source = path.join(entry.parentPath, entry.name);
    const relative = path.relative(from, source);
    const file = renamed[relative] ?? relative;
    const text = fs.readFileSync(source, 'utf8');
    fs.mkdirSync(path.dirname(path.join(baseName, file)), { recursive: true });
    fs.writeFileSync(
      path.join(baseName, file),
      text.replaceAll('ADDON_PACKAGE', name).replaceAll('ADDON_NAME', baseName),
    );
  }
}

/** Makes an add-on: NAME, and --typescript for its script side in TypeScript. Returns the exit status. */
function create(...args) {
  const options = { typescript: { type: 'boolean', default: false } };
  const { values, positionals } = parseArgs({ args, options, allowPositionals: true });
  if (positionals.length !== 1) return undefined;
  const [name] = positionals;
  const problem = problemOf(name);
  if (problem) {
    console.error(problem);
    return 1;
  }
  copy('common', name);
  copy(values.typescript ? 'typescript' : 'javascript', name);
  console.log(`The add-on stands in ${path.basename(name)}. To build and test it:

  cd ${path.basename(name)}
  npm install
  npm test`);
  return 0;
}

module.exports = { create };
