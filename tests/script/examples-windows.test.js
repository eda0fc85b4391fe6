// The examples about windows, updates and the event log, each in its own process.
'use strict';
const { test, describe, before, after } = require('node:test');
const assert = require('node:assert');
const fs = require('node:fs');
const path = require('node:path');
const { winrt, system } = require('./support/standins');
const desktop = require('./support/desktop');
const { runExample, startPiece } = require('./support/examples');

const standins = JSON.stringify(path.join(__dirname, 'support', 'standins.js'));
const scripted = (call) => ({ before: `const { winrt, eventlog, imports } = require(${standins}); ${call}` });

// Windows restarts the application after an update only if the application has asked for it.
const asksForARestart = async (name) => {
  const { stdout } = await runExample(
    name,
    ['https://example.com/app.msix'],
    scripted(`
    imports.watch();
    winrt.configure();
    process.on('exit', () => console.log(imports.take().map(({ call }) => call).join()));`),
  );
  assert.match(stdout, /^RegisterApplicationRestart$/m);
};

describe('update.js', () => {
  before(() => winrt.install());
  after(() => winrt.uninstall());
  const address = 'https://example.com/app.msix';
  const run = (value, deployment) =>
    runExample('update.js', [value], scripted(`winrt.configure({ deployment: ${JSON.stringify(deployment)} });`));

  test('says that it updates', async () => {
    assert.deepStrictEqual(await run(address, {}), {
      status: 0,
      signal: null,
      stdout: `updating from ${address}\n`,
      stderr: '',
    });
  });

  test('asks for a restart', () => asksForARestart('update.js'));

  test('says why it failed', async () => {
    const { status, stderr } = await run(address, winrt.outcomes.errorText('0x80073CF3: in use'));
    assert.strictEqual(stderr, 'update failed: 0x80073CF3: in use\n');
    assert.strictEqual(status, 1);
  });

  test('does not try a text that is not an address', async () => {
    const { status, stderr } = await run('app.msix', {});
    assert.strictEqual(stderr, 'Invalid URL: it is not an absolute address\n');
    assert.strictEqual(status, 2);
  });
});

describe('update-explained.js', () => {
  before(() => winrt.install());
  after(() => winrt.uninstall());
  const records = [
    "<Event><System><TimeCreated SystemTime='2026-01-02T03:04:05Z'/></System><EventData>" +
      "<Data Name='ErrorCode'>0x80073cf3</Data></EventData></Event>",
    '<Event/>',
  ];
  const run = (value, deployment) =>
    runExample(
      'update-explained.js',
      [value],
      scripted(`
    winrt.configure({ deployment: ${JSON.stringify(deployment)} });
    eventlog.configure({ records: ${JSON.stringify(records)} });
    process.on('exit', () => console.log(eventlog.calls('EvtQuery').map(({ query }) => query).join()));`),
    );

  test('asks for a restart', () => asksForARestart('update-explained.js'));

  test('says why it failed, with what the event log says', async () => {
    const { status, stdout, stderr } = await run(
      'https://example.com/app.msix',
      winrt.outcomes.errorText('0x80073CF3: in use'),
    );
    assert.strictEqual(
      stderr,
      'not updated: 0x80073CF3: in use\n2026-01-02T03:04:05.000Z 0x80073cf3\nat an unknown time \n',
    );
    assert.match(stdout, /^<QueryList><Query Id="0" Path="Microsoft-Windows-AppXDeploymentServer\/Operational">/);
    assert.match(stdout, /TimeCreated\[@SystemTime&gt;=&apos;\d{4}-/);
    assert.strictEqual(status, 1);
  });

  test('does not try a text that is not an address', async () => {
    const { status, stdout, stderr } = await run('app.msix', {});
    assert.match(stderr, /^not updated: Invalid URL.*\n$/);
    assert.strictEqual(stdout, '\n');
    assert.strictEqual(status, 1);
  });

  test('says nothing of a success', async () => {
    assert.deepStrictEqual(await run('https://example.com/app.msix', {}), {
      status: 0,
      signal: null,
      stdout: '\n',
      stderr: '',
    });
  });

  test('the script of the page about updates', async () => {
    const page = fs.readFileSync(path.join(__dirname, '..', '..', 'docs', 'api', 'updates.md'), 'utf8');
    const [, script] = /```js\n([^]*?)```/.exec(page);
    const { status, stderr } = await startPiece(
      script,
      scripted(`
      winrt.configure({ deployment: ${JSON.stringify(winrt.outcomes.failure(-2147024891, 'Denied.'))} });
      eventlog.configure({ records: ${JSON.stringify(records)} });`),
    ).ended;
    assert.strictEqual(stderr, 'Denied. 0x80070005\nnull \n2026-01-02T03:04:05.000Z 0x80073cf3\n');
    assert.strictEqual(status, 0);
  });
});

describe('update-errors.js', () => {
  const run = (configuration) =>
    runExample(
      'update-errors.js',
      [3],
      scripted(`
    eventlog.configure(${JSON.stringify(configuration)});
    process.on('exit', () => console.log(eventlog.calls('EvtQuery')[0].query));`),
    );

  test('prints times and codes', async () => {
    const { status, stdout } = await run({
      records: [
        "<Event><System><TimeCreated SystemTime='2026-01-02T03:04:05Z'/></System><EventData><Data Name='ErrorCode'>0x80073cf3</Data></EventData></Event>",
        '<Event/>',
      ],
    });
    assert.ok(
      stdout.startsWith('2026-01-02T03:04:05Z 0x80073cf3\nat an unknown time <Event/>\n2 failed deployments\n'),
      stdout,
    );
    assert.match(stdout, /timediff\(@SystemTime\) &lt;= 259200000\]/);
    assert.strictEqual(status, 0);
  });

  test('says when the log cannot be read', async () => {
    const { status, stderr } = await run({ faults: [{ call: 'EvtQuery', at: 1, code: 5 }] });
    assert.strictEqual(stderr, `the event log cannot be read: ${system.text(5).trim()}\n`);
    assert.strictEqual(status, 1);
  });
});

// On a window of the example's own process, because Wine does not know the placement of other processes' windows.
describe('window-placement.js', { skip: desktop.skip }, () => {
  const run = async (...values) => {
    const { status, stdout, stderr } = await runExample('window-placement.js', [], {
      before: `
      const { windows } = require(${standins});
      const window = windows.open();
      process.argv.push(String(window), ...${JSON.stringify(values)});
      process.on('exit', () => console.log(JSON.stringify([windows.placement(window).normal, windows.state(window).minimised])));`,
    });
    assert.strictEqual(stderr, '');
    assert.strictEqual(status, 0);
    return JSON.parse(stdout);
  };
  const rectangle = { left: 120, top: 90, right: 920, bottom: 690 };

  test('moves a window', async () => assert.deepStrictEqual(await run(), [rectangle, false]));

  test('and minimises it', async () => assert.deepStrictEqual(await run('minimised'), [rectangle, true]));

  test('says when there is no such window', async () => {
    const { status, stderr } = await runExample('window-placement.js', [0]);
    assert.strictEqual(stderr, `not placed: ${system.text(1400).trim()}\n`);
    assert.strictEqual(status, 1);
  });
});
