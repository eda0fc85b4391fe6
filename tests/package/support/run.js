'use strict';

const { spawnSync } = require('node:child_process');
const path = require('node:path');
const { root } = require('./package.js');

// Runs a program to its end and returns { status, out, err }. It is an error if the program takes longer than a minute.
function run(command, args, options = {}) {
  const done = spawnSync(command, args, { encoding: 'utf8', timeout: 60_000, maxBuffer: 1 << 28, ...options });
  if (done.error) throw done.error;
  return { status: done.status, out: done.stdout, err: done.stderr };
}

// Runs a script in the Windows Node.js, or another program, with the stand-ins for system DLLs in system32.
function runInWindows(args, { program = path.join(process.env.ZEB_NODE_WIN, 'aligned/node.exe'), seconds = 120 } = {}) {
  return run(path.join(root, 'toolchain/wine/run'), [program, ...args], {
    env: {
      ...process.env,
      NODE_TEST_CONTEXT: undefined,
      ZEB_WINE_TIMEOUT: String(seconds),
      ZEB_WINE_SYSTEM32: path.join(process.env.ZEB_BUILD, 'system32'),
    },
    timeout: (seconds + 10) * 1000,
  });
}

module.exports = { run, runInWindows };
