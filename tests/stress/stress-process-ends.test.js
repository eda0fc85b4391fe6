// How processes end while the module works in them: each with its own exit code, and with nothing on the error stream
// that script did not write. For ends that need the real pointer, see tests/script/capture-workers.test.js.
'use strict';
const assert = require('node:assert/strict');
const test = require('node:test');
const { byTurns } = require('../script/support/length');
const { runScript } = require('../script/support/processes');
const { environments, file, PRELUDE } = require('./support/ends');

// script, exit code, what it prints (default: nothing)
const processes = {
  'nothing but the load': ['', 0],
  'an idle capture object': ['globalThis.capture = hardware.capturePointer();', 0],
  'an idle capture object with callbacks': ['hardware.capturePointer().setMotionEventCallback(() => {});', 0],
  'a log handler': ['diagnostics.setLogHandler(() => {});', 0],
  'an error handler': ['updater.setErrorHandler(() => {});', 0],
  'a capture that has been stopped': ['capturing(() => {}).stopCapturing();', 0],
  'a running capture keeps the process': [
    `
    capturing(() => {});
    setTimeout(() => { say('still here'); capture.stopCapturing(); }, 100).unref();`,
    0,
    'still here\n',
  ],
  'shutdown twice': ['shutdown(); shutdown();', 0],
  'shutdown with everything at work': [
    `capturing(() => {}); diagnostics.setLogHandler(() => {});
    shutdown(); capture.stopCapturing();`,
    0,
  ],
  'process.exit in a motion callback': ['capturing(() => process.exit(21)); harness.burst(5000, 0, 0);', 21],
  'process.exit in a buttons callback': [
    `capturing(null).setButtonsEventCallback(() => process.exit(22));
    harness.burst(5000, 0, 1);`,
    22,
  ],
  'process.exit in the log handler of a method': [
    `diagnostics.setLogHandler(() => process.exit(23));
    hardware.capturePointer(); say('not reached');`,
    23,
  ],
  'process.exit in the log handler of a stop': [
    `const capture = capturing(() => {});
    diagnostics.setLogHandler(() => process.exit(24)); capture.stopCapturing(); say('not reached');`,
    24,
  ],
  'process.exit in the log handler of a stop in a callback': [
    `capturing(() => capture.stopCapturing());
    diagnostics.setLogHandler(() => process.exit(41)); harness.burst(5000, 0, 0);`,
    41,
  ],
  'process.exit in a promise of a callback': [
    `capturing(() => { Promise.resolve().then(() => process.exit(25)); });
    harness.burst(5000, 0, 0);`,
    25,
  ],
  'process.exit in the error handler': [`updating(false); updater.setErrorHandler(() => process.exit(26));`, 26],
  'process.exit while arguments are read': ['hardware.getButtonState({ valueOf() { process.exit(27); } });', 27],
  'process.exit in a callback that the loop of a callback runs': [
    `let depth = 0;
    capturing(() => { if (++depth === 2) process.exit(28); harness.burst(10, 0, 0); for (;;) harness.turnLoop(); });
    harness.burst(5000, 0, 0);`,
    28,
  ],
  'process.exit while an update runs': ['updating(true); process.exit(29);', 29],
  'process.exit while several updates run': [
    `updating(true); updating(true); updating(true);
    setImmediate(() => process.exit(42));`,
    42,
  ],
  'process.exit while an update ends': [
    `updating(true); process.once('exit', () => harness.releaseDeployments());
    process.exit(43);`,
    43,
  ],
  'process.exit in the error handler of one update while another runs': [
    `updating(false);
    updater.setErrorHandler(() => process.exit(44));
    spin('the end of the deployment', () => harness.counts().deployments === 0 && harness.counts().threads === 0);
    harness.planDeployments('', true); updater.applyUpdate('https://example.com/another.msix');`,
    44,
  ],
  'an exception while an update runs': [`updating(true); setImmediate(() => { throw new Error('own'); });`, 1],
  'a rejection while an update runs': [`updating(true); Promise.reject(new Error('own'));`, 1],
  'shutdown waits for a running update': [
    `const { Worker } = require('node:worker_threads');
    const flag = new Int32Array(new SharedArrayBuffer(4));
    const worker = new Worker('const { workerData: flag, parentPort } = require("node:worker_threads");' +
      'const { harness } = require(' + JSON.stringify(${JSON.stringify(file)}) + '); parentPort.postMessage("");' +
      'Atomics.wait(flag, 0, 0); harness.releaseDeployments();', { eval: true, workerData: flag });
    worker.once('message', () => {
      updating(true);
      setTimeout(() => {}, 0);
      Atomics.store(flag, 0, 1);
      Atomics.notify(flag, 0);
      shutdown();
      say(String(harness.counts().deployments));
    });`,
    0,
    '0\n',
  ],
  'an update keeps the process until its report': ['updating(false);', 0, 'failed\n'],
  'an update that succeeds says nothing': [`harness.planDeployments('', false); updater.applyUpdate('x:y');`, 0],
  'an exception while capturing': [`capturing(() => {}); throw new Error('own');`, 1],
  'an exception in a tick of a callback': [
    `capturing(() => process.nextTick(() => { throw new Error('own'); }));
    harness.burst(5000, 0, 0);`,
    1,
  ],
  'a rejection in a callback': [
    `capturing(() => { Promise.reject(new Error('own')); }); harness.burst(5000, 0, 0);`,
    1,
  ],
  'an exception in a callback is dropped': [
    `capturing(() => { setImmediate(() => process.exit(30)); throw new Error('no'); });
    harness.burst(5000, 0, 0);`,
    30,
  ],
  'shutdown in a worker': [
    `
    const { Worker } = require('node:worker_threads');
    new Worker('require(' + ${JSON.stringify(JSON.stringify(file))} + ').shutdown();', { eval: true });
    (function ask() {
      try { hardware.getButtonState(0); setTimeout(ask, 1); } catch (error) { say(error.message); }
    })();`,
    0,
    'Illegal invocation: shutdown() has released this object\n',
  ],
  'shutdown inside a callback': [
    `let events = 0;
    capturing(() => { if (++events === 1) shutdown(); if (events === 5000) { capture.stopCapturing(); say('all'); } });
    harness.burst(5000, 0, 0);`,
    0,
    'all\n',
  ],
  'shutdown inside the log handler of a method': [
    `
    diagnostics.setLogHandler((text) => { say(text); shutdown(); });
    const capture = hardware.capturePointer();
    capture.startCapturing(); capture.stopCapturing();`,
    0,
    'Native: capture pointer\n',
  ],
  'shutdown inside the log handler of a stop': [
    `
    const capture = capturing(() => {});
    diagnostics.setLogHandler((text) => { say(text); shutdown(); });
    capture.stopCapturing();`,
    0,
    'Pointer capture released\n',
  ],
  'shutdown inside the error handler': [
    `updating(false); updater.setErrorHandler((text) => { say(text); shutdown(); });`,
    0,
    'failed\n',
  ],
  'shutdown while arguments are read': [
    `
    try { updater.setErrorHandler.call(updater); } catch {}
    try { hardware.getButtonState({ valueOf() { shutdown(); return 1; } }); } catch (error) { say(error.message); }`,
    0,
    'Illegal invocation: shutdown() has released this object\n',
  ],
  'shutdown inside a callback that runs the loop': [
    `let events = 0;
    capturing(() => {
      const event = ++events; // more of them arrive while the loop runs
      if (event % 500 === 0) harness.turnLoop();
      if (event === 1000) shutdown();
      if (event === 5000) { capture.stopCapturing(); say('all'); } });
    for (let part = 0; part < 5; ++part) harness.burst(1000, part * 1000, 0);`,
    0,
    'all\n',
  ],
  'a timer stops a capture as the last work': ['setTimeout(counting(1000), 1);', 0, '1000\n'],
  'an immediate stops a capture as the last work': ['setImmediate(counting(1000));', 0, '1000\n'],
  'a promise stops a capture as the last work': ['Promise.resolve().then(counting(1000));', 0, '1000\n'],
  'the main script stops a capture as the last work': ['counting(1000)();', 0, '1000\n'],
  'a tick stops a capture as the last work': ['process.nextTick(counting(1000));', 0, '1000\n'],
  'the error handler stops a capture as the last work': [
    `const stop = counting(1000);
    updating(false); updater.setErrorHandler(stop);`,
    0,
    '1000\n',
  ],
  'a callback stops its capture as the last work': [
    `const stop = counting(999);
    capture.setMotionEventCallback(() => { if (++events === 1) stop(); }); harness.burst(1, 0, 0);`,
    0,
    '1000\n',
  ],
  'a callback of the last drain stops its capture': [
    `const stop = counting(1000);
    capture.setMotionEventCallback(() => { if (++events === 500) stop(); });
    harness.burst(500, 0, 0);`,
    0,
    '1500\n',
  ],
  'a callback that runs the loop stops its capture': [
    `const stop = counting(999);
    capture.setMotionEventCallback(() => { if (++events === 1) { stop(); harness.turnLoop(); } });
    harness.burst(1, 0, 0);`,
    0,
    '1000\n',
  ],
  'a callback stops its capture and runs the loop until all have come': [
    `globalThis.events = 0;
    capturing(() => {
      if (++events > 1) return;
      capture.stopCapturing();
      for (const deadline = Date.now() + 60000; events < 1000 && Date.now() < deadline;) harness.turnLoop();
      say(events);
    });
    queue(1000);`,
    0,
    '1000\n',
  ],
  'another capture object stops a capture as the last work': [
    `const stop = counting(1000);
    const other = hardware.capturePointer();
    globalThis.capture = { kept: capture, stopCapturing: () => other.stopCapturing() };
    setTimeout(stop, 1);`,
    0,
    '1000\n',
  ],
  'a capture is stopped and started again, and stopped as the last work': [
    `const stop = counting(500);
    setTimeout(() => { stop(); capture.startCapturing(); stop(); }, 1);`,
    0,
    '1000\n',
  ],
  'a stop as the last work, with more than one turn takes': ['setTimeout(counting(100000), 1);', 0, '100000\n'],
  'a stop as the last work, with callbacks that throw': [
    `const stop = counting(1000);
    capture.setMotionEventCallback(() => { ++events; throw new Error('no'); }); setTimeout(stop, 1);`,
    0,
    '1000\n',
  ],
  'a stop as the last work, with nobody to deliver to': [
    `const stop = counting(1000);
    capture.setMotionEventCallback(null); setTimeout(stop, 1);`,
    0,
    '0\n',
  ],
  'a stop as the last work, then shutdown': [
    `const stop = counting(1000);
    setTimeout(() => { stop(); shutdown(); }, 1);`,
    0,
    '1000\n',
  ],
  'a stop as the last work, whose object is lost': [
    `const stop = counting(1000);
    setTimeout(() => { stop(); globalThis.capture = null; gc(); gc(); }, 1);`,
    0,
    '1000\n',
  ],
  'process.exit right after a stop': [
    `const stop = counting(1000);
    setTimeout(() => { stop(); process.exit(45); }, 1);`,
    45,
    '0\n',
  ],
  'a log handler waits for a thread that sets a log handler': [
    `
    const ask = asking('diagnostics.setLogHandler(() => {})');
    let answer;
    diagnostics.setLogHandler(() => { answer ??= ask(); });
    hardware.capturePointer(); say(answer);`,
    0,
    'ok\n',
  ],
  'a log handler waits for a thread that calls shutdown': [
    `
    const ask = asking('shutdown()');
    let answer;
    diagnostics.setLogHandler(() => { answer ??= ask(); });
    hardware.capturePointer(); say(answer);`,
    0,
    'ok\n',
  ],
  'a log handler waits for the end of a thread': [
    `
    const { Worker } = require('node:worker_threads');
    const ended = new Int32Array(new SharedArrayBuffer(4));
    const worker = new Worker('require(' + ${JSON.stringify(JSON.stringify(file))} + '); process.on("exit", () => {' +
      'Atomics.store(require("node:worker_threads").workerData, 0, 1);' +
      'Atomics.notify(require("node:worker_threads").workerData, 0); });', { eval: true, workerData: ended });
    let answer;
    diagnostics.setLogHandler(() => { answer ??= Atomics.wait(ended, 0, 0, 30000); });
    hardware.capturePointer(); say(answer.replace('not-equal', 'ok'));`,
    0,
    'ok\n',
  ],
  'every object lost and collected': [
    `(() => { capturing(() => {}); globalThis.capture = null; })();
    setImmediate(() => { gc(); gc(); });`,
    0,
  ],
  'a log handler runs the loop while a drain frees its capture': [
    `let events = 0;
    (() => capturing(() => {
      if (++events > 1) return;
      capture = null;
      gc(); gc();
      const from = Date.now();
      spin('the time', () => Date.now() > from + 3); // so that the drain leaves the next records for another one
      queue(10);
      diagnostics.setLogHandler((text) => { say(text); harness.turnLoop(); });
    }))();
    queue(1000);
    atExit(() => say(events));`,
    0,
    'Pointer capture released\n1000\n',
  ],
  'a garbage collection in the middle of the end': [
    `capturing(() => {}).stopCapturing(); harness.collectAtEnd();
    for (let count = 0; count < 20; ++count) hardware.capturePointer();`,
    0,
  ],
  'a garbage collection in the middle of an exit': [
    `capturing(() => {}); harness.collectAtEnd();
    for (let count = 0; count < 20; ++count) hardware.capturePointer();
    capture = null; process.exit(31);`,
    31,
  ],
  'loaded in two contexts': [
    `
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
    }, 200);`,
    0,
    'all\nIllegal invocation: shutdown() has released this object\n',
  ],
};

// What else runs in the process meanwhile.
const company = {
  alone: (script) => script,
  'beside a worker that loaded the module': (script) => `
    const living = new (require('node:worker_threads').Worker)(${JSON.stringify(`
      const { hardware, msix_auto_updater: updater } = require(${JSON.stringify(file)});
      globalThis.capture = hardware.capturePointer();
      capture.setMotionEventCallback(() => {});
      updater.setErrorHandler(() => {});
      const { parentPort } = require('node:worker_threads');
      parentPort.on('message', () => {});
      parentPort.postMessage('ready');`)}, { eval: true });
    living.once('message', () => {
      living.unref();
      ${script}
    });`,
  'beside a second environment': (script) => `
    require(${environments}).load().run(() => {
      globalThis.capture = hardware.capturePointer();
      capture.setMotionEventCallback(() => {});
      updater.setErrorHandler(() => {});
    });
    ${script}`,
};

// The same ends where only a second environment has loaded the module. Its ticks run after an event of its own; up to
// Node.js 24, every new environment has such an event. Not for scripts that need the first one's worker or its loop.
const inSecondEnvironment = (script) => `
  const environment = require(${environments}).create();
  environment.run('globalThis').atExit = (work) => process.on('exit', work);
  environment.run(${JSON.stringify(`(() => { ${PRELUDE}${script} })();`)});
  environment.run('setImmediate(() => {})');`;
const needsFirst = /worker|thread|waits for a running|right after/;

function programs(name, script) {
  const all = Object.entries(company).map(([living, inCompany]) => [living, PRELUDE + inCompany(script)]);
  if (!needsFirst.test(name)) all.push(['in a second environment', inSecondEnvironment(script)]);
  return all;
}

for (const [number, [name, [script, status, stdout = '']]] of Object.entries(processes).entries()) {
  for (const [living, program] of byTurns(programs(name, script), number)) {
    test(`a process, ${living}: ${name}`, async () => {
      const ended = await runScript(program, { prelude: false, milliseconds: 60000 });
      assert.deepEqual({ status: ended.status, stdout: ended.stdout }, { status, stdout }, ended.stderr);
      if (status === 1) assert.match(ended.stderr, /Error: own/);
      else assert.equal(ended.stderr, '');
    });
  }
}
