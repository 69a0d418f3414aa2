'use strict';

// Installs all that any of the commands needs, which each of them otherwise does for itself.

const { allPackages, ensureModules, ensurePackages } = require('./toolchain');

ensureModules();
ensurePackages(...allPackages);
