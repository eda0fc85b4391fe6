// Calls every export and method of an add-on in every way that script can: node --expose-gc fuzz.js FILE SEED CALLS, or
// SECONDS followed by "s".
// Each call must answer with a value or an exception. Calls that end the process on purpose are left out: the crash
// emitter, and addresses for the real updater and launcher. New components and methods are called without a change here.
//
// The same seed makes the same choices. What other threads do meanwhile may differ.
'use strict';
const path = require('node:path');
const { Random } = require('./support/random');
const { makeValues } = require('./support/values');

const DEADLY = new Set(['emitStackOverflow', 'emitAccessViolation', 'openExternalIgnoringAppLinking', 'applyUpdate']);
const CONTROLS = /^(harness$|__)/;
const MAX_DEPTH = 4;
const MAX_CAPTURES = 40;

class Fuzzer {
  constructor(file, seed) {
    this.file = file;
    this.random = new Random(seed);
    this.depth = 0;
    this.tally = { calls: 0, values: 0, errors: 0, events: 0, loads: 0 };
    this.captures = [];
    this.everyCapture = []; // weak references
    this.recycled = 0;
    this.loaded = [];
    this.methods = [];
    this.components = [];
    this.learnComponents(this.load({}));
    // The stand-in platform takes every address. The real one ends the process when a text is not an address.
    this.harness = this.loaded[0].harness;
    if (this.harness) {
      DEADLY.delete('applyUpdate');
      this.methods.length = 0;
      this.learn(this.loaded[0]);
    }
    this.values = makeValues(
      this.random,
      (args) => this.inside(args),
      () => this.objects(),
    );
  }

  // Asked at the first load, because script has changed nothing yet. A test add-on's control is not a component. Not in
  // the constructor, whose closures would keep these exports, and what script puts on them, for good.
  learnComponents(exports) {
    this.components = Object.keys(exports).filter((name) => typeof exports[name] === 'object' && !CONTROLS.test(name));
    this.learn(exports);
  }

  load(exports) {
    const module = { exports };
    process.dlopen(module, this.file);
    ++this.tally.loads;
    this.loaded.push(module.exports);
    if (this.loaded.length > 6) this.loaded.shift();
    this.learn(module.exports);
    return module.exports;
  }

  learn(exports) {
    for (const name of this.components) this.learnMethods(exports[name]);
    if (this.methods.length > 60) this.methods.splice(0, 30); // methods of released components
  }

  learnMethods(object) {
    for (const [name, method] of Object.entries(object ?? {})) {
      if (typeof method === 'function' && !DEADLY.has(name)) this.methods.push({ object, method });
    }
  }

  objects() {
    const exports = this.random.of(this.loaded);
    return [exports, ...this.components.map((name) => exports[name]), exports.shutdown, ...this.captures.slice(-5)];
  }

  // Runs when the module calls script, in a callback, a getter or a trap.
  inside(args) {
    ++this.tally.events;
    if (this.depth >= MAX_DEPTH) return this.random.below(3);
    if (this.random.chance(40)) this.step();
    if (this.random.chance(10)) throw new Error('from inside');
    return this.random.chance(50) ? this.random.below(5) : args;
  }

  attempt(work) {
    ++this.tally.calls;
    ++this.depth;
    try {
      const value = work();
      ++this.tally.values;
      return value;
    } catch {
      ++this.tally.errors;
      return undefined;
    } finally {
      --this.depth;
    }
  }

  keep(result) {
    if (typeof result !== 'object' || result === null) return;
    try {
      if (typeof result.startCapturing !== 'function' || this.captures.includes(result)) return;
    } catch {
      return;
    }
    this.captures.push(result);
    this.everyCapture.push(new WeakRef(result));
    if (this.captures.length > MAX_CAPTURES) this.captures.splice(0, this.random.below(MAX_CAPTURES));
  }

  randomMethod() {
    if (this.random.chance(40) && this.captures.length > 0) {
      const capture = this.random.of(this.captures);
      const found = Object.getOwnPropertyDescriptors(capture);
      const { value: method } = this.random.of(Object.values(found)) ?? {};
      if (typeof method === 'function') return { object: capture, method };
    }
    return this.random.of(this.methods);
  }

  step() {
    this.random.weighted(
      (this.steps ??= [
        [40, () => this.call()],
        [10, () => this.callForeign()],
        [4, () => this.construct()],
        [3, () => this.tamper()],
        [1, () => this.atTheStacksEnd()],
        [1, () => this.pollute()],
        [2, () => this.reload()],
        [1, () => this.shutdown()],
        [1, () => this.collect()],
        [8, () => this.feed()],
        [3, () => this.turnLoop()],
      ]),
    )();
  }

  call() {
    const { object, method } = this.randomMethod();
    const args = this.random.chance(30) ? [this.values.fn()] : this.values.list();
    this.keep(this.attempt(() => Reflect.apply(method, object, args)));
  }

  callForeign() {
    const { method } = this.randomMethod();
    const [receiver, args] = [this.values.any(), this.values.list()];
    const way = this.random.below(3);
    this.keep(
      this.attempt(() => {
        if (way === 0) return Reflect.apply(method, receiver, args);
        if (way === 1) return method(...args);
        return method.bind(receiver, ...args)();
      }),
    );
  }

  construct() {
    const { method } = this.randomMethod();
    const [target, args] = [this.values.any(), this.values.list()];
    const way = this.random.below(3);
    this.attempt(() => {
      if (way === 0) return new method(...args);
      if (way === 1) return Reflect.construct(method, args, target);
      class Derived extends method {}
      return new Derived(...args);
    });
  }

  // Changes the module's objects as script may. None of this reaches the native objects behind them.
  tamper() {
    const object = this.random.of(this.objects());
    if (typeof object === 'function') return; // the engine keeps it and all its properties as long as the context
    const value = this.values.any();
    const way = this.random.below(6);
    this.attempt(() => {
      if (way === 0) Object.setPrototypeOf(object, value);
      if (way === 1) Object.defineProperty(object, 'extra', { value, configurable: true });
      if (way === 2) Object.defineProperty(object, 'getter', { get: () => this.inside(), configurable: true });
      if (way === 3 && this.random.chance(10)) Object.freeze(object);
      if (way === 4) delete object.extra;
      if (way === 5) return structuredClone(object);
      return JSON.stringify(object);
    });
  }

  atTheStacksEnd() {
    if (this.random.chance(60)) return; // it is slow
    let tried = 0;
    const work = () => this.call();
    (function recurse() {
      try {
        recurse();
      } catch {
        // the stack is full; on the way back there is a little more room each time
      }
      if (tried < 40) {
        ++tried;
        work();
      }
    })();
  }

  pollute() {
    const name = this.random.of([
      'hardware',
      'diagnostics',
      'shutdown',
      'getButtonState',
      'offset',
      'x',
      'left',
      '0',
      'name',
    ]);
    const behaviour = { get: () => undefined, set: () => this.inside(), configurable: true };
    for (const prototype of [Object.prototype, Array.prototype]) {
      if (name === 'name' && prototype === Object.prototype) continue;
      Object.defineProperty(prototype, name, behaviour);
    }
    try {
      this.step();
    } finally {
      for (const prototype of [Object.prototype, Array.prototype]) delete prototype[name];
    }
  }

  // Not from inside a call, because the runtime holds a lock while it initialises an add-on. Rarely, because the engine
  // keeps a component's functions as long as the context.
  reload() {
    if (this.depth > 0 || this.random.chance(80)) return;
    const exports = this.random.weighted([
      [6, {}],
      [1, Object.freeze({})],
      [1, []],
      [1, () => {}],
      [2, new Proxy({}, { set: (target, key, value) => this.random.chance(80) && Reflect.set(target, key, value) })],
    ]);
    this.attempt(() => this.load(exports));
  }

  shutdown() {
    if (!this.random.chance(20)) return;
    this.attempt(() => this.random.of(this.loaded).shutdown(...this.values.list()));
    if (this.depth === 0) this.load({});
  }

  collect() {
    if (this.random.chance(5)) global.gc();
    if (this.random.chance(50)) this.captures.splice(0, this.random.below(this.captures.length + 1));
  }

  feed() {
    if (!this.harness || (this.depth > 0 && this.random.chance(90))) return; // events would make more and more events
    this.random.weighted([
      [5, () => this.harness.burst(this.random.below(60), 0, this.random.below(3))],
      [2, () => this.harness.push(Int32Array.from({ length: 7 * this.random.below(20) }, () => this.random.below(3)))],
      [2, () => this.harness.writeLog(this.random.below(3), 'from the fuzzer')],
      [1, () => this.harness.planDeployments(this.random.of(['', 'failure', 'unknown', 'a text']), false)],
      [
        1,
        () =>
          this.harness.planEventLog(
            this.random.below(30),
            this.random.below(50),
            this.random.below(6),
            this.random.below(10),
            1234,
          ),
      ],
    ])();
  }

  turnLoop() {
    if (!this.harness || this.depth >= MAX_DEPTH) return;
    ++this.depth;
    try {
      this.harness.turnLoop();
    } finally {
      --this.depth;
    }
  }

  // A callback that refers to its capture object keeps it alive until it is replaced. Without this, the garbage
  // collector has ever more to look at, and an object that the module leaks could not be told from these.
  recycle() {
    this.recycled = this.tally.calls;
    this.captures.length = 0;
    this.everyCapture = this.everyCapture.filter((reference) => {
      const capture = reference.deref();
      if (capture === undefined) return false;
      capture.stopCapturing();
      capture.setMotionEventCallback(null);
      capture.setButtonsEventCallback(null);
      return true;
    });
  }

  // What the add-on still holds when script has dropped everything: { blocks, asyncHandles, threads ... }.
  async release() {
    const { diagnostics, shutdown } = this.load({});
    diagnostics.setLogHandler(null);
    shutdown();
    this.loaded.length = this.methods.length = 0;
    this.recycle();
    for (let round = 0; round < 5; ++round) {
      await new Promise((resolve) => setTimeout(resolve, 1));
      global.gc();
    }
    await new Promise((resolve) => setTimeout(resolve, 1));
    return this.harness?.counts();
  }

  async run(goesOn, report = () => {}) {
    while (goesOn(this.tally.calls)) {
      if (this.tally.calls - this.recycled > 5000) this.recycle();
      for (let count = 0; count < 200; ++count) {
        try {
          this.step();
        } catch {
          // the fuzzer's own work between the calls, where its traps throw too
        }
      }
      report(this.tally);
      if (this.loaded.every((exports) => isReleased(exports))) this.load({});
      await new Promise((resolve) => setImmediate(resolve));
    }
    return this.tally;
  }
}

function isReleased(exports) {
  try {
    exports.hardware.getButtonState(1);
    return false;
  } catch {
    return true;
  }
}

async function main([file, seedText, callsText]) {
  const seed = Number(seedText ?? Date.now() % 2 ** 31);
  const amount = String(callsText ?? 100000);
  const deadline = Date.now() + parseInt(amount, 10) * 1000;
  const goesOn = amount.endsWith('s') ? () => Date.now() < deadline : (calls) => calls < Number(amount);
  const repeat = `node --expose-gc ${path.relative('.', __filename)} ${file} ${seed} ${amount}`;
  console.log(`seed ${seed}; to repeat: ${repeat}`);
  process.on('unhandledRejection', () => {}); // from the fuzzer's own asynchronous callbacks
  process.on('uncaughtException', (error) => {
    if (error instanceof Error && !/from inside|own/.test(error.message)) console.log('uncaught', error);
  });
  const fuzzer = new Fuzzer(path.resolve(file), seed);
  let told = Date.now();
  const tally = await fuzzer.run(goesOn, ({ calls: done }) => {
    if (Date.now() - told < 10000) return;
    told = Date.now();
    console.log(`   ${done} of ${amount} calls, ${(process.memoryUsage().rss / 2 ** 20).toFixed()} MB`);
  });
  const held = await fuzzer.release();
  const { components } = fuzzer;
  const megabytes = Math.round(process.memoryUsage().rss / 2 ** 20);
  console.log(JSON.stringify({ seed, components, ...tally, megabytes, held }));
  process.exit(held && held.blocks + held.threads + held.deployments > 0 ? 1 : 0);
}

module.exports = { Fuzzer, main };

if (require.main === module) {
  main(process.argv.slice(2)).catch((error) => {
    console.log('the fuzzer itself failed:', error);
    process.exit(1);
  });
}
