// Before it uses the program that loads it, the module checks that program's functions, its engine's build flags and
// the system's DLLs. Whatever does not fit becomes an Error, and the process continues.
'use strict';
const assert = require('node:assert/strict');
const { spawnSync } = require('node:child_process');
const fs = require('node:fs');
const path = require('node:path');
const { describe, test } = require('node:test');
const { Image } = require('../package/support/pe');
const { zebbridge, buildFile, file } = require('./support/zebbridge');
const { hasProductsEngine } = require('./support/built');
const { runScript, temporaryFolder } = require('./support/processes');

const module127 = fs.readFileSync(file);
const host = path.basename(process.execPath);

// A copy of the module in which one name in its tables is replaced by another of the same length. The tables come after
// the module's texts.
function changed(folder, name, from, to, bytes = module127) {
  assert.equal(from.length, to.length);
  const copy = Buffer.from(bytes);
  const at = copy.lastIndexOf(`\0${from}\0`);
  assert.ok(at > 0, `${from} is there`);
  copy.write(to, at + 1, 'latin1');
  const target = path.join(folder, name);
  fs.writeFileSync(target, copy);
  return target;
}

// What loading each file gives in its own process, which then loads the module that fits.
async function load(files) {
  const { status, stdout, stderr } = await runScript(
    `
    for (const name of ${JSON.stringify(files)}) {
      try { require(name); console.log(JSON.stringify({ loaded: true })); } catch (error) {
        console.log(JSON.stringify({ isError: error instanceof Error, name: error.name, code: error.code, message: error.message }));
      }
    }
    const zebbridge = require(${JSON.stringify(file)});
    console.log(typeof zebbridge.hardware.getButtonState(0));
    zebbridge.shutdown();`,
    { prelude: false },
  );
  const lines = stdout.trim().split('\n');
  assert.deepEqual({ status, last: lines.pop() }, { status: 0, last: 'boolean' }, stdout + stderr);
  return { results: lines.map((line) => JSON.parse(line)), stderr };
}

// Without these, the module cannot report anything, so the runtime reports them.
const NEEDED_TO_REPORT = [
  /^node_module_register$/,
  /^\?GetCurrent@Isolate@v8@/,
  /^\?NewFromUtf8@String@v8@/,
  /^\?Error@Exception@v8@/,
  /^\?ThrowException@Isolate@v8@/,
];

describe('functions', () => {
  const imports = new Image(file).delayedImports;
  const folder = temporaryFolder();

  test('each that the host lacks is named when the module is loaded', async () => {
    const { functions } = imports.find(({ dll }) => dll === 'node.exe');
    assert.ok(functions.length > 50);
    const missing = functions.map((name) => `${name.slice(0, -1)}~`);
    const files = functions.map((name, index) => changed(folder, `${index}.node`, name, missing[index]));
    const { results, stderr } = await load(files);
    let refused = 0;
    for (const [index, result] of results.entries()) {
      const sentence = `${host} has no ${missing[index]}, which zebbridge needs`;
      if (NEEDED_TO_REPORT.some((pattern) => pattern.test(functions[index]))) {
        ++refused;
        assert.equal(result.code, 'ERR_DLOPEN_FAILED', functions[index]);
        assert.ok(stderr.includes(`${sentence}\n`), functions[index]);
      } else {
        assert.deepEqual(result, { isError: true, name: 'Error', message: sentence });
      }
    }
    assert.equal(refused, NEEDED_TO_REPORT.length);
  });

  test('of several, the first is named; one that it takes to report is enough to refuse', async () => {
    const { functions } = imports.find(({ dll }) => dll === 'node.exe');
    const isNeeded = (name) => NEEDED_TO_REPORT.some((pattern) => pattern.test(name));
    const without = (file, name, bytes) => changed(folder, file, name, `${name.slice(0, -1)}~`, bytes);
    const lacking = (file, [first, second]) => without(file, second, fs.readFileSync(without(file, first)));
    const others = functions.filter((name) => !isNeeded(name));
    const needed = functions.find(isNeeded);
    assert.ok(functions.indexOf(needed) < functions.indexOf(others.at(-1)));
    const files = [lacking('two.node', [others[0], others.at(-1)]), lacking('needed.node', [needed, others.at(-1)])];
    const { results } = await load(files);
    assert.equal(results[0].message, `${host} has no ${others[0].slice(0, -1)}~, which zebbridge needs`);
    assert.equal(results[1].code, 'ERR_DLOPEN_FAILED');
  });

  test('each that a DLL of the system lacks is named too', async () => {
    const { dll, functions } = imports.find((each) => each.dll !== 'node.exe');
    const missing = functions.map((name) => `${name.slice(0, -1)}~`);
    const { results } = await load(
      functions.map((name, index) => changed(folder, `system${index}.node`, name, missing[index])),
    );
    assert.deepEqual(
      results.map(({ message }) => message),
      missing.map((name) => `${dll} has no ${name}, which zebbridge needs`),
    );
  });

  test('a DLL that the system lacks is named', async () => {
    const {
      results: [result],
    } = await load([changed(folder, 'dll.node', 'wevtapi.dll', 'wevtapj.dll')]);
    assert.deepEqual(result, {
      isError: true,
      name: 'Error',
      message: 'wevtapj.dll cannot be loaded, which zebbridge needs',
    });
  });

  test('the table of them is complete and read-only once the module is loaded', () => {
    const { imports: table } = require('./support/standins');
    const late = table.late();
    assert.deepEqual(late.map(({ library }) => library).sort(), ['node.exe', 'wevtapi.dll']);
    for (const { library, functions, bound, readOnly } of late) {
      assert.deepEqual({ bound, readOnly }, { bound: functions, readOnly: functions }, library);
    }
  });
});

describe('engine flags', () => {
  const folder = temporaryFolder();

  // The product's own binary, labelled as one for this Node.js.
  test('the module for an engine with other flags is refused', async () => {
    const { modules } = process.versions;
    const bytes = fs.readFileSync(buildFile('desktop', 'zebbridge.node'));
    const image = new Image(buildFile('desktop', 'zebbridge.node'));
    const pointer = Buffer.alloc(8);
    pointer.writeBigUInt64LE(image.base + BigInt(image.rva(bytes.indexOf('NODE_GYP_MODULE_NAME\0'))));
    bytes.writeUInt32LE(Number(modules), bytes.indexOf(pointer) - 40); // the module record's first field
    const label = changed(
      folder,
      'desktop.node',
      'node_register_module_v123',
      `node_register_module_v${modules}`,
      bytes,
    );
    const {
      results: [first, second],
      stderr,
    } = await load([label, label]);
    const { message, ...rest } = first;
    assert.deepEqual(rest, { isError: true, name: 'Error' });
    if (hasProductsEngine) {
      assert.equal(
        message,
        'this zebbridge was compiled for an engine with v8_enable_pointer_compression=1, v8_enable_sandbox=1, ' +
          "v8_enable_31bit_smis_on_64bit_arch=1, and this program's has v8_enable_pointer_compression=0, " +
          'v8_enable_sandbox=0, v8_enable_31bit_smis_on_64bit_arch=0',
      );
    } else {
      assert.match(message, /^node\.exe has no \S+@v8@\S+, which zebbridge needs$/); // functions are checked first
    }
    assert.deepEqual(second, first);
    assert.equal(stderr, '');
  });
});

describe('a DLL of the system', () => {
  test('is not taken from the folder of the module', async () => {
    const folder = temporaryFolder();
    const [refused, loaded] = ['refused.node', 'loaded.node'].map((name) => path.join(folder, name));
    fs.copyFileSync(buildFile('desktop', 'zebbridge.node'), refused);
    fs.copyFileSync(file, loaded);
    fs.copyFileSync(buildFile('system32', 'wevtapi.dll'), path.join(folder, 'wevtapi.dll'));
    const { stdout, stderr } = await runScript(
      `
      const { loadedFrom } = require(${JSON.stringify(buildFile('node', 'standin-control.node'))});
      try { require(${JSON.stringify(refused)}); } catch { console.log(loadedFrom('wevtapi.dll')); }
      require(${JSON.stringify(loaded)});
      console.log(loadedFrom('wevtapi.dll'));`,
      { prelude: false },
    );
    const expected = path.join(process.env.SystemRoot, 'system32', 'wevtapi.dll');
    assert.deepEqual(stdout.toLowerCase().split('\n'), ['', expected.toLowerCase(), ''], stderr);
  });

  test('nor from the folder of the program', () => {
    const folder = temporaryFolder();
    const program = path.join(folder, 'node.exe');
    fs.copyFileSync(process.execPath, program);
    fs.copyFileSync(buildFile('system32', 'wevtapi.dll'), path.join(folder, 'wevtapi.dll'));
    const script = `
      const { loadedFrom } = require(${JSON.stringify(buildFile('node', 'standin-control.node'))});
      require(${JSON.stringify(file)});
      console.log(loadedFrom('wevtapi.dll'));`;
    const { stdout, stderr } = spawnSync(program, ['-e', script], { encoding: 'utf8' });
    const expected = path.join(process.env.SystemRoot, 'system32', 'wevtapi.dll');
    assert.equal(stdout.trim().toLowerCase(), expected.toLowerCase(), stderr);
  });
});

test('an engine in a DLL of the process changes nothing where the program has one', async () => {
  const { stdout, stderr } = await runScript(
    `
    const { loadStandin } = require(${JSON.stringify(buildFile('node', 'standin-control.node'))});
    const library = ${JSON.stringify(path.join(process.env.ZEB_BUILD, 'libnode.dll'))};
    loadStandin(library);
    console.log(typeof require(${JSON.stringify(file)}).hardware.getButtonState(0));`,
    { prelude: false },
  );
  assert.equal(stdout, 'boolean\n', stderr);
});

test('the module is at work here', () => {
  assert.equal(Object.keys(zebbridge).length, 6);
});
