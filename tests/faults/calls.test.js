// Every call of libuv, of the current allocator and of operator new that script's calls lead to fails once, each time
// at the next place. Whatever script sees then, the module works afterwards and holds no more than before.
'use strict';
const assert = require('node:assert/strict');
const test = require('node:test');
const { addon, file, harness, counts, failing, caller, canFailNew, until } = require('../script/support/harness');
const { isShortest } = require('../script/support/length');
const timeLimit = require('../script/support/time_limit');

const { hardware, diagnostics, msix_auto_updater: updater } = addon;
const OUT_OF_MEMORY = 'std::bad_alloc';

// A call, what it may return besides undefined, and the kinds of faults that apply to it.
const capture = hardware.capturePointer();
const operations = {
  capturePointer: () => typeof hardware.capturePointer(),
  startAndStop() {
    capture.startCapturing();
    capture.stopCapturing();
  },
  setMotionEventCallback: () => capture.setMotionEventCallback(() => {}),
  setButtonsEventCallback: () => capture.setButtonsEventCallback(() => {}),
  setLogHandler: () => diagnostics.setLogHandler(() => {}),
  setErrorHandler: () => updater.setErrorHandler(() => {}),
  applyUpdate: () => updater.applyUpdate('https://example.com/a-package-with-a-long-name.msix'),
  tooFewArguments: () => hardware.getButtonState(),
  illegalInvocation: () => hardware.getButtonState.call({}, 0),
};

test.before(async () => {
  // what the first delivery makes once
  let delivered = 0;
  capture.setMotionEventCallback(() => ++delivered);
  capture.startCapturing();
  harness.burst(1, 0, 0);
  await until('the first record', () => delivered === 1);
  capture.stopCapturing();
  capture.setMotionEventCallback(null);
});

async function idle() {
  capture.stopCapturing();
  await until('the end of the updates', () => harness.counts().deployments === 0 && harness.counts().threads === 0);
  return counts();
}

// Runs an operation with the fault at its first place, its second and so on, until no call reaches the fault.
async function sweep(kind, operation) {
  const answers = [];
  for (let place = 1; ; ++place) {
    const { value, error, calls } = failing(kind, place, 1, operation);
    answers.push(error ? error.message : value);
    if (calls < place) return answers;
    assert.ok(place < 1000, 'an end');
  }
}

const logged = [];
for (const withLog of [false, true]) {
  const suffix = withLog ? ', while a log handler listens' : '';

  test(`no memory for the module's own data${suffix}`, {
    skip: canFailNew ? false : 'built with a sanitizer',
  }, async () => {
    for (const [name, operation] of Object.entries(operations)) {
      diagnostics.setLogHandler(withLog ? (text) => logged.push(text) : null);
      await sweep('operatorNew', operation); // what is made only once
      const isKept = /Handler|Callback/.test(name);
      const before = isKept ? undefined : await idle();
      const answers = await sweep('operatorNew', operation);
      const healthy = answers.pop();
      // A message may be cut off, because streams ignore failed allocations.
      for (const answer of answers) {
        assert.ok(answer === OUT_OF_MEMORY || answer === healthy || healthy.startsWith(answer), `${name}: ${answer}`);
      }
      if (!isKept) assert.deepEqual(await idle(), before, name);
    }
    diagnostics.setLogHandler(null);
  });

  test(`no memory for objects${suffix}`, async () => {
    diagnostics.setLogHandler(withLog ? (text) => logged.push(text) : null);
    const before = await idle();
    assert.deepEqual(await sweep('allocate', operations.capturePointer), ['undefined', 'object']);
    if (withLog)
      assert.equal(logged.filter((text) => text.startsWith('Return null instance where expected ComPtr<')).length, 1);
    for (const name of ['startAndStop', 'applyUpdate']) {
      assert.deepEqual(await sweep('allocate', operations[name]), [undefined], name);
    }
    diagnostics.setLogHandler(null);
    assert.deepEqual(await idle(), { ...before, handles: before.handles - (withLog ? 1 : 0) });
  });
}

test('no memory while the module is loaded', { skip: canFailNew ? false : 'built with a sanitizer' }, () => {
  const load = () => {
    const module = { exports: {} };
    process.dlopen(module, file);
    return module.exports;
  };
  for (let place = 1, calls = place; calls >= place; ++place) {
    const loaded = failing('operatorNew', place, 1, load);
    calls = loaded.calls;
    if (loaded.error) assert.equal(loaded.error.message, OUT_OF_MEMORY);
    else assert.equal(loaded.value.hardware.getButtonState(1), true);
    assert.ok(place < 1000, 'an end');
  }
  assert.equal(load().hardware.getButtonState(1), true);
});

test('no memory while the module is loaded first of all on a thread: the next load works', {
  skip: canFailNew ? false : 'built with a sanitizer',
}, async () => {
  const { Worker } = require('node:worker_threads');
  for (let place = 1, calls = place; calls >= place; place += isShortest ? 4 : 1) {
    harness.fail('operatorNew', place, 1, caller.otherThreads);
    const worker = new Worker(
      `
      const load = () => {
        const module = { exports: {} };
        process.dlopen(module, ${JSON.stringify(file)});
        return module.exports;
      };
      let loaded;
      try {
        loaded = load();
      } catch (error) {
        if (error.message !== ${JSON.stringify(OUT_OF_MEMORY)}) throw error;
        loaded = load();
      }
      if (loaded.hardware.getButtonState(1) !== true) throw new Error('no answer');
    `,
      { eval: true },
    );
    await new Promise((resolve, reject) => worker.on('error', reject).on('exit', resolve));
    calls = harness.calls('operatorNew');
    assert.ok(place < 1000, 'an end');
  }
  harness.fail('operatorNew', 0, 0);
});

test('a setter that throws ends the load, and script gets what it threw', () => {
  const setter = {
    set() {
      throw new Error('own');
    },
    configurable: true,
  };
  const load = (exports) => process.dlopen({ exports }, file);
  for (const name of ['crash_emitter', 'hardware', 'shutdown']) {
    const exports = Object.defineProperty({}, name, setter);
    assert.throws(() => load(exports), { message: 'own' }, name);
    assert.ok(!Object.hasOwn(exports, name === 'shutdown' ? 'none' : 'shutdown'), name);
  }
  Object.defineProperty(Object.prototype, 'getButtonState', setter);
  try {
    assert.throws(() => load({}), { message: 'own' });
  } finally {
    delete Object.prototype.getButtonState;
  }
  const exports = {};
  load(exports);
  assert.equal(exports.hardware.getButtonState(1), true);
});

test('a time limit that ends a setter ends the script that loads the module', (t) => {
  const steps = [];
  const setter = {
    set() {
      steps.push('set');
      for (;;);
    },
    configurable: true,
  };
  globalThis.load = (exports) => {
    try {
      process.dlopen({ exports }, file);
    } catch {}
    steps.push('went on');
  };
  t.after(() => delete globalThis.load);
  for (const name of ['crash_emitter', 'hardware', 'shutdown']) {
    globalThis.exportsWithSetter = Object.defineProperty({}, name, setter);
    timeLimit('load(exportsWithSetter)', () => steps.length > 0);
    assert.deepEqual(steps.splice(0), ['set'], name);
  }
  delete globalThis.exportsWithSetter;
});

// The exports of one more load: components of their own.
function loadedAgain() {
  const module = { exports: {} };
  process.dlopen(module, file);
  return module.exports;
}

test('a component that has no memory for its driver says so', () => {
  const { hardware } = loadedAgain();
  const first = () => hardware.capturePointer();
  assert.equal(failing('allocate', 1, 1, first).error.message, 'Fail to create raw input driver');
  assert.equal(failing('allocate', 2, 1, first).value, undefined);
  assert.equal(typeof first(), 'object');
});

test('a capture that cannot be woken captures nothing, and ends as any other', async () => {
  const before = await idle();
  await (async () => {
    const { value: deaf, calls } = failing('asyncInit', 1, 1, () => hardware.capturePointer());
    assert.equal(calls, 1);
    deaf.setMotionEventCallback(() => assert.fail('nobody could be woken'));
    deaf.startCapturing();
    await until('the input thread', () => harness.counts().threads === 1);
    harness.burst(10, 0, 0);
    deaf.stopCapturing();
  })();
  assert.deepEqual(await idle(), before);
});

test('an environment that cannot be woken by others works', () => {
  // The first load makes the environment; a worker has its own.
  const { Worker } = require('node:worker_threads');
  const worker = new Worker(
    `
    const { hardware } = require(${JSON.stringify(file)});
    if (hardware.getButtonState(1) !== true) throw new Error('no answer');
  `,
    { eval: true },
  );
  return new Promise((resolve, reject) => {
    harness.fail('asyncInit', 1, 1, caller.anyThread);
    worker.on('error', reject).on('exit', (code) => {
      harness.fail('asyncInit', 0, 0);
      assert.equal(code, 0);
      resolve();
    });
  });
});

test('a capture whose thread cannot be started delivers nothing until it is started again', async () => {
  capture.setMotionEventCallback(null);
  const before = await idle();
  const events = [];
  capture.setMotionEventCallback((event) => events.push(event));
  const { error, calls } = failing('threadCreate', 1, 1, () => capture.startCapturing());
  assert.deepEqual([error, calls], [undefined, 1]);
  assert.equal(harness.counts().threads, 0);
  capture.startCapturing(); // logs "captures" already
  assert.equal(harness.counts().threads, 0);
  capture.stopCapturing();
  capture.startCapturing();
  harness.burst(3, 0, 0);
  await until('the records', () => events.length >= 3);
  capture.stopCapturing();
  capture.setMotionEventCallback(null);
  assert.deepEqual(await idle(), before);
});

for (const [kind, what] of [
  ['threadCreate', 'whose thread cannot be started'],
  ['asyncInit', 'that could not wake script'],
]) {
  test(`an update ${what} has not run: one record of level 2 and one report say so`, async () => {
    updater.setErrorHandler(null);
    diagnostics.setLogHandler(null);
    const before = await idle();
    const records = [];
    const reports = [];
    updater.setErrorHandler((report) => reports.push(report));
    diagnostics.setLogHandler((text, level) => records.push([text, level]));
    harness.planDeployments('unheard', false);
    assert.equal(failing(kind, 1, 1, operations.applyUpdate).value, undefined);
    assert.deepEqual(records, [['Fail to start package update', 2]]);
    assert.equal(harness.counts().deployments, 0);
    await until('its report', () => reports.length > 0);
    harness.planDeployments('heard', false);
    operations.applyUpdate();
    await until('the report of the next', () => reports.length > 1);
    assert.deepEqual(reports, ['Fail to start package update', 'heard']);
    assert.equal(records.length, 1);
    updater.setErrorHandler(null);
    diagnostics.setLogHandler(null);
    assert.deepEqual(await idle(), before);
  });
}

test('no memory while a report is delivered: it is heard', {
  skip: canFailNew ? false : 'built with a sanitizer',
}, async () => {
  const before = await idle();
  const REPORT = 'longer than what a text holds without memory of its own';
  let reports = 0;
  updater.setErrorHandler((report) => {
    assert.equal(report, REPORT);
    ++reports;
  });
  harness.planDeployments(REPORT, true);
  for (let place = 1, calls = place; calls >= place; ++place) {
    operations.applyUpdate();
    harness.releaseDeployments();
    for (const deadline = Date.now() + 60_000; harness.counts().threads > 0; ) assert.ok(Date.now() < deadline);
    ({ calls } = failing('operatorNew', place, 1, () => harness.turnLoop()));
    await until('the report', () => reports === place);
  }
  updater.setErrorHandler(null);
  assert.deepEqual(await idle(), before);
});

test('script is busy until its queue fills the memory: the newest records are lost, the rest comes in order', {
  skip: canFailNew ? false : 'built with a sanitizer',
}, async () => {
  await idle();
  const seen = [];
  capture.setMotionEventCallback(({ screenPoint }) => seen.push(screenPoint.x));
  capture.startCapturing();
  harness.burst(1000, 0, 0);
  await until('the first records', () => seen.length === 1000);
  harness.fail('operatorNew', 1, 1000000000, caller.otherThreads);
  harness.burst(100000, 1000, 0);
  const deadline = Date.now() + 60000;
  while (harness.calls('operatorNew') < 1000 && Date.now() < deadline); // the input thread finds no memory
  harness.fail('operatorNew', 0, 0);
  harness.burst(1, 1000000, 0);
  await until('the newest record', () => seen.at(-1) === 1000000);
  assert.ok(seen.length < 101001, 'some were lost');
  for (let index = 1; index < seen.length; ++index) assert.ok(seen[index] > seen[index - 1], 'in order');
  capture.stopCapturing();
  capture.setMotionEventCallback(null);
});

test('the queue keeps its memory between small bursts and gives that of a big one back', {
  skip: canFailNew ? false : 'built with a sanitizer',
}, async () => {
  await idle();
  let seen = 0;
  capture.setMotionEventCallback(() => ++seen);
  capture.startCapturing();
  // How often the queue grew while all of the records waited in it.
  const allocations = async (count) => {
    seen = 0;
    const before = harness.dispatched();
    harness.fail('operatorNew', 1000000000, 1, caller.otherThreads);
    harness.burst(count, 0, 0);
    while (harness.dispatched() < before + count);
    const calls = harness.calls('operatorNew');
    harness.fail('operatorNew', 0, 0);
    await until('the records', () => seen === count);
    return calls;
  };
  // Two queues take turns.
  let kept = false;
  for (let round = 0; round < 20 && !kept; ++round) kept = (await allocations(10000)) === 0;
  assert.ok(kept, 'between small bursts');
  for (let round = 0; round < 6; ++round) assert.ok((await allocations(100000)) > 0);
  capture.stopCapturing();
  capture.setMotionEventCallback(null);
});

test('a delivery that has no memory is made again, also when it is the last work', {
  skip: canFailNew ? false : 'built with a sanitizer',
}, async () => {
  await idle();
  const { hardware: fresh } = loadedAgain(); // its first delivery makes what the later ones use
  const seen = [];
  globalThis.other = fresh.capturePointer();
  globalThis.other.setMotionEventCallback(({ screenPoint }) => seen.push(screenPoint.x));
  globalThis.other.startCapturing();
  const before = harness.dispatched();
  harness.burst(5, 0, 0);
  while (harness.dispatched() < before + 5);
  globalThis.other.stopCapturing();
  const { calls } = failing('operatorNew', 1, 3, () => {
    for (let turn = 0; turn < 3; ++turn) harness.turnLoop();
  });
  assert.equal(calls, 3);
  assert.deepEqual(seen, []);
  await until('the records', () => seen.length === 5);
  assert.deepEqual(seen, [0, 1, 2, 3, 4]);
  delete globalThis.other;
});

test('each call of the event log fails: script gets a text of the system, and nothing stays open', () => {
  const kinds = { openQuery: 0, getQueryProperty: 1, takeRecords: 2, renderXml: 3, allocate: 5 };
  const answers = {};
  for (const [name, kind] of Object.entries(kinds)) {
    answers[name] = [];
    for (let place = 1; place <= 26; ++place) {
      harness.planEventLog(12, 100, kind, place, 1234);
      try {
        answers[name].push(updater.getUpdateErrors('*').length);
      } catch (error) {
        assert.ok(error instanceof Error && error.message.length > 0, `${name} ${place}`);
        answers[name].push('Error');
      }
      assert.ok(harness.isEventLogClosed(), `${name} ${place}`);
    }
  }
  const failures = Object.fromEntries(
    Object.entries(answers).map(([name, list]) => [name, list.lastIndexOf('Error') + 1]),
  );
  assert.deepEqual(failures, { openQuery: 1, getQueryProperty: 4, takeRecords: 3, renderXml: 24, allocate: 14 });
  harness.planEventLog(3, 5);
  assert.deepEqual(updater.getUpdateErrors('*'), ['xxxxx', 'xxxxx', 'xxxxx']);
});

// The last test, because it takes the components away.
test('after shutdown and a garbage collection nothing is left', async () => {
  for (const name of ['setMotionEventCallback', 'setButtonsEventCallback']) capture[name](null);
  addon.shutdown();
  await until('the end of the threads', () => harness.counts().threads === 0);
  const left = await counts();
  // The capture object that this file holds, its driver, and the environment's handles: its context, what it delivers
  // with, what it makes wrappers from and the two that it probes the engine with.
  assert.deepEqual(left, { blocks: 2, asyncHandles: 2, threads: 0, handles: 7, deployments: 0 });
});
