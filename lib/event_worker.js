'use strict';

// The script of the thread that reads the event log. It answers each { file, texts, query, order, limit } with
// { records } or { error }.
const fs = require('node:fs');
const path = require('node:path');
const { parentPort } = require('node:worker_threads');
const { eventRecord } = require('./event_record.js');

// Some hosts show an archive as a folder to application script, but not to this thread. The archive's binaries are then
// in a folder beside it.
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
    // Copying an error between threads loses properties such as `code`.
    parentPort.postMessage({ error: { message: String(error?.message ?? error).trim(), code: error?.code } });
  }
});
