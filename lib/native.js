'use strict';

// Exports the native module, or a substitute of the same shape whose functions say why the module is missing.

const { existsSync } = require('node:fs');
const { createRequire } = require('node:module');
const path = require('node:path');

// Code that uses V8's C++ API works with one module version only, so there is one binary per version. The version also
// identifies the runtime, because no two runtimes share one. Each `require` is literal, so that bundlers see it: a
// bundler that cannot include a binary then fails at build time and not on the user's machine.
const BINARIES = {
  123: {
    runtime: 'desktop runtimes with module version 123',
    load: () => require('../prebuilds/win32-x64/zebbridge.abi123.node'),
  },
  127: { runtime: 'Node.js 22', load: () => require('../prebuilds/win32-x64/zebbridge.abi127.node') },
  137: { runtime: 'Node.js 24', load: () => require('../prebuilds/win32-x64/zebbridge.abi137.node') },
  147: { runtime: 'Node.js 26', load: () => require('../prebuilds/win32-x64/zebbridge.abi147.node') },
};

const { platform, arch } = process;
const moduleVersion = process.versions.modules;
const binary = `prebuilds/win32-x64/zebbridge.abi${moduleVersion}.node`;

function failure(code, message, cause) {
  const error = cause === undefined ? new Error(message) : new Error(message, { cause });
  return Object.assign(error, { code: `ERR_ZEBBRIDGE_${code}` });
}

function unavailable() {
  const runtimes = Object.values(BINARIES)
    .map(({ runtime }) => runtime)
    .join(', ');
  return failure(
    'UNAVAILABLE',
    `zebbridge has no binary for ${platform}-${arch} with module version ${moduleVersion}; it runs on win32-x64 in ${runtimes}.`,
  );
}

// An error that names the likely reason why the runtime did not load the binary and quotes the runtime's error, `cause`,
// in one line.
function explained(cause) {
  const words = String(cause?.message ?? cause)
    .trim()
    .replace(/\s+/g, ' ');
  switch (cause?.code) {
    case 'MODULE_NOT_FOUND':
      return failure(
        'BINARY_MISSING',
        `zebbridge cannot find its binary ${binary}: it was left out when the application was packaged or bundled, ` +
          'or this is a checkout and not the installed package (docs/packaging.md).',
        cause,
      );
    case 'ERR_DLOPEN_DISABLED':
      return failure(
        'ADDONS_DISABLED',
        `zebbridge cannot load its binary ${binary}: this process does not allow native modules ` +
          '(--no-addons, or a permission model without --allow-addons).',
        cause,
      );
    case 'ERR_DLOPEN_FAILED':
      return failure(
        'BINARY_FAILED',
        /NODE_MODULE_VERSION|module version/i.test(words)
          ? `zebbridge's binary ${binary} was built for another module version than this runtime's ${moduleVersion}: ${words}`
          : `zebbridge's binary ${binary} cannot be loaded: it is damaged, or blocked by the system, or inside an ` +
              `archive from which it must be unpacked (docs/packaging.md): ${words}`,
        cause,
      );
    default: // the binary itself refused
      return failure('BINARY_FAILED', `zebbridge's binary ${binary} does not start in this process: ${words}`, cause);
  }
}

function load() {
  try {
    if (moduleVersion in BINARIES) return BINARIES[moduleVersion].load();
    // A binary that the user built and put beside the others. No literal `require` here, or bundlers would look for it.
    const file = path.join(__dirname, '..', binary);
    if (existsSync(file)) return createRequire(file)(file);
  } catch (error) {
    throw explained(error);
  }
  throw unavailable();
}

// Applications for several systems depend on this package on all of them, so it loads everywhere with all its exports.
// `shutdown`, `dispose` and the setters of handlers do nothing, so that an orderly end needs no check; all others throw.
function refusingExports() {
  const named = (name, value) => Object.defineProperty(value, 'name', { value: name });
  const refusing = (...names) =>
    names.map((name) => [
      name,
      named(name, () => {
        throw unavailable();
      }),
    ]);
  const idle = (...names) => names.map((name) => [name, named(name, () => {})]);
  const component = (...methods) => Object.fromEntries(methods.flat());
  return {
    crash_emitter: component(refusing('emitStackOverflow', 'emitAccessViolation')),
    diagnostics: component(idle('setLogHandler')),
    hardware: component(refusing('getButtonState', 'capturePointer')),
    windows: component(
      refusing(
        'registerApplicationRestart',
        'openExternalIgnoringAppLinking',
        'getWindowsUpdateBuildRevision',
        'setWindowPlacement',
      ),
    ),
    msix_auto_updater: component(idle('setErrorHandler'), refusing('getUpdateErrors', 'applyUpdate'), idle('dispose')),
    ...component(idle('shutdown')),
  };
}

const supported = platform === 'win32' && arch === 'x64';

module.exports = { supported, native: supported ? load() : refusingExports() };
