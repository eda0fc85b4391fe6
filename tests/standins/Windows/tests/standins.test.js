// The stand-ins as script tests use them: support/standins.js over the module's own calls.
'use strict';
const assert = require('node:assert/strict');
const path = require('node:path');
const { after, beforeEach, test } = require('node:test');

const support = path.join(__dirname, '..', '..', '..', 'script', 'support');
const { zebbridge, buildFile } = require(path.join(support, 'zebbridge.js'));
// Asked before any stand-in is loaded by its path, so the loader itself has found this one.
const foundByTheLoader = require(buildFile('node', 'standin-control.node')).loadedFrom('wevtapi.dll');
const { winrt, eventlog, system, registry, windows, imports } = require(path.join(support, 'standins.js'));
const { until } = require(path.join(support, 'until.js'));

const updater = zebbridge.msix_auto_updater;

beforeEach(() => {
  eventlog.configure();
  winrt.install();
  winrt.configure();
});
after(() => zebbridge.shutdown());

test('the loader finds the event log in system32', () => {
  assert.equal(foundByTheLoader.toLowerCase(), eventlog.file.toLowerCase());
});

test('the event log gives what it was given, unit by unit', () => {
  const records = ['<Event a="1">\r\n\t\\n</Event>', '', 'z\u00e9\u20ac\ud83d\ude0a', '\ud800'];
  eventlog.configure({ channels: [{ name: 'Application' }], records, batches: [0, 3] });
  assert.deepEqual(updater.getUpdateErrors('<QueryList/>'), records);
  assert.deepEqual(eventlog.openHandles(), { queries: 0, records: 0, badCloses: 0 });
  assert.deepEqual(eventlog.counts(), { EvtQuery: 1, EvtNext: 4, EvtRender: 8, EvtGetQueryInfo: 4, EvtClose: 5 });
  assert.equal(eventlog.calls('EvtQuery')[0].query, '<QueryList/>');
  assert.equal(eventlog.calls().length, 22);
});

test('the event log fails as it was told, and a new script forgets it', () => {
  eventlog.configure({ faults: [{ call: 'EvtQuery', at: 1, code: 5 }] });
  assert.throws(() => updater.getUpdateErrors('x'), { message: system.text(5) });
  eventlog.configure({ channels: [{ name: 'A', status: 15007 }], quiet: true, sizes: { 0: 100 } });
  assert.throws(() => updater.getUpdateErrors('x'));
  eventlog.configure();
  assert.deepEqual(updater.getUpdateErrors('x'), []);
  assert.throws(() => eventlog.configure({ faults: [{ call: 'EvtSeek', at: 1, code: 5 }] }), /no function EvtSeek/);
});

test('the classes are reached through the registry and write down what they are given', () => {
  zebbridge.windows.openExternalIgnoringAppLinking('https://host/page');
  const { launches, uris, options, live } = winrt.records();
  assert.deepEqual(uris, [{ text: 'https://host/page', result: 0 }]);
  assert.deepEqual(options, [{ ignoreAppUriHandlers: true }]);
  assert.deepEqual(launches, [
    {
      uri: 'https://host/page',
      uriIsDefaultInterface: true,
      optionsAreDefaultInterface: true,
      ignoreAppUriHandlers: true,
      thread: system.threadId(),
      result: 0,
    },
  ]);
  assert.deepEqual(
    Object.keys(live).filter((name) => !name.endsWith('Factory')),
    [],
  );
});

test('a held deployment ends when it is released', async () => {
  const heard = [];
  updater.setErrorHandler((text) => heard.push(text));
  winrt.configure({ deployment: { ...winrt.outcomes.errorText('it failed'), end: 'held' } });
  updater.applyUpdate('file:///C:/package.msix');
  const [update] = await until('the deployment', () => winrt.updates().length && winrt.updates());
  assert.equal(update.ended, false);
  assert.notEqual(update.thread, system.threadId());
  assert.throws(() => winrt.release(1), /no deployment is held there/);
  winrt.release();
  await until('the report', () => heard.length);
  assert.deepEqual(heard, ['it failed']);
  await until('the operation is gone', () => winrt.updates()[0].gone);
  updater.dispose();
});

test('every ready-made fate is what it says', async () => {
  const heard = [];
  updater.setErrorHandler((text) => heard.push(text));
  const { success, errorText, failure, canceled, outOfMemory } = winrt.outcomes;
  const fates = [
    [failure(-2147024891, 'not yours'), 'winrt exception with message: not yours and code: -2147024891'],
    [failure(-2147024891), `winrt exception with message: ${system.message(-2147024891)} and code: -2147024891`],
    [canceled(), `winrt exception with message: ${system.message(-2147023673)} and code: -2147023673`],
    [outOfMemory(), 'Unknown exception'],
    [success(), undefined],
    [errorText('it failed'), 'it failed'],
  ];
  for (const [fate, text] of fates) {
    for (const end of ['onHandler', 'atReturn', 'afterStatus']) {
      heard.length = 0;
      winrt.configure({ deployment: { ...fate, end } });
      updater.applyUpdate('file:///C:/package.msix');
      await until('the deployment is gone', () => winrt.updates()[0]?.gone);
      if (text !== undefined) await until(`the report of ${end}`, () => heard.length);
      assert.deepEqual(heard, text === undefined ? [] : [text]);
    }
  }
  updater.dispose();
});

test('the registry helper sets, replaces and removes the update revision', () => {
  registry.setUpdateRevision(4291);
  assert.equal(registry.updateRevision(), 4291);
  assert.equal(zebbridge.windows.getWindowsUpdateBuildRevision(), 4291);
  registry.setUpdateRevisionText('4291');
  assert.equal(registry.updateRevision(), undefined);
  registry.removeUpdateRevision();
  registry.removeUpdateRevision();
  assert.throws(() => zebbridge.windows.getWindowsUpdateBuildRevision(), { message: system.text(2) });
});

test("texts are the system's own", () => {
  assert.match(system.text(2), /\S\r\n$/);
  assert.equal(system.text(0xa1234567), '');
  assert.match(system.message(-2147024891), /\S$/);
  assert.equal(system.message(0xa1234567), '');
});

test('a test window has a placement that can be read back', () => {
  const window = windows.open();
  zebbridge.windows.setWindowPlacement(window, 10, 20, 310, 220, 1);
  assert.deepEqual(windows.placement(window).normal, { left: 10, top: 20, right: 310, bottom: 220 });
  const { exists, visible } = windows.state(window);
  assert.deepEqual({ exists, visible }, { exists: true, visible: true });
  windows.close(window);
  assert.equal(windows.state(window).exists, false);
  assert.throws(() => windows.placement(window), /1400/);
  const hidden = windows.open({ visible: false });
  assert.equal(windows.state(hidden).visible, false);
  windows.close(hidden);
});

test("the module's calls are watched, and answered when a test says so", () => {
  assert.equal(imports.watch(), 4);
  imports.take();
  zebbridge.windows.registerApplicationRestart();
  assert.deepEqual(imports.take(), [{ call: 'RegisterApplicationRestart', commandLineIsNull: true, flags: 0 }]);
  imports.answer('RegGetValueW', 5);
  assert.throws(() => zebbridge.windows.getWindowsUpdateBuildRevision(), { message: system.text(5) });
  assert.equal(imports.take()[0].name, 'UBR');
  assert.throws(() => zebbridge.windows.getWindowsUpdateBuildRevision(), { message: system.text(2) });
  assert.throws(() => imports.answer('CreateFileW', 0), /not watched/);
  assert.throws(() => imports.watch('missing.dll'), /126/);
});
