'use strict';

const { AsyncResource } = require('node:async_hooks');
const Module = require('node:module');
const { Worker } = require('node:worker_threads');
const source = require('./event_worker_source.js');

// The file from which the runtime loaded the native module; bundlers and archives move it. Undefined if the module was
// not loaded by a require, or not at all.
function binaryOf({ msix_auto_updater: updater }) {
  const loaded = Object.values(Module._cache).find(
    ({ filename, exports }) => filename?.endsWith('.node') && exports?.msix_auto_updater === updater,
  );
  return loaded?.filename;
}

// The thread that reads the event log, because the event log service may take any time to answer. The thread is made
// once and kept, because the end of any thread that has loaded the native module removes the application's log handler.
// It keeps the process alive only while a request is pending.
let thread = null;
const waiting = []; // in the order of the requests; answers come in the same order
const context = new AsyncResource('ZebbridgeEventLog'); // because a worker keeps the context it was made in

function makeThread() {
  const worker = new Worker(source, { eval: true, execArgv: [] });
  let failure;
  worker.on('message', ({ records, error }) => {
    const { resolve, reject } = waiting.shift();
    if (waiting.length === 0) worker.unref();
    if (error === undefined) resolve(records);
    else reject(Object.assign(new Error(error.message), error.code === undefined ? {} : { code: error.code }));
  });
  worker.on('error', (error) => {
    failure = error;
  });
  worker.on('exit', (status) => {
    thread = null;
    failure ??= new Error(`The thread that reads the event log ended with ${status}.`);
    for (const { reject } of waiting.splice(0)) reject(failure);
  });
  return worker;
}

async function readRecords({ query, order, limit }) {
  const { native } = require('./native.js'); // not earlier, because loading it may throw
  native.hardware.getButtonState(1); // throws if the native part is missing, and after shutdown()
  const file = binaryOf(native);
  // If the thread cannot load the module, read on the calling thread.
  const texts = file === undefined ? native.msix_auto_updater.getUpdateErrors(query) : undefined;
  return new Promise((resolve, reject) => {
    thread ??= context.runInAsyncScope(makeThread);
    thread.postMessage({ file, texts, query, order, limit });
    thread.ref();
    waiting.push({ resolve, reject });
  });
}

module.exports = { readRecords };
