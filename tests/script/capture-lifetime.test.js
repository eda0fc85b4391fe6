// How long captures live, and what may happen inside their callbacks.
'use strict';
const assert = require('node:assert/strict');
const test = require('node:test');
const { zebbridge, collect } = require('./support/zebbridge');
const { runScript } = require('./support/processes');
const { until, turn } = require('./support/until');
const desktop = require('./support/desktop');
const { MIDDLE_DOWN, MIDDLE_UP, clickMiddle, send, settled, lifetimeTest } = require('./support/captures');

const { hardware } = zebbridge;
const { addon, mouse, MOUSE, skip } = desktop;

desktop.forAllTestsOf(test);

// ---- garbage collection --------------------------------------------------------------------------------------------------

lifetimeTest('a capture that script loses while it runs is stopped', async () => {
  const reference = await (async () => {
    const capture = hardware.capturePointer();
    await desktop.startCapturing(capture);
    return new WeakRef(capture);
  })();
  assert.equal(desktop.isListening(), true);
  await turn();
  collect();
  assert.equal(reference.deref(), undefined);
  assert.equal(desktop.isListening(), false);
  assert.deepEqual(addon.rawInputRegistrations(), []);
});

lifetimeTest('the garbage collection of an idle capture ends the one that runs', async () => {
  const running = hardware.capturePointer();
  const recorder = desktop.record(running);
  await desktop.startCapturing(running);
  (() => {
    hardware.capturePointer();
  })();
  await turn();
  collect();
  assert.equal(desktop.isListening(), false);
  await desktop.startCapturing(running);
  clickMiddle();
  await until('the click', () => recorder.events.length === 2);
  assert.deepEqual(recorder.events, [MIDDLE_DOWN, MIDDLE_UP]);
});

lifetimeTest('an ordinary garbage collection does not touch a capture in use', async () => {
  const capture = hardware.capturePointer();
  const recorder = desktop.record(capture);
  await desktop.startCapturing(capture);
  for (let round = 0; round < 3; ++round) {
    await turn();
    collect();
    clickMiddle();
    await until('the click', () => recorder.events.length === 2 * (round + 1));
  }
  capture.stopCapturing();
});

// In memory that makes any use after the end fail.
test('a drain outlives its capture object', { skip }, async () => {
  const script = `
    const probe = require(buildFile('node', 'binding-probe.node'));
    const { addon, mouse, MOUSE } = desktop;
    probe.control.poisonFreed();
    const seen = [];
    let capture = probe.hardware.capturePointer();
    const reference = new WeakRef(capture);
    capture.setMotionEventCallback(() => {});
    capture.setButtonsEventCallback(() => {
      if (seen.length === 0) mouse(MOUSE.middleUp, 0, 0, 0, 200);  // for the next drain, which loses its object
      if (seen.length === 1) {
        capture = null;
        collect();
      }
      seen.push(reference.deref() === undefined);
    });
    (async () => {
      await desktop.startCapturing(capture);
      mouse(MOUSE.middleUp);
      await until('the collection', () => seen.length > 1);
      await until('the end of the capture', () => !desktop.isListening());
      console.log(seen.length > 2 ? 'several' : 'too few', JSON.stringify([...new Set(seen.slice(1))]));
      probe.shutdown();
    })();
  `;
  // The system decides how many pointer records one drain finds. A drain that lost its object at its last one shows
  // nothing.
  let ended;
  for (let attempt = 0; attempt < 10 && ended?.stdout !== 'several [true]\n'; ++attempt) {
    ended = await runScript(script);
    assert.equal(ended.stderr, '');
    assert.match(ended.stdout, /^(several|too few) \[true\]\n$/);
    assert.equal(ended.status, 0);
  }
  assert.equal(ended.stdout, 'several [true]\n');
});

lifetimeTest('a capture with nothing but its callback', async () => {
  // The callback does not keep the capture: the module holds the function, but the function does not hold the object.
  let calls = 0;
  const reference = (() => {
    const capture = hardware.capturePointer();
    capture.setButtonsEventCallback(() => {
      ++calls;
    });
    return new WeakRef(capture);
  })();
  await turn();
  collect();
  assert.equal(reference.deref(), undefined);
  assert.equal(calls, 0);
});

lifetimeTest('many captures that nobody keeps', async () => {
  const references = [];
  for (let round = 0; round < 5; ++round) {
    for (let count = 0; count < 200; ++count) references.push(new WeakRef(hardware.capturePointer()));
    await turn(); // until then, each reference keeps its object
    collect();
  }
  assert.ok(references.every((each) => each.deref() === undefined));
});

// ---- inside a callback -------------------------------------------------------------------------------------------------

lifetimeTest('a callback replaces itself', async () => {
  const capture = hardware.capturePointer();
  const calls = [];
  capture.setButtonsEventCallback(() => {
    calls.push('first');
    capture.setButtonsEventCallback(() => calls.push('second'));
    collect();
  });
  await desktop.startCapturing(capture);
  send(20);
  await until('all events', () => calls.length >= 20);
  assert.deepEqual(calls, ['first', ...Array(19).fill('second')]);
  capture.stopCapturing();
});

lifetimeTest('a callback that takes turns with itself', async () => {
  const capture = hardware.capturePointer();
  const calls = [];
  const callback = (name) => () => {
    calls.push(name);
    capture.setButtonsEventCallback(callback(name + 1));
  };
  capture.setButtonsEventCallback(callback(0));
  await desktop.startCapturing(capture);
  send(50);
  await until('all events', () => calls.length >= 50);
  assert.deepEqual(
    calls,
    Array.from({ length: 50 }, (_, index) => index),
  );
  capture.stopCapturing();
});

lifetimeTest('a callback clears itself', async () => {
  const capture = hardware.capturePointer();
  let [cleared, counted] = [0, 0];
  capture.setButtonsEventCallback(() => {
    ++cleared;
    capture.setButtonsEventCallback(null);
    collect();
  });
  await desktop.startCapturing(capture);
  send(10);
  await until('the first event', () => cleared > 0);
  capture.setButtonsEventCallback(() => {
    ++counted;
  });
  clickMiddle();
  await until('the click', () => counted >= 2);
  assert.equal(cleared, 1);
  capture.stopCapturing();
});

lifetimeTest('the motion callback takes the buttons callback away before the same report reaches it', async () => {
  const capture = hardware.capturePointer();
  const calls = [];
  capture.setMotionEventCallback(({ offset }) => {
    calls.push('motion');
    if (offset.x === 2) capture.setButtonsEventCallback(null);
  });
  capture.setButtonsEventCallback(() => calls.push('buttons'));
  await desktop.startCapturing(capture);
  mouse(MOUSE.move | MOUSE.leftUp, 1, 1);
  await until('both', () => calls.includes('buttons'));
  calls.length = 0;
  mouse(MOUSE.move | MOUSE.leftUp, 2, 2);
  mouse(MOUSE.move, 1, 1);
  await until('the motions', () => calls.length >= 2);
  assert.ok(calls.every((call) => call === 'motion'));
  capture.stopCapturing();
});

lifetimeTest('a callback stops its capture', async () => {
  const [capture, other] = [hardware.capturePointer(), hardware.capturePointer()];
  const recorder = desktop.record(other);
  let calls = 0;
  capture.setButtonsEventCallback(() => {
    if (++calls === 1) {
      capture.stopCapturing();
      assert.equal(desktop.isListening(), false);
    }
  });
  await desktop.startCapturing(capture);
  send(10);
  await until('the first event', () => calls > 0);
  assert.equal(desktop.isListening(), false);
  await desktop.startCapturing(other);
  await settled(recorder); // by then, what was read before the stop has been delivered
  const before = calls;
  recorder.events.length = 0;
  send(10);
  await settled(recorder);
  assert.equal(calls, before);
  assert.equal(recorder.events.length, 10);
  other.stopCapturing();
  capture.stopCapturing();
});

lifetimeTest('a callback stops and starts its capture', async () => {
  const capture = hardware.capturePointer();
  let calls = 0;
  capture.setButtonsEventCallback(() => {
    ++calls;
    capture.stopCapturing();
    capture.startCapturing();
  });
  await desktop.startCapturing(capture);
  for (let round = 1; round <= 3; ++round) {
    const before = calls;
    await desktop.listening();
    send(1);
    await until('the event', () => calls > before);
  }
  capture.stopCapturing();
  assert.equal(desktop.isListening(), false);
});

lifetimeTest('a callback hands over to another capture', async () => {
  const [first, second] = [hardware.capturePointer(), hardware.capturePointer()];
  const calls = [];
  second.setButtonsEventCallback(() => calls.push('second'));
  first.setButtonsEventCallback(() => {
    calls.push('first');
    first.stopCapturing();
    second.startCapturing();
  });
  await desktop.startCapturing(first);
  send(1);
  await until('the first event', () => calls.length === 1);
  await desktop.listening();
  send(1);
  await until('the second event', () => calls.length === 2);
  assert.deepEqual(calls, ['first', 'second']);
  first.stopCapturing();
  second.stopCapturing();
});

lifetimeTest('ticks and promises of a callback run when its drain ends', async () => {
  const capture = hardware.capturePointer();
  const order = [];
  capture.setButtonsEventCallback(() => {
    order.push('event');
    setImmediate(() => order.push('immediate'));
    Promise.resolve()
      .then(() => order.push('promise'))
      .then(() => order.push('next promise'));
    process.nextTick(() => order.push('tick'));
    queueMicrotask(() => order.push('microtask'));
  });
  await desktop.startCapturing(capture);
  for (let round = 0; round < 5; ++round) {
    order.length = 0;
    send(1);
    await until('the immediate', () => order.includes('immediate'));
    assert.deepEqual(order, ['event', 'tick', 'promise', 'microtask', 'next promise', 'immediate']);
  }
  capture.stopCapturing();
});

// The port's message is the loop's next event: it is in the queue when the drain begins.
lifetimeTest('ticks and promises of a callback do not wait for the next event', async () => {
  const capture = hardware.capturePointer();
  const { port1, port2 } = new MessageChannel();
  const order = [];
  port2.on('message', () => order.push('message')).unref();
  capture.setButtonsEventCallback(() => {
    order.push('event');
    Promise.resolve().then(() => order.push('promise'));
    process.nextTick(() => order.push('tick'));
  });
  await desktop.startCapturing(capture);
  const busy = new Int32Array(new SharedArrayBuffer(4));
  for (let round = 0; round < 10; ++round) {
    order.length = 0;
    send(1);
    Atomics.wait(busy, 0, 0, 40); // script is busy while the input arrives
    port1.postMessage('next');
    await until('both', () => order.includes('event') && order.includes('message'));
    const from = order.indexOf('event');
    assert.deepEqual(order.slice(from, from + 3), ['event', 'tick', 'promise']);
  }
  capture.stopCapturing();
});

lifetimeTest('an asynchronous callback awaits as anywhere', async () => {
  const capture = hardware.capturePointer();
  const order = [];
  capture.setButtonsEventCallback(async () => {
    order.push('event');
    await null;
    order.push('awaited');
    await turn();
    order.push('later');
  });
  await desktop.startCapturing(capture);
  send(1);
  await until('the end', () => order.includes('later'));
  assert.deepEqual(order, ['event', 'awaited', 'later']);
  capture.stopCapturing();
});
