// A short run of the fuzzer in its own process, from a fixed seed and from a new one each time.
'use strict';
const assert = require('node:assert/strict');
const fs = require('node:fs');
const path = require('node:path');
const test = require('node:test');
const { buildFile } = require('../script/support/built');
const declared = require('../script/support/declared');
const { runScript } = require('../script/support/processes');
const { PATIENCE } = require('../script/support/until');

const CALLS = process.platform === 'win32' || PATIENCE > 1 ? 1500 : 4000;
const seeds = [1, Date.now() % 2 ** 31];

// Windows has the product's add-on; elsewhere its portable layers run.
const targets = ['harness.node', process.platform === 'win32' ? 'zebbridge.node' : null].filter(Boolean);

for (const target of targets) {
  const file = buildFile('node', target);
  for (const seed of seeds) {
    test(`${CALLS} random calls of ${target}`, { skip: fs.existsSync(file) ? false : 'not built' }, async (t) => {
      t.diagnostic(`seed ${seed}`);
      const ended = await runScript(
        `require(${JSON.stringify(path.join(__dirname, 'fuzz.js'))}).main([${JSON.stringify(file)}, ${seed}, ${CALLS}]);`,
        { prelude: false, milliseconds: 240000 },
      );
      assert.equal(
        ended.status,
        0,
        `seed ${seed}: status ${ended.status} ${ended.signal}\n${ended.stdout}${ended.stderr}`,
      );
      const tally = JSON.parse(ended.stdout.trim().split('\n').at(-1));
      const { blocks, threads, deployments } = tally.held ?? { blocks: 0, threads: 0, deployments: 0 };
      assert.deepEqual({ blocks, threads, deployments }, { blocks: 0, threads: 0, deployments: 0 });
      const portable = (name) => target !== 'harness.node' || name !== 'windows';
      assert.deepEqual(tally.components, Object.keys(declared.components).filter(portable));
      assert.equal(tally.values + tally.errors, tally.calls, 'each call was answered');
      assert.ok(tally.calls >= CALLS && tally.values > CALLS / 10 && tally.errors > CALLS / 10);
    });
  }
}
