// The host that tests of several environments use: it makes and frees them, on this isolate and this loop.
'use strict';
const test = require('node:test');
const { ends } = require('./support/hosts');

test('script of an environment has its own realm, and its ticks and promises', () =>
  ends(async () => {
    const environment = create();
    environment.run(() => {
      globalThis.order = [];
      setImmediate(() => {
        process.nextTick(() => order.push('tick'));
        Promise.resolve().then(() => order.push('promise'));
        order.push('event');
      });
    });
    const order = environment.run('order');
    await until('the event', () => order.length === 3);
    assert.deepEqual([...order], ['event', 'tick', 'promise']);
    // biome-ignore lint/suspicious/useIsArray: whose array it is
    assert.equal(order instanceof Array, false);
    assert.equal(environment.run('[] instanceof Array'), true);
    assert.notEqual(environment.run('process'), process);
    assert.throws(
      () =>
        environment.run(() => {
          throw new TypeError('own');
        }),
      { name: 'TypeError', message: 'own' },
    );
    assert.equal(environment.free(), true);
    assert.equal(environment.free(), false);
    assert.throws(() => environment.run(''), { message: 'the environment has been freed' });
  }));

test('its timers come on the loop of all, and end with it', () =>
  ends(async () => {
    const [stays, goes] = [create(), create()];
    for (const environment of [stays, goes]) {
      environment.run(() => {
        globalThis.count = 0;
        setInterval(() => ++globalThis.count, 1);
      });
    }
    const count = goes.run('() => count');
    await until('the timers', () => stays.run('count > 3') && count() > 3);
    goes.free();
    const last = count();
    const before = stays.run('count');
    await until('the timers of the other', () => stays.run('count') > before + 10);
    assert.equal(count(), last);
    stays.free();
  }));

test('an end lets no timer and no immediate of others come, and loses none', () =>
  ends(async () => {
    const order = [];
    const goes = create();
    setTimeout(() => order.push('timer'), 1);
    setImmediate(() => order.push('immediate'));
    for (const from = Date.now(); Date.now() < from + 5; ); // the timer is due
    goes.free();
    assert.deepEqual(order, []);
    await until('both', () => order.length === 2);
  }));

test('those that an environment has made end with it', () =>
  ends(async () => {
    const parent = create();
    parent.run((support) => {
      globalThis.child = require(support).create();
      child.run('globalThis.count = 0; setInterval(() => ++globalThis.count, 1);');
    }, environments.file);
    const count = parent.run('child.run("() => count")');
    await until('the timer', () => count() > 0);
    parent.free();
    const last = count();
    let marker = 0;
    const timer = setInterval(() => ++marker, 1);
    await until('timers of the same time', () => marker > 10);
    clearInterval(timer);
    assert.equal(count(), last);
  }));

test('in a worker, which ends with them', () =>
  ends(async () => {
    const { Worker } = require('node:worker_threads');
    const worker = new Worker(
      `
    const environment = require(${JSON.stringify(environments.file)}).create();
    environment.run("require('node:worker_threads').parentPort?.postMessage('no')");
    const { parentPort } = require('node:worker_threads');
    parentPort.on('message', () => {});
    parentPort.postMessage('ready');`,
      { eval: true },
    );
    const [message] = await require('node:events').once(worker, 'message');
    assert.equal(message, 'ready');
    assert.equal(await worker.terminate(), 1);
  }));
