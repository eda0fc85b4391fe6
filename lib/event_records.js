'use strict';

const Module = require('node:module');
const { Worker } = require('node:worker_threads');
const source = require('./event_worker_source.js');

// The file of the native module, as the runtime has loaded it: bundlers and archives move it. Undefined where it was
// loaded in another way than by a require, or not at all.
function binaryOf({ msix_auto_updater: updater }) {
  const loaded = Object.values(Module._cache).find(({ filename, exports }) =>
    filename?.endsWith('.node') && exports?.msix_auto_updater === updater);
  return loaded?.filename;
}

// Reads the records in a thread of their own, because the event log's service answers when it likes.
async function readRecords({ query, order, limit }) {
  const { native } = require('./native.js'); // not before: loading it may throw
  const file = binaryOf(native);
  // A module that the thread cannot load is asked here: one that is not there throws its sentence.
  const texts = file === undefined ? native.msix_auto_updater.getUpdateErrors(query) : undefined;
  return new Promise((resolve, reject) => {
    const worker = new Worker(source, { eval: true, execArgv: [], workerData: { file, texts, query, order, limit } });
    worker.on('message', ({ records, error }) => {
      if (error === undefined) resolve(records);
      else reject(Object.assign(new Error(error.message), error.code === undefined ? {} : { code: error.code }));
    });
    worker.on('error', reject);
    worker.on('exit', (status) => reject(new Error(`The thread that reads the event log ended with ${status}.`)));
  });
}

module.exports = { readRecords };
