// Further Node.js environments on this script's isolate and loop, like a host with one for each of its windows; see
// tests/standins/environments.
//
//   const page = environments.load();
//   page.run(() => capturing(() => {}));
//   page.free();
'use strict';
const { isMainThread } = require('node:worker_threads');
const { LOAD } = require('./at_work');
const { buildFile } = require('./built');

const native = require(buildFile('node', 'environments.node'));
const harness = buildFile('node', 'harness.node');
const probe = buildFile('node', 'binding-probe.node');

// What the scripts of every environment have.
const main = (file) => `
  const vm = require('node:vm');
  globalThis.require = require('node:module').createRequire(${JSON.stringify(__filename)});
  globalThis.file = ${JSON.stringify(file)};
  globalThis.say = (text) => globalThis.require('node:fs').writeSync(1, text + '\\n');
  return (source) => vm.runInThisContext(source);`;

class Environment {
  #id;
  constructor(file, isForeign) {
    this.#id = native.create(main(file), isForeign, isMainThread && !isForeign);
  }

  // Runs a script, or a function with the environment's own globals, and returns its value. What it passes to
  // `process.nextTick` runs after the environment's next event.
  run(script, ...values) {
    const isFunction = typeof script === 'function';
    return native.call(this.#id, isFunction ? `(${script})(${values.map((value) => JSON.stringify(value))})` : script);
  }

  // Tells it to stop: Node.js calls nothing of it back any more.
  stop() {
    native.stop(this.#id);
  }

  // True unless it was freed before.
  free() {
    return native.free(this.#id);
  }
}

module.exports = {
  file: __filename,
  LOAD,
  main,
  harness,
  probe,

  create: (file = harness, isForeign = false) => new Environment(file, isForeign),

  // An environment that has loaded the module over the harness. If it is foreign, the engine hides its script from the
  // others, and theirs from it.
  load(isForeign = false) {
    const environment = new Environment(harness, isForeign);
    environment.run(LOAD);
    return environment;
  },

  // The exports that an add-on gives to a context without Node.js.
  loadInBareContext: (file = harness) => native.loadInBareContext(file),
};
