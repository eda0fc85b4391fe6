// The product's binary is for a runtime that is not available here. This tests what can be seen without it: what it
// hands over when a program loads it, how another runtime refuses it, and that every function that it needs from its
// host exists.
'use strict';
const assert = require('node:assert/strict');
const { spawnSync } = require('node:child_process');
const fs = require('node:fs');
const path = require('node:path');
const test = require('node:test');
const { Image } = require('../package/support/pe');
const { buildFile } = require('./support/zebbridge');
const { hasProductsEngine } = require('./support/built');
const { runScript, temporaryFolder } = require('./support/processes');

const desktop = buildFile('desktop', 'zebbridge.node');
const node = buildFile('node', 'zebbridge.node');
const host = path.join(process.env.ZEB_BUILD, 'recording-host.exe');

function emptyFolder(t) {
  const folder = temporaryFolder();
  t.after(() => fs.rmSync(folder, { recursive: true, force: true }));
  return folder;
}

// What a program without an engine gets from a module that it loads. The output goes to a file because Wine needs that.
function load(t, module, program = host) {
  const file = path.join(emptyFolder(t), 'out');
  const out = fs.openSync(file, 'w');
  const { status, error } = spawnSync(program, [module], { stdio: ['ignore', out, out], timeout: 30000 });
  fs.closeSync(out);
  if (error) throw error;
  const text = fs.readFileSync(file, 'utf8');
  assert.equal(status, 0, text);
  return JSON.parse(text);
}

for (const [file, version] of [
  [desktop, 123],
  [node, Number(process.versions.modules)],
]) {
  test(`a program that loads the module for version ${version} gets its record, once, while it loads`, (t) => {
    const { records, ...rest } = load(t, file);
    assert.equal(records.length, 1);
    const [{ fileName, ...record }] = records;
    assert.deepEqual(record, {
      version,
      flags: 0,
      library: false,
      registerFunction: false,
      contextRegisterFunction: true,
      moduleName: 'NODE_GYP_MODULE_NAME',
      data: false,
      link: false,
      entryInModule: true,
      entryReachesEngine: true,
    });
    assert.equal(fileName.replaceAll('\\', '/'), 'src_native/bridge/node_module.cpp');
    assert.deepEqual(rest, { loadError: 0, exportReachesEngine: true, unloaded: true });
  });
}

test('the host may have any name', (t) => {
  const renamed = path.join(emptyFolder(t), 'Some Application \u00e4.exe');
  fs.copyFileSync(host, renamed);
  assert.deepEqual(load(t, desktop, renamed), load(t, desktop));
});

test('the host may have its engine in a DLL beside it', (t) => {
  assert.deepEqual(load(t, desktop, path.join(path.dirname(host), 'divided-host.exe')), load(t, desktop));
});

test('a Node.js of any name runs the module for its version', async (t) => {
  const executable = path.join(emptyFolder(t), 'application.exe');
  fs.copyFileSync(process.execPath, executable);
  const { status, stdout, stderr } = await runScript(
    `
    const zebbridge = require(${JSON.stringify(node)});
    console.log(require('node:path').basename(process.execPath), Object.keys(zebbridge).length);
    console.log(typeof zebbridge.hardware.getButtonState(0));
    zebbridge.shutdown();
  `,
    { executable, prelude: false },
  );
  assert.equal(stderr, '');
  assert.deepEqual(stdout.split('\n'), ['application.exe 6', 'boolean', '']);
  assert.equal(status, 0);
});

// For this message, static initialisation, the imports and the module record must have worked.
test('another runtime refuses the module for version 123 by its number, and goes on', async () => {
  const { status, stdout, stderr } = await runScript(
    `
    for (let attempt = 0; attempt < 2; ++attempt) {
      try { require(${JSON.stringify(desktop)}); } catch (error) { console.log(JSON.stringify([error.code, error.message])); }
    }
    console.log(Object.keys(require(${JSON.stringify(node)})).length);
  `,
    { prelude: false },
  );
  assert.equal(stderr, '');
  const [first, second, exported] = stdout.split('\n');
  const [code, message] = JSON.parse(first);
  assert.equal(code, 'ERR_DLOPEN_FAILED');
  const words = message.replace(/\s+/g, ' ');
  assert.match(
    words,
    /zebbridge\.node' was compiled against a different Node\.js version using NODE_MODULE_VERSION 123\./,
  );
  assert.match(words, new RegExp(`requires NODE_MODULE_VERSION ${process.versions.modules}\\.`));
  assert.equal(second, first);
  assert.equal(exported, '6');
  assert.equal(status, 0);
});

const skipDesktop = hasProductsEngine ? false : "another engine than the desktop runtime's";
for (const [what, file, skip] of [
  ['this Node.js', node, false],
  ['the desktop runtime', desktop, skipDesktop],
]) {
  test(`the host has every function that the module for ${what} asks for`, { skip }, () => {
    const offered = new Set(new Image(process.execPath).exports);
    const { functions } = new Image(file).delayedImports.find(({ dll }) => dll === 'node.exe');
    assert.ok(functions.includes('node_module_register'));
    assert.deepEqual(
      functions.filter((name) => !offered.has(name)),
      [],
    );
  });
}
