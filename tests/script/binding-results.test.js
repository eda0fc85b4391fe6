// The binding layer: callbacks into script, results and exceptions of native methods.
'use strict';
const assert = require('node:assert/strict');
const test = require('node:test');
const { probe, control, struct, assertError } = require('./support/probe');

const FILE = 'src_native/common/include/common/v8binding/v8binding';
const MARSHAL = 'src_native/common/include/common/v8binding/v8marshal';
const UTILS = 'src_native/common/include/common/v8binding/v8utils';

test('null and undefined mean no callback, and any other value is kept', () => {
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

test('an exception in a callback is dropped, and later calls still come', () => {
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

test('a callback that is not a function does nothing', () => {
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

test('an exception of the module carries the place where it was thrown', () => {
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

test('text becomes a string, with invalid UTF-8 replaced', () => {
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
