// "zebbridge/pointer": `for await` over a stream's events.
'use strict';
const assert = require('node:assert/strict');
const { getEventListeners } = require('node:events');
const test = require('node:test');
const { harness, until } = require('./support/harness');
const { push, motion, buttons, newStream, record, stopped } = require('./support/streams');

test.afterEach(stopped);

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
  const events = record(stream);
  const iterator = stream.events();
  push(motion(1, 0));
  await until('the event', () => events.length === 1);
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
  const full = stream.events({ signal: late.signal, limit: 1 });
  push(motion(1, 0), motion(2, 0));
  await until('both events', () => events.length === 2);
  late.abort();
  await assert.rejects(full.next(), aborted);
  assert.deepEqual(await full.next(), { value: undefined, done: true });
  assert.equal(stream.listenerCount('motion'), 1);
  assert.equal(stream.capturing, true);

  const left = stream.events({ signal: early });
  await left.return();
  assert.deepEqual(await left.next(), { value: undefined, done: true });
});

test('a signal after a stop still ends a loop that has not taken all events', async () => {
  const stream = newStream().start();
  const controller = new AbortController();
  const iterator = stream.events({ signal: controller.signal });
  const events = record(stream);
  push(motion(1, 0));
  await until('the event', () => events.length === 1);
  stream.stop();
  controller.abort();
  await assert.rejects(iterator.next(), { name: 'AbortError', code: 'ABORT_ERR' });
  assert.deepEqual(await iterator.next(), { value: undefined, done: true });
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
