// The binding layer: native objects as script objects, from start to end.
'use strict';
const assert = require('node:assert/strict');
const test = require('node:test');
const { probe, control, diagnostics, shutdown, takeEnds, WRAPPED } = require('./support/probe');

const FILE = 'src_native/common/include/common/v8binding/v8binding';

test('an empty native object gives undefined and one record', () => {
  control.recordLog();
  for (const kind of [0, 17]) {
    control.takeLog();
    assert.equal(probe.wrapped(kind), undefined);
    assert.deepEqual(control.takeLog(), [
      `2|common::js::toValue|${FILE}|293|Return null instance where expected ComPtr<${WRAPPED}>`,
    ]);
  }
});

test('a wrapper that the engine does not make: undefined, one record, the object released', () => {
  control.recordLog();
  control.takeLog();
  takeEnds();
  control.refuseInstances(true);
  try {
    assert.equal(probe.wrapped(1), undefined);
  } finally {
    control.refuseInstances(false);
  }
  assert.deepEqual(control.takeLog(), [
    `2|common::js::toValue|${FILE}|321|` + `Fail to create object-wrapper for types instance:  ComPtr<${WRAPPED}>`,
  ]);
  assert.deepEqual(control.wrappedEnds(), ['destroy outside']);
});

test('script sees what the engine throws when it makes no wrapper, after the log record', () => {
  control.recordLog();
  control.takeLog();
  takeEnds();
  control.refuseInstances(true, true);
  try {
    assert.throws(() => probe.wrapped(1), { name: 'RangeError', message: 'refused' });
  } finally {
    control.refuseInstances(false);
  }
  assert.equal(control.takeLog().length, 1);
  assert.deepEqual(control.wrappedEnds(), ['destroy outside']);
});

test('a wrapper ends its object when it is collected', () => {
  takeEnds();
  assert.equal(probe.wrapped(1).value(), 1);
  assert.deepEqual(takeEnds(), ['destroy inside']);
});

test('a wrapper in use keeps its object', () => {
  const kept = probe.wrapped(1);
  assert.deepEqual(takeEnds(), []);
  assert.equal(kept.value(), 1);
});

test('a disposable object is disposed before it is released, both inside the weak callback', () => {
  takeEnds();
  assert.equal(probe.wrapped(3).value(), 3);
  assert.deepEqual(takeEnds(), ['dispose inside', 'destroy inside']);
});

test('a record written inside a weak callback does not reach script', () => {
  const records = [];
  diagnostics.setLogHandler((...record) => records.push(record));
  takeEnds();
  probe.wrapped(3);
  assert.deepEqual(takeEnds(), ['dispose inside', 'destroy inside']);
  control.writeLog(2, 'outside');
  assert.deepEqual(records, [['outside', 2]]);
  diagnostics.setLogHandler(null);
});

test('without V8WeakReferenceHolder: one record, and the object outlives its wrapper', () => {
  control.recordLog();
  control.takeLog();
  takeEnds();
  assert.equal(probe.wrapped(2).value(), 2);
  assert.deepEqual(control.takeLog(), [
    `2|common::js::toValue|${FILE}|315|(${WRAPPED}) does not expose ` +
      'js::V8WeakReferenceHolder api, so underlying native object will never been destroyed',
  ]);
  assert.deepEqual(takeEnds(), []);
});

test('wrappers have one internal field with their object', () => {
  const wrapper = probe.wrapped(3);
  assert.deepEqual(Object.keys(wrapper), ['value']);
  const { refCount, fields, counting, interfaces } = control.inspect(wrapper);
  assert.deepEqual(
    { refCount, fields, counting, interfaces },
    {
      refCount: 1,
      fields: 1,
      counting: 'StrictSingleThreadRC',
      interfaces: ['IAnything', 'IRefCounted', 'common::Disposable', 'common::js::V8WeakReferenceHolder'],
    },
  );
});

test('properties set by hostile scripts are not called for records and arrays', () => {
  const fail = {
    set() {
      throw new Error('setter called');
    },
    configurable: true,
  };
  Object.defineProperty(Object.prototype, 'first', fail);
  Object.defineProperty(Array.prototype, '0', fail);
  try {
    assert.equal(probe.record().first, 1);
    assert.equal(probe.list(1)[0], '0');
  } finally {
    delete Object.prototype.first;
    delete Array.prototype[0];
  }
});

// The last test, because it takes the components away.
test('a component that is released by its own method ends when the method has returned', () => {
  const ended = control.endedProbes();
  assert.equal(
    probe.endedBy(() => {
      shutdown();
      assert.equal(control.endedProbes(), ended);
    }),
    0,
  );
  assert.equal(control.endedProbes(), ended + 1);
  assert.throws(() => probe.nothing(), { name: 'TypeError' });
});
