// The product's portable layers over a platform that the test feeds and lets fail: tests/standins/harness.
'use strict';
const { isDeepStrictEqual } = require('node:util');
const { buildFile } = require('./built');
const { until, turn } = require('./until');

const file = buildFile('node', 'harness.node');
const addon = require(file);
const { harness } = addon;

// The kinds of calls that can fail in this build: the sanitizers bring their own operator new.
harness.fail('operatorNew', 1000000, 1);
harness.writeLog(0, 'long enough to need memory of its own, wherever short texts are kept');
const canFailNew = harness.calls('operatorNew') > 0;
harness.fail('operatorNew', 0, 0);

module.exports = {
  file,
  addon,
  harness,
  canFailNew,

  // The { blocks, asyncHandles, threads, handles, deployments } that the add-on holds, once the loop has closed what is
  // being closed and the garbage collector has taken what nobody holds: what it takes may have held something else.
  async counts() {
    let now = harness.counts();
    for (let round = 0, before; round < 3 && !isDeepStrictEqual(now, before); ++round) {
      before = now;
      global.gc();
      await turn(0);
      now = harness.counts();
    }
    return now;
  },

  // The threads that `harness.fail(kind, first, length, caller)` applies to.
  caller: { thisThread: 0, otherThreads: 1, anyThread: 2 },

  // Makes `length` of this thread's calls of a kind fail, from number `first` on, while `work` runs. Returns what
  // `work` returned or threw, and how many calls there were.
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

  // Waits until the input thread has passed on everything it was told to.
  delivered: (what, condition) => until(what, condition, 120000),
  until,
  turn,
};
