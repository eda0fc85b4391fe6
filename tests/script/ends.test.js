// How processes that use the module end, and what is left when they loaded it more than once. Each runs in its own
// process.
'use strict';
const assert = require('node:assert/strict');
const test = require('node:test');
const { file, buildFile } = require('./support/zebbridge');
const { runScript, debugScript } = require('./support/processes');
const desktop = require('./support/desktop');

const { skip } = desktop;

desktop.forAllTestsOf(test);

// In globalThis, because garbage collection ends the capture of a script that no longer reaches its capture object.
const END_WITH_CAPTURE = `
  const capture = globalThis.capture = zebbridge.hardware.capturePointer();
  zebbridge.diagnostics.setLogHandler((text) => console.log(text));
`;

// Starts to capture and runs `inCallback` at the first event. Every such child sends its own input.
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
  'process.exit while capturing': [
    `${END_WITH_CAPTURE} desktop.startCapturing(capture).then(() => process.exit(3));`,
    3,
    '',
  ],
  'process.exit in a callback': [capturing('process.exit(5);'), 5, 'event\n'],
  'process.exit in a tick of a callback': [capturing('process.nextTick(() => process.exit(5));'), 5, 'event\n'],
  'process.exit in a promise of a callback': [
    capturing('Promise.resolve().then(() => process.exit(5));'),
    5,
    'event\n',
  ],
  'process.exit in the log handler': [
    `
    zebbridge.diagnostics.setLogHandler(() => process.exit(8));
    zebbridge.hardware.capturePointer();
    console.log('not reached');`,
    8,
    '',
  ],
  'an exception while capturing': [`${END_WITH_CAPTURE} capture.startCapturing(); throw new Error('own');`, 1, ''],
  'an exception in a tick of a callback': [
    capturing(`process.nextTick(() => { throw new Error('own'); });`),
    1,
    'event\n',
  ],
  'a rejection in a callback': [capturing(`Promise.reject(new Error('own'));`), 1, 'event\n'],
  'an exception in a callback is dropped': [
    capturing(`setImmediate(() => process.exit(9)); throw new Error('dropped');`),
    9,
    'event\n',
  ],
  'a capture that is stopped lets the process end': [
    capturing('capture.stopCapturing();'),
    0,
    'event\nPointer capture released\n',
  ],
  'a capture that is lost lets the process end': [
    `
    (() => { desktop.startCapturing(zebbridge.hardware.capturePointer()).then(() => setTimeout(collect, 10)); })();`,
    0,
    '',
  ],
  'shutdown in a callback': [capturing('zebbridge.shutdown(); capture.stopCapturing();'), 0, 'event\n'],
  'shutdown in a callback, then exit': [capturing('zebbridge.shutdown(); process.exit(2);'), 2, 'event\n'],
  'shutdown in the log handler': [
    `
    zebbridge.diagnostics.setLogHandler((text) => { console.log(text); zebbridge.shutdown(); });
    console.log(typeof zebbridge.hardware.capturePointer().startCapturing);`,
    0,
    'Native: capture pointer\nfunction\n',
  ],
  'shutdown in the conversion of an argument': [
    `
    try { zebbridge.hardware.getButtonState({ valueOf() { zebbridge.shutdown(); return 0; } }); } catch (error) {
      console.log(error.message);
    }`,
    0,
    'Illegal invocation: shutdown() has released this object\n',
  ],
  'shutdown twice': [`${END_WITH_CAPTURE} zebbridge.shutdown(); zebbridge.shutdown();`, 0, ''],
  'shutdown in an exit handler': [
    `${END_WITH_CAPTURE} process.on('exit', () => zebbridge.shutdown());
    capture.startCapturing(); process.exit(11);`,
    11,
    '',
  ],
  'a capture that goes on after shutdown ends with the process': [
    `${END_WITH_CAPTURE}
    desktop.startCapturing(capture).then(() => {
      zebbridge.shutdown();
      console.log(desktop.isListening());
      setImmediate(() => process.exit(12));
    });`,
    12,
    'true\n',
  ],
  'objects after shutdown and a garbage collection': [
    `${END_WITH_CAPTURE}
    zebbridge.shutdown();
    setImmediate(() => {
      collect();
      capture.startCapturing();
      capture.stopCapturing();
      try { zebbridge.hardware.capturePointer(); } catch (error) { console.log(error.name); }
    });`,
    0,
    'TypeError\n',
  ],
};

// The module's own log records only matter where they are expected.
for (const [name, [script, status, stdout]] of Object.entries(ends)) {
  test(`end: ${name}`, { skip }, async () => {
    const ended = await runScript(script);
    assert.equal(ended.stdout, stdout);
    assert.equal(ended.status, status, ended.stderr);
    if (status !== 1) assert.equal(ended.stderr, '');
    else assert.match(ended.stderr, /Error: own/);
  });
}

test('end: process.exit ends a running capture in good order', { skip }, async () => {
  const { exitCode, debugStrings } = await debugScript(capturing('process.exit(5);'));
  assert.deepEqual(debugStrings, ['Pointer capture released\n']);
  assert.equal(exitCode, 5);
});

test('end: a running capture keeps the process alive, an idle one does not', { skip }, async () => {
  const { stdout, status } = await runScript(`
    const capture = zebbridge.hardware.capturePointer();
    process.on('beforeExit', () => console.log('nothing left to do'));
    desktop.startCapturing(capture).then(() => {
      // Unreferenced: if the capture did not keep the process, the process would end before this fires.
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

// The system still knows the module's window procedure at that time.
test('the module stays in a process whose last worker with it has ended', async () => {
  const { stdout, stderr, status } = await runScript(
    `
    const { Worker } = require('node:worker_threads');
    const addon = require(${JSON.stringify(buildFile('node', 'desktop-control.node'))});
    const file = ${JSON.stringify(file)};
    const run = () => new Promise((resolve) => new Worker(\`
      const capture = require(\${JSON.stringify(file)}).hardware.capturePointer();
      capture.startCapturing();
      capture.stopCapturing();\`, { eval: true }).on('exit', resolve));
    (async () => {
      console.log(addon.moduleLoaded('zebbridge.node'));
      for (let round = 0; round < 3; ++round) console.log(await run(), addon.moduleLoaded('zebbridge.node'));
    })();
  `,
    { prelude: false },
  );
  assert.equal(stderr, '');
  assert.equal(stdout, 'false\n0 true\n0 true\n0 true\n');
  assert.equal(status, 0);
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
