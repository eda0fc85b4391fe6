// What the two measurements of a mouse share: rates, figures, waiting.
'use strict';
const fs = require('node:fs');

const RATES = [1000, 8000];
const SECONDS = Number(process.env.ZEB_BENCH_MOUSE_SECONDS || 5);

const turn = (milliseconds) => new Promise((resolve) => setTimeout(resolve, milliseconds));

// Checks rarely, because checking is part of what is measured.
async function until(what, condition) {
  for (const deadline = Date.now() + 20000; ; ) {
    const value = condition();
    if (value) return value;
    if (Date.now() > deadline) throw new Error(`${what}: not within 20 s`);
    await turn(20);
  }
}

const quantile = (values, share) => Float64Array.from(values).sort()[Math.floor(values.length * share)];

// The times from raw input report to callback. Stamps count tenths of a microsecond and wrap around.
class Delays {
  constructor(count) {
    this.times = new Float64Array(count);
    this.count = 0;
  }
  add(sent, arrived) {
    if (this.count < this.times.length) this.times[this.count++] = (arrived - sent) & 0x7fffffff;
  }
  figures() {
    const times = this.times.subarray(0, this.count);
    return { median: quantile(times, 0.5) / 10, percentile99: quantile(times, 0.99) / 10 }; // in microseconds
  }
}

// Calls measure(name, rate, seconds) for all, after a short run of each in which the engine compiles what they need.
// Writes rows[rate][name] to the file one by one, so a contender that ends the process ends the table with its own row.
async function measureAll(names, measure, resultFile) {
  const rows = {};
  const save = (rate, name, row) => {
    (rows[rate] ??= {})[name] = row;
    fs.writeFileSync(resultFile, JSON.stringify({ node: process.version, seconds: SECONDS, rows }, null, 2));
  };
  for (const name of names) {
    save(RATES[0], name, { reason: 'ended the process' });
    await measure(name, RATES[0], 0.5).catch(() => {}); // the measured run reports it again
  }
  for (const rate of RATES) {
    for (const name of names) {
      save(rate, name, { reason: 'ended the process' });
      const row = await measure(name, rate, SECONDS).catch((error) => ({ reason: error.code || error.message }));
      save(rate, name, row);
      console.log(`${rate} reports a second, ${name}: ${row.reason || `script thread ${row.script.toFixed(2)} %`}`);
    }
  }
}

module.exports = { Delays, measureAll, quantile, turn, until };
