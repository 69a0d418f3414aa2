'use strict';

// What an author of an add-on needs, whether it is there and fits, and what mends it.

const { spawnSync } = require('node:child_process');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');

const { compilerMacros } = require('./prebuilt');

const { engines } = require('./package.json');

/** What each of the programs is called where it is installed from. */
const installers = {
  'apt-get': ['sudo apt-get install', { compiler: 'g++', make: 'make', python: 'python3' }],
  dnf: ['sudo dnf install', { compiler: 'gcc-c++', make: 'make', python: 'python3' }],
  zypper: ['sudo zypper install', { compiler: 'gcc-c++', make: 'make', python: 'python3' }],
  apk: ['sudo apk add', { compiler: 'g++', make: 'make', python: 'python3' }],
  pacman: ['sudo pacman -S', { compiler: 'gcc', make: 'make', python: 'python' }],
};

/** The first line that a command prints; undefined where it fails. */
function lineOf(command, ...args) {
  const { status, stdout } = spawnSync(command, args, { encoding: 'utf8' });
  return status === 0 ? stdout.split('\n')[0] : undefined;
}

const good = (found) => ({ found });
const bad = (found, mend) => ({ found, mend });

/** The command that installs a program. */
function installation(program) {
  const has = (name) => lineOf(name, '--version') !== undefined;
  const [command, names] = installers[Object.keys(installers).find(has) ?? 'apt-get'];
  return `${command} ${names[program]}`;
}

function checkNode() {
  const { node } = process.versions;
  const found = `${node}, ${process.platform}-${process.arch}`;
  const lines = engines.node.split(' || ');
  if (process.platform !== 'linux' || !['x64', 'arm64'].includes(process.arch)) {
    return bad(`${found} is not supported`, 'use Linux on x64 or arm64');
  }
  if (lines.includes(node.split('.')[0])) return good(found);
  return bad(`${found} is not supported`, `install Node ${lines.at(-1)}, or one of ${lines}`);
}

function checkCompiler() {
  const { __clang_major__: clang, __GNUC__: gcc } = compilerMacros({ header: 'string' });
  if (!gcc) return bad('none that compiles C++', installation('compiler'));
  const [name, version, least] = clang ? ['clang', clang, 14] : ['g++', gcc, 12];
  if (version >= least) return good(`${name} ${version}`);
  const mend = 'install g++ 12 or clang 14 and name it, as in: export CC=gcc-12 CXX=g++-12';
  return bad(`${name} ${version} is older than ${least}`, mend);
}

function checkMake() {
  const line = lineOf(process.env.MAKE ?? 'make', '--version');
  return line ? good(line) : bad('not found', installation('make'));
}

function checkPython() {
  const { npm_config_python, PYTHON = 'python3' } = process.env;
  const line = lineOf(npm_config_python || PYTHON, '--version');
  if (/^Python 3\.([89]|\d\d)/.test(line)) return good(line);
  return bad(line ? `${line} is older than 3.8` : 'not found', installation('python'));
}

/** The folder that is configured to have Node's headers, if one is. */
function nodeFolder() {
  const folder =
    process.env.npm_config_nodedir || lineOf('npm', 'config', 'get', 'nodedir', '--no-workspaces');
  return folder && !/^(undefined|null)$/.test(folder) ? folder : undefined;
}

/** Where node-gyp keeps what it has fetched. */
function headerCache() {
  const { npm_config_devdir, XDG_CACHE_HOME = path.join(os.homedir(), '.cache') } = process.env;
  return path.join(
    npm_config_devdir || path.join(XDG_CACHE_HOME, 'node-gyp'),
    process.versions.node,
  );
}

function checkHeaders() {
  const configured = nodeFolder();
  const folder = configured ?? headerCache();
  const mend = configured ? 'npm config delete nodedir' : 'npx node-gyp install';
  const file = path.join(folder, 'include/node/node_version.h');
  if (!fs.existsSync(file)) return bad(`none in ${folder}`, mend);
  const [, abi] = /define NODE_MODULE_VERSION (\d+)/.exec(fs.readFileSync(file, 'utf8')) ?? [];
  if (abi === process.versions.modules) return good(folder);
  return bad(`those in ${folder} are of another Node (NODE_MODULE_VERSION ${abi})`, mend);
}

/**
 * Why the add-on in the current folder cannot be loaded, or undefined; with `worker` only what a Worker adds
 * to that. In a process of its own, which may end by it.
 */
function failureOfLoading({ worker }) {
  const once = `require(${JSON.stringify(path.join(__dirname, 'load'))}).load('.')`;
  const twice = `new (require('worker_threads').Worker)(${JSON.stringify(once)}, { eval: true })`;
  const script = `
    const tell = ({ message }) => require('fs').writeSync(3, message);
    try { ${once} } catch (error) { ${worker ? '' : 'tell(error);'} process.exit(); }
    ${worker ? `${twice}.on('error', tell).on('exit', () => process.exit())` : 'process.exit()'}`;
  const options = { stdio: ['ignore', 'ignore', 'ignore', 'pipe'], encoding: 'utf8' };
  const { output, signal } = spawnSync(process.execPath, ['-e', script], options);
  return output[3] || (signal ? `loading it ends the process by ${signal}` : undefined);
}

function checkBinary() {
  const failure = failureOfLoading({ worker: false });
  if (!failure) return good('loads');
  const [message, cure = 'npx node-gyp rebuild'] = failure.split('\nTo build it: ');
  return bad(message, cure);
}

/** The C++ files below a folder; what is built or installed is not the author's. */
function sourcesIn(folder) {
  return fs.readdirSync(folder, { withFileTypes: true }).flatMap((entry) => {
    const file = path.join(folder, entry.name);
    if (entry.isFile()) return /\.(cc|cpp|cxx|h|hpp)$/.test(entry.name) ? [file] : [];
    const isOthers = /^(\.|build$|node_modules$)/.test(entry.name);
    return entry.isDirectory() && !isOthers ? sourcesIn(file) : [];
  });
}

/** Where a source registers in the form that loads in one thread only, or undefined. */
function placeOfRegistration() {
  for (const file of sourcesIn('.')) {
    const lines = fs.readFileSync(file, 'utf8').split('\n');
    const index = lines.findIndex((line) => /^\s*NODE_MODULE\s*\(/.test(line));
    if (index >= 0) return `${file}:${index + 1}`;
  }
  return undefined;
}

function checkWorkers() {
  const place = placeOfRegistration();
  const failure = place ? `NODE_MODULE in ${place}` : failureOfLoading({ worker: true });
  const mend = 'register with ZAX_MODULE in place of NODE_MODULE, then: npx node-gyp rebuild';
  return failure ? bad(`does not load there: ${failure}`, mend) : good('nothing against them');
}

const inFolderOfAddOn = () => fs.existsSync('binding.gyp') || fs.existsSync('prebuilds');

/** What is checked: its name, how, and when. */
const checks = [
  ['Node', checkNode],
  ['C++ compiler', checkCompiler],
  ['make', checkMake],
  ['Python 3', checkPython],
  ["Node's headers", checkHeaders],
  ['the add-on', checkBinary, inFolderOfAddOn],
  ['Workers', checkWorkers, inFolderOfAddOn],
];

/** Runs the checks and prints what they find. Returns the exit status: 1 where something is wrong. */
function doctor() {
  let status = 0;
  for (const [name, check, applies = () => true] of checks) {
    if (!applies()) continue;
    const { found, mend } = check();
    console.log(`${mend ? 'wrong' : 'ok'}`.padEnd(7) + `${name}: ${found}`);
    if (!mend) continue;
    status = 1;
    console.log(`       mend it: ${mend}`);
  }
  return status;
}

module.exports = { doctor };
