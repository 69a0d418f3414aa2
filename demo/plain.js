'use strict';

// Shows plain C++ functions as JavaScript calls them, and how they refuse what they cannot take.

const { inspect } = require('node:util');
const { load } = require('zaxbase/runtime');
const { heading, table } = require('./table');

const weather = load(__dirname);

const readings = [
  { station: 'north', celsius: 4.26, sky: 'rain' },
  { station: 'south', celsius: 11.5 },
];

/** A call as a reader writes it. */
const textOf = (call) => /=> (?:weather\.)?(.*)$/s.exec(call)[1];

function resultOf(call) {
  return [textOf(call), inspect(call(), { breakLength: Infinity })];
}

/** What a call throws. */
function refusalOf(call) {
  try {
    call();
  } catch ({ code, name, message }) {
    return [textOf(call), code ?? name, message];
  }
  throw new Error(`${call} was not refused`);
}

module.exports = function plain() {
  heading('Plain C++ functions');
  const calls = [
    () => weather.warmest(readings),
    () => weather.byStation(readings),
    () => weather.byStation(readings, 1),
    () => weather.filter(readings, ({ sky }) => !sky),
    () => weather.checksum(Buffer.from('abc')),
    () => weather.freezing,
  ];
  console.log(table({ call: 43, result: 70 }, calls.map(resultOf)));

  heading('What they refuse');
  const refused = [
    () => weather.warmest(),
    () => weather.warmest([]),
    () => weather.warmest([...readings, { station: 'west' }]),
    () => weather.warmest([{ ...readings[0], sky: 'snow' }]),
    () => weather.byStation(readings, 1.5),
    () => weather.filter(readings, () => 'yes'),
    () => weather.filter(readings, () => JSON.parse('')),
    () => weather.checksum('abc'),
    () => weather.sizeOf('/no/such/file'),
  ];
  console.log(table({ call: 43, code: 11, message: 60 }, refused.map(refusalOf)));
};
