'use strict';

/** Breaks a text into lines of at most `width` characters, at blanks, "::" and "/" where it can. */
function wrap(text, width) {
  const lines = [''];
  for (const word of text.match(/.+?(?: |::|\/|_|$)/g) ?? []) {
    for (let rest = word; rest; rest = rest.slice(width)) {
      const piece = rest.slice(0, width);
      if ((lines.at(-1) + piece.trimEnd()).length > width) lines.push('');
      lines[lines.length - 1] += piece;
    }
  }
  return lines.map((line) => line.trimEnd());
}

/** Lays out rows of texts below column names; `columns` says each column's name and width. */
function table(columns, rows) {
  const widths = Object.values(columns);
  const line = (cells) => cells.map((cell, i) => cell.padEnd(widths[i])).join('  ');
  const row = (cells) => {
    const wrapped = cells.map((cell, i) => wrap(cell, widths[i]));
    const height = Math.max(...wrapped.map((lines) => lines.length));
    return Array.from({ length: height }, (_, y) => line(wrapped.map((lines) => lines[y] ?? '')));
  };
  const rule = line(widths.map((width) => '-'.repeat(width)));
  return [line(Object.keys(columns)), rule, ...rows.flatMap(row)]
    .map((text) => text.trimEnd())
    .join('\n');
}

const heading = (text) => console.log(`\n${text}\n${'-'.repeat(text.length)}`);

module.exports = { heading, table };
