// "zebbridge/pointer": streams over one native capture, whose input the test feeds.
'use strict';
const assert = require('node:assert/strict');
const { AsyncLocalStorage, createHook, executionAsyncResource } = require('node:async_hooks');
const { EventEmitter, getEventListeners, once } = require('node:events');
const path = require('node:path');
const test = require('node:test');
const { pathToFileURL } = require('node:url');
const { Worker } = require('node:worker_threads');
const { addon, harness, counts, failing, until } = require('./support/harness');
const { root, packageOver } = require('./support/modules');
const { runScript } = require('./support/processes');

const { PointerStream } = packageOver(addon).pointer;

// ---- input and what comes of it

const motion = (x, y, screenX = 0, screenY = 0) => [x, y, screenX, screenY, 0, 0, 0];
const buttons = (left, middle, right) => [0, 0, 0, 0, left, middle, right];
const push = (...records) => harness.push(Int32Array.from(records.flat()));

function record(stream, events = []) {
  stream.on('motion', ({ offset }) => events.push([offset.x, offset.y]));
  stream.on('buttons', ({ left, middle, right }) => events.push(`${left} ${middle} ${right}`));
  return events;
}

// What was read before a stop is still on its way then: a marker that comes after it is the end of it.
async function settled() {
  const stream = new PointerStream();
  let marked = false;
  stream.on('motion', ({ screenPoint }) => {
    marked ||= screenPoint.x === -77;
  });
  stream.start();
  push(motion(1, 0, -77));
  await until('the marker', () => marked);
  stream.stop();
}

// The collection of any capture object ends the capture that runs, so this one is kept.
const other = addon.hardware.capturePointer();

const streams = [];
function newStream() {
  const stream = new PointerStream();
  streams.push(stream);
  return stream;
}
test.afterEach(async () => {
  for (const stream of streams.splice(0)) stream.stop().removeAllListeners();
  other.stopCapturing();
  await settled();
  assert.equal(harness.counts().threads, 0);
});

// A script of its own with `PointerStream`, `push` and the rest at hand.
const child = (script, options) =>
  runScript(
    `
  const { addon, harness, until, turn } = require(${JSON.stringify(path.join(__dirname, 'support', 'harness.js'))});
  const { packageOver } = require(${JSON.stringify(path.join(__dirname, 'support', 'modules.js'))});
  const { PointerStream } = packageOver(addon).pointer;
  const push = (...records) => harness.push(Int32Array.from(records.flat()));
  const moves = (count) => push(...Array.from({ length: count }, (_, index) => [1, 0, index, 0, 0, 0, 0]));
  const stream = new PointerStream();
  ${script}`,
    { prelude: false, environment: { ASAN_OPTIONS: 'detect_leaks=0' }, ...options },
  );

// ---- events

test('motion and buttons come as the native module gives them, in order', async () => {
  const stream = newStream();
  const events = [];
  for (const name of ['motion', 'buttons']) stream.on(name, (event) => events.push(event));
  assert.equal(stream.start(), stream);
  push([7, -2, 100, 200, 2, 0, 1], buttons(0, 2, 0), motion(1, 0));
  await until('all', () => events.length === 4);
  assert.deepEqual(events, [
    { offset: { x: 7, y: -2 }, screenPoint: { x: 100, y: 200 } },
    { left: 2, middle: 0, right: 1 },
    { left: 0, middle: 2, right: 0 },
    { offset: { x: 1, y: 0 }, screenPoint: { x: 0, y: 0 } },
  ]);
  assert.equal(stream.stop(), stream);
});

test('each event goes to every listener of every stream before the next one', async () => {
  const seen = [];
  const [first, second, idle] = [newStream(), newStream(), newStream()];
  first.on('motion', ({ offset }) => seen.push(`first ${offset.x}`));
  first.on('motion', ({ offset }) => seen.push(`also first ${offset.x}`));
  first.on('buttons', () => seen.push('first pressed'));
  second.on('motion', ({ offset }) => seen.push(`second ${offset.x}`));
  idle.on('motion', () => seen.push('idle'));
  first.start();
  second.start();
  push(motion(1, 0), buttons(2, 0, 0), motion(2, 0));
  await until('all', () => seen.includes('second 2'));
  assert.deepEqual(seen, [
    'first 1',
    'also first 1',
    'second 1',
    'first pressed',
    'first 2',
    'also first 2',
    'second 2',
  ]);
});

test('every record of many arrives once and in order', async () => {
  const stream = newStream();
  let next = 0;
  let wrong = 0;
  stream.on('motion', ({ screenPoint }) => {
    if (screenPoint.x !== next++) ++wrong;
  });
  stream.start();
  harness.burst(100000, 0, 0);
  await until('all', () => next >= 100000, 120000);
  assert.deepEqual({ next, wrong }, { next: 100000, wrong: 0 });
});

test('it is an emitter: listeners are found, removed and called by hand', async () => {
  const stream = newStream();
  assert.ok(stream instanceof EventEmitter);
  const seen = [];
  const listener = function listener(event) {
    assert.equal(this, stream);
    seen.push(event);
  };
  assert.equal(stream.on('motion', listener), stream);
  stream.addListener('motion', listener).prependListener('motion', () => seen.push('before'));
  assert.equal(stream.listenerCount('motion'), 3);
  assert.deepEqual(stream.listeners('motion').slice(1), [listener, listener]);
  stream.emit('motion', 1);
  assert.deepEqual(seen.splice(0), ['before', 1, 1]);
  stream.off('motion', listener).removeListener('motion', listener).emit('motion', 2);
  assert.deepEqual(seen.splice(0), ['before']);
  stream.removeAllListeners();
  assert.equal(stream.emit('motion', 3), false);

  stream.once('motion', listener).prependOnceListener('motion', () => seen.push('before'));
  stream.once('motion', (event) => seen.push(`other ${event}`));
  stream.emit('motion', 4);
  stream.emit('motion', 5);
  assert.deepEqual(seen.splice(0), ['before', 4, 'other 4']);
  stream.once('motion', listener).off('motion', listener);
  assert.equal(stream.listenerCount('motion'), 0);

  const heard = [];
  stream.on('newListener', (name, added) => heard.push(['new', name, added === listener]));
  stream.on('removeListener', (name, removed) => heard.push(['removed', name, removed === listener]));
  stream.on('motion', listener).off('motion', listener);
  assert.deepEqual(heard.slice(-2), [
    ['new', 'motion', true],
    ['removed', 'motion', true],
  ]);
  for (const wrong of [undefined, null, 42, 'text', {}]) {
    for (const method of ['on', 'addListener', 'once', 'prependListener', 'prependOnceListener']) {
      assert.throws(() => stream[method]('motion', wrong), { code: 'ERR_INVALID_ARG_TYPE', message: /"listener"/ });
    }
  }
});

test('listeners come and go while the stream runs', async () => {
  const stream = newStream();
  const seen = [];
  const first = ({ offset }) => {
    seen.push(`first ${offset.x}`);
    stream.off('motion', first).on('motion', second);
  };
  const second = ({ offset }) => seen.push(`second ${offset.x}`);
  stream.on('motion', first).once('motion', ({ offset }) => seen.push(`once ${offset.x}`));
  stream.start();
  const waited = once(stream, 'buttons');
  push(motion(1, 0), motion(2, 0), buttons(2, 0, 0), motion(3, 0));
  assert.deepEqual(await waited, [{ left: 2, middle: 0, right: 0 }]);
  await until('all', () => seen.includes('second 3'));
  assert.deepEqual(seen, ['first 1', 'once 1', 'second 2', 'second 3']);
  stream.removeAllListeners('motion');
  const events = record(stream);
  push(motion(4, 0));
  await until('it', () => events.length === 1);
  assert.equal(seen.length, 4);
});

test('a listener for one event is called for one, also from a loop inside a listener', async () => {
  const stream = newStream();
  let all = 0;
  let onces = 0;
  stream.on('motion', () => {
    if (++all === 1) {
      push(motion(2, 0));
      while (all === 1) harness.turnLoop();
    }
  });
  stream.once('motion', () => ++onces);
  stream.start();
  push(motion(1, 0));
  await until('both', () => all === 2);
  assert.equal(onces, 1);
});

// ---- the native capture

test('the first start begins one native capture, the last stop ends it', async () => {
  const before = (await counts()).asyncHandles;
  const all = Array.from({ length: 10 }, newStream);
  assert.ok(all.every(({ capturing }) => !capturing));
  for (const stream of all) {
    stream.start().start();
    assert.equal(stream.capturing, true);
    assert.equal(harness.counts().threads, 1);
  }
  assert.equal(harness.counts().asyncHandles, before); // the object of the first start, kept since
  for (const stream of all) {
    assert.equal(harness.counts().threads, 1);
    stream.stop().stop();
    assert.equal(stream.capturing, false);
  }
  assert.equal(harness.counts().threads, 0);
});

test('a stream that runs is held, whoever has lost it', async () => {
  let seen = 0;
  let stop;
  (() => {
    const stream = new PointerStream();
    stream.on('motion', () => ++seen);
    stream.on('buttons', () => stream.stop());
    stop = () => push(buttons(1, 0, 0));
    stream.start();
  })();
  for (let round = 1; round <= 5; ++round) {
    await counts();
    push(motion(1, 0));
    await until('the event', () => seen === round);
  }
  stop();
  await until('the end', () => harness.counts().threads === 0);
});

test('a stopped stream is held by nobody, also while others run', async () => {
  const going = newStream();
  const seen = record(going);
  going.start();
  const stopped = [];
  for (let round = 1; round <= 2; ++round) {
    const stream = new PointerStream();
    stream.on('motion', () => stream.stop());
    stopped.push(new WeakRef(stream.start()));
    push(motion(1, 0));
    await until('the event', () => seen.length === round && !stopped.at(-1).deref().capturing);
  }
  await until('their collection', async () => (await counts(), stopped.every((each) => each.deref() === undefined)));
});

test('5,000 streams leave nothing', async () => {
  let collected = 0;
  const registry = new FinalizationRegistry(() => ++collected);
  const many = async (count) => {
    for (let index = 0; index < count; ++index) {
      const stream = new PointerStream();
      const listener = () => stream.stop();
      stream.on('motion', listener).once('buttons', listener).on('error', listener);
      stream.events({ signal: lasting.signal });
      if (index % 10 === 0) stream.start();
      if (index % 100 === 0) {
        push(motion(1, 0));
        await until('the event', () => !stream.capturing);
      }
      stream.stop();
      registry.register(stream, undefined);
    }
  };
  const lasting = new AbortController();
  await many(500);
  const before = { ...(await counts()), heap: process.memoryUsage().heapUsed };
  await many(5000);
  await until('their collection', async () => (await counts(), collected >= 5490));
  const { heap, ...held } = before;
  assert.deepEqual(await counts(), held);
  const grown = (process.memoryUsage().heapUsed - heap) / 5000;
  assert.ok(grown < 50, `${grown} bytes are left of each`);
});

test('a capture that another object has is taken over', async () => {
  let theirs = 0;
  other.setMotionEventCallback(() => ++theirs);
  other.startCapturing();
  const stream = newStream();
  const events = record(stream);
  stream.start();
  push(motion(1, 0));
  await until('the event', () => events.length === 1);
  assert.equal(theirs, 0);
  other.setMotionEventCallback(null);
});

test('a capture that another object ends is begun again', async () => {
  const stream = newStream();
  const events = record(stream);
  stream.start();
  for (let round = 1; round <= 2; ++round) {
    other.stopCapturing();
    assert.equal(harness.counts().threads, 0);
    assert.equal(stream.capturing, true);
    await until('the new start', () => harness.counts().threads === 1);
    push(motion(round, 0));
    await until('the event', () => events.length === round);
  }
});

test('so is one that the collection of another object ends', async () => {
  const stream = newStream();
  const events = record(stream);
  stream.start();
  const NEVER = 1000000;
  harness.fail('threadCreate', NEVER, 1); // counts them from here on
  addon.hardware.capturePointer();
  await until('the new start', async () => (await counts(), harness.calls('threadCreate') === 1));
  harness.fail('threadCreate', 0, 0);
  push(motion(1, 0));
  await until('the event', () => events.length === 1);
});

test('a start that fails throws, and the next one works', async () => {
  const fresh = packageOver(addon).pointer;
  const stream = new fresh.PointerStream();
  const { error } = failing('allocate', 1, 1, () => stream.start());
  assert.equal(error?.message, 'There is no memory for a capture object.');
  assert.equal(stream.capturing, false);
  const events = record(stream);
  stream.start();
  push(motion(1, 0));
  await until('the event', () => events.length === 1);
  stream.stop();
});

// A native module of plain script, for what the real one does only without memory.
function scripted({ capturePointer, startCapturing = () => {} } = {}) {
  const capture = {
    startCapturing,
    stopCapturing() {},
    setMotionEventCallback() {},
    setButtonsEventCallback() {},
  };
  return packageOver({
    hardware: { capturePointer: capturePointer ?? (() => capture), getButtonState: () => false },
    windows: {},
    msix_auto_updater: {},
  }).pointer;
}

test('without a driver start throws the native error', () => {
  const native = new Error('Fail to create raw input driver');
  const { PointerStream: Stream } = scripted({
    capturePointer: () => {
      throw native;
    },
  });
  const stream = new Stream().on('error', assert.fail);
  assert.throws(() => stream.start(), native);
  assert.equal(stream.capturing, false);
});

test('a capture that cannot be begun again is an error of every stream, and stops it', async () => {
  const native = new Error('no memory');
  let starts = 0;
  const { PointerStream: Stream } = scripted({
    startCapturing() {
      if (++starts > 1) throw native;
    },
  });
  const [first, second, looped] = [new Stream(), new Stream(), new Stream()];
  const heard = [];
  first.on('error', (error) => heard.push(['first', error, first.capturing]));
  second.on('error', (error) => heard.push(['second', error, second.capturing]));
  for (const stream of [first, second, looped]) stream.start();
  const loop = assert.rejects(looped.events().next(), native);
  await until('both', () => heard.length === 2);
  await loop;
  assert.deepEqual(heard, [
    ['first', native, false],
    ['second', native, false],
  ]);
});

test('without a listener for errors it is uncaught', async () => {
  const { status, stderr } = await runScript(
    `
    const { packageOver } = require(${JSON.stringify(path.join(__dirname, 'support', 'modules.js'))});
    let starts = 0;
    const capture = { startCapturing() { if (++starts > 1) throw new Error('no memory'); }, stopCapturing() {},
      setMotionEventCallback() {}, setButtonsEventCallback() {} };
    const { PointerStream } = packageOver({ hardware: { capturePointer: () => capture, getButtonState() {} },
      windows: {}, msix_auto_updater: {} }).pointer;
    new PointerStream().start();
    setTimeout(() => {}, 60000);`,
    { prelude: false },
  );
  assert.match(stderr, /Error: no memory/);
  assert.equal(status, 1);
});

test('where the native part is missing, start throws its sentence', () => {
  const sentence = Object.assign(new Error('zebbridge has no binary here'), { code: 'ERR_ZEBBRIDGE_UNAVAILABLE' });
  const refuse = () => {
    throw sentence;
  };
  const native = { hardware: { capturePointer: refuse, getButtonState: refuse }, windows: {}, msix_auto_updater: {} };
  const { PointerStream: Stream } = packageOver(native, false).pointer;
  const stream = new Stream().on('motion', () => {});
  assert.throws(() => stream.start(), sentence);
  assert.equal(stream.capturing, false);
  stream.stop();
  stream[Symbol.dispose]();
});

// ---- inside of listeners

test('a stop in a listener is the end for that stream, at once', async () => {
  const [first, second] = [newStream(), newStream()];
  const seen = [];
  first.on('motion', () => {
    seen.push('first');
    first.stop();
  });
  first.on('motion', () => seen.push('never'));
  const events = record(second);
  first.start();
  second.start();
  push(motion(1, 0), motion(2, 0));
  await until('both', () => events.length === 2);
  assert.deepEqual(seen, ['first']);
  second.stop();
  assert.equal(harness.counts().threads, 0);
});

test('the last stop in a listener ends the capture, and a start there begins the next', async () => {
  const stream = newStream();
  let calls = 0;
  stream.on('motion', () => {
    ++calls;
    stream.stop();
    assert.equal(harness.counts().threads, 0);
    stream.start();
  });
  stream.start();
  for (let round = 1; round <= 5; ++round) {
    push(motion(1, 0));
    await until('the event', () => calls === round);
  }
});

test('a stream started in a listener has the next event', async () => {
  const [first, second] = [newStream(), newStream()];
  const events = record(second);
  first.once('motion', () => second.start());
  first.start();
  push(motion(1, 0), motion(2, 0));
  await until('the event', () => events.length === 1);
  assert.deepEqual(events, [[2, 0]]);
});

test('events come in a loop that a listener runs', async () => {
  const stream = newStream();
  const order = [];
  stream.on('motion', ({ offset }) => {
    order.push(`in ${offset.x}`);
    if (offset.x === 1) {
      push(motion(3, 0));
      while (!order.includes('out 3')) harness.turnLoop();
    }
    order.push(`out ${offset.x}`);
  });
  stream.start();
  push(motion(1, 0), motion(2, 0));
  await until('all', () => order.includes('out 1'));
  assert.deepEqual(order, ['in 1', 'in 2', 'out 2', 'in 3', 'out 3', 'out 1']);
});

test('Symbol.dispose stops, and the stream can be started again', async () => {
  const stream = newStream();
  const events = record(stream);
  stream.start()[Symbol.dispose]();
  assert.equal(stream.capturing, false);
  assert.equal(harness.counts().threads, 0);
  await settled();
  stream.start();
  push(motion(5, 0));
  await until('the event', () => events.length === 1);
});

// ---- exceptions and contexts

test('what a listener throws ends the application, as any other exception', async () => {
  const { status, stderr, stdout } = await child(`
    stream.on('motion', function thrower() { throw new Error('mine'); });
    stream.start();
    moves(1);`);
  assert.equal(status, 1);
  assert.match(stderr, /Error: mine\s+at PointerStream\.thrower/);
  assert.equal(stdout, '');
});

test('whoever catches uncaught exceptions gets each, and nobody misses an event', async () => {
  const { status, stderr, stdout } = await child(`
    const seen = [];
    process.on('uncaughtException', (error, origin) => seen.push(origin + ' ' + error.message));
    stream.on('motion', ({ screenPoint }) => { throw new Error(screenPoint.x); });
    stream.on('motion', ({ screenPoint }) => seen.push('other ' + screenPoint.x));
    stream.once('buttons', () => { throw 'no error'; });
    stream.start();
    moves(3);
    push([0, 0, 0, 0, 2, 0, 0], [0, 0, 0, 0, 1, 0, 0]);
    process.on('uncaughtException', (error) => { if (error === 'no error') stream.stop(); });
    process.on('exit', () => console.log(seen.filter((each) => each.startsWith('other')).join(), seen.filter((each) => each.startsWith('uncaught')).join()));`);
  assert.equal(stderr, '');
  assert.equal(
    stdout,
    'other 0,other 1,other 2 uncaughtException 0,uncaughtException 1,uncaughtException 2,uncaughtException undefined\n',
  );
  assert.equal(status, 0);
});

test('what an async listener throws is an unhandled rejection', async () => {
  const { status, stderr } = await child(`
    stream.on('motion', async () => { throw new Error('mine'); });
    stream.start();
    moves(1);`);
  assert.equal(status, 1);
  assert.match(stderr, /Error: mine/);
});

test('a listener runs in the context that it was added in', async () => {
  const storage = new AsyncLocalStorage();
  const stream = newStream();
  const seen = [];
  const see = (name) => () => seen.push(`${name} ${storage.getStore()}`);
  storage.run('A', () => stream.on('motion', see('on')));
  storage.run('B', () => stream.once('motion', see('once')));
  storage.run('C', () => stream.prependListener('motion', see('prepend')));
  storage.run('D', () => stream.prependOnceListener('motion', see('prependOnce')));
  stream.on('motion', see('none'));
  storage.run('E', () => stream.addListener('error', see('error')));
  storage.run('start', () => stream.start());
  push(motion(1, 0));
  await until('all', () => seen.length === 5);
  assert.deepEqual(seen.splice(0), ['prependOnce D', 'prepend C', 'on A', 'once B', 'none undefined']);
  storage.run('emit', () => stream.emit('error', new Error()));
  assert.deepEqual(seen, ['error E']);
});

test('what follows a listener keeps its context', async () => {
  const storage = new AsyncLocalStorage();
  const stream = newStream();
  const seen = [];
  const see = (name) => seen.push(`${name} ${storage.getStore()}`);
  storage.run('A', () =>
    stream.once('motion', async () => {
      process.nextTick(() => see('tick'));
      await null;
      see('promise');
      setImmediate(() => see('immediate'));
    }),
  );
  stream.start();
  push(motion(1, 0));
  await until('all', () => seen.length === 3);
  assert.deepEqual(seen, ['tick A', 'promise A', 'immediate A']);
});

test('nothing keeps the context that a stream was started in', async () => {
  const storage = new AsyncLocalStorage();
  const stream = newStream();
  let store = {};
  const reference = new WeakRef(store);
  storage.run(store, () => stream.start());
  store = null;
  await until('its collection', async () => (await counts(), reference.deref() === undefined));
  assert.equal(stream.capturing, true);
});

test('an uncaught exception is thrown in that context', async () => {
  const { stdout } = await child(`
    const { AsyncLocalStorage } = require('node:async_hooks');
    const storage = new AsyncLocalStorage();
    process.on('uncaughtException', (error) => { console.log(error.message, storage.getStore()); stream.stop(); });
    storage.run('A', () => stream.on('motion', () => { throw new Error('mine'); }));
    stream.start();
    moves(1);`);
  assert.equal(stdout, 'mine A\n');
});

test('async_hooks see a resource per listener, made where it was added', async () => {
  const made = [];
  const entered = [];
  const hook = createHook({
    init(id, type, _trigger, resource) {
      if (type === 'ZebbridgePointerListener') made.push({ id, resource });
    },
    before: (id) => entered.push(id),
  }).enable();
  const stream = newStream();
  const resources = [];
  stream.on('motion', () => resources.push(executionAsyncResource()));
  stream.on('motion', () => resources.push(executionAsyncResource()));
  stream.start();
  push(motion(1, 0));
  await until('both', () => resources.length === 2);
  hook.disable();
  assert.equal(made.length, 2);
  assert.deepEqual(
    resources,
    made.map(({ resource }) => resource),
  );
  for (const { id } of made) assert.ok(entered.includes(id));
});

test('promises and ticks of a listener run when the events at hand are delivered', async () => {
  const stream = newStream();
  const order = [];
  stream.on('motion', () => {
    process.nextTick(() => order.push('tick'));
    Promise.resolve().then(() => order.push('promise'));
    setImmediate(() => order.push('immediate'));
    order.push('event');
  });
  stream.start();
  const before = harness.dispatched();
  push(motion(1, 0), motion(1, 0));
  while (harness.dispatched() < before + 2); // both are at hand before the loop turns
  await until('all', () => order.length === 8);
  assert.deepEqual(order, ['event', 'event', 'tick', 'tick', 'promise', 'promise', 'immediate', 'immediate']);
});

// ---- loops

async function take(iterator, count) {
  const events = [];
  while (events.length < count) events.push((await iterator.next()).value);
  return events;
}

test('a loop gets every event, those before it asked too, until the stream stops', async () => {
  const stream = newStream();
  const iterator = stream.events();
  const seen = [];
  const loop = (async () => {
    for await (const event of iterator) {
      seen.push(event);
      if (event.type === 'buttons') stream.stop();
    }
  })();
  stream.start();
  push([1, 2, 3, 4, 2, 0, 0]);
  await loop;
  assert.deepEqual(seen, [
    { type: 'motion', offset: { x: 1, y: 2 }, screenPoint: { x: 3, y: 4 } },
    { type: 'buttons', left: 2, middle: 0, right: 0 },
  ]);
  assert.deepEqual(await iterator.next(), { value: undefined, done: true });
  assert.equal(stream.listenerCount('motion'), 0);
});

test('what has come before a stop is still taken', async () => {
  const stream = newStream();
  const iterator = stream.events();
  const events = record(stream);
  stream.start();
  push(motion(1, 0), motion(2, 0));
  await until('both', () => events.length === 2);
  stream.stop();
  const seen = [];
  for await (const { offset } of iterator) seen.push(offset.x);
  assert.deepEqual(seen, [1, 2]);
});

test('a full buffer says what it dropped', async () => {
  const stream = newStream();
  const iterator = stream.events({ limit: 2 });
  const events = record(stream);
  stream.start();
  push(motion(1, 5), buttons(2, 0, 0), motion(2, -10), buttons(0, 0, 2), motion(3, 0), motion(4, 0), buttons(0, 2, 0));
  await until('all', () => events.length === 7);
  assert.deepEqual(await take(iterator, 3), [
    { type: 'dropped', motions: 3, transitions: 2, offset: { x: 6, y: -5 }, left: 2, middle: 0, right: 2 },
    { type: 'motion', offset: { x: 4, y: 0 }, screenPoint: { x: 0, y: 0 } },
    { type: 'buttons', left: 0, middle: 2, right: 0 },
  ]);
  push(motion(5, 0), motion(6, 0));
  assert.deepEqual(
    (await take(iterator, 2)).map(({ type, offset }) => [type, offset.x]),
    [
      ['motion', 5],
      ['motion', 6],
    ],
  );
  const next = iterator.next();
  push(motion(7, 0));
  assert.equal((await next).value.offset.x, 7);
  await iterator.return();
});

test('by default it holds 1,024 events', async () => {
  const stream = newStream();
  const iterator = stream.events();
  const events = record(stream);
  stream.start();
  harness.burst(1025, 0, 0);
  await until('all', () => events.length === 1025);
  const [dropped, first] = await take(iterator, 2);
  assert.deepEqual([dropped.type, dropped.motions, first.screenPoint.x], ['dropped', 1, 1]);
  await iterator.return();
});

test('a break, a return and an exception leave no listener', async () => {
  const stream = newStream().start();
  const leave = {
    break: async () => {
      for await (const event of stream.events()) if (event) break;
    },
    throw: async () => {
      for await (const event of stream.events()) throw event;
    },
  };
  for (const run of Object.values(leave)) {
    const end = run().catch(() => {});
    push(motion(1, 0));
    await end;
    assert.equal(stream.listenerCount('motion') + stream.listenerCount('buttons'), 0);
  }
  const iterator = stream.events();
  assert.deepEqual(await iterator.return('value'), { value: 'value', done: true });
  assert.deepEqual(await iterator.next(), { value: undefined, done: true });
  assert.equal(stream.capturing, true);
});

test('a signal ends the loop with an AbortError', async () => {
  const stream = newStream().start();
  const aborted = { name: 'AbortError', code: 'ABORT_ERR' };
  const early = AbortSignal.abort('why');
  await assert.rejects(stream.events({ signal: early }).next(), { ...aborted, cause: 'why' });

  const controller = new AbortController();
  const iterator = stream.events({ signal: controller.signal });
  const waiting = [iterator.next(), iterator.next()];
  setImmediate(() => controller.abort());
  await assert.rejects(waiting[0], aborted);
  assert.deepEqual(await waiting[1], { value: undefined, done: true });
  assert.deepEqual(await iterator.next(), { value: undefined, done: true });

  const late = new AbortController();
  const events = record(stream);
  const full = stream.events({ signal: late.signal });
  push(motion(1, 0));
  await until('the event', () => events.length === 1);
  late.abort();
  await assert.rejects(full.next(), aborted);
  assert.deepEqual(await full.next(), { value: undefined, done: true });
  assert.equal(stream.listenerCount('motion'), 1);
  assert.equal(stream.capturing, true);

  const left = stream.events({ signal: early });
  await left.return();
  assert.deepEqual(await left.next(), { value: undefined, done: true });
});

test('a signal holds no loop but one that waits', async () => {
  const stream = newStream().start();
  const { signal } = new AbortController();
  const listeners = () => getEventListeners(signal, 'abort').length;
  const iterator = stream.events({ signal });
  assert.equal(listeners(), 0);
  const waiting = iterator.next();
  assert.equal(listeners(), 1);
  push(motion(1, 0));
  await waiting;
  assert.equal(listeners(), 0);
  const ended = iterator.next();
  assert.equal(listeners(), 1);
  stream.stop();
  assert.deepEqual(await ended, { value: undefined, done: true });
  assert.equal(listeners(), 0);
});

test('a loop may wait before the stream starts, and several at once', async () => {
  const stream = newStream();
  const loops = [stream.events(), stream.events()].map((iterator) => iterator.next());
  stream.start();
  push(motion(1, 0));
  for (const { value } of await Promise.all(loops)) assert.equal(value.offset.x, 1);
});

test('wrong options are named', () => {
  const stream = newStream();
  for (const limit of [0, -1, 1.5, NaN, Infinity, '5', null, {}]) {
    assert.throws(() => stream.events({ limit }), {
      name: 'TypeError',
      code: 'ERR_INVALID_ARG_VALUE',
      message: /"limit"/,
    });
  }
  for (const signal of [null, 1, {}, 'text', new AbortController()]) {
    assert.throws(() => stream.events({ signal }), {
      name: 'TypeError',
      code: 'ERR_INVALID_ARG_VALUE',
      message: /"signal"/,
    });
  }
  for (const options of [null, 1, 'text']) assert.throws(() => stream.events(options), { name: 'TypeError' });
  assert.throws(() => stream.events({ size: 5 }), {
    name: 'TypeError',
    code: 'ERR_INVALID_ARG_VALUE',
    message: /"size"/,
  });
  assert.equal(stream.listenerCount('motion'), 0);
});

// ---- ends

test('a stream that runs keeps the process, a stopped one does not', async () => {
  const { status, stdout } = await child(`
    stream.on('buttons', () => { console.log('button'); stream.stop(); });
    stream.start();
    setTimeout(() => push([0, 0, 0, 0, 2, 0, 0]), 50).unref();
    process.on('beforeExit', () => console.log('nothing left to do'));`);
  assert.deepEqual({ status, stdout }, { status: 0, stdout: 'button\nnothing left to do\n' });
});

test('also while another object has ended the capture', async () => {
  const { status, stdout } = await child(`
    stream.on('motion', () => { console.log('moved'); stream.stop(); });
    stream.start();
    addon.hardware.capturePointer().stopCapturing();
    const began = setInterval(() => { if (harness.counts().threads > 0) moves(1); }, 5).unref();
    globalThis.kept = began;`);
  assert.deepEqual({ status, stdout }, { status: 0, stdout: 'moved\n' });
});

test('process.exit in a listener', async () => {
  const { status, stderr } = await child(`stream.on('motion', () => process.exit(6)).start(); moves(100);`);
  assert.deepEqual({ status, stderr }, { status: 6, stderr: '' });
});

test('shutdown() leaves a stream that runs; after it, start throws', async () => {
  const { status, stdout, stderr } = await child(`
    stream.once('motion', () => {
      addon.shutdown();
      const other = new PointerStream();
      for (const each of [other, stream.stop()]) {
        try { each.start(); } catch (error) { console.log(error.name + ': ' + error.message, each.capturing); }
      }
    });
    const going = new PointerStream();
    going.start();
    stream.start();
    moves(1);
    let seen = 0;
    going.on('motion', () => {
      if (++seen === 1) setImmediate(moves, 1);
      else going.stop();
    });
    process.on('exit', () => {
      console.log(seen);
      try { going.start(); } catch (error) { console.log(error.name + ': ' + error.message, going.capturing); }
    });`);
  const released = 'TypeError: Illegal invocation: shutdown() has released this object';
  assert.equal(stderr, '');
  assert.equal(stdout, `${released} false\n${released} false\n2\n${released} false\n`);
  assert.equal(status, 0);
});

test('a worker has a capture of its own', async () => {
  const worker = new Worker(
    `
    const { addon } = require(${JSON.stringify(path.join(__dirname, 'support', 'harness.js'))});
    const { packageOver } = require(${JSON.stringify(path.join(__dirname, 'support', 'modules.js'))});
    const { PointerStream } = packageOver(addon).pointer;
    const { parentPort } = require('node:worker_threads');
    const stream = new PointerStream();
    stream.on('motion', () => parentPort.postMessage('moved'));
    stream.on('buttons', () => stream.stop());
    stream.start();
    parentPort.postMessage('started');`,
    { eval: true },
  );
  const [message] = await once(worker, 'message');
  assert.equal(message, 'started');
  push(motion(1, 0));
  assert.deepEqual(await once(worker, 'message'), ['moved']);
  push(buttons(1, 0, 0));
  assert.deepEqual(await once(worker, 'exit'), [0]);
});

test('the ES module gives the same class', async () => {
  const { pointer } = packageOver(addon);
  const imported = await import(pathToFileURL(path.join(root, 'pointer.mjs')));
  assert.deepEqual(Object.keys(imported).sort(), ['PointerStream', 'default']);
  assert.equal(imported.default.PointerStream, imported.PointerStream);
  assert.equal(imported.PointerStream.name, pointer.PointerStream.name);
});
