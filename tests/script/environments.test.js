// Several Node.js environments on one isolate, as a host has one for each of its windows: each has a module of its own,
// and none notices the end of another.
'use strict';
const test = require('node:test');
const { ends } = require('./support/hosts');

// ---- each has its own ------------------------------------------------------------------------------------------------

test('the first that loaded the module is freed: another goes on', () =>
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

test('twenty more, made and freed, leave nothing', () =>
  ends(async () => {
    const stays = load();
    stays.run(() => capturing(() => {}));
    const before = held(stays);
    for (let count = 0; count < 20; ++count) {
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

// Node.js turns the loop inside the end of an environment, and the engine refuses script meanwhile.
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

// ---- freed from inside what another is doing -------------------------------------------------------------------------

// What the environment that stays does, in functions of its own; `free` is one of its globals.
const inside = {
  'a motion callback': () => {
    capturing(() => {
      if (++events === 3) free();
    });
    harness.burst(1000, 0, 0);
  },
  'a buttons callback': () => {
    capturing(null, () => {
      if (++events === 3) free();
    });
    harness.burst(1000, 0, 1);
  },
  'the last event of a drain': () => {
    capturing(() => {
      if (++events === 1000) free();
    });
    queue(1000);
  },
  'a callback that stops its capture': () => {
    capturing(() => {
      if (++events !== 3) return;
      capture.stopCapturing();
      free();
    });
    queue(1000);
  },
  'a promise of a callback': () => {
    capturing(() => {
      if (++events === 3) Promise.resolve().then(free);
    });
    harness.burst(1000, 0, 0);
  },
  'a callback that runs the loop': () => {
    capturing(() => {
      if (++events !== 3) return;
      harness.turnLoop();
      free();
      harness.turnLoop();
    });
    queue(500);
    harness.burst(500, 500, 0);
  },
  'a callback inside a callback that runs the loop': () => {
    capturing(() => {
      ++events;
      if (events === 3) {
        queue(500, 500);
        harness.turnLoop();
      }
      if (events === 700) free();
    });
    queue(500);
  },
  'the log handler of a method': () => {
    diagnostics.setLogHandler(() => {
      diagnostics.setLogHandler(null);
      free();
    });
    globalThis.other = hardware.capturePointer();
    events = 1000;
  },
  'the log handler of a stop': () => {
    capturing(() => ++events);
    queue(1000);
    diagnostics.setLogHandler(() => {
      diagnostics.setLogHandler(null);
      free();
    });
    capture.stopCapturing();
  },
  'the error handler': () =>
    updating(false, () => {
      free();
      events = 1000;
    }),
  'a conversion': () => {
    if (
      hardware.getButtonState({
        valueOf() {
          free();
          return 1;
        },
      }) !== true
    )
      throw new Error('no answer');
    events = 1000;
  },
  'a conversion of a text': () => {
    updater.getUpdateErrors({
      toString() {
        free();
        return '*';
      },
    });
    events = 1000;
  },
};

for (const [name, site] of Object.entries(inside)) {
  for (const [which, isFirst] of [
    ['the first', true],
    ['a later one', false],
  ]) {
    test(`${which} is freed inside ${name} of another`, () =>
      ends(`async () => {
      let goes = ${isFirst} ? load() : undefined;
      const stays = load();
      goes ??= load();
      goes.run(() => {
        const touch = () => {
          if (globalThis.isFreed) say('called after its end');
          setTimeout(() => {}, 0);
        };
        updater.setErrorHandler(touch);
        globalThis.idle = hardware.capturePointer();
        capturing(touch, touch);
        queue(100, 0, 1);
        capture.stopCapturing();
      });
      stays.run(() => { globalThis.events = 0; });
      stays.run('globalThis').free = () => {
        goes.run(() => {
          globalThis.isFreed = true;
          capture.startCapturing();
        });
        const other = held(stays).threads;
        goes.free();
        assert.equal(held(stays).threads, other - 1);
      };
      stays.run(${site});
      await until('all events', () => stays.run(() => events >= 1000));
      assert.equal(goes.free(), false, 'it has been freed');
      stays.run(() => {
        diagnostics.setLogHandler(null);
        hardware.capturePointer().stopCapturing();
      });
    }`));
  }
}

// The end of an environment whose method is running: its script is not, for another one's has called the method.
const insideItsMethod = {
  'the log handler of capturePointer': () => {
    diagnostics.setLogHandler(() => free());
    globalThis.result = other.hardware.capturePointer();
  },
  'the log handler of stopCapturing': () => {
    diagnostics.setLogHandler(() => free());
    other.capture.stopCapturing();
  },
  'the log handler of an update that cannot start': () => {
    diagnostics.setLogHandler(() => free());
    harness.fail('threadCreate', 1, 1);
    other.updater.applyUpdate('https://example.com/app.msix');
    harness.fail('threadCreate', 0, 0);
  },
  'the conversion of a number': () => {
    try {
      other.hardware.getButtonState({
        valueOf() {
          free();
          return 1;
        },
      });
    } catch (error) {
      if (error.name !== 'TypeError') throw error;
    }
  },
  'the conversion of a text': () => {
    try {
      other.updater.applyUpdate({
        toString() {
          free();
          return 'https://example.com/app.msix';
        },
      });
    } catch (error) {
      if (error.name !== 'TypeError') throw error;
    }
  },
};

for (const [name, site] of Object.entries(insideItsMethod)) {
  for (const [which, isFirst] of [
    ['the first', true],
    ['a later one', false],
  ]) {
    test(`${which} is freed inside ${name} of its own, called by another`, () =>
      ends(`async () => {
      let goes = ${isFirst} ? load() : undefined;
      const stays = load();
      const before = held(stays);
      goes ??= load();
      goes.run(() => {
        capturing(() => say('called'), () => say('called'));
        globalThis.idle = hardware.capturePointer();
      });
      const globals = stays.run('globalThis');
      globals.other = goes.run('({ hardware, capture, updater })');
      globals.free = () => goes.free();
      stays.run(${site});
      assert.equal(goes.free(), false, 'it has been freed');
      globals.other = globals.free = globals.result = null;
      stays.run(() => diagnostics.setLogHandler(null));
      await collected();
      if (!${isFirst}) assert.deepEqual(held(stays), before);
      assert.equal(held(stays).threads, 0);
      assert.equal(stays.run(() => hardware.getButtonState(1)), true);
    }`));
  }
}

test('one is freed while it loads the module', () =>
  ends(async () => {
    const stays = load();
    const before = held(stays);
    const goes = create();
    const globals = stays.run('globalThis');
    globals.dlopen = goes.run('process.dlopen');
    globals.exports = goes.run('({})');
    globals.free = () => goes.free();
    stays.run(() => {
      Object.defineProperty(exports, 'crash_emitter', {
        set() {
          free();
        },
      });
      let message;
      try {
        dlopen({ exports }, file);
      } catch (error) {
        message = error.message;
      }
      if (message !== 'zebbridge needs a context of Node.js') throw new Error(message);
    });
    assert.equal(goes.free(), false, 'it has been freed');
    globals.dlopen = globals.exports = globals.free = null;
    await collected();
    assert.deepEqual(held(stays), before);
    assert.equal(
      stays.run(() => hardware.getButtonState(1)),
      true,
    );
  }));

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

// Script functions go from environment to environment like any object.
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

test('nothing at all is held after the last', () =>
  ends(async () => {
    const nothing = { blocks: 0, asyncHandles: 0, threads: 0, handles: 0, deployments: 0 };
    const first = load();
    const counts = first.run('harness.counts'); // a function of a freed environment, but it asks the add-on alone
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
    assert.equal(held(stays).deployments, 3, 'they go on');
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

test('a page is reloaded inside a callback of another, a hundred times', () =>
  ends(
    async () => {
      const stays = load();
      stays.run(() => {
        globalThis.events = [];
        capturing(({ screenPoint }) => {
          events.push(screenPoint.x);
          if (screenPoint.x % 20 === 10) reload();
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
      stays.run(() => harness.burst(1999, 1, 0));
      await until('all events', () => stays.run(() => events.length === 2000), 120000);
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
    await until('the events of a capture, which is no component', () => all[2].run(() => events === 10));
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
