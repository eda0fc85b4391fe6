'use strict';
const assert = require('node:assert/strict');
const { spawnSync } = require('node:child_process');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const test = require('node:test');
const x11 = require('../../tests/script/support/x11');

const file = path.join(process.env.ZEB_BUILD, 'node', 'selftest.node');

// Runs a script in its own process with its output in files, because the Windows Node.js cannot write to pipes under
// Wine.
function runNode(executable, script) {
  const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'zeb-'));
  const [out, err] = ['out', 'err'].map((name) => fs.openSync(path.join(folder, name), 'w'));
  const { status } = spawnSync(executable, ['-e', script], { stdio: ['ignore', out, err], timeout: 30000 });
  fs.closeSync(out);
  fs.closeSync(err);
  return {
    status,
    stdout: fs.readFileSync(path.join(folder, 'out'), 'utf8'),
    stderr: fs.readFileSync(path.join(folder, 'err'), 'utf8'),
  };
}

async function until(what, condition, milliseconds = 10000) {
  for (const deadline = Date.now() + milliseconds; !condition(); ) {
    assert.ok(Date.now() < deadline, `${what} within ${milliseconds} ms`);
    await new Promise((resolve) => setTimeout(resolve, 10));
  }
}

test('pool threads that are older than the module have its thread-locals', async () => {
  await fs.promises.stat(process.execPath); // starts the pool
  assert.equal(await require(file).onPoolThread(), 'fresh');
});

test('language and library inside the host', () => {
  const rows = require(file).checks();
  assert.ok(rows.length > 40);
  for (const [name, expected, actual] of rows) assert.equal(actual, expected, name);
});

test('a C++ exception becomes a script error', () => {
  assert.throws(() => require(file).translated(), new TypeError('from C++'));
});

test('a libuv thread has thread-locals of its own', () => {
  assert.equal(require(file).onLoopThread(), 'fresh main');
});

test('V8 functions that take std::string_view', () => {
  assert.deepEqual(require(file).dictionary(), { first: 'one', second: 2 });
});

test('the host executable may have any name', () => {
  const renamed = path.join(fs.mkdtempSync(path.join(os.tmpdir(), 'zeb-')), 'Application.exe');
  fs.copyFileSync(process.execPath, renamed);
  const script = `console.log(require('path').basename(process.execPath), require(${JSON.stringify(file)}).onLoopThread())`;
  const { status, stdout, stderr } = runNode(renamed, script);
  assert.deepEqual(
    { status, stdout: stdout.trim(), stderr },
    { status: 0, stdout: 'Application.exe fresh main', stderr: '' },
  );
});

test('a host that lacks a function is named, with the function', () => {
  const { status, stderr } = runNode(process.execPath, `require(${JSON.stringify(file)}).callMissing()`);
  assert.equal(status, 0xc06d007f, 'the code that Windows users know: procedure not found');
  assert.match(stderr, /selftest\.node: node\.exe has no zebSelftestMissing/);
  assert.match(stderr, /^record: sound node\.exe zebSelftestMissing 127$/m, 'what crash reporters decode');
});

// Modules end in the reverse order of their start, so the first one's words come after everything of the second.
test('the end of the process destroys no objects of a module', () => {
  const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'zeb-'));
  const copies = ['first.node', 'second.node'].map((name) => path.join(folder, name));
  for (const copy of copies) fs.copyFileSync(file, copy);
  const { status, stderr } = runNode(
    process.execPath,
    `for (const copy of ${JSON.stringify(copies)}) require(copy).tellEnd(); process.exitCode = 5;`,
  );
  assert.deepEqual({ status, stderr }, { status: 5, stderr: 'the process ends\nthe process ends\n' });
});

test('raw pointer input reaches Windows programs', {
  skip: x11.available ? false : 'needs a desktop session',
}, async () => {
  const addon = require(file);
  addon.openWindow();
  try {
    await until('the window is in front', () => addon.pointer()[0]);
    const [, x, y] = addon.pointer();
    await x11.move(7, 2);
    await until('the motion arrives', () => addon.pointer()[1] - x === 7 && addon.pointer()[2] - y === 2);
    await x11.click(1);
    await x11.click(3);
    await until('the buttons arrive', () => addon.pointer()[3] === '1 2 4 8 ');
  } finally {
    addon.closeWindow();
  }
});
