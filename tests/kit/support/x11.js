// The pointer of a real Windows instead of the X server's: uses SendInput, with the names of
// tests/script/support/x11.js, which this file replaces in the kit.
'use strict';
const { buildFile } = require('./zebbridge');

const addon = require(buildFile('node', 'desktop-control.node'));

// X's buttons: 1 to 3, the wheels as 4 to 7, then further ones.
const BUTTONS = {
  1: [[0x0002], [0x0004]],
  2: [[0x0020], [0x0040]],
  3: [[0x0008], [0x0010]],
  4: [[0x0800, 120], []],
  5: [[0x0800, -120], []],
  6: [[0x1000, -120], []],
  7: [[0x1000, 120], []],
  8: [
    [0x0080, 1],
    [0x0100, 1],
  ],
  9: [
    [0x0080, 2],
    [0x0100, 2],
  ],
};

function send([flags, data = 0]) {
  if (flags) addon.sendMouse(flags, 0, 0, data, 1);
}

const x11 = {
  available: true,
  move: async (dx, dy) => addon.sendMouse(0x0001, dx, dy, 0, 1),
  moveTo: async (x, y) => addon.setCursor(x, y),
  press: async (button = 1) => send(BUTTONS[button][0]),
  release: async (button = 1) => send(BUTTONS[button][1]),
  async click(button = 1, count = 1) {
    for (let done = 0; done < count; ++done) BUTTONS[button].forEach(send);
  },
  position: async () => addon.cursor(),
  async search(title) {
    return addon
      .windows(0)
      .filter(({ visible, window }) => visible && new RegExp(title).test(addon.windowText(window)));
  },
  async waitForWindow(title, milliseconds = 10000) {
    const { until } = require('./until');
    return until(`a window titled ${title}`, async () => (await x11.search(title))[0], milliseconds);
  },
};

module.exports = x11;
