// node check.js [--short] [RUNTIME...]: runs every check in each runtime (by default those in the kit's folder), prints
// its progress, and writes one report beside check.cmd. Exits with 1 if a check failed or could not run. Everything else
// that it writes is in one temporary folder, which it removes.
'use strict';
const { spawn } = require('node:child_process');
const crypto = require('node:crypto');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const remove = require('./support/remove.js');

const root = path.resolve(__dirname, '..', '..');
const { version } = require(path.join(root, 'zebbridge', 'package.json'));
const reportFile = path.join(root, `zebbridge-${version}-windows-check.txt`);

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

const totals = { passed: 0, failed: 0, skipped: 0 };
const sentence = ({ passed, failed, skipped }) => `${passed} passed, ${failed} failed, ${skipped} skipped`;

// What describes the machine or its user, but not the module, is kept out of the report.
const PRIVATE = [
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

// The report, which grows with every line, so that a run that somebody stops leaves what it has found.
let report;
let unwritten; // why a line is not in it

const say = (text) => console.log(text);
function tell(text, indent = '') {
  const lines = plain(text).trimEnd().replaceAll('\r\n', '\n').replaceAll(/^/gm, indent);
  try {
    fs.writeFileSync(report, `${lines}\n`.replaceAll('\n', '\r\n'));
  } catch (error) {
    unwritten ??= error;
  }
}
function announce(text) {
  say(text);
  tell(text);
}

// Runs a program with its output in a file of the folder: { status, output }. A program that takes too long is ended
// with all its children.
async function run(program, args, folder, { environment = {}, seconds = 60 } = {}) {
  const file = path.join(folder, 'output');
  let late = '';
  const status = await new Promise((resolve) => {
    const descriptor = fs.openSync(file, 'w');
    const child = spawn(program, args, {
      cwd: root,
      stdio: ['ignore', descriptor, descriptor],
      env: { ...process.env, ...environment },
    });
    fs.closeSync(descriptor);
    const timer = setTimeout(() => {
      late = `\nended after ${seconds} s`;
      spawn('taskkill.exe', ['/t', '/f', '/pid', String(child.pid)], { stdio: 'ignore' }).on('error', () =>
        child.kill(),
      );
    }, seconds * 1000);
    const end = (status) => {
      clearTimeout(timer);
      resolve(status);
    };
    child.on('error', (error) => end(error.message)).on('exit', end);
  });
  return { status, output: fs.readFileSync(file, 'utf8') + late };
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

// The results of one file of checks, as reporter.js has written them. Its files are in the folder.
async function resultsOf(runtime, { file, needs, seconds }, folder, environment) {
  const addons = path.join(environment.ZEB_BUILD, 'node');
  const missing = needs.find((name) => !fs.existsSync(path.join(addons, name)));
  if (missing) return [{ name: file, result: 'skipped', reason: `the kit has no ${missing} for this runtime` }];
  const results = path.join(folder, 'results');
  const temporary = path.join(folder, 'files');
  fs.mkdirSync(temporary);
  const { status, output } = await run(
    runtime,
    ['--expose-gc', '--test-reporter=./tests/kit/support/reporter.js', `--test-reporter-destination=${results}`, file],
    folder,
    { environment: { ...environment, TMP: temporary, TEMP: temporary }, seconds },
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

async function checkRuntime(runtime, short, work) {
  const about = await run(runtime, [path.join(__dirname, 'support', 'about.js')], work);
  let versions;
  try {
    versions = JSON.parse(about.output);
  } catch {
    announce(`\n${runtime} does not run as Node.js: ${about.output.trim() || about.status}`);
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
  const environment = {
    ZEB_BUILD: path.join(natives, native),
    ZEB_KIT_FLAVOUR: native.split('-')[0],
    ZEB_FLAVOUR: undefined,
    ZEB_KIT_SHORT: short ? '1' : '',
    NODE_TEST_CONTEXT: undefined,
    NODE_OPTIONS: undefined,
  };
  const binary = path.join(root, 'zebbridge', 'prebuilds', 'win32-x64', `zebbridge.abi${versions.modules}.node`);
  tell(`the binary: sha256 ${sha256(binary)}`);
  for (const check of CHECKS) {
    // Each check has a folder of its own, because that of the last one may still be held.
    const folder = fs.mkdtempSync(work + path.sep);
    const begin = Date.now();
    tell(`\n${check.name}`);
    const results = await resultsOf(runtime, check, folder, environment).catch((error) => [
      { name: `${check.file} has no results`, result: 'failed', ms: 0, reason: error.stack },
    ]);
    const counts = count(results);
    say(`  ${check.name.padEnd(30)} ${sentence(counts)}, ${Math.round((Date.now() - begin) / 1000)} s`);
    for (const { result, name } of results) if (result === 'failed') say(`      failed: ${plain(name)}`);
    remove(folder);
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
async function withButtonsAsFound(action) {
  const addon = require(path.join(natives, nativeFolder(process.versions.modules), 'node', 'desktop-control.node'));
  const swapped = addon.buttonsSwapped();
  try {
    if (swapped) addon.swapButtons(false);
    await action();
  } finally {
    if (addon.buttonsSwapped() !== swapped) addon.swapButtons(swapped);
  }
}

async function checkAll(work) {
  const args = process.argv.slice(2);
  const short = args.includes('--short');
  const named = args
    .filter((each) => each !== '--short')
    .map((each) => path.resolve(process.env.ZEB_KIT_CALLER || '.', each));
  const runtimes = named.length ? named : bundled();
  tell(`zebbridge ${version}, checked on ${new Date().toISOString()}${short ? ', the short way' : ''}`);
  tell(
    `${os.version()}, ${os.release()}, ${os.arch()}; ${os.cpus().length} x ${os.cpus()[0]?.model.trim()}; ${Math.round(os.totalmem() / 2 ** 30)} GB`,
  );
  tell(`language ${Intl.DateTimeFormat().resolvedOptions().locale}; session ${process.env.SESSIONNAME ?? 'unnamed'}`);
  say(
    `zebbridge ${version}: ${runtimes.length} runtime${runtimes.length > 1 ? 's' : ''}. Please leave mouse and keyboard alone until the last line.`,
  );
  await withButtonsAsFound(async () => {
    for (const runtime of runtimes) await checkRuntime(runtime, short, work);
  });
}

async function main() {
  process.exitCode = 1;
  try {
    report = fs.openSync(reportFile, 'w');
  } catch (error) {
    say(
      `The report cannot be written (${error.message}): close the program that has it open, or unpack the archive into a folder of your own, and start the check again.`,
    );
    return;
  }
  const begin = Date.now();
  let work;
  try {
    work = fs.mkdtempSync(path.join(os.tmpdir(), 'zebbridge-check-'));
    PRIVATE.unshift([work, '<temporary>'], [fs.realpathSync(work), '<temporary>']);
    await checkAll(work);
  } catch (error) {
    ++totals.failed;
    announce(`\nThe check has stopped early: ${error.stack}`);
  }
  const held = work && remove(work);
  if (held) announce(`\nThe temporary folder ${work} could not be removed; please delete it. ${held.message}`);
  tell(`\n${sentence(totals)} in ${Math.round((Date.now() - begin) / 1000)} s`);
  say(`\nThe report${unwritten ? ` is incomplete (${unwritten.message})` : ''}: ${reportFile}`);
  say(sentence(totals));
  process.exitCode = totals.failed || unwritten ? 1 : 0;
}

main();
