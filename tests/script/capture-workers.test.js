// Worker threads that capture, and that come and go.
'use strict';
const assert = require('node:assert/strict');
const test = require('node:test');
const { Worker } = require('node:worker_threads');
const { zebbridge, file } = require('./support/zebbridge');
const { until } = require('./support/until');
const desktop = require('./support/desktop');
const { MIDDLE_DOWN, MIDDLE_UP, clickMiddle, send, lifetimeTest } = require('./support/captures');

const { hardware } = zebbridge;

desktop.forAllTestsOf(test);

function startWorker(script) {
  const worker = new Worker(
    `
    const { parentPort } = require('node:worker_threads');
    const zebbridge = require(${JSON.stringify(file)});
    ${script}`,
    { eval: true },
  );
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
  'that exits while it captures': [
    `
    const capture = zebbridge.hardware.capturePointer();
    capture.startCapturing();
    process.exit(3);`,
    3,
  ],
  'that throws while it captures': [
    `
    globalThis.capture = zebbridge.hardware.capturePointer();
    capture.startCapturing();
    throw new Error('own');`,
    1,
  ],
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
    const all = Array.from({ length: 4 }, () =>
      startWorker(`
      for (let count = 0; count < 10; ++count) zebbridge.hardware.capturePointer();
      const capture = zebbridge.hardware.capturePointer();
      capture.startCapturing();
      capture.stopCapturing();
      zebbridge.diagnostics.setLogHandler(() => {});`),
    );
    assert.deepEqual(await Promise.all(all.map(({ ended }) => ended)), [0, 0, 0, 0]);
    assert.equal(hardware.getButtonState(1), false);
  }
});
