'use strict';

// Draws docs/benchmark.svg from the results of Node 26: each contender's figures as ratios to raw,
// on a logarithmic scale. Also on its own: node bench/lib/chart.js

const fs = require('node:fs');
const path = require('node:path');

const results = path.join(__dirname, '../results/node-26.json');
const target = path.join(__dirname, '../../docs/benchmark.svg');

/** The rows that are drawn, and their labels. */
const bars = {
  'S1 8 bytes': 'Call, 8 bytes',
  'S1 1 KiB': 'Call, 1 KiB',
  'S2 failing call': 'Call that fails',
  'S3 64 in flight, pool of 1: processor': 'Job, 64 in flight',
  'S3 1024 in flight, pool of 1: processor': 'Job, 1024 in flight',
  'S4 text: time': 'Progress, time',
  'S4 text: processor': 'Progress, processor',
  'S4 growth': 'Progress, memory',
  'S4 latency, p50': 'Progress, latency',
  'S5 throwing job: processor': 'Job that throws',
};
const colours = { zax: '#0969da', nan: '#9a6700', napi: '#8250df' };
const names = Object.keys(colours);

const [left, right, top] = [170, 770, 64];
const barHeight = 11;
const groupHeight = names.length * barHeight + 14;

const text = (x, y, attributes, content) =>
  `<text x="${x}" y="${y}" ${attributes}>${content}</text>`;

function draw({ node, rows }) {
  const groups = Object.entries(bars).map(([name, label]) => {
    const { figures } = rows.find(({ scenario, what }) => `${scenario} ${what}` === name);
    return [label, names.map((contender) => figures[contender].median / figures.raw.median)];
  });
  const ratios = groups.flatMap(([, ofGroup]) => ofGroup);
  const lowest = Math.min(0.5, ...ratios) / 1.1;
  const scale = (right - left) / Math.log(Math.max(4, ...ratios) / lowest);
  const at = (ratio) => Math.round(left + scale * Math.log(ratio / lowest));
  const bottom = top + groups.length * groupHeight;

  const ticks = [1 / 64, 1 / 16, 1 / 4, 1 / 2, 1, 2, 4, 8, 16];
  const grid = ticks
    .filter((tick) => tick >= lowest && at(tick) <= right)
    .map((tick) => {
      const colour = tick === 1 ? '#57606a' : '#d0d7de';
      const label = tick < 1 ? `1/${1 / tick}` : tick;
      return (
        `<path d="M${at(tick)} ${top - 8}V${bottom}" stroke="${colour}"/>` +
        text(at(tick), top - 14, 'text-anchor="middle" fill="#57606a"', label)
      );
    });
  const drawBar = (ratio, y, name) => {
    const [from, to] = [at(1), at(ratio)].sort((a, b) => a - b);
    const size = `width="${Math.max(1, to - from)}" height="${barHeight - 1}"`;
    return (
      `<rect x="${from}" y="${y}" ${size} fill="${colours[name]}"/>` +
      text(to + 4, y + barHeight - 2, 'font-size="9" fill="#57606a"', ratio.toFixed(2))
    );
  };
  const drawn = groups.flatMap(([label, ofGroup], group) => {
    const y = top + group * groupHeight;
    const title = text(left - 10, y + 2 * barHeight - 2, 'text-anchor="end" fill="#24292f"', label);
    return [title, ...ofGroup.map((ratio, i) => drawBar(ratio, y + i * barHeight, names[i]))];
  });
  const legend = names.map((name, i) => text(left + i * 60, 24, `fill="${colours[name]}"`, name));
  const caption = `hand-written V8 and libuv = 1, less is better, Node ${node}`;
  return [
    `<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 ${right + 40} ${bottom + 10}" ` +
      'font-family="sans-serif" font-size="12">',
    `<title>${caption}</title>`,
    '<rect width="100%" height="100%" fill="#ffffff"/>',
    ...legend,
    text(right, 24, 'text-anchor="end" fill="#57606a"', caption),
    ...grid,
    ...drawn,
    '</svg>\n',
  ].join('\n');
}

const write = () => fs.writeFileSync(target, draw(JSON.parse(fs.readFileSync(results, 'utf8'))));

if (require.main === module) write();

module.exports = { write };
