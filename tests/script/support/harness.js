// The product's portable layers over a platform that the test feeds and fails: tests/standins/harness.
'use strict';
const { buildFile } = require('./built');
const { until, turn } = require('./until');

const file = buildFile('node', 'harness.node');
const addon = require(file);
const { harness } = addon;

// The kinds of calls that can fail, as the add-on was built: the sanitizers bring an operator new of their own.
harness.fail('operatorNew', 1000000, 1);
harness.writeLog(0, 'long enough to need memory of its own, wherever short texts are kept');
const canFailNew = harness.calls('operatorNew') > 0;
harness.fail('operatorNew', 0, 0);

module.exports = {
  file,
  addon,
  harness,
  canFailNew,

  // { blocks, asyncHandles, threads, handles, deployments } that the add-on holds, once the loop has closed what is
  // being closed and the collector has taken what nobody has.
  async counts() {
    for (let round = 0; round < 3; ++round) {
      global.gc();
      await turn(0);
    }
    return harness.counts();
  },

  // Whose calls `harness.fail(kind, first, length, caller)` is about.
  caller: { thisThread: 0, otherThreads: 1, anyThread: 2 },

  // Makes this thread's calls of a kind fail from number `first` on, `length` of them, while `work` runs. Gives what it
  // returned or threw, and how many calls there were.
  failing(kind, first, length, work) {
    harness.fail(kind, first, length);
    try {
      return { value: work(), calls: harness.calls(kind) };
    } catch (error) {
      return { error, calls: harness.calls(kind) };
    } finally {
      harness.fail(kind, 0, 0);
    }
  },

  // Waits until the input thread has handed over all that it was told to.
  delivered: (what, condition) => until(what, condition, 120000),
  until,
  turn,
};
