// Several Node.js environments on one isolate: one of them is freed from inside what another is doing, or in the middle
// of its own methods.
'use strict';
const test = require('node:test');
const { ends } = require('./support/hosts');
const { byTurns } = require('./support/length');

// What the environment that stays does, as functions of its own; `free` is one of its globals.
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
    const before = harness.dispatched();
    queue(500);
    harness.burst(500, 500, 0);
    spin('that this capture takes them, not the one that starts later', () => harness.dispatched() > before + 500);
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

// The freed one is the first that loaded the module in its process, or a later one.
const places = (number) => JSON.stringify(byTurns([true, false], number));

for (const [number, [name, site]] of Object.entries(inside).entries()) {
  test(`one is freed inside ${name} of another`, () =>
    ends(`async () => {
      for (const isFirst of ${places(number)}) {
        let goes = isFirst ? load() : undefined;
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
        stays.run(() => {
          globalThis.events = 0;
          globalThis.depth = 0;
          const { turnLoop } = harness;
          harness.turnLoop = () => {
            ++depth;
            turnLoop();
            --depth;
          };
        });
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
        // Not inside a loop that a callback runs, where this script would go on too.
        await until('all events', () => stays.run(() => events >= 1000 && depth === 0));
        assert.equal(goes.free(), false, 'it has been freed');
        stays.run(() => {
          diagnostics.setLogHandler(null);
          hardware.capturePointer().stopCapturing();
        });
      }
    }`));
}

// An environment ends while one of its methods runs. Its script does not run then: another environment's script called
// the method.
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

for (const [number, [name, site]] of Object.entries(insideItsMethod).entries()) {
  test(`one is freed inside ${name} of its own, called by another`, () =>
    ends(`async () => {
      for (const isFirst of ${places(number)}) {
        let goes = isFirst ? load() : undefined;
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
        if (!isFirst) assert.deepEqual(held(stays), before);
        assert.equal(held(stays).threads, 0);
        assert.equal(stays.run(() => hardware.getButtonState(1)), true);
      }
    }`));
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
