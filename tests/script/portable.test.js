// The module's portable layers in the Linux Node.js, over input that the test feeds. The sanitizers watch this.
'use strict';
const assert = require('node:assert/strict');
const test = require('node:test');
const { Worker } = require('node:worker_threads');
const declared = require('./support/declared');
const { zebbridge, file, collect } = require('./support/zebbridge');
const { runScript } = require('./support/processes');
const { until, turn } = require('./support/until');

const { hardware, diagnostics, __input: input } = zebbridge;

// When any capture object is garbage-collected, the running capture ends. So all of them are kept to the end.
const kept = [];
const newCapture = () => kept[kept.push(hardware.capturePointer()) - 1];

// Records what a capture delivers: [dx, dy, x, y] for motion, 'left middle right' for buttons.
function record(capture) {
  const events = [];
  capture.setMotionEventCallback(({ offset, screenPoint }) => {
    events.push([offset.x, offset.y, screenPoint.x, screenPoint.y]);
  });
  capture.setButtonsEventCallback(({ left, middle, right }) => events.push(`${left} ${middle} ${right}`));
  return events;
}

function captureTest(name, run) {
  test(name, async (t) => {
    const capture = newCapture();
    t.after(() => capture.stopCapturing());
    await run(capture, t);
  });
}

// A script in its own process, with the module and its input. It keeps its capture object in `globalThis`, because
// garbage collection ends the capture of a script that no longer reaches its capture object. Leaks are not looked for,
// because some of these scripts end with process.exit, where the runtime frees nothing.
const runChild = (script) =>
  runScript(
    `
  const { hardware, shutdown, __input: input } = require(${JSON.stringify(file)});
  ${script}`,
    { prelude: false, environment: { ASAN_OPTIONS: 'detect_leaks=0' } },
  );

test('the exports are the declared components that need no Windows, and the stand-ins', () => {
  const portable = Object.keys(declared.components).filter((name) => name !== 'windows');
  assert.deepEqual(Object.keys(zebbridge), [...portable, '__input', '__updates', 'shutdown']);
});

captureTest('a record becomes a motion, then a transition of the buttons', async (capture) => {
  const events = record(capture);
  capture.startCapturing();
  input.push(7, -2, 100, 200, 2, 0, 1, 1);
  await until('both events', () => events.length === 2);
  assert.deepEqual(events, [[7, -2, 100, 200], '2 0 1']);
});

captureTest('a record without motion or transition is not delivered', async (capture) => {
  const events = record(capture);
  capture.startCapturing();
  input.push(0, 0, 5, 5, 0, 0, 0, 3);
  input.push(0, 0, 5, 5, 0, 2, 0, 1);
  input.push(0, -1, 5, 5, 0, 0, 0, 1);
  await until('both events', () => events.length === 2);
  assert.deepEqual(events, ['0 2 0', [0, -1, 5, 5]]);
});

captureTest('every record arrives once and in order', async (capture) => {
  const count = 200000;
  let next = 0;
  let presses = 0;
  let wrong = 0;
  capture.setMotionEventCallback(({ screenPoint }) => {
    if (screenPoint.x !== next || screenPoint.y !== next + 1) ++wrong;
    ++next;
  });
  capture.setButtonsEventCallback(({ left }) => {
    presses += left === 2 ? 1 : 0;
  });
  capture.startCapturing();
  input.burst(count, 0, 10);
  await until('all records', () => next >= count, 100000);
  assert.deepEqual({ next, wrong, presses }, { next: count, wrong: 0, presses: count / 10 });
});

captureTest('32-bit values arrive as they are', async (capture) => {
  const events = record(capture);
  capture.startCapturing();
  input.push(2147483647, -2147483648, -1, 2147483647, 0, 0, 0, 1);
  await until('the event', () => events.length === 1);
  assert.deepEqual(events, [[2147483647, -2147483648, -1, 2147483647]]);
});

test('buttons follow the swap', () => {
  const [LEFT, RIGHT, MIDDLE] = [1, 2, 4];
  for (const key of [LEFT, RIGHT, MIDDLE]) {
    input.setKey(key, true);
    assert.deepEqual(
      [0, 1, 2].map((button) => hardware.getButtonState(button)),
      [key === LEFT, key === MIDDLE, key === RIGHT],
    );
    input.setButtonSwap(true);
    assert.deepEqual(
      [0, 1, 2].map((button) => hardware.getButtonState(button)),
      [key === RIGHT, key === MIDDLE, key === LEFT],
    );
    input.setButtonSwap(false);
    input.setKey(key, false);
  }
});

test('two captures share one driver', async () => {
  const first = newCapture();
  const second = newCapture();
  const firstEvents = record(first);
  const secondEvents = record(second);
  first.startCapturing();
  second.startCapturing();
  input.push(1, 1, 0, 0, 0, 0, 0, 1);
  await until('the event', () => firstEvents.length === 1);
  second.stopCapturing();
  second.startCapturing();
  input.push(2, 2, 0, 0, 0, 0, 0, 1);
  await until('the event', () => secondEvents.length === 1);
  first.stopCapturing();
  assert.deepEqual([firstEvents, secondEvents], [[[1, 1, 0, 0]], [[2, 2, 0, 0]]]);
});

captureTest('a callback may replace and clear itself while records come', async (capture) => {
  const seen = [];
  const count = { first: 0, second: 0 };
  capture.setMotionEventCallback(function first() {
    if (++count.first < 10) return;
    seen.push('first');
    capture.setMotionEventCallback(() => {
      if (++count.second < 10) return;
      seen.push('second');
      capture.setMotionEventCallback(null);
    });
  });
  let presses = 0;
  capture.setButtonsEventCallback(() => ++presses);
  capture.startCapturing();
  input.burst(1000, 0, 1);
  await until('all presses', () => presses === 1000);
  assert.deepEqual({ seen, count }, { seen: ['first', 'second'], count: { first: 10, second: 10 } });
});

captureTest('what a callback throws is dropped and the next event comes', async (capture) => {
  let calls = 0;
  capture.setMotionEventCallback(() => {
    ++calls;
    throw new Error('dropped');
  });
  capture.startCapturing();
  input.burst(100, 0, 0);
  await until('all calls', () => calls === 100);
});

captureTest('a callback may stop and start the capture', async (capture) => {
  let calls = 0;
  capture.setMotionEventCallback(() => {
    ++calls;
    capture.stopCapturing();
    capture.startCapturing();
  });
  capture.startCapturing();
  for (let round = 1; round <= 20; ++round) {
    const before = calls;
    input.push(1, 0, 0, 0, 0, 0, 0, 1);
    await until('a call', () => calls > before);
  }
});

captureTest('promises that a callback settles go on when the events are delivered', async (capture) => {
  const order = [];
  const done = new Promise((resolve) => {
    capture.setMotionEventCallback(({ screenPoint }) => {
      Promise.resolve().then(() => order.push(`promise ${screenPoint.x}`));
      process.nextTick(() => order.push(`tick ${screenPoint.x}`));
      if (screenPoint.x === 2) setImmediate(resolve);
    });
  });
  capture.startCapturing();
  input.burst(3, 0, 0);
  await done;
  assert.deepEqual(
    order.filter((entry) => entry.startsWith('tick')),
    ['tick 0', 'tick 1', 'tick 2'],
  );
  assert.deepEqual(
    order.filter((entry) => entry.startsWith('promise')),
    ['promise 0', 'promise 1', 'promise 2'],
  );
});

test('a capture may be collected while its events are delivered', async () => {
  for (let round = 0; round < 5; ++round) {
    let calls = 0;
    let capture = hardware.capturePointer();
    capture.setMotionEventCallback(() => {
      if (++calls !== 5) return;
      capture = null;
      collect();
    });
    await until('calls', () => {
      if (calls >= 5) return true;
      capture.startCapturing(); // again, if an earlier round's capture object was collected and ended this one
      input.burst(50, 0, 0);
      return false;
    });
  }
  await turn();
  collect(); // otherwise the last rounds' captures would end those of later tests
});

captureTest('300 immediate starts and stops', (capture) => {
  record(capture);
  for (let round = 0; round < 300; ++round) {
    capture.startCapturing();
    if (round % 3 === 0) input.push(1, 1, 1, 1, 2, 0, 0, 10);
    capture.stopCapturing();
  }
});

test('the log reaches script, and its handler may be replaced from inside itself', (t) => {
  t.after(() => diagnostics.setLogHandler(null));
  const seen = [];
  diagnostics.setLogHandler((message, level) => {
    seen.push(`first: ${message} ${level}`);
    diagnostics.setLogHandler((later, laterLevel) => seen.push(`second: ${later} ${laterLevel}`));
    newCapture();
  });
  const capture = newCapture();
  capture.startCapturing();
  capture.stopCapturing();
  assert.deepEqual(seen, [
    'first: Native: capture pointer 0',
    'second: Native: capture pointer 0',
    'second: Pointer capture released 0',
  ]);
});

test('misuse is answered with errors', () => {
  const { getButtonState } = hardware;
  assert.throws(() => getButtonState(0), { name: 'TypeError', message: 'Illegal invocation' });
  assert.throws(() => hardware.getButtonState.call(newCapture(), 0), { name: 'TypeError' });
  assert.throws(() => hardware.getButtonState(), { name: 'Error', message: 'Expected (1) arguments, but only (0)' });
  assert.throws(() => hardware.getButtonState(Symbol('button')), { name: 'TypeError' });
});

captureTest('workers come and go while the main thread captures', async (capture) => {
  let calls = 0;
  capture.setMotionEventCallback(() => ++calls);
  for (let round = 0; round < 6; ++round) {
    const worker = new Worker(
      `
      const { hardware, diagnostics, __input: input } = require(${JSON.stringify(file)});
      const { parentPort } = require('node:worker_threads');
      const capture = hardware.capturePointer();
      capture.setMotionEventCallback(() => parentPort.postMessage('moved'));
      diagnostics.setLogHandler(() => {});
      capture.startCapturing();
      parentPort.on('message', () => {
        if (${round % 3} === 1) process.exit(5);
        capture.stopCapturing();
        parentPort.close();
      });
      input.push(1, 0, 0, 0, 0, 0, 0, 1);
    `,
      { eval: true },
    );
    const ended = new Promise((resolve) => worker.once('exit', resolve));
    await new Promise((resolve) => worker.once('message', resolve));
    capture.startCapturing();
    const before = calls;
    await until('a call here', () => {
      input.push(1, 0, 0, 0, 0, 0, 0, 1); // the worker's capture may take it
      return calls > before;
    });
    capture.stopCapturing();
    const status = round % 3 === 2 ? worker.terminate() : (worker.postMessage('end'), ended);
    assert.equal(await status, [0, 5, 1][round % 3]);
  }
});

test('a script that never calls shutdown ends with its own exit code', async () => {
  assert.equal((await runChild('hardware.capturePointer(); process.exitCode = 4;')).status, 4);
  assert.equal(
    (
      await runChild(`
    const capture = globalThis.capture = hardware.capturePointer();
    capture.setMotionEventCallback(() => process.exit(6));
    capture.startCapturing();
    input.burst(1000, 0, 0);`)
    ).status,
    6,
  );
  const thrown = await runChild(`
    const capture = globalThis.capture = hardware.capturePointer();
    capture.startCapturing();
    setTimeout(() => { throw new Error('on purpose'); }, 1);`);
  assert.equal(thrown.status, 1);
  assert.match(thrown.stderr, /on purpose/);
});

test('after shutdown inside a callback methods say so, and the capture goes on until it is stopped', async () => {
  const { status, stdout, stderr } = await runChild(`
    const capture = globalThis.capture = hardware.capturePointer();
    let calls = 0;
    capture.setMotionEventCallback(() => {
      if (++calls > 1) return;
      shutdown();
      try { hardware.getButtonState(0); } catch (failure) { console.log(failure.name + ': ' + failure.message); }
    });
    capture.startCapturing();
    input.burst(100000, 0, 0);
    (function wait() {
      if (calls < 100000) return setTimeout(wait, 5);
      capture.stopCapturing();
      console.log('ended');
    })();`);
  assert.deepEqual(
    { status, stdout, stderr },
    { status: 0, stderr: '', stdout: 'TypeError: Illegal invocation: shutdown() has released this object\nended\n' },
  );
});
