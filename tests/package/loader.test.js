'use strict';

const assert = require('node:assert');
const path = require('node:path');
const { describe, test } = require('node:test');
const vm = require('node:vm');
const fs = require('node:fs');
const { binaries, root } = require('./support/package.js');
const { components } = require('../script/support/declared.js');

const IDLE = ['setLogHandler', 'setErrorHandler', 'dispose', 'shutdown'];
const EXTRA = ['supported', 'MouseButton', 'ButtonTransition', 'LogLevel', 'ShowCommand'];

// Runs the package as if in another process, where `natives` gives the binary for a module version. Returns the
// package's exports and the binaries that it asked for.
function load({ platform = 'win32', arch = 'x64', modules = '123', natives = () => native(), built = [] } = {}) {
  const required = [];
  const binary = (file) => {
    required.push(file);
    return natives(/abi(\d+)\.node$/.exec(file)[1]);
  };
  const outside = {
    'node:fs': { ...fs, existsSync: (file) => built.includes(path.relative(root, file)) },
    'node:module': { createRequire: () => (file) => binary(path.relative(root, file)) },
  };
  const evaluate = (file) => {
    const module = { exports: {} };
    const require = (name) => {
      if (name.endsWith('.node')) return binary(path.relative(root, path.resolve(path.dirname(file), name)));
      if (name.startsWith('.')) return evaluate(path.resolve(path.dirname(file), name));
      return outside[name] ?? globalThis.process.getBuiltinModule(name);
    };
    const process = { platform, arch, versions: { modules } };
    const run = vm.compileFunction(fs.readFileSync(file, 'utf8'), [
      'module',
      'require',
      'process',
      '__dirname',
      '__filename',
    ]);
    run(module, require, process, path.dirname(file), file);
    return module.exports;
  };
  return { exports: evaluate(path.join(root, 'index.js')), required };
}

// What a binary exports, with a list of the calls to it.
function native() {
  const calls = [];
  const exports = {};
  for (const [component, methods] of Object.entries(components)) {
    exports[component] = Object.fromEntries(
      methods.map((method) => [
        method,
        function (...values) {
          calls.push([method, this, ...values]);
          return method;
        },
      ]),
    );
  }
  exports.shutdown = () => {};
  return Object.defineProperty(exports, 'calls', { value: calls });
}

const file = (abi) => `prebuilds/win32-x64/zebbridge.abi${abi}.node`;

describe('where there is a binary', () => {
  for (const { abi, image } of binaries) {
    test(`module version ${abi} gets its own`, () => {
      const { exports, required } = load({ modules: abi });
      assert.deepStrictEqual(required, [file(abi)]);
      assert.strictEqual(path.basename(image), path.basename(required[0]));
      assert.strictEqual(exports.supported, true);
    });
  }

  test('the components that need no check are the native ones', () => {
    const made = native();
    const { exports } = load({ natives: () => made });
    for (const name of ['crash_emitter', 'diagnostics', 'hardware', 'shutdown']) {
      assert.strictEqual(exports[name], made[name], name);
    }
  });

  test('a call of the other two reaches the native method, with every argument', () => {
    const made = native();
    const { exports } = load({ natives: () => made });
    for (const name of ['windows', 'msix_auto_updater']) {
      assert.deepStrictEqual(Object.keys(exports[name]), components[name]);
      for (const method of components[name]) {
        assert.strictEqual(exports[name][method].name, method);
        assert.strictEqual(exports[name][method]('https://example.com/', 1, 2), method);
        assert.deepStrictEqual(made.calls.pop(), [method, made[name], 'https://example.com/', 1, 2]);
        exports[name][method]();
        assert.deepStrictEqual(made.calls.pop(), [method, made[name]], 'a missing argument stays missing');
      }
    }
  });

  test('those two refuse a foreign receiver, as the native ones do', () => {
    const { exports } = load();
    for (const name of ['windows', 'msix_auto_updater']) {
      for (const method of components[name]) {
        const detached = exports[name][method];
        assert.throws(() => detached('https://example.com/'), { name: 'TypeError', message: 'Illegal invocation' });
        assert.throws(() => detached.call({}, 'https://example.com/'), { name: 'TypeError' });
      }
    }
  });

  test('nothing is exported beside the native names and what the types tell', () => {
    const { exports } = load();
    assert.deepStrictEqual(Object.keys(exports), [...Object.keys(components), 'shutdown', ...EXTRA]);
  });
});

describe('on win32-x64, loading fails', () => {
  const failing = (cause) =>
    load({
      natives: () => {
        throw cause;
      },
    });
  const coded = (code, message) => Object.assign(new Error(message), { code });

  test('without a binary for the module version, at once', () => {
    assert.throws(() => load({ modules: '115' }), {
      name: 'Error',
      code: 'ERR_ZEBBRIDGE_UNAVAILABLE',
      message: /^zebbridge has no binary for win32-x64 with module version 115; it runs on win32-x64 in /,
    });
  });

  test('but not when the user has built one for it and put it beside the others', () => {
    const { exports, required } = load({ modules: '115', built: [file(115)] });
    assert.deepStrictEqual(required, [file(115)]);
    assert.strictEqual(exports.supported, true);
  });

  const cases = [
    [
      'a binary that is missing',
      coded('MODULE_NOT_FOUND', 'Cannot find module'),
      'BINARY_MISSING',
      /cannot find its binary prebuilds.win32-x64.zebbridge\.abi123\.node: it was left out/,
    ],
    ['native modules that are not allowed', coded('ERR_DLOPEN_DISABLED', 'disabled'), 'ADDONS_DISABLED', /--no-addons/],
    [
      'a damaged binary',
      coded('ERR_DLOPEN_FAILED', 'not a valid Win32 application.\r\n'),
      'BINARY_FAILED',
      /damaged, or blocked .*: not a valid Win32 application\.$/,
    ],
    [
      'a binary of another module version',
      coded('ERR_DLOPEN_FAILED', 'was compiled using NODE_MODULE_VERSION 127.'),
      'BINARY_FAILED',
      /another module version than this runtime's 123/,
    ],
    [
      'the refusal of the binary itself',
      new Error('no such function: uv_async_init'),
      'BINARY_FAILED',
      /does not start in this process: no such function: uv_async_init$/,
    ],
    ['something that is not an Error', 'thrown text', 'BINARY_FAILED', /thrown text$/],
  ];
  for (const [name, cause, code, message] of cases) {
    test(`with ${name}`, () => {
      assert.throws(() => failing(cause), { name: 'Error', code: `ERR_ZEBBRIDGE_${code}`, message, cause });
    });
  }
});

describe('where there is no binary at all', () => {
  const places = [{ platform: 'linux' }, { platform: 'darwin', arch: 'arm64' }, { arch: 'arm64' }, { arch: 'ia32' }];
  for (const place of places) {
    test(JSON.stringify(place), () => {
      const { platform, arch } = { platform: 'win32', arch: 'x64', ...place };
      const { exports, required } = load(place);
      const refusal = {
        name: 'Error',
        code: 'ERR_ZEBBRIDGE_UNAVAILABLE',
        message:
          `zebbridge has no binary for ${platform}-${arch} with module version 123; it runs on ` +
          `win32-x64 in ${binaries.map(({ name }) => name).join(', ')}.`,
      };
      assert.deepStrictEqual(required, []);
      assert.deepStrictEqual(Object.keys(exports), [...Object.keys(components), 'shutdown', ...EXTRA]);
      assert.strictEqual(exports.supported, false);
      const functions = { ...components, '': ['shutdown'] };
      for (const [component, methods] of Object.entries(functions)) {
        const owner = component ? exports[component] : exports;
        if (component) assert.deepStrictEqual(Object.keys(owner), methods);
        for (const method of methods) {
          assert.strictEqual(owner[method].name, method);
          const call = (...values) => owner[method](...values);
          const detached = owner[method];
          if (IDLE.includes(method)) {
            assert.strictEqual(call(null), undefined, method);
            assert.strictEqual(detached(null), undefined, method);
          } else {
            for (const values of [[], ['https://example.com/']]) assert.throws(() => call(...values), refusal, method);
          }
        }
      }
      for (const call of [
        () => exports.windows.openExternalIgnoringAppLinking('no address'),
        () => exports.msix_auto_updater.applyUpdate('no address'),
      ]) {
        assert.throws(call, { name: 'TypeError', code: 'ERR_INVALID_URL' });
      }
    });
  }
});

describe('constants', () => {
  const { exports } = load({ platform: 'linux' });

  test('are frozen', () => {
    for (const name of EXTRA.slice(1)) assert.ok(Object.isFrozen(exports[name]), name);
  });

  test('are the numbers that the types tell', () => {
    const types = fs.readFileSync(path.join(root, 'index.d.ts'), 'utf8');
    for (const name of EXTRA.slice(1)) {
      const [, body] = new RegExp(`const ${name}: \\{([^}]*)\\}`).exec(types);
      const told = [...body.matchAll(/readonly (\w+): (\d+)/g)].map(([, key, value]) => [key, Number(value)]);
      assert.deepStrictEqual(Object.entries(exports[name]), told, name);
    }
  });
});

test('the manifest admits the releases that have a binary', () => {
  const { engines } = JSON.parse(fs.readFileSync(path.join(root, 'package.json'), 'utf8'));
  const source = fs.readFileSync(path.join(root, 'lib/native.js'), 'utf8');
  const releases = [...source.matchAll(/runtime: 'Node\.js (\d+)'/g)].map(([, major]) => major);
  // 20 is the release of the desktop runtimes' own Node.js, which their applications are developed with.
  assert.strictEqual(engines.node, ['20', ...releases].join(' || '));
});
