// The kit for a real Windows: its contents, the workflow that runs it there, and what its report says.
'use strict';
const assert = require('node:assert');
const { spawnSync } = require('node:child_process');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const { test } = require('node:test');
const { filesBelow, name, unpack } = require('./archive.js');
const { binaries, manifest, releases, root } = require('../package/support/package.js');
const { run } = require('../package/support/run.js');

const workflow = path.join(root, '.github/workflows/windows-check.yml');
const work = fs.mkdtempSync(path.join(os.tmpdir(), 'zeb-'));
test.after(() => fs.rmSync(work, { recursive: true, force: true }));

test('the archive unpacks, with every binary, every Node.js and no PDB', () => {
  const done = unpack(work);
  assert.strictEqual(done.status, 0, done.err);
  const files = filesBelow(path.join(work, name));
  for (const { abi } of binaries) {
    assert.ok(files.includes(`zebbridge/prebuilds/win32-x64/zebbridge.abi${abi}.node`), `module version ${abi}`);
  }
  for (const release of releases) assert.ok(files.includes(`runtimes/node${release}/node.exe`), `Node.js ${release}`);
  assert.match(
    fs.readFileSync(path.join(work, name, 'check.cmd'), 'latin1'),
    /^([^\n]*\r\n)+$/,
    'lines as cmd reads them',
  );
  assert.deepStrictEqual(
    files.filter((file) => /\.(pdb|exp|lib)$/i.test(file)),
    [],
  );
  for (const file of ['check.cmd', 'README.md']) {
    assert.ok(
      !fs.readFileSync(path.join(work, name, file), 'latin1').includes(root),
      `${file} has a path of this machine`,
    );
  }
});

test('equal contents give equal bytes', () => {
  const other = path.join(work, 'other');
  fs.mkdirSync(other);
  const files = filesBelow(path.join(work, name))
    .filter((file) => !file.startsWith('runtimes'))
    .reverse();
  const pack = (target) =>
    assert.strictEqual(run('python3', [path.join(root, 'toolchain/zip.py'), path.join(other, name), target]).status, 0);
  const copy = (order) => {
    fs.rmSync(path.join(other, name), { recursive: true, force: true });
    for (const file of order) fs.cpSync(path.join(work, name, file), path.join(other, name, file));
  };
  copy(files);
  pack(path.join(work, 'first.zip'));
  copy([...files].reverse());
  fs.utimesSync(path.join(other, name, 'check.cmd'), 1, 1);
  fs.chmodSync(path.join(other, name, 'check.cmd'), 0o777);
  pack(path.join(work, 'second.zip'));
  assert.ok(fs.readFileSync(path.join(work, 'first.zip')).equals(fs.readFileSync(path.join(work, 'second.zip'))));
});

// ---- the workflow ---------------------------------------------------------------------------------------------------

const validate = (file) =>
  run(process.execPath, [path.join(process.env.ZEB_PACKAGE_TOOLS, 'node_modules/@action-validator/cli/cli.mjs'), file]);

test('the workflow is one by the published schema', () => {
  const { status, out, err } = validate(workflow);
  assert.strictEqual(status, 0, out + err);
  const broken = path.join(work, 'broken.yml');
  fs.writeFileSync(broken, fs.readFileSync(workflow, 'utf8').replace('runs-on: windows-2025', 'runs_on: windows-2025'));
  assert.notStrictEqual(validate(broken).status, 0, 'the validator finds what is wrong');
});

test('the workflow runs what the kit has', () => {
  const text = fs.readFileSync(workflow, 'utf8');
  assert.match(text, /kit\\check\.cmd kit\\runtimes\\node\$\{\{ matrix\.node \}\}\\node\.exe/);
});

// ---- the report -----------------------------------------------------------------------------------------------------

// Runs check.js here, in a kit whose checks all pass unless the script of one is given: { status, signal, lines, text,
// temporary }, with the lines on the screen, the report's text, and the paths below the temporary folder.
function check(
  scripts = {},
  {
    before = () => {},
    preload = '',
    buttons = 'exports.buttonsSwapped = () => false;',
    runtime = process.execPath,
  } = {},
) {
  const kit = fs.mkdtempSync(path.join(work, 'kit-'));
  const write = (file, text) => {
    fs.mkdirSync(path.dirname(path.join(kit, file)), { recursive: true });
    fs.writeFileSync(path.join(kit, file), text);
  };
  const { modules } = process.versions;
  for (const file of ['check.js', 'support/about.js', 'support/remove.js', 'support/reporter.js'])
    write(`tests/kit/${file}`, fs.readFileSync(path.join(__dirname, file), 'utf8'));
  write('zebbridge/package.json', JSON.stringify(manifest));
  write(`zebbridge/prebuilds/win32-x64/zebbridge.abi${modules}.node`, 'a binary');
  // A folder in the add-on's place, because require() accepts one.
  write(`native/node-${modules}/node/desktop-control.node/index.js`, buttons);
  for (const file of fs.readdirSync(path.join(__dirname, 'checks')).concat('../../script/ends.test.js')) {
    const script = scripts[path.basename(file, '.test.js')] ?? '';
    write(`tests/kit/checks/${file}`, `require('node:test').test('a check', () => { ${script} });`);
  }
  write('preload.js', preload);
  fs.mkdirSync(path.join(kit, 'temporary'));
  const report = path.join(kit, `${name}.txt`);
  before(report);
  const done = spawnSync(
    process.execPath,
    ['--require', './preload.js', path.join(kit, 'tests/kit/check.js'), runtime],
    {
      cwd: kit,
      encoding: 'utf8',
      env: {
        ...process.env,
        NODE_TEST_CONTEXT: undefined,
        NODE_OPTIONS: '--no-warnings',
        TMPDIR: path.join(kit, 'temporary'),
      },
      timeout: 120_000,
    },
  );
  return {
    status: done.status,
    signal: done.signal,
    lines: (done.stdout + done.stderr).trimEnd().split('\n'),
    text: fs.statSync(report).isFile() ? fs.readFileSync(report, 'utf8') : '',
    temporary: fs.readdirSync(path.join(kit, 'temporary'), { recursive: true }),
  };
}
const inTemporary = `require('fs').writeFileSync(require('path').join(process.env.TEMP, 'held'), '');`;

test('a report has every check, and its last line is that of the screen', () => {
  const { status, lines, text, temporary } = check({ image: `throw Error('an image')`, system: inTemporary });
  assert.strictEqual(lines.at(-1), '6 passed, 1 failed, 9 skipped');
  assert.match(text, /\r\n6 passed, 1 failed, 9 skipped in \d+ s\r\n$/);
  assert.match(text, /\r\nimage\r\n {2}failed {2}a check \(\d+ ms\)\r\n {6}Error: an image\r\n/);
  assert.strictEqual(status, 1);
  assert.deepStrictEqual(temporary, []);
});

test('without a report, no check runs', () => {
  const before = (report) => fs.mkdirSync(report);
  const { status, lines } = check({}, { before });
  assert.strictEqual(lines.length, 1, lines.join('\n'));
  assert.match(lines[0], /^The report cannot be written \(EISDIR.*unpack the archive into a folder of your own/);
  assert.strictEqual(status, 1);
});

test('a check that is ended leaves the report up to there', () => {
  const { signal, text } = check({ image: `process.kill(process.ppid, 'SIGKILL')` });
  assert.strictEqual(signal, 'SIGKILL');
  assert.match(text, /\r\nprograms\r\n {2}passed {2}a check \(\d+ ms\)\r\n\r\nimage\r\n$/);
});

test('a file that is held fails no check, and the screen and the report name it', () => {
  const preload = `const fs = require('fs');
    const { rmSync } = fs;
    fs.rmSync = (folder, options) => {
      const held = fs.readdirSync(folder, { recursive: true }).find((file) => file.endsWith('held'));
      if (held) throw Error('EBUSY: ' + require('path').join(folder, held));
      rmSync(folder, options);
    };`;
  const { status, lines, text, temporary } = check({ programs: inTemporary }, { preload });
  assert.strictEqual(lines.at(-1), '7 passed, 0 failed, 9 skipped');
  assert.match(text, /\r\n7 passed, 0 failed, 9 skipped in \d+ s\r\n$/);
  assert.strictEqual(status, 0);
  const file = temporary.find((each) => each.endsWith('held'));
  const told = lines.find((line) => line.includes('please delete it'));
  assert.ok(told.includes(file.split(path.sep)[0]) && told.includes(file), told);
  const [, inside] = /please delete it\. EBUSY: <temporary>\/(.*)\r\n/.exec(text);
  assert.ok(file.endsWith(inside), inside);
  assert.strictEqual(temporary.filter((each) => each.endsWith('results')).length, 1, 'of one check only');
});

test('a check whose output cannot be read fails, and the next ones run', () => {
  const image = `require('fs').rmSync(require('path').join(process.env.TEMP, '../output'));`;
  const { lines, text } = check({ image });
  assert.match(text, /\r\nimage\r\n {2}failed {2}\S*image\.test\.js has no results \(0 ms\)\r\n {6}Error: ENOENT/);
  assert.strictEqual(lines.at(-1), '6 passed, 1 failed, 9 skipped');
});

test('a check that ends before its last test fails', () => {
  const { lines, text } = check({ image: 'process.exit(0);' });
  assert.match(text, /image\.test\.js ended with 0x0 before its last check/);
  assert.strictEqual(lines.at(-1), '6 passed, 1 failed, 9 skipped');
});

test('a check whose tests pass fails if its process does', () => {
  const { lines, text } = check({ image: `process.on('exit', () => { process.exitCode = 7; });` });
  assert.match(text, /image\.test\.js ended with 0x7 \(0 ms\)/);
  assert.strictEqual(lines.at(-1), '7 passed, 1 failed, 9 skipped');
});

test('a check that never ends is ended, and fails', () => {
  const preload = `const real = setTimeout;
    globalThis.setTimeout = (work, ms, ...rest) => real(work, ms === 300_000 ? 2000 : ms, ...rest);`;
  const image = 'setInterval(() => {}, 1000); return new Promise(() => {});';
  const { lines, text } = check({ image }, { preload });
  assert.match(text, /ended after 300 s/);
  assert.strictEqual(lines.at(-1), '6 passed, 1 failed, 9 skipped');
});

test('suites are no checks; notes, reasons and nested tests are in the report', () => {
  const image = `});
    const { describe, test } = require('node:test');
    describe('a suite', () => {
      test('inside', (t) => t.diagnostic('a note'));
      test('left out', { skip: 'a reason' }, () => {});
    });
    test('outer', async (t) => { await t.test('inner', () => { throw Error('once'); }); });
    test('last', () => {`;
  const { lines, text } = check({ image });
  assert.match(text, /passed {2}inside \(\d+ ms\)\r\n {6}a note\r\n/);
  assert.match(text, /skipped {2}left out: a reason\r\n/);
  assert.strictEqual(text.match(/Error: once/g).length, 1);
  assert.ok(lines.some((line) => line.includes('failed: inner')));
  assert.strictEqual(lines.at(-1), '9 passed, 1 failed, 10 skipped');
});

test('a program that is not Node.js fails', () => {
  const { status, lines } = check({}, { runtime: '/bin/false' });
  assert.match(lines.join('\n'), /\/bin\/false does not run as Node\.js/);
  assert.strictEqual(lines.at(-1), '0 passed, 1 failed, 0 skipped');
  assert.strictEqual(status, 1);
});

test("options for the user's own Node.js do not reach the checks", () => {
  const { lines } = check({ image: `require('assert').equal(process.env.NODE_OPTIONS, undefined);` });
  assert.strictEqual(lines.at(-1), '7 passed, 0 failed, 9 skipped');
});

test('buttons that are swapped are not during the checks, and are again afterwards', () => {
  const buttons = `let swapped = true;
    exports.buttonsSwapped = () => swapped;
    exports.swapButtons = (wanted) => { swapped = wanted; console.log('swapped:', wanted); };`;
  const { lines } = check({}, { buttons });
  assert.deepStrictEqual(
    lines.filter((line) => line.startsWith('swapped')),
    ['swapped: false', 'swapped: true'],
  );
});

test('what ends the run early is in the report, after the results', () => {
  const buttons = `exports.buttonsSwapped = () => { exports.buttonsSwapped = () => { throw Error('no desktop'); }; };`;
  const { status, lines, text, temporary } = check({}, { buttons });
  assert.match(text, /\r\n\r\nThe check has stopped early: Error: no desktop\r\n/);
  assert.match(text, /\r\n7 passed, 1 failed, 9 skipped in \d+ s\r\n$/);
  assert.strictEqual(lines.at(-1), '7 passed, 1 failed, 9 skipped');
  assert.strictEqual(status, 1);
  assert.deepStrictEqual(temporary, []);
});

test('a full disk does not hide the results', () => {
  const before = (report) => fs.symlinkSync('/dev/full', report);
  const { status, lines } = check({}, { before });
  assert.match(lines.at(-2), /^The report is incomplete \(ENOSPC/);
  assert.strictEqual(lines.at(-1), '7 passed, 0 failed, 9 skipped');
  assert.strictEqual(status, 1);
});
