// crash.js, in its own process.
'use strict';
const { test } = require('node:test');
const assert = require('node:assert');
const { runExample } = require('./support/examples');

const ACCESS_VIOLATION = 0xc0000005;
const debris = { before: `process.on('exit', () => console.log('ended in good order'));` };

test('crash.js ends with an access violation', async () => {
  const { status, stdout } = await runExample('crash.js', [], debris);
  assert.strictEqual(status, ACCESS_VIOLATION);
  assert.strictEqual(stdout, '');
});

test('crash.js stack-overflow does not come back', async () => {
  const { status, stdout } = await runExample('crash.js', ['stack-overflow'], { ...debris, milliseconds: 5000 });
  assert.notStrictEqual(status, ACCESS_VIOLATION);
  assert.strictEqual(stdout, '');
});
