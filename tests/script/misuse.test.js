'use strict';
const assert = require('node:assert/strict');
const test = require('node:test');
const vm = require('node:vm');
const { zebbridge, buildFile } = require('./support/zebbridge');

const { control, probe } = require(buildFile('node', 'binding-probe.node'));
const { hardware, diagnostics, crash_emitter: crashEmitter, windows, msix_auto_updater: updater } = zebbridge;

const ILLEGAL = { name: 'TypeError', message: 'Illegal invocation' };
const capture = hardware.capturePointer();

// Methods with enough arguments, so that only the receiver is wrong. None of them would be harmless if it ran.
const methods = [
  ...Object.values(crashEmitter).map((method) => [method]),
  [diagnostics.setLogHandler, () => {}],
  [hardware.getButtonState, 0],
  [hardware.capturePointer],
  ...Object.values(capture).map((method) => [method, () => {}]),
  ...Object.values(windows).map((method) => [method, '', 0, 0, 0, 0, 0]),
  ...Object.values(updater).map((method) => [method, '', '', '', 0]),
].map(([method, ...args]) => ({ method, args }));

const strangers = {
  nothing: undefined,
  null: null,
  'a number': 1,
  'a text': 'text',
  'a symbol': Symbol('receiver'),
  'a plain object': {},
  'an object without a prototype': Object.create(null),
  'an array': [],
  'a function': () => {},
  'the exports': zebbridge,
  'the global object': globalThis,
  'a proxy of a component': new Proxy(hardware, {}),
  'a proxy of a capture': new Proxy(capture, {}),
  'an object that inherits from a component': Object.create(hardware),
  'an object of the runtime': new MessageChannel().port1,
  'another object of the runtime': new vm.Script(''),
  'a buffer': Buffer.alloc(8),
  'a component of another module': probe,
  'an object with an empty field': control.stranger('empty'),
  'an object with a number in its field': control.stranger('number'),
  'an object with an unknown pointer': control.stranger('external'),
  'an object with a pointer that is not an External': control.stranger('aligned pointer'),
  'an object with two fields': control.stranger('two fields'),
};

for (const [name, stranger] of Object.entries(strangers)) {
  test(`no method accepts ${name}`, () => {
    for (const { method, args } of methods) {
      assert.throws(() => Reflect.apply(method, stranger, args), ILLEGAL, method.name);
    }
  });
}

test('no method accepts an object of another class', () => {
  const objects = [crashEmitter, diagnostics, hardware, windows, updater, capture];
  for (const owner of objects) {
    for (const method of Object.values(owner)) {
      const { args } = methods.find((entry) => entry.method === method);
      for (const other of objects) {
        if (other !== owner) assert.throws(() => Reflect.apply(method, other, args), ILLEGAL, method.name);
      }
    }
  }
});

test('no method is a constructor of anything', () => {
  for (const { method, args } of methods) {
    assert.throws(() => new method(...args), ILLEGAL, method.name);
    assert.throws(() => Reflect.construct(method, args, hardware.constructor), ILLEGAL, method.name);
    class Derived extends method {}
    assert.throws(() => new Derived(...args), ILLEGAL, method.name);
  }
});

test('detached methods', () => {
  const { getButtonState, capturePointer } = hardware;
  const { startCapturing } = capture;
  assert.throws(() => getButtonState(0), ILLEGAL);
  assert.throws(() => (0, capturePointer)(), ILLEGAL);
  assert.throws(() => [1].forEach(startCapturing), ILLEGAL);
  assert.throws(() => Promise.resolve().then.call(startCapturing), TypeError);
});

test('bound methods, and methods of one object applied to another of its class, are ordinary calls', () => {
  const [first, second] = [hardware.capturePointer(), hardware.capturePointer()];
  assert.equal(first.stopCapturing.call(second), undefined);
  assert.equal(hardware.getButtonState.bind(hardware, 0)(), false);
  const renamed = { ...hardware };
  assert.throws(() => renamed.getButtonState(0), ILLEGAL);
});

test('an object that was given another prototype is still itself', () => {
  const changed = hardware.capturePointer();
  Object.setPrototypeOf(changed, null);
  assert.equal(changed.stopCapturing(), undefined);
  Object.freeze(changed);
  assert.equal(changed.stopCapturing(), undefined);
});

test('arguments are looked at before the receiver', () => {
  assert.throws(() => hardware.getButtonState.call({}), {
    name: 'Error',
    message: 'Expected (1) arguments, but only (0)',
  });
});

test('errors belong to the context of the function', () => {
  const error = vm.runInNewContext('try { method.call({}) } catch (error) { error }', {
    method: hardware.capturePointer,
  });
  assert.ok(error instanceof TypeError);
});

test('a receiver that vanishes while its arguments are read', () => {
  const other = require(buildFile('node', 'binding-probe.node'));
  assert.throws(
    () =>
      other.probe.mixed(
        {
          valueOf() {
            other.shutdown();
            return 1;
          },
        },
        2,
        '3',
        null,
      ),
    { name: 'TypeError', message: 'Illegal invocation: shutdown() has released this object' },
  );
});

// The last test, because it takes the module's components away.
test('after shutdown a component says so, and a capture object goes on', () => {
  zebbridge.shutdown();
  const released = { name: 'TypeError', message: 'Illegal invocation: shutdown() has released this object' };
  for (const owner of [crashEmitter, diagnostics, hardware, windows, updater]) {
    for (const method of Object.values(owner)) {
      const { args } = methods.find((entry) => entry.method === method);
      assert.throws(() => Reflect.apply(method, owner, args), released, method.name);
      assert.throws(() => Reflect.apply(method, {}, args), ILLEGAL, method.name);
    }
  }
  assert.throws(() => hardware.getButtonState(), { name: 'Error', message: 'Expected (1) arguments, but only (0)' });
  assert.equal(
    capture.setMotionEventCallback(() => {}),
    undefined,
  );
  assert.equal(capture.stopCapturing(), undefined);
});
