'use strict';

// Runs a task in a process of its own and prints the figures: of one contender, or with `rounds` the
// summary of several. The task is in the only argument, as JSON.

const fs = require('node:fs');

const { load } = require('./contenders');
const { interleave } = require('./rounds');
const tasks = require('./tasks');

const { names, rounds, task, options } = JSON.parse(process.argv[2]);
const contenders = load();
const run = async (name) => tasks[task](contenders[name], options);

(rounds ? interleave(names, rounds, run) : run(names[0])).then((figures) => {
  fs.writeSync(1, JSON.stringify(figures));
  process.exit(); // The framework's queue of notifications keeps the event loop alive.
});
