'use strict';

const { build, ensureModules, run } = require('./toolchain');

ensureModules();
build('echo');
run(process.execPath, ['demo']);
