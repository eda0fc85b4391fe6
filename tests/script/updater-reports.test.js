// "msix_auto_updater": what the platform is asked, what the handler is told, and when.
'use strict';
const { test, describe, before, beforeEach, after, afterEach } = require('node:test');
const assert = require('node:assert');
const { zebbridge, collect } = require('./support/zebbridge');
const { winrt, system } = require('./support/standins');
const { until } = require('./support/until');
const { uri, ACCESS_DENIED } = require('./support/updater');

const updater = zebbridge.msix_auto_updater;
const { success, errorText, failure, canceled, outOfMemory } = winrt.outcomes;
const CANCELED = -2147023673;

before(() => winrt.install());
after(() => winrt.uninstall());

let reports = [];
const record = (...values) => reports.push(values);
beforeEach(() => {
  reports = [];
  winrt.configure();
  updater.setErrorHandler(record);
});

// Checks that each test has received all its reports: one more report comes next, and nothing before it.
afterEach(async () => {
  await allGone();
  reports = [];
  updater.setErrorHandler(record);
  winrt.configure({ deployment: errorText('marker') });
  updater.applyUpdate(uri);
  await until('the marker', () => reports.some(([text]) => text === 'marker'));
  assert.deepStrictEqual(reports, [['marker']]);
  updater.setErrorHandler(null);
});

// Every deployment has ended and released everything.
const allGone = () =>
  until('the end of all deployments', () => winrt.updates().every(({ refused, gone }) => refused || gone));

// Runs one update that ends as told and of which the handler hears nothing.
async function silent(outcome = success()) {
  winrt.deploymentsEnd(outcome);
  const count = winrt.updates().length;
  assert.strictEqual(updater.applyUpdate(uri), undefined);
  await until('the start', () => winrt.updates().length === count + 1);
  await allGone();
}

// Runs one update of which the handler hears, and returns what the handler received.
async function update(outcome) {
  await silent(outcome);
  await until('the report', () => reports.length > 0);
  return reports.splice(0);
}

describe('what the platform is asked', () => {
  test('the address, no dependencies, one option, no progress handler', async () => {
    await silent();
    const [seen] = winrt.updates();
    assert.strictEqual(seen.uri, uri);
    assert.strictEqual(seen.uriIsDefaultInterface, true);
    assert.strictEqual(seen.dependenciesAreNull, true);
    assert.strictEqual(seen.options, 1);
    assert.strictEqual(seen.progressHandlers, 0);
    assert.strictEqual(seen.completedHandlers, 1);
    assert.strictEqual(seen.resultReads, 1);
    assert.notStrictEqual(seen.thread, system.threadId());
    assert.ok(seen.handlerKnowsItsId && seen.handlerIsAgile && seen.handlerMarshals);
  });

  test('the address in UTF-16, to its first NUL', async () => {
    for (const [given, seen] of [
      ['https://example.com/\u00e9\u20ac\u{1f600}.msix', 'https://example.com/\u00e9\u20ac\u{1f600}.msix'],
      ['file:///C:/a\0b', 'file:///C:/a'],
      [{ toString: () => 'ms-appx:x' }, 'ms-appx:x'],
    ]) {
      winrt.configure();
      updater.applyUpdate(given, 'ignored');
      await until('the start', () => winrt.updates().length === 1);
      assert.strictEqual(winrt.updates()[0].uri, seen);
      await allGone();
    }
  });

  test('nothing is left behind', async () => {
    await silent();
    const live = winrt.live();
    for (const name of ['Uri', 'PackageManager', 'DeploymentOperation', 'DeploymentResult'])
      assert.ok(!(name in live), name);
  });

  test('no completed handler on a deployment that has ended at once', async () => {
    assert.deepStrictEqual(await update({ ...errorText('at once'), end: 'atReturn' }), [['at once']]);
    assert.strictEqual(winrt.updates()[0].completedHandlers, 0);
  });

  test('an end right after the look at the status is not missed', async () => {
    assert.deepStrictEqual(await update({ ...errorText('in between'), end: 'afterStatus' }), [['in between']]);
  });
});

describe('reports', () => {
  test('success calls nothing', () => silent());

  test('an error code without a text is a success', async () => {
    await silent({ status: 1, extended: -2147009293, text: '' });
    await silent(errorText('', -2147009293));
  });

  test('the error text comes as UTF-8, as it is', async () => {
    for (const text of ['0x80073CF3: Package failed validation.\r\n', '\u00e9\u20ac\u{1f600}', ' ']) {
      assert.deepStrictEqual(await update(errorText(text)), [[text]]);
    }
    assert.deepStrictEqual(await update(errorText('lone \ud800 surrogate')), [['lone \ufffd surrogate']]);
  });

  test('a failure comes with the text that goes with it and its signed code', async () => {
    assert.deepStrictEqual(await update(failure(ACCESS_DENIED, 'The package is in use.\r\n')), [
      [`winrt exception with message: The package is in use. and code: ${ACCESS_DENIED}`],
    ]);
  });

  test('without one, with the text of the system', async () => {
    assert.notStrictEqual(system.message(ACCESS_DENIED), '');
    assert.deepStrictEqual(await update(failure(ACCESS_DENIED)), [
      [`winrt exception with message: ${system.message(ACCESS_DENIED)} and code: -2147024891`],
    ]);
  });

  test('a code without any text', async () => {
    assert.strictEqual(system.message(-1610612736), '');
    assert.deepStrictEqual(await update(failure(-1610612736)), [
      ['winrt exception with message:  and code: -1610612736'],
    ]);
  });

  test('a cancelled update', async () => {
    assert.deepStrictEqual(await update(canceled()), [
      [`winrt exception with message: ${system.message(CANCELED)} and code: -2147023673`],
    ]);
    assert.strictEqual(winrt.updates()[0].resultReads, 0);
  });

  test('anything else', async () => assert.deepStrictEqual(await update(outOfMemory()), [['Unknown exception']]));

  for (const member of ['Status', 'Completed', 'ErrorText', 'AsyncInfo']) {
    test(`a deployment whose ${member} fails`, async () => {
      const [[text], ...more] = await update({ member: { [member]: -2147467259 }, reason: { text: 'It broke.' } });
      assert.deepStrictEqual(more, []);
      assert.strictEqual(
        text,
        member === 'AsyncInfo'
          ? `winrt exception with message: ${system.message(-2147467262)} and code: -2147467262`
          : 'winrt exception with message: It broke. and code: -2147467259',
      );
    });
  }

  test('two updates, one after the other', async () => {
    assert.deepStrictEqual(await update(errorText('first')), [['first']]);
    await silent();
    assert.deepStrictEqual(await update(errorText('second')), [['second']]);
  });

  test('a hundred updates', async () => {
    winrt.deploymentsEnd(errorText('again'));
    for (let round = 1; round <= 100; ++round) {
      updater.applyUpdate(uri);
      await until('the report', () => reports.length === round);
    }
    assert.ok(reports.every(([text]) => text === 'again'));
  });
});

describe('the handler', () => {
  test('is called without a receiver, in a turn of its own', async () => {
    const seen = [];
    updater.setErrorHandler(function handler() {
      'use strict';
      seen.push(this, new Error().stack.split('\n').length);
    });
    await silent(errorText('x'));
    await until('the call', () => seen.length > 0);
    assert.strictEqual(seen[0], undefined);
    assert.ok(seen[1] <= 3, `called from ${seen[1]} frames`);
  });

  test('promises and ticks that it queues run at once', async () => {
    const order = [];
    updater.setErrorHandler(() => {
      setImmediate(() => order.push('immediate'));
      process.nextTick(() => order.push('tick'));
      Promise.resolve().then(() => order.push('promise'));
      order.push('handler');
    });
    await silent(errorText('x'));
    await until('all', () => order.length === 4);
    assert.deepStrictEqual(order, ['handler', 'tick', 'promise', 'immediate']);
  });

  test('set while the update runs gets its report', async () => {
    const heard = [];
    winrt.deploymentsEnd({ ...errorText('late'), end: 'held' });
    updater.applyUpdate(uri);
    await until('the start', () => winrt.updates().length === 1);
    updater.setErrorHandler((text) => heard.push(text));
    winrt.release();
    await until('the report', () => heard.length === 1);
    assert.deepStrictEqual(reports, []);
  });

  test('is released when it is replaced', async () => {
    const gone = [];
    const registry = new FinalizationRegistry((name) => gone.push(name));
    const set = (name) => {
      const handler = () => {};
      registry.register(handler, name);
      updater.setErrorHandler(handler);
    };
    set('replaced');
    set('disposed');
    await until('the first', () => (collect(), gone.includes('replaced')));
    assert.ok(!gone.includes('disposed'));
    updater.dispose();
    await until('the second', () => (collect(), gone.includes('disposed')));
  });

  test('may throw, replace itself, drop itself and start the next update', async () => {
    const heard = [];
    updater.setErrorHandler((text) => {
      heard.push(text);
      winrt.deploymentsEnd(errorText('second'));
      updater.setErrorHandler((next) => {
        heard.push(next);
        updater.dispose();
        throw new Error('swallowed');
      });
      collect();
      updater.applyUpdate(uri);
      throw new Error('swallowed');
    });
    winrt.deploymentsEnd(errorText('first'));
    updater.applyUpdate(uri);
    await until('both', () => heard.length === 2);
    assert.deepStrictEqual(heard, ['first', 'second']);
  });

  test('that is not a function does nothing', async () => {
    for (const value of [42, 'text', {}, Symbol('s')]) {
      assert.strictEqual(updater.setErrorHandler(value), undefined);
      await silent(errorText('x'));
    }
    updater.setErrorHandler((text) => text !== 'x' && reports.push([text])); // the last report may still come
    assert.deepStrictEqual(await update(errorText('still works')), [['still works']]);
  });

  test('is wanted as an argument, as the address is', () => {
    const tooFew = { name: 'Error', message: 'Expected (1) arguments, but only (0)' };
    assert.throws(() => updater.setErrorHandler(), tooFew);
    assert.throws(() => updater.applyUpdate(), tooFew);
    for (const value of [Symbol('s'), Object.create(null)]) assert.throws(() => updater.applyUpdate(value), TypeError);
    assert.deepStrictEqual(winrt.updates(), []);
  });
});

describe('while an update runs', () => {
  test('script goes on', async () => {
    winrt.deploymentsEnd({ ...success(), end: 'held' });
    const began = process.hrtime.bigint();
    updater.applyUpdate(uri);
    const took = Number(process.hrtime.bigint() - began) / 1e6;
    assert.ok(took < 1000, `applyUpdate took ${took} ms`);
    await until('the start', () => winrt.updates().length === 1);
    let ticks = 0;
    const timer = setInterval(() => ++ticks, 1);
    await until('the timer', () => ticks >= 20);
    clearInterval(timer);
    assert.strictEqual(winrt.updates()[0].ended, false);
    winrt.release();
  });

  test('another one may be started: each reports for itself', async () => {
    winrt.deploymentsEnd({ ...errorText('first'), end: 'held' });
    updater.applyUpdate(`${uri}?1`);
    await until('the first', () => winrt.updates().length === 1);
    winrt.deploymentsEnd({ ...errorText('second'), end: 'held' });
    updater.applyUpdate(`${uri}?2`);
    await until('the second', () => winrt.updates().length === 2);
    assert.deepStrictEqual(
      winrt.updates().map((seen) => seen.uri),
      [`${uri}?1`, `${uri}?2`],
    );
    collect();
    winrt.release(1);
    await until('the report', () => reports.length === 1);
    winrt.release(0);
    await until('the other report', () => reports.length === 2);
    assert.deepStrictEqual(reports, [['second'], ['first']]);
  });

  test('many at once', async () => {
    winrt.deploymentsEnd({ ...errorText('each'), end: 'held' });
    for (let index = 0; index < 16; ++index) updater.applyUpdate(uri);
    await until('the starts', () => winrt.updates().length === 16);
    for (let index = 0; index < 16; ++index) winrt.release(index);
    await until('the reports', () => reports.length === 16);
  });
});
