'use strict';

// The modules besides the main one, as they are in the tarball: with the real binary, in bundles and in archives.

const assert = require('node:assert');
const fs = require('node:fs');
const path = require('node:path');
const { after, before, describe, test } = require('node:test');
const { App, bundle, tools } = require('./support/app.js');
const { run, runInWindows } = require('./support/run.js');

const built = path.join(process.env.ZEB_BUILD, 'node');
const XML =
  "<Event><System><EventID>404</EventID><Level>2</Level></System><EventData><Data Name='ErrorCode'>0x80073cf3</Data></EventData></Event>";

// Fills the event log with one event record for the binary under test, then uses everything once.
const main = (head) => `${head}
  const addon = { exports: {} };
  process.dlopen(addon, ${JSON.stringify(`Z:${built}/standin-control.node`)}); // not for bundlers to follow
  const control = addon.exports;
  const log = control.loadStandin('C:/windows/system32/wevtapi.dll');
  control.commandStandin(log, ${JSON.stringify(`reset\nchannel\tA\t0\nrecord\t${XML}`)});
  const pointer = new PointerStream();
  console.log(pointer.start().capturing, pointer.stop().capturing);
  (async () => {
    console.log(await applyUpdate('C:/app.msix').catch(({ code }) => code));
    const [{ id, level, data }] = await updateErrors();
    console.log(id, level, data.ErrorCode);
  })();`;
const REQUIRE = main(`const { PointerStream } = require('zebbridge/pointer');
  const { applyUpdate, updateErrors } = require('zebbridge/updates');`);
const IMPORT = main(`import { PointerStream } from 'zebbridge/pointer';
  import { applyUpdate, updateErrors } from 'zebbridge/updates';`);
const WORKS = 'true false\nERR_INVALID_URL\n404 error 0x80073cf3\n';

describe('zebbridge/pointer and zebbridge/updates', () => {
  let app;
  before(() => (app = new App()));
  after(() => app.remove());

  const works = (file) => {
    const { status, out, err } = runInWindows([`Z:${file}`]);
    assert.strictEqual(err, '');
    assert.strictEqual(out, WORKS);
    assert.strictEqual(status, 0);
  };
  const prebuilds = 'prebuilds/win32-x64';

  test('work when they are required and imported', () => {
    works(app.write('main.js', REQUIRE));
    works(app.write('main.mjs', IMPORT));
  });

  test('say on this system what is missing when they are started', () => {
    app.write(
      'missing.js',
      `const { PointerStream } = require('zebbridge/pointer');
            const { applyUpdate, updateErrors } = require('zebbridge/updates');
            const say = ({ code, message }) => console.log(code, message.split(';')[0]);
            try { new PointerStream().start(); } catch (error) { say(error); }
            applyUpdate('https://example.com/app.msix').catch(say).then(() => updateErrors()).catch(say);`,
    );
    const { status, out } = run(process.execPath, [app.path('missing.js')]);
    assert.match(
      out,
      /^(ERR_ZEBBRIDGE_UNAVAILABLE zebbridge has no binary for linux-x64 with module version \d+\n){3}$/,
    );
    assert.strictEqual(status, 0);
  });

  test('bring their library along, and nothing to look for', () => {
    const files = fs.readdirSync(path.join(app.installed, 'lib'));
    assert.ok(files.includes('event_worker_source.js') && !files.includes('event_worker.js'));
    const source = fs.readFileSync(path.join(app.installed, 'lib/event_worker_source.js'), 'utf8');
    assert.doesNotMatch(source, /xmldom\/xmldom|__dirname/);
    const notices = fs.readFileSync(path.join(app.installed, 'THIRD_PARTY_NOTICES'), 'utf8');
    assert.match(notices, /^@xmldom\/xmldom \d+\.\d+\.\d+ .*MIT License\n=+\n\nCopyright/m);
  });

  for (const name of ['esbuild', 'esbuild, copying', 'webpack']) {
    test(`work in a bundle, made as the page says: ${name}`, () => {
      app.write('main.js', REQUIRE);
      const { status, out, err, output } = bundle(app, name);
      assert.strictEqual(status, 0, out + err);
      works(app.path(output));
    });
  }

  test('work in an archive whose binaries are outside', () => {
    const files = { 'main.js': REQUIRE };
    for (const name of fs.readdirSync(app.installed, { recursive: true })) {
      const file = path.join(app.installed, name);
      if (fs.statSync(file).isFile()) files[`node_modules/zebbridge/${name}`] = fs.readFileSync(file, 'latin1');
    }
    app.write('app.archive', JSON.stringify(files));
    const unpacked = app.path(`app.archive.unpacked/node_modules/zebbridge/${prebuilds}`);
    fs.cpSync(path.join(app.installed, prebuilds), unpacked, { recursive: true });
    works(
      app.write(
        'start.js',
        `process.env.ZEB_ARCHIVE = require('path').resolve(__dirname, 'app.archive');
            require(${JSON.stringify(`Z:${path.join(__dirname, 'support/archive-host.js')}`)});`,
      ),
    );
  });

  describe('in TypeScript', () => {
    const example = fs.readFileSync(path.join(__dirname, 'types/modules.ts'), 'utf8');
    const check = (compiler, names, text, ...options) => {
      const files = names.map((name) => app.write(name, text));
      const fixed = ['--noEmit', '--strict', '--skipDefaultLibCheck', '--target', 'es2021', '--lib', 'es2021,dom'];
      return run(process.execPath, [path.join(tools, compiler, 'bin/tsc'), ...fixed, ...options, ...files], {
        cwd: app.folder,
      });
    };

    test('type-check with every compiler and resolution', () => {
      for (const [compiler, names, ...options] of [
        ['typescript', ['modules.cts', 'modules.mts'], '--module', 'node16'],
        ['typescript', ['modules.ts'], '--module', 'esnext', '--moduleResolution', 'bundler'],
        ['typescript', ['modules.ts'], '--module', 'commonjs', '--moduleResolution', 'node10'],
        ['typescript-4.5', ['modules.ts'], '--module', 'commonjs', '--moduleResolution', 'node'],
        ['typescript-7.0', ['modules.cts', 'modules.mts'], '--module', 'node16'],
      ]) {
        const { status, out } = check(compiler, names, example, ...options);
        assert.strictEqual(status, 0, `${compiler} ${options.join(' ')}: ${out}`);
      }
    });

    test('know Symbol.dispose also where the compiler does', () => {
      const text =
        "import { PointerStream } from 'zebbridge/pointer';\n{ using pointer = new PointerStream(); pointer.start(); }\n";
      const { status, out } = check(
        'typescript',
        ['using.mts'],
        text,
        '--module',
        'node16',
        '--lib',
        'es2022,esnext.disposable,dom',
      );
      assert.strictEqual(status, 0, out);
    });

    test('are told of each mistake', () => {
      const mistakes = fs.readFileSync(path.join(__dirname, 'types/modules-mistakes.ts'), 'utf8');
      const { status, out } = check('typescript', ['mistakes.cts'], mistakes, '--module', 'node16');
      assert.strictEqual(status, 0, out);
    });
  });
});
