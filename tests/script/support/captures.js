// Captures of the real pointer: makes them, feeds them through the system, and shows when everything has arrived.
'use strict';
const test = require('node:test');
const desktop = require('./desktop');
const { turn, until } = require('./until');
const { zebbridge, collect } = require('./zebbridge');

const { hardware } = zebbridge;
const { addon, mouse, MOUSE, KEY, skip } = desktop;

// When any capture object is garbage-collected, the running capture ends. So these are kept to the end of the file.
const kept = [];
const newCapture = () => kept[kept.push(hardware.capturePointer()) - 1];

// A path of the pointer in single steps, long ones and turns. It ends where it begins.
const MOVES = [
  [7, 2],
  [-3, 5],
  [0, 1],
  [1, 0],
  [-20, -15],
  [100, 0],
  [0, -100],
  [-85, 107],
];

// What is recorded of a click of each button: left, middle, right.
const CLICKS = [
  [2, 0, 0],
  [1, 0, 0],
  [0, 2, 0],
  [0, 1, 0],
  [0, 0, 2],
  [0, 0, 1],
];

function clickMiddle() {
  mouse(MOUSE.middleDown);
  mouse(MOUSE.middleUp);
}

// Sends many raw input reports at once. Script is busy meanwhile, so that they come in few drains.
const send = (count) => mouse(MOUSE.middleUp, 0, 0, 0, count);

// Resolves when everything that was sent before has arrived: sends a marker that no test sends, and removes it.
async function settled(recorder) {
  const isMarker = (event) => Array.isArray(event) && event.every((transition) => transition === 1);
  mouse(MOUSE.leftUp | MOUSE.middleUp | MOUSE.rightUp);
  await until('the marker', () => recorder.events.some(isMarker), 60000);
  recorder.events.splice(recorder.events.findIndex(isMarker), 1);
}

async function clickMiddleAndSettle(recorder) {
  clickMiddle();
  await settled(recorder);
}

async function holdingLeft(call) {
  mouse(MOUSE.leftDown);
  try {
    await until('left is down', () => addon.keyDown(KEY.left));
    await call();
  } finally {
    mouse(MOUSE.leftUp);
    await until('left is up', () => !addon.keyDown(KEY.left));
  }
}

module.exports = {
  LEFT_DOWN: [2, 0, 0],
  LEFT_UP: [1, 0, 0],
  MIDDLE_DOWN: [0, 2, 0],
  MIDDLE_UP: [0, 1, 0],
  MOVES,
  CLICKS,
  newCapture,
  clickMiddle,
  send,
  settled,
  clickMiddleAndSettle,
  holdingLeft,

  // A test with its own capture.
  captureTest(name, run) {
    test(name, { skip }, async (t) => {
      const capture = newCapture();
      t.after(() => capture.stopCapturing());
      await run(capture, t);
    });
  },

  // A test that keeps no capture object. They are garbage-collected when it ends, because the garbage collection of any
  // capture object ends the running capture.
  lifetimeTest(name, run) {
    test(name, { skip }, async (t) => {
      t.after(async () => {
        hardware.capturePointer().stopCapturing();
        await turn();
        collect();
      });
      await run(t);
    });
  },
};
