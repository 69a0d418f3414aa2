'use strict';

const { isMainThread } = require('node:worker_threads');

// Jobs belong to the process's default loop, which runs on the main thread alone.
if (!isMainThread) throw new Error('echo cannot be loaded in a Worker: load it in the main thread');

require('zaxbase/runtime').install();

module.exports = require('./build/Release/echo.node');
