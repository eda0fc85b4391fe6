// A reporter of node:test that writes one line of JSON per result: { name, result, ms, reason, notes }.
'use strict';

const SUMMARY = /^(tests|suites|pass|fail|cancelled|skipped|todo|duration_ms) /;

function reasonOf(error) {
  if (!error) return '';
  const cause = error.cause ?? error;
  return String(cause?.stack ?? cause?.message ?? cause);
}

module.exports = async function* report(source) {
  let last = null;
  for await (const { type, data } of source) {
    if (type === 'test:diagnostic') {
      if (last && !SUMMARY.test(data.message)) last.notes.push(data.message);
    } else if (type === 'test:pass' || type === 'test:fail') {
      if (last) yield `${JSON.stringify(last)}\n`;
      last = null;
      const { error, duration_ms: ms } = data.details;
      // A suite is not a check, and a failure inside a test has already been counted.
      if (data.details.type === 'suite' && type === 'test:pass') continue;
      if (error?.failureType === 'subtestsFailed') continue;
      const skipped = data.skip !== undefined;
      last = {
        name: data.name,
        result: skipped ? 'skipped' : type === 'test:pass' ? 'passed' : 'failed',
        ms: Math.round(ms),
        reason: skipped ? String(data.skip) : reasonOf(error),
        notes: [],
      };
    }
  }
  if (last) yield `${JSON.stringify(last)}\n`;
  yield '{"end":true}\n';
};
