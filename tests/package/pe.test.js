'use strict';

const assert = require('node:assert');
const fs = require('node:fs');
const path = require('node:path');
const { describe, test } = require('node:test');
const { Image } = require('./support/pe.js');
const { binaries, manifest, root } = require('./support/package.js');

// The functions that the binaries may take from Windows. All of them are in the DLLs of the first release, Windows 10
// 1507: look there before you add one. The C++ runtime is in the product; the rest of the Windows Runtime is looked up
// at run time.
const SYSTEM = require('./system-imports.json');

const DYNAMIC_BASE = 0x40;
const HIGH_ENTROPY = 0x20;
const NX_COMPATIBLE = 0x100;
const GUARD = 0x4000;
const GUARD_INSTRUMENTED = 0x100;
const GUARD_TABLE = 0x400;
const GUARD_CONTINUATIONS = 0x400000;
const CET_COMPATIBLE = 1;
const SEARCH_SYSTEM32 = 0x800;
const WRITABLE = 0x80000000;

for (const { flavour, abi, image: file } of binaries) {
  describe(`the binary for module version ${abi}`, () => {
    const image = new Image(file);

    test('is for x86-64 and exports its entry alone', () => {
      assert.strictEqual(image.machine, 0x8664);
      assert.deepStrictEqual(image.exports, [`node_register_module_v${abi}`]);
    });

    test('registers for its module version', () => {
      const name = image.bytes.indexOf('NODE_GYP_MODULE_NAME\0');
      const pointer = Buffer.alloc(8);
      pointer.writeBigUInt64LE(image.base + BigInt(image.rva(name)));
      const record = image.bytes.indexOf(pointer) - 40; // the module record's seventh field
      assert.strictEqual(image.bytes.readUInt32LE(record), Number(abi));
      assert.strictEqual(image.bytes.readUInt32LE(record + 4), 0, 'flags');
      assert.strictEqual(image.bytes.readBigUInt64LE(record + 24), 0n, 'entry without a context');
      assert.notStrictEqual(image.bytes.readBigUInt64LE(record + 32), 0n, 'entry');
    });

    test('finds everything it needs in its host', () => {
      // The desktop runtime has the V8 of the first Node.js and therefore its exports.
      const node = process.env[`ZEB_${flavour.toUpperCase()}_WIN`] ?? process.env.ZEB_NODE_WIN;
      const offered = new Set(new Image(path.join(node, 'bin/node.exe')).exports);
      const { functions } = image.delayedImports.find(({ dll }) => dll === 'node.exe');
      assert.ok(functions.length > 50, `${functions.length} functions`);
      assert.deepStrictEqual(
        functions.filter((name) => !offered.has(name)),
        [],
      );
    });

    test('is under 600 KB', () => {
      assert.ok(image.bytes.length < 600 * 1000, `${image.bytes.length} bytes`);
    });

    test('is at a random address with high entropy and has no executable data', () => {
      const wanted = DYNAMIC_BASE | HIGH_ENTROPY | NX_COMPATIBLE;
      assert.strictEqual(image.characteristics & wanted, wanted);
      for (const { name, flags } of image.sections) {
        assert.ok(!(flags & 0x20000000 && flags & WRITABLE), `${name} is writable and executable`);
      }
    });

    test('has control-flow guard', () => {
      assert.ok(image.characteristics & GUARD);
      const { functions, flags } = image.guard;
      const wanted = GUARD_INSTRUMENTED | GUARD_TABLE;
      assert.strictEqual(flags & wanted, wanted);
      assert.ok(functions > 100, `${functions} functions in the guard table`);
    });

    test('has stack cookies', () => {
      const { name, flags } = image.sections.find(
        ({ rva, size }) =>
          image.securityCookie >= image.base + BigInt(rva) && image.securityCookie < image.base + BigInt(rva + size),
      );
      assert.ok(flags & WRITABLE, name);
    });

    // A table of continuations would also have to list those in the C runtime's exception machinery.
    test('runs with a shadow stack, without a table of continuations', () => {
      assert.strictEqual(image.debug.properties, CET_COMPATIBLE);
      assert.strictEqual(image.guard.continuations, 0);
      assert.strictEqual(image.guard.flags & GUARD_CONTINUATIONS, 0);
    });

    test('has its DLLs looked for in system32 alone', () => {
      assert.strictEqual(image.dependentLoadFlags, SEARCH_SYSTEM32);
      // By name in system32 too, not on a search path. The other libraries are in every process or known to the system.
      assert.deepStrictEqual(image.delayedImports.map(({ dll }) => dll).sort(), ['node.exe', 'wevtapi.dll']);
    });

    test('imports no other functions of the system than those', () => {
      const imported = [...image.imports, ...image.delayedImports.filter(({ dll }) => dll !== 'node.exe')];
      const unknown = imported.flatMap(({ dll, functions }) =>
        functions.filter((name) => !SYSTEM[dll.toLowerCase()]?.includes(name)).map((name) => `${dll}: ${name}`),
      );
      assert.deepStrictEqual(unknown, []);
    });

    test('says its version and its maker', () => {
      const { numbers, string } = image.version;
      assert.strictEqual(numbers, `${manifest.version}.0`);
      assert.strictEqual(string('FileVersion'), manifest.version);
      assert.strictEqual(string('ProductVersion'), manifest.version);
      assert.strictEqual(string('ProductName'), 'zebbridge');
      const [copyright, authors] = fs.readFileSync(path.join(root, 'LICENSE'), 'utf8').match(/^Copyright \(c\) (.+)$/m);
      assert.strictEqual(string('LegalCopyright'), copyright);
      assert.strictEqual(string('CompanyName'), authors);
      assert.strictEqual(string('OriginalFilename'), 'zebbridge.node');
    });

    test('names its PDB without a folder, is marked reproducible', () => {
      assert.strictEqual(image.debug.pdb, 'zebbridge.pdb');
      assert.strictEqual(image.debug.reproducible, true);
    });

    test('tells nothing of the machine that built it', () => {
      const text = image.bytes.toString('latin1');
      for (const folder of [process.cwd(), process.env.HOME, __dirname]) {
        assert.ok(folder.length < 3 || !text.includes(folder), `contains ${folder}`);
      }
    });
  });
}

test('every binary has its PDB', () => {
  for (const { pdb } of binaries) assert.ok(fs.statSync(pdb).size > 100_000, pdb);
});
