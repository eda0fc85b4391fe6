'use strict';
// measure.js MODULES_FOLDER RESULT_FILE: one whole run in one process, so that its figures can be compared with each
// other. Runs in any Node.js that loads the modules; `./zeb bench` runs it natively and in the Windows Node.js.
const fs = require('node:fs');
const path = require('node:path');

const [, , modulesFolder, resultFile] = process.argv;
const loadStart = process.hrtime.bigint();
const bench = require(path.join(modulesFolder, 'bench_module.node'));
const loadTime = Number(process.hrtime.bigint() - loadStart);
const peers = require(path.join(modulesFolder, 'bench_peers.node'));

// The package's own stream over the measured module, as if its loader had found that module.
const root = path.join(__dirname, '..');
const loader = path.join(root, 'lib', 'native.js');
require.cache[loader] = {
  id: loader,
  filename: loader,
  loaded: true,
  exports: { native: { windows: {}, msix_auto_updater: {}, ...bench }, supported: true },
};
const { PointerStream } = require(path.join(root, 'pointer.js'));

const RECORDS = Number(process.env.ZEB_BENCH_RECORDS || 1000000);
const BATCHES = [1, 8, 64, 1024];

const median = (values) => [...values].sort((a, b) => a - b)[values.length >> 1];

// ---- one call -----------------------------------------------------------------------------------------------------

// Plain loops with nothing subtracted: what a script pays for a call, its loop included.
function calls() {
  const { methods, raw, hardware } = bench;
  const count = 1000000;
  const subjects = {
    'raw, empty': () => {
      for (let n = 0; n < count; n++) raw.empty();
    },
    'raw, (int) to boolean': () => {
      for (let n = 0; n < count; n++) raw.isOdd(n);
    },
    'zebbridge, empty': () => {
      for (let n = 0; n < count; n++) methods.empty();
    },
    'zebbridge, (int) to boolean': () => {
      for (let n = 0; n < count; n++) methods.isOdd(n);
    },
    'zebbridge, getButtonState': () => {
      for (let n = 0; n < count; n++) hardware.getButtonState(0);
    },
    'N-API, empty': () => {
      for (let n = 0; n < count; n++) peers.cEmpty();
    },
    'N-API, (int) to boolean': () => {
      for (let n = 0; n < count; n++) peers.cIsOdd(n);
    },
    'node-addon-api, empty': () => {
      for (let n = 0; n < count; n++) peers.wrapperEmpty();
    },
    'node-addon-api, (int) to boolean': () => {
      for (let n = 0; n < count; n++) peers.wrapperIsOdd(n);
    },
  };
  const rounds = 21;
  const figures = {};
  for (let round = 0; round < rounds + 2; round++) {
    for (const [name, loop] of Object.entries(subjects)) {
      const begin = process.hrtime.bigint();
      loop();
      const time = Number(process.hrtime.bigint() - begin) / count;
      if (round >= 2) (figures[name] ??= []).push(time); // the first two warm up
    }
  }
  // Ratios are taken within a round, whose parts run side by side. The result is the median of the ratios.
  const floor = figures['raw, empty'];
  return Object.fromEntries(
    Object.entries(figures).map(([name, times]) => [
      name,
      { ns: median(times), ratio: median(times.map((time, round) => time / floor[round])) },
    ]),
  );
}

// ---- one stream of `total` pointer records in batches. `ask` returns when the worker has passed the batch on, so the
// event loop finds it waiting: no thread sleeps, and none has to be woken --------------------------------------------

let checksum = 0;
const touch = (record) => {
  checksum += record.offset.x + record.screenPoint.y;
};

function stream(start, push, stop, total, batch) {
  return new Promise((resolve) => {
    let arrived = 0;
    let inBatch = 0;
    let begin = 0n;
    const onRecord = (record) => {
      touch(record);
      arrived++;
      if (++inBatch < batch) return;
      inBatch = 0;
      if (arrived < total) return push(batch);
      const elapsed = Number(process.hrtime.bigint() - begin);
      setImmediate(() => {
        stop();
        resolve(elapsed / arrived);
      });
    };
    start(onRecord);
    begin = process.hrtime.bigint();
    push(batch);
  });
}

let capture = null;
const pointer = new PointerStream();
const contenders = {
  zebbridge: [
    (onRecord) => {
      capture ??= bench.hardware.capturePointer();
      capture.setMotionEventCallback(onRecord);
      capture.startCapturing();
    },
    (count) => bench.raw.push(count),
    () => capture.stopCapturing(),
  ],
  'zebbridge/pointer': [
    (onRecord) => pointer.removeAllListeners().on('motion', onRecord).start(),
    (count) => bench.raw.push(count),
    () => pointer.stop(),
  ],
  obvious: [bench.raw.startObvious, bench.raw.pushObvious, bench.raw.stopObvious],
  'thread-safe function': [peers.start, peers.push, peers.stop],
};

function pureScript(total) {
  const begin = process.hrtime.bigint();
  for (let n = 0; n < total; n++) touch({ offset: { x: 1, y: -1 }, screenPoint: { x: n, y: n + 1 } });
  return Number(process.hrtime.bigint() - begin) / total;
}

// What a listener of a stream costs, as a multiple of the plain callback, from many short rounds of each, in turn. The
// lower quartile of each, because the machine's other work can only make a round slower, and because now and then its
// clock steps back and makes one look too fast.
async function streamRatio(batch) {
  const times = { zebbridge: [], 'zebbridge/pointer': [] };
  for (let round = 0; round < 300; round++) {
    for (const [name, rounds] of Object.entries(times)) {
      rounds.push(await stream(...contenders[name], batch * Math.ceil(2048 / batch), batch));
    }
  }
  const quartile = (rounds) => rounds.sort((a, b) => a - b)[rounds.length >> 2];
  return quartile(times['zebbridge/pointer']) / quartile(times.zebbridge);
}

async function events() {
  const rows = {};
  for (const batch of BATCHES) {
    console.log(`events, batches of ${batch}`);
    const total = Math.max(batch, Math.floor(RECORDS / (batch === 1 ? 10 : batch === 8 ? 4 : 1) / batch) * batch);
    const row = (rows[batch] = {});
    for (let round = 0; round < 5; round++) {
      for (const [name, [start, push, stop]] of Object.entries(contenders)) {
        (row[name] ??= []).push(await stream(start, push, stop, total, batch));
      }
      (row['pure script'] ??= []).push(pureScript(total));
    }
    for (const name of Object.keys(row)) row[name] = median(row[name]);
    row.streamRatio = await streamRatio(batch);
  }
  return rows;
}

// ---- one event's way from the worker thread to script, and an object's memory ---------------------------------------

async function latency() {
  const samples = [];
  const [start, push, stop] = contenders.zebbridge;
  await new Promise((resolve) => {
    let asked = 0n;
    const ask = () => {
      asked = process.hrtime.bigint();
      push(1);
    };
    start(() => {
      samples.push(Number(process.hrtime.bigint() - asked));
      if (samples.length < 2000) return setImmediate(ask);
      setImmediate(resolve);
    });
    ask();
  });
  stop();
  return median(samples);
}

function memoryPerCapture() {
  if (!globalThis.gc) return null;
  const many = 10000;
  const kept = [];
  globalThis.gc();
  const before = process.memoryUsage();
  for (let n = 0; n < many; n++) kept.push(bench.hardware.capturePointer());
  globalThis.gc();
  const after = process.memoryUsage();
  return {
    heap: (after.heapUsed - before.heapUsed) / many,
    resident: (after.rss - before.rss) / many,
    kept: kept.length,
  };
}

(async () => {
  console.log('calls');
  const result = {
    node: process.version,
    platform: process.platform,
    records: RECORDS,
    loadTime,
    calls: calls(),
    events: await events(),
    latency: await latency(),
    memoryPerCapture: memoryPerCapture(),
  };
  fs.writeFileSync(resultFile, JSON.stringify(result, null, 2));
  bench.shutdown();
  process.exit(checksum === -1 ? 1 : 0);
})();
