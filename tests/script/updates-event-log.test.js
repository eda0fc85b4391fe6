// "zebbridge/updates": event records as objects, over a log that a test fills.
'use strict';
const assert = require('node:assert/strict');
const path = require('node:path');
const { test, describe, afterEach } = require('node:test');
const { addon, file, harness } = require('./support/harness');
const { packageOver } = require('./support/modules');
const { updateErrors, wrongOption, child } = require('./support/updates');

const CHANNEL = 'Microsoft-Windows-AppXDeploymentServer/Operational';
const structured = (filter, channel = CHANNEL) =>
  `<QueryList><Query Id="0" Path="${channel}">` + `<Select Path="${channel}">${filter}</Select></Query></QueryList>`;

const NAMESPACE = 'http://schemas.microsoft.com/win/2004/08/events/event';
const event = ({ id = 404, level = 2, time = '2026-01-02T03:04:05.1234567Z', rest = '' } = {}) =>
  `<Event xmlns='${NAMESPACE}'><System><Provider Name='Microsoft-Windows-AppXDeployment-Server' Guid='{x}'/>` +
  `<EventID>${id}</EventID><Version>0</Version><Level>${level}</Level><TimeCreated SystemTime='${time}'/>` +
  `<EventRecordID>7</EventRecordID><Channel>${CHANNEL}</Channel></System>${rest}</Event>`;

async function read(records, options) {
  harness.planEventLog(records);
  return updateErrors(options);
}

describe('updateErrors', () => {
  afterEach(() => assert.equal(harness.isEventLogClosed(), true));

  test('gives what a record has', async () => {
    const xml = event({
      rest: `<EventData><Data Name='ErrorCode'>0x80073cf3</Data><Data Name='PackageFullName'>caf\u00e9 &amp; &#x1f600;</Data><Data/></EventData>`,
    });
    assert.deepEqual(await read([xml]), [
      {
        time: new Date('2026-01-02T03:04:05.123Z'),
        id: 404,
        level: 'error',
        provider: 'Microsoft-Windows-AppXDeployment-Server',
        text: '0x80073cf3; caf\u00e9 & \u{1f600}',
        data: { ErrorCode: '0x80073cf3', PackageFullName: 'caf\u00e9 & \u{1f600}', 2: '' },
        xml,
      },
    ]);
  });

  test('the text is the message where the record has one', async () => {
    const [record] = await read([
      event({
        rest:
          `<EventData><Data>field</Data></EventData><RenderingInfo Culture='en-US'>` +
          '<Message>It failed.\n</Message><Level>Error</Level></RenderingInfo>',
      }),
    ]);
    assert.equal(record.text, 'It failed.');
    assert.deepEqual(record.data, { 0: 'field' });
  });

  test('the fields may be elements of the provider, with any name', async () => {
    const [record] = await read([
      event({
        rest:
          `<UserData><EventXML xmlns="x"><Error>5</Error><__proto__>p</__proto__>` +
          '<constructor>c</constructor></EventXML></UserData>',
      }),
    ]);
    assert.deepEqual(Object.entries(record.data), [
      ['Error', '5'],
      ['__proto__', 'p'],
      ['constructor', 'c'],
    ]);
  });

  test('levels have names', async () => {
    const levels = [0, 1, 2, 3, 4, 5, 17, ''];
    const records = await read(
      levels.map((level) => event({ level })),
      { order: 'oldest' },
    );
    assert.deepEqual(
      records.map(({ level }) => level),
      ['information', 'critical', 'error', 'warning', 'information', 'verbose', '17', ''],
    );
  });

  test('of a damaged record there is the text and nothing else', async () => {
    const damaged = [
      '',
      'no xml',
      '<Event>',
      '<Event><System></Event>',
      '<Event/><Event/>',
      '<Event>&unknown;</Event>',
      '<Event><System><EventID>5</EventID></System>a < b</Event>',
    ];
    const records = await read(damaged, { order: 'oldest' });
    assert.deepEqual(
      records,
      damaged.map((xml) => ({ time: null, id: 0, level: '', provider: '', text: '', data: {}, xml })),
    );
    const [empty] = await read(['<Event/>']);
    assert.deepEqual(empty, { time: null, id: 0, level: '', provider: '', text: '', data: {}, xml: '<Event/>' });
  });

  test('a warning after an error does not mend the record', async () => {
    const [{ id }] = await read(['<Event><System><EventID>5</EventID></System>&unknown;<a b=1/></Event>']);
    assert.equal(id, 0);
  });

  test('white space, other elements and a time without a value are no fields', async () => {
    const xml =
      `<Event><System><Level> 2 </Level><TimeCreated/></System><EventData><Data Name='a'>1</Data><Binary>0F</Binary>` +
      '</EventData>\n<UserData>\n  <EventXML>\n    <Error>5</Error>\n  </EventXML>\n</UserData></Event>';
    const [{ data, level, time }] = await read([xml]);
    assert.deepEqual({ data, level, time }, { data: { a: '1', Error: '5' }, level: 'error', time: null });
  });

  test('nothing is taken from elsewhere, and no entity grows', async () => {
    const bomb =
      '<!DOCTYPE Event [<!ENTITY a "aaaaaaaaaa"><!ENTITY b "&a;&a;&a;"><!ENTITY e SYSTEM "file:///C:/x">]>' +
      '<Event><EventData><Data>&b;&e;</Data></EventData></Event>';
    const [record] = await read([bomb]);
    assert.doesNotMatch(record.text, /aa/);
  });

  test('newest first, or oldest first, and no more than wanted', async () => {
    const records = Array.from({ length: 25 }, (_, id) => event({ id }));
    const ids = async (options) => (await read(records, options)).map(({ id }) => id);
    assert.deepEqual(
      await ids(),
      Array.from(records, (_, index) => 24 - index),
    );
    assert.deepEqual(
      await ids({ order: 'oldest' }),
      Array.from(records, (_, index) => index),
    );
    assert.deepEqual(await ids({ limit: 2 }), [24, 23]);
    assert.deepEqual(await ids({ limit: 2, order: 'oldest' }), [0, 1]);
    assert.deepEqual(await read([]), []);
  });

  test('the query says what the options do', async () => {
    const query = async (options) => {
      await read([], options);
      return harness.eventLogQuery();
    };
    const errors = '(Level=1 or Level=2)';
    assert.equal(await query(), structured(`*[System[${errors}]]`));
    assert.equal(await query({}), structured(`*[System[${errors}]]`));
    assert.equal(
      await query({ levels: ['information', 'verbose', 'verbose'], channel: 'Application' }),
      structured('*[System[(Level=4 or Level=0 or Level=5)]]', 'Application'),
    );
    const since = new Date('2026-01-02T03:04:05Z');
    assert.equal(
      await query({ since, until: since.getTime() + 1 }),
      structured(
        `*[System[${errors} and ` +
          'TimeCreated[@SystemTime&gt;=&apos;2026-01-02T03:04:05.000Z&apos; and @SystemTime&lt;=&apos;2026-01-02T03:04:05.001Z&apos;]]]',
      ),
    );
    assert.equal(
      await query({ until: '2026-01-02T03:04:05+01:00' }),
      structured(`*[System[${errors} and TimeCreated[@SystemTime&lt;=&apos;2026-01-02T02:04:05.000Z&apos;]]]`),
    );
    assert.equal(await query({ query: '*[System[EventID<"5"]]' }), structured('*[System[EventID&lt;&quot;5&quot;]]'));
    assert.equal(
      await query({ query: '*', channel: `A&B"'<\u00e9\u{1f600}` }),
      structured('*', 'A&amp;B&quot;&apos;&lt;&#xe9;&#x1f600;'),
    );
    assert.equal(
      await query({ query: ' <QueryList><!-- \u20ac --></QueryList>' }),
      ' <QueryList><!-- &#x20ac; --></QueryList>',
    );
  });

  test('wrong options are named', async () => {
    const wrong = {
      since: [new Date(NaN), 'yesterday', NaN, {}, null, true],
      until: [new Date(NaN), 'tomorrow', Infinity, Symbol.iterator],
      levels: ['error', [], ['bad'], [2], ['toString'], null],
      limit: [0, -1, 1.5, '5', null],
      order: ['new', null, 1],
      channel: ['', 5, null, 'nul\0', '\ud800'],
      query: ['', 5, null, 'escape\x1b', '<QueryList>\0</QueryList>'],
      level: ['error'],
    };
    for (const [name, values] of Object.entries(wrong)) {
      for (const value of values) await assert.rejects(updateErrors({ [name]: value }), wrongOption(name));
    }
    await assert.rejects(updateErrors({ since: 2, until: 1 }), wrongOption('until'));
    await assert.rejects(updateErrors({ since: '+012026-01-01', until: new Date() }), wrongOption('until'));
    await assert.rejects(updateErrors({ query: '*', since: 0 }), wrongOption('since'));
    await assert.rejects(updateErrors({ query: '*', levels: ['error'] }), wrongOption('levels'));
    await assert.rejects(updateErrors({ query: '<QueryList/>', channel: 'Application' }), wrongOption('channel'));
    for (const options of [null, 1, 'text'])
      await assert.rejects(updateErrors(options), { name: 'TypeError', code: 'ERR_INVALID_ARG_TYPE' });
  });

  test('what the event log refuses rejects, with its text', async () => {
    const OPEN = 0;
    harness.planEventLog([], 0, OPEN, 1, 5);
    let expected;
    try {
      addon.msix_auto_updater.getUpdateErrors('*');
    } catch ({ message }) {
      expected = message.trim();
    }
    assert.notEqual(expected, '');
    harness.planEventLog([], 0, OPEN, 1, 5);
    await assert.rejects(updateErrors(), { name: 'Error', message: expected });
  });

  test('the thread is not this one', async () => {
    const { stdout } = await child(`
      const many = Array.from({ length: 2000 }, (_, id) => '<Event><System><EventID>' + id + '</EventID></System></Event>');
      harness.planEventLog(many);
      addon.msix_auto_updater.getUpdateErrors = () => { throw new Error('on this thread'); };
      let turns = 0;
      const timer = setInterval(() => ++turns, 1);
      updateErrors().then((records) => { clearInterval(timer); console.log(records.length, records[0].id, turns > 2); });`);
    assert.equal(stdout, '2000 1999 true\n');
  });

  test('several at once', async () => {
    harness.planEventLog([event({ id: 1 }), event({ id: 2 })]);
    const all = await Promise.all([updateErrors(), updateErrors({ order: 'oldest' }), updateErrors({ limit: 1 })]);
    assert.deepEqual(
      all.map((records) => records.map(({ id }) => id)),
      [[2, 1], [1, 2], [2]],
    );
  });

  test('several that nobody waits for keep the process', async () => {
    const { stdout } = await child(`
      harness.planEventLog(Array.from({ length: 3000 }, (_, id) => '<Event><System><EventID>' + id + '</EventID></System></Event>'));
      for (const which of [1, 2, 3]) updateErrors().then(() => console.log(which));`);
    assert.equal(stdout, '1\n2\n3\n');
  });

  test('the log handler stays', async () => {
    const { stdout } = await child(`
      harness.planEventLog([]);
      addon.diagnostics.setLogHandler(console.log);
      updateErrors().then((records) => console.log(records.length));
      process.once('beforeExit', () => harness.writeLog(0, 'heard'));`);
    assert.equal(stdout, '0\nheard 0\n');
  });

  test('a thread that ends rejects, and the next call has a new one', async () => {
    const { stdout } = await child(`
      harness.planEventLog([]);
      process.once('worker', (worker) => worker.terminate());
      const first = updateErrors().then(console.log, ({ message }) => console.log(message));
      const second = updateErrors().then(console.log, ({ message }) => console.log(message));
      Promise.all([first, second]).then(() => updateErrors()).then(console.log);`);
    assert.match(stdout, /^(The thread that reads the event log ended with [01]\.\n){2}\[\]\n$/);
  });

  test('an error of the thread is the reason', async () => {
    const { stdout } = await child(`
      harness.planEventLog([]);
      process.once('worker', (worker) => {
        worker.emit('error', new Error('thrown there'));
        worker.terminate();
      });
      updateErrors().catch(({ message }) => console.log(message));`);
    assert.equal(stdout, 'thrown there\n');
  });

  test('a first call after shutdown() rejects', async () => {
    const { stdout } = await child(`
      harness.planEventLog([]);
      addon.shutdown();
      updateErrors().then(() => console.log('read'), ({ message }) => console.log(message));`);
    assert.equal(stdout, 'Illegal invocation: shutdown() has released this object\n');
  });

  test('after shutdown() it rejects', async () => {
    const { stdout } = await child(`
      harness.planEventLog([]);
      updateErrors().then((records) => {
        console.log(records.length);
        addon.shutdown();
        return updateErrors();
      }).catch(({ message }) => console.log(message));`);
    assert.equal(stdout, '0\nIllegal invocation: shutdown() has released this object\n');
  });

  test('the thread does not keep the context of the first call', async () => {
    const { stdout } = await child(`
      const { AsyncLocalStorage } = require('node:async_hooks');
      harness.planEventLog([]);
      const storage = new AsyncLocalStorage();
      let store = {};
      const reference = new WeakRef(store);
      storage.run(store, () => updateErrors()).then(async () => {
        store = null;
        await until('its collection', async () => { global.gc(); await turn(); return reference.deref() === undefined; });
        console.log('collected');
      });`);
    assert.equal(stdout, 'collected\n');
  });

  test('a module that was not loaded by a require is asked on this thread', async () => {
    const loaded = { exports: {} };
    process.dlopen(loaded, file);
    const again = packageOver(loaded.exports).updates;
    harness.planEventLog([event()]);
    assert.equal((await again.updateErrors()).length, 1);
  });

  test('scripts that the application preloads do not run in the thread', async () => {
    const application = `
      const { addon, harness } = require(${JSON.stringify(path.join(__dirname, 'support', 'harness.js'))});
      const { packageOver } = require(${JSON.stringify(path.join(__dirname, 'support', 'modules.js'))});
      harness.planEventLog([]);
      packageOver(addon).updates.updateErrors().then((records) => process.exit(records.length));`;
    const { stdout } = await child(`
      const fs = require('node:fs');
      const { Worker } = require('node:worker_threads');
      const preloaded = __filename + '.preload.js';
      fs.writeFileSync(preloaded, "require('node:fs').appendFileSync(__filename + '.log', 'once ');");
      new Worker(${JSON.stringify(application)}, { eval: true, execArgv: ['--require', preloaded] })
        .on('exit', (status) => console.log(status, fs.readFileSync(preloaded + '.log', 'utf8')));`);
    assert.equal(stdout, '0 once \n');
  });
});
