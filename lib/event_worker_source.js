'use strict';

const path = require('node:path');

// The script of the thread that reads the event log, as text, so that bundlers and archives cannot lose it. In the
// package, this text is the complete script with its library.
module.exports = `require(${JSON.stringify(path.join(__dirname, 'event_worker.js'))});`;
