'use strict';

// The thread that reads the event log: for each { file, texts, query, order, limit } that comes, { records } or { error }
// goes.
const fs = require('node:fs');
const path = require('node:path');
const { parentPort } = require('node:worker_threads');
const { eventRecord } = require('./event_record.js');

// The application's host may show an archive as a folder, but not to this thread. Its binaries stand beside it then.
function realFile(file) {
  for (let above = path.dirname(file); above !== path.dirname(above); above = path.dirname(above)) {
    if (fs.statSync(above, { throwIfNoEntry: false })?.isFile()) return `${above}.unpacked${file.slice(above.length)}`;
  }
  return file;
}

function read({ file, texts, query, order, limit }) {
  const found = texts ?? require(realFile(file)).msix_auto_updater.getUpdateErrors(query);
  if (order === 'newest') found.reverse();
  return found.slice(0, limit).map(eventRecord);
}

parentPort.on('message', (request) => {
  try {
    parentPort.postMessage({ records: read(request) });
  } catch (error) {
    // A copy of an error has lost what is not every error's.
    parentPort.postMessage({ error: { message: String(error?.message ?? error).trim(), code: error?.code } });
  }
});
