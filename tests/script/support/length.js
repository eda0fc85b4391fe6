// How long the tests run. The crossings of what happens, when and beside whom multiply, so a short run has each case once,
// with its variants by turns: what one runtime of `./zeb test` leaves out, another has. Without ZEB_STRESS, a test has
// all of them everywhere, as in `./zeb soak`. The shortest run, for an engine that was built for tests, where a new
// environment takes a second, has the first and simplest variant of three cases in four, and one in four of the places
// at which memory may be missing on a thread's first load.
'use strict';

const scale = Number(process.env.ZEB_STRESS || 1);
const turn = Number(process.env.ZEB_TURN || 0);
const isShort = scale < 1;
const isShortest = scale <= 0.01;

function variantOf(number, count) {
  if (!isShortest) return (number + turn) % count;
  return number % 4 === 0 ? (number / 4 + turn) % count : 0;
}

module.exports = {
  scale,
  isShortest,

  // Which of its variants the case of this number runs in.
  byTurns: (variants, number) => (isShort ? [variants[variantOf(number, variants.length)]] : variants),
};
