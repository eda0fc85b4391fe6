'use strict';
const assert = require('node:assert/strict');
const test = require('node:test');
const declared = require('./support/declared');
const { zebbridge, buildFile } = require('./support/zebbridge');

const { control } = require(buildFile('node', 'binding-probe.node'));

// The exports whose classes the probe knows. Each answers to its own class and no other.
const CLASSES = {
  crash_emitter: 'zeb::CrashEmitter',
  diagnostics: 'zeb::DiagnosticsComponent',
  hardware: 'zeb::HwComponentComponent',
};

const FURTHER_INTERFACES = { msix_auto_updater: ['common::Disposable'] };

const BEHIND = { fields: 1, external: true, released: false, isRefCounted: true, refCount: 1 };

// Up to Node.js 24, V8 gives every native function these two; later it gives it neither.
const OF_THE_ENGINE = ['arguments', 'caller'];

const ordinary = (value) => ({ value, writable: true, enumerable: true, configurable: true });

function assertMethod(owner, name) {
  assert.deepEqual(Object.getOwnPropertyDescriptor(owner, name), ordinary(owner[name]));
  assert.equal(typeof owner[name], 'function');
  assert.equal(owner[name].name, name);
  assert.equal(owner[name].length, 0);
  const names = Object.getOwnPropertyNames(owner[name]).filter((each) => !OF_THE_ENGINE.includes(each));
  assert.deepEqual(names.sort(), ['length', 'name', 'prototype']);
}

test('the exports are the declared components and shutdown, in the same order', () => {
  assert.deepEqual(Reflect.ownKeys(zebbridge), [...Object.keys(declared.components), 'shutdown']);
  for (const name of Object.keys(declared.components)) {
    assert.deepEqual(Object.getOwnPropertyDescriptor(zebbridge, name), ordinary(zebbridge[name]));
    assert.equal(typeof zebbridge[name], 'object');
  }
  assertMethod(zebbridge, 'shutdown');
});

for (const [name, methods] of Object.entries(declared.components)) {
  test(`${name} has exactly its declared methods`, () => {
    const component = zebbridge[name];
    assert.deepEqual(Reflect.ownKeys(component), methods);
    assert.equal(Object.getPrototypeOf(Object.getPrototypeOf(component)), Object.prototype);
    assert.deepEqual(Reflect.ownKeys(Object.getPrototypeOf(component)), ['constructor']);
    for (const method of methods) assertMethod(component, method);
  });

  test(`${name} carries its native object in one internal field`, () => {
    assert.deepEqual(control.inspect(zebbridge[name]), {
      ...BEHIND,
      counting: 'SingleThreadRC',
      interfaces: ['IAnything', 'IRefCounted', 'zeb::Component', ...(FURTHER_INTERFACES[name] ?? [])],
      classes: CLASSES[name] ? [CLASSES[name]] : [],
    });
  });
}

test('a capture object has exactly its declared methods and one internal field', () => {
  const capture = zebbridge.hardware.capturePointer();
  assert.deepEqual(Reflect.ownKeys(capture), declared.capture);
  for (const method of declared.capture) assertMethod(capture, method);
  assert.deepEqual(control.inspect(capture), {
    ...BEHIND,
    counting: 'StrictSingleThreadRC',
    interfaces: ['IAnything', 'IRefCounted', 'zeb::PointerCapture', 'common::js::V8WeakReferenceHolder'],
    classes: ['zeb::PointerCaptureImpl'],
  });
});

test('each capture is an object of its own', () => {
  const { hardware } = zebbridge;
  const [first, second] = [hardware.capturePointer(), hardware.capturePointer()];
  assert.notEqual(first, second);
  assert.notEqual(first.startCapturing, second.startCapturing);
});

test('methods without a result give undefined', () => {
  const capture = zebbridge.hardware.capturePointer();
  assert.equal(capture.setMotionEventCallback(null), undefined);
  assert.equal(capture.setButtonsEventCallback(null), undefined);
  assert.equal(capture.stopCapturing(), undefined);
  assert.equal(zebbridge.diagnostics.setLogHandler(null), undefined);
});

test('a component under an empty name', () => {
  const probe = require(buildFile('node', 'binding-probe.node'));
  assert.ok(Object.hasOwn(probe, ''));
  assert.deepEqual(Object.keys(probe['']), declared.components.crash_emitter);
});

// The last test, because it takes the module's components away.
test('shutdown gives undefined, ignores arguments, and may be called again', () => {
  assert.equal(zebbridge.shutdown(1, {}, Symbol('ignored')), undefined);
  assert.equal(zebbridge.shutdown(), undefined);
  assert.equal(zebbridge.shutdown.call(undefined), undefined);
  for (const name of Object.keys(zebbridge)) {
    if (name === 'shutdown') continue;
    assert.deepEqual(control.inspect(zebbridge[name]), { fields: 1, external: true, released: true });
  }
});
