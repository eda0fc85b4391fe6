// How captures start and stop: the thread, the window, the registration, and what a capture shares with others.
'use strict';
const assert = require('node:assert/strict');
const test = require('node:test');
const { zebbridge } = require('./support/zebbridge');
const { runScript } = require('./support/processes');
const { until } = require('./support/until');
const desktop = require('./support/desktop');
const x11 = require('./support/x11');
const {
  MIDDLE_DOWN,
  MIDDLE_UP,
  newCapture,
  settled,
  clickMiddleAndSettle,
  captureTest,
} = require('./support/captures');

const { diagnostics } = zebbridge;
const { addon, skip } = desktop;

desktop.forAllTestsOf(test);

test('creating a capture starts nothing', { skip }, () => {
  const threads = addon.threadCount();
  newCapture();
  assert.equal(addon.threadCount(), threads);
  assert.equal(desktop.isListening(), false);
  assert.deepEqual(addon.rawInputRegistrations(), []);
});

captureTest('a capture has one thread, one window and one registration, and gives them back', async (capture) => {
  await desktop.startCapturing(capture);
  const threads = addon.threadCount();
  const window = addon.sinkWindow();
  assert.deepEqual(addon.rawInputRegistrations(), [{ page: 1, usage: 2, flags: 0x100, target: window }]);
  capture.stopCapturing();
  await until('the thread is gone', () => addon.threadCount() < threads);
  assert.equal(addon.sinkWindow(), 0);
  assert.deepEqual(addon.rawInputRegistrations(), []);
});

captureTest('the sink window', async (capture) => {
  await desktop.startCapturing(capture);
  const window = addon.sinkWindow();
  const [info] = desktop.windows((each) => each.window === window);
  assert.equal(desktop.textOf(window), 'Input-Sink');
  assert.equal(info.className, 'zeb-internal-sink-window');
  assert.equal(info.style & 0x10cf0000, 0x00cf0000); // WS_OVERLAPPEDWINDOW and not WS_VISIBLE
  assert.equal(info.process, process.pid);
  assert.deepEqual(addon.windowClass(window), {
    style: 0,
    extra: 0,
    ofTheExecutable: true,
    icon: false,
    cursor: false,
    background: false,
    menu: false,
  });
});

captureTest('the sink window is never visible', async (capture) => {
  const recorder = desktop.record(capture);
  await desktop.startCapturing(capture);
  const visible = () => desktop.windows((each) => each.className === 'zeb-internal-sink-window' && each.visible);
  assert.deepEqual(visible(), []);
  await settled(recorder);
  assert.deepEqual(visible(), []);
  assert.deepEqual(await x11.search('^Input-Sink$'), []);
  assert.notEqual(addon.foregroundWindow(), addon.sinkWindow());
});

captureTest('starting twice', async (capture) => {
  const recorder = desktop.record(capture);
  await desktop.startCapturing(capture);
  const window = addon.sinkWindow();
  assert.equal(capture.startCapturing(), undefined);
  assert.equal(addon.sinkWindow(), window);
  await clickMiddleAndSettle(recorder);
  assert.deepEqual(recorder.events, [MIDDLE_DOWN, MIDDLE_UP]);
});

test('stopping without a start, and twice', () => {
  const capture = newCapture();
  assert.equal(capture.stopCapturing(), undefined);
  capture.startCapturing();
  assert.equal(capture.stopCapturing(), undefined);
  assert.equal(capture.stopCapturing(), undefined);
});

captureTest('each start after a stop captures anew', async (capture) => {
  const recorder = desktop.record(capture);
  for (let round = 0; round < 3; ++round) {
    recorder.events.length = 0;
    await desktop.startCapturing(capture);
    await clickMiddleAndSettle(recorder);
    assert.deepEqual(recorder.events, [MIDDLE_DOWN, MIDDLE_UP]);
    capture.stopCapturing();
  }
});

captureTest('after the stop nothing more arrives', async (capture) => {
  const recorder = desktop.record(capture);
  const other = newCapture();
  const otherRecorder = desktop.record(other);
  await desktop.startCapturing(capture);
  await settled(recorder);
  capture.stopCapturing();
  const count = recorder.events.length;
  await desktop.startCapturing(other);
  await settled(otherRecorder);
  assert.equal(recorder.events.length, count);
  other.stopCapturing();
});

captureTest('two captures share one driver', async (capture, t) => {
  const other = newCapture();
  const [recorder, otherRecorder] = [desktop.record(capture), desktop.record(other)];
  await desktop.startCapturing(capture);
  const window = addon.sinkWindow();

  await t.test('the start of the other does nothing', async () => {
    assert.equal(other.startCapturing(), undefined);
    assert.equal(addon.sinkWindow(), window);
    await clickMiddleAndSettle(recorder);
    assert.deepEqual(recorder.events, [MIDDLE_DOWN, MIDDLE_UP]);
    assert.deepEqual(otherRecorder.events, []);
  });

  await t.test('the stop of the other ends the capture', () => {
    assert.equal(other.stopCapturing(), undefined);
    assert.equal(desktop.isListening(), false);
  });

  await t.test('then the other may start', async () => {
    await desktop.startCapturing(other);
    await clickMiddleAndSettle(otherRecorder);
    assert.deepEqual(otherRecorder.events, [MIDDLE_DOWN, MIDDLE_UP]);
    assert.deepEqual(recorder.events, [MIDDLE_DOWN, MIDDLE_UP]);
    capture.stopCapturing();
    assert.equal(desktop.isListening(), false);
  });
});

test('log records of starts and stops', () => {
  const records = [];
  diagnostics.setLogHandler((...record) => records.push(record));
  const logged = newCapture();
  for (let round = 0; round < 3; ++round) {
    logged.startCapturing();
    logged.startCapturing();
    logged.stopCapturing();
    logged.stopCapturing();
  }
  diagnostics.setLogHandler(null);
  assert.deepEqual(records, [['Native: capture pointer', 0], ...Array(3).fill(['Pointer capture released', 0])]);
});

captureTest('a stop in the same turn as the start', async (capture) => {
  const handles = () => addon.handleCount();
  for (let round = 0; round < 20; ++round) {
    capture.startCapturing();
    capture.stopCapturing();
  }
  const before = handles();
  for (let round = 0; round < 50; ++round) {
    capture.startCapturing();
    capture.stopCapturing();
  }
  assert.equal(desktop.isListening(), false);
  assert.ok(handles() <= before + 5, `${before} handles became ${handles()}`);
});

captureTest('messages of strangers do not disturb the input thread', async (capture) => {
  const recorder = desktop.record(capture);
  await desktop.startCapturing(capture);
  for (const message of [0x0100, 0x0200, 0x0400, 0x8000, 0x804c]) assert.ok(addon.postToInputThread(message));
  assert.ok(addon.postToInputThread(0x0012)); // WM_QUIT: GetMessage returns 0
  await desktop.listening();
  await clickMiddleAndSettle(recorder);
  assert.deepEqual(recorder.events, [MIDDLE_DOWN, MIDDLE_UP]);
  capture.stopCapturing();
  assert.equal(desktop.isListening(), false);
});

test('records that wait when the process ends are dropped', { skip }, async () => {
  const { status, stdout } = await runScript(`
    (async () => {
      const capture = zebbridge.hardware.capturePointer();
      capture.setButtonsEventCallback(() => console.log('too late'));
      await desktop.startCapturing(capture);
      for (let round = 0; round < 100; ++round) desktop.mouse(desktop.MOUSE.middleUp);
      process.exit(0);
    })();
  `);
  assert.deepEqual({ status, stdout }, { status: 0, stdout: '' });
});
