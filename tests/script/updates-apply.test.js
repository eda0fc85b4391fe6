// "zebbridge/updates": updates as promises, over deployments that end as a test says, and what both functions do where
// the native part is missing.
'use strict';
const assert = require('node:assert/strict');
const { AsyncLocalStorage } = require('node:async_hooks');
const { getEventListeners } = require('node:events');
const path = require('node:path');
const { test, describe } = require('node:test');
const { pathToFileURL } = require('node:url');
const { addon, harness, failing, until } = require('./support/harness');
const { root, packageOver } = require('./support/modules');
const { applyUpdate, UpdateError, uri, wrongOption, child } = require('./support/updates');

const running = { name: 'Error', code: 'ERR_ZEBBRIDGE_UPDATE_RUNNING' };

// The error of one update whose deployment reports this.
async function failureOf(outcome) {
  harness.planDeployments(outcome, false);
  return applyUpdate(uri).then(
    () => assert.fail('it resolved'),
    (error) => error,
  );
}

describe('applyUpdate', () => {
  test('rejects with the text of the deployment', async () => {
    const error = await failureOf('in use: \u20ac\r\n');
    assert.ok(error instanceof UpdateError && error instanceof Error);
    assert.equal(error.name, 'UpdateError');
    assert.equal(error.message, 'in use: \u20ac');
    assert.deepEqual({ ...error }, { code: undefined, hresult: undefined });
    assert.match(error.stack, /^UpdateError: in use/);
    assert.equal(harness.startedDeployments(), uri);
  });

  test('has the HRESULT that the text names', async () => {
    for (const [text, code] of [
      ['Deployment failed with HRESULT: 0x80073CF3, Package failed updates.', '0x80073CF3'],
      ['error 0x80070003: and then 0x80073cf6', '0x80070003'],
      ['0x80073cf3', '0x80073CF3'],
      ['at 0x00000001 of 0x80073CF3F', undefined],
    ]) {
      const error = await failureOf(text);
      assert.equal(error.message, text);
      assert.equal(error.code, code);
      assert.equal(error.hresult, code === undefined ? undefined : Number(code));
    }
  });

  test('takes the report of a runtime error apart', async () => {
    const error = await failureOf('failure');
    assert.deepEqual([error.message, error.code, error.hresult], ['refused', '0x80070005', 0x80070005]);
    const report = (message, code) => new UpdateError(`winrt exception with message: ${message} and code: ${code}`);
    const nested = report('a\nb and code: 5', -2147009293);
    assert.deepEqual([nested.message, nested.code, nested.hresult], ['a\nb and code: 5', '0x80073CF3', 0x80073cf3]);
    const silent = report('', -1610612736);
    assert.deepEqual([silent.message, silent.code], ['Windows could not apply the update (0xA0000000)', '0xA0000000']);
    assert.deepEqual([report('x', 1).code, report('x', 1).hresult], ['0x00000001', 1]);
  });

  test('and anything else as it is', async () => {
    const error = await failureOf('unknown');
    assert.deepEqual([error.message, error.code], ['Unknown exception', undefined]);
  });

  test('refuses a second update at once, and takes the next one after the first has failed', async () => {
    harness.planDeployments('first', true);
    const first = applyUpdate(uri);
    await assert.rejects(applyUpdate(uri), running);
    await assert.rejects(applyUpdate('no address'), { name: 'TypeError', code: 'ERR_INVALID_URL' });
    harness.releaseDeployments();
    await assert.rejects(first, { message: 'first' });
    assert.equal((await failureOf('second')).message, 'second');
  });

  test('afterwards there is no error handler', async () => {
    let handler;
    const updater = {
      setErrorHandler: (value) => {
        handler = value;
      },
      getUpdateErrors() {},
      applyUpdate() {},
      dispose() {},
    };
    const update = packageOver({ hardware: {}, msix_auto_updater: updater }).updates.applyUpdate(uri);
    handler('failed');
    assert.equal(handler, null);
    await assert.rejects(update, { name: 'UpdateError', message: 'failed' });
  });

  for (const kind of ['threadCreate', 'asyncInit']) {
    test(`rejects when the update cannot start, and takes the next one (${kind})`, async () => {
      harness.planDeployments('it ran', false);
      const { value } = failing(kind, 1, 1, () => applyUpdate(uri));
      const message = 'Fail to start package update';
      await assert.rejects(value, { name: 'UpdateError', message, code: undefined, hresult: undefined });
      assert.equal((await failureOf('the next')).message, 'the next');
    });
  }

  test('an update may be started where the one before is caught', async () => {
    harness.planDeployments('again', false);
    let count = 0;
    const retry = (error) => (++count < 20 ? applyUpdate(uri).catch(retry) : error);
    assert.equal((await applyUpdate(uri).catch(retry)).message, 'again');
    assert.equal(count, 20);
  });

  test('a signal ends the waiting, not the update', async () => {
    const aborted = { name: 'AbortError', code: 'ABORT_ERR', cause: 'why' };
    harness.planDeployments('late', true);
    await assert.rejects(applyUpdate(uri, { signal: AbortSignal.abort('why') }), aborted);
    assert.equal(harness.startedDeployments(), '');
    const controller = new AbortController();
    const update = applyUpdate(uri, { signal: controller.signal });
    controller.abort('why');
    await assert.rejects(update, aborted);
    await assert.rejects(applyUpdate(uri), running);
    harness.releaseDeployments();
    await until('the end', async () => {
      const error = await failureOf('next');
      return error.message === 'next';
    });
    assert.equal(getEventListeners(controller.signal, 'abort').length, 0);
  });

  test('a signal that is not aborted keeps nothing', async () => {
    const { signal } = new AbortController();
    harness.planDeployments('failed', false);
    await assert.rejects(applyUpdate(uri, { signal }), { message: 'failed' });
    assert.equal(getEventListeners(signal, 'abort').length, 0);
  });

  test('addresses that Windows would not take are TypeErrors, and leave the next update alone', async () => {
    harness.planDeployments('', false);
    const heard = [];
    addon.msix_auto_updater.setErrorHandler((text) => heard.push(text));
    for (const address of ['', 'app.msix', 'C:\\app.msix', 'https:', undefined, null, 42, 'ms-word:x']) {
      await assert.rejects(applyUpdate(address), { name: 'TypeError', code: 'ERR_INVALID_URL' }, String(address));
    }
    await assert.rejects(applyUpdate(), { name: 'TypeError' });
    assert.equal(harness.startedDeployments(), '');
    harness.planDeployments('plain', false);
    addon.msix_auto_updater.applyUpdate(uri);
    await until('the report to the handler of before', () => heard.length === 1);
    addon.msix_auto_updater.setErrorHandler(null);
    assert.equal((await failureOf('still works')).message, 'still works');
  });

  test('further schemes may be named', async () => {
    harness.planDeployments('failed', false);
    await assert.rejects(applyUpdate('ms-appx:x', { schemes: ['ms-appx'] }), { message: 'failed' });
    assert.equal(harness.startedDeployments(), 'ms-appx:x');
  });

  test('wrong options are named', async () => {
    for (const signal of [null, 1, 'text', {}, { aborted: false }])
      await assert.rejects(applyUpdate(uri, { signal }), wrongOption('signal'));
    await assert.rejects(applyUpdate(uri, { schemes: 'https' }), wrongOption('schemes'));
    await assert.rejects(applyUpdate(uri, { force: true }), wrongOption('force'));
    for (const options of [null, 1, 'text'])
      await assert.rejects(applyUpdate(uri, options), { name: 'TypeError', code: 'ERR_INVALID_ARG_TYPE' });
  });

  test('the rest of an async function keeps its context', async () => {
    const storage = new AsyncLocalStorage();
    await storage.run('A', async () => {
      await failureOf('failed');
      assert.equal(storage.getStore(), 'A');
    });
  });

  test('a success is silent, and the process ends when Windows does not end it', async () => {
    const { status, stdout, stderr } = await child(`
      harness.planDeployments('', false);
      applyUpdate(uri).then(console.log, console.log);
      process.on('exit', () => console.log('exit'));`);
    assert.deepEqual({ status, stdout, stderr }, { status: 0, stdout: 'exit\n', stderr: '' });
  });

  test('a running update keeps the process', async () => {
    const { status, stdout } = await child(`
      harness.planDeployments('failed', true);
      applyUpdate(uri).catch(({ message }) => console.log(message));
      setTimeout(() => { console.log('releasing'); harness.releaseDeployments(); }, 100).unref();`);
    assert.deepEqual({ status, stdout }, { status: 0, stdout: 'releasing\nfailed\n' });
  });

  test('an unhandled failure ends the process', async () => {
    const { status, stderr } = await child(`harness.planDeployments('0x80073CF3: in use', false); applyUpdate(uri);`);
    assert.match(stderr, /UpdateError: 0x80073CF3: in use/);
    assert.match(stderr, /code: '0x80073CF3'/);
    assert.equal(status, 1);
  });

  test('shutdown() waits for a running update, and its result is dropped', async () => {
    const { stdout, status } = await child(`
      harness.planDeployments('failed', false);
      applyUpdate(uri).then(console.log, console.log);
      addon.shutdown();
      console.log(harness.counts().deployments);`);
    assert.deepEqual({ stdout, status }, { stdout: '0\n', status: 0 });
  });

  test('after shutdown() it rejects', async () => {
    const { stdout } = await child(`
      addon.shutdown();
      applyUpdate(uri).catch(({ name, message }) => console.log(name, message));`);
    assert.equal(stdout, 'TypeError Illegal invocation: shutdown() has released this object\n');
  });

  test('and so does every later one', async () => {
    const { stdout } = await child(`
      addon.shutdown();
      const say = ({ message }) => console.log(message);
      applyUpdate(uri).catch(say).then(() => applyUpdate(uri)).catch(say);`);
    assert.equal(stdout, 'Illegal invocation: shutdown() has released this object\n'.repeat(2));
  });
});

describe('where the native part is missing', () => {
  const sentence = Object.assign(new Error('zebbridge has no binary here'), { code: 'ERR_ZEBBRIDGE_UNAVAILABLE' });
  const refuse = () => {
    throw sentence;
  };
  const native = {
    hardware: { getButtonState: refuse },
    windows: {},
    msix_auto_updater: { setErrorHandler() {}, getUpdateErrors: refuse, applyUpdate: refuse, dispose() {} },
  };

  test('both reject with its sentence', async () => {
    const { updates } = packageOver(native, false);
    for (let round = 0; round < 2; ++round) {
      await assert.rejects(updates.applyUpdate(uri), sentence);
      await assert.rejects(updates.updateErrors(), sentence);
    }
  });

  test('what is wrong with a call is said all the same', async () => {
    const { updates } = packageOver(native, false);
    await assert.rejects(updates.applyUpdate('no address'), { name: 'TypeError', code: 'ERR_INVALID_URL' });
    await assert.rejects(updates.applyUpdate(uri, { signal: 1 }), wrongOption('signal'));
    await assert.rejects(updates.updateErrors({ limit: 0 }), wrongOption('limit'));
  });
});

test('the ES module gives the same functions', async () => {
  const imported = await import(pathToFileURL(path.join(root, 'updates.mjs')));
  assert.deepEqual(Object.keys(imported).sort(), ['UpdateError', 'applyUpdate', 'default', 'updateErrors']);
  assert.equal(imported.default.applyUpdate, imported.applyUpdate);
});
