// The real system's services behind the module: registry, event log, windows, restart, package deployment.
'use strict';
const assert = require('node:assert/strict');
const test = require('node:test');
const { zebbridge, buildFile } = require('../../script/support/zebbridge');
const desktop = require('../../script/support/desktop');
const { until, system, onlyWindows, run, runScript, note, hex } = require('../support/kit');

const { windows, msix_auto_updater: updater } = zebbridge;
const control = require(buildFile('node', 'standin-control.node'));
const { addon } = desktop;

// What a system tool prints, or null if it fails.
async function ask(tool, args) {
  const { status, output } = await run(system(tool), args);
  return status === 0 ? output : null;
}

// Checks that an error has the system's English text, where the system has one. A text in the user's language is only
// noted.
function hasText(error, code) {
  assert.equal(error.constructor, Error);
  const text = control.systemText(code).trim();
  if (text) assert.equal(error.message.trim(), text);
  else assert.notEqual(error.message, '');
  return true;
}

// ---- registry -------------------------------------------------------------------------------------------------------

test('the update build revision is the one in the registry', async (t) => {
  const key = 'HKLM\\SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion';
  const shown = await ask('reg.exe', ['query', key, '/v', 'UBR']);
  if (shown === null) {
    assert.throws(
      () => windows.getWindowsUpdateBuildRevision(),
      (error) => hasText(error, 2),
    );
    note(t, 'the registry has none, and the error says', control.systemText(2).trim());
    return;
  }
  const [, number] = /UBR\s+REG_DWORD\s+(0x[0-9a-f]+)/i.exec(shown);
  assert.equal(windows.getWindowsUpdateBuildRevision(), Number(number));
  note(t, 'revision', Number(number));
});

// ---- event log ------------------------------------------------------------------------------------------------------

const query = (channel, condition) =>
  `<QueryList><Query Path="${channel}"><Select>${condition.replaceAll('<', '&lt;').replaceAll('>', '&gt;')}</Select></Query></QueryList>`;

function errorsOf(...args) {
  try {
    return { records: updater.getUpdateErrors(query(...args)) };
  } catch (error) {
    return { error };
  }
}

test("the System log, as the system's own tool counts it", {
  skip: onlyWindows('records in its event log'),
}, async (t) => {
  const [from, to] = [3 * 86400000, 60000].map((ago) => new Date(Date.now() - ago).toISOString());
  const condition = `*[System[TimeCreated[@SystemTime>='${from}' and @SystemTime<='${to}']]]`;
  const begin = Date.now();
  const { records, error } = errorsOf('System', condition);
  assert.equal(error, undefined);
  note(t, 'records of three days', `${records.length} in ${Date.now() - begin} ms`);
  for (const record of records) assert.match(record, /^<Event [\s\S]*<\/Event>\s*$/);
  const shown = await ask('wevtutil.exe', ['qe', 'System', `/q:${condition}`]);
  assert.equal(records.length, shown.match(/<Event /g)?.length ?? 0);
});

test('a channel that this user may not read', { skip: onlyWindows('channels that it refuses') }, (t) => {
  const { records, error } = errorsOf('Security', '*[System[EventID=4624]]');
  if (records) return t.skip('this user may read the Security log: the checks run with administrator rights');
  assert.equal(error.constructor, Error);
  assert.notEqual(error.message, '');
  note(t, 'text', error.message);
});

test('a channel that does not exist', { skip: onlyWindows('an event log that knows its channels') }, (t) => {
  const { error } = errorsOf('zebbridge-no-such-channel', '*');
  hasText(error, 15007); // ERROR_EVT_CHANNEL_NOT_FOUND
  note(t, 'text', error.message);
});

test('a text that is not a query', { skip: onlyWindows('an event log that reads its queries') }, (t) => {
  assert.throws(
    () => updater.getUpdateErrors('no query'),
    (error) => {
      note(t, 'text', error.message);
      return error.constructor === Error && error.message !== '';
    },
  );
});

// ---- windows --------------------------------------------------------------------------------------------------------

test('a window is placed, minimised, maximised and brought back', async (t) => {
  const window = control.openPlacedWindow(true);
  t.after(() => control.closePlacedWindow(window));
  const normal = { left: 150, top: 120, right: 650, bottom: 520 };
  const place = (show) => windows.setWindowPlacement(window, ...Object.values(normal), show);
  for (const [show, state] of [
    [1, {}],
    [2, { minimised: true }],
    [9, {}],
    [3, { maximised: true }],
    [1, {}],
  ]) {
    place(show);
    const wanted = { minimised: false, maximised: false, ...state };
    await until(`show command ${show}`, () => {
      const { minimised, maximised } = control.windowState(window);
      return minimised === wanted.minimised && maximised === wanted.maximised;
    });
    assert.deepEqual(control.windowPlacement(window).normal, normal);
  }
  note(t, 'on the screen', control.windowState(window).rectangle);
});

test('a window that is gone', (t) => {
  const window = control.openPlacedWindow(false);
  control.closePlacedWindow(window);
  assert.throws(
    () => windows.setWindowPlacement(window, 0, 0, 100, 100, 1),
    (error) => {
      note(t, 'text', error.message.trim());
      return hasText(error, 1400);
    },
  );
});

// ---- restart --------------------------------------------------------------------------------------------------------

test('the restart registration, read back', (t) => {
  const E_NOTIMPL = -2147467263;
  const before = addon.restartSettings();
  if (before.result === E_NOTIMPL || before.result === -2147024776)
    return t.skip('this system keeps no such registrations');
  note(t, 'before', hex(before.result));
  assert.notEqual(before.result, 0);
  assert.equal(windows.registerApplicationRestart(), undefined);
  const after = addon.restartSettings();
  assert.deepEqual(after, { result: 0, commandLine: '', flags: 0 });
});

// ---- updates --------------------------------------------------------------------------------------------------------

// A process without its own package is told so in one way or another. The report keeps which way.
test('an update without package identity', { skip: onlyWindows('package deployment') }, async (t) => {
  const address = 'file:///C:/zebbridge-no-such-folder/application.msix';
  const { status, signal, output } = await runScript(
    `
    const updater = zebbridge.msix_auto_updater;
    updater.setErrorHandler((message) => console.log(JSON.stringify({ message })));
    updater.applyUpdate(${JSON.stringify(address)});`,
    { milliseconds: 120000, started: dismissing(t) },
  );
  note(t, 'exit code', `${hex(status)} ${signal ?? ''}`);
  note(t, 'output', output);
  assert.equal(signal, null, 'neither an answer nor an end in two minutes');
  assert.match(output, /message/);
});

// Closes the error box of a child if it shows one, and keeps the text.
const dismissing = (t) => async (child) => {
  while (child.exitCode === null && child.signalCode === null) {
    const [box] = desktop.windows(
      ({ process: id, className, visible }) => id === child.pid && visible && className === '#32770',
    );
    if (box) {
      note(
        t,
        'box',
        desktop
          .childrenOf(box.window)
          .map(({ text }) => text)
          .join(' | '),
      );
      addon.postMessage(box.window, 0x0010, 0);
    }
    await new Promise((resolve) => setTimeout(resolve, 50));
  }
};
