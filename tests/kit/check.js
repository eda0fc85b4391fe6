// node check.js [--short] [RUNTIME...]: runs every check in each runtime (by default those in the kit's folder), prints
// its progress, and writes one report beside check.cmd. Exits with 1 if a check failed. Everything else that it writes
// is in one temporary folder, which it removes.
'use strict';
const { spawn } = require('node:child_process');
const crypto = require('node:crypto');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');

const root = path.resolve(__dirname, '..', '..');
const { version } = require(path.join(root, 'zebbridge', 'package.json'));
const reportFile = path.join(root, `zebbridge-${version}-windows-check.txt`);
const work = fs.mkdtempSync(path.join(os.tmpdir(), 'zebbridge-check-'));

// The folders of native parts are named by flavour and module version, such as native/node24-137.
const natives = path.join(root, 'native');
const nativeFolder = (modules) => fs.readdirSync(natives).find((name) => name.endsWith(`-${modules}`));

// The checks, with what they need besides the module and the seconds that they may take.
const own = (name, seconds) => ({
  name,
  file: path.join('tests', 'kit', 'checks', `${name}.test.js`),
  needs: [],
  seconds,
});
const script = (name, needs = ['binding-probe.node'], seconds = 600) => ({
  name: `script: ${name}`,
  file: path.join('tests', 'script', `${name}.test.js`),
  needs,
  seconds,
});
const CHECKS = [
  own('loading', 600),
  own('programs', 600),
  own('image', 300),
  own('system', 600),
  own('raw-input', 900),
  script('exports'),
  script('binding-arguments'),
  script('binding-objects'),
  script('binding-results'),
  script('misuse'),
  script('hardware'),
  script('capture-lifetime'),
  script('capture-workers'),
  script('ends', []),
  script('several-environments', ['harness.node', 'environments.node'], 900),
  own('exit-codes', 7200),
];

const report = [];
const totals = { passed: 0, failed: 0, skipped: 0 };
const sentence = ({ passed, failed, skipped }) => `${passed} passed, ${failed} failed, ${skipped} skipped`;

// What describes the machine or its user, but not the module, is kept out of the report.
const PRIVATE = [
  [work, '<temporary>'],
  [fs.realpathSync(work), '<temporary>'],
  [root, '<kit>'],
  [os.homedir(), '<home>'],
];
function plain(text) {
  let result = String(text);
  for (const [found, put] of PRIVATE) {
    for (const form of [found, found.replaceAll('\\', '\\\\'), found.replaceAll('\\', '/')])
      result = result.replaceAll(form, put);
  }
  return result;
}

const say = (text) => console.log(text);
const tell = (text, indent = '') => report.push(plain(text).trimEnd().replaceAll(/^/gm, indent));

// Runs a program with its output in a file: { status, output }. A program that takes too long is ended with all its
// children.
function run(program, args, { environment = {}, seconds = 60 } = {}) {
  return new Promise((resolve) => {
    const file = path.join(work, 'output');
    const descriptor = fs.openSync(file, 'w');
    const child = spawn(program, args, {
      cwd: root,
      stdio: ['ignore', descriptor, descriptor],
      env: { ...process.env, ...environment },
    });
    fs.closeSync(descriptor);
    let late = '';
    const timer = setTimeout(() => {
      late = `\nended after ${seconds} s`;
      spawn('taskkill.exe', ['/t', '/f', '/pid', String(child.pid)], { stdio: 'ignore' }).on('error', () =>
        child.kill(),
      );
    }, seconds * 1000);
    const end = (status) => {
      clearTimeout(timer);
      resolve({ status, output: fs.readFileSync(file, 'utf8') + late });
    };
    child.on('error', (error) => end(error.message)).on('exit', end);
  });
}

function count(results) {
  const counts = { passed: 0, failed: 0, skipped: 0 };
  for (const { result, name, ms, reason, notes = [] } of results) {
    ++counts[result];
    ++totals[result];
    tell(`${result}  ${name}${result === 'skipped' ? `: ${reason}` : ` (${ms} ms)`}`, '  ');
    if (result === 'failed') tell(reason, '      ');
    for (const note of notes) tell(note, '      ');
  }
  return counts;
}

// The results of one file of checks, as reporter.js has written them.
async function resultsOf(runtime, { file, needs, seconds }, environment) {
  const folder = path.join(environment.ZEB_BUILD, 'node');
  const missing = needs.find((name) => !fs.existsSync(path.join(folder, name)));
  if (missing) return [{ name: file, result: 'skipped', reason: `the kit has no ${missing} for this runtime` }];
  const results = path.join(work, 'results');
  fs.rmSync(results, { force: true });
  const { status, output } = await run(
    runtime,
    ['--expose-gc', '--test-reporter=./tests/kit/support/reporter.js', `--test-reporter-destination=${results}`, file],
    { environment, seconds },
  );
  const lines = fs.existsSync(results) ? fs.readFileSync(results, 'utf8').split('\n').filter(Boolean) : [];
  const list = lines.map((line) => JSON.parse(line));
  const complete = list.at(-1)?.end === true;
  if (complete) list.pop();
  const failed = list.some(({ result }) => result === 'failed');
  if (!complete || list.length === 0 || (status !== 0 && !failed)) {
    const code = typeof status === 'number' ? `0x${(status >>> 0).toString(16)}` : status;
    list.push({
      name: `${file} ended with ${code}${complete ? '' : ' before its last check'}`,
      result: 'failed',
      ms: 0,
      reason: output.slice(-4000),
    });
  }
  return list;
}

const sha256 = (file) => crypto.createHash('sha256').update(fs.readFileSync(file)).digest('hex');

async function checkRuntime(runtime, short) {
  const about = await run(runtime, [path.join(__dirname, 'support', 'about.js')]);
  let versions;
  try {
    versions = JSON.parse(about.output);
  } catch {
    say(`${runtime} does not run as Node.js: ${about.output.trim() || about.status}`);
    tell(`\n${runtime} does not run as Node.js: ${about.output.trim() || about.status}`);
    ++totals.failed;
    return;
  }
  const native = nativeFolder(versions.modules);
  const title = `Node.js ${versions.node}, module version ${versions.modules}, V8 ${versions.v8}`;
  say(`\n${title}`);
  tell(`\n${title}\n${'='.repeat(title.length)}`);
  if (!native) {
    say('  no binary of the package is for this module version');
    tell('failed  no binary of the package is for this module version');
    ++totals.failed;
    return;
  }
  const temporary = path.join(work, 'files');
  const environment = {
    ZEB_BUILD: path.join(natives, native),
    ZEB_KIT_FLAVOUR: native.split('-')[0],
    ZEB_FLAVOUR: undefined,
    ZEB_KIT_SHORT: short ? '1' : '',
    TMP: temporary,
    TEMP: temporary,
    NODE_TEST_CONTEXT: undefined,
    NODE_OPTIONS: undefined,
  };
  const binary = path.join(root, 'zebbridge', 'prebuilds', 'win32-x64', `zebbridge.abi${versions.modules}.node`);
  tell(`the binary: sha256 ${sha256(binary)}`);
  for (const check of CHECKS) {
    fs.mkdirSync(temporary, { recursive: true });
    const begin = Date.now();
    tell(`\n${check.name}`);
    const results = await resultsOf(runtime, check, environment);
    const counts = count(results);
    say(`  ${check.name.padEnd(30)} ${sentence(counts)}, ${Math.round((Date.now() - begin) / 1000)} s`);
    for (const { result, name } of results) if (result === 'failed') say(`      failed: ${plain(name)}`);
    fs.rmSync(temporary, { recursive: true, force: true, maxRetries: 10 });
  }
}

function bundled() {
  const folder = path.join(root, 'runtimes');
  return fs
    .readdirSync(folder)
    .sort()
    .map((name) => path.join(folder, name, 'node.exe'));
}

// Checks swap the buttons for a moment. Whatever happens to a check, the buttons are as before at the end.
async function withButtonsAsFound(work) {
  const addon = require(path.join(natives, nativeFolder(process.versions.modules), 'node', 'desktop-control.node'));
  const swapped = addon.buttonsSwapped();
  try {
    if (swapped) addon.swapButtons(false);
    await work();
  } finally {
    if (addon.buttonsSwapped() !== swapped) addon.swapButtons(swapped);
  }
}

async function main() {
  const args = process.argv.slice(2);
  const short = args.includes('--short');
  const named = args
    .filter((each) => each !== '--short')
    .map((each) => path.resolve(process.env.ZEB_KIT_CALLER || '.', each));
  const runtimes = named.length ? named : bundled();
  const begin = Date.now();
  tell(`zebbridge ${version}, checked on ${new Date(begin).toISOString()}${short ? ', the short way' : ''}`);
  tell(
    `${os.version()}, ${os.release()}, ${os.arch()}; ${os.cpus().length} x ${os.cpus()[0]?.model.trim()}; ${Math.round(os.totalmem() / 2 ** 30)} GB`,
  );
  tell(`language ${Intl.DateTimeFormat().resolvedOptions().locale}; session ${process.env.SESSIONNAME ?? 'unnamed'}`);
  say(
    `zebbridge ${version}: ${runtimes.length} runtime${runtimes.length > 1 ? 's' : ''}. Please leave mouse and keyboard alone until the last line.`,
  );
  await withButtonsAsFound(async () => {
    for (const runtime of runtimes) await checkRuntime(runtime, short);
  });
  tell(`\n${sentence(totals)} in ${Math.round((Date.now() - begin) / 1000)} s`);
  fs.writeFileSync(reportFile, `${report.join('\n')}\n`.replaceAll('\r\n', '\n').replaceAll('\n', '\r\n'));
  say(`\n${sentence(totals)}`);
  say(`The report: ${reportFile}`);
  process.exitCode = totals.failed ? 1 : 0;
}

main()
  .catch((error) => {
    console.error(error);
    process.exitCode = 1;
  })
  .finally(() => fs.rmSync(work, { recursive: true, force: true, maxRetries: 10 }));
