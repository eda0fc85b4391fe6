// Time limits that end script where a test wants it to be ended, without waiting longer than that takes.
'use strict';
const assert = require('node:assert/strict');
const vm = require('node:vm');

// Runs script with time limits, each twice the one before, until one of them ends it after `reached()` has become true.
module.exports = function timeLimit(script, reached) {
  for (let timeout = 20; ; timeout *= 2) {
    assert.throws(() => vm.runInThisContext(script, { timeout }), { code: 'ERR_SCRIPT_EXECUTION_TIMEOUT' });
    if (reached()) return;
    assert.ok(timeout < 60_000, 'is never reached');
  }
};
