'use strict';

// The class of errors. There is one for the realm, on the main global object under a registered
// symbol: whoever comes first, native code or this file, runs the script that makes it.

const fs = require('node:fs');
const path = require('node:path');
const vm = require('node:vm');

const symbol = Symbol.for('zaxbase.ZaxBindingError');
const mainGlobal = vm.runInThisContext('globalThis');

if (!mainGlobal[symbol]) {
  const header = fs.readFileSync(path.join(__dirname, 'zax-v8-script.h'), 'utf8');
  const [, script] = /errorClassScript\[\] = R"script\((.*?)\)script"/s.exec(header);
  Object.defineProperty(mainGlobal, symbol, {
    value: vm.runInThisContext(script),
    writable: true,
    configurable: true,
  });
}

module.exports = mainGlobal[symbol];
