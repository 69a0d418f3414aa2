'use strict';

const { build, ensureModules, run } = require('./toolchain');

ensureModules();
build('echo');
build('demo');
run(process.execPath, ['demo']);
