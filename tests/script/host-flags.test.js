// A module that was compiled for an engine with other build flags refuses to load and names the flags. There is one
// add-on for each kind of engine (tests/standins/host-check); the engine that runs this test decides which of them
// fits.
'use strict';
const assert = require('node:assert/strict');
const test = require('node:test');
const { buildFile } = require('./support/built');
const timeLimit = require('./support/time_limit');

const FLAGS = ['v8_enable_pointer_compression', 'v8_enable_sandbox', 'v8_enable_31bit_smis_on_64bit_arch'];
const CASES = { plain: [0, 0, 0], integers: [0, 0, 1], compressed: [1, 0, 1], sandboxed: [1, 1, 1] };
const { variables } = process.config;
const [compression, sandbox, integers] = FLAGS.map((name) => Number(variables[name]));
const engine = [compression, sandbox, Number(integers || compression)]; // compressed integers have 31 bits

const file = (name) => buildFile('node', `host-check-${name}.node`);
const list = (values) => values.map(([name, value]) => `${name}=${value}`).join(', ');
const refusal = (compiled, found) =>
  `this zebbridge was compiled for an engine with ${compiled}, and this program's has ${found}`;

for (const [name, compiled] of Object.entries(CASES)) {
  const different = FLAGS.map((flag, index) => [flag, compiled[index], engine[index]]).filter(
    ([, one, other]) => one !== other,
  );
  test(`a module for an engine with ${list(FLAGS.map((flag, index) => [flag, compiled[index]]))}`, () => {
    if (!different.length) return void require(file(name));
    const message = refusal(list(different), list(different.map(([flag, , there]) => [flag, there])));
    for (let attempt = 0; attempt < 2; ++attempt) assert.throws(() => require(file(name)), { name: 'Error', message });
  });
}

// The engine itself shows what is wrong; the configuration only helps to name it.
const elsewhere = engine[0] ? 'plain' : 'sandboxed';
const configurations = {
  undefined: undefined,
  null: null,
  empty: {},
  'one that throws': {
    get variables() {
      throw new TypeError('no');
    },
  },
  'a proxy that throws': new Proxy(
    {},
    {
      get() {
        throw 1;
      },
    },
  ),
  'one with other values': { variables: { v8_enable_sandbox: Symbol('s'), v8_enable_pointer_compression: 'yes' } },
};
for (const [name, value] of Object.entries(configurations)) {
  test(`a runtime whose process.config is ${name}`, (t) => {
    const own = Object.getOwnPropertyDescriptor(process, 'config');
    t.after(() => Object.defineProperty(process, 'config', own));
    Object.defineProperty(process, 'config', { value, configurable: true });
    const [one, other] = engine[0] ? [0, 1] : [1, 0];
    const message = refusal(list(FLAGS.map((flag) => [flag, one])), `others, ${list([[FLAGS[2], other]])}`);
    assert.throws(() => require(file(elsewhere)), { name: 'Error', message });
  });
}

test('a time limit that ends script inside the check ends what called it', (t) => {
  const own = Object.getOwnPropertyDescriptor(process, 'config');
  t.after(() => Object.defineProperty(process, 'config', own));
  const steps = [];
  const get = () => {
    steps.push('asked');
    for (;;);
  };
  Object.defineProperty(process, 'config', { get, configurable: true });
  globalThis.load = () => {
    try {
      process.dlopen({ exports: {} }, file(elsewhere));
    } catch {}
    steps.push('went on');
  };
  t.after(() => delete globalThis.load);
  timeLimit('load()', () => steps.length > 0);
  assert.deepEqual(steps, ['asked']);
});
