'use strict';

const { packageAddress } = require('./lib/absolute_uri.js');
const { abortError, checkedOptions, checkSignal } = require('./lib/options.js');
const { eventQuery } = require('./lib/event_query.js');
const { readRecords } = require('./lib/event_records.js');

// ---- updates ---------------------------------------------------------------------------------------------------------------

// A report of the native module that carries an HRESULT as a signed decimal number.
const RUNTIME_ERROR = /^winrt exception with message: ([^]*) and code: (-?\d+)$/;
const HRESULT = /\b0x[89a-f][0-9a-f]{7}\b/i; // only failures: the top bit is set

class UpdateError extends Error {
  constructor(report) {
    const [, message, code] = RUNTIME_ERROR.exec(report) ?? [undefined, report, HRESULT.exec(report)?.[0]];
    const hresult = code === undefined ? undefined : Number(code) >>> 0;
    const hex = hresult === undefined ? undefined : `0x${hresult.toString(16).toUpperCase().padStart(8, '0')}`;
    super(message.trim() || `Windows could not apply the update${hex ? ` (${hex})` : ''}`);
    this.code = hex;
    this.hresult = hresult;
  }
}
Object.defineProperty(UpdateError.prototype, 'name', { value: 'UpdateError', writable: true, configurable: true });

// True from the start of an update until its failure is reported. Success is never reported, because Windows closes the
// application.
let isUpdating = false;

async function applyUpdate(uri, options) {
  const { signal, schemes } = checkedOptions(options, ['signal', 'schemes']);
  checkSignal(signal);
  const address = packageAddress(uri, { schemes });
  if (signal?.aborted) throw abortError(signal);
  if (isUpdating) {
    throw Object.assign(new Error('An update is already running.'), { code: 'ERR_ZEBBRIDGE_UPDATE_RUNNING' });
  }
  const { msix_auto_updater: updater } = require('./lib/native.js').native; // not earlier: loading it may throw
  return new Promise((_, reject) => {
    // This only stops waiting: Windows continues an update that has begun.
    const onAbort = () => reject(abortError(signal));
    const fail = (error) => {
      isUpdating = false;
      updater.setErrorHandler(null);
      signal?.removeEventListener('abort', onAbort);
      reject(error);
    };
    updater.setErrorHandler((report) => fail(new UpdateError(report))); // first, because the start may report at once
    isUpdating = true;
    signal?.addEventListener('abort', onAbort, { once: true });
    try {
      updater.applyUpdate(address);
    } catch (error) {
      fail(error);
    }
  });
}

// ---- the event log -----------------------------------------------------------------------------------------------------------

async function updateErrors(options) {
  return readRecords(eventQuery(options));
}

module.exports = { applyUpdate, updateErrors, UpdateError };
