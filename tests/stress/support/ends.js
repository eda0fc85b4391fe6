// What the scripts that end can use, in processes, workers and environments.
'use strict';
const { LOAD } = require('../../script/support/at_work');
const { file } = require('../../script/support/harness');

const environments = JSON.stringify(require.resolve('../../script/support/environments'));

const PRELUDE = `'use strict';
Object.assign(globalThis, { require, file: ${JSON.stringify(file)} });
(0, eval)(${JSON.stringify(LOAD)});
const say = (text) => require('node:fs').writeSync(1, text + '\\n');
const updating = (held) => globalThis.updating(held, (text) => say(text));
// The event announces the end of the process, not that of an environment.
const atExit = globalThis.atExit ?? ((work) => process.on('exit', work));
// The last work of the event loop: stops a capture with a full queue. Script is busy for longer than one drain takes.
const counting = (count) => {
  globalThis.events = 0;
  capturing(() => ++events);
  atExit(() => say(String(events)));
  return () => {
    queue(count);
    const from = Date.now();
    spin('the time', () => Date.now() > from + 2);
    capture.stopCapturing();
  };
};
// Another thread that calls the module when asked to, while this thread waits.
const asking = (what) => {
  const { Worker } = require('node:worker_threads');
  const flags = new Int32Array(new SharedArrayBuffer(8));
  new Worker('const { workerData: flags } = require("node:worker_threads");' +
    'const { diagnostics, shutdown } = require(' + JSON.stringify(${JSON.stringify(file)}) + ');' +
    'Atomics.wait(flags, 0, 0);' + what + '; Atomics.store(flags, 1, 1); Atomics.notify(flags, 1);',
    { eval: true, workerData: flags });
  return () => {
    Atomics.store(flags, 0, 1);
    Atomics.notify(flags, 0);
    return Atomics.wait(flags, 1, 0, 30000);
  };
};
`;

module.exports = { environments, file, PRELUDE };
