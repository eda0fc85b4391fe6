// Windows around the module: input, windows and debug output. Needs a desktop session (toolchain/wine/desktop).
'use strict';
const x11 = require('./x11');
const { buildFile } = require('./built');
const { until } = require('./until');

const addon = require(buildFile('node', 'desktop-control.node'));

// https://learn.microsoft.com/windows/win32/api/winuser/ns-winuser-mouseinput
const MOUSE = {
  move: 0x0001,
  leftDown: 0x0002,
  leftUp: 0x0004,
  rightDown: 0x0008,
  rightUp: 0x0010,
  middleDown: 0x0020,
  middleUp: 0x0040,
  xDown: 0x0080,
  xUp: 0x0100,
  wheel: 0x0800,
  horizontalWheel: 0x1000,
};
const KEY = { left: 1, right: 2, middle: 4 };

const desktop = {
  addon,
  MOUSE,
  KEY,
  available: x11.available,
  skip: x11.available ? false : 'needs a desktop session',

  // Sends one raw input report to the system as a mouse would, `times` times.
  mouse: (flags, dx = 0, dy = 0, data = 0, times = 1) => addon.sendMouse(flags, dx, dy, data, times),

  // Raw input only comes while some window of the desktop is in front.
  async openWindow() {
    const window = addon.openWindow();
    await until('the test window is in front', () => addon.foregroundWindow() === window);
  },
  closeWindow: () => addon.closeWindow(),

  // Opens such a window, and moves the pointer away from the desktop's edges, for all tests of a file.
  forAllTestsOf(test) {
    if (desktop.skip) return;
    test.before(async () => {
      await desktop.openWindow();
      await x11.moveTo(500, 400);
    });
    test.after(() => desktop.closeWindow());
  },

  // Starts and waits until the input thread listens. Wine needs the wake-ups, which Windows may refuse; see
  // wakeSinkWindow.
  async startCapturing(capture) {
    capture.startCapturing();
    await desktop.listening();
  },
  async listening() {
    await until('the sink window', () => addon.sinkWindow() !== 0);
    addon.wakeSinkWindow();
    await until('the registration', () => addon.rawInputRegistrations().length === 1);
  },
  isListening: () => addon.sinkWindow() !== 0,

  async swapButtons(swapped) {
    addon.swapButtons(swapped);
    await until('the setting', () => addon.buttonsSwapped() === swapped);
  },

  // Records everything that a capture delivers, in order: { x, y, screen } and [left, middle, right].
  record(capture) {
    const events = [];
    capture.setMotionEventCallback(({ offset, screenPoint }) => events.push({ ...offset, screen: screenPoint }));
    capture.setButtonsEventCallback(({ left, middle, right }) => events.push([left, middle, right]));
    return {
      events,
      motions: () => events.filter((event) => !Array.isArray(event)),
      buttons: () => events.filter(Array.isArray),
      sum: () =>
        events.reduce(({ x, y }, event) => (Array.isArray(event) ? { x, y } : { x: x + event.x, y: y + event.y }), {
          x: 0,
          y: 0,
        }),
    };
  },

  windows: (predicate = () => true) => addon.windows(0).filter(predicate),
  click: (button) => addon.postMessage(button, 0x00f5, 0), // BM_CLICK
  textOf: (window) => addon.windowText(window),
  childrenOf: (window) => addon.windows(window).map((child) => ({ ...child, text: addon.windowText(child.window) })),
};

module.exports = desktop;
