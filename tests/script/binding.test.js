'use strict';
const assert = require('node:assert/strict');
const test = require('node:test');
const { buildFile, collect } = require('./support/zebbridge');

const { probe, control, shutdown } = require(buildFile('node', 'binding-probe.node'));

// Whatever earlier tests left is collected before a test looks at ends.
function takeEnds() {
  collect();
  return control.wrappedEnds();
}

// Types as each platform's compiler spells them.
const struct = (name) => (process.platform === 'win32' ? `struct ${name}` : name);
const WRAPPED = struct('probe::Wrapped');

const FILE = 'src_native/common/include/common/v8binding/v8binding';
const MARSHAL = 'src_native/common/include/common/v8binding/v8marshal';
const UTILS = 'src_native/common/include/common/v8binding/v8utils';

// What a method throws into script for native failures: an Error of its own realm with a message and a stack, no more.
function thrownBy(call) {
  try {
    call();
  } catch (error) {
    return error;
  }
  throw new Error('nothing was thrown');
}

function assertError(call, message) {
  const error = thrownBy(call);
  assert.equal(Object.getPrototypeOf(error), Error.prototype);
  assert.equal(error.message, message);
  assert.deepEqual(Reflect.ownKeys(error).toSorted(), ['message', 'stack']);
}

test('too few arguments', () => {
  for (const [method, count] of [
    ['integer', 1],
    ['text', 1],
    ['two', 2],
    ['call', 3],
    ['mixed', 4],
  ]) {
    for (let given = 0; given < count; ++given) {
      assertError(() => probe[method](...Array(given).fill(1)), `Expected (${count}) arguments, but only (${given})`);
    }
  }
});

test('with too few arguments the method does not run', () => {
  const runs = probe.mixedRuns();
  assertError(() => probe.mixed(1, 2, '3'), 'Expected (4) arguments, but only (3)');
  assert.equal(probe.mixedRuns(), runs);
});

test('undefined is an argument like any other', () => {
  assert.equal(probe.two(undefined, undefined), `0 ${Buffer.from('undefined').toString('hex')}`);
});

test('arguments in excess are ignored', () => {
  const neverUsed = {
    valueOf() {
      throw new Error('used');
    },
    toString() {
      throw new Error('used');
    },
  };
  assert.equal(probe.two(7, 'x', neverUsed), '7 78');
  assert.equal(probe.nothing(neverUsed, neverUsed), undefined);
});

test('32-bit integers', () => {
  const cases = [
    [12, 12],
    [-12, -12],
    [0, 0],
    [-0, 0],
    ['12', 12],
    ['0x10', 16],
    [' 7 ', 7],
    ['', 0],
    ['x', 0],
    [3.9, 3],
    [-3.9, -3],
    [NaN, 0],
    [Infinity, -1],
    [-Infinity, 0],
    [null, 0],
    [undefined, 0],
    [true, 1],
    [[], 0],
    [[5], 5],
    [[5, 6], 0],
    [{}, 0],
    [() => 1, 0],
    [new Date(42), 42],
    [{ valueOf: () => 21.5 }, 21],
    [{ toString: () => '8' }, 8],
    [{ [Symbol.toPrimitive]: () => 99 }, 99],
    [2147483647, 2147483647],
    [-2147483648, -2147483648],
    [2147483648, -2147483648],
    [4294967295, -1],
    [4294967296, 0],
    [2 ** 40, 0],
    [2 ** 40 + 3, 3],
    [2 ** 53 + 2, 2],
    [1e300, -1],
    [-1e300, 0],
    [Number.MIN_VALUE, 0],
  ];
  for (const [value, expected] of cases) assert.equal(probe.integer(value), String(expected), String(value));
});

test('64-bit integers', () => {
  const cases = [
    [2 ** 40, '1099511627776'],
    [-(2 ** 40), '-1099511627776'],
    [2 ** 53, '9007199254740992'],
    [Infinity, '9223372036854775807'],
    [-Infinity, '-9223372036854775808'],
    [1e300, '9223372036854775807'],
    [NaN, '0'],
    [-1.5, '-1'],
    ['123456789012', '123456789012'],
  ];
  for (const [value, expected] of cases) assert.equal(probe.wideInteger(value), expected, String(value));
});

test('unsigned integers', () => {
  for (const [value, expected] of [
    [-1, '4294967295'],
    [4294967295, '4294967295'],
    [4294967296, '0'],
    ['7', '7'],
  ]) {
    assert.equal(probe.unsignedInteger(value), expected, String(value));
  }
});

test("truth is script's own", () => {
  const values = [
    true,
    false,
    'yes',
    'false',
    '0',
    '',
    0,
    -0,
    1,
    -1,
    0.5,
    NaN,
    256,
    2 ** 32,
    0n,
    1n,
    null,
    undefined,
    {},
    [],
    Symbol('s'),
    new Boolean(false),
    {
      valueOf() {
        throw new Error('asked');
      },
    },
  ];
  for (const value of values) assert.equal(probe.boolean(value), String(Boolean(value)), typeof value);
});

test('texts arrive as UTF-8 up to their first NUL', () => {
  const hex = (text) => Buffer.from(text).toString('hex');
  const cases = [
    ['', ''],
    ['a', '61'],
    ['a\0b', '61'],
    ['\0b', ''],
    ['grüß', hex('grüß')],
    ['👋', 'f09f918b'],
    ['\ud83d', 'eda0bd'],
    ['x\udc4by', '78edb18b79'],
    ['\uffff', 'efbfbf'],
    [12, hex('12')],
    [-0, hex('0')],
    [1e21, hex('1e+21')],
    [null, hex('null')],
    [undefined, hex('undefined')],
    [true, hex('true')],
    [10n, hex('10')],
    [[1, [2]], hex('1,2')],
    [{}, hex('[object Object]')],
    [{ toString: () => 'own' }, hex('own')],
    ['x'.repeat(100000), '78'.repeat(100000)],
    ['\ud83d\ud83d\udc4b\udc4b', 'eda0bdf09f918bedb18b'],
    ['\ud83d\0\udc4b', 'eda0bd'],
    ['\ud83d\u07ff\u0800', 'eda0bddfbfe0a080'],
    ['\u{10000}\u{10ffff}', 'f0908080f48fbfbf'],
  ];
  for (const [value, expected] of cases) assert.equal(probe.text(value), expected, String(value).slice(0, 40));
});

// Texts are read in pieces, and the engine keeps a text that was put together as its parts.
test('long texts and texts of parts arrive whole, wherever their characters fall', () => {
  const hex = (text) => Buffer.from(text).toString('hex');
  for (const before of [253, 254, 255, 256, 257, 511, 512, 4095]) {
    for (const [tail, expected] of [
      ['👋ü', hex('👋ü')],
      ['\ud83dü', `eda0bd${hex('ü')}`],
      ['\ud83d', 'eda0bd'],
      ['\udc4b', 'edb18b'],
      ['\ud83d\0x', 'eda0bd'],
      ['\0👋', ''],
    ]) {
      assert.equal(probe.text('x'.repeat(before) + tail), '78'.repeat(before) + expected, `${before}, ${expected}`);
    }
  }
  const half = (unit) => 'ä'.repeat(100) + String.fromCharCode(unit);
  assert.equal(
    probe.text(half(0xd83d) + String.fromCharCode(0xdc4b) + half(0xdc4b)),
    `${hex('ä'.repeat(100))}f09f918b${hex('ä'.repeat(100))}edb18b`,
  );
});

test('a text conversion that throws: the method does not run, and script sees the exception', () => {
  const thrown = new RangeError('own');
  for (const [value, expected] of [
    [Symbol('s'), { name: 'TypeError', message: 'Cannot convert a Symbol value to a string' }],
    [Object.create(null), { name: 'TypeError', message: 'Cannot convert object to primitive value' }],
    [
      {
        toString() {
          throw thrown;
        },
      },
      thrown,
    ],
  ]) {
    const runs = probe.mixedRuns();
    const error = thrownBy(() => probe.mixed(1, 1, value, null));
    if (expected === thrown) assert.equal(error, thrown);
    else assert.deepEqual({ name: error.name, message: error.message }, expected);
    assert.equal(probe.mixedRuns(), runs);
  }
  assert.throws(() => probe.text(Symbol('s')), { name: 'TypeError' });
});

test('an integer conversion that throws: the method runs with the default, then script sees the exception', () => {
  const thrown = new RangeError('own');
  for (const [value, expected] of [
    [1n, { name: 'TypeError', message: 'Cannot convert a BigInt value to a number' }],
    [Symbol('s'), { name: 'TypeError', message: 'Cannot convert a Symbol value to a number' }],
    [Object.create(null), { name: 'TypeError', message: 'Cannot convert object to primitive value' }],
    [
      {
        valueOf() {
          throw thrown;
        },
      },
      thrown,
    ],
  ]) {
    const runs = probe.mixedRuns();
    const error = thrownBy(() => probe.mixed(value, 1, 'text', null));
    if (expected === thrown) assert.equal(error, thrown);
    else assert.deepEqual({ name: error.name, message: error.message }, expected);
    assert.equal(probe.mixedRuns(), runs + 1);
  }
});

test('arguments are converted in order, all of them, and the first exception is the one that script sees', () => {
  const order = [];
  const failing = (name) => ({
    valueOf() {
      order.push(name);
      throw new Error(name);
    },
  });
  const text = {
    toString() {
      order.push('text');
      return 't';
    },
  };
  assert.equal(thrownBy(() => probe.mixed(failing('first'), failing('second'), text, null)).message, 'first');
  assert.deepEqual(order, ['first', 'second', 'text']);
});

test('the arguments that are there are converted before the missing one is reported', () => {
  const order = [];
  const failing = {
    valueOf() {
      order.push('first');
      throw new Error('never seen');
    },
  };
  const second = {
    valueOf() {
      order.push('second');
      return 2;
    },
  };
  assertError(() => probe.mixed(failing, second), 'Expected (4) arguments, but only (2)');
  assert.deepEqual(order, ['first', 'second']);
});

test('script thrown while nothing is wrong with the arguments stays usable', () => {
  assert.equal(probe.mixed('1', 2.5, '3', undefined), '1 2 33 none');
});

test('callbacks: null and undefined are none, everything else is kept', () => {
  for (const none of [null, undefined]) assert.equal(probe.mixed(0, 0, '', none), '0 0  none');
  for (const some of [() => {}, 0, false, '', 'text', {}, Symbol('s'), 1n, NaN]) {
    assert.equal(probe.mixed(0, 0, '', some), '0 0  callback');
  }
});

test('a callback is called with its arguments and undefined as receiver', () => {
  const calls = [];
  probe.call(
    function (...args) {
      calls.push([this, ...args]);
    },
    'grüß',
    3,
  );
  assert.deepEqual(calls, [
    [undefined, 'grüß', 0],
    [undefined, 'grüß', 1],
    [undefined, 'grüß', 2],
  ]);
});

test('what a callback throws is swallowed and later calls come all the same', () => {
  let calls = 0;
  probe.call(
    () => {
      ++calls;
      throw new Error('swallowed');
    },
    '',
    4,
  );
  assert.equal(calls, 4);
  probe.call(class Uncallable {}, '', 1);
});

test('values that are no functions are called in vain', () => {
  for (const value of [0, 'text', {}, Symbol('s'), 1n, true]) assert.equal(probe.call(value, '', 2), undefined);
});

test('functions of every kind are called', () => {
  const calls = [];
  probe.call(new Proxy(() => calls.push('proxy'), {}), '', 1);
  probe.call((() => calls.push('bound')).bind(null), '', 1);
  probe.call(async () => calls.push('async'), '', 1);
  probe.call({ call: (...all) => calls.push(all) }.call, '', 1);
  assert.deepEqual(calls, ['proxy', 'bound', 'async', ['', 0]]);
});

test('results of every kind', () => {
  assert.equal(probe.nothing(), undefined);
  assert.equal(probe.smallest(), -2147483648);
  assert.equal(probe.largest(), 4294967295);
  assert.equal(probe.truth(1), true);
  assert.equal(probe.truth(0), false);
  assert.equal(probe.utf8(), 'grüß 👋 \ufffd.');
  assert.equal(probe.classLevel(), 'class level');
});

test('a list of wide strings becomes an array', () => {
  assert.deepEqual(probe.list(0), []);
  assert.deepEqual(probe.list(3), ['0', '1', '2']);
  assert.equal(probe.list(1000).length, 1000);
  assert.notEqual(probe.list(1), probe.list(1));
  assert.deepEqual(probe.strangeTexts(), ['', 'a\0b', '👋', 'x\ud83d', '\udc4by', '\uffff']);
});

test('a record becomes a plain object, field by field', () => {
  const record = probe.record();
  assert.deepEqual(record, { first: 1, inner: { depth: -2, width: 3 }, last: 2147483647 });
  assert.deepEqual(Object.keys(record), ['first', 'inner', 'last']);
  assert.deepEqual(Object.keys(record.inner), ['depth', 'width']);
  assert.equal(Object.getPrototypeOf(record), Object.prototype);
  assert.deepEqual(Object.getOwnPropertyDescriptor(record, 'first'), {
    value: 1,
    writable: true,
    enumerable: true,
    configurable: true,
  });
  assert.notEqual(record, probe.record());
});

test("the module's exceptions arrive as their message alone", () => {
  assertError(() => probe.throwModuleException('only this'), 'only this');
  assertError(() => probe.throwModuleException(''), '');
  assertError(() => probe.throwModuleException('grüß 👋'), 'grüß 👋');
});

test('what script gets the message of alone was thrown where readers of dumps expect it', () => {
  assert.deepEqual(control.throwSites(), [
    'common::js_internal::initializeArguments::<lambda_1>::operator ()|' +
      'src_native/common/include/common/v8binding/v8binding|53',
    'zeb::HwComponentComponent::capturePointer|src_native/bridge/hwsupport_component|54',
  ]);
});

test('standard exceptions arrive as their own text', () => {
  assertError(() => probe.throwStandardException('standard'), 'standard');
  assertError(() => probe.throwBadAlloc(), 'std::bad_alloc');
});

test('whatever else is thrown is an assertion failure', () => {
  control.recordAssertions();
  assert.equal(probe.throwNumber(3), undefined);
  assert.deepEqual(control.takeAssertions(), [
    `common::js::getFunctionTemplate::<lambda_1>::operator ()|${FILE}|197|null|RUNTIME_FAILURE|Unexpected exception type`,
  ]);
});

test('a marshaller without a function is an assertion failure that names it', () => {
  control.recordAssertions();
  control.callEmptyMarshallers();
  const text = 'class std::basic_string<char,struct std::char_traits<char>,class std::allocator<char> >';
  assert.deepEqual(
    control.takeAssertions(),
    [
      `void,${struct('zeb::ButtonsEventData')}`,
      `void,${struct('zeb::MotionEventData')}`,
      `void,${text},int`,
      `void,${text} `,
    ].map(
      (types) =>
        `common::js::FunctionMarshaller<${types}>::invoke|${MARSHAL}|170|null|!m_funcRef.IsEmpty()|` +
        'Underlying js object handle is empty',
    ),
  );
});

test("the empty text is the engine's own", () => assert.equal(control.emptyTextsAreTheEngines(), true));

test('texts become strings with what is no UTF-8 replaced', () => {
  assert.equal(control.makeNarrow('grüß\u0007'), 'grüß\u0007');
  assert.equal(probe.utf8().codePointAt(8), 0xfffd);
});

test('a string that the engine does not make is an assertion failure', () => {
  control.recordAssertions();
  assert.equal(control.makeRefused('{0} grüß %1'), true);
  assert.deepEqual(control.takeAssertions(), [
    `common::js::makeStr|${UTILS}|28|null|maybeJsStr.ToLocal(&jsStr) && !jsStr.IsEmpty()|` +
      'Fail to allocate js string: ({0} grüß %1)',
    `common::js::makeStr|${UTILS}|56|null|jsStr.IsEmpty()|Fail to allocate js string:{0} grüß %1`,
  ]);
});

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

test('what the engine throws when it does not make a wrapper, script sees after the record', () => {
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
  const { diagnostics } = require(buildFile('node', 'binding-probe.node'));
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

// The last test: it takes the components away.
test('a component that a method of it releases ends when the method has returned', () => {
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
