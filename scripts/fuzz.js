'use strict';

// Fuzzes the error texts: `node scripts/fuzz.js [SECONDS]`, a minute by default. What it learns goes
// to `.cache`; the seeds stay as they are.

const fs = require('node:fs');
const path = require('node:path');

const { cache } = require('./copy');
const { build, ensureModules, ensurePackages, run } = require('./toolchain');

const seconds = Number(process.argv[2] ?? 60);

ensureModules();
ensurePackages('clang', 'fuzzer');
const flags = '-g -O1 -fno-sanitize-recover=all -fsanitize=address,undefined';
const env = {
  CC: 'clang',
  CXX: 'clang++',
  LINK: 'clang++',
  CXXFLAGS: `${flags},fuzzer-no-link`,
  LDFLAGS: `${flags},fuzzer`,
};
build('test/fuzz', { env });

const learned = path.join(cache, 'fuzz-corpus');
fs.mkdirSync(learned, { recursive: true });
run('test/fuzz/build/Release/fuzz', [
  `-max_total_time=${seconds}`,
  '-max_len=4096',
  '-timeout=10',
  '-close_fd_mask=2', // What does not fit is reported on standard error, a great many times.
  '-print_final_stats=1',
  learned,
  'test/fuzz/corpus',
]);
