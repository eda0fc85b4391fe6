// shutdown without memory releases what it can and ends no process; the next call releases what it has left.
'use strict';
const test = require('node:test');
const { ends } = require('../script/support/hosts');
const { canFailNew } = require('../script/support/harness');

const skip = canFailNew ? false : 'built with a sanitizer';

// A host script in which shutdown fails at its first failed allocation, its second and so on, until one is not reached.
const sweep = (prepare, shutDown, check) => `async () => {
  for (let place = 1; ; ++place) {
    const all = [load(), load()];
    await (${prepare})(all);
    all[0].run('harness.fail')('operatorNew', place, 1, 2);
    let thrown;
    try {
      (${shutDown})(all);
    } catch (error) {
      thrown = error;
    }
    const calls = all[0].run('harness.calls')('operatorNew');
    all[0].run('harness.fail')('operatorNew', 0, 0);
    if (thrown !== undefined && thrown.message !== 'std::bad_alloc') {
      assert.match(String(thrown.message), /^Illegal invocation/);
    }
    all[0].run(() => shutdown());
    await (${check})(all);
    for (const environment of all) environment.free();
    if (calls < place) break;
    assert.ok(place < 1000, 'an end');
  }
}`;

const released = `(all) => {
  for (const environment of all) {
    assert.throws(() => environment.run(() => hardware.getButtonState(1)), { message: /shutdown\\(\\) has released this object/ });
  }
}`;

test('of two environments at work', { skip }, () =>
  ends(
    sweep(
      (all) => {
        for (const environment of all) {
          environment.run(() => {
            capturing(() => {});
            diagnostics.setLogHandler(() => {});
            updater.setErrorHandler(() => {});
          });
        }
      },
      (all) => all[0].run(() => shutdown()),
      released,
    ),
  ),
);

test('inside a method', { skip }, () =>
  ends(
    sweep(
      () => {},
      (all) => {
        all[0].run(() =>
          hardware.getButtonState({
            valueOf() {
              shutdown();
              return 1;
            },
          }),
        );
      },
      released,
    ),
  ),
);

test('inside a method of the other environment', { skip }, () =>
  ends(
    sweep(
      (all) => {
        all[0].run('globalThis').other = all[1].run('hardware');
      },
      (all) => {
        all[0].run(() =>
          other.getButtonState({
            valueOf() {
              shutdown();
              return 1;
            },
          }),
        );
      },
      released,
    ),
  ),
);

test('inside a callback and the log handler of a stop', { skip }, () =>
  ends(
    sweep(
      (all) => {
        all[0].run(() => {
          capturing(() => {});
          diagnostics.setLogHandler(() => shutdown());
        });
      },
      (all) => all[0].run(() => capture.stopCapturing()),
      released,
    ),
  ),
);

test('with a worker that loaded the module', { skip }, () =>
  ends(
    sweep(
      async (all) => {
        const { Worker } = require('node:worker_threads');
        all.worker = new Worker(
          `
    const { hardware } = require(${JSON.stringify(environments.harness)});
    const { parentPort } = require('node:worker_threads');
    parentPort.on('message', () => {
      try {
        hardware.getButtonState(1);
        parentPort.postMessage('works');
      } catch (error) {
        parentPort.postMessage(error.message);
      }
    });
    parentPort.postMessage('ready');`,
          { eval: true },
        );
        await new Promise((resolve) => all.worker.once('message', resolve));
      },
      (all) => all[0].run(() => shutdown()),
      async (all) => {
        const { once } = require('node:events');
        for (let answer = 'works'; answer === 'works'; ) {
          all.worker.postMessage('');
          [answer] = await once(all.worker, 'message');
          if (answer !== 'works') assert.match(answer, /shutdown\(\) has released this object/);
        }
        await all.worker.terminate();
        // Its channel's last message must not come while an environment is freed and the engine runs no script.
        await until('the end of the channel', () => !process.getActiveResourcesInfo().includes('MessagePort'));
        await turn(1);
        assert.throws(() => all[0].run(() => hardware.getButtonState(1)), {
          message: /shutdown\(\) has released this object/,
        });
      },
    ),
  ),
);
