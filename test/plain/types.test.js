'use strict';

// C++ classes as JavaScript classes: their shape, instances as values, their tasks and their end.

const assert = require('node:assert/strict');
const { test } = require('node:test');
const { Worker } = require('node:worker_threads');
const fc = require('fast-check');

const { shown, thrownBy } = require('../support');

const file = require.resolve('../build/Release/plain.node');
const { tasks, types } = require(file);
const { Store, Large, Point, values } = types;

/** What a call throws, or a promise rejects with, as "CODE: message". */
const failure = (fn) => shown(thrownBy(fn)).replace(/ \([^()]* in .*/, '');
const outcome = (promise) => promise.catch((error) => shown(error).replace(/ \([^()]* in .*/, ''));
const busy = (of) => `EBUSY: ${of}: a task of the Store has not settled yet`;

/** Lets garbage go, until no more than `most` Stores live. */
async function settledLiving(most) {
  for (let turn = 0; values.living() > most && turn < 100; ++turn) {
    globalThis.gc();
    await new Promise(setImmediate);
  }
  return values.living();
}

test('the shape of a class', () => {
  const descriptors = Object.getOwnPropertyDescriptors(Store.prototype);
  const { constructor, size, fixed, close, ...others } = descriptors;
  assert.equal(constructor.value, Store);
  assert.deepEqual([Store.name, Store.length, close.value.name], ['Store', 1, 'close']);
  assert.deepEqual([size.get.name, size.set.length, fixed.set], ['get size', 1, undefined]);
  for (const { enumerable } of [size, close, ...Object.values(others)]) assert(!enumerable);
  assert.equal(Object.getPrototypeOf(Large), Store);
  assert.equal(Object.getPrototypeOf(Large.prototype), Store.prototype);
  assert.equal(Store.prototype[Symbol.dispose], close.value);

  class Mine extends Store {
    constructor(...args) {
      super('mine', ...args);
      this.extra = this.add(1);
    }
  }
  const mine = new Mine(4);
  mine.size += 2;
  mine.name += '!';
  assert.deepEqual([mine.size, mine.extra, mine.name, mine.fixed], [7, 5, 'mine!', 7]);
  assert(mine instanceof Store && mine.self() === mine && mine.shared() === mine);
  assert.equal(Store.open('opened').size, 9);
  delete require.cache[file];
  assert.equal(require(file).types.Store, Store, 'loaded again');
});

test('what is refused', () => {
  const store = new Store('refusing', 2);
  const disposed = new Store('disposed');
  disposed.close();
  disposed.close();
  for (const [expected, call] of [
    [/^TypeError: Class constructor Store cannot be invoked without 'new'$/, () => Store('x')],
    [/^TypeError: Point has no constructor: native/, () => new Point(1)],
    [/^EBADARG: Store: argument 2 \(size\): integer .* got "x"$/, () => new Store('x', 'x')],
    [/^EUNKNOWN: a size below zero$/, () => new Store('x', -1)],
    [/^EBADARG: Store.name: argument 1 \(value\): string expected/, () => (store.name = 5)],
    [/^EBADARG: Bad argument number: expected 1, but got 0$/, () => store.add()],
    [
      /^EBADARG: size: argument 1 \(store\): instance of Store .* got null$/,
      () => values.size(null),
    ],
    [/^EBADARG: Large.twice: this: no instance of Large$/, () => Large.prototype.twice.call(store)],
    [
      /^EBADARG: stores: argument 1\[1\]: instance of Store expected/,
      () => values.stores([store, {}]),
    ],
    [
      /^EINVAL: unheld: result: a Store that no JavaScript object stands for/,
      () => values.unheld(),
    ],
    [/^EINVAL: none: result: null is no Store: return a std::optional/, () => values.none()],
    [/^EDISPOSED: Store.size: this: the Store has been disposed of$/, () => disposed.size],
    [/^EDISPOSED: size: argument 1 \(store\): the Store has been/, () => values.size(disposed)],
    [/^EBUSY: Store.close: this: the Store is being used$/, () => store.each(() => store.close())],
    [/^EUNKNOWN: not yet$/, () => new Store('stubborn').close()],
    [/^EBADARG: the C\+\+ type of Again is Other already$/, () => values.mistake(0)],
    [/^EBADARG: Late extends a class that is no type of the module yet$/, () => values.mistake(1)],
    [/^EBADARG: Other.x is defined twice$/, () => values.mistake(2)],
    [/^EBADARG: take: the module has no type .*Unknown: give it one/, () => values.mistake(3)],
    [/^EBADARG: Other.take: the module has no type .*Unknown: give/, () => values.mistake(4)],
    [/^EBADARG: give: the module has no type .*Unknown: give it one/, () => values.mistake(5)],
  ]) {
    const error = thrownBy(call);
    assert.match(error.details ? `${error.code}: ${error.message}` : String(error), expected);
  }
});

test('any receiver and any argument', async () => {
  const store = new Store('sound', 1);
  const members = Object.getOwnPropertyDescriptors(Store.prototype);
  delete members.constructor;
  const functions = Object.values(members).flatMap(({ value, get, set }) => [value, get, set]);
  const anything = fc.oneof(
    fc.anything({ withBigInt: true, withTypedArray: true, withNullPrototype: true }),
    fc.constantFrom(store, new Proxy(store, {}), Object.create(Store.prototype), Store.prototype),
    fc.constantFrom(values.plain(1), Promise.resolve(), new ArrayBuffer(4), globalThis, Store),
  );
  const call = (fn, receiver, args) => Reflect.apply(fn, receiver, args);
  const property = fc.asyncProperty(
    fc.constantFrom(...functions.filter(Boolean)),
    anything,
    fc.array(anything, { maxLength: 3 }),
    async (fn, receiver, args) => {
      const isOwn = receiver === store;
      try {
        await call(fn, isOwn ? new Store('fresh', 3) : receiver, args);
        assert(isOwn);
      } catch (error) {
        if (!isOwn || error.details) assert.match(error.code, /^(EBADARG|EUNKNOWN)$/);
      }
    },
  );
  await fc.assert(property, { numRuns: 2000 });
});

test('instances as values', () => {
  const [a, b] = [new Store('a', 1), new Store('b', 2)];
  assert.deepEqual([values.size(a), values.maybe(null), values.maybe(b) === b], [1, null, true]);
  assert.deepEqual([a.isSame(a), a.isSame(b)], [true, false]);
  const many = [b, a, b, new Store('c'), a, b, a];
  assert(values.stores(many).every((store, i) => store === many[i]));
  const holder = values.holder({ store: a, plain: values.plain(8) });
  assert(holder.store === a && holder.plain instanceof Point);
  assert.equal(values.number(holder.plain), 8);
  const large = new Large();
  assert.deepEqual([large.twice(), large.add(1), values.size(large)], [8, 5, 5]);
  assert(large.self() === large && values.maybe(large) === large && values.large().twice() === 8);
  values.keep(a);
  assert(values.kept() === a);
});

test('tasks of an object', async () => {
  const [store, other] = [new Store('a', 0), new Store('b', 0)];
  const order = [];
  const note = (name) => (value) => order.push(`${name} ${value}`);
  const controller = new AbortController();
  const many = [
    store.work(30, { onProgress: (value) => value === 1 && order.push('progress') }).then(note(1)),
    outcome(store.work(1e6, { signal: controller.signal })).then(note('aborted')),
    store.work(1).then(note(2)),
    values.both(store, other, 1).then(note('both')),
    values.both(other, store, 1).then(note('both')),
    store.work(1).then(note(3)),
    outcome(store.work(-1, 5)).then(note('refused')),
  ];
  assert.equal(
    failure(() => store.size),
    busy('Store.size: this'),
  );
  assert.equal(
    failure(() => (other.name = 'c')),
    busy('Store.name: this'),
  );
  assert.equal(
    failure(() => store.close()),
    busy('Store.close: this'),
  );
  assert.equal(
    failure(() => values.size(other)),
    busy('size: argument 1 (store)'),
  );
  assert.equal(await store.peek(0), 0);
  controller.abort('reason');
  await Promise.all(many);
  const refused = 'refused EBADARG: Store.work: argument 2 (options): object with options expected';
  const isBeside = (line) => /^(refused|aborted|progress)/.test(line);
  const beside = order.filter(isBeside).map((line) => line.replace(/, got.*/, ''));
  assert.deepEqual(beside.sort(), ['aborted reason', 'progress', refused]);
  const inTurn = order.filter((line) => !isBeside(line));
  assert.deepEqual(inTurn, ['1 1', '2 2', 'both 4', 'both 6', '3 5']);
  assert.deepEqual([store.size, other.size], [5, 2]);

  for (const [object, call, task] of [
    [store, 'each', 'work'],
    [values.plain(5), 'call', 'add'],
  ]) {
    let inside;
    object[call](() => (inside ??= object[task](1)));
    assert.equal(await inside, 6);
  }
  let meanwhile;
  store.whenClosed(() => (meanwhile = store.work(1)));
  store.close();
  const gone = 'EDISPOSED: Store.work: this: the Store has been disposed of';
  for (const late of [meanwhile, store.work(1)]) assert.equal(await outcome(late), gone);
  const queue = Array.from({ length: 100 }, () => other.work(1));
  assert.equal(await tasks.count(1, 0), 1);
  assert.equal(
    failure(() => other.size),
    busy('Store.size: this'),
    'the queue left a thread free',
  );
  await Promise.all(queue);
  assert.equal(other.size, 102);
});

test('an object lives as long as somebody needs it', async () => {
  const before = await settledLiving(0);
  const twice = (store) => [store.work(1), store.work(50)];
  const [first, second] = twice(new Store('working'));
  for (let i = 0; i < 100; ++i) new Store('short');
  values.keep(new Store('kept'));
  assert.equal(await first, 1);
  globalThis.gc();
  assert(values.living() > before + 1, 'the second task has it');
  assert.equal(await second, 2);
  assert.equal(await settledLiving(before + 1), before + 1);
  assert.equal(values.kept().name, 'kept');
  assert.equal(await settledLiving(before), before);
  for (let i = 0; i < 300; ++i) new Store('big', 50).size += 50;
  assert(values.living() < 250, 'V8 knows of what they hold');
});

test('Workers that end with instances and tasks', async () => {
  const before = await settledLiving(0);
  const script = `const { types } = require(${JSON.stringify(file)});
    const stores = Array.from({ length: 50 }, (_, i) => new types.Store('w', i));
    for (const store of stores.slice(25)) for (let i = 0; i < 9; ++i) store.work(2 + i, {});
    stores[0].peek(20);
    require('node:worker_threads').parentPort.postMessage('now');
    setTimeout(() => process.exit(), 20);`;
  const end = (how) => {
    const worker = new Worker(script, { eval: true });
    worker.on('message', how === 'terminate' ? () => worker.terminate() : () => {});
    return new Promise((resolve) => worker.on('exit', resolve));
  };
  await Promise.all(['terminate', 'exit', 'terminate', 'exit'].map(end));
  assert.equal(values.living(), before);
});
