'use strict';

module.exports = require('zaxbase/runtime').load(__dirname);
