'use strict';
// mouse-real.js PACKAGES_FOLDER RESULT_FILE: what a mouse of the system costs. A thread of this process sends its
// input, and a package listens. Runs in the Windows Node.js; ZEB_BUILD is the build folder.
const path = require('node:path');
const desktop = require('../tests/script/support/desktop');
const { buildFile } = require('../tests/script/support/built');
const { Delays, measureAll, quantile, turn, until } = require('./mouse-figures');

const [, , packagesFolder, resultFile] = process.argv;
const sender = require(buildFile('node', 'bench_sender.node'));

// Outside the test's window, which would have work to do with a pointer above it.
const START = { x: 10, y: 724 };
const ROW = 1001; // as in native/sender-windows.cpp

// The number of the raw input report that led to a place, or -1.
function reportAt(x, y) {
  const row = y - START.y;
  const along = row % 2 === 0 ? x - START.x : ROW - 1 - (x - START.x);
  return row * ROW + along - 1;
}

let capture = null; // one for all runs: the garbage collection of another would end the running capture

function zebbridge() {
  capture ??= require(buildFile('node', 'zebbridge.node')).hardware.capturePointer();
  const at = { ...START };
  return {
    async start(onPlace) {
      capture.setMotionEventCallback(({ offset }) => onPlace((at.x += offset.x), (at.y += offset.y)));
      capture.startCapturing();
      await until('the registration', () => desktop.addon.rawInputRegistrations().length === 1);
    },
    stop: () => capture.stopCapturing(),
  };
}

function uiohook() {
  const { uIOhook } = require(path.join(packagesFolder, 'uiohook-napi'));
  return {
    start(onPlace) {
      uIOhook.on('mousemove', ({ x, y }) => onPlace(x, y));
      uIOhook.start(); // returns when the hook is set
    },
    stop() {
      uIOhook.removeAllListeners();
      uIOhook.stop();
    },
  };
}

const CONTENDERS = { zebbridge, 'uiohook-napi': uiohook, nobody: () => ({ start() {}, stop() {}, isSilent: true }) };

async function listen(contender, rate, duration) {
  const sentAt = new Int32Array(rate * duration);
  const callTimes = new Int32Array(rate * duration);
  const delays = new Delays(rate * duration);
  let last = -1;
  desktop.addon.setCursor(START.x, START.y);
  await contender.start((x, y) => {
    const report = reportAt(x, y);
    if (report <= last || report >= sentAt.length) return; // the cursor's way to the start
    last = report;
    delays.add(sentAt[report], sender.now());
  });
  const processBefore = process.cpuUsage();
  const scriptBefore = sender.threadTime();
  sender.start(rate, duration * 1000, sentAt, callTimes, desktop.addon.sinkWindow());
  await turn(duration * 1000);
  const [reports, seconds, sending] = await until('the end of the mouse', sender.finish);
  if (!contender.isSilent) await until('the last report', () => last === reports - 1);
  const script = sender.threadTime() - scriptBefore;
  const { user, system } = process.cpuUsage(processBefore);
  const perCent = (used) => (used / seconds) * 100;
  return {
    reports: reports / seconds,
    script: perCent(script),
    other: Math.max(0, perCent((user + system) / 1e6 - script - sending)),
    call: quantile(callTimes.subarray(0, reports), 0.5) / 10,
    ...(contender.isSilent ? {} : { lost: reports - delays.count, ...delays.figures() }),
  };
}

async function measure(name, rate, duration) {
  const contender = CONTENDERS[name]();
  try {
    return await listen(contender, rate, duration);
  } finally {
    contender.stop();
  }
}

(async () => {
  await desktop.openWindow(); // nobody gets raw input without a window in front
  await measureAll(Object.keys(CONTENDERS), measure, resultFile);
  process.exit();
})().catch((error) => {
  console.error(error);
  process.exit(1);
});
