// Scripts of a host that has several environments, each in a process of its own. The process's main environment is the
// host; it does not load the module by itself, so that the first to do it can be one that the host frees. Not in the
// test's own process: a new context switches the promise hooks off that node:test counts on.
'use strict';
const assert = require('node:assert/strict');
const path = require('node:path');
const { runScript } = require('./processes');

const PRELUDE = `'use strict';
const assert = require('node:assert/strict');
const environments = require(${JSON.stringify(path.join(__dirname, 'environments.js'))});
const { until, turn } = require(${JSON.stringify(path.join(__dirname, 'until.js'))});
const { create, load } = environments;
const say = (text) => require('node:fs').writeSync(1, text + '\\n');

// What the module holds in the whole process, as the harness of one environment tells.
const held = (environment) => ({ ...environment.run(() => harness.counts()) });
const collected = async () => {
  for (let round = 0; round < 3; ++round) {
    gc();
    await turn(0);
  }
};
`;

// Runs a function of the names above in such a process. `run` gives { status, signal, stdout, stderr }.
const run = (script, options) => runScript(`${PRELUDE}(${script})();`, { prelude: false, ...options });

module.exports = {
  run,

  // One that ends by itself, with this exit code, and says nothing but this.
  async ends(script, { status = 0, stdout = '', ...options } = {}) {
    const ended = await run(script, options);
    assert.deepEqual(
      { status: ended.status, signal: ended.signal, stdout: ended.stdout },
      { status, signal: null, stdout },
      ended.stderr,
    );
    assert.equal(ended.stderr, '');
  },
};
