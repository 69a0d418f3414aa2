'use strict';

// Shows C++ functions on the thread pool, as JavaScript awaits them.

const { load } = require('zaxbase/runtime');
const { progressBar } = require('./progress-bar');
const { heading } = require('./table');

const { forecast } = load(__dirname);

const start = { x: 1, y: 1, z: 1 };
const shown = ({ x, y, z }) => [x, y, z].map((value) => value.toFixed(3)).join(' ');

module.exports = async function tasks() {
  heading('A task that tells its progress');
  const bar = progressBar(process.stdout);
  const onProgress = (percent) => bar.update(`forecast ${percent}%`);
  const state = await forecast(start, 1e8, { onProgress });
  bar.end();
  console.log('forecast(start, 1e8) resolved to', shown(state));

  heading('Two at once, from places that are almost the same');
  const states = [start, { ...start, x: 1.001 }].map((from) => forecast(from, 1e8));
  console.log((await Promise.all(states)).map(shown).join(', '));

  heading('A task that takes too long');
  const begin = performance.now();
  const signal = AbortSignal.timeout(100);
  const reason = await forecast(start, 4e9, { signal }).catch((error) => error);
  console.log(`rejected after ${Math.round(performance.now() - begin)} ms: ${reason}`);
};
