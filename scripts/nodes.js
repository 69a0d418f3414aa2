'use strict';

// Nodes of other lines, from npm, in `.cache`.

const fs = require('node:fs');
const path = require('node:path');

const { cache } = require('./copy');
const { nodeFolder, run } = require('./toolchain');

/** The folder of a Node of the given line, with its headers, fetched when it is not there. */
function fetchNode(major, arch = 'x64') {
  const folder = path.join(cache, arch === 'x64' ? `node-${major}` : `node-${major}-${arch}`);
  if (fs.existsSync(folder)) return folder;
  fs.mkdirSync(cache, { recursive: true });
  const fresh = fs.mkdtempSync(path.join(cache, 'fetch-'));
  run('npm', ['pack', '--silent', '--pack-destination', fresh, `node-linux-${arch}@${major}`]);
  const [archive] = fs.readdirSync(fresh);
  run('tar', ['-xzf', archive, '--strip-components=1'], { cwd: fresh });
  fs.rmSync(path.join(fresh, archive));
  if (fs.existsSync(folder))
    fs.rmSync(fresh, { recursive: true }); // Fetched by another meanwhile.
  else fs.renameSync(fresh, folder);
  return folder;
}

/** The same, but that the Node that runs is not fetched if it has its headers. */
function nodeOf(major, arch = 'x64') {
  const runs = process.versions.node.startsWith(`${major}.`) && process.arch === arch;
  return (runs && nodeFolder()) || fetchNode(major, arch);
}

module.exports = { fetchNode, nodeOf };
