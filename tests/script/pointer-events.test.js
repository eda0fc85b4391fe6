// "zebbridge/pointer": which events reach which listeners, and when. See also pointer-capture, pointer-contexts,
// pointer-loops and pointer-ends.
'use strict';
const assert = require('node:assert/strict');
const { EventEmitter, once } = require('node:events');
const test = require('node:test');
const { harness, until } = require('./support/harness');
const { push, motion, buttons, newStream, record, settled, stopped } = require('./support/streams');

test.afterEach(stopped);

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

// ---- inside listeners

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

test('a stream that starts while another one delivers hears what comes from then on', async () => {
  const [first, second] = [newStream(), newStream()];
  const [early, late] = [record(first), record(second)];
  first.start();
  push(motion(1, 0));
  await until('the first event', () => early.length === 1);
  second.start();
  push(motion(2, 0));
  await until('the second event', () => early.length === 2);
  assert.deepEqual(late, [[2, 0]]);
});

test('a listener that was added past the class is called', async () => {
  const stream = newStream();
  const seen = [];
  EventEmitter.prototype.on.call(stream, 'motion', ({ offset }) => seen.push(offset.x));
  stream.start();
  push(motion(3, 0));
  await until('the event', () => seen.length === 1);
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
