// A module that was compiled for an engine with other build flags refuses to load, and says which flags. One add-on per
// kind of engine (tests/standins/host-check); which of them fits follows from the engine that runs this.
'use strict';
const assert = require('node:assert/strict');
const { spawnSync } = require('node:child_process');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const test = require('node:test');

const FLAGS = ['v8_enable_pointer_compression', 'v8_enable_sandbox', 'v8_enable_31bit_smis_on_64bit_arch'];
const CASES = { plain: [0, 0, 0], integers: [0, 0, 1], compressed: [1, 0, 1], sandboxed: [1, 1, 1] };
const { variables } = process.config;
const [compression, sandbox, integers] = FLAGS.map((name) => Number(variables[name]));
const engine = [compression, sandbox, Number(integers || compression)]; // compressed integers have 31 bits

const file = (name) => path.join(process.env.ZEB_BUILD, 'node', `host-check-${name}.node`);
const list = (values) => values.map(([name, value]) => `${name}=${value}`).join(', ');
const refusal = (compiled, found) => `this zebbridge was compiled for an engine with ${compiled}, and this program's has ${found}`;

for (const [name, compiled] of Object.entries(CASES)) {
  const different = FLAGS.map((flag, index) => [flag, compiled[index], engine[index]]).filter(([, one, other]) => one !== other);
  test(`a module for an engine with ${list(FLAGS.map((flag, index) => [flag, compiled[index]]))}`, () => {
    if (!different.length) return void require(file(name));
    const message = refusal(list(different), list(different.map(([flag, , there]) => [flag, there])));
    for (let attempt = 0; attempt < 2; ++attempt) assert.throws(() => require(file(name)), { name: 'Error', message });
  });
}

// What is wrong was seen; the configuration only helps to say it.
const elsewhere = engine[0] ? 'plain' : 'sandboxed';
for (const config of ['undefined', 'null', '{}', '{ get variables() { throw new TypeError("no"); } }',
  'new Proxy({}, { get() { throw 1; } })', '{ variables: { v8_enable_sandbox: Symbol("s") } }']) {
  test(`a runtime whose process.config is ${config}`, () => {
    const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'zeb-'));
    const out = fs.openSync(path.join(folder, 'out'), 'w');
    const { status } = spawnSync(process.execPath, ['-e', `
      Object.defineProperty(process, 'config', { value: ${config} });
      try { require(${JSON.stringify(file(elsewhere))}); } catch (error) { console.log(error.message); }`],
    { stdio: ['ignore', out, out], timeout: 30000 });
    fs.closeSync(out);
    const [one, other] = engine[0] ? [0, 1] : [1, 0];
    assert.equal(fs.readFileSync(path.join(folder, 'out'), 'utf8'), `${refusal(list(FLAGS.map((flag) => [flag, one])),
      `others, ${list([[FLAGS[2], other]])}`)}\n`);
    assert.equal(status, 0);
  });
}
