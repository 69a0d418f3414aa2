'use strict';

const { promisify } = require('zaxbase/runtime');
const echo = require('.');

module.exports = {
  asyncEcho: promisify(echo.asyncEcho),

  // A notification is the text with a suffix; the reply is the text itself.
  asyncEchoWithNotifications: promisify(echo.asyncEchoWithNotifications, {
    settles: (value, [, str]) => value === str,
  }),
};
