// Writes the module's log to a file, one line per log record.
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

// Exceptions in the handler are dropped, so a full disk does not stop the application.
diagnostics.setLogHandler((message, level) => {
  fs.writeSync(file, `${new Date().toISOString()} ${level === LogLevel.Error ? 'error' : 'information'}: ${message}\n`);
});

const capture = hardware.capturePointer();
capture.startCapturing();
capture.stopCapturing();

shutdown(); // removes the handler, so nothing writes to the file any more
fs.closeSync(file);
