// Environments are made and freed one after the other, each working in its own way, while one stays. ZEB_STRESS makes
// that many times as many, at most ten times. Each process makes at most a thousand, because Node.js keeps some 70 KB of each
// environment, and the engine's cache of compiled scripts gets slower with each.
'use strict';
const test = require('node:test');
const { ends } = require('../script/support/hosts');
const { scale } = require('../script/support/length');

const COUNT = Math.round(1000 * Math.min(scale, 1));
const PROCESSES = Math.min(Math.ceil(scale), 10);
const HOURS = { timeout: 4 * 3_600_000 };

// What one environment does before it is freed.
const work = [
  () => {},
  () => {
    globalThis.captures = [hardware.capturePointer(), hardware.capturePointer()];
  },
  () =>
    capturing(
      () => {},
      () => {},
    ),
  () => {
    capturing(
      () => {},
      () => {},
    );
    capture.stopCapturing();
  },
  () => {
    diagnostics.setLogHandler((text) => text);
    hardware.capturePointer();
  },
  () => updating(false),
  () => {
    updating(false, () => setTimeout(() => {}, 0));
    updater.dispose();
  },
  () => {
    diagnostics.setLogHandler(() => hardware.getButtonState(1));
    capturing(
      () => setTimeout(() => {}, 0),
      () => {},
    );
    harness.writeLog(2, 'a record');
    updating(false, () => {});
    updating(false, () => {});
  },
  () => {
    capturing(() => {});
    capture = null;
    gc();
  },
  () => {
    shutdown();
    require('node:fs').statSync(file);
  },
  () => {
    try {
      hardware.getButtonState({
        valueOf() {
          throw new Error('own');
        },
      });
    } catch {}
    setInterval(() => capture.stopCapturing(), 1);
    capturing(() => {});
  },
];

for (let number = 1; number <= PROCESSES; ++number) {
  test(`${COUNT} in a row leave nothing, process ${number}`, HOURS, () =>
    ends(
      `async () => {
  const work = [${work.join(', ')}];
  const first = load();
  const counts = first.run('harness.counts');
  first.run(() => {
    globalThis.events = 0;
    capturing(() => ++events);
    harness.burst(1, 0, 0);
  });
  await until('what the first delivery makes once', () => first.run('events') === 1);
  const before = held(first);
  for (let index = 0; index < ${COUNT}; ++index) {
    const environment = load();
    environment.run(work[index % work.length]);
    if (index % 7 === 0) await turn(1);
    environment.free();
    if (index % ${COUNT / 20} === 0) {
      gc();
      await turn(0);
    }
    const { asyncHandles, handles } = counts();  // work that continues has threads and blocks
    assert.ok(asyncHandles <= before.asyncHandles && handles <= before.handles, 'after number ' + index);
  }
  await until('the ends of the deployments', () => counts().deployments === 0 && counts().threads <= 1);
  const seen = first.run('events');
  first.run(() => harness.burst(100, 0, 0));
  await until('the events of the one that stays', () => first.run('events') === seen + 100);
  first.free();
  await collected();
  assert.deepEqual({ ...counts() }, { blocks: 0, asyncHandles: 0, threads: 0, handles: 0, deployments: 0 });
}`,
      { milliseconds: HOURS.timeout },
    ),
  );
}
