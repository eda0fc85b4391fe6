// How workers end while the module works in them: each with its own exit code, and with nothing left in the process.
'use strict';
const assert = require('node:assert/strict');
const test = require('node:test');
const vm = require('node:vm');
const { Worker } = require('node:worker_threads');
const { addon, harness, counts, until } = require('../script/support/harness');
const { scale } = require('../script/support/length');
const { PRELUDE } = require('./support/ends');

// script, exit code, whether the main thread ends it once it says "ready"
const workers = {
  'only loads the module': ['', 0],
  'keeps an idle capture object': ['globalThis.capture = hardware.capturePointer();', 0],
  'ends while it captures': ['capturing(() => {}); process.exit(31);', 31],
  'throws while it captures': [`capturing(() => {}); throw new Error('own');`, 1],
  'exits in a motion callback': ['capturing(() => process.exit(32)); harness.burst(5000, 0, 1);', 32],
  'exits in a callback that the loop of a callback runs': [
    `let depth = 0;
    capturing(() => { if (++depth === 2) process.exit(33); harness.burst(10, 0, 0); for (;;) harness.turnLoop(); });
    harness.burst(5000, 0, 0);`,
    33,
  ],
  'exits in the log handler of a method': [
    `diagnostics.setLogHandler(() => process.exit(34));
    for (;;) hardware.capturePointer();`,
    34,
  ],
  'exits in the log handler of a stop': [
    `const capture = capturing(() => {});
    diagnostics.setLogHandler(() => process.exit(35)); capture.stopCapturing(); for (;;);`,
    35,
  ],
  'exits in the error handler': ['updating(false); updater.setErrorHandler(() => process.exit(36));', 36],
  'has a garbage collection in the middle of its end': [
    `capturing(() => {}); harness.collectAtEnd();
    for (let count = 0; count < 20; ++count) hardware.capturePointer();
    capture = null; process.exit(40);`,
    40,
  ],
  'exits while arguments are read': ['hardware.getButtonState({ valueOf() { process.exit(37); } }); for (;;);', 37],
  'exits while a text is read': ['updater.applyUpdate({ toString() { process.exit(38); } }); for (;;);', 38],
  'exits while an update runs': ['updating(true); process.exit(39);', 39],
  'exits while an update ends': [
    `updating(true); process.once('exit', () => harness.releaseDeployments());
    process.exit(41);`,
    41,
  ],
  'throws while an update runs': [`updating(true); throw new Error('own');`, 1],
  'stops a capture as its last work': [
    'setTimeout(counting(1000), 1); process.once("exit", () => process.exit(events === 1000 ? 42 : 0));',
    42,
  ],
  'is terminated while an update runs': [`updating(true); parentPort.postMessage('ready');`, 1, true],
  'is terminated while it stops a capture': [
    `const stop = counting(100000);
    capture.setMotionEventCallback(() => { if (++events === 500) parentPort.postMessage('ready'); });
    setTimeout(stop, 1);
    setInterval(() => {}, 100000); // on a busy machine, the main thread may be slower than all these events`,
    1,
    true,
  ],
  'is terminated while it captures': [`capturing(() => {}); parentPort.postMessage('ready');`, 1, true],
  'is terminated inside a motion callback': [
    `let first = true;
    capturing(() => { if (first) parentPort.postMessage('ready'); first = false; for (;;); });
    harness.burst(5000, 0, 0);`,
    1,
    true,
  ],
  'is terminated inside a buttons callback': [
    `let first = true;
    capturing(() => {}).setButtonsEventCallback(() => { if (first) parentPort.postMessage('ready'); first = false; for (;;); });
    harness.burst(5000, 0, 1);`,
    1,
    true,
  ],
  'is terminated in a loop that a callback runs': [
    `let first = true;
    capturing(() => {
      if (!first) return;
      first = false;
      require('node:fs').stat('.', () => { parentPort.postMessage('ready'); for (;;); });
      // The loop uses up the stop of the worker.
      for (const deadline = Date.now() + 1000; Date.now() < deadline;) harness.turnLoop();
    });
    setTimeout(() => queue(3000));`,
    1,
    true,
  ],
  'is terminated in a loop that its last callback runs': [
    `let first = true;
    capturing(() => {
      if (!first) return;
      first = false;
      queue(5);
      require('node:fs').stat('.', () => { parentPort.postMessage('ready'); for (;;); });
      for (const deadline = Date.now() + 1000; Date.now() < deadline;) harness.turnLoop();
    });
    setTimeout(() => queue(5));`,
    1,
    true,
  ],
  'is terminated between events': [
    `let events = 0;
    capturing(() => { if (++events === 100) parentPort.postMessage('ready'); });
    const feed = () => { harness.burst(1000, 0, 1); setImmediate(feed); }; feed();`,
    1,
    true,
  ],
  'is terminated inside the log handler of a method': [
    `let first = true;
    diagnostics.setLogHandler(() => { if (first) parentPort.postMessage('ready'); first = false; for (;;); });
    for (;;) hardware.capturePointer();`,
    1,
    true,
  ],
  'is terminated while arguments are read': [
    `
    const loop = { valueOf() { parentPort.postMessage('ready'); for (;;); }, toString() { for (;;); } };
    for (;;) try { hardware.getButtonState(loop); } catch {}`,
    1,
    true,
  ],
  'is terminated while a text is read': [
    `
    const loop = { toString() { parentPort.postMessage('ready'); for (;;); } };
    for (;;) try { updater.getUpdateErrors(loop); } catch {}`,
    1,
    true,
  ],
  'is terminated inside its error handler': [
    `updating(false);
    updater.setErrorHandler(() => { parentPort.postMessage('ready'); for (;;); });`,
    1,
    true,
  ],
};

let delivered = 0;
const capture = addon.hardware.capturePointer();
capture.setMotionEventCallback(() => ++delivered);

// Input goes to the capture that runs, so the main thread captures only between the workers.
async function mainWorks() {
  delivered = 0;
  capture.startCapturing();
  harness.burst(100, 0, 0);
  await until('the records', () => delivered >= 100);
  capture.stopCapturing();
}

// What the process holds without a worker.
let before;
test.before(async () => {
  await mainWorks();
  before = await counts();
});

for (const [name, [script, code, terminated]] of Object.entries(workers)) {
  test(`a worker ${name}`, async () => {
    const worker = new Worker(`const { parentPort } = require('node:worker_threads');${PRELUDE}${script}`, {
      eval: true,
    });
    const ended = new Promise((resolve) => worker.on('exit', resolve));
    worker.on('error', (error) => assert.match(String(error), /own/));
    if (terminated) {
      await new Promise((resolve) => worker.once('message', resolve));
      await worker.terminate();
    }
    assert.equal(await ended, code);
    harness.releaseDeployments(); // they continue without the worker
    await until(
      'the end of the deployments',
      () => harness.counts().deployments === 0 && harness.counts().threads === 0,
    );
    assert.deepEqual(await counts(), before, 'the worker has left nothing');
    await mainWorks();
  });
}

// The engine ends only the script that runs when the worker is told to stop.
const READY = `parentPort.postMessage('ready'); for (;;);`;
const waiting = {
  'pointer records wait': `capturing(called, called); setTimeout(() => { queue(10, 0, 1); ${READY} });`,
  'a report waits': `
    globalThis.updating(true, called);
    setTimeout(() => {
      const { threads } = harness.counts();
      harness.releaseDeployments();
      spin('the end of the update', () => harness.counts().threads < threads);
      ${READY}
    });`,
  'a log record is written': `
    (() => capturing(() => {
      capture = null;
      gc(); gc(); // the drain is the last to refer to the capture, and releases it
      diagnostics.setLogHandler(called);
      ${READY}
    }))();
    queue(10);`,
};

for (const [name, script] of Object.entries(waiting)) {
  test(`a worker calls nothing back once it is terminated, although ${name}`, async () => {
    const calls = new Int32Array(new SharedArrayBuffer(4));
    const worker = new Worker(
      `const { parentPort, workerData: calls } = require('node:worker_threads');${PRELUDE}
      const called = () => Atomics.add(calls, 0, 1);${script}`,
      { eval: true, workerData: calls },
    );
    const ended = new Promise((resolve) => worker.on('exit', resolve));
    await new Promise((resolve) => worker.once('message', resolve));
    await worker.terminate();
    assert.equal(await ended, 1);
    assert.equal(calls[0], 0);
    assert.deepEqual(await counts(), before);
  });
}

test('many workers at once, ended in every way while they are at work', async () => {
  const rounds = Math.ceil(4 * scale);
  for (let round = 0; round < rounds; ++round) {
    await Promise.all(
      Array.from(
        { length: 6 },
        (_, index) =>
          new Promise((resolve) => {
            const worker = new Worker(
              `const { parentPort } = require('node:worker_threads');${PRELUDE}
        diagnostics.setLogHandler(() => {});
        const capture = capturing(() => {});
        for (let count = 0; count < 20; ++count) hardware.capturePointer();
        parentPort.postMessage('ready');
        if (${index} % 3 === 0) process.exit(0);
        if (${index} % 3 === 1) setImmediate(() => capture.stopCapturing());`,
              { eval: true },
            );
            worker.on('exit', resolve);
            worker.on('message', () => {
              if (index % 3 === 2) worker.terminate();
            });
          }),
      ),
    );
  }
  assert.deepEqual(await counts(), before);
  await mainWorks();
});

test('a time limit ends script inside every callback and every conversion', async () => {
  const { hardware, diagnostics, msix_auto_updater: updater } = addon;
  const forever = () => {
    for (;;);
  };
  let depth = 0;
  const motions = {
    'records are delivered': forever,
    'records are delivered inside a callback that runs the loop': () => {
      if (++depth === 1) for (harness.burst(10, 0, 0); ; ) harness.turnLoop();
      for (;;);
    },
  };
  const loops = {
    'a number is read': () => {
      for (;;) hardware.getButtonState({ valueOf: forever });
    },
    'a text is read': () => {
      for (;;) updater.getUpdateErrors({ toString: forever });
    },
    'a record is logged': () => {
      for (;;) harness.writeLog(0, 'for ever');
    },
    'a record of a method is logged': () => {
      for (;;) hardware.capturePointer();
    },
    'records are delivered': () => {
      for (;;) harness.turnLoop();
    },
    'records are delivered inside a callback that runs the loop': () => {
      for (;;) harness.turnLoop();
    },
  };
  const limited = (name, loop, timeout) => {
    diagnostics.setLogHandler(forever);
    capture.setMotionEventCallback(motions[name] ?? null);
    if (motions[name]) {
      capture.startCapturing();
      harness.burst(3000, 0, 0);
    }
    const run = new vm.Script('(loop) => loop()').runInThisContext();
    globalThis.limitedLoop = () => {
      try {
        run(loop);
      } catch {
        for (;;); // script cannot catch a termination
      }
    };
    assert.throws(
      () => new vm.Script('limitedLoop()').runInThisContext({ timeout }),
      { code: 'ERR_SCRIPT_EXECUTION_TIMEOUT' },
      name,
    );
    diagnostics.setLogHandler(null);
    capture.stopCapturing();
  };
  for (const [name, loop] of Object.entries(loops)) limited(name, loop, 100);
  // Long enough for the input thread to run on a busy machine.
  const nested = 'records are delivered inside a callback that runs the loop';
  for (let timeout = 200; depth < 2; timeout *= 2) {
    assert.ok(timeout < 60_000, nested);
    depth = 0;
    limited(nested, loops[nested], timeout);
  }
  capture.setMotionEventCallback(() => ++delivered);
  await counts(); // collects the captures that were made above: the end of any of them would end the running one
  await mainWorks();
});

test('a time limit that ends a callback inside a loop of script loses no report that waits', async () => {
  const { msix_auto_updater: updater } = addon;
  let isLimited = false;
  let isReached = false;
  capture.setMotionEventCallback(() => {
    if (!isLimited) return;
    const { threads } = harness.counts();
    harness.releaseDeployments();
    while (harness.counts().threads >= threads); // the report waits for the loop's next event
    isReached = true;
    for (;;);
  });
  globalThis.limitedLoop = () => {
    for (;;) harness.turnLoop();
  };
  let updates = 0;
  let reports = 0;
  updater.setErrorHandler(() => ++reports);
  for (let timeout = 200; !isReached; timeout *= 2) {
    assert.ok(timeout < 60_000, 'the limit comes inside the callback');
    capture.startCapturing();
    harness.planDeployments('failed', true);
    updater.applyUpdate('https://example.com/app.msix');
    ++updates;
    harness.burst(1, 0, 0);
    isLimited = true;
    assert.throws(() => new vm.Script('limitedLoop()').runInThisContext({ timeout }), {
      code: 'ERR_SCRIPT_EXECUTION_TIMEOUT',
    });
    isLimited = false;
    capture.stopCapturing();
    harness.releaseDeployments();
    await until('the report', () => reports === updates);
  }
  updater.setErrorHandler(null);
  capture.setMotionEventCallback(() => ++delivered);
  await mainWorks();
});

test('a debugger ends one callback, and the next ones run', async (t) => {
  const asked = new Int32Array(new SharedArrayBuffer(8));
  const worker = new Worker(
    `const session = new (require('node:inspector').Session)();
    const { workerData: asked } = require('node:worker_threads');
    session.connectToMainThread();
    Atomics.wait(asked, 0, 0);
    session.post('Runtime.terminateExecution');
    Atomics.wait(asked, 1, 0); // the end of the worker may overtake the message`,
    { eval: true, workerData: asked },
  );
  t.after(() => worker.terminate());
  const ended = new Promise((resolve) => worker.on('exit', resolve));
  const first = 1_000_000; // not a record that an earlier test has left
  const count = 2000; // more than are delivered at once
  let calls = 0;
  capture.setMotionEventCallback(({ screenPoint }) => {
    if (screenPoint.x < first || ++calls !== 1) return;
    Atomics.store(asked, 0, 1);
    Atomics.notify(asked, 0);
    for (;;);
  });
  capture.startCapturing();
  const before = harness.dispatched();
  harness.burst(count, first, 0);
  // They must all wait in the queue when the first callback runs, so the loop does not turn meanwhile.
  for (const deadline = Date.now() + 60_000; harness.dispatched() < before + count; ) assert.ok(Date.now() < deadline);
  await until('the other records', () => calls === count);
  capture.stopCapturing();
  Atomics.store(asked, 1, 1);
  Atomics.notify(asked, 1);
  await ended;
  capture.setMotionEventCallback(() => ++delivered);
  await mainWorks();
});
