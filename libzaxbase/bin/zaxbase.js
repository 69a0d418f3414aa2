#!/usr/bin/env node
'use strict';

const { types } = require('../declarations');
const { doctor } = require('../doctor');
const { create } = require('../scaffold');
const { backend, install, prebuild } = require('../shipping');

const usage = `Usage:
  zaxbase new NAME [--typescript]   makes an add-on, in a folder of that name

In the folder of an add-on:
  zaxbase doctor                    says what is missing or does not fit, and what mends it
  zaxbase types [FILE.node] [--write FILE | --check FILE]
                                    prints its TypeScript declarations, writes or compares them
  zaxbase prebuild [OPTION...]      builds it for publishing, as one binary for every Node
  zaxbase install                   builds it, unless it has a binary that can be loaded here
  zaxbase backend                   compiles what such a binary needs for the Node that runs`;

const takesNothing =
  (command) =>
  (...args) =>
    args.length === 0 ? command() : undefined;

/** Each command takes its arguments and returns the exit status, or undefined where they are wrong. */
const commands = {
  new: create,
  doctor: takesNothing(doctor),
  types,
  prebuild,
  install: takesNothing(install),
  backend: takesNothing(backend),
};

/** The exit status of a command; undefined where there is no such command, or it is called wrongly. */
function run([name, ...args]) {
  try {
    return Object.hasOwn(commands, name ?? '') ? commands[name](...args) : undefined;
  } catch (error) {
    if (error.code?.startsWith('ERR_PARSE_ARGS_')) return undefined;
    throw error;
  }
}

const status = run(process.argv.slice(2));
if (status === undefined) console.error(usage);
process.exitCode = status ?? 1;
