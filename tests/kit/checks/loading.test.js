// The package as installed: what it loads, and what it says when it cannot.
'use strict';
const assert = require('node:assert/strict');
const fs = require('node:fs');
const path = require('node:path');
const { pathToFileURL } = require('node:url');
const test = require('node:test');
const { Worker } = require('node:worker_threads');
const { root, flavour, runScript, temporaryFolder, note, remove } = require('../support/kit');

const EXPORTS = ['crash_emitter', 'diagnostics', 'hardware', 'windows', 'msix_auto_updater', 'shutdown'];
const installed = path.join(root, 'zebbridge');
const binaries = path.join(installed, 'prebuilds', 'win32-x64');
const mine = `zebbridge.abi${process.versions.modules}.node`;

test('the package loads, with every export', (t) => {
  const zebbridge = require(installed);
  assert.equal(zebbridge.supported, true);
  assert.deepEqual(
    EXPORTS.filter((name) => !(name in zebbridge)),
    [],
  );
  note(t, 'exports', Object.keys(zebbridge).join(' '));
});

test('so does its ES module', async () => {
  const { hardware, supported } = await import(pathToFileURL(path.join(installed, 'index.mjs')));
  assert.equal(supported, true);
  assert.equal(hardware.getButtonState(0), false);
});

test('so does a worker, and ends', async () => {
  const worker = new Worker(
    `
    const { hardware } = require(${JSON.stringify(installed)});
    require('node:worker_threads').parentPort.postMessage(hardware.getButtonState(1));`,
    { eval: true },
  );
  const state = await new Promise((resolve, reject) => worker.once('message', resolve).once('error', reject));
  assert.equal(state, false);
});

// A copy of the package with binaries that the check chooses. It is removed when the check ends.
function copyOfPackage(t, change) {
  const folder = temporaryFolder();
  t.after(() => remove(folder));
  const copy = path.join(folder, 'zebbridge');
  fs.cpSync(installed, copy, { recursive: true, filter: (source) => !/[\\/](docs|examples)$/.test(source) });
  change(path.join(copy, 'prebuilds', 'win32-x64', mine));
  return copy;
}

async function refusal(t, copy, flags) {
  const { status, output } = await runScript(
    `
    try { require(${JSON.stringify(copy)}); console.log('loaded'); } catch (error) { console.log(JSON.stringify([error.code, error.message])); }`,
    { prelude: '', flags },
  );
  assert.equal(status, 0, output);
  const [code, message] = JSON.parse(output.trim().split('\n').at(-1));
  note(t, code, message);
  return code;
}

for (const other of fs.readdirSync(binaries).filter((name) => name.endsWith('.node') && name !== mine)) {
  test(`${other} in the place of this runtime's binary`, async (t) => {
    const copy = copyOfPackage(t, (file) => fs.copyFileSync(path.join(binaries, other), file));
    assert.equal(await refusal(t, copy), 'ERR_ZEBBRIDGE_BINARY_FAILED');
  });
}

test('without its binary', async (t) => {
  assert.equal(
    await refusal(
      t,
      copyOfPackage(t, (file) => fs.rmSync(file)),
    ),
    'ERR_ZEBBRIDGE_BINARY_MISSING',
  );
});

test('with a binary that was cut off', async (t) => {
  const copy = copyOfPackage(t, (file) => fs.truncateSync(file, 100000));
  assert.equal(await refusal(t, copy), 'ERR_ZEBBRIDGE_BINARY_FAILED');
});

test('with a binary that is not a program', async (t) => {
  const copy = copyOfPackage(t, (file) => fs.writeFileSync(file, 'text'));
  assert.equal(await refusal(t, copy), 'ERR_ZEBBRIDGE_BINARY_FAILED');
});

test('in a process that allows no native modules', async (t) => {
  assert.equal(await refusal(t, installed, ['--no-addons']), 'ERR_ZEBBRIDGE_ADDONS_DISABLED');
});

test('in a host whose executable has another name', {
  skip: flavour === 'desktop' && 'a desktop runtime needs its folder',
}, async (t) => {
  const folder = temporaryFolder();
  t.after(() => remove(folder));
  const renamed = path.join(folder, 'Application.exe');
  fs.copyFileSync(process.execPath, renamed);
  const { status, output } = await runScript('console.log(zebbridge.hardware.getButtonState(0));', {
    executable: renamed,
  });
  assert.deepEqual({ status, output }, { status: 0, output: 'false\n' });
});
