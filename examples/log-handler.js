// Keeps the module's log in a file, one line per record.
//
//   node log-handler.js FILE
'use strict';
const fs = require('node:fs');
const { diagnostics, hardware, LogLevel, shutdown } = require('zebbridge');

const [, , name] = process.argv;
if (name === undefined) {
  console.error('usage: node log-handler.js FILE');
  process.exit(2);
}
const file = fs.openSync(name, 'a');

// An exception in here is dropped, so a full disk does not stop the application.
diagnostics.setLogHandler((message, level) => {
  fs.writeSync(file, `${new Date().toISOString()} ${level === LogLevel.Error ? 'error' : 'information'}: ${message}\n`);
});

const capture = hardware.capturePointer();
capture.startCapturing();
capture.stopCapturing();

shutdown(); // the last record has been written; the handler is let go
fs.closeSync(file);
