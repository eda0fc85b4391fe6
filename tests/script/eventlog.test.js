// "msix_auto_updater".getUpdateErrors: every event record that a query selects, over a scripted event log.
'use strict';
const { test, describe, beforeEach, afterEach } = require('node:test');
const assert = require('node:assert');
const { zebbridge } = require('./support/zebbridge');
const { eventlog, system } = require('./support/standins');

const updater = zebbridge.msix_auto_updater;
const query = '<QueryList><Query Id="0"><Select Path="Application">*</Select></Query></QueryList>';
const read = () => updater.getUpdateErrors(query);
const records = (count) =>
  Array.from({ length: count }, (_, index) => `<Event><EventRecordID>${index}</EventRecordID></Event>`);
const message = (code) => ({ name: 'Error', message: system.text(code), code });
const times = (name) => eventlog.counts()[name];

beforeEach(() => eventlog.configure({ channels: [{ name: 'Application' }] }));
afterEach(() => assert.deepStrictEqual(eventlog.openHandles(), { queries: 0, records: 0, badCloses: 0 }));

test('the log under the module is the stand-in', () => {
  assert.strictEqual(system.loadedFrom('wevtapi.dll').toLowerCase(), eventlog.file.toLowerCase());
});

describe('records', () => {
  for (const count of [0, 1, 9, 10, 11, 20, 10000]) {
    test(`${count} come back in order`, () => {
      eventlog.configure({ records: records(count) });
      const result = read();
      assert.ok(Array.isArray(result));
      assert.deepStrictEqual(result, records(count));
      assert.strictEqual(times('EvtClose'), count + 1);
      assert.strictEqual(times('EvtNext'), Math.ceil(count / 10) + 1);
    });
  }

  test('short and empty batches do not end the reading', () => {
    eventlog.configure({ records: records(12), batches: [0, 3, 0, 0, 1] });
    assert.deepStrictEqual(read(), records(12));
    assert.strictEqual(times('EvtNext'), 7);
  });

  test('the text is the rendering, as it is', () => {
    const texts = ['', '  <Event>\r\n\t</Event>\r\n', '<Event>\u00e9\u20ac\u{1f600}\ud800</Event>', 'x'.repeat(100000)];
    eventlog.configure({ records: texts });
    assert.deepStrictEqual(read(), texts);
    eventlog.configure({ records: ['<Event/>\0behind'] });
    assert.deepStrictEqual(read(), ['<Event/>']);
  });

  test('a larger size than needed does no harm', () => {
    eventlog.configure({ records: records(2), sizes: { 0: 100000 } });
    assert.deepStrictEqual(read(), records(2));
  });
});

describe('the calls', () => {
  test('get exactly these arguments', () => {
    eventlog.configure({ channels: [{ name: 'A' }, { name: 'B' }], records: records(1) });
    read();
    const bytes = (records(1)[0].length + 1) * 2;
    const [namesSize, statusesSize] = [16 + 2 * 8 + 2 * 4, 16 + 2 * 4];
    const expected = [
      { call: 'EvtQuery', session: false, path: false, flags: 0x1001, query, result: true, lastError: 0 },
      { call: 'EvtGetQueryInfo', property: 0, size: 0, buffer: false, result: false, lastError: 122 },
      { call: 'EvtGetQueryInfo', property: 0, size: namesSize, buffer: true, result: true, lastError: 0 },
      { call: 'EvtGetQueryInfo', property: 1, size: 0, buffer: false, result: false, lastError: 122 },
      { call: 'EvtGetQueryInfo', property: 1, size: statusesSize, buffer: true, result: true, lastError: 0 },
      { call: 'EvtNext', size: 10, timeout: 0xffffffff, flags: 0, result: true, lastError: 0 },
      { call: 'EvtRender', context: false, flags: 1, size: 0, buffer: false, result: false, lastError: 122 },
      { call: 'EvtRender', context: false, flags: 1, size: bytes, buffer: true, result: true, lastError: 0 },
      { call: 'EvtClose', kind: 'record', result: true, lastError: 0 },
      { call: 'EvtNext', size: 10, timeout: 0xffffffff, flags: 0, result: false, lastError: 259 },
      { call: 'EvtClose', kind: 'query', result: true, lastError: 0 },
    ];
    assert.deepStrictEqual(eventlog.calls(), expected);
  });

  test('each byte of the query is widened with its sign', () => {
    updater.getUpdateErrors('a\u00e9\u20ac\u{1f600}\x7f');
    const [{ query: units }] = eventlog.calls('EvtQuery');
    const expected = [...Buffer.from('a\u00e9\u20ac\u{1f600}\x7f')].map((byte) => (byte < 0x80 ? byte : 0xff00 | byte));
    assert.deepStrictEqual(
      [...units].map((unit) => unit.charCodeAt(0)),
      expected,
    );
    assert.ok(expected.includes(0xffc3));
  });
});

describe('the argument', () => {
  test('is needed', () => {
    assert.throws(() => updater.getUpdateErrors(), { name: 'Error', message: 'Expected (1) arguments, but only (0)' });
    assert.strictEqual(times('EvtQuery'), 0);
  });

  test('must have a text', () => {
    for (const value of [Symbol('s'), Object.create(null)])
      assert.throws(() => updater.getUpdateErrors(value), TypeError);
    assert.strictEqual(times('EvtQuery'), 0);
  });

  test('is taken as text, to its first NUL', () => {
    for (const value of [42, null, undefined, { toString: () => 'object' }, 'cut\0off', '']) {
      assert.deepStrictEqual(updater.getUpdateErrors(value, 'ignored'), []);
    }
    assert.deepStrictEqual(
      eventlog.calls('EvtQuery').map(({ query: text }) => text),
      ['42', 'null', 'undefined', 'object', 'cut', ''],
    );
  });
});

describe('failures', () => {
  const fails = (code, configuration) => {
    eventlog.configure(configuration);
    assert.throws(read, message(code));
  };

  test('the text keeps the line break of the system', () => {
    fails(5, { faults: [{ call: 'EvtQuery', at: 1, code: 5 }] });
    assert.match(system.text(5), /\r\n$/);
  });

  test('a refused query', () => {
    for (const code of [15001, 15007, 5, 87]) fails(code, { faults: [{ call: 'EvtQuery', at: 1, code }] });
    assert.deepStrictEqual(eventlog.counts(), {
      EvtQuery: 1,
      EvtNext: 0,
      EvtRender: 0,
      EvtGetQueryInfo: 0,
      EvtClose: 0,
    });
  });

  test('a channel that cannot be read, although the query opens', () => {
    fails(0, { channels: [{ name: 'Application' }, { name: 'Missing', status: 15007 }], records: records(3) });
    assert.strictEqual(times('EvtNext'), 0);
  });

  test('statuses whose sum is 0 in 32 bits pass', () => {
    eventlog.configure({
      channels: [
        { name: 'A', status: 15007 },
        { name: 'B', status: 2 ** 32 - 15007 },
      ],
      records: records(1),
    });
    assert.deepStrictEqual(read(), records(1));
  });

  test('a property that cannot be read', () => {
    for (const at of [1, 2, 3, 4]) {
      fails(5, { channels: [{ name: 'A' }], faults: [{ call: 'EvtGetQueryInfo', at, code: 5 }] });
      assert.strictEqual(times('EvtGetQueryInfo'), at);
    }
  });

  test('a property is judged by the last error, not by the result', () => {
    fails(5, {
      channels: [{ name: 'A' }],
      faults: [{ call: 'EvtGetQueryInfo', at: 2, code: 5, result: true, work: true }],
    });
    eventlog.configure({
      channels: [{ name: 'A' }],
      records: records(1),
      faults: [{ call: 'EvtGetQueryInfo', at: 2, code: 0, result: false, work: true }],
    });
    assert.deepStrictEqual(read(), records(1));
  });

  test('a service that leaves the last error alone is taken to have failed', () => {
    fails(122, { channels: [{ name: 'A' }], quiet: true });
  });

  test('records that cannot be fetched', () => {
    fails(1717, { records: records(20), faults: [{ call: 'EvtNext', at: 3, code: 1717 }] });
    assert.strictEqual(times('EvtClose'), 21);
    fails(15011, { faults: [{ call: 'EvtNext', at: 1, code: 15011 }] });
  });

  test('records left in the slots at the end are closed', () => {
    eventlog.configure({ records: records(4), faults: [{ call: 'EvtNext', at: 1, code: 259, work: true }] });
    assert.deepStrictEqual(read(), []);
    assert.strictEqual(times('EvtClose'), 5);
  });

  test('the seventh record of a batch that cannot be rendered', () => {
    for (const at of [13, 14]) {
      fails(15027, { records: records(20), faults: [{ call: 'EvtRender', at, code: 15027 }] });
      assert.strictEqual(times('EvtClose'), 11);
      assert.strictEqual(times('EvtNext'), 1);
    }
  });

  test('a rendering is judged by the last error, not by the result', () => {
    fails(5, { records: records(1), faults: [{ call: 'EvtRender', at: 2, code: 5, result: true, work: true }] });
    eventlog.configure({
      records: records(1),
      faults: [{ call: 'EvtRender', at: 2, code: 0, result: false, work: true }],
    });
    assert.deepStrictEqual(read(), records(1));
  });

  test('a size that is too small', () => {
    fails(122, { records: records(1), sizes: { 0: 2 } });
  });

  test('do not outlast the call', () => {
    fails(5, { faults: [{ call: 'EvtQuery', at: 1, code: 5 }] });
    eventlog.configure({ records: records(1) });
    assert.deepStrictEqual(read(), records(1));
  });
});
