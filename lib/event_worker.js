'use strict';

// The thread that reads the event log: { file, texts, query, order, limit } comes, { records } or { error } goes.
const { parentPort, workerData } = require('node:worker_threads');
const { eventRecord } = require('./event_record.js');

function read({ file, texts, query, order, limit }) {
  const found = texts ?? require(file).msix_auto_updater.getUpdateErrors(query);
  if (order === 'newest') found.reverse();
  return found.slice(0, limit).map(eventRecord);
}

try {
  parentPort.postMessage({ records: read(workerData) });
} catch (error) {
  // A copy of an error has lost what is not every error's.
  parentPort.postMessage({ error: { message: String(error?.message ?? error).trim(), code: error?.code } });
}
