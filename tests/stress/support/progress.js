// Shows the progress of a long run, at most every few seconds: progress(what, total) returns a function that takes what
// is done.
'use strict';

const { scale } = require('../../script/support/length');

const isQuiet = scale <= 1;

module.exports = function progress(what, total) {
  let told = Date.now();
  return (done) => {
    if (isQuiet || Date.now() - told < 10_000) return;
    told = Date.now();
    console.log(`   ${done} of ${total} ${what}, ${(process.memoryUsage().rss / 2 ** 20).toFixed()} MB`);
  };
};
