'use strict';
const assert = require('node:assert/strict');
const test = require('node:test');
const { Worker } = require('node:worker_threads');
const { zebbridge, file, collect } = require('./support/zebbridge');
const { runScript } = require('./support/processes');
const { until, turn } = require('./support/until');
const desktop = require('./support/desktop');
const x11 = require('./support/x11');

const { hardware } = zebbridge;
const { addon, mouse, MOUSE, skip } = desktop;

const MIDDLE_DOWN = [0, 2, 0];
const MIDDLE_UP = [0, 1, 0];

function clickMiddle() {
  mouse(MOUSE.middleDown);
  mouse(MOUSE.middleUp);
}

// Many reports, sent in one go; script is busy meanwhile, so that they come in few drains.
const send = (count) => mouse(MOUSE.middleUp, 0, 0, 0, count);

// Every test ends with nothing capturing and its capture objects collected: the collection of any of them ends the
// capture that runs.
async function cleanUp() {
  hardware.capturePointer().stopCapturing();
  await turn();
  collect();
}

test.before(async () => {
  if (skip) return;
  await desktop.openWindow();
  await x11.moveTo(500, 400);
});
test.after(() => {
  if (!skip) desktop.closeWindow();
});

function lifetimeTest(name, run) {
  test(name, { skip }, async (t) => {
    t.after(cleanUp);
    await run(t);
  });
}

// ---- collection ----------------------------------------------------------------------------------------------------------

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

lifetimeTest('the collection of an idle capture ends the one that runs', async () => {
  const running = hardware.capturePointer();
  const recorder = desktop.record(running);
  await desktop.startCapturing(running);
  (() => { hardware.capturePointer(); })();
  await turn();
  collect();
  assert.equal(desktop.isListening(), false);
  await desktop.startCapturing(running);
  clickMiddle();
  await until('the click', () => recorder.events.length === 2);
  assert.deepEqual(recorder.events, [MIDDLE_DOWN, MIDDLE_UP]);
});

lifetimeTest('an ordinary collection does not touch a capture in use', async () => {
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

// In memory that fails whoever uses it after its end.
test('a drain outlives its capture object', { skip }, async () => {
  const { stdout, stderr, status } = await runScript(`
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
  `);
  assert.equal(stderr, '');
  assert.equal(stdout, 'several [true]\n');
  assert.equal(status, 0);
});

lifetimeTest('a capture with nothing but its callback', async () => {
  // The callback does not keep the capture: the module holds the function, not the function the module's object.
  let calls = 0;
  const reference = (() => {
    const capture = hardware.capturePointer();
    capture.setButtonsEventCallback(() => { ++calls; });
    return new WeakRef(capture);
  })();
  await turn();
  collect();
  assert.equal(reference.deref(), undefined);
  assert.equal(calls, 0);
});

lifetimeTest('many captures that nobody keeps', async () => {
  for (let round = 0; round < 5; ++round) {
    for (let count = 0; count < 200; ++count) hardware.capturePointer();
    collect();
    await turn();
  }
});

// ---- from inside a callback --------------------------------------------------------------------------------------------

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
  assert.deepEqual(calls, Array.from({ length: 50 }, (_, index) => index));
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
  capture.setButtonsEventCallback(() => { ++counted; });
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
  const capture = hardware.capturePointer();
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
  await turn(20);
  const before = calls;
  send(10);
  const other = hardware.capturePointer();
  const recorder = desktop.record(other);
  await desktop.startCapturing(other);
  clickMiddle();
  await until('the click', () => recorder.events.length >= 2);
  assert.equal(calls, before);
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
    Promise.resolve().then(() => order.push('promise')).then(() => order.push('next promise'));
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

// ---- how a process ends ------------------------------------------------------------------------------------------------

const END_WITH_CAPTURE = `
  const capture = zebbridge.hardware.capturePointer();
  zebbridge.diagnostics.setLogHandler((text) => console.log(text));
`;

// Starts capturing, runs `inCallback` at the first event. Every such child sends its own input.
const capturing = (inCallback, afterwards = '') => `
  ${END_WITH_CAPTURE}
  capture.setButtonsEventCallback(() => { console.log('event'); ${inCallback} });
  desktop.startCapturing(capture).then(() => { desktop.mouse(desktop.MOUSE.middleUp); ${afterwards} });
`;

const ends = {
  'a script that uses nothing': ['', 0, ''],
  'a script that never calls shutdown': [`${END_WITH_CAPTURE} capture.setMotionEventCallback(() => {});`, 0, ''],
  'its own exit code': [`${END_WITH_CAPTURE} process.exitCode = 7;`, 7, ''],
  'process.exit with an idle capture': [`${END_WITH_CAPTURE} process.exit(6);`, 6, ''],
  'process.exit right after a start': [`${END_WITH_CAPTURE} capture.startCapturing(); process.exit(4);`, 4, ''],
  'process.exit while capturing': [`${END_WITH_CAPTURE} desktop.startCapturing(capture).then(() => process.exit(3));`, 3, ''],
  'process.exit in a callback': [capturing('process.exit(5);'), 5, 'event\n'],
  'process.exit in a tick of a callback': [capturing('process.nextTick(() => process.exit(5));'), 5, 'event\n'],
  'process.exit in a promise of a callback': [capturing('Promise.resolve().then(() => process.exit(5));'), 5, 'event\n'],
  'process.exit in the log handler': [`
    zebbridge.diagnostics.setLogHandler(() => process.exit(8));
    zebbridge.hardware.capturePointer();
    console.log('not reached');`, 8, ''],
  'an exception while capturing': [`${END_WITH_CAPTURE} capture.startCapturing(); throw new Error('own');`, 1, ''],
  'an exception in a tick of a callback': [capturing(`process.nextTick(() => { throw new Error('own'); });`), 1, 'event\n'],
  'a rejection in a callback': [capturing(`Promise.reject(new Error('own'));`), 1, 'event\n'],
  'an exception in a callback is none': [capturing(`setImmediate(() => process.exit(9)); throw new Error('dropped');`), 9,
    'event\n'],
  'a capture that is stopped lets the process end': [capturing('capture.stopCapturing();'), 0,
    'event\nPointer capture released\n'],
  'a capture that is lost lets the process end': [`
    (() => { desktop.startCapturing(zebbridge.hardware.capturePointer()).then(() => setTimeout(collect, 10)); })();`, 0, ''],
  'shutdown in a callback': [capturing('zebbridge.shutdown(); capture.stopCapturing();'), 0, 'event\n'],
  'shutdown in a callback, then exit': [capturing('zebbridge.shutdown(); process.exit(2);'), 2, 'event\n'],
  'shutdown in the log handler': [`
    zebbridge.diagnostics.setLogHandler((text) => { console.log(text); zebbridge.shutdown(); });
    console.log(typeof zebbridge.hardware.capturePointer().startCapturing);`, 0, 'Native: capture pointer\nfunction\n'],
  'shutdown in the conversion of an argument': [`
    try { zebbridge.hardware.getButtonState({ valueOf() { zebbridge.shutdown(); return 0; } }); } catch (error) {
      console.log(error.message);
    }`, 0, 'Illegal invocation: shutdown() has released this object\n'],
  'shutdown twice': [`${END_WITH_CAPTURE} zebbridge.shutdown(); zebbridge.shutdown();`, 0, ''],
  'shutdown in an exit handler': [`${END_WITH_CAPTURE} process.on('exit', () => zebbridge.shutdown());
    capture.startCapturing(); process.exit(11);`, 11, ''],
  'a capture that goes on after shutdown ends with the process': [`${END_WITH_CAPTURE}
    desktop.startCapturing(capture).then(() => {
      zebbridge.shutdown();
      console.log(desktop.isListening());
      setImmediate(() => process.exit(12));
    });`, 12, 'true\n'],
  'objects after shutdown and a collection': [`${END_WITH_CAPTURE}
    zebbridge.shutdown();
    setImmediate(() => {
      collect();
      capture.startCapturing();
      capture.stopCapturing();
      try { zebbridge.hardware.capturePointer(); } catch (error) { console.log(error.name); }
    });`, 0, 'TypeError\n'],
};

// The module's own records are only of interest where they are expected.
for (const [name, [script, status, stdout]] of Object.entries(ends)) {
  test(`end: ${name}`, { skip }, async () => {
    const ended = await runScript(script);
    assert.equal(ended.stdout, stdout);
    assert.equal(ended.status, status, ended.stderr);
    if (status !== 1) assert.equal(ended.stderr, '');
    else assert.match(ended.stderr, /Error: own/);
  });
}

test('end: a running capture keeps the process alive, an idle one does not', { skip }, async () => {
  const { stdout, status } = await runScript(`
    const capture = zebbridge.hardware.capturePointer();
    process.on('beforeExit', () => console.log('nothing left to do'));
    desktop.startCapturing(capture).then(() => {
      // Unreferenced: were the capture no reason to stay, the process would end before it fires.
      setTimeout(() => { console.log('still here'); capture.stopCapturing(); }, 300).unref();
    });
  `);
  assert.deepEqual({ stdout, status }, { stdout: 'still here\nnothing left to do\n', status: 0 });
});

// ---- loaded more than once -----------------------------------------------------------------------------------------------

const LOAD_AGAIN = `
  delete require.cache[require.resolve(file)];
  const again = require(file);
`;

test('loaded twice: components of their own, and shutdown of one releases both', async () => {
  const { stdout, status, stderr } = await runScript(`${LOAD_AGAIN}
    console.log(again !== zebbridge, again.hardware !== zebbridge.hardware, Object.keys(again).join() === Object.keys(zebbridge).join());
    console.log(zebbridge.hardware.getButtonState.call(again.hardware, 0));
    again.shutdown();
    for (const each of [zebbridge, again]) {
      try { each.hardware.getButtonState(0); } catch (error) { console.log(error.message); }
    }
    zebbridge.shutdown();
  `);
  assert.equal(stderr, '');
  const released = 'Illegal invocation: shutdown() has released this object\n';
  assert.equal(stdout, `true true true\nfalse\n${released}${released}`);
  assert.equal(status, 0);
});

test('loaded twice: each has a driver of its own', { skip }, async () => {
  const { stdout, status } = await runScript(`${LOAD_AGAIN}
    const [first, second] = [zebbridge, again].map((each) => each.hardware.capturePointer());
    first.startCapturing();
    second.stopCapturing();
    console.log(desktop.isListening() || 'waiting');
    desktop.listening().then(() => {
      second.stopCapturing();
      console.log(desktop.isListening());
      first.stopCapturing();
      console.log(desktop.isListening());
    });
  `);
  assert.match(stdout, /^(true|waiting)\ntrue\nfalse\n$/);
  assert.equal(status, 0);
});

test('loaded many times', async () => {
  const { stdout, status } = await runScript(`
    for (let count = 0; count < 100; ++count) {
      const loaded = { exports: {} };
      process.dlopen(loaded, file);
      if (Object.keys(loaded.exports).length !== 6) console.log('incomplete');
    }
    collect();
    zebbridge.shutdown();
    console.log('end');
  `);
  assert.deepEqual({ stdout, status }, { stdout: 'end\n', status: 0 });
});

// ---- worker threads ------------------------------------------------------------------------------------------------------

function startWorker(script) {
  const worker = new Worker(`
    const { parentPort } = require('node:worker_threads');
    const zebbridge = require(${JSON.stringify(file)});
    ${script}`, { eval: true });
  const messages = [];
  worker.on('message', (message) => messages.push(message));
  worker.on('error', (error) => messages.push(error));
  const ended = new Promise((resolve) => worker.on('exit', resolve));
  return { worker, messages, ended, message: (text) => until(`"${text}"`, () => messages.includes(text)) };
}

async function assertMainWorks() {
  const capture = hardware.capturePointer();
  const recorder = desktop.record(capture);
  await desktop.startCapturing(capture);
  clickMiddle();
  await until('the click', () => recorder.events.length === 2);
  assert.deepEqual(recorder.events, [MIDDLE_DOWN, MIDDLE_UP]);
  capture.stopCapturing();
}

const workers = {
  'that only loads the module': ['', 0],
  'with an idle capture': ['globalThis.capture = zebbridge.hardware.capturePointer();', 0],
  'that exits while it captures': [`
    const capture = zebbridge.hardware.capturePointer();
    capture.startCapturing();
    process.exit(3);`, 3],
  'that throws while it captures': [`
    globalThis.capture = zebbridge.hardware.capturePointer();
    capture.startCapturing();
    throw new Error('own');`, 1],
};

for (const [name, [script, status]] of Object.entries(workers)) {
  lifetimeTest(`a worker ${name} ends, and the main thread goes on`, async () => {
    await assertMainWorks();
    const { ended } = startWorker(script);
    assert.equal(await ended, status);
    assert.equal(desktop.isListening(), false);
    await assertMainWorks();
  });
}

lifetimeTest('a worker that is terminated while it captures', async () => {
  const { worker, message } = startWorker(`
    globalThis.capture = zebbridge.hardware.capturePointer();
    capture.setButtonsEventCallback(() => parentPort.postMessage('event'));
    capture.startCapturing();
    parentPort.postMessage('started');`);
  await message('started');
  await desktop.listening();
  clickMiddle();
  await message('event');
  assert.equal(await worker.terminate(), 1);
  assert.equal(desktop.isListening(), false);
  await assertMainWorks();
});

lifetimeTest('a worker that is terminated inside a callback', async () => {
  const { worker, message } = startWorker(`
    globalThis.capture = zebbridge.hardware.capturePointer();
    capture.setButtonsEventCallback(() => {
      parentPort.postMessage('event');
      for (;;) {}
    });
    capture.startCapturing();
    parentPort.postMessage('started');`);
  await message('started');
  await desktop.listening();
  send(50);
  await message('event');
  assert.equal(await worker.terminate(), 1);
  assert.equal(desktop.isListening(), false);
  await assertMainWorks();
});

lifetimeTest('a worker captures on its own thread', async () => {
  const { message, ended } = startWorker(`
    const capture = zebbridge.hardware.capturePointer();
    capture.setButtonsEventCallback(({ middle }) => {
      parentPort.postMessage('middle ' + middle);
      if (middle === 1) capture.stopCapturing();
    });
    capture.startCapturing();
    parentPort.postMessage('started');`);
  await message('started');
  await desktop.listening();
  clickMiddle();
  await message('middle 2');
  await message('middle 1');
  assert.equal(await ended, 0);
  await assertMainWorks();
});

test('workers that come and go', async () => {
  for (let round = 0; round < 3; ++round) {
    const all = Array.from({ length: 4 }, () => startWorker(`
      for (let count = 0; count < 10; ++count) zebbridge.hardware.capturePointer();
      const capture = zebbridge.hardware.capturePointer();
      capture.startCapturing();
      capture.stopCapturing();
      zebbridge.diagnostics.setLogHandler(() => {});`));
    assert.deepEqual(await Promise.all(all.map(({ ended }) => ended)), [0, 0, 0, 0]);
    assert.equal(hardware.getButtonState(1), false);
  }
});

test('shutdown releases the components of every thread, each on its own', async () => {
  const RELEASED = 'Illegal invocation: shutdown() has released this object';
  const { stdout, status, stderr } = await runScript(`
    const { Worker } = require('node:worker_threads');
    const start = (script) => new Worker(\`
      const { parentPort } = require('node:worker_threads');
      const zebbridge = require(\${JSON.stringify(file)});
      const state = () => { try { return String(zebbridge.hardware.getButtonState(0)); } catch (error) { return error.message; } };
      parentPort.on('message', (message) => {
        if (message === 'end') process.exit(0);
        if (message === 'shutdown') zebbridge.shutdown();
        parentPort.postMessage(state());
      });
      parentPort.postMessage('ready');\`, { eval: true });
    const next = (worker) => new Promise((resolve) => worker.once('message', resolve));
    const ask = (worker, message = 'state') => { worker.postMessage(message); return next(worker); };
    (async () => {
      const [first, second] = [start(), start()];
      await Promise.all([next(first), next(second)]);
      console.log(await ask(first), await ask(second));
      console.log(await ask(first, 'shutdown'));
      await until('the other worker', async () => await ask(second) !== 'false');
      console.log(await ask(second));
      await until('the main thread', () => {
        try { zebbridge.hardware.getButtonState(0); return false; } catch (error) { console.log(error.message); return true; }
      });
      for (const worker of [first, second]) worker.postMessage('end');
    })();
  `);
  assert.equal(stderr, '');
  assert.equal(stdout, `false false\n${RELEASED}\n${RELEASED}\n${RELEASED}\n`);
  assert.equal(status, 0);
});
