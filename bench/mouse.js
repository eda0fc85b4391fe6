'use strict';
// mouse.js MODULES_FOLDER PACKAGES_FOLDER RESULT_FILE: what a mouse costs, for each way from a native thread to a
// script callback, in one process. The thread sleeps between reports, like a thread that waits for the system's input.
const path = require('node:path');
const { Delays, measureAll, turn, until } = require('./mouse-figures');

const [, , modulesFolder, packagesFolder, resultFile] = process.argv;
const bench = require(path.join(modulesFolder, 'bench_module.node'));
const peers = require(path.join(modulesFolder, 'bench_peers.node'));

let capture = null; // one for all runs: the garbage collection of another would end the running capture

function zebbridge() {
  capture ??= bench.hardware.capturePointer();
  return {
    start(onRecord) {
      capture.setMotionEventCallback(onRecord);
      capture.startCapturing();
    },
    runMouse: bench.raw.runMouse,
    tally: bench.raw.mouseTally,
    stop: () => capture.stopCapturing(),
  };
}

const obvious = () => ({
  start: bench.raw.startObvious,
  runMouse: bench.raw.runMouseObvious,
  tally: bench.raw.mouseTallyObvious,
  stop: bench.raw.stopObvious,
});

const threadSafeFunction = () => ({
  start: peers.start,
  runMouse: peers.runMouse,
  tally: peers.mouseTally,
  stop: peers.stop,
});

// A system's own package is the whole interface; the common package only chooses between them.
function koffi() {
  const library = require(path.join(packagesFolder, '@koromix', `koffi-${process.platform}-${process.arch}`));
  const type = library.pointer(library.proto('void', ['int32_t', 'int32_t', 'int32_t', 'int32_t']));
  let callback = null;
  return {
    ...threadSafeFunction(),
    start(onRecord) {
      const build = (dx, dy, x, y) => onRecord({ offset: { x: dx, y: dy }, screenPoint: { x, y } });
      callback = library.register(build, type);
      peers.startCallback(callback);
    },
    stop() {
      peers.stop(); // its thread stops calling
      library.unregister(callback);
    },
  };
}

const nobody = () => ({ ...threadSafeFunction(), start: () => peers.startCallback(0n), isSilent: true });

const CONTENDERS = { zebbridge, obvious, 'thread-safe function': threadSafeFunction, koffi, nobody };

async function feed(contender, delays, rate, duration) {
  const before = peers.threadTime();
  contender.runMouse(rate, duration * 1000);
  await turn(duration * 1000);
  const [reports, seconds, feeding] = await until('the end of the mouse', contender.tally);
  if (!contender.isSilent) await until('the last report', () => delays.count === reports);
  const script = peers.threadTime() - before;
  return {
    reports: reports / seconds,
    script: (script / seconds) * 100,
    other: (feeding / seconds) * 100,
    ...(contender.isSilent ? {} : delays.figures()),
  };
}

async function measure(name, rate, duration) {
  const contender = CONTENDERS[name]();
  const delays = new Delays(rate * duration);
  contender.start(({ screenPoint }) => delays.add(screenPoint.x, peers.now()));
  try {
    return await feed(contender, delays, rate, duration);
  } finally {
    contender.stop();
  }
}

(async () => {
  await measureAll(Object.keys(CONTENDERS), measure, resultFile);
  bench.shutdown();
  process.exit();
})();
