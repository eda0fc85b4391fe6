// What every check uses: where things are, how to run processes, and the texts that the report keeps.
'use strict';
const { spawn } = require('node:child_process');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const remove = require('./remove.js');

const root = path.resolve(__dirname, '..', '..', '..');
const scripts = path.join(root, 'tests', 'script', 'support');
const { file, buildFile } = require(path.join(scripts, 'zebbridge.js'));
const { until, turn } = require(path.join(scripts, 'until.js'));
const manifest = require(path.join(root, 'zebbridge', 'package.json'));

const system = (...parts) => path.join(process.env.SystemRoot, 'System32', ...parts);
const wine = fs.existsSync(system('winecfg.exe'));

const temporaryFolder = () => fs.mkdtempSync(path.join(os.tmpdir(), 'zeb-'));

// Runs a program to its end: { status, signal, output, ms, pid }. The output goes to a file, because pipes do not work
// on every system.
async function run(program, args = [], { environment = {}, folder, milliseconds = 60000, started = () => {} } = {}) {
  const output = path.join(temporaryFolder(), 'output');
  const descriptor = fs.openSync(output, 'w');
  const begin = process.hrtime.bigint();
  const child = spawn(program, args, {
    stdio: ['ignore', descriptor, descriptor],
    cwd: folder,
    windowsHide: true,
    env: { ...process.env, NODE_TEST_CONTEXT: undefined, ...environment },
  });
  fs.closeSync(descriptor);
  const timer = setTimeout(() => child.kill(), milliseconds);
  try {
    const ended = new Promise((resolve, reject) => {
      child.on('error', reject).on('exit', (status, signal) => resolve({ status, signal }));
    });
    const [result] = await Promise.all([ended, child.pid && started(child)]);
    return {
      ...result,
      ms: Number((process.hrtime.bigint() - begin) / 1000000n),
      output: fs.readFileSync(output, 'utf8'),
    };
  } finally {
    clearTimeout(timer);
    remove(path.dirname(output));
  }
}

const PRELUDE = `'use strict';
const { zebbridge, collect, file, buildFile } = require(${JSON.stringify(path.join(scripts, 'zebbridge.js'))});
const { until, turn } = require(${JSON.stringify(path.join(scripts, 'until.js'))});
const lazy = (name) => require(${JSON.stringify(scripts)} + '/' + name);
`;

// Runs a script in a new process of a runtime, by default this one.
async function runScript(
  script,
  { executable = process.execPath, flags = ['--expose-gc'], prelude = PRELUDE, ...options } = {},
) {
  const folder = temporaryFolder();
  try {
    fs.writeFileSync(path.join(folder, 'script.js'), prelude + script);
    return await run(executable, [...flags, path.join(folder, 'script.js')], options);
  } finally {
    remove(folder);
  }
}

module.exports = {
  root,
  file,
  buildFile,
  until,
  turn,
  manifest,
  system,
  wine,
  temporaryFolder,
  remove,
  run,
  runScript,
  programs: path.join(root, 'programs'),
  short: Boolean(process.env.ZEB_KIT_SHORT),
  flavour: process.env.ZEB_KIT_FLAVOUR,
  // Why a check does not run where only Windows has what it tests.
  onlyWindows: (what) => (wine ? `only Windows has ${what}` : false),
  // Keeps a text or a figure in the report.
  note: (t, what, value) => t.diagnostic(`${what}: ${typeof value === 'string' ? value : JSON.stringify(value)}`),
  hex: (status) => (typeof status === 'number' ? `0x${(status >>> 0).toString(16).padStart(8, '0')}` : String(status)),
};
