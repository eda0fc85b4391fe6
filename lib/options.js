'use strict';

// What zebbridge/pointer and zebbridge/updates share: checks of their options, and errors of an aborted signal.

function invalidOption(name, wanted) {
  return Object.assign(new TypeError(`The option "${name}" must be ${wanted}.`), { code: 'ERR_INVALID_ARG_VALUE' });
}

// Returns the options, or an empty object if there are none. Refuses unknown names, because a misspelt option would
// otherwise do nothing.
function checkedOptions(options, names) {
  if (options === undefined) return {};
  if (typeof options !== 'object' || options === null) {
    throw Object.assign(new TypeError('The options must be an object.'), { code: 'ERR_INVALID_ARG_TYPE' });
  }
  const unknown = Object.keys(options).find((name) => !names.includes(name));
  if (unknown !== undefined) throw invalidOption(unknown, `one of ${names.join(', ')}`);
  return options;
}

function checkSignal(signal) {
  if (signal === undefined) return;
  if (typeof signal?.aborted !== 'boolean' || typeof signal.addEventListener !== 'function') {
    throw invalidOption('signal', 'an AbortSignal');
  }
}

// What an aborted operation rejects with; the runtime's own operations do the same.
function abortError(signal) {
  const error = new Error('The operation was aborted', { cause: signal.reason });
  return Object.assign(error, { name: 'AbortError', code: 'ABORT_ERR' });
}

module.exports = { invalidOption, checkedOptions, checkSignal, abortError };
