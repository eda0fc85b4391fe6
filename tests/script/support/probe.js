// The add-on with test components that reach every branch of the binding layer: tests/standins/binding-probe.
'use strict';
const assert = require('node:assert/strict');
const { buildFile, collect } = require('./zebbridge');

const { probe, control, diagnostics, shutdown } = require(buildFile('node', 'binding-probe.node'));

// Collects what earlier tests left before a test looks at ends.
function takeEnds() {
  collect();
  return control.wrappedEnds();
}

// Types as each platform's compiler spells them.
const struct = (name) => (process.platform === 'win32' ? `struct ${name}` : name);
const WRAPPED = struct('probe::Wrapped');

// What a method throws into script for a native failure: an Error of script's own realm with a message and a stack, no
// more.
function thrownBy(call) {
  try {
    call();
  } catch (error) {
    return error;
  }
  throw new Error('nothing was thrown');
}

function assertError(call, message) {
  const error = thrownBy(call);
  assert.equal(Object.getPrototypeOf(error), Error.prototype);
  assert.equal(error.message, message);
  assert.deepEqual(Reflect.ownKeys(error).toSorted(), ['message', 'stack']);
}

module.exports = { probe, control, diagnostics, shutdown, takeEnds, struct, WRAPPED, thrownBy, assertError };
