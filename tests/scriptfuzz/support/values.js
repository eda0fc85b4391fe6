// Every kind of script value that a call can receive, as hostile as script can be.
'use strict';
const vm = require('node:vm');

const NUMBERS = [
  0,
  -0,
  1,
  2,
  3,
  7,
  -1,
  3.9,
  -3.9,
  NaN,
  Infinity,
  -Infinity,
  2 ** 31,
  2 ** 31 - 1,
  -(2 ** 31),
  2 ** 32,
  2 ** 40,
  2 ** 53,
  -(2 ** 63),
  2 ** 63,
  1e300,
  Number.MIN_VALUE,
];
const TEXTS = [
  '',
  'a',
  '12',
  'a\0b',
  '\0',
  '\ud800',
  '\udfff\ud800',
  '\u20ac\u{1f600}',
  'x'.repeat(70000),
  '-1',
  'NaN',
  '<QueryList/>',
  '*',
  'https://example.com/a.msix',
  '\uffff',
  '\u0080\u00ff',
];
const BIGINTS = [0n, 1n, -1n, 2n ** 64n, -(2n ** 200n)];

const otherRealm = vm.createContext({});
const foreign = (source) => vm.runInContext(source, otherRealm);

// `call` runs something of the fuzzer's, for values whose conversion runs script.
function makeValues(random, call, objects) {
  const thrower = () => {
    throw random.of([new Error('own'), 1, null, undefined, Symbol('own'), foreign('new Error("foreign")')]);
  };
  const behaviour = () =>
    random.weighted([
      [4, () => random.of(NUMBERS)],
      [2, () => random.of(TEXTS)],
      [2, thrower],
      [3, () => call()],
      [1, () => ({})],
      [1, () => Symbol('result')],
      [1, () => 5n],
      [
        1,
        function recurse() {
          recurse();
        },
      ],
    ]);
  const traps = () => new Proxy({}, { get: () => (random.chance(30) ? (...args) => behaviour()(...args) : undefined) });

  const kinds = [
    [6, () => random.of(NUMBERS)],
    [4, () => random.of(TEXTS)],
    [2, () => undefined],
    [2, () => null],
    [1, () => random.chance(50)],
    [1, () => random.of(BIGINTS)],
    [1, () => random.of([Symbol('own'), Symbol.iterator, Symbol.toPrimitive])],
    [4, () => ({ valueOf: behaviour(), toString: behaviour() })],
    [2, () => ({ [Symbol.toPrimitive]: random.chance(80) ? behaviour() : 1 })],
    [
      2,
      () => ({
        get valueOf() {
          return behaviour()();
        },
        get toString() {
          return behaviour()();
        },
      }),
    ],
    [
      6,
      () =>
        function own(...args) {
          return call(args);
        },
    ],
    [
      2,
      () =>
        (...args) =>
          call(args),
    ],
    [
      1,
      () =>
        async (...args) =>
          call(args),
    ],
    [
      1,
      () =>
        function* generator() {
          yield call();
        },
    ],
    [
      1,
      () =>
        class Own {
          constructor() {
            call();
          }
        },
    ],
    [2, () => thrower],
    [
      1,
      () =>
        function exhaust() {
          exhaust();
        },
    ],
    [2, () => new Proxy(() => call(), traps())],
    [2, () => new Proxy(random.of(objects()) ?? {}, traps())],
    [
      1,
      () => {
        const { proxy, revoke } = Proxy.revocable(random.chance(50) ? () => {} : {}, {});
        revoke();
        return proxy;
      },
    ],
    [1, () => (() => call()).bind(random.of(objects()))],
    [4, () => random.of(objects())],
    [2, () => Object.create(random.of(objects()) ?? null)],
    [1, () => Object.values(random.of(objects()) ?? {})[0]],
    [1, () => Object.setPrototypeOf(random.chance(50) ? () => call() : {}, random.of(objects()) ?? null)],
    [1, () => random.of([[], [1, 2], new Array(5), Array.from({ length: 100 }, (_, index) => index)])],
    [
      1,
      () =>
        random.of([
          new Uint8Array(3),
          new Int32Array(70),
          new ArrayBuffer(9),
          new DataView(new ArrayBuffer(4)),
          Buffer.alloc(7),
        ]),
    ],
    [
      1,
      () => random.of([new Map(), new WeakRef({}), new Date(NaN), /x/g, Promise.resolve(1), globalThis, process, Math]),
    ],
    [1, () => random.of([foreign('({ valueOf() { return 1; } })'), foreign('(() => 1)'), foreign('globalThis')])],
  ];
  return {
    any: () => random.weighted(kinds)(),
    list: () =>
      Array.from(
        {
          length: random.weighted([
            [3, 0],
            [8, 1],
            [3, 2],
            [1, 3],
            [2, 6],
            [1, 9],
          ]),
        },
        () => random.weighted(kinds)(),
      ),
    fn: () => random.weighted(kinds.slice(10, 18))(),
  };
}

module.exports = { makeValues };
