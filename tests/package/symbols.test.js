'use strict';

const assert = require('node:assert');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const { after, before, describe, test } = require('node:test');
const { binaries } = require('./support/package.js');
const { run, runInWindows } = require('./support/run.js');

// The Windows Node.js runs each crash under our debugger, which notes where the fault happened. The PDB must give the
// function for that place.
describe('a crash, seen through the PDB', () => {
  const { image, pdb } = binaries.find(({ abi }) => abi === process.versions.modules);
  const helpers = path.join(process.env.ZEB_BUILD, 'node/desktop-control.node');
  let folder;

  before(() => {
    folder = fs.mkdtempSync(path.join(os.tmpdir(), 'zebbridge-crash-'));
    fs.copyFileSync(image, path.join(folder, 'zebbridge.node'));
    fs.copyFileSync(pdb, path.join(folder, 'zebbridge.pdb'));
    fs.writeFileSync(path.join(folder, 'crash.js'), "require('./zebbridge.node').crash_emitter[process.argv[2]]();");
    fs.writeFileSync(
      path.join(folder, 'debug.js'),
      `const child = '"' + process.execPath + '" "' + __dirname + '\\\\crash.js" ' + process.argv[2];
            require(${JSON.stringify(`Z:${helpers}`)})
                .debugRun(child, __dirname + '\\\\output', 30000, Number(process.argv[3]))
                .then((seen) => console.log(JSON.stringify(seen)));`,
    );
  });
  after(() => fs.rmSync(folder, { recursive: true, force: true }));

  // The functions at the fault, innermost first. Inlined functions have their own lines.
  function functionsAt(method, code) {
    // Ended at the fault, because Wine does not get past a stack overflow.
    const { status, out, err } = runInWindows([`Z:${folder}/debug.js`, method, `${code}`]);
    assert.strictEqual(status, 0, err);
    const { failure, exceptions } = JSON.parse(out);
    assert.strictEqual(failure, '');
    const fault = exceptions.find((each) => each.code === code && /zebbridge\.node$/.test(each.module));
    assert.ok(fault, `no fault inside the module: ${out}`);
    return run('llvm-symbolizer-19', [
      `--obj=${path.join(folder, 'zebbridge.node')}`,
      '--relative-address',
      `0x${fault.offset.toString(16)}`,
    ]).out;
  }

  test('emitAccessViolation is found', () => {
    const functions = functionsAt('emitAccessViolation', 0xc0000005);
    assert.match(functions, /^zeb::CrashEmitter::emitAccessViolation.*\n.*crash_emitter\.cpp:\d+/m);
  });

  test('emitStackOverflow is found', () => {
    const functions = functionsAt('emitStackOverflow', 0xc00000fd);
    assert.match(functions, /zeb::CrashEmitter::emitStackOverflow.*\n.*crash_emitter\.cpp:\d+/m);
  });
});
