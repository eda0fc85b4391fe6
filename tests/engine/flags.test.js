// The engine that runs the native script tests has the product's build flags.
'use strict';
const assert = require('node:assert/strict');
const test = require('node:test');
const v8 = require('node:v8');
const { zebbridge } = require('../script/support/zebbridge');

test("the engine has the product's flags", () => {
  const { variables } = process.config;
  const flags = [
    'v8_enable_pointer_compression',
    'v8_enable_pointer_compression_shared_cage',
    'v8_enable_31bit_smis_on_64bit_arch',
    'v8_enable_sandbox',
  ];
  assert.deepEqual(
    flags.map((flag) => [flag, Number(variables[flag])]),
    flags.map((flag) => [flag, 1]),
  );
});

test('it works by them', () => {
  const limit = 4 * 2 ** 30;
  assert.ok(v8.getHeapStatistics().heap_size_limit <= limit, 'compressed pointers reach no further');
  assert.equal(typeof zebbridge.hardware.getButtonState(0), 'boolean');
});
