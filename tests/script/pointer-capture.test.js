// "zebbridge/pointer": all streams share one native capture, which other code may take, end or refuse.
'use strict';
const assert = require('node:assert/strict');
const path = require('node:path');
const test = require('node:test');
const { pathToFileURL } = require('node:url');
const { addon, harness, counts, failing, until } = require('./support/harness');
const { root, packageOver } = require('./support/modules');
const { runScript } = require('./support/processes');
const { PointerStream, other, push, motion, buttons, newStream, record, stopped } = require('./support/streams');

test.afterEach(stopped);

test('the first start begins one native capture, the last stop ends it', async () => {
  newStream().start().stop(); // makes the one native object
  const before = (await counts()).asyncHandles;
  const all = Array.from({ length: 10 }, newStream);
  assert.ok(all.every(({ capturing }) => !capturing));
  for (const stream of all) {
    stream.start().start();
    assert.equal(stream.capturing, true);
    assert.equal(harness.counts().threads, 1);
  }
  assert.equal(harness.counts().asyncHandles, before);
  for (const stream of all) {
    assert.equal(harness.counts().threads, 1);
    stream.stop().stop();
    assert.equal(stream.capturing, false);
  }
  assert.equal(harness.counts().threads, 0);
});

test('a stream that runs is kept alive, even if script has lost it', async () => {
  let seen = 0;
  let stop;
  (() => {
    const stream = new PointerStream();
    stream.on('motion', () => ++seen);
    stream.on('buttons', () => stream.stop());
    stop = () => push(buttons(1, 0, 0));
    stream.start();
  })();
  for (let round = 1; round <= 5; ++round) {
    await counts();
    push(motion(1, 0));
    await until('the event', () => seen === round);
  }
  stop();
  await until('the end', () => harness.counts().threads === 0);
});

test('nothing keeps a stopped stream alive, even while others run', async () => {
  const going = newStream();
  const seen = record(going);
  going.start();
  const stopped = [];
  for (let round = 1; round <= 2; ++round) {
    const stream = new PointerStream();
    stream.on('motion', () => stream.stop());
    stopped.push(new WeakRef(stream.start()));
    push(motion(1, 0));
    await until('the event', () => seen.length === round && !stopped.at(-1).deref().capturing);
  }
  await until('their collection', async () => (await counts(), stopped.every((each) => each.deref() === undefined)));
});

test('5,000 streams leave nothing', async () => {
  let collected = 0;
  const registry = new FinalizationRegistry(() => ++collected);
  const many = async (count) => {
    for (let index = 0; index < count; ++index) {
      const stream = new PointerStream();
      const listener = () => stream.stop();
      stream.on('motion', listener).once('buttons', listener).on('error', listener);
      stream.events({ signal: lasting.signal });
      if (index % 10 === 0) stream.start();
      if (index % 100 === 0) {
        push(motion(1, 0));
        await until('the event', () => !stream.capturing);
      }
      stream.stop();
      registry.register(stream, undefined);
    }
  };
  const lasting = new AbortController();
  await many(500);
  const before = { ...(await counts()), heap: process.memoryUsage().heapUsed };
  await many(5000);
  await until('their collection', async () => (await counts(), collected >= 5490));
  const { heap, ...held } = before;
  assert.deepEqual(await counts(), held);
  const grown = (process.memoryUsage().heapUsed - heap) / 5000;
  assert.ok(grown < 50, `${grown} bytes are left of each`);
});

test('a capture that another object has is taken over', async () => {
  let theirs = 0;
  other.setMotionEventCallback(() => ++theirs);
  other.startCapturing();
  const stream = newStream();
  const events = record(stream);
  stream.start();
  push(motion(1, 0));
  await until('the event', () => events.length === 1);
  assert.equal(theirs, 0);
  other.setMotionEventCallback(null);
});

test('a capture that another object ends is begun again', async () => {
  const stream = newStream();
  const events = record(stream);
  stream.start();
  for (let round = 1; round <= 2; ++round) {
    other.stopCapturing();
    assert.equal(harness.counts().threads, 0);
    assert.equal(stream.capturing, true);
    await until('the new start', () => harness.counts().threads === 1);
    push(motion(round, 0));
    await until('the event', () => events.length === round);
  }
});

test('so is one that the garbage collection of another object ends', async () => {
  const stream = newStream();
  const events = record(stream);
  stream.start();
  const NEVER = 1000000;
  harness.fail('threadCreate', NEVER, 1); // counts them from here on
  addon.hardware.capturePointer();
  await until('the new start', async () => (await counts(), harness.calls('threadCreate') === 1));
  harness.fail('threadCreate', 0, 0);
  push(motion(1, 0));
  await until('the event', () => events.length === 1);
});

test('a start that fails throws, and the next one works', async () => {
  const fresh = packageOver(addon).pointer;
  const stream = new fresh.PointerStream();
  const { error } = failing('allocate', 1, 1, () => stream.start());
  assert.equal(error?.message, 'There is no memory for a capture object.');
  assert.equal(stream.capturing, false);
  const events = record(stream);
  stream.start();
  push(motion(1, 0));
  await until('the event', () => events.length === 1);
  stream.stop();
});

// A native module in plain script, for what the real one does only when it runs out of memory.
function scripted({ capturePointer, startCapturing = () => {} } = {}) {
  const capture = {
    startCapturing,
    stopCapturing() {},
    setMotionEventCallback() {},
    setButtonsEventCallback() {},
  };
  return packageOver({
    hardware: { capturePointer: capturePointer ?? (() => capture), getButtonState: () => false },
    windows: {},
    msix_auto_updater: {},
  }).pointer;
}

test('without a driver start throws the native error', () => {
  const native = new Error('Fail to create raw input driver');
  const { PointerStream: Stream } = scripted({
    capturePointer: () => {
      throw native;
    },
  });
  const stream = new Stream().on('error', assert.fail);
  assert.throws(() => stream.start(), native);
  assert.equal(stream.capturing, false);
});

test('a capture that cannot be begun again is an error of every stream, and stops it', async () => {
  const native = new Error('no memory');
  let starts = 0;
  const { PointerStream: Stream } = scripted({
    startCapturing() {
      if (++starts > 1) throw native;
    },
  });
  const [first, second, looped] = [new Stream(), new Stream(), new Stream()];
  const heard = [];
  first.on('error', (error) => heard.push(['first', error, first.capturing]));
  second.on('error', (error) => heard.push(['second', error, second.capturing]));
  for (const stream of [first, second, looped]) stream.start();
  const loop = assert.rejects(looped.events().next(), native);
  const left = looped.events();
  await until('both', () => heard.length === 2);
  await loop;
  await left.return();
  assert.deepEqual(await left.next(), { value: undefined, done: true }); // a loop that was left does not hear of it
  assert.deepEqual(heard, [
    ['first', native, false],
    ['second', native, false],
  ]);
});

test('it is an error of the listeners too where a loop over the events rejects', async () => {
  const native = new Error('no memory');
  let starts = 0;
  const capture = {
    startCapturing() {
      if (++starts > 1) throw native;
    },
    stopCapturing() {},
    setMotionEventCallback() {},
    setButtonsEventCallback() {},
  };
  const hardware = { capturePointer: () => capture, getButtonState() {} };
  const { PointerStream: Stream } = packageOver({ hardware, windows: {}, msix_auto_updater: {} }).pointer;
  const heard = [];
  const stream = new Stream().on('error', (error) => heard.push(error)).start();
  await assert.rejects(stream.events().next(), native);
  await until('the error', () => heard.length === 1);
  assert.deepEqual(heard, [native]);
});

test('without a listener for errors it is uncaught', async () => {
  const { status, stderr } = await runScript(
    `
    const { packageOver } = require(${JSON.stringify(path.join(__dirname, 'support', 'modules.js'))});
    let starts = 0;
    const capture = { startCapturing() { if (++starts > 1) throw new Error('no memory'); }, stopCapturing() {},
      setMotionEventCallback() {}, setButtonsEventCallback() {} };
    const { PointerStream } = packageOver({ hardware: { capturePointer: () => capture, getButtonState() {} },
      windows: {}, msix_auto_updater: {} }).pointer;
    const stream = new PointerStream().start();
    stream.events().return(); // a loop that was left does not take the error
    setTimeout(() => {}, 60000);`,
    { prelude: false },
  );
  assert.match(stderr, /Error: no memory/);
  assert.equal(status, 1);
});

test('where the native part is missing, start throws its sentence', () => {
  const sentence = Object.assign(new Error('zebbridge has no binary here'), { code: 'ERR_ZEBBRIDGE_UNAVAILABLE' });
  const refuse = () => {
    throw sentence;
  };
  const native = { hardware: { capturePointer: refuse, getButtonState: refuse }, windows: {}, msix_auto_updater: {} };
  const { PointerStream: Stream } = packageOver(native, false).pointer;
  const stream = new Stream().on('motion', () => {});
  assert.throws(() => stream.start(), sentence);
  assert.equal(stream.capturing, false);
  stream.stop();
  stream[Symbol.dispose]();
});

test('the ES module gives the same class', async () => {
  const { pointer } = packageOver(addon);
  const imported = await import(pathToFileURL(path.join(root, 'pointer.mjs')));
  assert.deepEqual(Object.keys(imported).sort(), ['PointerStream', 'default']);
  assert.equal(imported.default.PointerStream, imported.PointerStream);
  assert.equal(imported.PointerStream.name, pointer.PointerStream.name);
});
