'use strict';
// measure.js MODULES_FOLDER RESULT_FILE: one whole run in one process, so that its figures may be divided by each other.
// Runs in any Node.js that loads the modules; `./zeb bench` runs it natively and in the Windows Node.js.
const fs = require('fs');
const path = require('path');
const { pathToFileURL } = require('url');

const [, , modulesFolder, resultFile, mitataFolder] = process.argv;
const loadStart = process.hrtime.bigint();
const bench = require(path.join(modulesFolder, 'bench_module.node'));
const loadTime = Number(process.hrtime.bigint() - loadStart);
const peers = require(path.join(modulesFolder, 'bench_peers.node'));

const RECORDS = Number(process.env.ZEB_BENCH_RECORDS || 1000000);
const BATCHES = [1, 8, 64, 1024];

const median = (values) => [...values].sort((a, b) => a - b)[values.length >> 1];

// ---- one call -----------------------------------------------------------------------------------------------------

async function calls() {
  const { measure } = await import(pathToFileURL(path.join(mitataFolder, 'src/lib.mjs')).href).catch(
    () => import(pathToFileURL(path.join(mitataFolder, 'src/main.mjs')).href));
  const { methods, raw, hardware } = bench;
  const subjects = {
    'raw, empty': () => raw.empty(),
    'raw, (int) to boolean': () => raw.isOdd(7),
    'zebbridge, empty': () => methods.empty(),
    'zebbridge, (int) to boolean': () => methods.isOdd(7),
    'zebbridge, getButtonState': () => hardware.getButtonState(0),
    'N-API, empty': () => peers.cEmpty(),
    'N-API, (int) to boolean': () => peers.cIsOdd(7),
    'node-addon-api, empty': () => peers.wrapperEmpty(),
    'node-addon-api, (int) to boolean': () => peers.wrapperIsOdd(7),
  };
  const figures = Object.fromEntries(Object.keys(subjects).map((name) => [name, []]));
  for (let round = 0; round < 3; round++) {
    for (const [name, subject] of Object.entries(subjects)) figures[name].push((await measure(subject)).p50);
  }
  return Object.fromEntries(Object.entries(figures).map(([name, all]) => [name, median(all)]));
}

// ---- one stream: `total` records in batches, each batch asked for when the one before has arrived -------------------

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
const contenders = {
  zebbridge: [
    (onRecord) => {
      capture ??= bench.hardware.capturePointer();
      capture.setMotionEventCallback(onRecord);
      capture.startCapturing();
    },
    (count) => bench.raw.burst(count),
    () => capture.stopCapturing(),
  ],
  obvious: [bench.raw.startObvious, bench.raw.pushObvious, bench.raw.stopObvious],
  'thread-safe function': [peers.start, peers.push, peers.stop],
};

function pureScript(total) {
  const begin = process.hrtime.bigint();
  for (let n = 0; n < total; n++) touch({ offset: { x: 1, y: -1 }, screenPoint: { x: n, y: n + 1 } });
  return Number(process.hrtime.bigint() - begin) / total;
}

async function events() {
  const rows = {};
  for (const batch of BATCHES) {
    const total = Math.max(batch, Math.floor(RECORDS / (batch === 1 ? 10 : batch === 8 ? 4 : 1) / batch) * batch);
    const row = (rows[batch] = {});
    for (let round = 0; round < 3; round++) {
      for (const [name, [start, push, stop]] of Object.entries(contenders)) {
        (row[name] ??= []).push(await stream(start, push, stop, total, batch));
      }
      (row['pure script'] ??= []).push(pureScript(total));
    }
    for (const name of Object.keys(row)) row[name] = median(row[name]);
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
  return { heap: (after.heapUsed - before.heapUsed) / many, resident: (after.rss - before.rss) / many, kept: kept.length };
}

(async () => {
  const result = {
    node: process.version,
    platform: process.platform,
    records: RECORDS,
    loadTime,
    calls: await calls(),
    events: await events(),
    latency: await latency(),
    memoryPerCapture: memoryPerCapture(),
  };
  fs.writeFileSync(resultFile, JSON.stringify(result, null, 2));
  console.log(JSON.stringify(result, null, 2));
  bench.shutdown();
  process.exit(checksum === -1 ? 1 : 0);
})();
