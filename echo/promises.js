'use strict';

const { promisify } = require('zaxbase/runtime');
const echo = require('.');

const asyncEcho = promisify(echo.asyncEcho);

// A notification is the text with a suffix; the reply is the text itself.
const asyncEchoWithNotifications = promisify(echo.asyncEchoWithNotifications, {
  settles: (value, [, str]) => value === str,
});

module.exports = { asyncEcho, asyncEchoWithNotifications };
