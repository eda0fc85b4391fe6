// The toolchain's own programs, which are guarded executables: language, library, exceptions across modules, statics,
// thread-locals, unloading. Also the product's texts and types as separate programs.
'use strict';
const assert = require('node:assert/strict');
const fs = require('node:fs');
const path = require('node:path');
const test = require('node:test');
const { programs, flavour, short, run, note, remove, temporaryFolder } = require('../support/kit');

// Each program is one test, with one test inside it for each case of the program.
for (const program of fs.readdirSync(programs).filter((name) => name.endsWith('.exe'))) {
  test(program, async (t) => {
    const folder = temporaryFolder();
    t.after(() => remove(folder));
    const results = path.join(folder, 'results.json');
    const { status, output, ms } = await run(path.join(programs, program), [`--gtest_output=json:${results}`], {
      folder: programs,
      milliseconds: 120000,
    });
    note(t, 'took', `${ms} ms`);
    const { testsuites } = JSON.parse(fs.readFileSync(results, 'utf8'));
    for (const { name: suite, testsuite } of testsuites) {
      for (const { name, result, failures } of testsuite) {
        await t.test(`${suite}.${name}`, { skip: result === 'SKIPPED' && 'by the program itself' }, () => {
          assert.equal(failures?.map(({ failure }) => failure).join('\n'), undefined);
        });
      }
    }
    assert.equal(status, 0, output);
  });
}

const ROUNDS = short ? 5 : 100;
test(`${ROUNDS} rounds of loading and unloading the DLL`, async (t) => {
  const { status, output, ms } = await run(
    path.join(programs, 'toolchain-modules.exe'),
    ['--gtest_filter=Dll.*', `--gtest_repeat=${ROUNDS}`, '--gtest_brief=1'],
    { folder: programs, milliseconds: 120000 },
  );
  assert.equal(status, 0, output.slice(-4000));
  note(t, 'took', `${ms} ms`);
});

test("the toolchain's add-on", { skip: flavour !== 'node' && 'it is built for Node.js 22' }, () => {
  const addon = require(path.join(programs, 'selftest.node'));
  const rows = addon.checks();
  assert.ok(rows.length > 40);
  for (const [name, expected, actual] of rows) assert.equal(actual, expected, name);
  assert.throws(() => addon.translated(), new TypeError('from C++'));
  assert.equal(addon.onLoopThread(), 'fresh main');
  assert.deepEqual(addon.dictionary(), { first: 'one', second: 2 });
});
