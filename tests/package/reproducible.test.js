'use strict';

const assert = require('node:assert');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const { before, test } = require('node:test');
const { binaries, root } = require('./support/package.js');
const { run } = require('./support/run.js');

// The product a second time: from a copy of the sources in another folder and with another name for the sysroot, as on
// another machine, without sharing objects.
const builds = path.resolve(process.env.ZEB_BUILD, '..');
const again = path.join(builds, 'again');
const first = path.join(process.env.ZEB_BUILD, 'desktop');
const second = path.join(again, 'build/desktop');

before(() => {
  const sources = path.join(again, 'sources');
  fs.rmSync(again, { recursive: true, force: true });
  const left = ['.git', 'build', builds, process.env.ZEB_CACHE].map((name) =>
    path.relative(root, path.resolve(root, name)),
  );
  const packed = ['tar', 'c', '--exclude=node_modules', ...left.map((name) => `--exclude=./${name}`), '-C', root, '.'];
  fs.mkdirSync(sources, { recursive: true });
  const copied = run('sh', ['-c', '"$@" | tar x -C "$0"', sources, ...packed]);
  assert.strictEqual(copied.status, 0, copied.err);
  const sysroot = path.join(again, 'sysroot');
  fs.symlinkSync(process.env.ZEB_SYSROOT, sysroot);
  const options = { timeout: 1_400_000, env: { ...process.env, CCACHE_NAMESPACE: 'again' } };
  const build = path.join(again, 'build');
  for (const [command, ...args] of [
    [
      'cmake',
      '--preset',
      'windows-release',
      '-S',
      sources,
      '-B',
      build,
      '-DZEB_FLAVOURS=desktop',
      `-DZEB_SYSROOT=${sysroot}`,
    ],
    ['ninja', '-C', build, '-j', process.env.ZEB_JOBS, 'zebbridge_desktop'],
  ]) {
    const { status, out, err } = run(command, args, options);
    assert.strictEqual(status, 0, `${command}: ${out}${err}`);
  }
});

for (const name of ['zebbridge.node', 'zebbridge.pdb']) {
  test(`${name} is the same, byte for byte`, () => {
    const [one, other] = [first, second].map((folder) => fs.readFileSync(path.join(folder, name)));
    const difference = one.findIndex((byte, index) => byte !== other[index]);
    assert.ok(one.equals(other), `${one.length} and ${other.length} bytes, different from ${difference} on`);
  });
}

for (const { name, image, pdb } of binaries) {
  test(`${name}: neither the binary nor the PDB tells where it was built`, () => {
    // Not the names that take the place of the real ones.
    const mapped = /^\/(build|cache|googletest|libcxx|src|sysroot|zebbridge)?$/;
    const folders = [root, builds, process.env.ZEB_CACHE, os.homedir()].filter((folder) => !mapped.test(folder));
    for (const file of [image, pdb]) {
      for (const encoding of ['latin1', 'utf16le']) {
        const text = fs.readFileSync(file).toString(encoding).replaceAll('\\', '/');
        for (const folder of folders) {
          const at = text.indexOf(`${folder}/`);
          assert.ok(at < 0 || /[\w.-]/.test(text[at - 1]), `${folder} in ${file}`);
        }
      }
    }
  });
}
