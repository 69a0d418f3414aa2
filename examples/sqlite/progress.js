'use strict';

const width = 30;

/** Shows percentages under a title: as a bar on a terminal, as a few plain lines elsewhere. */
module.exports = function progressOf(title, stream) {
  let shown = -1;
  return (percent) => {
    const step = stream.isTTY ? 1 : 25;
    const rounded = Math.floor(Math.min(100, percent) / step) * step;
    if (rounded <= shown) return;
    shown = rounded;
    if (!stream.isTTY) return void stream.write(`${title}: ${shown}%\n`);
    const done = Math.floor((shown / 100) * width);
    const bar = `[${'#'.repeat(done)}${'.'.repeat(width - done)}]`;
    stream.write(
      `\r\x1b[2K${bar} ${String(shown).padStart(3)}% ${title}${shown < 100 ? '' : '\n'}`,
    );
  };
};
