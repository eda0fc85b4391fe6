// "msix_auto_updater": what an update means for the process, and what the end of the process means for an update.
'use strict';
const { test, describe, before, after } = require('node:test');
const assert = require('node:assert');
const { winrt } = require('./support/standins');
const { uri, ACCESS_DENIED, child } = require('./support/updater');

const { errorText } = winrt.outcomes;

before(() => winrt.install());
after(() => winrt.uninstall());

describe('the process', () => {
  const ends = (name, script, status, configuration, check = () => {}) =>
    test(name, async () => {
      const ended = await child(script, configuration);
      assert.strictEqual(ended.status, status, `${ended.stdout}\n${ended.stderr}`);
      check(ended);
    });
  const printed =
    (text) =>
    ({ stdout }) =>
      assert.strictEqual(stdout, text);

  ends(
    'exits by itself after a success, without calling script',
    'updater.setErrorHandler(console.log); updater.applyUpdate(uri);',
    0,
    {},
    printed(''),
  );
  ends(
    'exits by itself after a failure',
    `
    process.exitCode = 7;
    updater.setErrorHandler((text) => console.log(text));
    updater.applyUpdate(uri);`,
    7,
    { deployment: errorText('failed') },
    printed('failed\n'),
  );
  ends(
    'is kept alive by a running update',
    `
    setTimeout(() => { console.log('releasing'); winrt.release(); }, 200).unref();
    updater.setErrorHandler((text) => console.log(text));
    updater.applyUpdate(uri);`,
    0,
    { deployment: { ...errorText('failed'), end: 'held' } },
    printed('releasing\nfailed\n'),
  );
  ends('exits when nothing was updated', 'updater.setErrorHandler(() => {});', 0);

  // When the report is gone, nothing keeps the loop running, so `beforeExit` comes. A handler set then must not hear it.
  for (const [how, clear] of [
    ['never was', ''],
    ['null clears', 'updater.setErrorHandler(null);'],
    ['undefined clears', 'updater.setErrorHandler(undefined);'],
    ['dispose drops, for good', "console.log(updater.dispose(), updater.dispose('again'));"],
  ]) {
    ends(
      `a handler that ${how} is not called, and a later one gets no old report`,
      `
      ${clear && "updater.setErrorHandler((text) => console.log('heard', text));"}
      updater.applyUpdate(uri);
      until('the start', () => winrt.updates().length === 1).then(() => {
        ${clear}
        winrt.release();
        process.once('beforeExit', () => {
          updater.setErrorHandler((text) => console.log(text));
          setImmediate(() => {
            winrt.configure(${JSON.stringify({ deployment: { status: 3, error: -2147009293, extended: -2147009293, text: 'next' } })});
            updater.applyUpdate(uri);
          });
        });
      });`,
      0,
      { deployment: { ...errorText('unheard'), end: 'held' } },
      printed(how.startsWith('dispose') ? 'undefined undefined\nnext\n' : 'next\n'),
    );
  }

  // Only `shutdown` waits. No report is delivered afterwards.
  for (const [how, output] of [
    ['process.exit(5);', ''],
    ['process.exitCode = 5; zebbridge.shutdown();', 'true\n'],
  ]) {
    ends(
      `ends while an update runs: ${how}`,
      `
      const { Worker } = require('node:worker_threads');
      updater.setErrorHandler(() => console.log('must not be heard'));
      updater.applyUpdate(uri);
      until('the start', () => winrt.updates().length === 1).then(() => {
        const control = ${JSON.stringify(require.resolve('./support/standins'))};
        const shared = new Int32Array(new SharedArrayBuffer(4));
        new Worker(\`
          const { winrt } = require(\${JSON.stringify(control)});
          const { workerData } = require('node:worker_threads');
          Atomics.store(workerData, 0, 1);
          Atomics.notify(workerData, 0);
          Atomics.wait(new Int32Array(new SharedArrayBuffer(4)), 0, 0, 300);
          winrt.release();\`, { eval: true, workerData: shared });
        Atomics.wait(shared, 0, 0, 20000);
        ${how}
        console.log(winrt.updates()[0].ended);
      });`,
      5,
      { deployment: { ...errorText('unheard'), end: 'held' } },
      printed(output),
    );
  }

  ends(
    'survives shutdown from inside the handler',
    `
    updater.setErrorHandler((text) => {
      console.log(text);
      zebbridge.shutdown();
      try { updater.applyUpdate(uri); } catch (error) { console.log(error.name); }
    });
    updater.applyUpdate(uri);`,
    0,
    { deployment: errorText('failed') },
    printed('failed\nTypeError\n'),
  );
  ends(
    'survives process.exit from inside the handler',
    `
    updater.setErrorHandler(() => process.exit(9));
    updater.applyUpdate(uri);`,
    9,
    { deployment: errorText('failed') },
  );
  ends(
    'survives the end of a worker with a running update',
    `
    const { Worker } = require('node:worker_threads');
    const worker = new Worker(\`
      const zebbridge = require(\${JSON.stringify(file)});
      zebbridge.msix_auto_updater.setErrorHandler(() => {});
      zebbridge.msix_auto_updater.applyUpdate('\${uri}');\`, { eval: true });
    until('the start', () => winrt.updates().length === 1).then(async () => {
      const ended = worker.terminate();
      winrt.release();
      await ended; // which does not wait for the update
      await until('the end of the update', () => winrt.updates()[0].gone);
    });`,
    0,
    { deployment: { ...errorText('unheard'), end: 'held' } },
  );

  // An application that ships such an update address must notice, so the handler hears nothing of this: the exception
  // leaves the worker and reaches the host's runtime library, which ends the process with a fast fail.
  const FAST_FAIL = 0xc0000409;
  const broken = {
    'a text that is not an address': ['not an address', {}],
    'a relative address': ['app.msix', {}],
    'the empty address': ['', {}],
    'no Uri class': [uri, { activation: { Uri: { code: -2147221164 } } }],
    'no package manager class': [uri, { activation: { PackageManager: { code: -2147221164 } } }],
    'a package manager that cannot be made': [uri, { instance: { PackageManager: { code: -2147467259 } } }],
    'a deployment that is refused': [uri, { refuse: { code: ACCESS_DENIED, reason: 'Denied.' } }],
    'no memory for the deployment': [uri, { refuse: { code: -2147024882 } }],
  };
  for (const [name, [address, configuration]] of Object.entries(broken)) {
    ends(
      `ends at ${name}`,
      `
      updater.setErrorHandler(() => console.log('heard'));
      updater.applyUpdate(${JSON.stringify(address)});
      setTimeout(() => console.log('lives'), 20000);`,
      FAST_FAIL,
      configuration,
      printed(''),
    );
  }
});
