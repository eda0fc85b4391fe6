// How processes and workers end with the module at work in them: each with its own exit code and nothing on the error
// stream but what script itself has to say there. Where the real pointer is needed, see tests/script/lifetime.test.js.
'use strict';
const assert = require('node:assert/strict');
const test = require('node:test');
const { Worker } = require('node:worker_threads');
const { runScript } = require('../script/support/processes');
const { addon, file, harness, counts, until } = require('../script/support/harness');

const PRELUDE = `'use strict';
const addon = require(${JSON.stringify(file)});
const { hardware, diagnostics, msix_auto_updater: updater, shutdown, harness } = addon;
const say = (text) => require('node:fs').writeSync(1, text + '\\n');
const capturing = (motion) => {
  const capture = globalThis.capture = hardware.capturePointer();
  capture.setMotionEventCallback(motion);
  capture.startCapturing();
  return capture;
};
const updating = (held) => {
  harness.planDeployments('failed', held);
  updater.setErrorHandler((text) => say(text));
  updater.applyUpdate('https://example.com/app.msix');
};
`;

// script, exit code, what it prints (default: nothing)
const processes = {
  'nothing but the load': ['', 0],
  'an idle capture object': ['globalThis.capture = hardware.capturePointer();', 0],
  'an idle capture object with callbacks': ['hardware.capturePointer().setMotionEventCallback(() => {});', 0],
  'a log handler': ['diagnostics.setLogHandler(() => {});', 0],
  'an error handler': ['updater.setErrorHandler(() => {});', 0],
  'a capture that has been stopped': ['capturing(() => {}).stopCapturing();', 0],
  'a running capture keeps the process': [`
    capturing(() => {});
    setTimeout(() => { say('still here'); capture.stopCapturing(); }, 100).unref();`, 0, 'still here\n'],
  'shutdown twice': ['shutdown(); shutdown();', 0],
  'shutdown with everything at work': [`capturing(() => {}); diagnostics.setLogHandler(() => {});
    shutdown(); capture.stopCapturing();`, 0],
  'process.exit in a motion callback': ['capturing(() => process.exit(21)); harness.burst(5000, 0, 0);', 21],
  'process.exit in a buttons callback': [`capturing(null).setButtonsEventCallback(() => process.exit(22));
    harness.burst(5000, 0, 1);`, 22],
  'process.exit in the log handler of a method': [`diagnostics.setLogHandler(() => process.exit(23));
    hardware.capturePointer(); say('not reached');`, 23],
  'process.exit in the log handler of a stop': [`const capture = capturing(() => {});
    diagnostics.setLogHandler(() => process.exit(24)); capture.stopCapturing(); say('not reached');`, 24],
  'process.exit in a promise of a callback': [`capturing(() => { Promise.resolve().then(() => process.exit(25)); });
    harness.burst(5000, 0, 0);`, 25],
  'process.exit in the error handler': [`updating(false); updater.setErrorHandler(() => process.exit(26));`, 26],
  'process.exit while arguments are read': ['hardware.getButtonState({ valueOf() { process.exit(27); } });', 27],
  'process.exit in a callback that the loop of a callback runs': [`let depth = 0;
    capturing(() => { if (++depth === 2) process.exit(28); harness.burst(10, 0, 0); for (;;) harness.turnLoop(); });
    harness.burst(5000, 0, 0);`, 28],
  'process.exit while an update waits': [`updating(true); setTimeout(() => harness.releaseDeployments(), 0);
    process.once('exit', () => harness.releaseDeployments()); process.exit(29);`, 29],
  'an update keeps the process until its report': ['updating(false);', 0, 'failed\n'],
  'an update that succeeds says nothing': [`harness.planDeployments('', false); updater.applyUpdate('x:y');`, 0],
  'an exception while capturing': [`capturing(() => {}); throw new Error('own');`, 1],
  'an exception in a tick of a callback': [`capturing(() => process.nextTick(() => { throw new Error('own'); }));
    harness.burst(5000, 0, 0);`, 1],
  'a rejection in a callback': [`capturing(() => { Promise.reject(new Error('own')); }); harness.burst(5000, 0, 0);`, 1],
  'an exception in a callback is none': [`capturing(() => { setImmediate(() => process.exit(30)); throw new Error('no'); });
    harness.burst(5000, 0, 0);`, 30],
  'shutdown in a worker': [`
    const { Worker } = require('node:worker_threads');
    new Worker('require(' + ${JSON.stringify(JSON.stringify(file))} + ').shutdown();', { eval: true });
    (function ask() {
      try { hardware.getButtonState(0); setTimeout(ask, 1); } catch (error) { say(error.message); }
    })();`, 0, 'Illegal invocation: shutdown() has released this object\n'],
  'shutdown inside a callback': [`let events = 0;
    capturing(() => { if (++events === 1) shutdown(); if (events === 5000) { capture.stopCapturing(); say('all'); } });
    harness.burst(5000, 0, 0);`, 0, 'all\n'],
  'shutdown inside the log handler of a method': [`
    diagnostics.setLogHandler((text) => { say(text); shutdown(); });
    const capture = hardware.capturePointer();
    capture.startCapturing(); capture.stopCapturing();`, 0, 'Native: capture pointer\n'],
  'shutdown inside the log handler of a stop': [`
    const capture = capturing(() => {});
    diagnostics.setLogHandler((text) => { say(text); shutdown(); });
    capture.stopCapturing();`, 0, 'Pointer capture released\n'],
  'shutdown inside the error handler': [`updating(false); updater.setErrorHandler((text) => { say(text); shutdown(); });`, 0,
    'failed\n'],
  'shutdown while arguments are read': [`
    try { updater.setErrorHandler.call(updater); } catch {}
    try { hardware.getButtonState({ valueOf() { shutdown(); return 1; } }); } catch (error) { say(error.message); }`, 0,
  'Illegal invocation: shutdown() has released this object\n'],
  'shutdown inside a callback that runs the loop': [`let events = 0;
    capturing(() => {
      const event = ++events; // more of them arrive while the loop runs
      if (event % 500 === 0) harness.turnLoop();
      if (event === 1000) shutdown();
      if (event === 5000) { capture.stopCapturing(); say('all'); } });
    for (let part = 0; part < 5; ++part) harness.burst(1000, part * 1000, 0);`, 0, 'all\n'],
  'every object lost and collected': [`(() => { capturing(() => {}); globalThis.capture = null; })();
    setImmediate(() => { gc(); gc(); });`, 0],
  'a collection in the middle of the end': [`capturing(() => {}).stopCapturing(); harness.collectAtEnd();
    for (let count = 0; count < 20; ++count) hardware.capturePointer();`, 0],
  'a collection in the middle of an exit': [`capturing(() => {}); harness.collectAtEnd();
    for (let count = 0; count < 20; ++count) hardware.capturePointer();
    capture = null; process.exit(31);`, 31],
  'loaded in two contexts': [`
    const vm = require('node:vm');
    const load = vm.runInNewContext('(process, file) => { const module = { exports: {} }; process.dlopen(module, file); return module.exports; }');
    const other = load(process, ${JSON.stringify(file)});
    const capture = other.hardware.capturePointer();
    let events = 0;
    capture.setMotionEventCallback(() => { if (++events === 2000) { capture.stopCapturing(); say('all'); } });
    capture.startCapturing();
    harness.burst(2000, 0, 0);
    setTimeout(() => {
      shutdown();
      try { other.hardware.getButtonState(0); } catch (error) { say(error.message); }
    }, 200);`, 0, 'all\nIllegal invocation: shutdown() has released this object\n'],
};

for (const [name, [script, status, stdout = '']] of Object.entries(processes)) {
  test(`a process: ${name}`, async () => {
    const ended = await runScript(PRELUDE + script, { prelude: false });
    assert.deepEqual({ status: ended.status, stdout: ended.stdout }, { status, stdout }, ended.stderr);
    if (status === 1) assert.match(ended.stderr, /Error: own/);
    else assert.equal(ended.stderr, '');
  });
}

// script, exit code, whether the main thread ends it once it says "ready"
const workers = {
  'only loads the module': ['', 0],
  'keeps an idle capture object': ['globalThis.capture = hardware.capturePointer();', 0],
  'ends while it captures': ['capturing(() => {}); process.exit(31);', 31],
  'throws while it captures': [`capturing(() => {}); throw new Error('own');`, 1],
  'exits in a motion callback': ['capturing(() => process.exit(32)); harness.burst(5000, 0, 1);', 32],
  'exits in a callback that the loop of a callback runs': [`let depth = 0;
    capturing(() => { if (++depth === 2) process.exit(33); harness.burst(10, 0, 0); for (;;) harness.turnLoop(); });
    harness.burst(5000, 0, 0);`, 33],
  'exits in the log handler of a method': [`diagnostics.setLogHandler(() => process.exit(34));
    for (;;) hardware.capturePointer();`, 34],
  'exits in the log handler of a stop': [`const capture = capturing(() => {});
    diagnostics.setLogHandler(() => process.exit(35)); capture.stopCapturing(); for (;;);`, 35],
  'exits in the error handler': ['updating(false); updater.setErrorHandler(() => process.exit(36));', 36],
  'has a collection in the middle of its end': [`capturing(() => {}); harness.collectAtEnd();
    for (let count = 0; count < 20; ++count) hardware.capturePointer();
    capture = null; process.exit(40);`, 40],
  'exits while arguments are read': ['hardware.getButtonState({ valueOf() { process.exit(37); } }); for (;;);', 37],
  'exits while a text is read': ['updater.applyUpdate({ toString() { process.exit(38); } }); for (;;);', 38],
  'exits with an update at work': [`updating(true); process.once('exit', () => harness.releaseDeployments());
    process.exit(39);`, 39],
  'is terminated while it captures': [`capturing(() => {}); parentPort.postMessage('ready');`, 1, true],
  'is terminated inside a motion callback': [`let first = true;
    capturing(() => { if (first) parentPort.postMessage('ready'); first = false; for (;;); });
    harness.burst(5000, 0, 0);`, 1, true],
  'is terminated inside a buttons callback': [`let first = true;
    capturing(() => {}).setButtonsEventCallback(() => { if (first) parentPort.postMessage('ready'); first = false; for (;;); });
    harness.burst(5000, 0, 1);`, 1, true],
  'is terminated between events': [`let events = 0;
    capturing(() => { if (++events === 100) parentPort.postMessage('ready'); });
    const feed = () => { harness.burst(1000, 0, 1); setImmediate(feed); }; feed();`, 1, true],
  'is terminated inside the log handler of a method': [`let first = true;
    diagnostics.setLogHandler(() => { if (first) parentPort.postMessage('ready'); first = false; for (;;); });
    for (;;) hardware.capturePointer();`, 1, true],
  'is terminated while arguments are read': [`
    const loop = { valueOf() { parentPort.postMessage('ready'); for (;;); }, toString() { for (;;); } };
    for (;;) try { hardware.getButtonState(loop); } catch {}`, 1, true],
  'is terminated while a text is read': [`
    const loop = { toString() { parentPort.postMessage('ready'); for (;;); } };
    for (;;) try { updater.getUpdateErrors(loop); } catch {}`, 1, true],
  'is terminated inside its error handler': [`updating(false);
    updater.setErrorHandler(() => { parentPort.postMessage('ready'); for (;;); });`, 1, true],
};

let delivered = 0;
const capture = addon.hardware.capturePointer();
capture.setMotionEventCallback(() => ++delivered);

// Input goes to whoever captures, so the main thread captures only between the workers.
async function mainWorks() {
  delivered = 0;
  capture.startCapturing();
  harness.burst(100, 0, 0);
  await until('the records', () => delivered >= 100);
  capture.stopCapturing();
}

for (const [name, [script, code, terminated]] of Object.entries(workers)) {
  test(`a worker ${name}`, async () => {
    await mainWorks();
    const before = await counts();
    const worker = new Worker(`const { parentPort } = require('node:worker_threads');${PRELUDE}${script}`, { eval: true });
    const ended = new Promise((resolve) => worker.on('exit', resolve));
    worker.on('error', (error) => assert.match(String(error), /own/));
    if (terminated) {
      await new Promise((resolve) => worker.once('message', resolve));
      await worker.terminate();
    }
    assert.equal(await ended, code);
    assert.deepEqual(await counts(), before, 'the worker has left nothing');
    await mainWorks();
  });
}

test('many workers at once, ended in every way while they are at work', async () => {
  const before = await counts();
  const rounds = 4 * Number(process.env.ZEB_STRESS || 1);
  for (let round = 0; round < rounds; ++round) {
    await Promise.all(Array.from({ length: 6 }, (_, index) => new Promise((resolve) => {
      const worker = new Worker(`const { parentPort } = require('node:worker_threads');${PRELUDE}
        diagnostics.setLogHandler(() => {});
        const capture = capturing(() => {});
        for (let count = 0; count < 20; ++count) hardware.capturePointer();
        parentPort.postMessage('ready');
        if (${index} % 3 === 0) process.exit(0);
        if (${index} % 3 === 1) setImmediate(() => capture.stopCapturing());`, { eval: true });
      worker.on('exit', resolve);
      worker.on('message', () => { if (index % 3 === 2) worker.terminate(); });
    })));
  }
  assert.deepEqual(await counts(), before);
  await mainWorks();
});

test('a time limit ends script inside every callback and every conversion', async () => {
  const vm = require('node:vm');
  const { hardware, diagnostics, msix_auto_updater: updater } = addon;
  const forever = () => { for (;;); };
  let depth = 0;
  const motions = {
    'records are delivered': forever,
    'records are delivered inside a callback that runs the loop': () => {
      if (++depth === 1) for (harness.burst(10, 0, 0); ;) harness.turnLoop();
      for (;;);
    },
  };
  const loops = {
    'a number is read': () => { for (;;) hardware.getButtonState({ valueOf: forever }); },
    'a text is read': () => { for (;;) updater.getUpdateErrors({ toString: forever }); },
    'a record is logged': () => { for (;;) harness.writeLog(0, 'for ever'); },
    'a record of a method is logged': () => { for (;;) hardware.capturePointer(); },
    'records are delivered': () => { for (;;) harness.turnLoop(); },
    'records are delivered inside a callback that runs the loop': () => { for (;;) harness.turnLoop(); },
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
        for (;;);  // a termination is nothing that script could catch
      }
    };
    assert.throws(() => new vm.Script('limitedLoop()').runInThisContext({ timeout }),
      { code: 'ERR_SCRIPT_EXECUTION_TIMEOUT' }, name);
    diagnostics.setLogHandler(null);
    capture.stopCapturing();
  };
  for (const [name, loop] of Object.entries(loops)) limited(name, loop, 100);
  // Long enough for the input thread to have its turn on a busy machine.
  const nested = 'records are delivered inside a callback that runs the loop';
  for (let timeout = 200; depth < 2; timeout *= 2) {
    assert.ok(timeout < 60_000, nested);
    depth = 0;
    limited(nested, loops[nested], timeout);
  }
  capture.setMotionEventCallback(() => ++delivered);
  await mainWorks();
});
