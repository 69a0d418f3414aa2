'use strict';

const width = 40;

/** Shows texts that end in a percentage: as a bar on a terminal, as plain lines elsewhere. */
function progressBar(stream) {
  return {
    update(text) {
      const percent = Number(/(\d+)%$/.exec(text)[1]);
      if (!stream.isTTY) return void stream.write(`${text}\n`);
      const done = Math.round((percent / 100) * width);
      stream.write(`\r[${'#'.repeat(done)}${'.'.repeat(width - done)}] ${text} `);
    },
    end() {
      if (stream.isTTY) stream.write('\n');
    },
  };
}

module.exports = { progressBar };
