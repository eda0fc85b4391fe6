// Scripts in their own processes: exit codes, crashes, debuggers. Output goes to files, because the Windows Node.js
// cannot write to pipes under Wine.
'use strict';
const { spawn } = require('node:child_process');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const { PATIENCE, until } = require('./until');

// What every child script has: the module, the desktop helpers and the usual waiting.
const PRELUDE = `'use strict';
const { zebbridge, collect, file, buildFile } = require(${JSON.stringify(path.join(__dirname, 'zebbridge.js'))});
const desktop = require(${JSON.stringify(path.join(__dirname, 'desktop.js'))});
const { until, turn } = require(${JSON.stringify(path.join(__dirname, 'until.js'))});
`;

// The exit code of std::terminate: Windows ends such a process with a fast fail, Wine's C runtime with its own code.
const onWine =
  process.platform === 'win32' && fs.existsSync(path.join(process.env.SystemRoot, 'system32', 'winecfg.exe'));
const TERMINATED = onWine ? 3 : 0xc0000409;

const temporaryFolder = () => fs.mkdtempSync(path.join(os.tmpdir(), 'zeb-'));

function prepare(script, { prelude = true } = {}) {
  const folder = temporaryFolder();
  const file = path.join(folder, 'child.js');
  fs.writeFileSync(file, (prelude ? PRELUDE : '') + script);
  return {
    folder,
    file,
    path: (name) => path.join(folder, name),
    read: (name) => fs.readFileSync(path.join(folder, name), 'utf8'),
  };
}

// Starts a script. `ended` resolves to { status, signal, stdout, stderr }; `line(text)` resolves when the script has
// printed that line.
function startScript(
  script,
  { executable = process.execPath, prelude = true, environment = {}, milliseconds = 60000 } = {},
) {
  const files = prepare(script, { prelude });
  const [out, err] = ['out', 'err'].map((name) => fs.openSync(files.path(name), 'w'));
  const child = spawn(executable, ['--expose-gc', files.file], {
    stdio: ['ignore', out, err],
    env: { ...process.env, ...environment },
  });
  for (const descriptor of [out, err]) fs.closeSync(descriptor);
  const timer = setTimeout(() => child.kill(), milliseconds * PATIENCE);
  const ended = new Promise((resolve, reject) => {
    child.on('error', reject).on('exit', (status, signal) => {
      clearTimeout(timer);
      resolve({ status, signal, stdout: files.read('out'), stderr: files.read('err') });
    });
  });
  return {
    pid: child.pid,
    kill: () => child.kill(),
    output: () => files.read('out'),
    ended,
    line: (text) =>
      until(`the line "${text}"`, () => {
        if (child.exitCode !== null)
          throw new Error(`ended with ${child.exitCode}: ${files.read('out')}${files.read('err')}`);
        return files.read('out').split('\n').includes(text);
      }),
  };
}

const runScript = (script, options) => startScript(script, options).ended;

// Runs a script with this process as its debugger: { exitCode, exceptions, debugStrings, output }. The script is ended
// at the first exception with the code `lastException`.
async function debugScript(script, { milliseconds = 60000, lastException = 0 } = {}) {
  const files = prepare(script);
  const { addon } = require('./desktop');
  const command = `"${process.execPath}" --expose-gc "${files.file}"`;
  const seen = await addon.debugRun(command, files.path('out'), milliseconds, lastException);
  const output = files.read('out');
  if (seen.failure) throw new Error(`${seen.failure}\n${output}`);
  return { ...seen, output };
}

module.exports = { TERMINATED, startScript, runScript, debugScript, temporaryFolder };
