// How processes end while the module works in them, and with which exit code.
'use strict';
const assert = require('node:assert/strict');
const os = require('node:os');
const fs = require('node:fs');
const test = require('node:test');
const { buildFile } = require('../../script/support/zebbridge');
const desktop = require('../../script/support/desktop');
const { TERMINATED } = require('../../script/support/processes');
const { wine, short, runScript, note, hex } = require('../support/kit');

const { addon } = desktop;

const CAPTURING = `
  const capture = globalThis.capture = zebbridge.hardware.capturePointer();
  capture.setMotionEventCallback(() => {});
  capture.startCapturing();
`;
const PROBE = `const probe = require(buildFile('node', 'binding-probe.node'));`;

const ends = {
  'the end of the script': ['capture.stopCapturing();', 0],
  'an exit code of its own': ['capture.stopCapturing(); process.exitCode = 7;', 7],
  'process.exit': ['process.exit(3);', 3],
  'process.exit from a timer': ['setTimeout(() => process.exit(4), 20);', 4],
  'process.exit in an exit handler': [`process.on('exit', () => process.exit(5)); process.exit(2);`, 5],
  'process.reallyExit': ['process.reallyExit(6);', 6],
  'an uncaught exception': [`throw new Error('own');`, 1],
  'an unhandled rejection': [`Promise.reject(new Error('own'));`, 1],
  'shutdown, then exit': ['zebbridge.shutdown(); process.exit(8);', 8],
  'process.abort': ['process.abort();', 'any'],
  'process.kill of itself': [`process.kill(process.pid, 'SIGKILL');`, 'any'],
  'the heap is full': [
    `const kept = []; for (;;) kept.push(new Array(1e6).fill({}));`,
    'any',
    ['--max-old-space-size=64'],
  ],
  'a worker with a capture of its own that is terminated': [
    `
    capture.stopCapturing();
    const worker = new (require('node:worker_threads').Worker)(\`
      const capture = require(\${JSON.stringify(file)}).hardware.capturePointer();
      capture.startCapturing();
      require('node:worker_threads').parentPort.postMessage('');\`, { eval: true });
    worker.once('message', () => worker.terminate());`,
    0,
  ],
  'process.exit beside such a worker': [
    `
    capture.stopCapturing();
    const worker = new (require('node:worker_threads').Worker)(\`
      const capture = require(\${JSON.stringify(file)}).hardware.capturePointer();
      capture.startCapturing();
      require('node:worker_threads').parentPort.postMessage('');\`, { eval: true });
    worker.once('message', () => process.exit(9));`,
    9,
  ],
  'an access violation': ['zebbridge.crash_emitter.emitAccessViolation();', 0xc0000005],
};

for (const [name, [script, expected, flags = []]] of Object.entries(ends)) {
  test(`end: ${name}`, async (t) => {
    const { status, signal, output } = await runScript(CAPTURING + script, { flags: ['--expose-gc', ...flags] });
    note(t, 'exit code', hex(status));
    assert.equal(signal, null, output);
    if (expected !== 'any') assert.equal(status, expected, output);
    else assert.notEqual(status, 0);
  });
}

test('end: a stack overflow', { skip: wine && 'Wine does not get a process past it' }, async (t) => {
  const { status } = await runScript(`${CAPTURING} zebbridge.crash_emitter.emitStackOverflow();`);
  note(t, 'exit code', hex(status));
  assert.equal(status, 0xc00000fd);
});

// Ends by the module's own failure, whose box somebody must close: here, this process.
async function fails(t, script, texts) {
  let box = '';
  const { status, signal, output } = await runScript(script, {
    async started(child) {
      while (child.exitCode === null && child.signalCode === null) {
        const [found] = desktop.windows(
          ({ process: id, className, visible }) => id === child.pid && visible && className === '#32770',
        );
        if (found) {
          box ||= desktop
            .childrenOf(found.window)
            .map(({ text }) => text)
            .join('\n');
          addon.postMessage(found.window, 0x0010, 0);
        }
        await new Promise((resolve) => setTimeout(resolve, 50));
      }
    },
  });
  note(t, 'exit code', hex(status));
  note(t, 'box', box);
  assert.equal(signal, null, output);
  for (const text of texts) assert.ok(box.includes(text), `${text} in ${box}`);
  assert.equal(status, TERMINATED, output);
}

test('end: an address that Windows refuses', (t) =>
  fails(t, `${CAPTURING} zebbridge.windows.openExternalIgnoringAppLinking('no address');`, [
    'ASSERTION FAILURE: RUNTIME_FAILURE',
    'Unexpected exception type',
  ]));

const noProbe = !fs.existsSync(buildFile('node', 'binding-probe.node')) && 'the probe is not built for this runtime';

test('end: an assertion, with the types as the compiler spells them', { skip: noProbe }, (t) =>
  fails(t, `${PROBE} probe.control.raiseAssertion();`, [
    'Callee:(common::ComPtr<struct IRefCounted>::operator ->)',
    'ComPtr<struct IRefCounted> is not dereferencible',
  ]),
);

// Each process loads the module, starts a capture and leaves at once, in every state that the input thread can be in.
const COUNT = short ? 20 : 10000;
test(`${COUNT} quick exits with a capture at work`, async (t) => {
  const begin = Date.now();
  const wrong = [];
  let started = 0;
  const worker = async () => {
    while (started < COUNT && wrong.length < 5) {
      const code = (started++ % 200) + 10;
      const delay = code % 3; // at once, in the next turn, or once the thread listens
      const leave = [
        'process.exit(code);',
        'setImmediate(() => process.exit(code));',
        'setTimeout(() => process.exit(code), 3);',
      ][delay];
      const { status, output } = await runScript(
        `const zebbridge = require(${JSON.stringify(buildFile('node', 'zebbridge.node'))});${CAPTURING} const code = ${code}; ${leave}`,
        { prelude: '', flags: [] },
      );
      if (status !== code) wrong.push({ wanted: code, status: hex(status), output });
    }
  };
  await Promise.all(Array.from({ length: Math.min(os.cpus().length, 8) }, worker));
  note(t, 'took', `${Date.now() - begin} ms`);
  assert.deepEqual(wrong, []);
});
