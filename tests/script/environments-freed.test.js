// Several Node.js environments on one isolate: what is left of a freed one, and what continues in the others when
// everything happens at once.
'use strict';
const test = require('node:test');
const { ends } = require('./support/hosts');

// ---- what is left of one that was freed --------------------------------------------------------------------------------

test('its objects throw when others call them, and are collected', () =>
  ends(async () => {
    const stays = load();
    const before = held(stays);
    const goes = load();
    let left = goes.run(() => {
      capturing(() => say('called'));
      return { addon, capture, idle: hardware.capturePointer(), file, getButtonState: hardware.getButtonState };
    });
    goes.free();
    assert.deepEqual(held(stays), before);
    const released = { name: 'TypeError', message: /^Illegal invocation/ };
    assert.throws(() => left.addon.hardware.getButtonState(1), released);
    assert.throws(() => left.addon.hardware.capturePointer(), released);
    assert.throws(() => left.addon.diagnostics.setLogHandler(() => {}), released);
    assert.throws(() => left.addon.msix_auto_updater.applyUpdate('https://example.com/app.msix'), released);
    assert.throws(() => left.addon.msix_auto_updater.dispose(), released);
    assert.throws(() => left.capture.startCapturing(), released);
    assert.throws(() => left.capture.stopCapturing(), released);
    assert.throws(() => left.idle.setMotionEventCallback(() => {}), released);
    assert.equal(
      left.getButtonState.call(stays.run('hardware'), 1),
      true,
      'a method of the freed one on a living object',
    );
    left = null;
    await collected();
    assert.deepEqual(held(stays), before);
  }));

test('its shutdown function works for those that live, or does nothing', () =>
  ends(async () => {
    const [stays, goes] = [load(), load()];
    const shutdown = goes.run('shutdown');
    goes.free();
    shutdown();
    shutdown();
    assert.throws(() => stays.run(() => hardware.getButtonState(1)), {
      message: /shutdown\(\) has released this object/,
    });
  }));

// Script passes functions from environment to environment like any object.
test('its functions as callbacks of another are not called any more', () =>
  ends(
    async () => {
      const [goes, stays] = [load(), load()];
      const foreign = goes.run(() => ({
        touch() {
          if (globalThis.isFreed) say('called after its end');
          setTimeout(() => {}, 0);
          console.log();
          require('node:fs').statSync(file);
        },
      }));
      stays.run('globalThis').touch = foreign.touch;
      stays.run(() => {
        capturing(touch, touch);
        updating(true, touch);
        diagnostics.setLogHandler(touch);
      });
      goes.run(() => {
        globalThis.isFreed = true;
      });
      goes.free();
      stays.run(() => {
        harness.writeLog(2, 'a record');
        harness.releaseDeployments();
        queue(100, 0, 1);
        globalThis.events = 0;
        globalThis.second = hardware.capturePointer();
        second.setMotionEventCallback(() => ++events);
      });
      await until('the end of the update', () => held(stays).deployments === 0);
      stays.run(() => {
        capture.stopCapturing();
        second.startCapturing();
        harness.burst(10, 0, 0);
      });
      await until('events after those', () => stays.run(() => events === 10));
      stays.run(() => second.stopCapturing());
    },
    { stdout: '' },
  ));

test('its wrapped objects are disposed and released, once', () =>
  ends(() => {
    const [stays, goes] = [create(environments.probe), create(environments.probe)];
    const takeEnds = () => [...stays.run(() => require(file).control.wrappedEnds())];
    goes.run(() => {
      globalThis.kept = require(file).probe.wrapped(3);
    });
    takeEnds();
    goes.free();
    assert.deepEqual(takeEnds(), ['dispose inside', 'destroy inside']);
  }));

test('a garbage collection while it ends does not destroy an object that is being told', () =>
  ends(() => {
    const [stays, goes] = [create(environments.probe), create(environments.probe)];
    const takeEnds = () => [...stays.run(() => require(file).control.wrappedEnds())];
    goes.run(() => {
      globalThis.kept = require(file).probe.wrapped(4);
    });
    goes.free();
    assert.deepEqual(takeEnds(), ['collected inside', 'destroy inside']);
  }));

test('nothing at all is held after the last', () =>
  ends(async () => {
    const nothing = { blocks: 0, asyncHandles: 0, threads: 0, handles: 0, deployments: 0 };
    const first = load();
    const counts = first.run('harness.counts'); // belongs to a freed environment, but only asks the add-on
    const others = [load(), load()];
    for (const environment of [first, ...others]) {
      environment.run(() => {
        capturing(
          () => {},
          () => {},
        );
        globalThis.more = Array.from({ length: 10 }, () => hardware.capturePointer());
        diagnostics.setLogHandler(() => {});
        updating(false);
        harness.burst(100, 0, 1);
      });
    }
    first.free();
    for (const environment of others) environment.free();
    await until('the ends of the deployments', () => counts().deployments === 0 && counts().threads === 0);
    assert.deepEqual({ ...counts() }, nothing);
    const again = load();
    again.run(() => {
      globalThis.events = 0;
      capturing(() => ++events);
      harness.burst(10, 0, 0);
    });
    await until('the events', () => again.run(() => events >= 10));
    again.free();
    assert.deepEqual({ ...counts() }, nothing);
    await collected();
    assert.deepEqual({ ...counts() }, nothing);
  }));

// ---- everything at once -------------------------------------------------------------------------------------------------

test('one is freed while it captures, logs and updates at once', () =>
  ends(async () => {
    const stays = load();
    const before = held(stays);
    stays.run(() => {
      globalThis.events = 0;
      globalThis.records = [];
      capturing(() => ++events);
      harness.burst(1, 0, 0);
    });
    await until('what the first delivery makes once', () => stays.run(() => events === 1));
    const capturing = held(stays);
    const goes = load();
    goes.run(() => {
      const touch = () => {
        if (globalThis.isFreed) say('called after its end');
        setTimeout(() => {}, 0);
      };
      diagnostics.setLogHandler(touch);
      capturing(touch, touch);
      for (let count = 0; count < 3; ++count) updating(true, touch);
      queue(500, 0, 1);
      harness.writeLog(2, 'a record');
      isFreed = true;
    });
    goes.free();
    assert.deepEqual(
      { ...held(stays), deployments: 0, threads: 1, blocks: 0 },
      { ...capturing, deployments: 0, threads: 1, blocks: 0 },
    );
    await until('the deployments, which threads of their own begin', () => held(stays).deployments === 3);
    stays.run(() => {
      harness.releaseDeployments();
      diagnostics.setLogHandler((text) => records.push(text));
    });
    await until('their ends', () => held(stays).deployments === 0 && held(stays).threads === 1);
    assert.deepEqual(held(stays), { ...capturing, handles: capturing.handles + 1 });
    stays.run(() => {
      harness.writeLog(0, 'heard');
      diagnostics.setLogHandler(null);
      events = 0;
      harness.burst(10, 0, 0);
    });
    await until('the events', () => stays.run(() => events >= 10));
    stays.run(() => capture.stopCapturing());
    assert.deepEqual([...stays.run(() => records)], ['heard']);
    assert.equal(held(stays).threads, before.threads);
  }));

test('a page is reloaded inside a callback of another, five times', () =>
  ends(
    async () => {
      const stays = load();
      stays.run(() => {
        globalThis.events = [];
        capturing(({ screenPoint }) => {
          events.push(screenPoint.x);
          if (screenPoint.x % 100 === 10) reload();
        });
        harness.burst(1, 0, 0);
      });
      await until('what the first delivery makes once', () => stays.run(() => events.length === 1));
      let page = load();
      const before = held(stays);
      stays.run('globalThis').reload = () => {
        page.run(() => hardware.capturePointer().setMotionEventCallback(() => {}));
        page.free();
        page = load();
      };
      stays.run(() => harness.burst(499, 1, 0));
      await until('all events', () => stays.run(() => events.length === 500), 120000);
      assert.ok(
        stays.run(() => events.every((x, index) => x === index)),
        'in order',
      );
      assert.deepEqual(held(stays), before);
      stays.run(() => capture.stopCapturing());
    },
    { milliseconds: 180000 },
  ));

test('callbacks of two inside each other, and the end of a third in the innermost', () =>
  ends(async () => {
    const [outer, inner, goes] = [load(), load(), load()];
    goes.run(() => {
      capturing(() => say('called'));
      capture.stopCapturing();
    });
    outer.run(() => {
      globalThis.events = [];
      capturing(({ screenPoint }) => {
        events.push(screenPoint.x);
        if (events.length === 5) other();
      });
      queue(100);
    });
    inner.run(() => {
      globalThis.events = [];
      globalThis.capture = hardware.capturePointer();
      capture.setMotionEventCallback(({ screenPoint }) => {
        events.push(screenPoint.x);
        if (events.length === 5) free();
        if (events.length === 10) harness.turnLoop();
      });
    });
    outer.run('globalThis').other = () => {
      outer.run(() => capture.stopCapturing());
      inner.run(() => {
        capture.startCapturing();
        queue(100, 1000);
        harness.turnLoop();
      });
    };
    inner.run('globalThis').free = () => goes.free();
    await until('all events', () => outer.run(() => events.length === 100) && inner.run(() => events.length === 100));
    assert.ok(outer.run(() => events.every((x, index) => x === index)));
    assert.ok(inner.run(() => events.every((x, index) => x === 1000 + index)));
    inner.run(() => capture.stopCapturing());
  }));

test('shutdown in one reaches all of the isolate at once, and a second call does nothing', () =>
  ends(async () => {
    const all = [load(), load(), load()];
    all[2].run(() => {
      globalThis.events = 0;
      capturing(() => ++events);
    });
    all[1].run(() => {
      shutdown();
      shutdown();
    });
    for (const environment of all) {
      assert.throws(() => environment.run(() => hardware.getButtonState(1)), {
        message: /shutdown\(\) has released this object/,
      });
    }
    all[0].free();
    all[2].run(() => harness.burst(10, 0, 0));
    await until('the events of a capture, which is not a component', () => all[2].run(() => events === 10));
    all[2].free();
    const again = load();
    assert.equal(
      again.run(() => hardware.getButtonState(1)),
      true,
    );
  }));

test('those that an environment has made end with it', () =>
  ends(async () => {
    const stays = load();
    const before = held(stays);
    const parent = load();
    parent.run((support) => {
      globalThis.child = require(support).load();
      child.run(() => {
        capturing(() => say('called'));
        queue(100);
      });
      capturing(() => say('called'));
    }, environments.file);
    assert.equal(held(stays).threads, 2);
    parent.free();
    assert.deepEqual(held(stays), before);
  }));

for (const end of ['worker.terminate()', `worker.postMessage('exit')`, `worker.postMessage('return')`]) {
  test(`in a worker, several environments end with it: ${end}`, () =>
    ends(`async () => {
    const { Worker } = require('node:worker_threads');
    const stays = load();
    const before = held(stays);
    const worker = new Worker(${JSON.stringify(`
      const { parentPort } = require('node:worker_threads');
      const { load } = require(FILE);
      const pages = [load(), load(), load()];
      for (const page of pages) {
        page.run(() => {
          capturing(() => {});
          queue(10);
          updating(true);
        });
      }
      pages[0].free();
      parentPort.on('message', (end) => {
        if (end === 'exit') process.exit(9);
        for (const page of pages.slice(1)) page.run(() => hardware.capturePointer().stopCapturing());
        pages[1].free();
        pages[2].run('harness.releaseDeployments()');
        parentPort.close();
      });
      parentPort.postMessage('ready');`)}.replace('FILE', JSON.stringify(environments.file)), { eval: true });
    const exited = new Promise((resolve) => worker.once('exit', resolve));
    await new Promise((resolve) => worker.once('message', resolve));
    ${end};
    await exited;
    assert.equal(held(stays).asyncHandles, before.asyncHandles);
    stays.run(() => harness.releaseDeployments());
    await until('the ends of the deployments', () => held(stays).threads === 0);
    assert.deepEqual(held(stays), before);
  }`));
}
