// "zebbridge/pointer": what keeps the process alive, and how streams, workers and the process end.
'use strict';
const assert = require('node:assert/strict');
const { once } = require('node:events');
const path = require('node:path');
const test = require('node:test');
const { Worker } = require('node:worker_threads');
const { push, motion, buttons, child, stopped } = require('./support/streams');

test.afterEach(stopped);

test('a stream that runs keeps the process, a stopped one does not', async () => {
  const { status, stdout } = await child(`
    stream.on('buttons', () => { console.log('button'); stream.stop(); });
    stream.start();
    setTimeout(() => push([0, 0, 0, 0, 2, 0, 0]), 50).unref();
    process.on('beforeExit', () => console.log('nothing left to do'));`);
  assert.deepEqual({ status, stdout }, { status: 0, stdout: 'button\nnothing left to do\n' });
});

test('also while another object has ended the capture', async () => {
  const { status, stdout } = await child(`
    stream.on('motion', () => { console.log('moved'); stream.stop(); });
    stream.start();
    addon.hardware.capturePointer().stopCapturing();
    const began = setInterval(() => { if (harness.counts().threads > 0) moves(1); }, 5).unref();
    globalThis.kept = began;`);
  assert.deepEqual({ status, stdout }, { status: 0, stdout: 'moved\n' });
});

test('process.exit in a listener', async () => {
  const { status, stderr } = await child(`stream.on('motion', () => process.exit(6)).start(); moves(100);`);
  assert.deepEqual({ status, stderr }, { status: 6, stderr: '' });
});

test('shutdown() leaves a stream that runs; after it, start throws', async () => {
  const { status, stdout, stderr } = await child(`
    stream.once('motion', () => {
      addon.shutdown();
      const other = new PointerStream();
      for (const each of [other, stream.stop()]) {
        try { each.start(); } catch (error) { console.log(error.name + ': ' + error.message, each.capturing); }
      }
    });
    const going = new PointerStream();
    going.start();
    stream.start();
    moves(1);
    let seen = 0;
    going.on('motion', () => {
      if (++seen === 1) setImmediate(moves, 1);
      else going.stop();
    });
    process.on('exit', () => {
      console.log(seen);
      try { going.start(); } catch (error) { console.log(error.name + ': ' + error.message, going.capturing); }
    });`);
  const released = 'TypeError: Illegal invocation: shutdown() has released this object';
  assert.equal(stderr, '');
  assert.equal(stdout, `${released} false\n${released} false\n2\n${released} false\n`);
  assert.equal(status, 0);
});

test('a worker has a capture of its own', async () => {
  const worker = new Worker(
    `
    const { addon } = require(${JSON.stringify(path.join(__dirname, 'support', 'harness.js'))});
    const { packageOver } = require(${JSON.stringify(path.join(__dirname, 'support', 'modules.js'))});
    const { PointerStream } = packageOver(addon).pointer;
    const { parentPort } = require('node:worker_threads');
    const stream = new PointerStream();
    stream.on('motion', () => parentPort.postMessage('moved'));
    stream.on('buttons', () => stream.stop());
    stream.start();
    parentPort.postMessage('started');`,
    { eval: true },
  );
  const [message] = await once(worker, 'message');
  assert.equal(message, 'started');
  push(motion(1, 0));
  assert.deepEqual(await once(worker, 'message'), ['moved']);
  push(buttons(1, 0, 0));
  assert.deepEqual(await once(worker, 'exit'), [0]);
});
