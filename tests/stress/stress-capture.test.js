// Many pointer records, starts and objects through the real capture object, fed by a worker thread at full speed:
// everything arrives exactly once and in order, and nothing grows. ZEB_STRESS makes it that many times longer (see
// ./zeb soak), but never shorter, because what each object leaves behind only shows with many objects.
'use strict';
const assert = require('node:assert/strict');
const test = require('node:test');
const { addon, harness, counts, until, turn } = require('../script/support/harness');
const length = require('../script/support/length');
const progress = require('./support/progress');

const { hardware } = addon;
const scale = Math.max(1, length.scale);
const RECORDS = 200_000 * scale;
const STARTS = 1_000 * scale;
const OBJECTS = 1_000 * scale;
const HOUR = { timeout: 3_600_000 };
const MEGABYTE = 2 ** 20;

// When any capture object is garbage-collected, the running capture ends, so the tests share one.
const capture = hardware.capturePointer();

const residentMegabytes = () => process.memoryUsage().rss / MEGABYTE;

async function scriptBytes() {
  await counts();
  return process.memoryUsage().heapUsed;
}

async function finish() {
  capture.stopCapturing();
  capture.setMotionEventCallback(null);
  capture.setButtonsEventCallback(null);
  await until('the end of the thread', () => harness.counts().threads === 0);
  await turn(0); // what it has read is delivered
}

// Keeps the input thread busy with pointer records that number themselves, a few bursts ahead of script.
function feeder(total, burst = 20_000) {
  let fed = 0;
  return {
    feed(seen) {
      while (fed < total && fed - seen < 3 * burst) {
        const count = Math.min(burst, total - fed);
        harness.burst(count, fed, 1); // each presses a button
        fed += count;
      }
    },
  };
}

test(`${RECORDS} records, each with two events`, HOUR, async () => {
  const report = progress('records', RECORDS);
  const { feed } = feeder(RECORDS);
  let events = 0;
  let wrong = 0;
  capture.setMotionEventCallback(({ offset, screenPoint }) => {
    if (events !== screenPoint.x * 2 || screenPoint.y !== screenPoint.x + 1 || offset.x !== 1 || offset.y !== -1)
      ++wrong;
    ++events;
  });
  capture.setButtonsEventCallback(({ left, middle, right }) => {
    if (events % 2 !== 1 || left !== 2 || middle !== 0 || right !== 0) ++wrong;
    ++events;
  });
  capture.startCapturing();
  let early = 0;
  while (events < 2 * RECORDS) {
    const seen = Math.floor(events / 2);
    if (early === 0 && seen > RECORDS / 4) early = residentMegabytes();
    feed(seen);
    report(seen);
    await turn(1);
  }
  const late = residentMegabytes();
  harness.burst(1, RECORDS, 0); // a marker: a motion, and the last event
  await until('the marker', () => events > 2 * RECORDS);
  await finish();
  assert.deepEqual({ events, wrong }, { events: 2 * RECORDS + 1, wrong: 0 });
  assert.ok(late - early < 64, `${early.toFixed()} MB became ${late.toFixed()} MB`);
});

test(`${STARTS} starts, each with a stop at once`, HOUR, async () => {
  const report = progress('starts', STARTS);
  const before = await counts();
  for (let index = 0; index < STARTS; ++index) {
    capture.startCapturing();
    capture.stopCapturing();
    if (index % 256 === 0) {
      report(index);
      await turn(0);
    }
  }
  assert.deepEqual(await counts(), before);
  capture.stopCapturing();
});

// The bytes of script memory that are left of each of `count` things that `work` does. Repeated while they are more than
// `limit`, because a leak grows every time, but the engine itself only at first and sometimes.
async function leftOfEach(count, limit, work) {
  let [bytes, each] = [await scriptBytes(), Infinity];
  for (let round = 0; round < 6 && each > limit; ++round) {
    const early = bytes;
    await work();
    bytes = await scriptBytes();
    each = (bytes - early) / count;
  }
  return each;
}

test(`${OBJECTS} capture objects, made and collected`, HOUR, async () => {
  const report = progress('objects', OBJECTS);
  const before = await counts();
  const make = (index) => {
    // in its own frame, because a frame keeps what it has seen
    const capture = hardware.capturePointer();
    capture.setMotionEventCallback(() => {});
    if (index % 3 === 0) capture.startCapturing();
  };
  const each = await leftOfEach(OBJECTS, 200, async () => {
    for (let index = 0; index < OBJECTS; ++index) {
      make(index);
      if (index % 256 === 0) {
        report(index);
        await turn(0);
      }
    }
    assert.deepEqual(await counts(), before);
  });
  assert.ok(each <= 200, `${each} bytes of script memory are left of each`);
});

const repeated = {
  setMotionEventCallback: () => capture.setMotionEventCallback(() => {}),
  setButtonsEventCallback: () => capture.setButtonsEventCallback(() => {}),
  getButtonState: () => hardware.getButtonState(0),
  setLogHandler: () => addon.diagnostics.setLogHandler(() => {}),
  setErrorHandler: () => addon.msix_auto_updater.setErrorHandler(() => {}),
  getUpdateErrors: () => addon.msix_auto_updater.getUpdateErrors('*'),
  'a call with too few arguments': () => assert.throws(() => hardware.getButtonState()),
  'a call of a foreign object': () => assert.throws(() => hardware.getButtonState.call({}, 0)),
};
test('no call leaves script memory behind', HOUR, async () => {
  harness.planEventLog(3, 20);
  const left = {};
  const calls = 2_000 * scale;
  for (const [name, call] of Object.entries(repeated)) {
    const each = await leftOfEach(calls, 50, () => {
      for (let count = 0; count < calls; ++count) call();
    });
    if (each > 50) left[name] = each;
  }
  assert.deepEqual(left, {});
  addon.diagnostics.setLogHandler(null);
  addon.msix_auto_updater.setErrorHandler(null);
  await finish();
});

// What a callback may do while pointer records keep coming. (Losing another capture object to garbage collection is not
// among it, because that ends the capture.)
const disturbances = {
  'replaces itself': (handlers) => {
    capture.setMotionEventCallback(handlers.motion.bind(null));
    capture.setButtonsEventCallback(handlers.buttons.bind(null));
  },
  'clears and sets itself': (handlers) => {
    capture.setMotionEventCallback(null);
    capture.setMotionEventCallback(handlers.motion);
  },
  throws: () => {
    throw new Error('dropped');
  },
  'throws something else': () => {
    throw Symbol('dropped');
  },
  'exhausts the stack': function exhaust() {
    exhaust();
  },
  'forces a garbage collection': () => global.gc(),
  'starts again': () => capture.startCapturing(),
  'runs the event loop': () => harness.turnLoop(),
  'asks for a button': () => hardware.getButtonState(1),
  logs: () => harness.writeLog(0, 'from inside a callback'),
};

const fewer = { 'exhausts the stack': 2_000, 'forces a garbage collection': 200 };

for (const [name, disturb] of Object.entries(disturbances)) {
  const records = (fewer[name] ?? 20_000) * Math.min(scale, 10);
  test(`a callback ${name} while records keep coming`, HOUR, async () => {
    const { feed } = feeder(records, 1_000);
    let events = 0;
    let wrong = 0;
    let disturbed = 0;
    const heard = (place) => {
      if (events++ !== place) ++wrong;
      if (place % 97 === 0) {
        ++disturbed;
        disturb(handlers);
      }
    };
    let number = 0;
    const handlers = {
      motion: ({ screenPoint }) => heard((number = screenPoint.x) * 2),
      buttons: () => heard(number * 2 + 1),
    };
    capture.setMotionEventCallback(handlers.motion);
    capture.setButtonsEventCallback(handlers.buttons);
    capture.startCapturing();
    while (events < 2 * records) {
      feed(Math.floor(events / 2));
      await turn(1);
    }
    await finish();
    assert.deepEqual({ events, wrong }, { events: 2 * records, wrong: 0 });
    assert.ok(disturbed > records / 50, `disturbed ${disturbed} times`);
  });
}

// Makes the input thread pass on more pointer records inside a callback, like a pointer that never rests.
function feedNow(count, first) {
  const before = harness.dispatched();
  harness.burst(count, first, 0);
  const deadline = Date.now() + 60_000;
  while (harness.dispatched() < before + count) assert.ok(Date.now() < deadline, 'handed over');
}

test('what comes while a callback runs is delivered in the same turn of the loop, after the ticks', async () => {
  const places = [];
  let turns = 0;
  let order;
  capture.setMotionEventCallback(({ screenPoint: { x } }) => {
    order.push(x);
    places.push(turns);
    if (x === 2) return;
    Promise.resolve().then(() => order.push(`promise of ${x}`));
    process.nextTick(() => order.push(`tick of ${x}`));
    setImmediate(() => ++turns);
    feedNow(1, x + 1);
  });
  capture.startCapturing();
  do {
    // a drain does not take long, so on a busy machine it may have ended between two of them
    order = [];
    places.length = 0;
    harness.burst(1, 0, 0);
    await until('the last', () => order.length === 7);
    assert.deepEqual(order, [0, 'tick of 0', 'promise of 0', 1, 'tick of 1', 'promise of 1', 2]);
    assert.ok(turns < 1000, 'a drain goes on');
    await turn(0);
  } while (places[0] !== places[2]);
  await finish();
});

test('what has been queued is one drain: ticks run after all of it', async () => {
  const order = [];
  capture.setMotionEventCallback(({ screenPoint: { x } }) => {
    order.push(x);
    if (x === 0) process.nextTick(() => order.push('tick'));
  });
  capture.startCapturing();
  feedNow(100, 0); // the loop does not turn meanwhile
  await until('all of it', () => order.length === 101);
  await finish();
  assert.deepEqual(order, [...Array(100).keys(), 'tick']);
});

test('what is queued when its capture object is collected is dropped', async () => {
  const before = await counts();
  let events = 0;
  (() => {
    const capture = hardware.capturePointer();
    capture.setMotionEventCallback(() => ++events);
    capture.startCapturing();
    feedNow(100, 0);
  })();
  global.gc();
  assert.deepEqual(await counts(), before);
  assert.equal(events, 0);
});

test('records that never end leave the loop its turns', async () => {
  const TURNS = 5;
  let turns = 0;
  let fed = 0;
  const deadline = Date.now() + 30_000; // otherwise the loop, and with it any other deadline, would wait for ever
  capture.setMotionEventCallback(() => {
    if (turns < TURNS && Date.now() < deadline) feedNow(1, ++fed);
  });
  capture.startCapturing();
  harness.burst(1, 0, 0);
  await until('a record that brings the next', () => fed > 0);
  for (; turns < TURNS; ++turns) await turn(0);
  await finish();
  assert.ok(Date.now() < deadline, `${fed} records in one turn`);
});

test('a callback stops the capture, and what was read before still comes', HOUR, async () => {
  const seen = [];
  let stoppedAt = -1;
  capture.setMotionEventCallback(({ screenPoint }) => {
    seen.push(screenPoint.x);
    if (stoppedAt < 0 && seen.length === 100) {
      capture.stopCapturing();
      stoppedAt = seen.length;
    }
  });
  for (let round = 0; round < 20 * Math.min(scale, 100); ++round) {
    seen.length = 0;
    stoppedAt = -1;
    capture.startCapturing();
    harness.burst(5_000, 0, 0);
    await until('the stop', () => stoppedAt > 0);
    await until('the end of the thread', () => harness.counts().threads === 0);
    const MARKER = 1_000_000; // takes the same way, so it comes after what was read
    capture.startCapturing();
    harness.burst(1, MARKER, 0);
    await until('the marker', () => seen.at(-1) === MARKER);
    capture.stopCapturing();
    seen.pop();
    assert.ok(seen.length >= 100);
    assert.ok(
      seen.every((x, index) => x === index),
      'in order',
    );
  }
  await finish();
});

// The last test, because it takes the components away.
test('a callback calls shutdown while records keep coming', HOUR, async () => {
  let events = 0;
  capture.setMotionEventCallback(() => {
    if (++events === 1_000) addon.shutdown();
  });
  capture.startCapturing();
  harness.burst(10_000, 0, 0);
  await until('the rest', () => events === 10_000);
  assert.throws(() => hardware.getButtonState(0), {
    message: 'Illegal invocation: shutdown() has released this object',
  });
  await finish();
  // This capture object and its driver; the handles of the environment (its context, what it delivers with, what it
  // makes wrappers from, the two that it probes the engine with) and of the object.
  assert.deepEqual(await counts(), { blocks: 2, asyncHandles: 2, threads: 0, handles: 7, deployments: 0 });
});
