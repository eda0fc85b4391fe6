// "windows": the services of the Windows desktop, each with the arguments that reach the system.
'use strict';
const { test, describe, before, after, beforeEach } = require('node:test');
const assert = require('node:assert');
const path = require('node:path');
const { zebbridge } = require('./support/zebbridge');
const { winrt, system, registry, windows, imports } = require('./support/standins');
const desktop = require('./support/desktop');
const { TERMINATED, startScript } = require('./support/processes');
const { until } = require('./support/until');

const component = zebbridge.windows;

// What system calls received and returned, seen from inside the module.
imports.watch();
beforeEach(() => imports.take());
const message = (code) => ({ name: 'Error', message: system.text(code), code });

test('all that is watched is there', () => assert.strictEqual(imports.watch(), 4));

describe('registerApplicationRestart', () => {
  test('asks for a restart without arguments, after anything', () => {
    assert.strictEqual(component.registerApplicationRestart(), undefined);
    assert.deepStrictEqual(imports.take(), [{ call: 'RegisterApplicationRestart', commandLineIsNull: true, flags: 0 }]);
  });

  test('never fails, whatever the system says', () => {
    imports.answer('RegisterApplicationRestart', -2147024809);
    assert.strictEqual(component.registerApplicationRestart('--ignored', {}), undefined);
    assert.strictEqual(imports.take().length, 1);
  });
});

describe('getWindowsUpdateBuildRevision', () => {
  const read = () => component.getWindowsUpdateBuildRevision();
  after(() => registry.removeUpdateRevision());

  test('gives the number in the registry', () => {
    for (const revision of [4291, 0, 1, 0x7fffffff, 0x80000000, 0xffffffff]) {
      registry.setUpdateRevision(revision);
      assert.strictEqual(read(), revision);
    }
  });

  test('asks for one value, a number of 32 bits', () => {
    registry.setUpdateRevision(4291);
    read();
    assert.deepStrictEqual(imports.take(), [
      {
        call: 'RegGetValueW',
        localMachine: true,
        path: 'SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion',
        name: 'UBR',
        flags: 16,
        typeWanted: false,
        size: 4,
      },
    ]);
  });

  test('a missing value is an error with the text of the system', () => {
    registry.removeUpdateRevision();
    assert.notStrictEqual(system.text(2), '');
    assert.throws(read, message(2));
  });

  test('so is a value of another type', () => {
    registry.setUpdateRevisionText('4291');
    assert.throws(read, message(1630));
  });

  test('the code that the call gives decides, not the last error', () => {
    imports.answer('RegGetValueW', 5, 2);
    assert.throws(read, message(5));
  });
});

describe('setWindowPlacement', { skip: desktop.skip }, () => {
  const place = (...values) => component.setWindowPlacement(...values);
  const SHOW = { normal: 1, minimised: 2, maximised: 3, restore: 9 };
  const rectangle = { left: 150, top: 120, right: 650, bottom: 520 };
  const values = Object.values(rectangle);
  let window;
  before(() => {
    window = windows.open();
  });
  after(() => windows.close(window));

  test('moves a window', async () => {
    assert.strictEqual(place(window, ...values, SHOW.normal), undefined);
    assert.deepStrictEqual(windows.placement(window).normal, rectangle);
    await until('the window has moved', () => windows.state(window).rectangle.left !== 100);
    const { visible, minimised, maximised } = windows.state(window);
    assert.deepStrictEqual([visible, minimised, maximised], [true, false, false]);
  });

  test('minimises it, maximises it and brings it back', () => {
    place(window, ...values, SHOW.minimised);
    assert.ok(windows.state(window).minimised);
    assert.strictEqual(windows.placement(window).showCommand, SHOW.minimised);
    assert.deepStrictEqual(windows.placement(window).normal, rectangle);
    place(window, ...values, SHOW.restore);
    assert.ok(!windows.state(window).minimised);
    place(window, ...values, SHOW.maximised);
    assert.ok(windows.state(window).maximised);
    place(window, ...values, SHOW.normal);
    assert.strictEqual(windows.placement(window).showCommand, SHOW.normal);
    assert.deepStrictEqual(windows.placement(window).normal, rectangle);
  });

  test('only the rectangle and the show command change in the record', () => {
    place(window, ...values, SHOW.minimised);
    place(window, ...values, SHOW.normal);
    const { flags, minimised, maximised } = windows.placement(window);
    imports.take();
    place(window, 10, 20, 310, 220, SHOW.normal);
    const [read, written] = imports.take();
    assert.strictEqual(read.call, 'GetWindowPlacement');
    assert.strictEqual(read.length, 0); // as it is in memory: the system does not look at it
    assert.deepStrictEqual(written, {
      window,
      length: 44,
      flags,
      showCommand: SHOW.normal,
      minimisedX: minimised.x,
      minimisedY: minimised.y,
      maximisedX: maximised.x,
      maximisedY: maximised.y,
      left: 10,
      top: 20,
      right: 310,
      bottom: 220,
      call: 'SetWindowPlacement',
    });
  });

  test('numbers arrive whole', () => {
    imports.answer('GetWindowPlacement', 1);
    imports.answer('SetWindowPlacement', 1);
    place(0x123456789ab, '12', 3.9, -2147483648, 2147483647, -1);
    const [read, written] = imports.take();
    assert.strictEqual(read.window, 0x123456789ab);
    assert.strictEqual(written.window, 0x123456789ab);
    assert.deepStrictEqual(
      [written.left, written.top, written.right, written.bottom, written.showCommand],
      [12, 3, -2147483648, 2147483647, 0xffffffff],
    );
  });

  test('a handle that is not a window changes nothing', () => {
    const dead = windows.open();
    windows.close(dead);
    for (const handle of [dead, 0, 0x7ffffff0]) {
      assert.throws(() => place(handle, ...values, SHOW.normal), message(1400));
    }
    assert.deepStrictEqual(
      imports.take().map(({ call }) => call),
      Array(3).fill('GetWindowPlacement'),
    );
  });

  test('a placement that cannot be written is an error', () => {
    imports.answer('SetWindowPlacement', 0, 87);
    const before = windows.placement(window);
    assert.throws(() => place(window, 1, 2, 3, 4, SHOW.normal), message(87));
    assert.deepStrictEqual(windows.placement(window), before);
    imports.answer('GetWindowPlacement', 0, 5);
    assert.throws(() => place(window, 1, 2, 3, 4, SHOW.normal), message(5));
  });

  test('wants six arguments', () => {
    for (let count = 0; count < 6; ++count) {
      assert.throws(() => place(...Array(count).fill(0)), {
        name: 'Error',
        message: `Expected (6) arguments, but only (${count})`,
      });
    }
    assert.deepStrictEqual(imports.take(), []);
  });
});

describe('openExternalIgnoringAppLinking', () => {
  const open = (...url) => component.openExternalIgnoringAppLinking(...url);
  before(() => winrt.install());
  beforeEach(() => winrt.configure());
  after(() => winrt.uninstall());

  test('launches the address past the applications that claim it', () => {
    assert.strictEqual(open('https://example.com/a?b=%20c#d'), undefined);
    const { uris, options, launches } = winrt.records();
    assert.deepStrictEqual(
      uris.map(({ text }) => text),
      ['https://example.com/a?b=%20c#d'],
    );
    assert.deepStrictEqual(options, [{ ignoreAppUriHandlers: true }]);
    assert.deepStrictEqual(launches, [
      {
        uri: 'https://example.com/a?b=%20c#d',
        uriIsDefaultInterface: true,
        optionsAreDefaultInterface: true,
        ignoreAppUriHandlers: true,
        thread: system.threadId(),
        result: 0,
      },
    ]);
  });

  test('releases everything except the factories', () => {
    open('mailto:someone@example.com');
    const live = winrt.live();
    for (const name of ['Uri', 'LauncherOptions', 'LaunchOperation']) assert.ok(!(name in live), name);
  });

  test('asks for each factory once', () => {
    open('https://example.com/1');
    winrt.configure();
    open('https://example.com/2');
    const { activations, launches } = winrt.records();
    assert.strictEqual(launches.length, 1);
    assert.deepStrictEqual(activations, []);
  });

  test('text arrives as UTF-16', () => {
    open('https://example.com/\u00e9\u20ac\u{1f600}');
    open('https://example.com/a\0b');
    open({ toString: () => 'tel:1' });
    assert.deepStrictEqual(
      winrt.records().launches.map(({ uri }) => uri),
      ['https://example.com/\u00e9\u20ac\u{1f600}', 'https://example.com/a', 'tel:1'],
    );
  });

  test('wants an argument', () => {
    assert.throws(() => open(), { name: 'Error', message: 'Expected (1) arguments, but only (0)' });
    for (const value of [Symbol('s'), Object.create(null)]) assert.throws(() => open(value), TypeError);
    assert.deepStrictEqual(winrt.records().launches, []);
  });

  test('an exception of the standard library is a script error', () => {
    winrt.configure({ launch: { code: -2147024882 } });
    assert.throws(() => open('https://example.com'), Error);
  });

  // Script could not handle a failing call of the Windows Runtime: the assertion's box appears, and the process ends.
  describe('what the runtime refuses ends the process', { skip: desktop.skip }, () => {
    const cases = {
      'a text that is not an address': ['not an address', {}],
      'the empty text': ['', {}],
      'no Uri class': ['https://example.com', { activation: { Uri: { code: -2147221164 } } }],
      'no launcher options': ['https://example.com', { instance: { LauncherOptions: { code: -2147467259 } } }],
      'no third interface of the options': ['https://example.com', { options3: false }],
      'an option that cannot be set': ['https://example.com', { options: -2147467259 }],
      'a launch that cannot start': ['https://example.com', { launch: { code: -2147024891, reason: 'Denied.' } }],
    };
    for (const [name, [url, configuration]] of Object.entries(cases)) {
      test(name, async () => {
        const child = startScript(`
          const { winrt } = require(${JSON.stringify(path.join(__dirname, 'support', 'standins.js'))});
          winrt.configure(${JSON.stringify(configuration)});
          zebbridge.windows.openExternalIgnoringAppLinking(${JSON.stringify(url)});
          console.log('went on');`);
        const box = await until(
          'the box',
          () =>
            desktop.windows(
              ({ process, visible, className, window }) =>
                process === child.pid && visible && className === '#32770' && desktop.textOf(window) === 'FAILURE',
            )[0],
        );
        const report = desktop
          .childrenOf(box.window)
          .map(({ text }) => text)
          .join('\n');
        assert.match(report, /ASSERTION FAILURE: RUNTIME_FAILURE/);
        assert.match(report, /v8binding\(197\):Unexpected exception type/);
        desktop.addon.postMessage(box.window, 0x0010 /* WM_CLOSE */, 0);
        const { status, stdout } = await child.ended;
        assert.strictEqual(status, TERMINATED);
        assert.strictEqual(stdout, '');
      });
    }
  });
});
