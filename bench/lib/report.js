'use strict';

// The results as a table, in Markdown that also reads well in a terminal.

const { names } = require('./contenders');

const digits = (value) => (value >= 100 ? value.toFixed(0) : value.toPrecision(3));

const none = '–';

function cell(figure) {
  if (!figure) return none;
  const { median, min, max } = figure;
  return min === max ? digits(median) : `${digits(median)} (${digits(min)}–${digits(max)})`;
}

/** How many times what `to` takes the framework takes. */
function ratio({ figures }, to) {
  const { zax, nan, napi } = figures;
  const other = to === 'peer' ? Math.min(nan.median, napi.median) : figures[to].median;
  return zax.median / other;
}

function verdict(row, { to, most, limit }) {
  const value = limit ? row.figures.zax.median : ratio(row, to);
  const than = to === 'peer' ? 'best peer' : to;
  const text = limit ? `≤ ${digits(limit)} ${row.unit}` : `≤ ${most} × ${than}`;
  return `${text}: ${value <= (limit ?? most) ? 'met' : `**missed** (${value.toFixed(3)})`}`;
}

function table(rows) {
  const header = ['Scenario', 'Unit', ...names, 'zax : raw', 'zax : best peer', 'Goals'];
  const lines = rows.map((row) => [
    `${row.scenario} ${row.what}`,
    row.unit,
    ...names.map((name) => cell(row.figures[name])),
    ...['raw', 'peer'].map((to) => (row.figures.raw ? ratio(row, to).toFixed(2) : none)),
    row.goals.map((goal) => verdict(row, goal)).join('; '),
  ]);
  const widths = header.map((_, i) =>
    Math.max(...[header, ...lines].map((line) => line[i].length)),
  );
  const format = (line) => `| ${line.map((text, i) => text.padEnd(widths[i])).join(' | ')} |`;
  return [header, widths.map((width) => '-'.repeat(width)), ...lines].map(format).join('\n');
}

module.exports = { table };
