// The X server's pointer, moved and clicked as a user would: X server, Wine, raw input, the module, script.
'use strict';
const assert = require('node:assert/strict');
const test = require('node:test');
const { zebbridge } = require('./support/zebbridge');
const { startScript } = require('./support/processes');
const { until } = require('./support/until');
const desktop = require('./support/desktop');
const { CLICKS, MOVES } = require('./support/captures');
const x11 = require('./support/x11');

const { hardware } = zebbridge;
const { addon, skip } = desktop;

let capture;
let recorder;

// Starts each test with the pointer at a known place and with nothing recorded.
async function place(x, y) {
  await x11.moveTo(x, y);
  await until('the pointer is there', () => addon.cursor().x === x && addon.cursor().y === y);
  recorder.events.length = 0; // of the test before, too
  await x11.click(2);
  await until('the click', () => recorder.buttons().length >= 2);
  recorder.events.length = 0;
}

test.before(async () => {
  if (skip) return;
  await desktop.openWindow();
  capture = hardware.capturePointer();
  recorder = desktop.record(capture);
  await desktop.startCapturing(capture);
});
test.after(() => {
  if (skip) return;
  capture.stopCapturing();
  desktop.closeWindow();
});

test('moves by known amounts', { skip }, async () => {
  await place(600, 400);
  const expected = [];
  const at = { x: 600, y: 400 };
  for (const [x, y] of MOVES) {
    await x11.move(x, y);
    at.x += x;
    at.y += y;
    expected.push({ x, y, screen: { ...at } });
    await until('the motion', () => recorder.events.length >= expected.length);
  }
  assert.deepEqual(recorder.events, expected);
  assert.deepEqual(recorder.sum(), { x: 0, y: 0 });
  assert.deepEqual(await x11.position(), { x: 600, y: 400 });
});

test('clicks of each button', { skip }, async () => {
  await place(600, 400);
  for (const button of [1, 2, 3]) await x11.click(button);
  await until('the clicks', () => recorder.events.length >= 6);
  assert.deepEqual(recorder.events, CLICKS);
});

test('wheel and further buttons give nothing', { skip }, async () => {
  await place(600, 400);
  for (const button of [4, 5, 6, 7, 8, 9]) await x11.click(button);
  await x11.click(1);
  await until('the click', () => recorder.events.length >= 2);
  assert.deepEqual(recorder.events, [
    [2, 0, 0],
    [1, 0, 0],
  ]);
});

test('a button held while the pointer moves', { skip }, async () => {
  await place(500, 300);
  assert.equal(hardware.getButtonState(0), false);
  await x11.press(1);
  try {
    await until('the press', () => recorder.events.length === 1 && hardware.getButtonState(0));
    assert.equal(hardware.getButtonState(1), false);
    await x11.move(10, 10);
    await until('the first motion', () => recorder.events.length === 2); // the cursor is read when input is
    await x11.move(5, -5);
  } finally {
    await x11.release(1);
  }
  await until('the release', () => recorder.events.length === 4 && !hardware.getButtonState(0));
  assert.deepEqual(recorder.events, [
    [2, 0, 0],
    { x: 10, y: 10, screen: { x: 510, y: 310 } },
    { x: 5, y: -5, screen: { x: 515, y: 305 } },
    [1, 0, 0],
  ]);
});

test('many moves: nothing is lost and nothing comes twice', { skip }, async () => {
  await place(640, 400);
  const sum = { x: 0, y: 0 };
  for (let step = 0; step < 60; ++step) {
    const [x, y] = [((step * 7) % 11) - 5, ((step * 5) % 9) - 4];
    await x11.move(x, y);
    sum.x += x;
    sum.y += y;
  }
  await x11.click(1);
  await until('the click', () => recorder.buttons().length === 2);
  assert.deepEqual(recorder.sum(), sum);
  assert.deepEqual(recorder.events.at(-3).screen, await x11.position());
});

test('an application in the background captures too', { skip }, async () => {
  const child = startScript(`
    const capture = zebbridge.hardware.capturePointer();
    const recorder = desktop.record(capture);
    (async () => {
      await desktop.startCapturing(capture);
      console.log('ready');
      await until('the click', () => recorder.buttons().length === 2);
      console.log(JSON.stringify(recorder.events));
      capture.stopCapturing();
      zebbridge.shutdown();
    })();
  `);
  await child.line('ready');
  await place(600, 400);
  const { status, stdout, stderr } = await child.ended;
  assert.equal(stderr, '');
  assert.match(stdout, /\[0,2,0\],\[0,1,0\]\]/);
  assert.equal(status, 0);
});
