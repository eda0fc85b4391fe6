// Crashes the process, to test the application's crash reporting.
//
//   node crash.js [stack-overflow]
'use strict';
const { crash_emitter } = require('zebbridge');

if (process.argv[2] === 'stack-overflow') crash_emitter.emitStackOverflow();
crash_emitter.emitAccessViolation();
