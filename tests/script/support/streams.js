// Pointer streams over the harness, whose input the test feeds. Every test of streams ends with `stopped`.
'use strict';
const assert = require('node:assert/strict');
const path = require('node:path');
const { addon, harness, until } = require('./harness');
const { packageOver } = require('./modules');
const { runScript } = require('./processes');

const { PointerStream } = packageOver(addon).pointer;

const motion = (x, y, screenX = 0, screenY = 0) => [x, y, screenX, screenY, 0, 0, 0];
const buttons = (left, middle, right) => [0, 0, 0, 0, left, middle, right];
const push = (...records) => harness.push(Int32Array.from(records.flat()));

function record(stream, events = []) {
  stream.on('motion', ({ offset }) => events.push([offset.x, offset.y]));
  stream.on('buttons', ({ left, middle, right }) => events.push(`${left} ${middle} ${right}`));
  return events;
}

// What was read before a stop is still on its way then. A marker that comes after it shows that everything has arrived.
async function settled() {
  const stream = new PointerStream();
  let marked = false;
  stream.on('motion', ({ screenPoint }) => {
    marked ||= screenPoint.x === -77;
  });
  stream.start();
  push(motion(1, 0, -77));
  await until('the marker', () => marked);
  stream.stop();
}

// When any capture object is garbage-collected, the running capture ends, so this one is kept.
const other = addon.hardware.capturePointer();

const streams = [];
function newStream() {
  const stream = new PointerStream();
  streams.push(stream);
  return stream;
}

async function stopped() {
  for (const stream of streams.splice(0)) stream.stop().removeAllListeners();
  other.stopCapturing();
  await settled();
  assert.equal(harness.counts().threads, 0);
}

// A script in its own process with `PointerStream`, `push` and the other names.
const child = (script, options) =>
  runScript(
    `
  const { addon, harness, until, turn } = require(${JSON.stringify(path.join(__dirname, 'harness.js'))});
  const { packageOver } = require(${JSON.stringify(path.join(__dirname, 'modules.js'))});
  const { PointerStream } = packageOver(addon).pointer;
  const push = (...records) => harness.push(Int32Array.from(records.flat()));
  const moves = (count) => push(...Array.from({ length: count }, (_, index) => [1, 0, index, 0, 0, 0, 0]));
  const stream = new PointerStream();
  ${script}`,
    { prelude: false, environment: { ASAN_OPTIONS: 'detect_leaks=0' }, ...options },
  );

module.exports = { PointerStream, other, push, motion, buttons, newStream, record, settled, stopped, child };
