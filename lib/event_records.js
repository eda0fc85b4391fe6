'use strict';

const { AsyncResource } = require('node:async_hooks');
const Module = require('node:module');
const { Worker } = require('node:worker_threads');
const source = require('./event_worker_source.js');

// The file of the native module, as the runtime has loaded it: bundlers and archives move it. Undefined where it was
// loaded in another way than by a require, or not at all.
function binaryOf({ msix_auto_updater: updater }) {
  const loaded = Object.values(Module._cache).find(
    ({ filename, exports }) => filename?.endsWith('.node') && exports?.msix_auto_updater === updater,
  );
  return loaded?.filename;
}

// The thread that reads, because the event log's service answers when it likes. It is made once and stays: the end of
// any thread that has loaded the native module takes the application's log handler away. While nobody waits for it, it
// keeps no process.
let thread = null;
const waiting = []; // in the order of the requests, which is that of the answers
const context = new AsyncResource('ZebbridgeEventLog'); // a thread keeps the context that it was made in

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
  const { native } = require('./native.js'); // not before: loading it may throw
  native.hardware.getButtonState(1); // throws where the native part is missing, and after shutdown()
  const file = binaryOf(native);
  // A module that the thread cannot load is asked here.
  const texts = file === undefined ? native.msix_auto_updater.getUpdateErrors(query) : undefined;
  return new Promise((resolve, reject) => {
    thread ??= context.runInAsyncScope(makeThread);
    thread.postMessage({ file, texts, query, order, limit });
    thread.ref();
    waiting.push({ resolve, reject });
  });
}

module.exports = { readRecords };
