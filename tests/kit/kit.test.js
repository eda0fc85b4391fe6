// The kit for a real Windows: its contents, the workflow that runs it there, and a rehearsal in a fresh Wine prefix.
'use strict';
const assert = require('node:assert');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const { test } = require('node:test');
const { binaries, folder, manifest, releases, root } = require('../package/support/package.js');
const { run } = require('../package/support/run.js');

const name = `zebbridge-${manifest.version}-windows-check`;
const archive = path.join(folder, `${name}.zip`);
const workflow = path.join(root, '.github/workflows/windows-check.yml');
const work = fs.mkdtempSync(path.join(os.tmpdir(), 'zeb-'));
test.after(() => fs.rmSync(work, { recursive: true, force: true }));

const filesBelow = (top) =>
  fs
    .readdirSync(top, { recursive: true })
    .filter((file) => fs.statSync(path.join(top, file)).isFile())
    .sort();

test('the archive unpacks, with every binary, every Node.js and no PDB', () => {
  const done = run('python3', ['-m', 'zipfile', '-e', archive, work]);
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

// ---- the rehearsal --------------------------------------------------------------------------------------------------

test('a rehearsal in a fresh Wine prefix', { timeout: 1_500_000 }, (t) => {
  const kit = path.join(work, name);
  const before = filesBelow(kit);
  const done = run(
    path.join(root, 'toolchain/wine/desktop'),
    [
      path.join(root, 'toolchain/wine/run'),
      'cmd',
      '/c',
      `Z:${path.join(kit, 'check.cmd').replaceAll('/', '\\')}`,
      '--short',
      `${name}\\runtimes\\node${releases[0]}\\node.exe`, // from the folder above, as the workflow does it
    ],
    {
      cwd: work,
      env: {
        ...process.env,
        NODE_TEST_CONTEXT: undefined,
        WINEPREFIX: path.join(work, 'prefix'),
        ZEB_WINE_TIMEOUT: '1400',
      },
      timeout: 1_450_000,
    },
  );
  const [report, ...more] = filesBelow(kit).filter((file) => !before.includes(file));
  const text = report ? fs.readFileSync(path.join(kit, report), 'utf8') : '';
  assert.strictEqual(done.status, 0, `${done.out}${done.err}${text}`);
  const [, passed, failed, skipped] = /^(\d+) passed, (\d+) failed, (\d+) skipped\s*$/m.exec(done.out);
  t.diagnostic(`${passed} passed, ${failed} failed, ${skipped} skipped`);
  assert.ok(Number(passed) > 200, `${passed} passed`);
  assert.deepStrictEqual(more, []);
  assert.strictEqual(report, `${name}.txt`);
  assert.ok(text.includes(`${passed} passed, ${failed} failed, ${skipped} skipped`));
  assert.match(text, new RegExp(`module version ${process.versions.modules}`));
  for (const line of text.split('\r\n').filter((each) => /^ *skipped /.test(each)))
    assert.match(line, /: \S/, 'a reason');
  assert.ok(!text.includes(work), 'a path of this machine');

  const users = path.join(work, 'prefix/drive_c/users');
  const left = fs.readdirSync(users, { recursive: true }).filter((file) => /zeb/i.test(file));
  assert.deepStrictEqual(left, [], 'nothing is left behind');
});
