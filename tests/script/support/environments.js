// Further Node.js environments on this script's isolate and loop, like a host with one for each of its windows; see
// tests/standins/environments.
//
//   const page = environments.load();
//   page.run(() => capturing(() => {}));
//   page.free();
'use strict';
const { buildFile } = require('./built');

const native = require(buildFile('node', 'environments.node'));
const harness = buildFile('node', 'harness.node');

// What the scripts of every environment have.
const main = (file) => `
  const vm = require('node:vm');
  globalThis.require = require('node:module').createRequire(${JSON.stringify(__filename)});
  globalThis.file = ${JSON.stringify(file)};
  globalThis.say = (text) => globalThis.require('node:fs').writeSync(1, text + '\\n');
  return (source) => vm.runInThisContext(source);`;

// What those have too that have loaded the module. It also works outside environments.
const LOAD = `
  globalThis.addon = require(file);
  globalThis.hardware = addon.hardware;
  globalThis.diagnostics = addon.diagnostics;
  globalThis.updater = addon.msix_auto_updater;
  globalThis.shutdown = addon.shutdown;
  globalThis.harness = addon.harness;
  globalThis.capturing = (motion, buttons = null) => {
    globalThis.capture = hardware.capturePointer();
    capture.setMotionEventCallback(motion);
    capture.setButtonsEventCallback(buttons);
    capture.startCapturing();
    return capture;
  };
  globalThis.reports = [];
  globalThis.updating = (held, heard = (text) => reports.push(text)) => {
    harness.planDeployments('failed', held);
    updater.setErrorHandler(heard);
    updater.applyUpdate('https://example.com/app.msix');
  };
  // Waits for other threads without turning the loop.
  globalThis.spin = (what, condition) => {
    for (const deadline = Date.now() + 60000; !condition();) {
      if (Date.now() > deadline) throw new Error(what + ': not within a minute');
    }
  };
  // Queues pointer records that the input thread has passed on and no callback has seen.
  globalThis.queue = (count, first = 0, pressEvery = 0) => {
    const before = harness.dispatched();
    harness.burst(count, first, pressEvery);
    spin('the records', () => harness.dispatched() >= before + count);
  };
`;

class Environment {
  #id;
  constructor(file) {
    this.#id = native.create(main(file));
  }

  // Runs a script, or a function with the environment's own globals, and returns its value. What it passes to
  // `process.nextTick` runs after the environment's next event.
  run(script, ...values) {
    const isFunction = typeof script === 'function';
    return native.call(this.#id, isFunction ? `(${script})(${values.map((value) => JSON.stringify(value))})` : script);
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

  create: (file = harness) => new Environment(file),

  // An environment that has loaded the module over the harness.
  load() {
    const environment = new Environment(harness);
    environment.run(LOAD);
    return environment;
  },

  // The exports that an add-on gives to a context without Node.js.
  loadInBareContext: (file = harness) => native.loadInBareContext(file),
};
