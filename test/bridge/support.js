'use strict';

const { bridge, repliesOf, thrownBy } = require('../support');

bridge.releaseLoop = (callback) => callback();

module.exports = { bridge, replyOf: (...args) => repliesOf(...args)[0][1], thrownBy };
