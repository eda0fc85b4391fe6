// The binding layer: what happens to a call's arguments.
'use strict';
const assert = require('node:assert/strict');
const test = require('node:test');
const { probe, thrownBy, assertError } = require('./support/probe');

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

// Texts are read in pieces, and the engine keeps a concatenated text as its parts.
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
