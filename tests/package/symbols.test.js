'use strict';

const assert = require('node:assert');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const { after, before, describe, test } = require('node:test');
const { Image } = require('./support/pe.js');
const { binaries } = require('./support/package.js');
const { run, runInWindows } = require('./support/run.js');

// Wine says where it loads a module and where a fault happens; with the PDB that must give the function.
describe('a crash, seen through the PDB', () => {
    const { image, pdb } = binaries.find(({ abi }) => abi === '127');
    let folder;
    let module;

    before(() => {
        folder = fs.mkdtempSync(path.join(os.tmpdir(), 'zebbridge-crash-'));
        module = path.join(folder, 'zebbridge.node');
        fs.copyFileSync(image, module);
        fs.copyFileSync(pdb, path.join(folder, 'zebbridge.pdb'));
    });
    after(() => fs.rmSync(folder, { recursive: true, force: true }));

    function crash(method) {
        const script = path.join(folder, `${method}.js`);
        fs.writeFileSync(script, `require('./zebbridge.node').crash_emitter.${method}();`);
        const { status, err } = runInWindows(`Z:${script}`, { env: { WINEDEBUG: '-all,+seh,+loaddll' } });
        assert.notStrictEqual(status, 0);
        return err;
    }

    // The functions at the fault with this code, innermost first.
    function functionsAt(trace, code) {
        const base = BigInt(`0x${trace.match(/Loaded L"[^"]*zebbridge\.node" at ([0-9A-F]+)/i)[1]}`);
        const faults = [...trace.matchAll(new RegExp(`code=${code} flags=\\d+ addr=(?:0x)?([0-9A-F]+)`, 'gi'))];
        const { sections } = new Image(module);
        const end = Math.max(...sections.map(({ rva, size }) => rva + size));
        const inside = faults.map(([, at]) => BigInt(`0x${at}`) - base).filter((rva) => rva >= 0n && rva < end);
        assert.ok(inside.length > 0, `no fault ${code} inside the module`);
        const { out } = run('llvm-symbolizer-19', [`--obj=${module}`, '--relative-address', `0x${inside[0].toString(16)}`]);
        return out;
    }

    test('emitAccessViolation is found', () => {
        assert.match(functionsAt(crash('emitAccessViolation'), 'c0000005'), /zeb::CrashEmitter::emitAccessViolation/);
    });

    test('emitStackOverflow is found', () => {
        assert.match(functionsAt(crash('emitStackOverflow'), 'c00000fd'), /zeb::CrashEmitter::emitStackOverflow/);
    });
});
