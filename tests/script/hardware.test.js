'use strict';
const assert = require('node:assert/strict');
const test = require('node:test');
const { zebbridge } = require('./support/zebbridge');
const { runScript } = require('./support/processes');
const { until } = require('./support/until');
const desktop = require('./support/desktop');

const { hardware } = zebbridge;
const { addon, mouse, MOUSE, KEY, skip } = desktop;

const BUTTONS = {
  left: [KEY.left, MOUSE.leftDown, MOUSE.leftUp],
  middle: [KEY.middle, MOUSE.middleDown, MOUSE.middleUp],
  right: [KEY.right, MOUSE.rightDown, MOUSE.rightUp],
};

// Holds one physical button during a call.
async function holding(button, call) {
  const [key, down, up] = BUTTONS[button];
  mouse(down);
  try {
    await until(`${button} is down`, () => addon.keyDown(key));
    return await call();
  } finally {
    mouse(up);
    await until(`${button} is up`, () => !addon.keyDown(key));
  }
}

// Which physical button "getButtonState" consulted for each value: the one that alone makes it true.
async function consulted(values, component = hardware) {
  const answers = values.map(() => []);
  for (const button of Object.keys(BUTTONS)) {
    await holding(button, () =>
      values.forEach((value, index) => {
        const state = component.getButtonState(value);
        assert.equal(typeof state, 'boolean');
        if (state) answers[index].push(button);
      }),
    );
  }
  return answers.map((buttons) => buttons.join('+'));
}

desktop.forAllTestsOf(test);

test('getButtonState without an argument', () => {
  assert.throws(() => hardware.getButtonState(), {
    constructor: Error,
    message: 'Expected (1) arguments, but only (0)',
  });
});

test('no button is down', () => {
  for (const button of [0, 1, 2, 7, -1]) assert.equal(hardware.getButtonState(button), false);
});

test('0 is left, 1 middle, 2 right', { skip }, async () => {
  assert.deepEqual(await consulted([0, 1, 2]), ['left', 'middle', 'right']);
});

test('any other number is the physical primary button', { skip }, async () => {
  const others = [7, -1, 3, 100, 2147483647, -2147483648, Infinity];
  assert.deepEqual(
    await consulted(others),
    others.map(() => 'left'),
  );
});

test('arguments are converted as the engine converts to integers', { skip }, async () => {
  const cases = [
    ['1', 'middle'],
    ['2', 'right'],
    [1.9, 'middle'],
    [2.999, 'right'],
    [-0.5, 'left'],
    [true, 'middle'],
    [false, 'left'],
    [null, 'left'],
    [undefined, 'left'],
    [NaN, 'left'],
    ['button', 'left'],
    [{}, 'left'],
    [[2], 'right'],
    [{ valueOf: () => 1 }, 'middle'],
    [-Infinity, 'left'],
    [2 ** 32 + 1, 'middle'],
    [2 ** 40, 'left'],
    [2 ** 40 + 2, 'right'],
    [{ [Symbol.toPrimitive]: () => '2' }, 'right'],
  ];
  assert.deepEqual(
    await consulted(cases.map(([value]) => value)),
    cases.map(([, button]) => button),
  );
});

test('the first argument alone counts', { skip }, async () => {
  await holding('middle', () => {
    assert.equal(
      hardware.getButtonState(1, 0, {
        valueOf() {
          throw new Error('used');
        },
      }),
      true,
    );
  });
});

test('values without a number throw what their conversion throws', () => {
  const own = new Error('own');
  assert.throws(() => hardware.getButtonState(1n), { name: 'TypeError', message: /BigInt/ });
  assert.throws(() => hardware.getButtonState(Symbol('button')), { name: 'TypeError', message: /Symbol/ });
  assert.throws(
    () =>
      hardware.getButtonState({
        valueOf() {
          throw own;
        },
      }),
    (error) => error === own,
  );
});

test('two buttons at once', { skip }, async () => {
  await holding('left', () =>
    holding('right', () => {
      assert.deepEqual(
        [0, 1, 2].map((button) => hardware.getButtonState(button)),
        [true, false, true],
      );
    }),
  );
});

test("the system's swapped buttons", { skip }, async (t) => {
  t.after(() => desktop.swapButtons(false));

  await t.test('are not known before a capture has run', async () => {
    await desktop.swapButtons(true);
    assert.deepEqual(await consulted([0, 1, 2, 7]), ['left', 'middle', 'right', 'left']);
  });

  const capture = hardware.capturePointer();
  await t.test('are read when a capture starts', async () => {
    await desktop.startCapturing(capture);
    assert.deepEqual(await consulted([0, 1, 2]), ['right', 'middle', 'left']);
  });

  await t.test('do not affect numbers that name no button', async () => {
    assert.deepEqual(await consulted([7, -1]), ['left', 'left']);
  });

  await t.test('are followed while a capture runs', async () => {
    await holding('left', async () => {
      assert.equal(hardware.getButtonState(2), true);
      addon.swapButtons(false);
      await until('the module has heard of it', () => hardware.getButtonState(0));
      addon.swapButtons(true);
      await until('the module has heard of it', () => hardware.getButtonState(2));
    });
  });

  await t.test('stay as the last capture saw them', async () => {
    capture.stopCapturing();
    await desktop.swapButtons(false);
    assert.deepEqual(await consulted([0, 1, 2]), ['right', 'middle', 'left']);
    await desktop.startCapturing(capture);
    capture.stopCapturing();
    assert.deepEqual(await consulted([0, 1, 2]), ['left', 'middle', 'right']);
  });
});

test('without memory for a driver, capturePointer throws', async () => {
  const { status, stdout, stderr } = await runScript(`
    const { hardware, control } = require(buildFile('node', 'binding-probe.node'));
    control.recordLog();
    control.limitAllocations(0);
    for (let attempt = 0; attempt < 2; ++attempt) {
      try { hardware.capturePointer(); } catch (error) { console.log(error.constructor === Error, error.message); }
    }
    control.limitAllocations(1);
    console.log(hardware.capturePointer());
    control.unlimitAllocations();
    console.log(typeof hardware.capturePointer().startCapturing);
    console.log(control.takeLog().join('\\n'));
  `);
  assert.equal(stderr, '');
  assert.deepEqual(stdout.trim().split('\n'), [
    'true Fail to create raw input driver',
    'true Fail to create raw input driver',
    'undefined',
    'function',
    '2|common::js::toValue|src_native/common/include/common/v8binding/v8binding|293|' +
      'Return null instance where expected ComPtr<struct zeb::PointerCapture>',
    '0|zeb::PointerCaptureImpl::PointerCaptureImpl|src_native/bridge/pointercapture|20|Native: capture pointer',
  ]);
  assert.equal(status, 0);
});
