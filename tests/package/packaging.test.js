'use strict';

// docs/packaging.md, claim by claim: its scripts and options are taken from the page and run unchanged.

const assert = require('node:assert');
const fs = require('node:fs');
const path = require('node:path');
const { after, before, describe, test } = require('node:test');
const { App, bundle, read, snippets, tools } = require('./support/app.js');
const { binaries, tarball } = require('./support/package.js');
const { Image } = require('./support/pe.js');
const { run, runInWindows } = require('./support/run.js');

const ABI = process.versions.modules; // the Windows Node.js that runs here is of the same release
const REPORT = `console.log(supported, typeof hardware.getButtonState(MouseButton.Left));
shutdown();`;
const REQUIRE = `const { hardware, MouseButton, shutdown, supported } = require('zebbridge');\n${REPORT}`;
const IMPORT = `import { hardware, MouseButton, shutdown, supported } from 'zebbridge';\n${REPORT}`;
const WORKS = 'true boolean\n';

const pieces = snippets('docs/packaging.md');
const mentioning = (words) => pieces.find((text) => text.includes(words));
const onPage = (words) => (assert.ok(read('docs/packaging.md').includes(`\`${words}\``), words), words);

describe('an application', () => {
  let app;
  before(() => (app = new App()));
  after(() => app.remove());

  const runs = (file) => {
    const { status, out, err } = runInWindows([`Z:${app.path(file)}`]);
    assert.strictEqual(err, '');
    assert.strictEqual(out, WORKS);
    assert.strictEqual(status, 0);
  };
  const built = ({ status, out, err }) => assert.strictEqual(status, 0, out + err);
  const fails = ({ status, out, err }, pattern) => {
    assert.notStrictEqual(status, 0);
    assert.match(out + err, pattern);
  };

  describe('that is bundled', () => {
    before(() => {
      app.write('main.js', REQUIRE);
      app.write('main.mjs', IMPORT);
    });

    const inlining = {
      esbuild: () => '',
      webpack: () => '',
      rollup: () => {
        const plugin = (name) => `await import(${JSON.stringify(require.resolve(path.join(tools, '@rollup', name)))})`;
        const made = (name) => `(({ default: all }) => (all.nodeResolve ?? all.default ?? all)())(${plugin(name)})`;
        return `plugins: [${made('plugin-node-resolve')}, ${made('plugin-commonjs')}]`;
      },
      vite: () => '}, ssr: { noExternal: true',
    };
    for (const [name, option] of Object.entries(inlining)) {
      test(`by ${name}: it works as the page says, and fails while building without that`, () => {
        const made = bundle(app, name);
        built(made);
        runs(made.output);
        fails(bundle(app, name, option()), /zebbridge\.abi\d+\.node/);
      });
    }

    test('by esbuild, with the binaries copied: it needs no node_modules', () => {
      built(bundle(app, 'esbuild, copying'));
      const alone = app.path('alone');
      fs.renameSync(app.path('out'), alone);
      fs.renameSync(app.installed, app.path('away'));
      try {
        runs('alone/main.js');
      } finally {
        fs.renameSync(app.path('away'), app.installed);
      }
    });

    test('is traced with every binary', () => {
      app.write(
        'trace.js',
        `require('@vercel/nft').nodeFileTrace(['main.js']).then(({ fileList }) => console.log([...fileList].join('\\n')));`,
      );
      const { out } = app.tool(app.path('trace.js'));
      for (const { abi } of binaries) assert.match(out, new RegExp(`prebuilds/win32-x64/zebbridge\\.abi${abi}\\.node`));
    });
  });

  describe('in an archive', () => {
    const packed = () => {
      const files = { 'main.js': REQUIRE };
      for (const name of fs.readdirSync(app.installed, { recursive: true })) {
        const file = path.join(app.installed, name);
        if (fs.statSync(file).isFile()) files[`node_modules/zebbridge/${name}`] = fs.readFileSync(file, 'latin1');
      }
      return app.write('app.archive', JSON.stringify(files));
    };
    const host = `Z:${path.join(__dirname, 'support/archive-host.js')}`;
    const start = () => {
      const script = app.write(
        'start.js',
        `process.env.ZEB_ARCHIVE = require('path').resolve(__dirname, 'app.archive'); require(${JSON.stringify(host)});`,
      );
      return runInWindows([`Z:${script}`]);
    };

    test('works with its binaries outside', () => {
      const file = 'node_modules/zebbridge/prebuilds/win32-x64';
      packed();
      fs.cpSync(path.join(app.installed, 'prebuilds/win32-x64'), app.path(`app.archive.unpacked/${file}`), {
        recursive: true,
      });
      const { out, err } = start();
      assert.strictEqual(err, '');
      assert.strictEqual(out, WORKS);
    });

    test('is told what is wrong with its binaries inside', () => {
      packed();
      fs.rmSync(app.path('app.archive.unpacked'), { recursive: true, force: true });
      const { err } = start();
      assert.match(
        err,
        /Error: zebbridge's binary .* cannot be loaded: .* inside an archive from which it must be unpacked/,
      );
      assert.match(err, /code: 'ERR_ZEBBRIDGE_BINARY_FAILED'/);
    });
  });

  test('whose package manager keeps packages zipped finds the binaries unpacked', () => {
    const zipped = fs.mkdtempSync(path.join(app.folder, 'zipped-'));
    const file = (name, text) => fs.writeFileSync(path.join(zipped, name), text);
    fs.copyFileSync(tarball, path.join(zipped, 'zebbridge.tgz'));
    file('package.json', '{ "name": "zipped", "dependencies": { "zebbridge": "file:./zebbridge.tgz" } }');
    file('yarn.lock', '');
    const env = {
      ...process.env,
      YARN_ENABLE_NETWORK: '0',
      YARN_ENABLE_GLOBAL_CACHE: '0',
      YARN_ENABLE_TELEMETRY: '0',
      YARN_ENABLE_IMMUTABLE_INSTALLS: '0',
    };
    built(run(process.execPath, [path.join(tools, '@yarnpkg/cli-dist/bin/yarn.js'), 'install'], { cwd: zipped, env }));
    const unpacked = fs.readdirSync(path.join(zipped, '.yarn/unplugged'), { recursive: true });
    for (const { abi } of binaries)
      assert.ok(
        unpacked.some((name) => name.endsWith(`zebbridge.abi${abi}.node`)),
        abi,
      );
    file('main.js', "console.log(require('zebbridge').supported);");
    assert.strictEqual(run(process.execPath, ['-r', './.pnp.cjs', 'main.js'], { cwd: zipped }).out, 'false\n');
  });

  test('that is a single executable under a name of its own', () => {
    app.write('sea.js', `${mentioning('createRequire')}console.log(supported);`);
    const config = {
      main: 'sea.js',
      output: 'calculator.exe',
      executable: path.join(process.env.ZEB_NODE26_WIN, 'bin/node.exe'),
      disableExperimentalSEAWarning: true,
    };
    app.write('sea.json', JSON.stringify(config));
    const node = path.join(process.env.ZEB_NODE26_LINUX, 'bin/node');
    built(run(node, ['--build-sea', 'sea.json'], { cwd: app.folder }));
    const { status, out, err } = runInWindows([], { program: app.path('calculator.exe') });
    assert.strictEqual(status, 0, err);
    assert.strictEqual(out, 'true\n');
  });

  test('whose other binaries were left out', () => {
    app.write('main.js', REQUIRE);
    const folder = path.join(app.installed, 'prebuilds/win32-x64');
    fs.cpSync(folder, app.path('all'), { recursive: true });
    for (const { abi } of binaries) if (abi !== ABI) fs.rmSync(path.join(folder, `zebbridge.abi${abi}.node`));
    try {
      runs('main.js');
    } finally {
      fs.cpSync(app.path('all'), folder, { recursive: true });
    }
  });

  describe('with a bridge', () => {
    test('works with functions of its own', () => {
      const text = `${mentioning('isDragging')}const { isDragging } = api;\nconsole.log(isDragging());`;
      const { out, err } = runInWindows([`Z:${app.write('bridge.js', text)}`]);
      assert.strictEqual(err, '');
      assert.match(out, /^(true|false)\n$/);
    });

    test('does not work with a detached method', () => {
      const detached = "const { getButtonState } = require('zebbridge').hardware; getButtonState(0);";
      assert.match(runInWindows([`Z:${app.write('bridge.js', detached)}`]).err, /TypeError: Illegal invocation/);
    });
  });

  describe('whose binary does not load', () => {
    const image = () => path.join(app.installed, 'prebuilds/win32-x64', `zebbridge.abi${ABI}.node`);
    const script = () => `Z:${app.write('main.js', REQUIRE)}`;
    const withImage = (change, check) => {
      fs.renameSync(image(), app.path('kept.node'));
      try {
        change();
        check();
      } finally {
        fs.renameSync(app.path('kept.node'), image());
      }
    };
    const says = ({ err, status }, code, words) => {
      assert.match(err, words);
      assert.match(err, new RegExp(`code: '${code}'`));
      assert.match(err, /\[cause\]: Error/);
      assert.strictEqual(status, 1);
    };

    test('because it is not there', () => {
      withImage(
        () => {},
        () => says(runInWindows([script()]), 'ERR_ZEBBRIDGE_BINARY_MISSING', /cannot find its binary/),
      );
    });
    test('because it is damaged', () => {
      withImage(
        () => fs.writeFileSync(image(), 'no binary'),
        () => says(runInWindows([script()]), 'ERR_ZEBBRIDGE_BINARY_FAILED', /cannot be loaded: it is damaged/),
      );
    });
    test('because it is for another module version', () => {
      const other = path.join(app.installed, 'prebuilds/win32-x64', `zebbridge.abi${binaries.at(-1).abi}.node`);
      withImage(
        () => fs.copyFileSync(other, image()),
        () =>
          says(
            runInWindows([script()]),
            'ERR_ZEBBRIDGE_BINARY_FAILED',
            new RegExp(`was built for another module version than this runtime's ${ABI}`),
          ),
      );
    });
    test('because native modules are switched off', () => {
      says(runInWindows(['--no-addons', script()]), 'ERR_ZEBBRIDGE_ADDONS_DISABLED', /does not allow native modules/);
    });

    const as = (version) => {
      const text = `Object.defineProperty(process.versions, 'modules', { value: '${version}' });`;
      return ['-r', `Z:${app.write('version.js', text)}`, script()];
    };
    test('because the runtime has a module version without one', () => {
      const { err, status } = runInWindows(as(999));
      assert.match(err, /Error: zebbridge has no binary for win32-x64 with module version 999; it runs on/);
      assert.match(err, /code: 'ERR_ZEBBRIDGE_UNAVAILABLE'/);
      assert.strictEqual(status, 1);
    });
    test('until the user has put one beside the others', () => {
      fs.copyFileSync(image(), image().replace(`abi${ABI}`, 'abi999'));
      const { out, err } = runInWindows(as(999));
      assert.strictEqual(err, '');
      assert.strictEqual(out, WORKS);
    });
    test('the page tells how to find the module version', () => {
      const text = `console.log(${onPage('process.versions.modules')});`;
      assert.strictEqual(runInWindows([`Z:${app.write('version.js', text)}`]).out, `${ABI}\n`);
    });
  });

  describe('under a test runner', () => {
    const tests = (runner) => `const { hardware, MouseButton, shutdown, supported } = require('zebbridge');
            test('loads', () => {
                expect(supported).toBe(process.platform === 'win32');
                if (!supported) return;
                const capture = hardware.capturePointer();
                capture.startCapturing();
                capture.stopCapturing();
            });
            test('can be replaced', () => {
                const spy = ${runner}.spyOn(hardware, 'getButtonState').mockReturnValue(true);
                expect(hardware.getButtonState(MouseButton.Left)).toBe(true);
                spy.mockRestore();
            });`;
    const JEST = ['--watchman=false', '--runInBand', '--no-cache'];

    test('jest, on this system', () => {
      app.write('jest/package.test.js', tests('jest'));
      built(app.tool('jest/bin/jest.js', ['--rootDir', app.path('jest'), ...JEST]));
    });
    test('jest, in the Windows Node.js', () => {
      app.write('jest/package.test.js', tests('jest'));
      const jest = path.join(tools, 'jest/bin/jest.js');
      built(runInWindows([`Z:${jest}`, '--rootDir', `Z:${app.path('jest')}`, ...JEST], { seconds: 280 }));
    });
    test('vitest, on this system', () => {
      const text = `import { createRequire } from 'node:module';\nimport { expect, test, vi } from ${JSON.stringify(path.join(tools, 'vitest/dist/index.js'))};\n`;
      app.write(
        'vitest/package.test.mjs',
        text +
          tests('vi').replace(
            "const { hardware, MouseButton, shutdown, supported } = require('zebbridge');",
            "import { hardware, MouseButton, shutdown, supported } from 'zebbridge';",
          ),
      );
      built(app.tool('vitest/vitest.mjs', ['run', '--root', app.path('vitest')]));
    });
    test('the page shows how to replace a method without one', () => {
      const text = `const { hardware } = require('zebbridge');
                ${onPage('hardware.getButtonState = () => true')};
                console.log(hardware.getButtonState(0));`;
      assert.strictEqual(runInWindows([`Z:${app.write('mock.js', text)}`]).out, 'true\n');
    });
  });
});

test('the binaries carry no signature', () => {
  for (const { image } of binaries) assert.deepStrictEqual(new Image(image).directories[4], { rva: 0, size: 0 });
});

test('every script on the page was run', () => {
  assert.deepStrictEqual(pieces, ['createRequire', 'isDragging'].map(mentioning));
});
