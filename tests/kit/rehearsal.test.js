// The kit for a real Windows, run in a fresh Wine prefix as its users run it.
'use strict';
const assert = require('node:assert');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const { test } = require('node:test');
const { filesBelow, name, unpack } = require('./archive.js');
const { releases, root } = require('../package/support/package.js');
const { run } = require('../package/support/run.js');

const work = fs.mkdtempSync(path.join(os.tmpdir(), 'zeb-'));
test.after(() => fs.rmSync(work, { recursive: true, force: true }));

test('a rehearsal in a fresh Wine prefix', { timeout: 1_500_000 }, (t) => {
  assert.strictEqual(unpack(work).status, 0);
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
