'use strict';

// The same add-on in the main thread and in Workers, before and after each other, and what is left
// when a thread ends. In processes of their own: each begins with a library that nobody has loaded.

const assert = require('node:assert/strict');
const { test } = require('node:test');

const { run } = require('../support');

const file = JSON.stringify(require.resolve('../build/Release/plain.node'));

/** What a program prints in a process of its own, and its exit status. */
async function inProcess(code) {
  const script = `
    const { once } = require('node:events');
    const { Worker } = require('node:worker_threads');
    const load = () => (delete require.cache[${file}], require(${file}));
    const begin = (code) => new Worker(
      'const { parentPort } = require("node:worker_threads");' +
      'const plain = require(' + ${JSON.stringify(file)} + ');' + code, { eval: true });
    const end = (code) => once(begin(code), 'exit');
    (async () => { ${code} })();`;
  const { status, stdout, stderr } = await run(process.execPath, ['-e', script]);
  return [stdout.trim(), status, stderr].join(' ').trim();
}

test('Workers before and after the main thread, and beside it', async () => {
  const printed = await inProcess(`
    const add = 'process.exitCode = plain.add(1)';
    const codes = [await end(add), await end(add)];
    const first = load();
    codes.push(...(await Promise.all([end(add), end(add)])));
    const second = load();
    codes.push(await end(add));
    console.log(codes.join(), first.add(1), second.add(2), load().add(3), first.destroyed());`);
  assert.equal(printed, '11,11,11,11,11 11 12 13 5 0');
});

test('what outlives its Worker, and its process', async () => {
  const printed = await inProcess(`
    await end(\`parentPort.postMessage(plain.owned('y'.repeat(1e6)));
      plain.keep(() => 1, Buffer.alloc(1)); plain.keep(plain.add, Buffer.alloc(1e5, 7))\`);
    const plain = load();
    try { plain.callKept(); } catch (error) { console.log(error.code); }
    console.log(plain.release());
    plain.keep(() => 1, Buffer.alloc(1));`);
  assert.equal(printed, 'EFAILED\n7 0');
  const exit = 'load().same.points(Array(20).fill({ get x() { process.exit(3); } }))';
  assert.equal(await inProcess(`load().keep(() => 1, Buffer.alloc(1)); ${exit}`), '3');
});

test('a Worker that is terminated in a conversion, or in a callback', async () => {
  const printed = await inProcess(`
    const row = '{ get x() { parentPort.postMessage("in"); for (;;); } }';
    const begins = 'parentPort.postMessage("in");';
    const calls = ['points(Array(20).fill(' + row + '))', 'points([' + row + '])', 'map(' + row + ')']
      .map((call) => 'plain.same.' + call)
      .concat(['', 'system', 'zax', 'std', 'int'].map((how) => \`plain.swallow(() => (\${row}).x, '\${how}')\`))
      .concat(begins + 'plain.same.points(Array(5e6).fill({ x: 1, on: true }))');
    for (const call of calls) {
      const worker = begin(call);
      await once(worker, 'message');
      console.log(await worker.terminate());
    }
    console.log(load().add(1));`);
  assert.equal(printed, `${'1\n'.repeat(9)}11 0`);
});

test('a conversion deep in the stack of a Worker', async () => {
  const printed = await inProcess(`
    const worker = begin(\`
      const cycle = { nodes: [] };
      cycle.nodes.push(cycle);
      const codes = new Set();
      const sink = (depth) => {
        try { if (depth % 100 === 0) plain.same.node(cycle); } catch (error) { codes.add(error.name); }
        sink(depth + 1);
      };
      try { sink(0); } catch (error) { codes.add(error.name); }
      parentPort.postMessage([...codes].join());\`);
    console.log(...await once(worker, 'message'));`);
  assert.equal(printed, 'ZaxBindingError,RangeError 0');
});
