'use strict';

// Gives the native module, or exports in its shape that say why it is not here.

const { existsSync } = require('node:fs');
const { createRequire } = require('node:module');
const path = require('node:path');

// Code against V8's C++ API is tied to one module version, so there is one binary per version. The version also tells
// the runtimes apart: no two share one. Each `require` is spelled out, because bundlers follow only what they can read:
// those that cannot take a binary along then fail while they build, and not on the user's machine.
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

// What is likely when the runtime does not load the binary, with what it says, in one line. `cause` is the error as it came.
function explained(cause) {
  const words = String(cause?.message ?? cause)
    .trim()
    .replace(/\s+/g, ' ');
  switch (cause?.code) {
    case 'MODULE_NOT_FOUND':
      return failure(
        'BINARY_MISSING',
        `zebbridge does not find its binary ${binary}: it was left out when the application was packaged or bundled, ` +
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
    default: // the binary's own refusal
      return failure('BINARY_FAILED', `zebbridge's binary ${binary} does not start in this process: ${words}`, cause);
  }
}

function load() {
  try {
    if (moduleVersion in BINARIES) return BINARIES[moduleVersion].load();
    // One that the user has built and put beside the others. Not a literal `require`: bundlers would look for it.
    const file = path.join(__dirname, '..', binary);
    if (existsSync(file)) return createRequire(file)(file);
  } catch (error) {
    throw explained(error);
  }
  throw unavailable();
}

// Applications for several systems depend on this package on all of them. So it loads everywhere, with every export in
// place. What would do nothing useful does nothing, so that an orderly end needs no question; the rest throws.
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
