'use strict';

const { execFileSync } = require('node:child_process');
const path = require('node:path');

const mapValues = (object, change) =>
  Object.fromEntries(Object.entries(object).map(([key, value]) => [key, change(value, key)]));

function summarise(samples) {
  const sorted = samples.toSorted((a, b) => a - b);
  const middle = sorted.length / 2;
  const median = (sorted[Math.ceil(middle) - 1] + sorted[Math.floor(middle)]) / 2;
  return { median, min: sorted[0], max: sorted.at(-1) };
}

/**
 * Takes a sample of every contender in each round, after one round to warm up; each round begins
 * with another contender. Returns summaries of what the samples consist of: figure -> name -> summary.
 */
async function interleave(names, rounds, sample) {
  const samples = Object.fromEntries(names.map((name) => [name, []]));
  for (let round = 0; round <= rounds; round++) {
    for (let i = 0; i < names.length; i++) {
      const name = names[(i + round) % names.length];
      const figures = await sample(name);
      if (round > 0) samples[name].push(figures);
    }
  }
  const summariesOf = (figure) =>
    mapValues(samples, (ofName) => summarise(ofName.map((figures) => figures[figure])));
  return mapValues(samples[names[0]][0], (_, figure) => summariesOf(figure));
}

/** Runs what child.js takes in a fresh process and returns what it prints. */
function inChild(work, env = {}) {
  const args = ['--expose-gc', path.join(__dirname, 'child.js'), JSON.stringify(work)];
  return JSON.parse(execFileSync(process.execPath, args, { env: { ...process.env, ...env } }));
}

module.exports = { mapValues, interleave, inChild };
