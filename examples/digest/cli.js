'use strict';

const { digest } = require('.');

const barWidth = 30;

/** A bar for each path on a terminal, drawn anew with every change; nothing elsewhere. */
function progressBars(paths, stream) {
  if (!stream.isTTY || paths.length >= stream.rows) return () => {};
  const percents = paths.map(() => 0);
  const line = (path, i) => {
    const done = Math.floor((percents[i] / 100) * barWidth);
    const bar = `[${'#'.repeat(done)}${'.'.repeat(barWidth - done)}]`;
    return `${bar} ${String(percents[i]).padStart(3)}% ${path}`.slice(0, stream.columns - 1);
  };
  const draw = () => stream.write(paths.map((path, i) => `\x1b[2K${line(path, i)}\n`).join(''));
  draw();
  return (i, percent) => {
    percents[i] = percent;
    stream.write(`\x1b[${paths.length}A`);
    draw();
  };
}

/** Prints the digest of every file as sha256sum does; resolves to the exit status. */
module.exports = async function main([algorithm, ...paths]) {
  if (paths.length === 0) {
    console.error('Usage: node . ALGORITHM FILE...');
    return 2;
  }
  const show = progressBars(paths, process.stderr);
  const tasks = paths.map(async (path, i) => {
    const text = await digest(algorithm, path, { onProgress: (percent) => show(i, percent) });
    show(i, 100); // An empty file tells no progress.
    return text;
  });
  let failed = 0;
  for (const [i, { value, reason }] of (await Promise.allSettled(tasks)).entries()) {
    if (!reason) {
      console.log(`${value}  ${paths[i]}`);
    } else {
      console.error(`${reason.code}: ${reason.message}`);
      failed = 1;
    }
  }
  return failed;
};
