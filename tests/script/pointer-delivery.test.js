// The script that delivers pointer records: first the file itself, over arrays, then what the module makes of it.
'use strict';
const assert = require('node:assert/strict');
const fs = require('node:fs');
const path = require('node:path');
const test = require('node:test');
const vm = require('node:vm');
const { addon, harness, until } = require('./support/harness');
const { root } = require('./support/modules');

const file = path.join(root, 'src_native', 'bridge', 'pointer_delivery.js');
const source = fs.readFileSync(file, 'utf8');
const deliver = vm.runInThisContext(source, { filename: file });

// The words before the records: interrupted, the next record, whether its motion event is done.
const batchOf = (records, position = [0, 0]) => Int32Array.from([0, ...position, ...records.flat()]);
const positionIn = (batch) => [batch[1], batch[2]];

// What the records become: the events, each with the position while its callback runs.
function eventsOf(records, { position, end = records.length, on = () => {}, motion = true, buttons = true } = {}) {
  const batch = batchOf(records, position);
  const events = [];
  const see = (name) => (event) => {
    events.push([name, event, positionIn(batch)]);
    on(batch, events);
  };
  const result = deliver(batch, end, motion ? see('motion') : undefined, buttons ? see('buttons') : undefined);
  assert.equal(result, undefined);
  return { events, names: events.map(([name]) => name), position: positionIn(batch) };
}

const MOVED = [1, 2, 3, 4, 0, 0, 0];
const PRESSED = [0, 0, 5, 6, 2, 0, 0];
const BOTH = [7, 8, 9, 10, 0, 1, 2];
const NOTHING = [0, 0, 11, 12, 0, 0, 0];

// ---- the file

test('its events are those that the binding layer makes of the same record', () => {
  const record = [11, 12, 13, 14, 15, 16, 17];
  const { events } = eventsOf([NOTHING, record]);
  const expected = harness.pointerEvents(Int32Array.from(record));
  const made = events.map(([, event]) => event);
  assert.deepEqual(made, expected);
  assert.equal(JSON.stringify(made), JSON.stringify(expected)); // includes the order of the properties
});

test('a record has a motion event when it moved, then a buttons event when a button changed', () => {
  const { names, events, position } = eventsOf([MOVED, PRESSED, NOTHING, BOTH]);
  assert.deepEqual(names, ['motion', 'buttons', 'motion', 'buttons']);
  assert.deepEqual(events[2][1], { offset: { x: 7, y: 8 }, screenPoint: { x: 9, y: 10 } });
  assert.deepEqual(events[3][1], { left: 0, middle: 1, right: 2 });
  assert.deepEqual(position, [4, 0]);
  for (const only of [
    [-1, 0],
    [0, -1],
  ]) {
    assert.deepEqual(eventsOf([[...only, 0, 0, 0, 0, 0]]).names, ['motion']);
  }
  for (const only of [
    [1, 0, 0],
    [0, 1, 0],
    [0, 0, 1],
  ]) {
    assert.deepEqual(eventsOf([[0, 0, 0, 0, ...only]]).names, ['buttons']);
  }
});

test('each event is an object of its own', () => {
  const [[, first], [, second]] = eventsOf([MOVED, MOVED]).events;
  assert.notEqual(first, second);
  assert.notEqual(first.offset, second.offset);
  assert.equal(Object.getPrototypeOf(first), Object.prototype);
});

test('without a callback there are no events of its kind', () => {
  assert.deepEqual(eventsOf([BOTH, BOTH], { motion: false }).names, ['buttons', 'buttons']);
  assert.deepEqual(eventsOf([BOTH, BOTH], { buttons: false }).names, ['motion', 'motion']);
  assert.deepEqual(eventsOf([BOTH, BOTH], { motion: false, buttons: false }), {
    events: [],
    names: [],
    position: [2, 0],
  });
});

test('what a callback throws is dropped', () => {
  const on = () => {
    throw new Error('no');
  };
  assert.deepEqual(eventsOf([BOTH, MOVED], { on }).names, ['motion', 'buttons', 'motion']);
});

test('while a callback runs, the position is what follows its event', () => {
  const positions = eventsOf([MOVED, BOTH, NOTHING, PRESSED]).events.map(([, , position]) => position);
  assert.deepEqual(positions, [
    [0, 1],
    [1, 1],
    [2, 0],
    [4, 0],
  ]);
});

test('an interruption ends it after the event, and another delivery goes on from there', () => {
  const records = [BOTH, NOTHING, MOVED, PRESSED, BOTH];
  const whole = eventsOf(records).events;
  for (let count = 1; count <= whole.length; ++count) {
    const on = (batch, events) => {
      batch[0] = Number(events.length === count);
    };
    const first = eventsOf(records, { on });
    assert.equal(first.events.length, count);
    const rest = eventsOf(records, { position: first.position });
    assert.deepEqual([...first.events, ...rest.events], whole);
  }
});

test('records behind the end are not read', () => {
  const { names, position } = eventsOf([MOVED, BOTH, PRESSED], { end: 1 });
  assert.deepEqual([names, position], [['motion'], [1, 0]]);
  assert.deepEqual(eventsOf([], {}), { events: [], names: [], position: [0, 0] });
});

test('an array that is taken away ends it', () => {
  const on = (batch) => structuredClone(batch, { transfer: [batch.buffer] });
  assert.deepEqual(eventsOf([BOTH, BOTH], { on }).names, ['motion']);
});

// ---- the module

// Kept, because its garbage collection would end the capture.
const capture = addon.hardware.capturePointer();
test.afterEach(() => {
  capture.stopCapturing();
  capture.setMotionEventCallback(null);
  capture.setButtonsEventCallback(null);
});

test('a stack names the file and its line', async () => {
  let stack;
  capture.setMotionEventCallback(() => {
    stack ??= new Error('where').stack;
  });
  capture.startCapturing();
  harness.burst(1, 0, 0);
  await until('the event', () => stack !== undefined);
  const line = 1 + source.split('\n').findIndex((text) => text.trim().startsWith('motion({'));
  assert.ok(line > 1);
  assert.match(stack, new RegExp(`at deliver \\(zebbridge:bridge/pointer_delivery\\.js:${line}:\\d+\\)`));
});

// The records wait until script runs the loop.
function queue(count, first) {
  const before = harness.dispatched();
  harness.burst(count, first, 0);
  while (harness.dispatched() < before + count);
}

test('a callback that has been replaced is not called for the records at hand', async () => {
  const seen = [];
  const see = (name) => (event) => seen.push(`${name} ${event.screenPoint.x}`);
  capture.setButtonsEventCallback(null);
  capture.setMotionEventCallback((event) => {
    if (see('first')(event) === 2) capture.setMotionEventCallback(see('second'));
  });
  capture.startCapturing();
  queue(4, 0);
  await until('all', () => seen.length === 4);
  assert.deepEqual(seen, ['first 0', 'first 1', 'second 2', 'second 3']);
});

test('what comes while a callback runs the loop is delivered after what waits', async () => {
  const seen = [];
  capture.setMotionEventCallback(({ screenPoint }) => {
    seen.push(screenPoint.x);
    if (screenPoint.x !== 0) return;
    queue(3, 3);
    for (const deadline = Date.now() + 60_000; seen.length < 6 && Date.now() < deadline; ) harness.turnLoop();
    seen.push('back');
  });
  capture.startCapturing();
  queue(3, 0);
  await until('all', () => seen.includes('back'));
  assert.deepEqual(seen, [0, 1, 2, 3, 4, 5, 'back']);
});

test('a time limit that ends a callback inside a loop of script loses no event', async () => {
  const events = [];
  let isLimited = false;
  const see = (event) => {
    events.push(event);
    if (isLimited && events.length === 7) for (;;);
  };
  capture.setMotionEventCallback(({ screenPoint }) => see(screenPoint.x));
  capture.setButtonsEventCallback(() => see('button'));
  capture.startCapturing();
  globalThis.loop = () => {
    for (;;) harness.turnLoop();
  };
  const expected = Array.from({ length: 2000 }, (_, index) => [index, 'button']).flat();
  for (let timeout = 200, atLimit = 0; atLimit !== 7; timeout *= 2) {
    assert.ok(timeout < 60_000, 'the limit comes inside the callback');
    events.length = 0;
    const before = harness.dispatched();
    harness.burst(2000, 0, 1);
    while (harness.dispatched() < before + 2000); // the records have arrived
    isLimited = true;
    assert.throws(() => vm.runInThisContext('loop()', { timeout }), { code: 'ERR_SCRIPT_EXECUTION_TIMEOUT' });
    isLimited = false;
    atLimit = events.length;
    await until('the rest', () => events.length >= expected.length);
    assert.deepEqual(events, expected);
  }
});
