// "zebbridge/pointer": the application handles what a listener throws, and a listener runs in the context it was added
// in.
'use strict';
const assert = require('node:assert/strict');
const { AsyncLocalStorage, createHook, executionAsyncResource } = require('node:async_hooks');
const test = require('node:test');
const { harness, counts, until } = require('./support/harness');
const { push, motion, newStream, child, stopped } = require('./support/streams');

test.afterEach(stopped);

test('what a listener throws ends the application, as any other exception', async () => {
  const { status, stderr, stdout } = await child(`
    stream.on('motion', function thrower() { throw new Error('mine'); });
    stream.start();
    moves(1);`);
  assert.equal(status, 1);
  assert.match(stderr, /Error: mine\s+at PointerStream\.thrower/);
  assert.equal(stdout, '');
});

test('a handler of uncaught exceptions gets each one, and no listener misses an event', async () => {
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
  while (harness.dispatched() < before + 2); // both have arrived before the loop turns
  await until('all', () => order.length === 8);
  assert.deepEqual(order, ['event', 'event', 'tick', 'tick', 'promise', 'promise', 'immediate', 'immediate']);
});

test('a drain enters no domain that script has put on the global object or on every object', async () => {
  const { status, stderr, stdout } = await child(`
    require('node:async_hooks').createHook({ before() {} }).enable();
    require('node:domain');
    globalThis.domain = { enter: () => console.log('entered'), exit() {} };
    Object.prototype.domain = globalThis.domain;
    stream.on('motion', () => { console.log('moved'); stream.stop(); });
    stream.start();
    moves(1);`);
  assert.deepEqual({ status, stderr, stdout }, { status: 0, stderr: '', stdout: 'moved\n' });
});
