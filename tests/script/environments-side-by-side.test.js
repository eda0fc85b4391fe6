// Several Node.js environments on one isolate, like a host with one for each of its windows: each has its own module,
// and none notices when another ends.
'use strict';
const test = require('node:test');
const { ends } = require('./support/hosts');

// ---- each has its own ------------------------------------------------------------------------------------------------

test('the first that loaded the module is freed: another continues', () =>
  ends(async () => {
    const [first, second] = [load(), load()];
    first.run(() => capturing(() => {}).stopCapturing());
    second.run(() => {
      globalThis.events = [];
      capturing(
        ({ screenPoint }) => events.push(screenPoint.x),
        ({ left }) => events.push(`left ${left}`),
      );
      globalThis.idle = hardware.capturePointer();
    });
    first.free();
    second.run(() => {
      globalThis.records = [];
      diagnostics.setLogHandler((text) => records.push(text));
      updating(false);
      harness.burst(1000, 0, 500);
    });
    await until('the events', () => second.run(() => events.length >= 1002));
    await until('the report', () => second.run(() => reports.length === 1));
    second.run(() => {
      if (hardware.getButtonState(1) !== true) throw new Error('getButtonState');
      globalThis.third = hardware.capturePointer();
      capture.stopCapturing();
      idle.startCapturing();
      third.stopCapturing();
    });
    assert.deepEqual(
      [...second.run(() => events.filter(Number.isInteger))],
      Array.from({ length: 1000 }, (_, index) => index),
    );
    assert.deepEqual(
      [...second.run(() => records)],
      ['Native: capture pointer', 'Pointer capture released', 'Pointer capture released'],
    );
    second.run(() => shutdown());
    assert.throws(() => second.run(() => hardware.getButtonState(1)), {
      message: /shutdown\(\) has released this object/,
    });
    second.free();
  }));

test('one is freed while it captures: its thread, its callbacks and its handles end with it', () =>
  ends(async () => {
    const stays = load();
    const before = held(stays);
    const goes = load();
    goes.run(() => {
      const touch = () => {
        setTimeout(() => say('a timer of the freed environment'), 0);
        console.log('a callback of the freed environment');
        require('node:fs').statSync(file);
      };
      capturing(touch, touch);
      queue(2000, 0, 2);
    });
    goes.free();
    assert.deepEqual(held(stays), before);
    stays.run(() => {
      globalThis.events = 0;
      capturing(() => ++events);
      harness.burst(1000, 0, 1);
    });
    await until('the records', () => stays.run(() => events === 1000));
    stays.run(() => capture.stopCapturing());
  }));

test('the log handler of one that was freed is not called', () =>
  ends(async () => {
    const [stays, goes] = [load(), load()];
    goes.run(() =>
      diagnostics.setLogHandler((text) => {
        setTimeout(() => {}, 0);
        say(text);
      }),
    );
    goes.free();
    stays.run(() => harness.writeLog(2, 'nobody listens'));
    stays.run(() => {
      globalThis.records = [];
      diagnostics.setLogHandler((text) => records.push(text));
      harness.writeLog(2, 'heard');
    });
    assert.deepEqual([...stays.run(() => records)], ['heard']);
  }));

test('five more, made and freed, leave nothing', () =>
  ends(async () => {
    const stays = load();
    stays.run(() => capturing(() => {}));
    const before = held(stays);
    for (let count = 0; count < 5; ++count) {
      const goes = load();
      goes.run(() => {
        globalThis.captures = Array.from({ length: 5 }, () => hardware.capturePointer());
        updater.setErrorHandler(() => {});
        for (const capture of captures) capture.setMotionEventCallback(() => {});
      });
      goes.free();
      assert.deepEqual(held(stays), before);
    }
    await collected();
    assert.deepEqual(held(stays), before);
    stays.run(() => capture.stopCapturing());
  }));

test('objects, errors, ticks and promises are of the environment whose callback it is', () =>
  ends(async () => {
    const [first, second] = [load(), load()];
    first.run(() => capturing(() => {}).stopCapturing());
    second.run(() => {
      globalThis.strange = [];
      globalThis.order = [];
      const check = (what, object, type = Object) => {
        if (!(object instanceof type)) strange.push(what);
      };
      check('exports', addon.hardware);
      check('a method', hardware.getButtonState, Function);
      globalThis.idle = hardware.capturePointer();
      check('a capture', idle);
      check('a method of a capture', idle.startCapturing, Function);
      check('the event log', updater.getUpdateErrors('*'), Array);
      for (const call of [() => hardware.getButtonState(), () => hardware.getButtonState.call({}, 1)]) {
        try {
          call();
        } catch (error) {
          check(error.message, error, Error);
        }
      }
      capturing(
        (event) => {
          check('an event', event);
          check('its offset', event.offset);
          check('its point', event.screenPoint);
          order.push('event');
          setImmediate(() => order.push('immediate'));
          process.nextTick(() => order.push('tick'));
          Promise.resolve().then(() => order.push('promise'));
        },
        (event) => check('a button event', event),
      );
      updating(false, (text) => {
        order.push(text);
        process.nextTick(() => order.push('tick of the report'));
      });
    });
    await until('the report', () => second.run(() => order.includes('tick of the report')));
    assert.deepEqual([...second.run(() => order.splice(0))], ['failed', 'tick of the report']);
    second.run(() => harness.burst(1, 0, 1));
    await until('the immediate', () => second.run(() => order.includes('immediate')));
    assert.deepEqual([...second.run(() => order)], ['event', 'tick', 'promise', 'immediate']);
    assert.deepEqual([...second.run(() => strange)], []);
    second.run(() => capture.stopCapturing());
  }));

test('a context without Node.js gets an Error, whenever it loads the module', () =>
  ends(async () => {
    const refused = () =>
      assert.throws(
        () => environments.loadInBareContext(),
        (error) => error.name === 'Error' && error.message === 'zebbridge needs a context of Node.js',
      );
    refused();
    const page = load();
    refused();
    page.run(() => {
      globalThis.events = 0;
      capturing(() => ++events);
    });
    refused();
    page.run(() => harness.burst(10, 0, 0));
    await until('the events', () => page.run(() => events === 10));
    page.free();
    refused();
  }));

test('each can be loaded again, in its own contexts too', () =>
  ends(async () => {
    const [first, second] = [load(), load()];
    second.run(() => {
      const vm = require('node:vm');
      const other = vm.runInNewContext(`(process, file) => {
      const module = { exports: {} };
      process.dlopen(module, file);
      return module.exports;
    }`)(process, file);
      globalThis.events = 0;
      globalThis.capture = other.hardware.capturePointer();
      capture.setMotionEventCallback(() => ++events);
      capture.startCapturing();
      harness.burst(100, 0, 0);
    });
    first.free();
    await until('the events', () => second.run(() => events === 100));
    const before = second.run(() => ({ ...harness.counts() })).threads;
    assert.equal(before, 1);
    second.free();
  }));

// ---- what others notice of an end: nothing ---------------------------------------------------------------------------

// While an environment ends, Node.js turns the loop and the engine refuses script.
test('a capture loses nothing while others come and go', () =>
  ends(async () => {
    const stays = load();
    stays.run(() => {
      globalThis.events = [];
      capturing(({ screenPoint }) => events.push(screenPoint.x));
    });
    for (let round = 0; round < 10; ++round) {
      const goes = load();
      goes.run(() => hardware.capturePointer().setMotionEventCallback(() => {}));
      stays.run((first) => queue(500, first), round * 500);
      goes.free();
      if (round % 2 === 0) await turn(0);
    }
    await until('the events', () => stays.run(() => events.length === 5000));
    assert.ok(
      stays.run(() => events.every((x, index) => x === index)),
      'in order',
    );
    stays.run(() => capture.stopCapturing());
  }));

test('a capture that was stopped loses nothing either', () =>
  ends(async () => {
    const [stays, goes] = [load(), load()];
    stays.run(() => {
      globalThis.events = 0;
      capturing(() => ++events);
      queue(500);
      capture.stopCapturing();
    });
    goes.free();
    await until('the events', () => stays.run(() => events === 500));
  }));

test('nor does one that nobody holds any more', () =>
  ends(async () => {
    const stays = load();
    const before = held(stays);
    stays.run(() => {
      globalThis.events = 0;
      capturing(() => ++events);
      queue(500);
      capture.stopCapturing();
      globalThis.capture = null;
      gc();
    });
    await until('the events', () => stays.run(() => events === 500));
    await collected();
    assert.equal(held(stays).asyncHandles, before.asyncHandles);
  }));

test('the report of an update is not lost while another is freed', () =>
  ends(async () => {
    const stays = load();
    const before = held(stays);
    const goes = load();
    stays.run(() => {
      updating(false);
      spin('the end of the deployment', () => harness.counts().deployments === 0 && harness.counts().threads === 0);
    });
    goes.free();
    await until('the report', () => stays.run(() => reports.length === 1));
    assert.deepEqual([...stays.run(() => reports)], ['failed']);
    await until('the end of the update', () => held(stays).asyncHandles === before.asyncHandles);
  }));

test('promises of others are not lost in an end', () =>
  ends(async () => {
    const [stays, goes] = [load(), load()];
    stays.run(() => {
      globalThis.order = [];
      capturing(() => order.push('event'));
      queue(1);
      Promise.resolve()
        .then(() => order.push('promise'))
        .then(() => order.push('next promise'));
      process.nextTick(() => order.push('tick'));
      setTimeout(() => order.push('timer'), 1);
      setImmediate(() => order.push('immediate'));
    });
    goes.free();
    await until('all', () => stays.run(() => order.length === 6));
    stays.run(() => capture.stopCapturing());
  }));

test('one that was told to stop gives up what it has not delivered, and keeps no process', () =>
  ends(async () => {
    const [stays, goes] = [load(), load()];
    goes.run(() => {
      capturing(
        () => say('called'),
        () => say('called'),
      );
      queue(10, 0, 1);
      capture.stopCapturing();
      updating(false, () => say('called'));
    });
    goes.stop();
    stays.run(() => {
      globalThis.events = 0;
      capturing(() => ++events);
      queue(10);
    });
    await until('events of the other', () => stays.run(() => events === 10));
    stays.run(() => capture.stopCapturing());
  }));

test('one that was told to stop costs nothing', () =>
  ends(async () => {
    const { performance } = require('node:perf_hooks');
    const page = load();
    page.run(() => {
      capturing(() => say('called'));
      queue(10);
    });
    page.stop();
    await turn(20);
    const before = performance.nodeTiming.uvMetricsInfo.loopCount;
    await turn(200);
    const turns = performance.nodeTiming.uvMetricsInfo.loopCount - before;
    assert.ok(turns < 100, `${turns} turns of the loop`);
  }));

test('one that is told to stop inside a callback gets no more than was handed to script at once', () =>
  ends(async () => {
    const page = load();
    let events = 0;
    page.run('(called) => void capturing(called)')(() => {
      if (++events === 1) page.stop();
    });
    page.run(() => queue(3000));
    await until('what was handed over', () => events >= 1024);
    for (let turns = 0; turns < 20; ++turns) await turn(1);
    assert.equal(events, 1024);
  }));

test('a time limit ends script that runs the loop, also when it hits a callback of one whose script is hidden', () =>
  ends(async () => {
    const vm = require('node:vm');
    const foreign = load(true);
    foreign.run(() => {
      capturing(() => {
        for (;;);
      });
      queue(1);
    });
    const turnLoop = foreign.run('harness.turnLoop');
    globalThis.loop = () => {
      for (const deadline = Date.now() + 10000; Date.now() < deadline; ) {
        foreign.run('1'); // would use up a termination
        turnLoop();
      }
      say('not ended');
    };
    assert.throws(() => vm.runInThisContext('loop()', { timeout: 500 }), { code: 'ERR_SCRIPT_EXECUTION_TIMEOUT' });
    foreign.run(() => capture.stopCapturing());
  }));

test('a log record that hidden script writes runs nothing but the log handler', () =>
  ends(
    async () => {
      const foreign = load(true);
      foreign.run(() => diagnostics.setLogHandler(say));
      const writeLog = foreign.run('harness.writeLog');
      await turn(0);
      Promise.resolve().then(() => say('promise'));
      foreign.run(() => {
        globalThis.isInside = true;
        process.nextTick(() => {
          if (isInside) say('tick');
        });
      });
      writeLog(2, 'record');
      foreign.run('isInside = false');
      say('script');
      await turn(0);
      foreign.free();
    },
    { stdout: 'record\nscript\npromise\n' },
  ));

test('two capture at once; the end of one does not end the other', () =>
  ends(async () => {
    const [first, second] = [load(), load()];
    for (const environment of [first, second]) {
      environment.run(() => {
        globalThis.events = 0;
        capturing(() => ++events);
      });
    }
    assert.equal(held(first).threads, 2);
    first.free();
    second.run(() => harness.burst(100, 0, 0));
    await until('the events', () => second.run(() => events === 100));
    assert.equal(held(second).threads, 1);
    second.run(() => capture.stopCapturing());
  }));
