// The examples about the pointer and the log, each in its own process, and the script on the first page.
'use strict';
const assert = require('node:assert/strict');
const fs = require('node:fs');
const path = require('node:path');
const test = require('node:test');
const { describe } = test;
const { startExample, startPiece, runExample } = require('./support/examples');
const { temporaryFolder } = require('./support/processes');
const { until } = require('./support/until');
const desktop = require('./support/desktop');
const x11 = require('./support/x11');

const { addon, mouse, MOUSE, skip } = desktop;

// Under Wine, the example's input thread has to be woken.
const before = `setImmediate(() => desktop.listening().then(() => console.log('listening')));`;

test.before(async () => {
  if (skip) return;
  await desktop.openWindow();
  await x11.moveTo(500, 400);
  await until('the pointer is there', () => addon.cursor().x === 500);
});
test.after(() => {
  if (!skip) desktop.closeWindow();
});

test('pointer-capture.js turns, shoots and ends', { skip }, async () => {
  const example = startExample('pointer-capture.js', [0.5], { before });
  await example.line('listening');
  await x11.move(20, -10);
  await x11.click(1);
  await x11.move(-5, 40);
  await x11.click(1);
  await x11.click(2);
  const { status, stdout, stderr } = await example.ended;
  assert.equal(stderr, '');
  assert.equal(stdout, 'listening\nshot 1 at 10.0, 5.0\nshot 2 at 7.5, -15.0\n');
  assert.equal(status, 0);
});

test('pointer-stream.js measures drags and ends', { skip }, async () => {
  const example = startExample('pointer-stream.js', [], { before });
  await example.line('listening');
  await x11.move(9, 9);
  await x11.press(1);
  await x11.move(20, -10);
  await x11.move(-5, 40);
  await x11.release(1);
  await x11.click(2);
  const { status, stdout, stderr } = await example.ended;
  assert.equal(stderr, '');
  assert.equal(stdout, 'listening\ndragged by 15, 30\n');
  assert.equal(status, 0);
});

describe('the scripts of the page about pointer streams', { skip }, () => {
  const page = fs.readFileSync(path.join(__dirname, '..', '..', 'docs', 'api', 'pointer.md'), 'utf8');
  const [emitter, loop] = [...page.matchAll(/```js\n([^]*?)```/g)].map(([, script]) => script);
  for (const [name, script, expected] of [
    ['emitter', emitter, /^listening\n\{ x: 4, y: -3 \} \{ x: \d+, y: \d+ \}\n$/],
    ['loop', loop, /^listening\nmoved by \{ x: 4, y: -3 \}\n$/],
  ]) {
    test(name, async () => {
      const example = startPiece(script, { before });
      await example.line('listening');
      await x11.move(4, -3);
      await until('the motion', () => /\{ x: 4/.test(example.output()));
      await x11.click(2);
      const { status, stdout, stderr } = await example.ended;
      assert.equal(stderr, '');
      assert.match(stdout, expected);
      assert.equal(status, 0);
    });
  }
});

test('log-handler.js writes the log', async () => {
  const file = path.join(temporaryFolder(), 'log');
  const { status, stdout, stderr } = await runExample('log-handler.js', [file]);
  assert.deepEqual({ status, stdout, stderr }, { status: 0, stdout: '', stderr: '' });
  const time = '\\d{4}-\\d\\d-\\d\\dT[\\d:.]+Z';
  assert.match(
    fs.readFileSync(file, 'utf8'),
    new RegExp(`^${time} information: Native: capture pointer\n${time} information: Pointer capture released\n$`),
  );
});

test('log-handler.js without a file says how it is used', async () => {
  const { status, stdout, stderr } = await runExample('log-handler.js');
  assert.deepEqual({ status, stdout, stderr }, { status: 2, stdout: '', stderr: 'usage: node log-handler.js FILE\n' });
});

test('button-state.js shows what is held', { skip }, async () => {
  const example = startExample('button-state.js');
  await example.line('none');
  mouse(MOUSE.middleDown);
  await example.line('middle');
  mouse(MOUSE.middleUp);
  mouse(MOUSE.leftDown);
  await example.line('left');
  mouse(MOUSE.rightDown);
  const { status, stdout, stderr } = await example.ended;
  mouse(MOUSE.leftUp);
  mouse(MOUSE.rightUp);
  assert.equal(stderr, '');
  assert.match(stdout, /^none\nmiddle\n(none\n)?left\nleft right\n$/);
  assert.equal(status, 0);
});

test('the script on the first page', { skip }, async () => {
  const page = fs.readFileSync(path.join(__dirname, '..', '..', 'README.md'), 'utf8');
  const [, script] = /```js\n([^]*?)```/.exec(page);
  const example = startPiece(script, { before });
  await example.line('listening');
  await x11.move(4, -3);
  await x11.click(1);
  const { status, stdout, stderr } = await example.ended;
  assert.equal(stderr, '');
  assert.match(stdout, /^left button down: false\nNative: capture pointer$/m);
  assert.match(stdout, /^moved \{ x: 4, y: -3 \} to \{ x: \d+, y: \d+ \}$/m);
  assert.match(stdout, /^Pointer capture released$/m);
  assert.equal(status, 0);
});
