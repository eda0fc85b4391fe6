// What a capture delivers, to which callback, and what happens to it there.
'use strict';
const assert = require('node:assert/strict');
const test = require('node:test');
const { zebbridge, collect } = require('./support/zebbridge');
const { until, turn } = require('./support/until');
const desktop = require('./support/desktop');
const x11 = require('./support/x11');
const {
  LEFT_DOWN,
  LEFT_UP,
  MIDDLE_DOWN,
  MIDDLE_UP,
  newCapture,
  clickMiddle,
  settled,
  clickMiddleAndSettle,
  holdingLeft,
  captureTest,
} = require('./support/captures');

const { hardware } = zebbridge;
const { addon, mouse, MOUSE } = desktop;

desktop.forAllTestsOf(test);

test('callbacks need an argument', () => {
  const capture = newCapture();
  for (const method of ['setMotionEventCallback', 'setButtonsEventCallback']) {
    assert.throws(() => capture[method](), { constructor: Error, message: 'Expected (1) arguments, but only (0)' });
  }
});

captureTest('a buttons event is a plain object of three numbers', async (capture) => {
  const calls = [];
  capture.setButtonsEventCallback(function (...args) {
    calls.push([this, ...args]);
  });
  await desktop.startCapturing(capture);
  clickMiddle();
  await until('the click', () => calls.length === 2);
  for (const [index, middle] of [2, 1].entries()) {
    assert.deepEqual(calls[index], [undefined, { left: 0, middle, right: 0 }]);
    assert.deepEqual(Reflect.ownKeys(calls[index][1]), ['left', 'middle', 'right']);
    assert.equal(Object.getPrototypeOf(calls[index][1]), Object.prototype);
  }
  assert.notEqual(calls[0][1], calls[1][1]);
});

captureTest('a motion event is a plain object of two points', async (capture) => {
  const calls = [];
  capture.setMotionEventCallback(function (...args) {
    calls.push([this, ...args]);
  });
  await desktop.startCapturing(capture);
  await x11.moveTo(500, 400);
  await until('the pointer is there', () => addon.cursor().x === 500 && addon.cursor().y === 400);
  calls.length = 0;
  await x11.move(3, -2);
  await until('the motion', () => calls.length === 1);
  assert.deepEqual(calls, [[undefined, { offset: { x: 3, y: -2 }, screenPoint: { x: 503, y: 398 } }]]);
  const [, event] = calls[0];
  assert.deepEqual(Reflect.ownKeys(event), ['offset', 'screenPoint']);
  for (const point of [event.offset, event.screenPoint]) {
    assert.deepEqual(Reflect.ownKeys(point), ['x', 'y']);
    assert.equal(Object.getPrototypeOf(point), Object.prototype);
  }
  assert.deepEqual(Object.getOwnPropertyDescriptor(event, 'offset'), {
    value: event.offset,
    writable: true,
    enumerable: true,
    configurable: true,
  });
  assert.ok(Object.isExtensible(event));
});

captureTest('hostile prototypes do not touch the events', async (capture) => {
  const recorder = desktop.record(capture);
  await desktop.startCapturing(capture);
  for (const name of ['offset', 'screenPoint', 'left', 'middle', 'right']) {
    Object.defineProperty(Object.prototype, name, {
      set() {
        throw new Error('setter called');
      },
      configurable: true,
    });
  }
  const iterator = Array.prototype[Symbol.iterator];
  try {
    Array.prototype[Symbol.iterator] = () => {
      throw new Error('iterator called');
    };
    clickMiddle();
    Array.prototype[Symbol.iterator] = iterator;
    await settled(recorder);
  } finally {
    Array.prototype[Symbol.iterator] = iterator;
    for (const name of ['offset', 'screenPoint', 'left', 'middle', 'right']) delete Object.prototype[name];
  }
  assert.deepEqual(recorder.events, [MIDDLE_DOWN, MIDDLE_UP]);
});

captureTest('a callback is replaced', async (capture) => {
  const calls = [];
  const recorder = desktop.record(capture);
  await desktop.startCapturing(capture);
  await clickMiddleAndSettle(recorder);
  capture.setButtonsEventCallback(({ middle }) => calls.push(middle));
  clickMiddle();
  await until('the second callback', () => calls.length === 2);
  assert.deepEqual(calls, [2, 1]);
  assert.deepEqual(recorder.events, [MIDDLE_DOWN, MIDDLE_UP]);
});

captureTest('clearing one callback stops that kind of event only', async (capture) => {
  const recorder = desktop.record(capture);
  await desktop.startCapturing(capture);
  for (const none of [null, undefined]) {
    recorder.events.length = 0;
    capture.setMotionEventCallback(none);
    await x11.move(5, 5);
    await x11.click(2); // the same way as the motion, so it comes after it
    await until('the click', () => recorder.buttons().length === 2);
    assert.deepEqual(recorder.events, [MIDDLE_DOWN, MIDDLE_UP]);
  }
  const motions = [];
  capture.setButtonsEventCallback(null);
  capture.setMotionEventCallback(({ offset }) => motions.push(offset));
  clickMiddle();
  await x11.move(-4, 6);
  await until('the motion', () => motions.length > 0);
  assert.deepEqual(motions, [{ x: -4, y: 6 }]);
  assert.equal(recorder.events.length, 2);
});

captureTest('what a callback throws is dropped, and the next event comes', async (capture) => {
  let calls = 0;
  capture.setButtonsEventCallback(() => {
    ++calls;
    throw new Error('dropped');
  });
  await desktop.startCapturing(capture);
  for (let click = 0; click < 5; ++click) clickMiddle();
  await until('all of them', () => calls === 10);
});

captureTest('a stack overflow inside a callback is dropped too', async (capture) => {
  let calls = 0;
  const endless = () => endless();
  capture.setButtonsEventCallback(() => {
    ++calls;
    endless();
  });
  await desktop.startCapturing(capture);
  clickMiddle();
  await until('both', () => calls === 2);
});

captureTest('a callback that is not a function is accepted and does nothing', async (capture) => {
  const recorder = desktop.record(capture);
  await desktop.startCapturing(capture);
  for (const value of [1, 'text', {}, Symbol('s'), 1n, true, class {}]) {
    capture.setMotionEventCallback(value);
    capture.setButtonsEventCallback(value);
    clickMiddle();
    await x11.move(1, 1);
  }
  capture.setButtonsEventCallback(({ left, middle, right }) => recorder.events.push([left, middle, right]));
  await clickMiddleAndSettle(recorder);
  assert.deepEqual(recorder.events.slice(-2), [MIDDLE_DOWN, MIDDLE_UP]);
});

captureTest('functions of every kind', async (capture) => {
  const calls = [];
  await desktop.startCapturing(capture);
  for (const callback of [
    new Proxy(() => calls.push('proxy'), {}),
    function () {
      calls.push(this === globalThis ? 'sloppy' : 'strict');
    }.bind(undefined),
    new Function('calls', 'return function () { calls.push(this === globalThis ? "sloppy" : "other"); }')(calls),
    async () => calls.push('async'),
  ]) {
    capture.setButtonsEventCallback(callback);
    const before = calls.length;
    clickMiddle();
    await until('the calls', () => calls.length === before + 2);
  }
  assert.deepEqual(calls, ['proxy', 'proxy', 'strict', 'strict', 'sloppy', 'sloppy', 'async', 'async']);
});

captureTest('a callback is kept alive while it is set, and released when it is not', async (capture) => {
  const reference = (() => {
    const callback = () => {};
    capture.setMotionEventCallback(callback);
    return new WeakRef(callback);
  })();
  await turn();
  collect();
  assert.ok(reference.deref());
  capture.setMotionEventCallback(null);
  await turn();
  collect();
  assert.equal(reference.deref(), undefined);
});

captureTest('keys cause no pointer events', async (capture) => {
  const recorder = desktop.record(capture);
  await desktop.startCapturing(capture);
  addon.sendKey(0x41);
  addon.sendKey(0x41, true);
  await clickMiddleAndSettle(recorder);
  assert.deepEqual(recorder.events, [MIDDLE_DOWN, MIDDLE_UP]);
});

captureTest('buttons 4 and 5 and the wheels give nothing', async (capture) => {
  const recorder = desktop.record(capture);
  await desktop.startCapturing(capture);
  for (const flags of [MOUSE.xDown, MOUSE.xUp]) for (const button of [1, 2]) mouse(flags, 0, 0, button);
  mouse(MOUSE.wheel, 0, 0, 120);
  mouse(MOUSE.wheel, 0, 0, -120);
  mouse(MOUSE.horizontalWheel, 0, 0, 120);
  await clickMiddleAndSettle(recorder);
  assert.deepEqual(recorder.events, [MIDDLE_DOWN, MIDDLE_UP]);
});

captureTest('one report with both transitions of a button is a press', async (capture) => {
  const recorder = desktop.record(capture);
  await desktop.startCapturing(capture);
  mouse(MOUSE.leftDown | MOUSE.leftUp);
  mouse(MOUSE.leftUp);
  await settled(recorder);
  assert.deepEqual(recorder.events, [LEFT_DOWN, LEFT_UP]);
});

captureTest('several buttons in one report, and motion before its buttons', async (capture) => {
  const recorder = desktop.record(capture);
  await desktop.startCapturing(capture);
  mouse(MOUSE.leftDown | MOUSE.rightDown | MOUSE.middleDown);
  mouse(MOUSE.leftUp | MOUSE.rightUp | MOUSE.middleUp | MOUSE.move, 4, 3);
  await until('both', () => recorder.buttons().length === 2);
  assert.deepEqual(recorder.buttons(), [
    [2, 2, 2],
    [1, 1, 1],
  ]);
  const motion = recorder.events.findIndex((event) => event.x === 4 && event.y === 3);
  assert.deepEqual(recorder.events[motion + 1], [1, 1, 1]);
});

captureTest('with swapped buttons left and right change places, middle stays', async (capture, t) => {
  t.after(() => desktop.swapButtons(false));
  await desktop.swapButtons(true);
  const recorder = desktop.record(capture);
  await desktop.startCapturing(capture);
  mouse(MOUSE.rightDown);
  mouse(MOUSE.rightUp);
  mouse(MOUSE.leftDown);
  mouse(MOUSE.leftUp);
  await settled(recorder);
  assert.deepEqual(recorder.events, [LEFT_DOWN, LEFT_UP, [0, 0, 2], [0, 0, 1]]);
});

captureTest('a change of the buttons is followed while capturing, from the next report on', async (capture, t) => {
  t.after(() => desktop.swapButtons(false));
  const recorder = desktop.record(capture);
  await desktop.startCapturing(capture);
  await holdingLeft(async () => {
    await until('the press', () => recorder.buttons().length === 1);
    addon.swapButtons(true);
    await until('the module has heard of it', () => hardware.getButtonState(2));
  });
  await settled(recorder);
  assert.deepEqual(recorder.events, [LEFT_DOWN, [0, 0, 1]]);
});

captureTest("only the buttons' setting has the module look again", async (capture, t) => {
  t.after(() => desktop.swapButtons(false));
  await desktop.startCapturing(capture);
  const [settingChange, timeChange, buttonSwap] = [0x001a, 0x001e, 0x0021];
  addon.swapButtons(true, true);
  await until('the setting', () => addon.buttonsSwapped());
  await holdingLeft(() => {
    for (const [message, parameter] of [
      [settingChange, 0x0020],
      [settingChange, 0],
      [timeChange, buttonSwap],
    ]) {
      addon.sendMessage(addon.sinkWindow(), message, parameter);
      assert.equal(hardware.getButtonState(0), true);
    }
    addon.sendMessage(addon.sinkWindow(), settingChange, buttonSwap);
    assert.equal(hardware.getButtonState(0), false);
    assert.equal(hardware.getButtonState(2), true);
  });
});

captureTest('a burst arrives whole and in order', async (capture) => {
  const recorder = desktop.record(capture);
  await desktop.startCapturing(capture);
  const expected = [];
  for (let round = 0; round < 200; ++round) {
    const [down, up, index] = [
      [MOUSE.leftDown, MOUSE.leftUp, 0],
      [MOUSE.middleDown, MOUSE.middleUp, 1],
      [MOUSE.rightDown, MOUSE.rightUp, 2],
    ][round % 3];
    mouse(down);
    mouse(up);
    for (const transition of [2, 1]) expected.push([0, 0, 0].with(index, transition));
  }
  await until('the last one', () => recorder.events.length >= expected.length);
  assert.deepEqual(recorder.events, expected);
});
