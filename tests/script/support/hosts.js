// Scripts of a host with several environments, each in its own process. The process's main environment is the host. It
// does not load the module itself, so that the first environment to load it can be one that the host frees. The test's
// own process cannot be the host, because a new context switches off the promise hooks that node:test needs.
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

// What the module holds in the whole process, as reported by the harness of one environment.
const held = (environment) => ({ ...environment.run(() => harness.counts()) });
const collected = async () => {
  for (let round = 0; round < 3; ++round) {
    gc();
    await turn(0);
  }
};
`;

// Runs a function that uses the names above in such a process. `run` returns { status, signal, stdout, stderr }.
const run = (script, options) => runScript(`${PRELUDE}(${script})();`, { prelude: false, ...options });

module.exports = {
  run,

  // Checks that the process ends by itself with this exit code and prints only this.
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
