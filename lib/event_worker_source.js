'use strict';

const path = require('node:path');

// The script of the thread that reads the event log. It is text, so that bundlers and archives cannot lose it. The
// package has the whole script here, with the library that it uses.
module.exports = `require(${JSON.stringify(path.join(__dirname, 'event_worker.js'))});`;
