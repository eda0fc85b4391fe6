'use strict';

const assert = require('node:assert');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const { after, before, describe, test } = require('node:test');
const { manifest, tarball } = require('./support/package.js');
const { components } = require('../script/support/declared.js');
const { tools } = require('./support/app.js');
const { run, runInWindows } = require('./support/run.js');

const NAMES = [
  ...Object.keys(components),
  ...['shutdown', 'supported', 'MouseButton', 'ButtonTransition', 'LogLevel', 'ShowCommand'],
];
const PRINT = 'console.log(JSON.stringify([Object.keys(z), typeof z.hardware.getButtonState(1)]));';
const REQUIRE = `const z = require('zebbridge'); ${PRINT} z.shutdown();`;
const IMPORT = `import * as z from 'zebbridge'; ${PRINT} z.shutdown();`;
const DEFAULT = `import z from 'zebbridge'; ${PRINT} z.shutdown();`;

describe('an application that depends on the package', () => {
  let app;

  before(() => {
    app = fs.mkdtempSync(path.join(os.tmpdir(), 'zebbridge-app-'));
    fs.writeFileSync(path.join(app, 'package.json'), '{ "name": "app", "private": true }');
    const done = run('npm', ['install', '--offline', '--no-audit', '--no-fund', tarball], { cwd: app });
    assert.strictEqual(done.status, 0, done.err);
  });
  after(() => fs.rmSync(app, { recursive: true, force: true }));

  const write = (name, text) => {
    fs.writeFileSync(path.join(app, name), text);
    return path.join(app, name);
  };

  test('gets what package.json lists and nothing to run or to fetch', () => {
    const installed = path.join(app, 'node_modules/zebbridge');
    const files = fs.readdirSync(installed, { recursive: true });
    for (const name of ['index.js', 'index.mjs', 'index.d.ts', 'LICENSE', 'README.md', 'docs/threads.md']) {
      assert.ok(files.includes(name), name);
    }
    assert.deepStrictEqual(
      files.filter((name) => /\.(pdb|cpp|h)$|^(src_native|tests|toolchain)|^examples.demo/.test(name)),
      [],
    );
    const { dependencies, scripts } = JSON.parse(fs.readFileSync(path.join(installed, 'package.json'), 'utf8'));
    assert.strictEqual(dependencies, undefined);
    assert.strictEqual(scripts, undefined);
    assert.deepStrictEqual(
      fs.readdirSync(path.join(app, 'node_modules')).filter((n) => !n.startsWith('.')),
      ['zebbridge'],
    );
    assert.ok(manifest.version.match(/^\d+\.\d+\.\d+$/));
  });

  test('requires it in the Windows Node.js', () => {
    const { status, out, err } = runInWindows([`Z:${write('app.js', REQUIRE)}`]);
    assert.strictEqual(status, 0, err);
    assert.deepStrictEqual(JSON.parse(out), [NAMES, 'boolean']);
  });

  test('imports it in the Windows Node.js', () => {
    const { status, out, err } = runInWindows([`Z:${write('app.mjs', IMPORT)}`]);
    assert.strictEqual(status, 0, err);
    assert.deepStrictEqual(JSON.parse(out), [[...NAMES, 'default'].sort(), 'boolean']);
    assert.deepStrictEqual(JSON.parse(runInWindows([`Z:${write('default.mjs', DEFAULT)}`]).out), [NAMES, 'boolean']);
  });

  test('gets at a binary of its own choice', () => {
    const text = "console.log(require.resolve('zebbridge/prebuilds/win32-x64/zebbridge.abi123.node'));";
    assert.match(run(process.execPath, [write('resolve.js', text)], { cwd: app }).out, /zebbridge\.abi123\.node\n$/);
  });

  test('loads it on this system and is told on first use why it does not work', () => {
    for (const [name, first] of [
      ['app.cjs', REQUIRE],
      ['app.mjs', IMPORT],
    ]) {
      const script = write(name, first.replace(PRINT, `console.log('loaded');${PRINT}`));
      const { status, out, err } = run(process.execPath, [script], { cwd: app });
      assert.strictEqual(out, 'loaded\n');
      assert.match(err, /zebbridge has no binary for linux-x64 with module version \d+; it runs on win32-x64 in /);
      assert.notStrictEqual(status, 0);
    }
  });

  describe('and is written in TypeScript', () => {
    const checkWith = (compiler, names, text, ...options) => {
      const tsc = path.join(tools, compiler, 'bin/tsc');
      const files = names.map((name) => write(name, text));
      const fixed = ['--noEmit', '--strict', '--skipDefaultLibCheck', '--target', 'es2021', '--lib', 'es2021'];
      return run(process.execPath, [tsc, ...fixed, ...options, ...files], { cwd: app });
    };
    const check = (...rest) => checkWith('typescript', ...rest);
    const example = fs.readFileSync(path.join(__dirname, 'types/example.ts'), 'utf8');

    test('type-checks every function, as CommonJS and as ES module', () => {
      const { status, out } = check(['example.cts', 'example.mts'], example, '--module', 'node16');
      assert.strictEqual(status, 0, out);
    });

    test('type-checks under a bundler and under the classic resolution', () => {
      const bundler = check(['example.ts'], example, '--module', 'esnext', '--moduleResolution', 'bundler');
      assert.strictEqual(bundler.status, 0, bundler.out);
      const classic = check(['example.ts'], example, '--module', 'commonjs', '--moduleResolution', 'node10');
      assert.strictEqual(classic.status, 0, classic.out);
    });

    test('type-checks with the oldest and the newest compiler', () => {
      const oldest = checkWith(
        'typescript-4.5',
        ['example.ts'],
        example,
        '--module',
        'commonjs',
        '--moduleResolution',
        'node',
      );
      assert.strictEqual(oldest.status, 0, oldest.out);
      const newest = checkWith('typescript-7.0', ['example.cts', 'example.mts'], example, '--module', 'node16');
      assert.strictEqual(newest.status, 0, newest.out);
    });

    test('type-checks the default export', () => {
      const text =
        "import zebbridge from 'zebbridge';\nconst there: boolean = zebbridge.supported;\nif (there) zebbridge.shutdown();\n";
      for (const compiler of ['typescript', 'typescript-7.0']) {
        const { status, out } = checkWith(compiler, ['default.mts'], text, '--module', 'node16');
        assert.strictEqual(status, 0, out);
      }
    });

    test('is told of each mistake', () => {
      const mistakes = fs.readFileSync(path.join(__dirname, 'types/mistakes.ts'), 'utf8');
      const { status, out } = check(['mistakes.cts'], mistakes, '--module', 'node16');
      assert.strictEqual(status, 0, out);
      const unmarked = mistakes.replace(/^ *\/\/ @ts-expect-error.*\n/gm, '');
      const expected = mistakes.split('@ts-expect-error').length - 1;
      const { out: errors } = check(['mistakes.cts'], unmarked, '--module', 'node16');
      assert.strictEqual(errors.split(': error TS').length - 1, expected, errors);
    });
  });
});
