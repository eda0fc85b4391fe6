// Waits for other threads, processes and the X server: never for a time, always for a condition.
'use strict';

const turn = (milliseconds = 5) => new Promise((resolve) => setTimeout(resolve, milliseconds));

// Deadlines are this many times longer where everything takes longer.
const PATIENCE = Number(process.env.ZEB_PATIENCE || 1);

// Resolves to the condition's first truthy value. The condition may be asynchronous.
async function until(what, condition, milliseconds = 20000) {
  milliseconds *= PATIENCE;
  for (const deadline = Date.now() + milliseconds; ; ) {
    const value = await condition();
    if (value) return value;
    if (Date.now() > deadline) throw new Error(`${what}: not within ${milliseconds} ms`);
    await turn();
  }
}

module.exports = { PATIENCE, turn, until };
