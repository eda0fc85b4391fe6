// "msix_auto_updater" in the Linux build of the portable layers, where the sanitizers watch its threads and its memory.
// Deployments and the event log are stand-ins inside the add-on: exports.__updates.
'use strict';
const { test, describe, beforeEach } = require('node:test');
const assert = require('node:assert');
const { spawnSync } = require('node:child_process');
const { zebbridge, collect, file } = require('./support/zebbridge');
const { until } = require('./support/until');

const { msix_auto_updater: updater, __updates: platform } = zebbridge;
const uri = 'https://example.com/app.msix';
const LONG = 60000;

let reports = [];
beforeEach(() => {
  reports = [];
  updater.setErrorHandler((text) => reports.push(text));
});

// Runs one update that ends as told, and returns what the handler received before the failure of the next update.
async function update(...plan) {
  platform.plan(...plan);
  updater.applyUpdate(uri);
  await until('the report', () => reports.length === 1);
  platform.plan('text', 'marker', 0, 0);
  updater.applyUpdate(uri);
  await until('the marker', () => reports.at(-1) === 'marker');
  return reports.splice(0).slice(0, -1);
}

describe('reports', () => {
  test('an error text comes as it is', async () =>
    assert.deepStrictEqual(await update('text', '\u20ac in use\r\n', 0, 0), ['\u20ac in use\r\n']));
  test('a failure comes with its signed code', async () =>
    assert.deepStrictEqual(await update('failure', 'Denied.', -2147024891, 0), [
      'winrt exception with message: Denied. and code: -2147024891',
    ]));
  test('anything else is unknown', async () =>
    assert.deepStrictEqual(await update('unknown', '', 0, 0), ['Unknown exception']));

  test('hundreds of updates, one after the other', async () => {
    platform.plan('text', 'again', 0, 0);
    for (let round = 1; round <= 300; ++round) {
      updater.applyUpdate(uri);
      await until('the report', () => reports.length === round);
      if (round % 50 === 0) collect();
    }
  });

  test('many at once', async () => {
    platform.plan('text', 'each', 0, LONG);
    for (let index = 0; index < 32; ++index) updater.applyUpdate(`${uri}?${index}`);
    await until('the starts', () => platform.started().length === 32);
    assert.deepStrictEqual(reports, []);
    collect();
    platform.finish();
    await until('the reports', () => reports.length === 32);
  });

  test('the handler may replace and drop itself, throw, and start the next update', async () => {
    platform.plan('text', 'next', 0, 0);
    const heard = [];
    updater.setErrorHandler((text) => {
      heard.push(text);
      updater.setErrorHandler((next) => {
        heard.push(next);
        updater.dispose();
        collect();
        throw new Error('swallowed');
      });
      collect();
      updater.applyUpdate(uri);
    });
    updater.applyUpdate(uri);
    await until('both', () => heard.length === 2);
  });
});

describe('the event log', () => {
  test('gives records in order and closes everything', () => {
    for (const count of [0, 1, 9, 10, 11, 20, 10000]) {
      platform.setEventLog(count, 0);
      assert.deepStrictEqual(
        updater.getUpdateErrors('<QueryList/>'),
        Array.from({ length: count }, (_, index) => `<Event/>${index}`),
      );
      assert.strictEqual(platform.openHandles(), 0);
    }
  });

  test('widens each byte of the query with its sign', () => {
    platform.setEventLog(0, 0);
    updater.getUpdateErrors('a\u00e9\u20ac');
    assert.deepStrictEqual(platform.queries(), ['a\uffc3\uffa9\uffe2\uff82\uffac']);
  });

  test('fails with the text of the system', () => {
    platform.setEventLog(3, 15007);
    assert.throws(() => updater.getUpdateErrors('x'), { name: 'Error', message: 'System text for 0.\r\n', code: 0 });
    assert.strictEqual(platform.openHandles(), 0);
  });
});

describe('the process', () => {
  const run = (script) => {
    const { status, signal, stdout, stderr } = spawnSync(
      process.execPath,
      [
        '-e',
        `
      const zebbridge = require(${JSON.stringify(file)});
      const { msix_auto_updater: updater, __updates: platform } = zebbridge;
      const uri = ${JSON.stringify(uri)};
      ${script}`,
      ],
      { encoding: 'utf8', timeout: 60000 },
    );
    return { status, signal, stdout, stderr };
  };
  const ends = (name, script, expected) =>
    test(name, () => {
      const { stderr, ...ended } = run(script);
      assert.deepStrictEqual(ended, { status: 0, signal: null, stdout: '', ...expected }, stderr);
    });

  ends(
    'stays until a running update has ended',
    `
    platform.plan('text', 'failed', 0, 300);
    updater.setErrorHandler((text) => { console.log(text); process.exitCode = 7; });
    updater.applyUpdate(uri);`,
    { status: 7, stdout: 'failed\n' },
  );
  ends(
    'waits for it in shutdown, which drops its report',
    `
    platform.plan('text', 'unheard', 0, 300);
    updater.setErrorHandler(console.log);
    updater.applyUpdate(uri);
    zebbridge.shutdown();
    process.exitCode = 5;`,
    { status: 5 },
  );
  ends(
    'does not wait for it in the shutdown of another thread',
    `
    platform.plan('text', 'unheard', 0, ${LONG});
    updater.setErrorHandler(console.log);
    updater.applyUpdate(uri);
    const { Worker } = require('node:worker_threads');
    new Worker('require(' + JSON.stringify(${JSON.stringify(file)}) + ').shutdown()', { eval: true });
    process.exitCode = 5;`,
    { status: 5 },
  );
  // Once an update has ended and was released, nothing keeps the loop running. A report that came now would be an old
  // one.
  ends(
    'ends after a success, which calls nothing',
    `
    platform.plan('success', '', 0, 0);
    updater.setErrorHandler(console.log);
    updater.applyUpdate(uri);`,
    {},
  );
  ends(
    'a disposed handler is not called, and a later one gets no old report',
    `
    platform.plan('text', 'unheard', 0, ${LONG});
    updater.setErrorHandler(console.log);
    updater.applyUpdate(uri);
    updater.dispose();
    platform.finish();
    process.once('beforeExit', () => {
      updater.setErrorHandler((text) => console.log(text));
      setImmediate(() => {
        platform.plan('text', 'next', 0, 0);
        updater.applyUpdate(uri);
      });
    });`,
    { stdout: 'next\n' },
  );
  ends(
    'does not wait for it in process.exit',
    `
    platform.plan('text', 'unheard', 0, ${2 * LONG});
    updater.setErrorHandler(console.log);
    updater.applyUpdate(uri);
    process.exit(5);`,
    { status: 5 },
  );
  ends(
    'survives shutdown from inside the handler',
    `
    platform.plan('text', 'failed', 0, 0);
    updater.setErrorHandler((text) => { console.log(text); zebbridge.shutdown(); });
    updater.applyUpdate(uri);`,
    { stdout: 'failed\n' },
  );
  ends(
    'survives the end of a worker with a running update',
    `
    platform.plan('text', 'unheard', 0, 300);
    const { Worker } = require('node:worker_threads');
    const worker = new Worker(\`
      const updater = require(${JSON.stringify(file)}).msix_auto_updater;
      updater.setErrorHandler(() => {});
      updater.applyUpdate('x:y');
      require('node:worker_threads').parentPort.postMessage('started');\`, { eval: true });
    worker.on('message', () => worker.terminate().then(() => console.log('ended')));`,
    { stdout: 'ended\n' },
  );
  ends(
    'ends when a deployment cannot even start',
    `
    platform.plan('refused', '', -1, 0);
    updater.setErrorHandler(console.log);
    updater.applyUpdate(uri);
    setTimeout(() => console.log('lives'), 20000);`,
    { status: null, signal: 'SIGABRT' },
  );
});
